// From a chosen folder to the start of review: preselection, format choice, result folder,
// and the reset of a run.

#include "WorkflowRig.h"

#include <QPromise>
#include <QSignalSpy>
#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::test;

TEST(Loading, jpegOnlyFolderReviewsSinglesWithoutChoice)
{
    WorkflowRig rig;
    rig.load(photosNamed(rig.photoFolder, {"a.jpg", "b.JPG", "c.jpeg"}));
    EXPECT_EQ(rig.vm().route(), AppRoute::setup);
    EXPECT_EQ(rig.vm().loading()->selectedReviewChoice(), FormatReviewChoice::jpeg);
    EXPECT_FALSE(rig.vm().loading()->showFormatChoice());
    EXPECT_EQ(rig.vm().loading()->jpegAvailableCount(), 3);
    EXPECT_EQ(rig.vm().loading()->rawAvailableCount(), 0);
    // Only the JPEG view is offered: the other two need RAW files.
    QStringList available;
    for (const SetupChoice& choice : rig.vm().loading()->reviewChoices())
        if (choice.available)
            available << choice.name;
    EXPECT_EQ(available, QStringList{QStringLiteral("jpeg")});
    EXPECT_EQ(rig.vm().review()->reviewGroupCount(), 3);
    EXPECT_TRUE(rig.vm().loading()->passThroughPhotos().isEmpty());
    // The run's session exists from here on and was written once.
    ASSERT_TRUE(rig.vm().session());
    EXPECT_TRUE(QFile::exists(rig.store->snapshotPath(rig.vm().session()->id)));
}

TEST(Loading, mixedFolderPairsShotsAndJpegChoiceCarriesRawAlong)
{
    WorkflowRig rig;
    rig.load(shoot(rig.photoFolder, 3, 1));
    EXPECT_EQ(rig.vm().loading()->selectedReviewChoice(), FormatReviewChoice::both);
    EXPECT_TRUE(rig.vm().loading()->showFormatChoice());
    EXPECT_EQ(rig.vm().review()->reviewGroupCount(), 4);
    EXPECT_EQ(rig.vm().loading()->reviewGroups().first().memberURLs.size(), 2);

    rig.startReview();
    rig.decide(PhotoDecision::keep);
    ASSERT_EQ(rig.vm().review()->currentIndex(), 1);
    ASSERT_EQ(rig.vm().review()->history().size(), 1);

    rig.vm().loading()->chooseFormatReview(FormatReviewChoice::jpeg);
    EXPECT_FALSE(rig.vm().loading()->showFormatChoice());
    EXPECT_EQ(rig.vm().review()->reviewGroupCount(), 4);
    for (const ReviewGroup& group : rig.vm().loading()->reviewGroups())
        EXPECT_EQ(group.memberURLs.size(), 1);
    EXPECT_EQ(rig.vm().loading()->passThroughPhotos().size(), 3);
    EXPECT_EQ(rig.vm().loading()->ignoredPhotoCount(), 3);
    for (const PhotoItem& item : rig.vm().loading()->passThroughPhotos())
        EXPECT_EQ(item.formatGroup, PhotoFormatGroup::raw);
    EXPECT_EQ(rig.vm().review()->currentIndex(), 0);
    EXPECT_TRUE(rig.vm().review()->history().isEmpty());
    EXPECT_FALSE(rig.vm().destinationFolder());
}

TEST(Loading, emptyFolderAndScanFailureReturnToWelcome)
{
    WorkflowRig rig;
    rig.load({});
    EXPECT_EQ(rig.vm().route(), AppRoute::welcome);
    EXPECT_EQ(rig.vm().alertText(),
              QStringLiteral("In diesem Ordner wurden keine unterstützten JPEG- oder RAW-Dateien gefunden."));
    EXPECT_FALSE(rig.vm().session());

    rig.vm().dismissAlert();
    rig.scanFailureFolder = rig.photoFolder;
    rig.vm().loading()->load(rig.photoFolder);
    ASSERT_TRUE(waitFor([&] { return !rig.vm().loading()->isLoading(); }));
    EXPECT_EQ(rig.vm().route(), AppRoute::welcome);
    EXPECT_EQ(rig.vm().alertText(), QStringLiteral("Der ausgewählte Ordner konnte nicht gelesen werden."));
    EXPECT_EQ(rig.vm().loading()->photoCount(), 0);
}

