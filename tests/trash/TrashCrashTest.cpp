// A real child process dies at a named step (or by SIGKILL at a random moment); the test then
// restarts the transaction the way the application would and checks what must always hold:
// no original is lost, a copy goes only after its whole group is confirmed, an interrupted
// move is never repeated, and the journal verifies.

#include "TrashTestSupport.h"

#include "trash/CrashPoint.h"
#include "trash/DurableTrashJournal.h"
#include "trash/FreedesktopTrash.h"
#include "trash/TrashJson.h"
#include "trash/TrashTransactionCoordinator.h"
#include "trash/TrashTransactionError.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QProcess>
#include <QRandomGenerator>
#include <gtest/gtest.h>
#include <csignal>

using namespace kestrava;
using namespace kestrava::test;
using State = TrashTransactionState;
namespace Coordinator = TrashTransactionCoordinator;

namespace {

struct CrashCase {
    const char* phase; // "prepare" or "commit"
    const char* point;
};

void PrintTo(const CrashCase& crash, std::ostream* out)
{
    *out << crash.phase << " at " << crash.point;
}

class TrashCrashTest : public ::testing::TestWithParam<CrashCase> {
protected:
    void SetUp() override
    {
        // Two pairs and a single: groups are where "copy only after the whole group" matters.
        groupTexts = {pair(QStringLiteral("IMG_1")), pair(QStringLiteral("IMG_2")),
                      box.addOriginal(QStringLiteral("Einzel bild.jpg"), content(QStringLiteral("Einzel bild.jpg")))};
        for (const QString& group : groupTexts)
            originals.append(group.split(QLatin1Char('|')));
    }

    static QByteArray content(const QString& name)
    {
        return QByteArray(150000, 'x') + name.toUtf8();
    }

    QString pair(const QString& stem)
    {
        const QString jpeg = box.addOriginal(stem + QLatin1String(".jpg"), content(stem + QLatin1String(".jpg")));
        const QString raw = box.addOriginal(stem + QLatin1String(".CR2"), content(stem + QLatin1String(".CR2")));
        return jpeg + QLatin1Char('|') + raw;
    }

    QList<TrashGroup> groups() const
    {
        QList<TrashGroup> out;
        for (const QString& group : groupTexts)
            out.append(TrashSandbox::oneGroup(group.split(QLatin1Char('|'))));
        return out;
    }

    int runChild(const QStringList& arguments, const QString& crashAt, int killAfterMs = -1)
    {
        QProcess child;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("XDG_DATA_HOME"), box.dataHome());
        if (!crashAt.isEmpty())
            environment.insert(QStringLiteral("KESTRAVA_CRASH_AT"), crashAt);
        child.setProcessEnvironment(environment);
        child.start(QStringLiteral(TRASH_CRASH_CHILD), arguments);
        EXPECT_TRUE(child.waitForStarted());
        if (killAfterMs >= 0) {
            if (!child.waitForFinished(killAfterMs))
                ::kill(pid_t(child.processId()), SIGKILL);
        }
        // waitForFinished() answers false for a child that already ended, which races with the kill.
        EXPECT_TRUE(child.waitForFinished(60000) || child.state() == QProcess::NotRunning);
        if (child.exitStatus() == QProcess::CrashExit)
            return -9;
        if (child.exitCode() != 0 && child.exitCode() != testhooks::crashExitCode)
            ADD_FAILURE() << child.readAllStandardError().toStdString();
        return child.exitCode();
    }

    QStringList prepareArguments() const
    {
        return QStringList{QStringLiteral("prepare"), session.toString(QUuid::WithoutBraces).toUpper(), box.resultRoot(),
                           box.journalBase(), preparationFile()} + groupTexts;
    }

    QString preparationFile() const { return box.tree.path(QStringLiteral("preparation.json")); }

    TrashPreparation savedPreparation() const
    {
        return trashPreparationFromJson(QJsonDocument::fromJson(readFile(preparationFile())).object());
    }

    QList<TrashEntry> journaled() const
    {
        return DurableTrashJournal::foldLatest(
            DurableTrashJournal::verifyFile(DurableTrashJournal::journalPath(box.journalBase(), session)));
    }

    // How many files in the home trash hold exactly this original's bytes.
    int copiesInTrash(const QString& original) const
    {
        const QString files = box.homeTrash() + QLatin1String("/files");
        int count = 0;
        for (const QString& name : QDir(files).entryList(QDir::Files))
            if (readFile(files + QLatin1Char('/') + name) == content(QFileInfo(original).fileName()))
                ++count;
        return count;
    }

