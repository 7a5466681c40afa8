#pragma once

// The one place previews come from: memory cache, disk cache, de-duplicated renders and the
// decode slots that keep the disk from being flooded.
//
// A serial actor: its caches and the table of running renders are touched only on its own
// one-thread executor (the memory cache, behind a lock, also answers the screen directly);
// callers get QFutures. Renders run on a small worker pool, each holding one decode slot
// across exactly one renderer call. Disk-cache writes and pruning run on a
// third, one-thread executor that owns the disk-size estimate, so encoding a JPEG never delays
// the answer to the next key press.
//
// Priorities are integers, larger is more urgent: 100 for the photo on screen, 50 down to 46
// for prefetches, 0 for metadata reads, below 0 for background work (focus measures). No
// request waits forever: a render superseded or dropped finishes with no image, and every
// granted slot is released on every path. Previews rendered or loaded for background work only
// go to the disk cache, never into memory, so that work never pushes the previews kept for the
// screen out of the memory cache.

#include "DecodeSlots.h"
#include "EmbeddedThumbnail.h"
#include "PreviewCaches.h"
#include "PreviewPayload.h"
#include "PreviewRenderer.h"

#include "model/FileUrl.h"

#include <QFuture>
#include <QHash>
#include <QList>
#include <QMutex>
#include <QSet>
#include <QThreadPool>
#include <QUuid>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace kestrava {

using PreviewResult = std::optional<PreviewPayload>;

class PreviewPipeline {
public:
    using Renderer = std::function<PreviewResult(const QString& path, int maxPixelSize, const PreviewRenderer::CancelCheck&)>;

    struct Options {
        QString cacheFolder;                                  // empty: no disk cache
        Renderer renderer = &PreviewRenderer::render;
        std::function<QImage(const QString& path, int maxPixelSize)> thumbnailer = &preview::embeddedThumbnail;
        qint64 memoryByteLimit = 268435456;                  // 256 MiB of bitmap bytes
        int memoryCountLimit = 32;
        qint64 diskByteLimit = DiskPreviewCache::defaultByteLimit;
        std::function<int(const QString& path)> decodeConcurrency; // default: by volume, see below
        // Slots shared with another pipeline, so that every read of a photo file in the process
        // queues in one place by priority; null: the pipeline's own. Must outlive the pipeline.
        DecodeSlots* decodeSlots = nullptr;
    };

    static constexpr int prefetchCount = 5;
    static constexpr int prefetchTopPriority = 50;
    static constexpr int backgroundPriority = -10;
    // Thumbnails stand in for a moment and are drawn scaled up anyway; a larger embedded
    // preview is decoded down to this in the DCT, at a fraction of the cost.
    static constexpr int thumbnailPixelSize = 512;

    explicit PreviewPipeline(Options options);
    // Closes the pipeline, waiting as long as the running renders take.
    ~PreviewPipeline();
    PreviewPipeline(const PreviewPipeline&) = delete;
    PreviewPipeline& operator=(const PreviewPipeline&) = delete;

    // The process-wide pipeline with the user's preview cache folder and the default renderer.
    // Closed by endShared() or, at the latest, when the application object goes.
    static PreviewPipeline& shared();
    // Closes the process-wide pipeline, if one was made, before the process tears down the
    // libraries its threads use. The object itself stays: other parts of the process still
    // hold its decode slots, and a late request is answered with nothing instead of crashing.
    static void endShared();

    // Every request not yet answered ends with nothing, queued disk-cache writes are skipped,
    // and the threads are waited for up to `bound` each (a decode or a cache write in flight
    // cannot stop half-way; a cache write leaves at worst its hidden temporary, never half an
    // entry). Later requests are answered with nothing at once. Idempotent.
    void close(std::chrono::milliseconds bound);

