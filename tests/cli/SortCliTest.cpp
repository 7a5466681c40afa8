// kestrava-cli sort end to end in each mode, the report, and the exit codes of the executing
// commands. Every run works in a temporary folder with its own XDG folders.

#include "CliTestSupport.h"

#include "cli/CliWording.h"

#include "execution/OperationLock.h"
#include "model/Json.h"
#include "model/PhotoModel.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QThread>

#include <algorithm>
#include <array>
#include <cstdio>
#include <sys/stat.h>
#include <unistd.h>
#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::test;

namespace {

QList<QByteArray> sortedKeys(const ShootDigests& digests)
{
    return digests.keys(); // QMap keys are already sorted
}

int countRecords(const QJsonObject& output, const QString& status)
{
    int count = 0;
    for (const QJsonValue& record : output.value(QLatin1String("records")).toArray())
        count += record.toObject().value(QLatin1String("status")).toString() == status;
    return count;
}

} // namespace

TEST(SortCli, safeCopyCopiesEveryFileByteIdenticalAndWritesTheReport)
{
    TempTree tree;
    const QString source = tree.path(QStringLiteral("Karte"));
    const ShootDigests shoot = writeShoot(source, 10, 5);
    const QProcessEnvironment environment = isolatedEnvironment(tree.root());
    const QString store = tree.path(QStringLiteral("S"));
    const QString report = tree.path(QStringLiteral("Kestrava-Bericht.txt"));

    const CliResult result = runCli(sortArguments(source, tree.path(QStringLiteral("Ziel")), store, QStringLiteral("safeCopy"),
                                                  QStringLiteral("sha256"))
                                        + QStringList{QStringLiteral("--report"), report, QStringLiteral("--no-date-folders")},
                                    environment);
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    const QJsonObject output = lastJson(result.out);
    EXPECT_EQ(output.value(QLatin1String("organizedCount")).toInt(), 25);
    EXPECT_EQ(output.value(QLatin1String("pendingCount")).toInt(), 0);
    EXPECT_TRUE(output.value(QLatin1String("errors")).toArray().isEmpty());
    EXPECT_EQ(countRecords(output, QStringLiteral("completed")), 25);
    const QString resultFolder = tree.path(QStringLiteral("Ziel/Lauf"));
    EXPECT_EQ(output.value(QLatin1String("destinationFolder")).toString(), FileUrl::fromLocalPath(resultFolder).toUrlString());

    // One copy of every file, byte for byte; nothing temporary and no lock left behind; the
    // originals untouched.
    EXPECT_EQ(digestsBelow(resultFolder), sortedKeys(shoot));
    // Without date folders no folder below the result folder is a year or a month.
    for (const QString& name : filesBelow(resultFolder)) {
        EXPECT_FALSE(QFileInfo(name).fileName().startsWith(QLatin1Char('.'))) << name.toStdString();
        EXPECT_FALSE(name.contains(QRegularExpression(QStringLiteral("(^|/)\\d{4}(-\\d{2})?/")))) << name.toStdString();
    }
    EXPECT_EQ(digestsBelow(source), sortedKeys(shoot));

    // Plain progress lines, since standard error is no terminal here.
    EXPECT_TRUE(QString::fromUtf8(result.err).contains(QStringLiteral("/25 Dateien"))) << result.err.toStdString();

    const QString text = QString::fromUtf8(readFile(report));
    EXPECT_TRUE(QRegularExpression(QStringLiteral("^Kestrava \\d+\\.\\d+\\.\\d+ Bericht$")).match(text.section(QLatin1Char('\n'), 0, 0)).hasMatch());
    EXPECT_TRUE(text.section(QLatin1Char('\n'), 1).startsWith(QStringLiteral("Modus: Sicher kopieren\nQuelle: Karte\nZiel: Lauf\n")))
        << text.toStdString();
    EXPECT_TRUE(text.contains(QStringLiteral("\nOrganisiert: 25\n")));
    EXPECT_TRUE(text.endsWith(QStringLiteral("\nAusstehend: 0\nFehler: 0")));

    // The finished session is no longer offered for resuming.
    const CliResult resume = runCli({QStringLiteral("resume"), QStringLiteral("--store"), store}, environment);
    EXPECT_EQ(resume.exitCode, 1);
    EXPECT_TRUE(QString::fromUtf8(resume.err).contains(QStringLiteral("keine unterbrochene Sitzung"))) << resume.err.toStdString();

    // Results and report are readable as the user's own files are, not private to Kestrava.
    const mode_t mask = ::umask(022);
    ::umask(mask);
    struct stat info {};
    for (const QString& file : {report, resultFolder + "/" + filesBelow(resultFolder).first()}) {
        ASSERT_EQ(::stat(QFile::encodeName(file).constData(), &info), 0);
        EXPECT_EQ(info.st_mode & 0777, 0666 & ~mask) << file.toStdString();
    }
    ASSERT_EQ(::stat(QFile::encodeName(resultFolder).constData(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0777 & ~mask);

    // Another sort naming the same report is refused before it runs; the report stays.
    const QByteArray before = readFile(report);
    const CliResult again = runCli(sortArguments(source, tree.path(QStringLiteral("Ziel2")), store, QStringLiteral("safeCopy"))
                                       + QStringList{QStringLiteral("--report"), report},
                                   environment);
    EXPECT_EQ(again.exitCode, 1);
    EXPECT_TRUE(QString::fromUtf8(again.err).contains(QStringLiteral("nicht überschrieben"))) << again.err.toStdString();
    EXPECT_EQ(readFile(report), before);
    EXPECT_FALSE(QFileInfo::exists(tree.path(QStringLiteral("Ziel2"))));
}

// While another run works on the card, a sort of it is refused before anything moves, naming
// the card's folder; the other run's lock lives in the sessions folder, not on the card.
TEST(SortCli, sortOfACardAnotherRunHoldsIsRefusedNamingTheFolder)
{
    TempTree tree;
    const QString source = tree.path(QStringLiteral("Karte"));
    const ShootDigests shoot = writeShoot(source, 2, 1);
    const QProcessEnvironment environment = isolatedEnvironment(tree.root());
    const QString sessions = environment.value(QStringLiteral("XDG_DATA_HOME")) + QStringLiteral("/Kestrava/Sessions");
    // Another spelling of the same folder meets the same lock.
    const auto held = OperationLock::forSource(source + QStringLiteral("/."), sessions);

    const CliResult result = runCli(sortArguments(source, tree.path(QStringLiteral("Ziel")), tree.path(QStringLiteral("S")),
                                                  QStringLiteral("moveOriginals")),
                                    environment);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(QString::fromUtf8(result.err).contains(QStringLiteral("Quellordner „Karte“"))) << result.err.toStdString();
    EXPECT_EQ(digestsBelow(source), sortedKeys(shoot));
    EXPECT_TRUE(digestsBelow(tree.path(QStringLiteral("Ziel"))).isEmpty());
    QStringList onCard = QDir(source).entryList(QDir::Hidden | QDir::Files);
    EXPECT_EQ(onCard.size(), shoot.size()) << onCard.join(' ').toStdString();
}

// Two moves of one card into one destination base, started together (two windows, or the
// window and the command line): the second is refused naming the card's folder, or finds the
// photos gone; never does a photo end up twice.
TEST(SortCli, twoMovesOfOneCardAtOnceLeaveEveryPhotoExactlyOnce)
{
    // A card on a volume of its own where there is one, so that the runs copy and overlap.
    struct stat shm {};
    const bool cardVolume = ::stat("/dev/shm", &shm) == 0 && ::access("/dev/shm", W_OK) == 0;
    for (const int delayMs : {0, 300}) {
        TempTree tree;
        QTemporaryDir card(cardVolume ? QStringLiteral("/dev/shm/kestrava-card-XXXXXX") : tree.path(QStringLiteral("c-XXXXXX")));
        const QString source = card.path() + QStringLiteral("/Karte");
        const ShootDigests shoot = writeShoot(source, 12, 4);
        const QProcessEnvironment environment = isolatedEnvironment(tree.root());
        const QString base = tree.path(QStringLiteral("Ziel"));

        std::array<QProcess, 2> runs;
        for (int i = 0; i < 2; ++i) {
            if (i == 1)
                QThread::msleep(delayMs);
            runs[i].setProcessEnvironment(environment);
            runs[i].start(cliPath(), sortArguments(source, base, tree.path(QStringLiteral("S%1").arg(i)),
                                                   QStringLiteral("moveOriginals")));
        }
        QStringList errors;
        int succeeded = 0;
        for (QProcess& run : runs) {
            ASSERT_TRUE(run.waitForFinished(120000));
            succeeded += run.exitStatus() == QProcess::NormalExit && run.exitCode() == 0;
            errors.append(QString::fromUtf8(run.readAllStandardError()));
        }
        EXPECT_GE(succeeded, 1) << errors.join("\n---\n").toStdString();
        // Every photo exactly once, at the source or in a result.
        QList<QByteArray> everywhere = digestsBelow(source) + digestsBelow(base);
        std::sort(everywhere.begin(), everywhere.end());
        EXPECT_EQ(everywhere, sortedKeys(shoot)) << "delay " << delayMs;
        EXPECT_TRUE(digestsBelow(source).isEmpty());
        if (succeeded == 1) {
            const QString refusal = errors[runs[0].exitCode() == 0 ? 1 : 0];
            std::printf("second run: %s\n", qPrintable(refusal.section(QLatin1Char('\n'), -2, -2)));
            // Refused, or too late to find anything left to do: either way it says why.
            EXPECT_FALSE(refusal.trimmed().isEmpty());
        }
    }
}

TEST(SortCli, refusesBadArgumentsAndReportsMissingWorkInGerman)
{
    TempTree tree;
    const QString source = tree.path(QStringLiteral("Karte"));
    writeShoot(source, 1, 1);
    const QProcessEnvironment environment = isolatedEnvironment(tree.root());
    const QString store = tree.path(QStringLiteral("S"));
    const QStringList valid = sortArguments(source, tree.path(QStringLiteral("Ziel")), store, QStringLiteral("safeCopy"));

    auto without = [&](const QString& option) {
        QStringList arguments = valid;
        const qsizetype at = arguments.indexOf(option);
        arguments.remove(at, 2);
        return arguments;
    };
    auto replaced = [&](const QString& option, const QString& value) {
        QStringList arguments = valid;
        arguments[arguments.indexOf(option) + 1] = value;
        return arguments;
    };
    EXPECT_EQ(runCli(without(QStringLiteral("--dest")), environment).exitCode, 2);
    EXPECT_EQ(runCli(without(QStringLiteral("--all")), environment).exitCode, 2);
    EXPECT_EQ(runCli(replaced(QStringLiteral("--mode"), QStringLiteral("copy")), environment).exitCode, 2);
    EXPECT_EQ(runCli(replaced(QStringLiteral("--verify"), QStringLiteral("md5")), environment).exitCode, 2);
    // The second trash confirmation only exists for the trash mode.
    EXPECT_EQ(runCli(valid + QStringList{QStringLiteral("--confirm-trash")}, environment).exitCode, 2);
    EXPECT_EQ(runCli({QStringLiteral("resume"), QStringLiteral("jetzt")}, environment).exitCode, 2);
    EXPECT_EQ(runCli({QStringLiteral("trash"), QStringLiteral("leeren")}, environment).exitCode, 2);
    EXPECT_EQ(runCli({QStringLiteral("trash")}, environment).exitCode, 2);

    const CliResult noSession = runCli({QStringLiteral("resume"), QStringLiteral("--store"), store}, environment);
    EXPECT_EQ(noSession.exitCode, 1);
    EXPECT_EQ(QString::fromUtf8(noSession.err.trimmed()), cli::noInterruptedSession());
    const CliResult noTrash = runCli({QStringLiteral("trash"), QStringLiteral("commit"), QStringLiteral("--store"), store}, environment);
    EXPECT_EQ(noTrash.exitCode, 1);
    EXPECT_EQ(QString::fromUtf8(noTrash.err.trimmed()), cli::noPreparedTrashTransaction());

    // A folder that is not there fails with a German message and copies nothing.
    QStringList missingFolder = valid;
    missingFolder[1] = tree.path(QStringLiteral("Fehlt"));
    const CliResult missing = runCli(missingFolder, environment);
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_FALSE(missing.err.trimmed().isEmpty());
    EXPECT_FALSE(QFileInfo::exists(tree.path(QStringLiteral("Ziel/Lauf"))));
}
