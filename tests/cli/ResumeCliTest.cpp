// A run stopped with Ctrl-C (SIGINT) ends cleanly with its files pending; resume finishes it
// and skips what the first run did. A resume while the run is alive is refused by its lock.

#include "CliTestSupport.h"

#include "model/Json.h"
#include "session/SessionStoreError.h"

#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QProcess>
#include <QThread>
#include <gtest/gtest.h>

#include <csignal>

using namespace kestrava;
using namespace kestrava::test;

namespace {

QByteArray fileContents(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

TEST(ResumeCli, interruptedRunStopsCleanlyAndResumeFinishesIt)
{
    TempTree tree;
    const QString source = tree.path(QStringLiteral("Karte"));
#ifdef KESTRAVA_SANITIZED
    const ShootDigests shoot = writeShoot(source, 30, 20, 11, 64 * 1024);
#else
    const ShootDigests shoot = writeShoot(source, 60, 40, 11, 128 * 1024);
#endif
    const int total = int(shoot.size());
    const QProcessEnvironment environment = isolatedEnvironment(tree.root());
    const QString store = tree.path(QStringLiteral("S"));
    const QString resultFolder = tree.path(QStringLiteral("Ziel/Lauf"));

    QProcess sort;
    sort.setProcessEnvironment(environment);
    sort.start(cliPath(), sortArguments(source, tree.path(QStringLiteral("Ziel")), store, QStringLiteral("safeCopy"),
                                        QStringLiteral("sha256")));
    ASSERT_TRUE(sort.waitForStarted());
    // Once the run holds its lock it is copying: freeze it, ask it to stop, let it go on. The
    // stop request is seen before more than a few files are done.
    QElapsedTimer waited;
    waited.start();
    const QByteArray pid = QByteArray::number(sort.processId());
    while (sort.state() == QProcess::Running && waited.elapsed() < 60000
           && fileContents(resultFolder + QStringLiteral("/.kestrava.lock")) != pid)
        QThread::msleep(1);
    ASSERT_EQ(sort.state(), QProcess::Running) << sort.readAllStandardError().toStdString();
    ::kill(pid_t(sort.processId()), SIGSTOP);

    // While the run lives and holds its locks, a second run of the same session is refused
    // (its card is the first thing it finds taken) and changes nothing.
    const CliResult blocked = runCli({QStringLiteral("resume"), QStringLiteral("--store"), store}, environment);
    EXPECT_EQ(blocked.exitCode, 1);
    // The session is claimed by the live run, so the second is refused before it reaches the
    // result folder's lock.
    EXPECT_TRUE(QString::fromUtf8(blocked.err).contains(SessionStoreError::sessionInUse({}).description()))
        << blocked.err.toStdString();
    EXPECT_EQ(fileContents(resultFolder + QStringLiteral("/.kestrava.lock")), pid);

    ::kill(pid_t(sort.processId()), SIGINT);
    ::kill(pid_t(sort.processId()), SIGCONT);
    ASSERT_TRUE(sort.waitForFinished(120000));
    const QByteArray firstErr = sort.readAllStandardError();
    EXPECT_EQ(sort.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(sort.exitCode(), 1) << firstErr.toStdString();
    const QJsonObject first = lastJson(sort.readAllStandardOutput());
    const int firstOrganized = first.value(QLatin1String("organizedCount")).toInt();
    EXPECT_GT(first.value(QLatin1String("pendingCount")).toInt(), 0);
    EXPECT_EQ(firstOrganized + first.value(QLatin1String("pendingCount")).toInt(), total);
    EXPECT_FALSE(first.value(QLatin1String("errors")).toArray().isEmpty());
    // The lock is given back when the run stops.
    EXPECT_FALSE(QFile::exists(resultFolder + QStringLiteral("/.kestrava.lock")));

    const CliResult resumed = runCli({QStringLiteral("resume"), QStringLiteral("--store"), store}, environment);
    ASSERT_EQ(resumed.exitCode, 0) << resumed.err.toStdString();
    const QJsonObject second = lastJson(resumed.out);
    EXPECT_EQ(second.value(QLatin1String("skippedCount")).toInt(), firstOrganized);
    EXPECT_EQ(second.value(QLatin1String("organizedCount")).toInt(), total - firstOrganized);
    EXPECT_EQ(second.value(QLatin1String("destinationFolder")).toString(), first.value(QLatin1String("destinationFolder")).toString());
    EXPECT_EQ(digestsBelow(resultFolder), shoot.keys());
    EXPECT_EQ(digestsBelow(source), shoot.keys());

    // Nothing is left to resume.
    EXPECT_EQ(runCli({QStringLiteral("resume"), QStringLiteral("--store"), store}, environment).exitCode, 1);
}