TEST(Loading, reviewStartsOnlyWithAllFiveChoices)
{
    WorkflowRig rig;
    rig.load(shoot(rig.photoFolder, 2));
    QSignalSpy changed(rig.vm().loading(), &LoadingStage::canStartReviewChanged);
    EXPECT_FALSE(rig.vm().loading()->canStartReview());  // no mode yet
    rig.vm().selectOperationMode(SortOperationMode::moveOriginals);
    rig.vm().setDestinationBaseFolder(rig.destinationBase);
    EXPECT_TRUE(rig.vm().loading()->canStartReview());
    EXPECT_GT(changed.count(), 0);

    // A name of nothing but characters the sanitiser removes is no name.
    rig.vm().updateRunFolderName(QStringLiteral("   "));
    EXPECT_FALSE(rig.vm().loading()->canStartReview());
    rig.vm().loading()->startReviewing();
    EXPECT_EQ(rig.vm().route(), AppRoute::setup);
    EXPECT_EQ(rig.vm().alertText(),
              QStringLiteral("Bitte wähle Format, Modus, Zielbasis und einen Namen für den Ergebnisordner."));

    rig.vm().updateRunFolderName(QStringLiteral("Hochzeit"));
    rig.vm().setDestinationBaseFolder(QString());
    EXPECT_FALSE(rig.vm().loading()->canStartReview());
}

TEST(Loading, resultFolderStaysFixedForTheRun)
{
    WorkflowRig rig;
    rig.tree.mkdir(QStringLiteral("Ziel/Ergebnis"));
    rig.load(shoot(rig.photoFolder, 2));
    rig.startReview();
    // An existing folder of that name is never reused.
    const QString resolved = rig.vm().destinationFolderPath();
    EXPECT_EQ(resolved, rig.destinationBase + QStringLiteral("/Ergebnis 2"));
    EXPECT_EQ(rig.vm().runFolderName(), QStringLiteral("Ergebnis 2"));

    // Someone creates the folder meanwhile; re-entering review keeps it anyway.
    rig.tree.mkdir(QStringLiteral("Ziel/Ergebnis 2"));
    rig.vm().updateRunFolderName(QStringLiteral("Ergebnis"));
    rig.vm().loading()->startReviewing();
    EXPECT_EQ(rig.vm().destinationFolderPath(), resolved);

    // Another name is another run folder.
    rig.vm().updateRunFolderName(QStringLiteral("Anders"));
    rig.vm().loading()->startReviewing();
    EXPECT_EQ(rig.vm().destinationFolderPath(), rig.destinationBase + QStringLiteral("/Anders"));
}

TEST(Loading, newSortClearsTheRunButKeepsSettings)
{
    WorkflowRig rig;
    rig.vm().setup()->updateEventName(QStringLiteral("Hochzeit"));
    rig.vm().setup()->updateGroupByDate(false);
    rig.vm().setup()->updateVerificationMode(VerificationMode::sha256);
    rig.load(shoot(rig.photoFolder, 3));
    rig.startReview();
    rig.decide(PhotoDecision::keep);
    rig.vm().audit()->request();
    rig.vm().execution()->setApplyingForTesting(true);

    rig.vm().newSort();
    EXPECT_EQ(rig.vm().route(), AppRoute::welcome);
    EXPECT_EQ(rig.vm().loading()->photoCount(), 0);
    EXPECT_EQ(rig.vm().review()->reviewGroupCount(), 0);
    EXPECT_TRUE(rig.vm().review()->history().isEmpty());
    EXPECT_FALSE(rig.vm().destinationFolder());
    EXPECT_FALSE(rig.vm().sourceFolder());
    EXPECT_FALSE(rig.vm().review()->decisionFeedback());
    EXPECT_FALSE(rig.vm().audit()->requestID());
    EXPECT_FALSE(rig.vm().review()->showReviewCompletion());
    EXPECT_FALSE(rig.vm().execution()->isApplying());
    EXPECT_EQ(rig.vm().review()->classifiedCount(), 0);
    EXPECT_EQ(rig.vm().setup()->eventName(), QStringLiteral("Hochzeit"));
    EXPECT_FALSE(rig.vm().setup()->groupByDate());
    EXPECT_EQ(rig.vm().setup()->verificationMode(), VerificationMode::sha256);
}

