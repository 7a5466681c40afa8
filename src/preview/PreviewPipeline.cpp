#include "PreviewPipeline.h"

#include "platform/AppPaths.h"
#include "platform/FileSystemError.h"
#include "platform/VolumeInfo.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QFile>
#include <QPromise>
#include <QScopeGuard>

#include <cerrno>
#include <future>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace kestrava {

struct PreviewPipeline::RenderJob {
    QString key;
    QString path;
    int maxPixelSize = 0;
    int priority = 0;
    std::atomic<bool> cancelled{false};
    // Set once the render holds a decode slot and is about to call the renderer.
    std::atomic<bool> rendering{false};
    std::atomic<quint64> ticket{0};
    QPromise<Outcome> promise;

    void finish(Outcome outcome)
    {
        promise.addResult(std::move(outcome));
        promise.finish();
    }
};

namespace {

// Runs `work` on `executor` and blocks until it is done. Not QtConcurrent's own waiting: a
// QFuture waited on from outside may run a queued task on the waiting thread, which would let
// the caller touch actor state beside the actor.
template <class F>
auto runAndWait(QThreadPool& executor, F work)
{
    using Result = decltype(work());
    std::promise<Result> done;
    std::future<Result> result = done.get_future();
    executor.start([&] {
        if constexpr (std::is_void_v<Result>) {
            work();
            done.set_value();
        } else {
            done.set_value(work());
        }
    });
    return result.get();
}

template <class T>
void resolve(const std::shared_ptr<QPromise<T>>& promise, T value)
{
    promise->addResult(std::move(value));
    promise->finish();
}

// Encoding a cached JPEG is worth less than decoding the next picture: the disk-cache thread
// runs at a lower scheduling priority, so on a busy machine the renders get the processor and
// saves queue up (and are skipped beyond a few) instead. Linux sets nice values per thread.
void yieldToRenders()
{
#ifdef Q_OS_LINUX
    constexpr int diskCacheNice = 10;
    const id_t thread = id_t(::syscall(SYS_gettid));
    errno = 0;
    const int current = ::getpriority(PRIO_PROCESS, thread);
    if (errno == 0 && current < diskCacheNice)
        ::setpriority(PRIO_PROCESS, thread, diskCacheNice);
#endif
}

} // namespace

PreviewPipeline::PreviewPipeline(Options options)
    : options_(std::move(options)),
      disk_(options_.cacheFolder, options_.diskByteLimit),
      slots_(options_.decodeSlots ? options_.decodeSlots : &ownSlots_),
      memory_(options_.memoryByteLimit, options_.memoryCountLimit)
{
    actor_.setMaxThreadCount(1);
    actor_.setExpiryTimeout(-1);
    diskExecutor_.setMaxThreadCount(1);
    // Renders are bounded by the decode slots (at most two); the rest serve disk-cache reads.
    workers_.setMaxThreadCount(4);
}

PreviewPipeline::~PreviewPipeline()
{
    close(std::chrono::milliseconds::max());
}

void PreviewPipeline::close(std::chrono::milliseconds bound)
{
    closing_ = true;
    // A read still waiting for its slot is answered now, while the workers its answer runs on
    // still exist.
    QSet<quint64> waiting;
    {
        QMutexLocker lock(&thumbnailMutex_);
        waiting.swap(waitingThumbnails_);
    }
    for (const quint64 ticket : std::as_const(waiting))
        slots_->withdraw(ticket);
    runAndWait(actor_, [this] {
        for (InFlight& entry : inFlight_)
            abandon(entry);
        inFlight_.clear();
    });
    const QDeadlineTimer deadline = bound == std::chrono::milliseconds::max() ? QDeadlineTimer(QDeadlineTimer::Forever)
                                                                             : QDeadlineTimer(bound);
    // Completions hop worker → actor → disk executor; drain in that order, twice for stragglers.
    for (int round = 0; round < 2; ++round) {
        workers_.waitForDone(int(deadline.remainingTime()));
        actor_.waitForDone(int(deadline.remainingTime()));
        diskExecutor_.waitForDone(int(deadline.remainingTime()));
    }
}

