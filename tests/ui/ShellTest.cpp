// The shell around the view model: the one flush at quit, the decision export that never
// replaces a file, reduced motion, revealing files, and the inspector's values.

#include "UiRig.h"
#include "scanning/generator/ShootGenerator.h"
#include "ui/FileManagerReveal.h"
#include "ui/PhotoDetails.h"
#include "ui/PhotoMetadata.h"
#include "ui/ReducedMotion.h"

#include <QFile>
#include <QPromise>
#include <gtest/gtest.h>
#include <fcntl.h>
#include <future>
#include <sys/stat.h>
#include <unistd.h>

using namespace kestrava;
using namespace kestrava::test;
using namespace Qt::StringLiterals;

TEST(AppShell, quittingFlushesTheSessionExactlyOnce)
{
    UiRig rig(3);
    rig.loadShoot();
    rig.shell->flushBeforeQuit();
    rig.shell->flushBeforeQuit();
    EXPECT_EQ(rig.shell->flushCount(), 1);
}

TEST(AppShell, decisionExportWritesANewFileAndNeverReplacesOne)
{
    UiRig rig(4);
    rig.loadShoot();
    rig.configure();
    rig.startReview();
    const QString groupID = rig.viewModel->review()->effectiveReviewGroups().first().id;
    rig.viewModel->review()->reclassify(PhotoDecision::del, groupID);
    ASSERT_TRUE(waitUntil([&] { return !rig.viewModel->review()->isCommittingDecision(); }));

    const QString path = rig.tree.path(u"Entscheidungen.csv"_s);
    ASSERT_TRUE(rig.shell->exportDecisionsCsv(path)) << rig.viewModel->alertText().toStdString();
    const QByteArray csv = readFile(path);
    EXPECT_TRUE(csv.startsWith("Datei,"));
    EXPECT_TRUE(csv.contains("Aussortiert") || csv.contains("delete")) << csv.constData();

    writeFile(path, "schon da");
    EXPECT_FALSE(rig.shell->exportDecisionsCsv(path));
    EXPECT_TRUE(rig.viewModel->alertText().startsWith(u"Export fehlgeschlagen: "_s));
    EXPECT_EQ(readFile(path), QByteArray("schon da"));
    rig.viewModel->dismissAlert();
    EXPECT_TRUE(rig.viewModel->alertText().isEmpty());
}

TEST(ReducedMotion, environmentAndKdeSettings)
{
    EXPECT_EQ(ReducedMotion::fromEnvironment("1"), true);
    EXPECT_EQ(ReducedMotion::fromEnvironment("0"), false);
    EXPECT_EQ(ReducedMotion::fromEnvironment("yes"), std::nullopt);
    EXPECT_EQ(ReducedMotion::fromKdeGlobals(u"[General]\nX=1\n[KDE]\nAnimationDurationFactor=0\n"_s), true);
    EXPECT_EQ(ReducedMotion::fromKdeGlobals(u"[KDE]\nAnimationDurationFactor=0.5\n"_s), false);
    // The key in another group does not count.
    EXPECT_EQ(ReducedMotion::fromKdeGlobals(u"[Other]\nAnimationDurationFactor=0\n"_s), std::nullopt);
}

TEST(FileManagerReveal, fallbackOpensTheFolderThatHoldsAFile)
{
    TempTree tree;
    const QString file = tree.write(u"Ordner/bild.jpg"_s);
    EXPECT_EQ(FileManagerReveal::fallbackUrl(file), QUrl::fromLocalFile(tree.path(u"Ordner"_s)));
    EXPECT_EQ(FileManagerReveal::fallbackUrl(tree.path(u"Ordner"_s)), QUrl::fromLocalFile(tree.path(u"Ordner"_s)));
}