TEST(Loading, ratingSidecarChoiceReachesTheRunOptionsWithinOneToFiveStars)
{
    WorkflowRig rig;
    const FileUrl destination = FileUrl::fromLocalPath(rig.destinationBase);
    EXPECT_FALSE(rig.vm().execution()->currentOptions(destination).writeRatingSidecars);

    rig.vm().setup()->setWriteRatingSidecars(true);
    rig.vm().setup()->setKeepRatingStars(4);
    SortOptions options = rig.vm().execution()->currentOptions(destination);
    EXPECT_TRUE(options.writeRatingSidecars);
    EXPECT_EQ(options.keepRatingStars, 4);

    rig.vm().setup()->updateRatingSidecars(true, 9);
    EXPECT_EQ(rig.vm().execution()->currentOptions(destination).keepRatingStars, 5);
    rig.vm().setup()->updateRatingSidecars(true, 0);
    EXPECT_EQ(rig.vm().execution()->currentOptions(destination).keepRatingStars, 1);

    // The choice belongs to the person, not to the run.
    rig.vm().newSort();
    EXPECT_TRUE(rig.vm().execution()->currentOptions(destination).writeRatingSidecars);
}

TEST(Loading, metadataDatesMergeWithoutTouchingDecisions)
{
    struct SlowDates : MetadataEnriching {
        QPromise<QList<PhotoItem>> promise;
        QFuture<QList<PhotoItem>> enrich(QList<PhotoItem>) override
        {
            promise.start();
            return promise.future();
        }
    };
    auto dates = std::make_shared<SlowDates>();
    TempTree tree;
    WorkflowServices services;
    services.metadata = dates;
    services.scanFolder = [&](const FileUrl&) { return photosNamed(tree.root(), {"a.jpg", "b.jpg"}); };
    services.timings = WorkflowRig::shortTimings();
    KestravaViewModel vm(services);
    vm.loading()->load(tree.root());
    ASSERT_TRUE(waitFor([&] { return !vm.loading()->isLoading(); }));
    vm.selectOperationMode(SortOperationMode::safeCopy);
    vm.loading()->startReviewing();
    EXPECT_TRUE(vm.loading()->isPreparingMetadata());
    vm.review()->setPreviewReady(true, vm.review()->previewCandidates().first());
    vm.review()->classify(PhotoDecision::del);

    QList<PhotoItem> enriched = photosNamed(tree.root(), {"a.jpg", "b.jpg"});
    const QDateTime shot(QDate(2025, 7, 1), QTime(12, 0), Qt::UTC);
    enriched[0].captureDate = shot;
    QSignalSpy done(vm.loading(), &LoadingStage::metadataEnriched);
    dates->promise.addResult(enriched);
    dates->promise.finish();
    ASSERT_TRUE(waitFor([&] { return done.count() == 1; }));
    EXPECT_FALSE(vm.loading()->isPreparingMetadata());
    EXPECT_TRUE(vm.loading()->metadataWasEnriched());
    EXPECT_EQ(vm.loading()->photos()[0].captureDate, shot);
    EXPECT_EQ(vm.loading()->photos()[0].decision, PhotoDecision::del);
}

namespace {

// A view model on a real store whose scan answers `outcome`, with the volume question answered
// by `removable` and the Pictures folder at `pictures`.
struct SetupRig {
    TempTree tree;
    SessionStore store{tree.path(QStringLiteral("Sessions"))};
    PhotoScanOutcome outcome;
    bool removable = false;
    QStringList askedAbout;
    QString pictures = tree.mkdir(QStringLiteral("Bilder"));
    std::unique_ptr<KestravaViewModel> vm;

    SetupRig() { restart(); }
    void restart()
    {
        vm.reset();
        WorkflowServices services;
        services.sessionStore = &store;
        services.timings = WorkflowRig::shortTimings();
        services.scanFolder = [this](const FileUrl&) { return outcome; };
        services.isOnRemovableVolume = [this](const QString& path) {
            askedAbout.append(path);
            return removable;
        };
        services.picturesFolder = pictures;
        vm = std::make_unique<KestravaViewModel>(services);
    }
    void load(const QString& folder)
    {
        vm->loading()->load(folder);
        ASSERT_TRUE(waitFor([&] { return !vm->loading()->isLoading(); }));
        ASSERT_EQ(vm->route(), AppRoute::setup) << vm->alertText().toStdString();
    }
};

} // namespace

