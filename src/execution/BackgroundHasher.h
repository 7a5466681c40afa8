#pragma once

// SHA-256 of a stream of chunks on a second thread, so that hashing overlaps with reading and
// writing. The caller keeps ownership of the chunk memory and must not change a chunk until
// waitUntilHashed says the hasher is done with it.

#include "platform/Sha256.h"

#include <QByteArray>

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>
#include <thread>

namespace kestrava {

class BackgroundHasher {
public:
    // Without `threaded`, chunks are hashed at once on the caller's thread: for short files the
    // hand-offs between threads cost more than the overlap gains.
    explicit BackgroundHasher(bool threaded = true);
    ~BackgroundHasher();
    BackgroundHasher(const BackgroundHasher&) = delete;
    BackgroundHasher& operator=(const BackgroundHasher&) = delete;

    // Queues a chunk; returns its sequence number (0, 1, 2, … in submission order).
    qint64 submit(const char* data, size_t size);
    // Blocks until every chunk up to and including `sequence` was hashed.
    void waitUntilHashed(qint64 sequence);
    // Waits for all chunks and returns the digest of their concatenation.
    QByteArray finalize();

private:
    void run();

    struct Chunk {
        const char* data;
        size_t size;
    };
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Chunk> queue_;
    qint64 submitted_ = 0;
    qint64 hashed_ = 0;
    bool stopping_ = false;
    QByteArray digest_;
    bool finalizeRequested_ = false;
    bool finalized_ = false;
    std::thread worker_;
    std::optional<Sha256> inlineHasher_;
};

} // namespace kestrava