TEST(PhotoMetadata, valuesAreWrittenTheWayPhotographersReadThem)
{
    EXPECT_EQ(PhotoMetadata::formatAperture(2.8), u"f/2,8"_s);
    EXPECT_EQ(PhotoMetadata::formatAperture(8.0), u"f/8"_s);
    EXPECT_EQ(PhotoMetadata::formatExposureTime(1.0 / 250), u"1/250 s"_s);
    EXPECT_EQ(PhotoMetadata::formatExposureTime(0.5), u"0,5 s"_s);
    EXPECT_EQ(PhotoMetadata::formatExposureTime(2), u"2 s"_s);
    EXPECT_EQ(PhotoMetadata::formatFocalLength(50), u"50 mm"_s);
    EXPECT_EQ(PhotoMetadata::formatFocalLength(18.5), u"18,5 mm"_s);
    EXPECT_EQ(PhotoMetadata::formatPixelSize(QSize(6000, 4000)), u"6000 × 4000"_s);
    EXPECT_EQ(PhotoMetadata::cameraName(u"Canon"_s, u"Canon EOS R5"_s), u"Canon EOS R5"_s);
    EXPECT_EQ(PhotoMetadata::cameraName(u"NIKON CORPORATION"_s, u"NIKON Z 6_2"_s), u"NIKON Z 6_2"_s);
    EXPECT_EQ(PhotoMetadata::cameraName(u"FUJIFILM"_s, u"X-T4"_s), u"FUJIFILM X-T4"_s);
}

TEST(PhotoMetadata, unreadableFileGivesDashesNotAnError)
{
    TempTree tree;
    const auto lines = PhotoMetadata::lines(PhotoMetadata::read(tree.write(u"kaputt.jpg"_s, "kein jpeg")));
    ASSERT_EQ(lines.size(), 8);
    for (const auto& line : lines)
        EXPECT_EQ(line.value, u"–"_s) << line.label.toStdString();
}

TEST(PhotoMetadata, fifoNamedLikeAPhotoIsRefusedWithoutWaitingForAWriter)
{
    TempTree tree;
    const QByteArray fifo = QFile::encodeName(tree.path(u"pipe.jpg"_s));
    ASSERT_EQ(::mkfifo(fifo.constData(), 0644), 0);
    auto details = std::async(std::launch::async, [&] { return PhotoMetadata::read(QFile::decodeName(fifo)); });
    if (details.wait_for(std::chrono::seconds(10)) == std::future_status::timeout) {
        ADD_FAILURE() << "reading the inspector's values blocked on a FIFO";
        if (const int writer = ::open(fifo.constData(), O_WRONLY | O_NONBLOCK); writer >= 0)
            ::close(writer); // releases the blocked reader
    }
    EXPECT_FALSE(details.get().captureDate.isValid());
}

TEST(PhotoDetails, readsTheCaptureDateOffTheGuiThreadAndDropsStaleResults)
{
    TempTree tree;
    shootgen::ShootOptions options;
    options.shots = 2;
    options.distractors = false;
    const auto summary = shootgen::generateShoot(tree.root(), options);
    QString jpeg;
    QDateTime date;
    for (const auto& photo : summary.photos)
        if (photo.formatGroup == PhotoFormatGroup::jpeg) {
            jpeg = tree.path(photo.relativePath);
            date = photo.captureDate;
            break;
        }
    ASSERT_FALSE(jpeg.isEmpty());

    PhotoDetails inspector;
    inspector.setPath(tree.path(u"gibt-es-nicht.jpg"_s));
    inspector.setPath(jpeg);
    ASSERT_TRUE(waitUntil([&] { return !inspector.isReading(); }));
    const DetailLine first = inspector.lines().value(0);
    EXPECT_EQ(first.label, u"Aufnahmedatum"_s);
    EXPECT_EQ(first.value, date.toString(u"dd.MM.yyyy, HH:mm:ss"_s));
    EXPECT_EQ(inspector.lines().value(7).value, u"640 × 427"_s);
}

