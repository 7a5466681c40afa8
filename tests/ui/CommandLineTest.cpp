// Starting the application with an argument: a folder, a saved session document, the demo or
// the usage; the same path handed over to the running window.

#include "UiRig.h"
#include "ui/CommandLine.h"

#include <QDir>
#include <QProcess>
#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::test;
using namespace Qt::StringLiterals;
using Action = CommandLine::Request::Action;

TEST(CommandLine, pathsAreMadeAbsoluteAndOptionsRecognised)
{
    const QString cwd = u"/home/anna/Bilder"_s;
    auto request = CommandLine::parse({u"Urlaub"_s}, cwd);
    EXPECT_EQ(request.action, Action::run);
    EXPECT_EQ(request.path, u"/home/anna/Bilder/Urlaub"_s);
    EXPECT_FALSE(request.demo);

    // A launcher's URL, with an escaped blank, is the local path.
    request = CommandLine::parse({u"file:///media/anna/EOS_DIGITAL/Sitzung%20Mai.kestrava"_s}, cwd);
    EXPECT_EQ(request.path, u"/media/anna/EOS_DIGITAL/Sitzung Mai.kestrava"_s);

    request = CommandLine::parse({u"--demo"_s}, cwd);
    EXPECT_TRUE(request.demo);
    EXPECT_TRUE(request.path.isEmpty());

    // Help wins over whatever else was given, even an unknown option.
    EXPECT_EQ(CommandLine::parse({u"Urlaub"_s, u"--help"_s}, cwd).action, Action::help);
    EXPECT_EQ(CommandLine::parse({u"--farbe"_s, u"-h"_s}, cwd).action, Action::help);

    // Qt's own options are left to Qt, with their values: a session manager restarts the
    // window with -session.
    request = CommandLine::parse({u"-session"_s, u"10abc"_s, u"-platform"_s, u"xcb"_s, u"--style=Fusion"_s,
                                  u"-reverse"_s, u"Urlaub"_s},
                                 cwd);
    EXPECT_EQ(request.action, Action::run);
    EXPECT_EQ(request.path, u"/home/anna/Bilder/Urlaub"_s);

    // A folder named like an option after "--".
    request = CommandLine::parse({u"--"_s, u"-Entwürfe"_s}, cwd);
    EXPECT_EQ(request.action, Action::run);
    EXPECT_EQ(request.path, u"/home/anna/Bilder/-Entwürfe"_s);
}

TEST(CommandLine, unknownOptionsAndASecondPathAreRefused)
{
    auto request = CommandLine::parse({u"--farbe"_s, u"Urlaub"_s}, u"/tmp"_s);
    EXPECT_EQ(request.action, Action::invalid);
    EXPECT_EQ(request.offending, u"--farbe"_s);
    // Two paths: neither may silently win.
    request = CommandLine::parse({u"Urlaub"_s, u"Hochzeit"_s}, u"/tmp"_s);
    EXPECT_EQ(request.action, Action::invalid);
    EXPECT_EQ(request.offending, u"Hochzeit"_s);
}

TEST(CommandLine, helpAndUnknownOptionsNeedNoDisplay)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const QString& name : {u"DISPLAY"_s, u"WAYLAND_DISPLAY"_s, u"QT_QPA_PLATFORM"_s})
        environment.remove(name);
    QProcess help;
    help.setProcessEnvironment(environment);
    help.start(QStringLiteral(KESTRAVA_APP), {u"--help"_s});
    ASSERT_TRUE(help.waitForFinished(60000));
    EXPECT_EQ(help.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(help.exitCode(), 0);
    const QString usage = QString::fromLocal8Bit(help.readAllStandardOutput());
    EXPECT_TRUE(usage.contains(u"--demo"_s) && usage.contains(u".kestrava"_s) && usage.contains(u"ORDNER"_s))
        << usage.toStdString();

    QProcess wrong;
    wrong.setProcessEnvironment(environment);
    wrong.start(QStringLiteral(KESTRAVA_APP), {u"--farbe"_s});
    ASSERT_TRUE(wrong.waitForFinished(60000));
    EXPECT_EQ(wrong.exitCode(), 2);
    const QString complaint = QString::fromLocal8Bit(wrong.readAllStandardError());
    EXPECT_TRUE(complaint.contains(u"--farbe"_s) && complaint.contains(u"--demo"_s)) << complaint.toStdString();
    EXPECT_TRUE(wrong.readAllStandardOutput().isEmpty());
}

TEST(AppShell, aHandedOverPathOpensAsWhatItIs)
{
    UiRig rig(2);
    rig.loadShoot();
    const QUuid id = rig.viewModel->session()->id;
    const QString document = rig.tree.path(u"Stand.kestrava"_s);
    ASSERT_TRUE(rig.viewModel->sessionStage()->saveSessionDocument(document));
    // The older documents carry the extension .json.
    const QString older = rig.tree.path(u"Stand.json"_s);
    ASSERT_TRUE(QFile::copy(document, older));

    for (const QString& path : {document, older}) {
        rig.viewModel->newSort();
        ASSERT_EQ(rig.viewModel->route(), AppRoute::welcome);
        rig.shell->openFromOutside(path);
        // The open command's own note ("… Dateientscheidungen geladen."), never a refusal.
        EXPECT_FALSE(rig.viewModel->alertText().contains(u"nicht"_s)) << rig.viewModel->alertText().toStdString();
        ASSERT_TRUE(rig.viewModel->session().has_value()) << path.toStdString();
        EXPECT_EQ(rig.viewModel->session()->id, id);
        EXPECT_NE(rig.viewModel->route(), AppRoute::welcome);
        rig.viewModel->dismissAlert();
    }

    // A folder is scanned as a new sort.
    rig.viewModel->newSort();
    rig.shell->openFromOutside(rig.shootFolder);
    ASSERT_TRUE(waitUntil([&] { return rig.viewModel->route() == AppRoute::setup; }));
    EXPECT_EQ(rig.viewModel->sourceFolderPath(), rig.shootFolder);
    EXPECT_NE(rig.viewModel->session()->id, id);
}

TEST(AppShell, aMissingOrForeignPathIsNamedAndChangesNothing)
{
    UiRig rig(1);
    const QString missing = rig.tree.path(u"Karte/verschoben.kestrava"_s);
    rig.shell->openFromOutside(missing);
    EXPECT_TRUE(rig.viewModel->alertText().contains(missing)) << rig.viewModel->alertText().toStdString();
    EXPECT_EQ(rig.viewModel->route(), AppRoute::welcome);
    EXPECT_FALSE(rig.viewModel->session().has_value());

    rig.viewModel->dismissAlert();
    const QString photo = rig.tree.write(u"einzeln.jpg"_s, "kein Ordner");
    rig.shell->openFromOutside(photo);
    EXPECT_TRUE(rig.viewModel->alertText().contains(u"einzeln.jpg"_s)) << rig.viewModel->alertText().toStdString();
    EXPECT_EQ(rig.viewModel->route(), AppRoute::welcome);
    EXPECT_FALSE(rig.viewModel->session().has_value());
}
