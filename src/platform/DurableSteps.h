#pragma once

// Every step that changes what survives a crash (a flush, a rename, a link, an unlink, a new
// file or folder, a truncation) passes through here on its way to the system. Crash tests use
// it to kill a real process at each such step in turn instead of at random moments.
//
// In builds with KESTRAVA_TEST_HOOKS, two environment variables drive it:
//   KESTRAVA_KILL_AT_STEP=N   the process raises SIGKILL just before its Nth durable step
//                             (1-based, counted per process), so the step never happens;
//   KESTRAVA_STEP_LOG=FILE    each step appends "<n> <kind> <path>\n" to FILE, which tells a
//                             harness how many steps a run takes and what the Nth one was;
//   KESTRAVA_KILL_BEFORE="<kind> <path suffix>"
//                             SIGKILL just before the first step of that kind whose path ends
//                             so. Where work runs on several threads their steps interleave
//                             differently from run to run, and a step number then drifts; a
//                             step named by what it does and to which file does not.
// Elsewhere both are ignored and the call is free.

namespace kestrava::testhooks {

#ifdef KESTRAVA_TEST_HOOKS
// `fd` names the file in the log when `path` is null (a flush of an open descriptor).
void durableStep(const char* kind, const char* path, int fd = -1);
#else
inline void durableStep(const char*, const char*, int = -1) {}
#endif

} // namespace kestrava::testhooks
