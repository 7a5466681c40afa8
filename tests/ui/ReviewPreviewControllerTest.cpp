// The review screen's preview driver against a real view model and real renders of a
// generated shoot: which files it renders and prefetches, how it falls back when a file
// yields no picture, and that a decision is possible whenever the picture is on screen.

#include "UiRig.h"
#include "preview/PhotoPreviewLoader.h"
#include "preview/PreviewPipeline.h"
#include "preview/PreviewRenderer.h"
#include "ui/ReviewPreviewController.h"

#include <QFileInfo>
#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>

using namespace kestrava;
using namespace kestrava::test;
using namespace Qt::StringLiterals;

namespace {

// The real renderer, recording which files it was asked for.
struct RecordingRenderer {
    std::mutex mutex;
    std::condition_variable released;
    bool held = false;
    QStringList paths;

    void hold()
    {
        std::lock_guard lock(mutex);
        held = true;
    }
    void release()
    {
        {
            std::lock_guard lock(mutex);
            held = false;
        }
        released.notify_all();
    }

    PreviewPipeline::Renderer function()
    {
        return [this](const QString& path, int size, const PreviewRenderer::CancelCheck& isCanceled) {
            {
                std::unique_lock lock(mutex);
                paths.append(path);
                released.wait(lock, [this] { return !held; });
            }
            return PreviewRenderer::render(path, size, isCanceled);
        };
    }
    QStringList calls()
    {
        std::lock_guard lock(mutex);
        return paths;
    }
};

struct ControllerFixture : ::testing::Test {
    UiRig rig{8};
    RecordingRenderer renderer;
    std::unique_ptr<PreviewPipeline> pipeline;
    std::unique_ptr<PhotoPreviewLoader> loader;
    std::unique_ptr<ReviewPreviewController> controller;
    // "jpeg" reviews one file per shot: the file being rendered is the group's only candidate.
    FormatReviewChoice reviewChoice = FormatReviewChoice::both;

    void SetUp() override
    {
        rig.loadShoot();
        rig.configure();
        rig.viewModel->loading()->chooseFormatReview(reviewChoice);
        rig.startReview();
        PreviewPipeline::Options options; // no disk cache: every render is seen
        options.renderer = renderer.function();
        pipeline = std::make_unique<PreviewPipeline>(std::move(options));
        loader = std::make_unique<PhotoPreviewLoader>(*pipeline);
        loader->setTargetPixelSizeOverride(1024);
    }
    void TearDown() override
    {
        renderer.release();
        controller.reset();
        loader.reset();
        pipeline.reset();
    }
    void start()
    {
        controller = std::make_unique<ReviewPreviewController>(loader.get(), nullptr);
        controller->setViewModel(rig.viewModel.get());
        controller->setActive(true);
    }
    KestravaViewModel& vm() { return *rig.viewModel; }
    bool pictureReady()
    {
        return waitUntil([&] { return vm().review()->isPreviewReady() && !vm().review()->isCommittingDecision(); });
    }
    // Every request sent so far has been answered.
    bool pipelineIdle()
    {
        return waitUntil([&] { return pipeline->snapshot().inFlightPriorities.isEmpty(); });
    }
    QString previewOf(int group) { return vm().review()->effectiveReviewGroups().at(group).previewURL.path(); }
};

QStringList sorted(QStringList list)
{
    list.sort();
    return list;
}

} // namespace

TEST_F(ControllerFixture, rendersTheCurrentGroupAndPrefetchesUpToFourAfterIt)
{
    start();
    ASSERT_TRUE(pictureReady());
    ASSERT_TRUE(pipelineIdle());
    EXPECT_EQ(sorted(renderer.calls()), sorted({previewOf(0), previewOf(1), previewOf(2), previewOf(3), previewOf(4)}));

    // At the third-last group only the two groups after it are prepared.
    vm().review()->showGroupInMainReview(vm().review()->effectiveReviewGroups().at(5).id);
    ASSERT_TRUE(pictureReady());
    ASSERT_TRUE(pipelineIdle());
    EXPECT_EQ(sorted(renderer.calls().mid(5)), sorted({previewOf(5), previewOf(6), previewOf(7)}));

    // The last group was prefetched: it shows without another render, and nothing follows it.
    vm().review()->showGroupInMainReview(vm().review()->effectiveReviewGroups().at(7).id);
    ASSERT_TRUE(pictureReady());
    ASSERT_TRUE(pipelineIdle());
    EXPECT_EQ(renderer.calls().size(), 8);
    EXPECT_EQ(controller->shownPath(), previewOf(7));
    EXPECT_TRUE(controller->hasImage());
}