namespace {

std::atomic<PreviewPipeline*> sharedPipeline{nullptr};

} // namespace

PreviewPipeline& PreviewPipeline::shared()
{
    // Never deleted, only closed: see endShared().
    static PreviewPipeline* const instance = [] {
        Options options;
        // The disk cache only saves time: where the cache folder cannot be made (a home folder
        // that is not ours, a full disk), previews are simply rendered every time.
        try {
            options.cacheFolder = AppPaths::previewCacheFolder();
        } catch (const FileSystemError&) {
        }
        auto* made = new PreviewPipeline(std::move(options));
        sharedPipeline = made;
        // Renders still running when static destructors unload the image libraries crash the
        // process on its way out; the application object's end is the last safe moment.
        if (QCoreApplication::instance())
            qAddPostRoutine(&PreviewPipeline::endShared);
        return made;
    }();
    return *instance;
}

void PreviewPipeline::endShared()
{
    // A RAW decode takes a few seconds at most; beyond this something hangs, and quitting
    // matters more than a clean end.
    constexpr std::chrono::seconds longestWait{20};
    if (PreviewPipeline* pipeline = sharedPipeline.load())
        pipeline->close(longestWait);
}

PreviewResult PreviewPipeline::findInMemory(const QString& key)
{
    QMutexLocker lock(&memoryMutex_);
    return memory_.find(key);
}

PreviewResult PreviewPipeline::cachedPreview(const FileUrl& url, int maxPixelSize)
{
    if (closing_)
        return std::nullopt;
    return findInMemory(previewCacheKey(url.path(), maxPixelSize));
}

QFuture<PreviewResult> PreviewPipeline::preview(const FileUrl& url, int maxPixelSize, int priority)
{
    auto promise = std::make_shared<QPromise<PreviewResult>>();
    promise->start();
    QFuture<PreviewResult> future = promise->future();
    if (closing_) {
        // Not through the actor: a closed pipeline starts no thread again.
        resolve<PreviewResult>(promise, std::nullopt);
        return future;
    }
    actor_.start([this, path = url.path(), maxPixelSize, priority, promise] { handleRequest(path, maxPixelSize, priority, promise); });
    return future;
}

QFuture<QImage> PreviewPipeline::thumbnail(const FileUrl& url, int previewPixelSize, int priority)
{
    auto promise = std::make_shared<QPromise<QImage>>();
    promise->start();
    QFuture<QImage> future = promise->future();
    const QString path = url.path();
    // Asked for on the caller's thread, not the actor's: one hop fewer before the stage has a
    // picture, and the slot is still requested before the render's, which the actor asks for.
    if (closing_ || findInMemory(previewCacheKey(path, previewPixelSize))) {
        resolve(promise, QImage());
        return future;
    }
    DecodeSlots::Request request = slots_->acquire(priority, decodeConcurrency(path));
    if (request.ticket) {
        QMutexLocker lock(&thumbnailMutex_);
        waitingThumbnails_.insert(request.ticket);
    }
    request.granted.then(&workers_, [this, path, priority, promise, ticket = request.ticket](bool granted) {
        if (ticket) {
            QMutexLocker lock(&thumbnailMutex_);
            waitingThumbnails_.remove(ticket);
        }
        QImage image;
        if (granted) {
            DecodeSlotGuard slot(*slots_, priority);
            if (!promise->isCanceled()) {
                try {
                    image = options_.thumbnailer(path, thumbnailPixelSize);
                } catch (...) {
                    image = QImage(); // no thumbnail is only a blank stage for a moment
                }
            }
        }
        resolve(promise, std::move(image));
    });
    return future;
}

