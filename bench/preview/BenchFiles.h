#pragma once

// Files the preview benchmarks work on, written once per run into a temporary folder.

#include <QString>

namespace kestrava::bench {

// A 6000×4000 camera-like JPEG (scene with sensor noise, quality 92, EXIF dates).
QString cameraJpeg24mp();
// A folder for the run's own files (removed at exit).
QString scratchFolder();

} // namespace kestrava::bench
