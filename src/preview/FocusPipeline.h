#pragma once

// Focus maps of previews, measured in the background.
//
// A map is measured on the very preview the screen shows, taken from the preview pipeline at
// background priority: from its memory or disk cache when there, else rendered once (and then
// kept on disk for the screen). The measure itself holds a decode slot at the same lowest
// priority, so every preview the user waits for, and every metadata read, gets a slot first.
// Maps are cached in memory and beside the preview cache on disk, keyed like the preview: a
// file that changes is measured anew.
//
// Requests for the same preview share one measure. Thread-safe; continuations run on the
// pipeline's own threads.

#include "FocusCache.h"
#include "FocusMeasure.h"
#include "PreviewPipeline.h"

#include "model/FileUrl.h"

#include <QFuture>
#include <QHash>
#include <QMutex>
#include <QSet>
#include <QThreadPool>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace kestrava {

using FocusResult = std::optional<FocusMap>;

class FocusPipeline {
public:
    static constexpr int priority = PreviewPipeline::backgroundPriority;
    // Measures asking the preview pipeline for their previews at once; the rest wait here, so
    // a folder of thousands never floods the pipeline's disk-cache readers.
    static constexpr int concurrentMeasures = 2;

    struct Options {
        PreviewPipeline* previews = nullptr;         // default: PreviewPipeline::shared()
        QString cacheFolder;                         // empty: maps are kept in memory only
        int memoryCountLimit = 4096;
        std::function<FocusMap(const QImage&)> measure = &measureFocus;
    };

    explicit FocusPipeline(Options options);
    // Closes the pipeline, waiting as long as the running measures take.
    ~FocusPipeline();
    FocusPipeline(const FocusPipeline&) = delete;
    FocusPipeline& operator=(const FocusPipeline&) = delete;

    // On the shared preview pipeline, caching beside its previews. Never deleted, only
    // closed, by endShared() or at the latest when the application object goes.
    static FocusPipeline& shared();
    // Closes the process-wide pipeline, if one was made (see PreviewPipeline::endShared); after
    // the preview pipeline's end, so that no measure waits for a preview.
    static void endShared();

    // Ends every open request with no map and waits up to `bound` for the measures running;
    // later requests end with nothing at once. Idempotent.
    void close(std::chrono::milliseconds bound);

    // The focus map of the preview of `url` at `maxPixelSize`, as the preview pipeline gives it
    // for the screen. nullopt when the file cannot be rendered or the request was cancelled.
    QFuture<FocusResult> focus(const FileUrl& url, int maxPixelSize);
    // The map when it is already in memory; never waits, never reads a file but for a stat.
    FocusResult cachedFocus(const FileUrl& url, int maxPixelSize);
    // The focus-peaking overlay (focusPeaking) of `shown`, the preview of `url` at
    // `maxPixelSize` the screen displays, on a thread of this pipeline ahead of its background
    // work, using the map in memory when there is one. Takes no decode slot: the user waits.
    QFuture<QImage> peaking(const QImage& shown, const FileUrl& url, int maxPixelSize, QColor colour = QColor());
    // Every request not yet measuring ends with no map (the session closed, the folder
    // changed). Requests made afterwards run normally.
    void cancelPending();

private:
    struct Job;
    using Waiter = std::shared_ptr<QPromise<FocusResult>>;

    void start(const std::shared_ptr<Job>& job);
    // Starts waiting jobs while fewer than `concurrentMeasures` are active.
    void startWaiting();
    void requestPreview(const std::shared_ptr<Job>& job, bool retry);
    void measureInSlot(const std::shared_ptr<Job>& job, QImage image);
    void finish(const std::shared_ptr<Job>& job, const FocusResult& result);
    bool stale(const Job& job) const;

    Options options_;
    PreviewPipeline& previews_;
    FocusCache cache_;
    QThreadPool pool_;

    mutable std::mutex mutex_;
    std::condition_variable idle_;
    bool closing_ = false;
    quint64 generation_ = 0;
    int outstanding_ = 0;
    QHash<QString, std::shared_ptr<Job>> running_; // by preview key, active or waiting
    std::deque<std::shared_ptr<Job>> waiting_;
    int active_ = 0;
    QSet<quint64> tickets_;                        // slot requests still waiting
};

} // namespace kestrava
