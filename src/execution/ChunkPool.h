#pragma once

// The 4 MiB chunk buffers of copying and hashing, kept for the next file. A fresh buffer costs
// a page fault (and a page of zeroes) per 4 KiB the first time it is filled: for a run of many
// files that is one fault for every page copied or read back. Reusing a few buffers keeps that
// cost to the first file, and memory stays bounded: what is in use (three chunks for a copy,
// three for each read-back under way) plus at most `maxSpare` idle ones.

#include <QtGlobal>

#include <memory>

namespace kestrava::ChunkPool {

// One copy and four read-backs, each on a second hashing thread.
constexpr int maxSpare = 15;

struct Release {
    void operator()(char* chunk) const;
};
using Chunk = std::unique_ptr<char[], Release>;

// A chunk of `chunkSize` bytes with unspecified contents; returned to the pool when dropped.
Chunk acquire();

// Frees the idle chunks (after a run, so that an idle application holds none).
void trim();

} // namespace kestrava::ChunkPool