TEST_F(ControllerFixture, thePhotosAfterThisOneAreRequestedOnlyOnceItsFrameCouldBeDrawn)
{
    start();
    ASSERT_TRUE(pictureReady());
    ASSERT_TRUE(pipelineIdle());
    renderer.hold();
    vm().review()->showGroupInMainReview(vm().review()->effectiveReviewGroups().at(1).id);
    ASSERT_TRUE(controller->hasImage()) << "the prefetched picture is shown at once";
    // A decode started now would take the processor from the frame that shows the picture.
    EXPECT_TRUE(pipeline->snapshot().inFlightPriorities.isEmpty());
    EXPECT_TRUE(waitUntil([&] { return !pipeline->snapshot().inFlightPriorities.isEmpty(); }));
}

TEST_F(ControllerFixture, anUnreadableFileFallsBackToTheGroupsOtherFileAndNoneLeftSaysSo)
{
    // Group 0: the preferred file is damaged, its partner is fine.
    const ReviewGroup first = vm().review()->effectiveReviewGroups().at(0);
    ASSERT_EQ(first.memberURLs.size(), 2);
    writeFile(first.previewURL.path(), "kein Bild");
    // Group 1: both files are damaged.
    const ReviewGroup second = vm().review()->effectiveReviewGroups().at(1);
    for (const FileUrl& member : second.memberURLs)
        writeFile(member.path(), "kein Bild");

    start();
    ASSERT_TRUE(pictureReady());
    const QStringList candidates = vm().review()->previewCandidates();
    ASSERT_EQ(candidates.size(), 2);
    EXPECT_EQ(controller->shownPath(), candidates.at(1));
    EXPECT_NE(controller->shownPath(), first.previewURL.path());
    EXPECT_TRUE(controller->hasImage());
    EXPECT_EQ(controller->statusText(), QString());

    vm().review()->classify(PhotoDecision::keep);
    ASSERT_TRUE(waitUntil([&] { return controller->statusText() == u"Keine Vorschau verfügbar"_s; }));
    EXPECT_EQ(vm().review()->currentIndex(), 1);
    EXPECT_FALSE(controller->hasImage());

    // Nothing more will arrive for this shot: the failure is what is on screen, and the shot
    // can be decided (usually rejected) like any other.
    ASSERT_TRUE(pictureReady()) << "a shot without any preview must not block the review";
    vm().review()->classify(PhotoDecision::del);
    ASSERT_TRUE(waitUntil([&] { return !vm().review()->isCommittingDecision(); }));
    EXPECT_EQ(vm().review()->decisionCount(PhotoDecision::del), 1);
    EXPECT_EQ(vm().review()->currentIndex(), 2);

    // Taking that decision back returns to the shot, and it stays decidable.
    vm().review()->undoLastDecision();
    ASSERT_TRUE(waitUntil([&] { return !vm().review()->isCommittingDecision() && vm().review()->currentIndex() == 1; }));
    ASSERT_TRUE(pictureReady());
    vm().review()->classify(PhotoDecision::maybe);
    ASSERT_TRUE(waitUntil([&] { return !vm().review()->isCommittingDecision(); }));
    EXPECT_EQ(vm().review()->decisionCount(PhotoDecision::maybe), 1);
}

void expectKeysLockedWhileRendering(ControllerFixture& f)
{
    f.renderer.hold();
    f.start();
    ASSERT_TRUE(waitUntil([&] { return f.controller->isLoading(); }));
    EXPECT_FALSE(f.controller->hasImage());
    f.vm().review()->classify(PhotoDecision::keep);
    EXPECT_EQ(f.vm().review()->decisionCount(PhotoDecision::keep), 0);
    EXPECT_FALSE(f.vm().review()->isPreviewReady());
    f.renderer.release();
    ASSERT_TRUE(f.pictureReady());
    f.vm().review()->classify(PhotoDecision::keep);
    ASSERT_TRUE(waitUntil([&] { return !f.vm().review()->isCommittingDecision(); }));
    EXPECT_EQ(f.vm().review()->decisionCount(PhotoDecision::keep), 1);
}

