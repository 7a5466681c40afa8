// The trash journal losing power at each step of its appends, the record being written lost,
// torn or zeroed: it opens again without being taken for damaged, holds at least every record acknowledged before the cut and never one
// that was not being written, and takes the next record chained to the last whole one.

#include "PowerCutLoop.h"
#include "TrashTestSupport.h"

#include "trash/DurableTrashJournal.h"

#include <QDir>
#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::test;
using State = TrashTransactionState;

TEST(TrashJournalPowerCut, everyAcknowledgedRecordSurvivesAndTheJournalStaysUsable)
{
    const QUuid session = QUuid::createUuid();
    // A long name makes one record span more than a page.
    const QList<TrashEntry> entries{journalEntryNamed(QStringLiteral("IMG_1.CR2")),
                                    journalEntryNamed(QString(3000, QLatin1Char('x'))),
                                    journalEntryNamed(QStringLiteral("IMG_3.JPG"))};
    int acknowledged = 0;
    const PowerCutScenario scenario{
        [&](TempTree&) { acknowledged = 0; },
        [&](TempTree& tree, FileOps& ops) {
            DurableTrashJournal journal(tree.path("journal"), session, ops);
            for (const TrashEntry& entry : entries) {
                journal.append(State::planned, entry, session);
                ++acknowledged;
            }
        },
        [&](TempTree& tree, const std::string& when, bool) {
            SCOPED_TRACE(when);
            const QString base = tree.path("journal");
            DurableTrashJournal reopened(base, session);
            const QList<TrashJournalRecord> records = reopened.records();
            EXPECT_GE(records.size(), acknowledged);
            EXPECT_LE(records.size(), std::min<qsizetype>(acknowledged + 1, entries.size()));
            for (qsizetype i = 0; i < records.size(); ++i)
                EXPECT_EQ(records[i].payload.entry.id, entries[i].id);
            reopened.append(State::deferred, entries.first(), session);
            EXPECT_EQ(DurableTrashJournal::verifyFile(DurableTrashJournal::journalPath(base, session)).size(), records.size() + 1);
        },
    };
    using Loss = PowerCutFileOps::AppendLoss;
    EXPECT_GT(cutAtEveryStep(scenario, {{Loss::dropped, Loss::torn, Loss::zeroed}}), 6);
}