QList<QFuture<PreviewResult>> PreviewPipeline::prefetch(const QList<FileUrl>& urls, int maxPixelSize)
{
    QList<QFuture<PreviewResult>> started;
    for (qsizetype i = 0; i < std::min<qsizetype>(urls.size(), prefetchCount); ++i)
        started.append(preview(urls[i], maxPixelSize, prefetchTopPriority - int(i)));
    return started;
}

void PreviewPipeline::dropInFlight(const FileUrl& url, int maxPixelSize)
{
    if (closing_)
        return; // nothing is in flight any more
    actor_.start([this, path = url.path(), maxPixelSize] {
        const auto it = inFlight_.find(previewCacheKey(path, maxPixelSize));
        if (it == inFlight_.end())
            return;
        abandon(*it);
        inFlight_.erase(it);
    });
}

void PreviewPipeline::handleRequest(const QString& path, int maxPixelSize, int priority, const Waiter& promise)
{
    if (closing_)
        return resolve<PreviewResult>(promise, std::nullopt);
    const QString key = previewCacheKey(path, maxPixelSize);
    if (PreviewResult hit = findInMemory(key))
        return resolve(promise, std::move(hit));

    auto it = inFlight_.find(key);
    if (it != inFlight_.end() && it->priority < priority) {
        if (it->job->rendering) {
            // Superseded: the less urgent callers are answered with nothing, as for any
            // cancelled render. The decode itself goes on for the urgent caller, because
            // starting over would throw away the work done and make it wait for a slot on top.
            for (const Waiter& waiter : it->waiters)
                resolve<PreviewResult>(waiter, std::nullopt);
            it->waiters.clear();
            it->priority = priority;
        } else {
            // Still waiting for a slot: the more urgent caller must not queue behind it at the
            // old priority. Nothing is lost by starting afresh.
            abandon(*it);
            inFlight_.erase(it);
            it = inFlight_.end();
        }
    }
    if (it == inFlight_.end())
        it = inFlight_.insert(key, startRender(key, path, maxPixelSize, priority));
    it->waiters.push_back(promise);
}

PreviewPipeline::InFlight PreviewPipeline::startRender(const QString& key, const QString& path, int maxPixelSize, int priority)
{
    auto job = std::make_shared<RenderJob>();
    job->key = key;
    job->path = path;
    job->maxPixelSize = maxPixelSize;
    job->priority = priority;
    job->promise.start();
    const QUuid id = QUuid::createUuid();
    job->promise.future().then(&actor_, [this, key, id, priority](Outcome outcome) { completeRender(key, id, priority, outcome); });
    if (disk_.contains(key))
        // Queued by priority: a disk-cache read for the screen never waits behind background reads.
        workers_.start([this, job] { loadOrRender(job); }, priority);
    else
        // Asked for here on the actor, so slots are requested in the order the requests came:
        // the nearest prefetch is not overtaken by a farther one that happened to start first.
        renderInSlot(job);
    return InFlight{id, priority, job, {}};
}

void PreviewPipeline::loadOrRender(const std::shared_ptr<RenderJob>& job)
{
    if (job->cancelled)
        return job->finish({});
    if (PreviewResult cached = disk_.load(job->key))
        return job->finish({std::move(cached), true});
    renderInSlot(job);
}

void PreviewPipeline::renderInSlot(const std::shared_ptr<RenderJob>& job)
{
    DecodeSlots::Request request = slots_->acquire(job->priority, decodeConcurrency(job->path));
    job->ticket = request.ticket;
    if (job->cancelled)
        slots_->withdraw(request.ticket); // cancelled before the ticket was visible to abandon()
    request.granted.then(&workers_, [this, job](bool granted) {
        if (!granted)
            return job->finish({});
        PreviewResult payload;
        {
            // Released before anyone hears of the result, so the next render starts at once.
            DecodeSlotGuard slot(*slots_, job->priority);
            job->rendering = true;
            try {
                if (!job->cancelled)
                    payload = options_.renderer(job->path, job->maxPixelSize, [job] { return job->cancelled.load(); });
            } catch (...) {
                payload.reset(); // a renderer that throws is a renderer that found nothing
            }
        }
        // A dropped render's callers were answered with nothing when it was dropped. A JPEG
        // decode cannot stop half-way, so pixels may still arrive: they go into the caches,
        // where stepping back to that photo finds them, instead of being thrown away.
        job->finish({std::move(payload), false});
    });
}

