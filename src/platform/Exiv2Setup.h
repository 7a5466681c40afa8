#pragma once

// Exiv2 is set up once per process, by whichever reader comes first: the previews, the capture
// dates and the rating sidecars all run on worker threads, and the XMP toolkit's own set-up is
// not thread-safe. After this call the toolkit serialises its namespace registry through a
// lock of ours, so parses on several threads at once are safe. Also silences Exiv2's English
// warnings on standard error (every failure reaches the user in German through our own errors)
// and enables BMFF, which CR3 files need.
//
// Call it before any Exiv2 use; it is cheap after the first call.

namespace kestrava {

void ensureExiv2Initialised();

} // namespace kestrava