    // A preview of at most `maxPixelSize` on its longer side; nullopt when the file cannot be
    // rendered, or when a more urgent request for the same preview superseded this one while
    // it still waited for a decode slot. A render already decoding is joined, never restarted.
    QFuture<PreviewResult> preview(const FileUrl& url, int maxPixelSize, int priority);
    // The file's embedded thumbnail (see embeddedThumbnail), read in a decode slot at
    // `priority`, to show while its preview renders. Null when the preview of `previewPixelSize`
    // is in memory (it is about to be shown anyway), when the file has none, or when the future
    // was cancelled before the read began. Ask before `preview` of the same file, on the same
    // thread: the read then queues for its slot ahead of the render.
    QFuture<QImage> thumbnail(const FileUrl& url, int previewPixelSize, int priority);
    // The preview when the memory cache holds it, answered on the calling thread at once: a
    // photo prepared in advance reaches the screen without a trip through the pipeline's threads.
    PreviewResult cachedPreview(const FileUrl& url, int maxPixelSize);
    // Starts renders for the first five URLs at priorities 50 down to 46; returns at once, with
    // their futures for a caller that does something with each preview once it is there.
    QList<QFuture<PreviewResult>> prefetch(const QList<FileUrl>& urls, int maxPixelSize);
    // Cancels and forgets the render for this preview, if one is running: the user moved on.
    void dropInFlight(const FileUrl& url, int maxPixelSize);

    // The decode slots, also taken by metadata reads and focus measures.
    DecodeSlots& decodeSlots() { return *slots_; }
    // Empty when the pipeline runs without a disk cache.
    QString cacheFolder() const { return disk_.folder(); }
    // 1 when the file's volume is removable, else 2 (also when the volume cannot be inspected).
    int decodeConcurrency(const QString& path);

    // For tests and benchmarks: state as seen from the actor, after all earlier requests were handled.
    struct Snapshot {
        QHash<QString, int> inFlightPriorities; // cache key → priority
        int memoryCount = 0;
        qint64 memoryCost = 0;
    };
    Snapshot snapshot();
    // Blocks until queued disk-cache writes and pruning are done.
    void waitForDiskCache();

private:
    struct RenderJob;
    using Waiter = std::shared_ptr<QPromise<PreviewResult>>;
    // A QFuture carries a single continuation, so everyone awaiting a render is listed here.
    struct InFlight {
        QUuid id;
        int priority = 0;
        std::shared_ptr<RenderJob> job;
        std::vector<Waiter> waiters;
    };
    struct Outcome {
        PreviewResult payload;
        bool fromDisk = false;
    };

    void handleRequest(const QString& path, int maxPixelSize, int priority, const Waiter& promise);
    InFlight startRender(const QString& key, const QString& path, int maxPixelSize, int priority);
    // Tries the disk cache (off the actor), then renders.
    void loadOrRender(const std::shared_ptr<RenderJob>& job);
    // Queues for a decode slot and calls the renderer once it is granted.
    void renderInSlot(const std::shared_ptr<RenderJob>& job);
    // `renderPriority` is the priority the render started with.
    void completeRender(const QString& key, const QUuid& id, int renderPriority, const Outcome& outcome);
    void scheduleDiskSave(const QString& key, const PreviewPayload& payload);
    PreviewResult findInMemory(const QString& key);
    // Stops the render and answers its waiters with no image.
    void abandon(InFlight& entry);

    Options options_;
    DiskPreviewCache disk_;
    DecodeSlots ownSlots_;
    DecodeSlots* slots_;
    QThreadPool actor_;
    QThreadPool workers_;
    QThreadPool diskExecutor_;
    std::atomic<bool> closing_{false};
    std::atomic<int> pendingDiskSaves_{0};

    // Actor state, except the memory cache: callers on other threads look into it too.
    QMutex memoryMutex_;
    MemoryPreviewCache memory_;
    QHash<QString, InFlight> inFlight_;

    // Disk executor state.
    bool didPruneDiskCache_ = false;
    qint64 diskCacheBytes_ = 0;

    QMutex thumbnailMutex_;
    QSet<quint64> waitingThumbnails_; // decode-slot tickets of thumbnail reads not granted yet

    QMutex concurrencyMutex_;
    QHash<quint64, int> concurrencyByDevice_;
};

} // namespace kestrava
