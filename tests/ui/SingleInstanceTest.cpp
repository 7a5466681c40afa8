// Starting the application twice: the second start hands its folder to the first window and
// ends; a first instance that died leaves nothing in the way of the next start.

#include "TestSupport.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QThread>
#include <gtest/gtest.h>

#include <csignal>
#include <sys/stat.h>

using namespace kestrava;
using namespace kestrava::test;
using namespace Qt::StringLiterals;

namespace {

bool waitUntilTrue(const std::function<bool()>& condition, int timeoutMs = 60000)
{
    QElapsedTimer waited;
    waited.start();
    while (!condition()) {
        if (waited.elapsed() > timeoutMs)
            return false;
        QThread::msleep(20);
    }
    return true;
}

ino_t inodeOf(const QString& path)
{
    struct stat info {};
    return ::stat(QFile::encodeName(path).constData(), &info) == 0 ? info.st_ino : 0;
}

struct App {
    explicit App(const QProcessEnvironment& environment, const QStringList& arguments = {})
    {
        process.setProcessEnvironment(environment);
        process.start(QStringLiteral(KESTRAVA_APP), arguments);
        process.waitForStarted(60000);
    }
    ~App()
    {
        if (process.state() != QProcess::NotRunning) {
            process.kill();
            process.waitForFinished(60000);
        }
    }
    bool running() const { return process.state() == QProcess::Running; }
    QProcess process;
};

} // namespace

TEST(SingleInstance, aSecondStartHandsItsFolderToTheFirstAndEnds)
{
    TempTree tree;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    const QString runtime = tree.mkdir(u"run"_s);
    // The desktop's runtime folder is private; Qt passes over one that is not.
    QFile::setPermissions(runtime, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    environment.insert(u"XDG_RUNTIME_DIR"_s, runtime);
    environment.insert(u"XDG_DATA_HOME"_s, tree.path(u"data"_s));
    environment.insert(u"XDG_STATE_HOME"_s, tree.path(u"state"_s));
    environment.insert(u"XDG_CONFIG_HOME"_s, tree.path(u"config"_s));
    environment.insert(u"XDG_CACHE_HOME"_s, tree.path(u"cache"_s));
    environment.insert(u"HOME"_s, tree.mkdir(u"home"_s));
    environment.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
    environment.remove(u"DBUS_SESSION_BUS_ADDRESS"_s);
    const QString folder = tree.mkdir(u"Karte"_s);
    writeFile(folder + u"/IMG_0001.JPG"_s, "erstes");
    writeFile(folder + u"/IMG_0002.JPG"_s, "zweites");
    const QString socket = runtime + u"/kestrava.socket"_s;
    const QDir sessions(tree.path(u"data/Kestrava/Sessions"_s));

    auto first = std::make_unique<App>(environment);
    ASSERT_TRUE(waitUntilTrue([&] { return QFile::exists(socket) || !first->running(); }));
    ASSERT_TRUE(first->running()) << first->process.readAllStandardError().toStdString();

    App second(environment, {folder});
    ASSERT_TRUE(second.process.waitForFinished(60000));
    EXPECT_EQ(second.process.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(second.process.exitCode(), 0) << second.process.readAllStandardError().toStdString();
    EXPECT_TRUE(first->running());
    // The first window scanned the folder it was handed and opened a session for it.
    EXPECT_TRUE(waitUntilTrue([&] { return sessions.entryList({u"*.session.json"_s}, QDir::Files).size() == 1; }))
        << first->process.readAllStandardError().toStdString();

    // Killed, the first leaves its socket file behind; the next start takes its place and
    // receives the start after it.
    ::kill(pid_t(first->process.processId()), SIGKILL);
    ASSERT_TRUE(first->process.waitForFinished(60000));
    first.reset();
    ASSERT_TRUE(QFile::exists(socket));
    const ino_t stale = inodeOf(socket);
    App third(environment);
    ASSERT_TRUE(waitUntilTrue([&] { return inodeOf(socket) != stale || !third.running(); }));
    App fourth(environment);
    ASSERT_TRUE(fourth.process.waitForFinished(60000));
    EXPECT_EQ(fourth.process.exitCode(), 0);
    EXPECT_TRUE(third.running()) << third.process.readAllStandardError().toStdString();
}
