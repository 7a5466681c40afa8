#pragma once

// Every run folder holds this hidden, empty file from the moment the run creates it. The
// scanner never descends into a folder that holds one, so a result folder placed inside the
// source folder is never offered for review a second time.

namespace kestrava {

inline constexpr char runFolderMarkerName[] = ".kestrava-run";

} // namespace kestrava
