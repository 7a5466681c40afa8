// Long but legal photo names on their way through the safety folder and into the Trash.

#include "TrashTestSupport.h"

#include "trash/FreedesktopTrash.h"
#include "trash/FreedesktopTrashLayout.h"
#include "trash/TrashNames.h"
#include "trash/TrashTransactionCoordinator.h"

#include <QDir>
#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::test;
using State = TrashTransactionState;

TEST(TrashNames, longNamesAreCutAtCharactersKeepTheirExtensionAndStayApart)
{
    // "ä" is two bytes, "𝄞" four (a surrogate pair): a cut must never split either.
    const QString umlauts = QString(200, QChar(0xe4)) + QStringLiteral(".CR2");
    const QString clefs = QString::fromUtf8("\xF0\x9D\x84\x9E").repeated(70) + QStringLiteral(".jpg");
    for (const QString& name : {umlauts, clefs}) {
        const QString cut = TrashNames::forTrash(name);
        EXPECT_LE(cut.toUtf8().size() + 10, 255);
        EXPECT_EQ(QString::fromUtf8(cut.toUtf8()), cut) << "cut inside a character";
        EXPECT_TRUE(cut.endsWith(name.mid(name.lastIndexOf(QLatin1Char('.')))));
    }
    const QString a = QString(250, QLatin1Char('a')) + QStringLiteral("1.jpg");
    const QString b = QString(250, QLatin1Char('a')) + QStringLiteral("2.jpg");
    EXPECT_NE(TrashNames::forStaging(a), TrashNames::forStaging(b));
    EXPECT_EQ(TrashNames::forStaging(QStringLiteral("IMG_1.CR2")), QStringLiteral("IMG_1.CR2"));
}

// 248 bytes: its info file's name would pass 255 bytes; 254 bytes: the staging copy's would too.
TEST(TrashNames, longNamedRejectsAreStagedAndTrashedWithTheirFullPathRecorded)
{
    TrashSandbox box;
    const QUuid session = QUuid::createUuid();
    const QStringList originals{box.addOriginal(QString(244, QLatin1Char('x')) + QStringLiteral(".CR2"), "raw"),
                                box.addOriginal(QString(250, QLatin1Char('y')) + QStringLiteral(".jpg"), "jpeg")};
    const TrashPreparation prepared = TrashTransactionCoordinator::prepare(
        session, TrashSandbox::singleGroups(originals), FileUrl::fromLocalPath(box.resultRoot()), box.journalBase(),
        FreedesktopTrashCapabilityChecker());
    for (const TrashEntry& entry : prepared.entries)
        EXPECT_EQ(entry.state, State::stagedVerified) << entry.message.value_or(QString()).toStdString();
    const TrashPreparation committed = TrashTransactionCoordinator::commit(
        prepared, box.journalBase(), FreedesktopTrashService(), FreedesktopTrashReceiptValidator());

    TrashDirectory home;
    home.root = box.homeTrash();
    home.isHomeTrash = true;
    QStringList recorded;
    for (const QString& info : QDir(home.infoFolder()).entryList(QDir::Files))
        recorded.append(FreedesktopTrashInfo::originalPath(readFile(home.infoFolder() + QLatin1Char('/') + info), home).value_or(QString()));
    recorded.sort();
    QStringList expected = originals;
    expected.sort();
    EXPECT_EQ(recorded, expected);
    for (const TrashEntry& entry : committed.entries)
        EXPECT_EQ(entry.state, State::stageCleaned);
}