TEST(Loading, entriesTheScanLeftOutAreNamedAndStayNamedAfterARestart)
{
    SetupRig rig;
    const QString folder = rig.tree.mkdir(QStringLiteral("Karte"));
    rig.outcome = photosNamed(folder, {"a.jpg", "b.jpg"});
    rig.outcome.skippedUndecodableNames = 2;
    rig.outcome.skippedUnreadableFolders = 1;
    rig.load(folder);
    EXPECT_EQ(rig.vm->loading()->skippedEntryCount(), 3);
    EXPECT_TRUE(rig.vm->loading()->skippedEntriesNoteText().contains(QStringLiteral("3 Dateien oder Unterordner")))
        << rig.vm->loading()->skippedEntriesNoteText().toStdString();

    // Continued at a later start, the confirmation screen must still say it.
    rig.vm->selectOperationMode(SortOperationMode::moveOriginals);
    rig.vm->loading()->startReviewing();
    ASSERT_EQ(rig.vm->route(), AppRoute::reviewing) << rig.vm->alertText().toStdString();
    rig.vm->flushSessionBeforeTerminationAndWait();
    rig.restart();
    ASSERT_TRUE(waitFor([&] { return rig.vm->sessionStage()->hasResumableSession(); }));
    rig.vm->sessionStage()->resumeSavedSession();
    ASSERT_TRUE(waitFor([&] { return rig.vm->route() == AppRoute::reviewing; }));
    EXPECT_EQ(rig.vm->loading()->skippedEntryCount(), 3);

    // Another folder without gaps must not inherit the note.
    rig.outcome = photosNamed(folder, {"c.jpg"});
    rig.load(folder);
    EXPECT_EQ(rig.vm->loading()->skippedEntryCount(), 0);
    EXPECT_TRUE(rig.vm->loading()->skippedEntriesNoteText().isEmpty());
}

TEST(Loading, folderOnACardProposesThePicturesFolderAndOtherwiseItsParent)
{
    SetupRig rig;
    const QString card = rig.tree.mkdir(QStringLiteral("DCIM/100CANON"));
    rig.outcome = photosNamed(card, {"IMG_1.JPG"});
    rig.load(card);
    EXPECT_EQ(rig.vm->destinationBaseFolderPath(), rig.tree.path(QStringLiteral("DCIM")));

    rig.removable = true;
    rig.restart();
    rig.load(card);
    EXPECT_EQ(rig.vm->destinationBaseFolderPath(), rig.pictures);
    EXPECT_EQ(rig.askedAbout.last(), card);

    // A base the user chose stands, card or not.
    rig.restart();
    const QString chosen = rig.tree.mkdir(QStringLiteral("Archiv"));
    rig.vm->setDestinationBaseFolder(chosen);
    rig.load(card);
    EXPECT_EQ(rig.vm->destinationBaseFolderPath(), chosen);
}

TEST(Loading, setupWarnsWhenTheDestinationBaseLiesInsideTheSource)
{
    SetupRig rig;
    const QString source = rig.tree.mkdir(QStringLiteral("Fotos"));
    rig.outcome = photosNamed(source, {"a.jpg"});
    rig.load(source);
    EXPECT_TRUE(rig.vm->destinationBaseWarning().isEmpty()); // the parent is proposed

    QSignalSpy changed(rig.vm.get(), &KestravaViewModel::destinationBaseWarningChanged);
    const QString sibling = rig.tree.mkdir(QStringLiteral("Fotos 2")); // shares the prefix only
    const QString linkToSource = rig.tree.path(QStringLiteral("Verknüpfung"));
    ASSERT_TRUE(QFile::link(source, linkToSource));
    struct Case {
        QString base;
        bool warns;
    };
    for (const Case& c : {Case{source, true}, Case{source + QStringLiteral("/"), true},
                          Case{rig.tree.mkdir(QStringLiteral("Fotos/Sortiert")), true},
                          Case{source + QStringLiteral("/Neu/Tiefer"), true}, Case{linkToSource, true},
                          Case{sibling, false}, Case{rig.tree.root(), false}}) {
        rig.vm->setDestinationBaseFolder(c.base);
        EXPECT_EQ(!rig.vm->destinationBaseWarning().isEmpty(), c.warns) << c.base.toStdString();
    }
    EXPECT_GE(changed.count(), 6);
}