void PreviewPipeline::abandon(InFlight& entry)
{
    entry.job->cancelled = true;
    if (const quint64 ticket = entry.job->ticket)
        slots_->withdraw(ticket);
    for (const Waiter& waiter : entry.waiters)
        resolve<PreviewResult>(waiter, std::nullopt);
    entry.waiters.clear();
}

void PreviewPipeline::completeRender(const QString& key, const QUuid& id, int renderPriority, const Outcome& outcome)
{
    // A render that was superseded or dropped has no entry of its own any more; its waiters
    // were answered then.
    std::vector<Waiter> waiters;
    int priority = renderPriority;
    const auto it = inFlight_.find(key);
    if (it != inFlight_.end() && it->id == id) {
        waiters = std::move(it->waiters);
        priority = it->priority; // raised when a more urgent caller joined
        inFlight_.erase(it);
    }
    if (outcome.payload) {
        if (priority >= 0) {
            QMutexLocker lock(&memoryMutex_);
            memory_.insert(key, *outcome.payload);
        }
        if (!outcome.fromDisk && disk_.enabled() && !closing_)
            scheduleDiskSave(key, *outcome.payload);
    }
    for (const Waiter& waiter : waiters)
        resolve(waiter, outcome.payload);
}

void PreviewPipeline::scheduleDiskSave(const QString& key, const PreviewPayload& payload)
{
    // Each queued save keeps its bitmap alive after the memory cache may have let it go; when
    // the disk falls behind, skipping a save costs one re-render later, never memory now.
    constexpr int mostQueuedSaves = 4;
    if (pendingDiskSaves_ >= mostQueuedSaves)
        return;
    ++pendingDiskSaves_;
    diskExecutor_.start([this, key, payload] {
        const auto done = qScopeGuard([this] { --pendingDiskSaves_; });
        if (closing_)
            return; // a skipped save costs one render next time; waiting for it costs the quit
        yieldToRenders();
        if (!didPruneDiskCache_) {
            diskCacheBytes_ = disk_.prune();
            didPruneDiskCache_ = true;
        }
        diskCacheBytes_ += disk_.save(key, payload);
        if (diskCacheBytes_ > disk_.byteLimit())
            diskCacheBytes_ = disk_.prune();
    });
}

int PreviewPipeline::decodeConcurrency(const QString& path)
{
    if (options_.decodeConcurrency)
        return options_.decodeConcurrency(path);
    struct stat st {};
    const bool known = ::stat(QFile::encodeName(path).constData(), &st) == 0;
    if (known) {
        QMutexLocker lock(&concurrencyMutex_);
        const auto it = concurrencyByDevice_.constFind(quint64(st.st_dev));
        if (it != concurrencyByDevice_.cend())
            return *it;
    }
    const std::optional<VolumeFacts> facts = volumeFacts(path);
    const int concurrency = facts && facts->isRemovable ? 1 : 2;
    if (known) {
        QMutexLocker lock(&concurrencyMutex_);
        concurrencyByDevice_.insert(quint64(st.st_dev), concurrency);
    }
    return concurrency;
}

PreviewPipeline::Snapshot PreviewPipeline::snapshot()
{
    return runAndWait(actor_, [this] {
        Snapshot s;
        for (auto it = inFlight_.cbegin(); it != inFlight_.cend(); ++it)
            s.inFlightPriorities.insert(it.key(), it->priority);
        QMutexLocker lock(&memoryMutex_);
        s.memoryCount = memory_.count();
        s.memoryCost = memory_.totalCost();
        return s;
    });
}

void PreviewPipeline::waitForDiskCache()
{
    diskExecutor_.waitForDone();
}

} // namespace kestrava