struct SingleFileControllerFixture : ControllerFixture {
    SingleFileControllerFixture() { reviewChoice = FormatReviewChoice::jpeg; }
};

TEST_F(SingleFileControllerFixture, aPreviewStillRenderingKeepsTheKeysLockedWhenItIsTheOnlyFile)
{
    expectKeysLockedWhileRendering(*this);
}

TEST_F(ControllerFixture, aPreviewStillRenderingKeepsTheKeysLocked)
{
    expectKeysLockedWhileRendering(*this);
}

// The thumbnail the camera stored spares the user a blank stage on a jump to a photo not
// prepared yet, but it is not the picture a decision is taken on.
TEST_F(ControllerFixture, aThumbnailFillsTheStageWhileThePreviewRendersButDecidesNothing)
{
    renderer.hold();
    start();
    ASSERT_TRUE(waitUntil([&] { return !controller->image().isNull(); }));
    EXPECT_LE(std::max(controller->image().width(), controller->image().height()), PreviewPipeline::thumbnailPixelSize);
    EXPECT_FALSE(controller->hasImage());
    EXPECT_EQ(controller->statusText(), u"Vorschau wird geladen …"_s);
    vm().review()->classify(PhotoDecision::keep);
    EXPECT_EQ(vm().review()->decisionCount(PhotoDecision::keep), 0);
    EXPECT_FALSE(vm().review()->isPreviewReady());

    renderer.release();
    ASSERT_TRUE(pictureReady());
    EXPECT_TRUE(controller->hasImage());
    EXPECT_EQ(std::max(controller->image().width(), controller->image().height()), 1024);
    EXPECT_EQ(controller->statusText(), QString());
}

struct NoThumbnailControllerFixture : ControllerFixture {
    void SetUp() override
    {
        ControllerFixture::SetUp();
        loader.reset();
        PreviewPipeline::Options options;
        options.renderer = renderer.function();
        options.thumbnailer = [](const QString&, int) { return QImage(); };
        pipeline = std::make_unique<PreviewPipeline>(std::move(options));
        loader = std::make_unique<PhotoPreviewLoader>(*pipeline);
        loader->setTargetPixelSizeOverride(1024);
    }
};

TEST_F(NoThumbnailControllerFixture, aPhotoWithoutAThumbnailKeepsTheStageBlankUntilItsPreview)
{
    expectKeysLockedWhileRendering(*this);
    ASSERT_TRUE(pictureReady());
    // Nothing ever stood in: every picture the stage was given was the preview.
    renderer.hold();
    QList<QImage> shown;
    QObject::connect(controller.get(), &ReviewPreviewController::imageChanged, controller.get(), [&] { shown.append(controller->image()); });
    vm().review()->showGroupInMainReview(vm().review()->effectiveReviewGroups().last().id);
    ASSERT_TRUE(waitUntil([&] { return controller->isLoading(); }));
    renderer.release();
    ASSERT_TRUE(pictureReady());
    for (const QImage& image : shown)
        EXPECT_TRUE(image.isNull() || std::max(image.width(), image.height()) == 1024);
}

TEST_F(ControllerFixture, takingBackTheDecisionOnTheGroupOnScreenKeepsItDecidable)
{
    start();
    ASSERT_TRUE(pictureReady());
    // On the last group a decision keeps the review there; taking it back stays there too.
    vm().review()->showGroupInMainReview(vm().review()->effectiveReviewGroups().last().id);
    ASSERT_TRUE(pictureReady());
    const int last = vm().review()->currentIndex();
    vm().review()->classify(PhotoDecision::del);
    ASSERT_TRUE(pictureReady());
    EXPECT_EQ(vm().review()->currentIndex(), last);
    EXPECT_EQ(vm().review()->decisionCount(PhotoDecision::del), 1);

    vm().review()->undoLastDecision();
    ASSERT_TRUE(waitUntil([&] { return !vm().review()->isCommittingDecision(); }));
    EXPECT_EQ(vm().review()->currentIndex(), last);
    EXPECT_EQ(vm().review()->decisionCount(PhotoDecision::del), 0);
    ASSERT_TRUE(pictureReady()) << "the picture never left the screen, so the keys must work";
    vm().review()->classify(PhotoDecision::keep);
    ASSERT_TRUE(waitUntil([&] { return !vm().review()->isCommittingDecision(); }));
    EXPECT_EQ(vm().review()->decisionCount(PhotoDecision::keep), 1);
}
