#include "BackgroundHasher.h"

#include "platform/Sha256.h"

namespace kestrava {

BackgroundHasher::BackgroundHasher(bool threaded)
{
    if (threaded)
        worker_ = std::thread([this] { run(); });
    else
        inlineHasher_.emplace();
}

BackgroundHasher::~BackgroundHasher()
{
    if (inlineHasher_)
        return;
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    changed_.notify_all();
    worker_.join();
}

qint64 BackgroundHasher::submit(const char* data, size_t size)
{
    if (inlineHasher_) {
        inlineHasher_->update(data, size);
        return submitted_++;
    }
    qint64 sequence = 0;
    {
        std::lock_guard lock(mutex_);
        queue_.push_back(Chunk{data, size});
        sequence = submitted_++;
    }
    changed_.notify_all();
    return sequence;
}

void BackgroundHasher::waitUntilHashed(qint64 sequence)
{
    if (inlineHasher_)
        return;
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return hashed_ > sequence; });
}

QByteArray BackgroundHasher::finalize()
{
    if (inlineHasher_)
        return inlineHasher_->finalize();
    std::unique_lock lock(mutex_);
    finalizeRequested_ = true;
    changed_.notify_all();
    changed_.wait(lock, [&] { return finalized_; });
    return digest_;
}

void BackgroundHasher::run()
{
    Sha256 hasher;
    std::unique_lock lock(mutex_);
    for (;;) {
        changed_.wait(lock, [&] { return stopping_ || !queue_.empty() || (finalizeRequested_ && !finalized_); });
        if (stopping_)
            return;
        if (!queue_.empty()) {
            const Chunk chunk = queue_.front();
            lock.unlock();
            hasher.update(chunk.data, chunk.size);
            lock.lock();
            queue_.pop_front();
            ++hashed_;
            changed_.notify_all();
            continue;
        }
        digest_ = hasher.finalize();
        finalized_ = true;
        changed_.notify_all();
    }
}

} // namespace kestrava