    void expectNothingLost()
    {
        const QList<TrashEntry> entries = journaled(); // also: the journal verifies
        for (const QString& original : originals) {
            const bool inPlace = QFile::exists(original);
            const int trashed = copiesInTrash(original);
            EXPECT_TRUE(inPlace != (trashed == 1)) << original.toStdString() << " in place: " << inPlace << ", in trash: " << trashed;
            EXPECT_LE(trashed, 1) << "moved twice: " << original.toStdString();
            if (inPlace) {
                EXPECT_EQ(readFile(original), content(QFileInfo(original).fileName()));
            }
        }
        QHash<QUuid, QList<TrashEntry>> byGroup;
        for (const auto& entry : entries)
            byGroup[entry.groupID].append(entry);
        for (const auto& members : byGroup) {
            bool anyCopyGone = false, allConfirmed = true;
            for (const auto& entry : members) {
                const bool staged = entry.state == State::stagedVerified || entry.state == State::deferred
                    || entry.state == State::trashIntent || entry.state == State::needsReview;
                if (staged && entry.stagingIdentity) {
                    EXPECT_TRUE(QFile::exists(entry.stagingURL.path())) << "copy of a file not yet confirmed is gone";
                }
                if (!QFile::exists(entry.stagingURL.path()) && entry.state != State::planned
                    && entry.state != State::stagingIntent && entry.state != State::failed)
                    anyCopyGone = true;
                if (entry.state != State::trashedConfirmed && entry.state != State::cleanupIntent && entry.state != State::stageCleaned)
                    allConfirmed = false;
            }
            if (anyCopyGone) {
                EXPECT_TRUE(allConfirmed) << "a safety copy went before its whole group was in the Trash";
            }
        }
    }

    // The restart: prepare again (resumes) and commit. Returns false when review stops it.
    bool finish()
    {
        const FileUrl result = FileUrl::fromLocalPath(box.resultRoot());
        TrashPreparation preparation =
            Coordinator::prepare(session, groups(), result, box.journalBase(), FreedesktopTrashCapabilityChecker());
        try {
            preparation = Coordinator::commit(preparation, box.journalBase(), FreedesktopTrashService(),
                                              FreedesktopTrashReceiptValidator());
        } catch (const TrashTransactionError& error) {
            EXPECT_EQ(error.kind(), TrashTransactionError::Kind::transactionNeedsReview) << error.what();
            return false;
        }
        for (const auto& entry : preparation.entries)
            EXPECT_EQ(entry.state, State::stageCleaned);
        return true;
    }

    TrashSandbox box;
    QUuid session = QUuid::createUuid();
    QStringList groupTexts;
    QStringList originals;
};

} // namespace

TEST_P(TrashCrashTest, restartAfterCrashLosesNothingAndNeverMovesTwice)
{
    const CrashCase crash = GetParam();
    if (QString::fromLatin1(crash.phase) == QLatin1String("prepare")) {
        ASSERT_EQ(runChild(prepareArguments(), QString::fromLatin1(crash.point)), testhooks::crashExitCode);
        for (const QString& original : originals)
            EXPECT_TRUE(QFile::exists(original)) << "phase one touched an original";
        expectNothingLost();
        EXPECT_TRUE(finish()) << "an interrupted preparation is simply repeated";
        for (const QString& original : originals)
            EXPECT_EQ(copiesInTrash(original), 1);
    } else {
        ASSERT_EQ(runChild(prepareArguments(), {}), 0);
        ASSERT_EQ(runChild({QStringLiteral("commit"), box.journalBase(), preparationFile()}, QString::fromLatin1(crash.point)),
                  testhooks::crashExitCode);
        expectNothingLost();
        const TrashPreparation reloaded = Coordinator::reload(savedPreparation(), box.journalBase());
        const bool interruptedMove = std::any_of(reloaded.entries.begin(), reloaded.entries.end(),
                                                 [](const TrashEntry& e) { return e.state == State::trashIntent; });
        EXPECT_EQ(reloaded.needsReviewCount() > 0, interruptedMove);
        const bool finished = finish();
        EXPECT_EQ(finished, !interruptedMove) << "only an interrupted move needs a person";
        if (!finished) {
            EXPECT_FALSE(finish()) << "review stays review";
        }
    }
    expectNothingLost();
}

INSTANTIATE_TEST_SUITE_P(
    CrashPoints, TrashCrashTest,
    ::testing::Values(CrashCase{"prepare", "journal.append.planned#1"}, CrashCase{"prepare", "journal.append.planned#4"},
                      CrashCase{"prepare", "journal.append.stagingIntent#1"}, CrashCase{"prepare", "stage.before-rename#2"},
                      CrashCase{"prepare", "stage.after-rename#1"}, CrashCase{"prepare", "journal.append.stagedVerified#3"},
                      CrashCase{"commit", "journal.append.trashIntent#1"}, CrashCase{"commit", "trash.before-move#2"},
                      CrashCase{"commit", "trash.after-move#1"}, CrashCase{"commit", "journal.append.trashedConfirmed#1"},
                      CrashCase{"commit", "journal.append.trashedConfirmed#2"}, CrashCase{"commit", "journal.append.cleanupIntent#1"},
                      CrashCase{"commit", "cleanup.before-remove#2"}, CrashCase{"commit", "cleanup.after-remove#1"},
                      CrashCase{"commit", "journal.append.stageCleaned#3"}),
    [](const ::testing::TestParamInfo<CrashCase>& info) {
        QString name = QString::fromLatin1(info.param.phase) + QLatin1Char('_') + QString::fromLatin1(info.param.point);
        for (QChar& c : name)
            if (!c.isLetterOrNumber())
                c = QLatin1Char('_');
        return name.toStdString();
    });

TEST_F(TrashCrashTest, randomKillsDuringCommitNeverLoseAnOriginal)
{
    ASSERT_EQ(runChild(prepareArguments(), {}), 0);
    const int delay = int(QRandomGenerator::global()->bounded(5, 80));
    runChild({QStringLiteral("commit"), box.journalBase(), preparationFile()}, {}, delay);
    expectNothingLost();
    finish();
    expectNothingLost();
}
