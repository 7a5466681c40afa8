// The trash journal losing power at each step of its appends, the record being written lost,
// torn or zeroed: it opens again without being taken for damaged, holds at least every record acknowledged before the cut and never one
// that was not being written, and takes the next record chained to the last whole one.

#include "TrashTestSupport.h"

#include "platform/PowerCutFileOps.h"
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
    const QList<TrashEntry> entries{journalEntryNamed(QStringLiteral("IMG_1.CR2")), journalEntryNamed(QString(3000, QLatin1Char('x'))),
                                    journalEntryNamed(QStringLiteral("IMG_3.JPG"))};
    const auto appendAll = [&](const QString& base, FileOps& ops, int& acknowledged) {
        DurableTrashJournal journal(base, session, ops);
        for (const TrashEntry& entry : entries) {
            journal.append(State::planned, entry, session);
            ++acknowledged;
        }
    };

    int steps = 0;
    {
        TempTree tree;
        PowerCutFileOps ops(tree.path("parking"));
        int acknowledged = 0;
        appendAll(tree.path("journal"), ops, acknowledged);
        steps = ops.stepCount();
    }
    ASSERT_GT(steps, 6);
    using Loss = PowerCutFileOps::AppendLoss;
    for (int cut = 1; cut <= steps; ++cut)
    for (const Loss loss : {Loss::dropped, Loss::torn, Loss::zeroed}) {
        SCOPED_TRACE("power cut before step " + std::to_string(cut) + " of " + std::to_string(steps) + ", appended data "
                     + (loss == Loss::dropped ? "dropped" : loss == Loss::torn ? "torn" : "zeroed"));
        TempTree tree;
        const QString base = tree.path("journal");
        int acknowledged = 0;
        {
            PowerCutFileOps ops(tree.path("parking"));
            ops.cutBeforeStep(cut);
            EXPECT_ANY_THROW(appendAll(base, ops, acknowledged));
            ops.powerCut(loss);
        }
        DurableTrashJournal reopened(base, session);
        const QList<TrashJournalRecord> records = reopened.records();
        EXPECT_GE(records.size(), acknowledged);
        EXPECT_LE(records.size(), std::min<qsizetype>(acknowledged + 1, entries.size()));
        for (qsizetype i = 0; i < records.size(); ++i)
            EXPECT_EQ(records[i].payload.entry.id, entries[i].id);
        reopened.append(State::deferred, entries.first(), session);
        EXPECT_EQ(DurableTrashJournal::verifyFile(DurableTrashJournal::journalPath(base, session)).size(), records.size() + 1);
    }
}
