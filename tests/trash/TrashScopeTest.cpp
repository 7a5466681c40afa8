// Hostile session documents and journals: only the session's own photos reach the Trash,
// whatever paths an edited document or a journal with a recomputed hash chain names.

#include "TrashTestSupport.h"

#include "trash/DurableTrashJournal.h"
#include "trash/FreedesktopTrash.h"
#include "trash/TrashTransactionCoordinator.h"
#include "trash/TrashTransactionError.h"

#include <QDir>
#include <QFile>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace kestrava;
using namespace kestrava::test;
using State = TrashTransactionState;
namespace Coordinator = TrashTransactionCoordinator;

namespace {

// Only what lies in the sandbox's photo folder belongs to the shoot.
class TrashScopeTest : public TrashTransactionTest {
protected:
    TrashTransactionOptions scoped() const
    {
        TrashTransactionOptions options;
        options.sourceFolder = box.source(QString());
        return options;
    }
};

} // namespace

TEST_F(TrashScopeTest, onlyPhotosOfTheSourceFolderAreStaged)
{
    const QString photo = box.addOriginal(QStringLiteral("IMG_1.CR2"), "raw");
    const QString sidecar = box.addOriginal(QStringLiteral("IMG_1.xmp"), "xmp");
    const QString notes = box.addOriginal(QStringLiteral("notizen.txt"), "text");
    const QString elsewhere = box.tree.write(QStringLiteral("anderer Ordner/brief.jpg"), "letter");
    const QString link = box.source(QStringLiteral("verweis.jpg"));
    ASSERT_EQ(::symlink(QFile::encodeName(elsewhere).constData(), QFile::encodeName(link).constData()), 0);
    const QString fifo = box.source(QStringLiteral("rohr.jpg"));
    ASSERT_EQ(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
    // A path that climbs out of the source folder by "..".
    const QString climbing = box.source(QStringLiteral("../anderer Ordner/brief.jpg"));

    const TrashPreparation prepared = prepare({photo, sidecar, notes, elsewhere, link, fifo, climbing}, scoped());
    QHash<QString, TrashEntry> byName;
    for (const TrashEntry& entry : prepared.entries)
        byName.insert(entry.sourceURL.fileName(), entry);
    EXPECT_EQ(byName.value(QStringLiteral("IMG_1.CR2")).state, State::stagedVerified);
    EXPECT_EQ(byName.value(QStringLiteral("IMG_1.xmp")).state, State::stagedVerified) << "the sidecar of a photo goes with it";
    for (const QString& name : {QStringLiteral("notizen.txt"), QStringLiteral("brief.jpg"), QStringLiteral("verweis.jpg"),
                                QStringLiteral("rohr.jpg")}) {
        ASSERT_TRUE(byName.contains(name)) << name.toStdString();
        EXPECT_EQ(byName.value(name).state, State::failed) << name.toStdString();
        EXPECT_TRUE(byName.value(name).message.value_or(QString()).startsWith(QStringLiteral("„") + name + QStringLiteral("“")))
            << byName.value(name).message.value_or(QString()).toStdString();
    }
    commit(prepared, scoped());
    EXPECT_EQ(readFile(elsewhere), QByteArray("letter"));
    EXPECT_EQ(readFile(notes), QByteArray("text"));
    EXPECT_EQ(QDir(box.homeTrash() + QStringLiteral("/files")).entryList(QDir::Files),
              (QStringList{QStringLiteral("IMG_1.CR2"), QStringLiteral("IMG_1.xmp")}));
}

TEST_F(TrashScopeTest, anotherUsersFileIsRefused)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "changing a file's owner needs root";
    const QString foreign = box.addOriginal(QStringLiteral("IMG_2.jpg"), "theirs");
    ASSERT_EQ(::chown(QFile::encodeName(foreign).constData(), 65534, 65534), 0);
    const TrashPreparation prepared = prepare({foreign}, scoped());
    ASSERT_EQ(prepared.entries.size(), 1);
    EXPECT_EQ(prepared.entries[0].state, State::failed);
    EXPECT_TRUE(prepared.entries[0].message.value_or(QString()).contains(QStringLiteral("anderen Benutzer")));
}

// A journal whose entry was pointed at a file outside the shoot, its hash chain recomputed
// (as appending through the journal itself does): the commit holds it for review, untouched.
TEST_F(TrashScopeTest, journalEditedToNameAFileOutsideTheShootIsHeldBeforeTheMove)
{
    const QString photo = box.addOriginal(QStringLiteral("IMG_3.jpg"), "photo");
    const QString secret = box.tree.write(QStringLiteral("privat/IMG_3.jpg"), "photo");
    const TrashPreparation prepared = prepare({photo}, scoped());
    ASSERT_EQ(prepared.entries[0].state, State::stagedVerified);
    TrashEntry forged = prepared.entries[0];
    forged.sourceURL = FileUrl::fromLocalPath(secret);
    forged.sourceIdentity = FileIdentity::capture(secret, true);
    {
        DurableTrashJournal journal(box.journalBase(), session);
        journal.append(State::stagedVerified, forged, session);
    }
    try {
        commit(prepared, scoped());
        ADD_FAILURE() << "a forged entry was not stopped";
    } catch (const TrashTransactionError& error) {
        EXPECT_EQ(error.kind(), TrashTransactionError::Kind::outsideSession);
        EXPECT_TRUE(error.description().contains(QStringLiteral("Quellordner"))) << error.description().toStdString();
    }
    EXPECT_EQ(readFile(secret), QByteArray("photo"));
    const TrashPreparation after = commit(prepared, scoped());
    EXPECT_EQ(after.entries[0].state, State::needsReview);
    EXPECT_EQ(readFile(secret), QByteArray("photo"));
    EXPECT_TRUE(QDir(box.homeTrash() + QStringLiteral("/files")).entryList(QDir::Files).isEmpty());
}
