#include "ChunkPool.h"

#include "TransactionalCopy.h"

#include <mutex>
#include <new>
#include <vector>

namespace kestrava::ChunkPool {

namespace {

// Reads past the cache need buffers aligned to the storage's blocks.
constexpr std::align_val_t alignment{4096};

std::mutex mutex;
std::vector<char*>& spare()
{
    static std::vector<char*> chunks;
    return chunks;
}

} // namespace

void Release::operator()(char* chunk) const
{
    {
        std::lock_guard guard(mutex);
        if (int(spare().size()) < maxSpare) {
            spare().push_back(chunk);
            return;
        }
    }
    ::operator delete[](chunk, alignment);
}

Chunk acquire()
{
    {
        std::lock_guard guard(mutex);
        if (!spare().empty()) {
            char* chunk = spare().back();
            spare().pop_back();
            return Chunk(chunk);
        }
    }
    // Not value-initialised: zeroing 4 MiB that a read overwrites anyway costs as much as the read.
    return Chunk(static_cast<char*>(::operator new[](size_t(ResumableSortExecutor::chunkSize), alignment)));
}

void trim()
{
    std::vector<char*> chunks;
    {
        std::lock_guard guard(mutex);
        chunks.swap(spare());
    }
    for (char* chunk : chunks)
        ::operator delete[](chunk, alignment);
}

} // namespace kestrava::ChunkPool
