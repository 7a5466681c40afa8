// The demo shoot: one per user, reused, repaired when a run took files away; and its opening,
// which never takes the place of a saved session's offer the user has not answered yet.

#include "UiRig.h"
#include "ui/DemoShoot.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <gtest/gtest.h>
#include <sys/stat.h>

using namespace kestrava;
using namespace kestrava::test;
using namespace Qt::StringLiterals;

namespace {

ino_t inode(const QString& path)
{
    struct stat info {};
    return ::stat(QFile::encodeName(path).constData(), &info) == 0 ? info.st_ino : 0;
}

} // namespace

TEST(DemoShoot, isReusedAndOnlyWhatIsMissingOrChangedIsMadeAgain)
{
    TempTree tree;
    const QString demo = tree.path(u"Cache/Kestrava/Demo"_s);
    ASSERT_EQ(DemoShoot::create(3, demo), demo);
    ASSERT_TRUE(DemoShoot::isComplete(demo));
    const QStringList generated = photoFilesBelow(demo);
    ASSERT_EQ(generated.size(), 6);
    const QString first = demo + u'/' + generated.at(0);
    const QString second = demo + u'/' + generated.at(1);
    const QString third = demo + u'/' + generated.at(2);
    const ino_t kept = inode(third);

    // A second start finds it complete and writes nothing.
    DemoShoot::create(3, demo);
    EXPECT_EQ(inode(third), kept);

    // A run moved one original away, another file was cut short; a result folder was made
    // inside. Only the two files come back; the results stay as they are.
    ASSERT_TRUE(QFile::remove(first));
    ASSERT_TRUE(QFile::resize(second, 100));
    const QString result = tree.write(u"Cache/Kestrava/Demo/Ergebnis/Behalten/bild.jpg"_s, "Ergebnis");
    EXPECT_FALSE(DemoShoot::isComplete(demo));
    DemoShoot::create(3, demo);
    EXPECT_TRUE(DemoShoot::isComplete(demo));
    QStringList expected = QStringList(generated) << u"Ergebnis/Behalten/bild.jpg"_s;
    expected.sort();
    EXPECT_EQ(photoFilesBelow(demo), expected);
    EXPECT_GT(QFileInfo(second).size(), 100);
    EXPECT_EQ(inode(third), kept);
    EXPECT_EQ(readFile(result), QByteArray("Ergebnis"));
    // Nothing of the fresh copy is left beside the demo.
    EXPECT_EQ(QDir(tree.path(u"Cache/Kestrava"_s)).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
              QStringList{u"Demo"_s});
}

TEST(DemoShoot, aSavedSessionsOfferIsAnsweredBeforeTheDemoOpens)
{
    UiRig rig(2);
    rig.loadShoot();
    rig.viewModel->flushSessionBeforeTerminationAndWait();
    const QString demo = rig.tree.mkdir(u"Demo"_s);
    rig.tree.write(u"Demo/IMG_0001.JPG"_s, "x");

    // A later start of the application, with the demo ready while the offer is on screen.
    auto next = [&] {
        WorkflowServices services;
        services.sessionStore = rig.store.get();
        services.desktop = rig.desktop;
        return std::make_unique<KestravaViewModel>(services);
    };
    auto viewModel = next();
    ASSERT_TRUE(waitUntil([&] { return viewModel->sessionStage()->showResumeChoice(); }));
    DemoShoot::openWhenFree(*viewModel, demo);
    QCoreApplication::processEvents();
    EXPECT_EQ(viewModel->route(), AppRoute::welcome);
    EXPECT_TRUE(viewModel->sessionStage()->showResumeChoice());
    // "Ignorieren": now the demo opens.
    viewModel->sessionStage()->ignoreSavedSession();
    EXPECT_EQ(viewModel->sourceFolderPath(), demo);
    EXPECT_NE(viewModel->route(), AppRoute::welcome);
    viewModel.reset();

    // The user chose a folder of their own instead: the demo stays closed.
    viewModel = next();
    ASSERT_TRUE(waitUntil([&] { return viewModel->sessionStage()->showResumeChoice(); }));
    DemoShoot::openWhenFree(*viewModel, demo);
    viewModel->loading()->load(rig.shootFolder);
    ASSERT_TRUE(waitUntil([&] { return viewModel->route() == AppRoute::setup; }));
    QCoreApplication::processEvents();
    EXPECT_EQ(viewModel->sourceFolderPath(), rig.shootFolder);
}
