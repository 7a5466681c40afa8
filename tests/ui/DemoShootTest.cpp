// The demo shoot: one per user, reused, repaired when a run took files away; and its opening,
// which never takes the place of a saved session's offer the user has not answered yet.

#include "UiRig.h"
#include "model/SeriesBuilder.h"
#include "preview/ExifDates.h"
#include "preview/FocusMeasure.h"
#include "ui/DemoShoot.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QImage>
#include <gtest/gtest.h>

#include <algorithm>
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

TEST(DemoShoot, eachBurstHasOneFrameFarSharperThanTheOthers)
{
    TempTree tree;
    const QString demo = DemoShoot::create(24, tree.path(u"Demo"_s));
    struct Frame {
        QString path;
        QDateTime captured;
    };
    QList<Frame> frames;
    for (const QString& relative : photoFilesBelow(demo)) {
        if (!relative.endsWith(u".jpg"_s, Qt::CaseInsensitive) && !relative.endsWith(u".jpeg"_s, Qt::CaseInsensitive))
            continue;
        const QString path = demo + u'/' + relative;
        const std::optional<QDateTime> captured = readCaptureDate(path);
        // A softened frame keeps the camera's time, or it would drop out of its burst.
        ASSERT_TRUE(captured) << relative.toStdString();
        frames.append({path, *captured});
    }
    std::sort(frames.begin(), frames.end(), [](const Frame& a, const Frame& b) {
        const QString folderA = QFileInfo(a.path).path(), folderB = QFileInfo(b.path).path();
        return folderA != folderB ? folderA < folderB : a.captured < b.captured;
    });
    QList<SeriesEntry> entries;
    for (const Frame& frame : std::as_const(frames))
        entries.append({FileUrl::fromLocalPath(QFileInfo(frame.path).path()), frame.captured});
    const QList<Series> bursts = findSeries(entries);
    ASSERT_FALSE(bursts.isEmpty()) << "the demo should hold at least one burst";
    for (const Series& burst : bursts) {
        QList<float> scores;
        for (qsizetype i = burst.first; i < burst.first + burst.length; ++i)
            scores.append(measureFocus(QImage(frames[i].path)).score);
        std::sort(scores.begin(), scores.end(), std::greater<>());
        EXPECT_GT(scores[0], 3 * scores[1]) << "burst at " << burst.first;
    }
}