TEST(AppShell, nothingIsOpenedUnderARunningSortAndTheRunKeepsItsResult)
{
    UiRig rig(2);
    QQuickWindow* window = rig.openMainWindow();
    ASSERT_NE(window, nullptr);
    window->show();
    ASSERT_TRUE(waitUntil([&] { return window->isExposed(); }));
    rig.loadShoot();
    rig.configure(u"safeCopy"_s);
    rig.startReview();
    ASSERT_TRUE(rig.reviewWithKeys({Qt::Key_Up, Qt::Key_Up}));
    ASSERT_TRUE(waitUntil([&] { return rig.viewModel->route() == AppRoute::confirmation; }));
    const QString document = rig.tree.path(u"Sicherung.kestrava"_s);
    ASSERT_TRUE(rig.viewModel->sessionStage()->saveSessionDocument(document));
    const QUuid id = rig.viewModel->session()->id;
    QObject* loadAction = rig.find(u"loadSessionAction"_s);
    ASSERT_NE(loadAction, nullptr);
    ASSERT_TRUE(waitUntil([&] { return rig.viewModel->execution()->canExecute(); }));
    EXPECT_TRUE(loadAction->property("enabled").toBool());

    // Held at its second copy, the run is still working when the document arrives.
    rig.fileOps.holdFromCopy = 2;
    rig.viewModel->execution()->applySort();
    ASSERT_TRUE(waitUntil([&] { return rig.fileOps.holding.load() > 0; }));
    EXPECT_FALSE(loadAction->property("enabled").toBool());
    rig.shell->openFromOutside(document);
    EXPECT_TRUE(rig.viewModel->alertText().contains(u"wurde nicht geöffnet"_s));
    EXPECT_EQ(rig.viewModel->route(), AppRoute::executing);
    EXPECT_EQ(rig.viewModel->session()->id, id);

    rig.fileOps.holdFromCopy = 0;
    ASSERT_TRUE(waitUntil([&] { return rig.viewModel->route() == AppRoute::completed; }));
    ASSERT_TRUE(waitUntil([&] { return loadAction->property("enabled").toBool(); }));
    rig.viewModel->flushSessionBeforeTerminationAndWait();
    EXPECT_EQ(rig.store->loadSession(id).result().status, SortSessionStatus::completed);
    EXPECT_EQ(photoFilesBelow(rig.viewModel->destinationFolderPath()).size(), 4);

    // Afterwards a handed-over document opens as usual.
    rig.viewModel->dismissAlert();
    rig.shell->openFromOutside(document);
    EXPECT_FALSE(rig.viewModel->alertText().contains(u"wurde nicht geöffnet"_s));
    EXPECT_EQ(rig.viewModel->route(), AppRoute::confirmation);
}

namespace {

// Capture dates that arrive only when the test releases them, as from a slow card.
struct HeldDates : MetadataEnriching {
    QPromise<QList<PhotoItem>> promise;
    QList<PhotoItem> photos;
    QFuture<QList<PhotoItem>> enrich(QList<PhotoItem> asked) override
    {
        photos = std::move(asked);
        promise = QPromise<QList<PhotoItem>>();
        promise.start();
        return promise.future();
    }
    void release()
    {
        promise.addResult(photos);
        promise.finish();
    }
};

} // namespace

TEST(AppShell, confirmationWaitsVisiblyForCaptureDates)
{
    auto dates = std::make_shared<HeldDates>();
    UiRig rig(2, true, dates);
    QQuickWindow* window = rig.openMainWindow();
    ASSERT_NE(window, nullptr);
    window->show();
    ASSERT_TRUE(waitUntil([&] { return window->isExposed(); }));
    rig.loadShoot();
    rig.configure(u"safeCopy"_s);
    rig.startReview();
    ASSERT_TRUE(rig.reviewWithKeys({Qt::Key_Up, Qt::Key_Up}));
    ASSERT_TRUE(waitUntil([&] { return rig.find(u"executeButton"_s) != nullptr; }));
    ASSERT_TRUE(waitUntil([&] { return !rig.textOf(u"executionWaitText"_s).isEmpty(); }));
    rig.screenshot(window, u"confirmation-waiting-for-dates"_s);
    EXPECT_FALSE(rig.find(u"executeButton"_s)->property("enabled").toBool());

    dates->release();
    ASSERT_TRUE(waitUntil([&] { return rig.find(u"executeButton"_s)->property("enabled").toBool(); }));
    EXPECT_FALSE(rig.find(u"executionWaitText"_s)->property("visible").toBool());
}
