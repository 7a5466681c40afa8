#include "FocusPipeline.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QPromise>

#include <atomic>

namespace kestrava {

struct FocusPipeline::Job {
    FileUrl url;
    int maxPixelSize = 0;
    QString key;
    quint64 generation = 0;
    bool active = false; // counted in active_
    std::vector<Waiter> waiters;
};

namespace {

void resolve(const std::shared_ptr<QPromise<FocusResult>>& promise, const FocusResult& result)
{
    promise->addResult(result);
    promise->finish();
}

} // namespace

FocusPipeline::FocusPipeline(Options options)
    : options_(std::move(options)),
      previews_(options_.previews ? *options_.previews : PreviewPipeline::shared()),
      cache_(options_.cacheFolder, options_.memoryCountLimit)
{
    if (!options_.measure)
        options_.measure = &measureFocus;
    // Measures are bounded by the decode slots; the threads only carry continuations.
    pool_.setMaxThreadCount(2);
}

FocusPipeline::~FocusPipeline()
{
    close(std::chrono::milliseconds::max());
}

void FocusPipeline::close(std::chrono::milliseconds bound)
{
    std::vector<quint64> tickets;
    {
        std::lock_guard lock(mutex_);
        closing_ = true;
        tickets.assign(tickets_.cbegin(), tickets_.cend());
    }
    for (const quint64 ticket : tickets)
        previews_.decodeSlots().withdraw(ticket);
    startWaiting(); // ends the jobs that never started
    const QDeadlineTimer deadline = bound == std::chrono::milliseconds::max() ? QDeadlineTimer(QDeadlineTimer::Forever)
                                                                             : QDeadlineTimer(bound);
    // Previews still on their way come back through the pool; wait for each to be answered.
    std::unique_lock lock(mutex_);
    const auto answered = [this] { return outstanding_ == 0; };
    if (deadline.isForever())
        idle_.wait(lock, answered);
    else
        idle_.wait_until(lock, deadline.deadline<std::chrono::steady_clock>(), answered);
    lock.unlock();
    pool_.waitForDone(int(deadline.remainingTime()));
}

namespace {

std::atomic<FocusPipeline*> sharedPipeline{nullptr};

} // namespace

FocusPipeline& FocusPipeline::shared()
{
    static FocusPipeline* const instance = [] {
        Options options;
        options.previews = &PreviewPipeline::shared();
        options.cacheFolder = options.previews->cacheFolder();
        auto* made = new FocusPipeline(std::move(options));
        sharedPipeline = made;
        // The previews first: every measure still waiting for one is then answered at once.
        if (QCoreApplication::instance())
            qAddPostRoutine([] {
                PreviewPipeline::endShared();
                FocusPipeline::endShared();
            });
        return made;
    }();
    return *instance;
}

void FocusPipeline::endShared()
{
    constexpr std::chrono::seconds longestWait{20};
    if (FocusPipeline* pipeline = sharedPipeline.load())
        pipeline->close(longestWait);
}

QFuture<FocusResult> FocusPipeline::focus(const FileUrl& url, int maxPixelSize)
{
    auto promise = std::make_shared<QPromise<FocusResult>>();
    promise->start();
    QFuture<FocusResult> future = promise->future();
    auto job = std::make_shared<Job>();
    job->url = url;
    job->maxPixelSize = maxPixelSize;
    job->waiters.push_back(promise);
    {
        std::lock_guard lock(mutex_);
        if (closing_) {
            resolve(promise, std::nullopt);
            return future;
        }
        job->generation = generation_;
        ++outstanding_;
    }
    // The key needs a stat of the file; never on the caller's (the window's) thread.
    pool_.start([this, job] { start(job); });
    return future;
}

FocusResult FocusPipeline::cachedFocus(const FileUrl& url, int maxPixelSize)
{
    return cache_.findInMemory(previewCacheKey(url.path(), maxPixelSize));
}

QFuture<QImage> FocusPipeline::peaking(const QImage& shown, const FileUrl& url, int maxPixelSize, QColor colour)
{
    auto promise = std::make_shared<QPromise<QImage>>();
    promise->start();
    QFuture<QImage> future = promise->future();
    {
        std::lock_guard lock(mutex_);
        if (closing_) {
            promise->addResult(QImage()); // no overlay; a closed pipeline starts no thread again
            promise->finish();
            return future;
        }
    }
    constexpr int aheadOfBackgroundWork = 10;
    pool_.start(
        [this, promise, shown, url, maxPixelSize, colour] {
            const FocusResult map = cachedFocus(url, maxPixelSize);
            promise->addResult(focusPeaking(shown, map.value_or(FocusMap{}), colour));
            promise->finish();
        },
        aheadOfBackgroundWork);
    return future;
}

void FocusPipeline::cancelPending()
{
    std::vector<quint64> tickets;
    {
        std::lock_guard lock(mutex_);
        ++generation_;
        tickets.assign(tickets_.cbegin(), tickets_.cend());
    }
    // A withdrawn slot request finishes false and ends its job with no map.
    for (const quint64 ticket : tickets)
        previews_.decodeSlots().withdraw(ticket);
    // Jobs that never started end now instead of when a place frees up.
    std::deque<std::shared_ptr<Job>> stale;
    {
        std::lock_guard lock(mutex_);
        std::deque<std::shared_ptr<Job>> current;
        for (auto& job : waiting_)
            (job->generation == generation_ ? current : stale).push_back(std::move(job));
        waiting_.swap(current);
    }
    for (const auto& job : stale)
        finish(job, std::nullopt);
}

bool FocusPipeline::stale(const Job& job) const
{
    std::lock_guard lock(mutex_);
    return closing_ || job.generation != generation_;
}

void FocusPipeline::start(const std::shared_ptr<Job>& job)
{
    job->key = previewCacheKey(job->url.path(), job->maxPixelSize);
    if (const FocusResult cached = cache_.find(job->key))
        return finish(job, cached);
    {
        std::lock_guard lock(mutex_);
        const auto joined = running_.constFind(job->key);
        if (joined != running_.cend() && (*joined)->generation == job->generation) {
            // Answered when the running measure is; this job's own count ends here.
            (*joined)->waiters.insert((*joined)->waiters.end(), job->waiters.begin(), job->waiters.end());
            --outstanding_;
            return;
        }
        running_.insert(job->key, job);
        waiting_.push_back(job);
    }
    startWaiting();
}

void FocusPipeline::startWaiting()
{
    for (;;) {
        std::shared_ptr<Job> next;
        bool cancelled = false;
        {
            std::lock_guard lock(mutex_);
            if (waiting_.empty() || (active_ >= concurrentMeasures && !closing_))
                return;
            next = std::move(waiting_.front());
            waiting_.pop_front();
            cancelled = closing_ || next->generation != generation_;
            if (!cancelled) {
                next->active = true;
                ++active_;
            }
        }
        if (cancelled)
            finish(next, std::nullopt);
        else
            requestPreview(next, false);
    }
}

void FocusPipeline::requestPreview(const std::shared_ptr<Job>& job, bool retry)
{
    previews_.preview(job->url, job->maxPixelSize, priority).then(&pool_, [this, job, retry](const PreviewResult& preview) {
        if (stale(*job))
            return finish(job, std::nullopt);
        if (!preview) {
            // Most often the screen asked for the same preview meanwhile and took over its
            // render; asking once more joins that render or finds its result in the cache.
            if (!retry)
                return requestPreview(job, true);
            return finish(job, std::nullopt);
        }
        measureInSlot(job, preview->image);
    }).onCanceled(&pool_, [this, job] { finish(job, std::nullopt); });
}

void FocusPipeline::measureInSlot(const std::shared_ptr<Job>& job, QImage image)
{
    DecodeSlots& decodeSlots = previews_.decodeSlots();
    DecodeSlots::Request request = decodeSlots.acquire(priority, previews_.decodeConcurrency(job->url.path()));
    {
        std::lock_guard lock(mutex_);
        if (request.ticket)
            tickets_.insert(request.ticket);
    }
    // Cancelled between the check before the preview and the ticket becoming visible.
    if (stale(*job))
        decodeSlots.withdraw(request.ticket);
    request.granted.then(&pool_, [this, job, image = std::move(image), ticket = request.ticket](bool granted) {
        {
            std::lock_guard lock(mutex_);
            tickets_.remove(ticket);
        }
        if (!granted)
            return finish(job, std::nullopt);
        FocusMap map;
        {
            DecodeSlotGuard slot(previews_.decodeSlots());
            if (!stale(*job))
                map = options_.measure(image);
        }
        if (!map.isValid())
            return finish(job, std::nullopt);
        cache_.insert(job->key, map);
        finish(job, map);
    });
}

void FocusPipeline::finish(const std::shared_ptr<Job>& job, const FocusResult& result)
{
    std::vector<Waiter> waiters;
    {
        std::lock_guard lock(mutex_);
        const auto it = running_.constFind(job->key);
        if (it != running_.cend() && *it == job)
            running_.erase(it);
        waiters = std::move(job->waiters);
        job->waiters.clear();
    }
    for (const Waiter& waiter : waiters)
        resolve(waiter, result);
    bool freedASlot = false;
    {
        std::lock_guard lock(mutex_);
        if (job->active) {
            job->active = false;
            --active_;
            freedASlot = true;
        }
    }
    if (freedASlot)
        startWaiting();
    std::lock_guard lock(mutex_);
    if (--outstanding_ == 0)
        idle_.notify_all();
}

} // namespace kestrava
