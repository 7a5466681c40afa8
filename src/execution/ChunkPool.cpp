#include "ChunkPool.h"

#include "TransactionalCopy.h"

#include <mutex>
#include <vector>

namespace kestrava::ChunkPool {

namespace {

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
    delete[] chunk;
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
    return Chunk(new char[size_t(ResumableSortExecutor::chunkSize)]);
}

void trim()
{
    std::vector<char*> chunks;
    {
        std::lock_guard guard(mutex);
        chunks.swap(spare());
    }
    for (char* chunk : chunks)
        delete[] chunk;
}

} // namespace kestrava::ChunkPool
