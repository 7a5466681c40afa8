#pragma once

// The chunked reading that copying and reading back share. Internal to the execution library.

#include "ChunkPool.h"
#include "TransactionalCopy.h"

#include <array>

namespace kestrava::ResumableSortExecutor {

// Three chunk buffers while a second thread hashes: one being hashed, one being written, one
// being read into. 12 MiB per copy whatever the file size; one buffer without that thread.
constexpr int bufferCount = 3;

struct ChunkBuffers {
    std::array<ChunkPool::Chunk, bufferCount> memory;
    explicit ChunkBuffers(int count)
    {
        for (int i = 0; i < count; ++i)
            memory[size_t(i)] = ChunkPool::acquire();
    }
    char* operator[](qint64 index) { return memory[size_t(index % bufferCount)].get(); }
};

// Reads up to a whole chunk (a short read is not the end of the file; only 0 is). Reading
// past the cache (`direct`), only the file's end gives a short read, and reading on from its
// unaligned end would be refused: the chunk ends there.
qint64 readChunk(int fd, char* buffer, const QString& pathForErrors, FileOps& ops, bool direct = false);

} // namespace kestrava::ResumableSortExecutor
