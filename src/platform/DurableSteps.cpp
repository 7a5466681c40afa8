#include "DurableSteps.h"

#ifdef KESTRAVA_TEST_HOOKS

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <climits>
#include <fcntl.h>
#include <string>
#include <unistd.h>

namespace kestrava::testhooks {

namespace {

struct StepSettings {
    long killAt = 0;
    std::string killKind;
    std::string killPathSuffix;
    int logFd = -1;

    StepSettings()
    {
        if (const char* kill = std::getenv("KESTRAVA_KILL_AT_STEP"))
            killAt = std::strtol(kill, nullptr, 10);
        if (const char* before = std::getenv("KESTRAVA_KILL_BEFORE"); before && *before) {
            const std::string wanted(before);
            const std::size_t space = wanted.find(' ');
            killKind = wanted.substr(0, space);
            killPathSuffix = space == std::string::npos ? std::string() : wanted.substr(space + 1);
        }
        // Opened once with O_APPEND and written with one write per line, so lines from
        // several threads never interleave; deliberately never closed.
        if (const char* log = std::getenv("KESTRAVA_STEP_LOG"); log && *log)
            logFd = ::open(log, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    }
};

} // namespace

void durableStep(const char* kind, const char* path, int fd)
{
    static const StepSettings settings;
    if (settings.killAt <= 0 && settings.logFd < 0 && settings.killKind.empty())
        return;
    if (!settings.killKind.empty() && path && settings.killKind == kind) {
        const std::size_t length = std::strlen(path);
        const std::string& suffix = settings.killPathSuffix;
        if (length >= suffix.size() && std::memcmp(path + length - suffix.size(), suffix.data(), suffix.size()) == 0)
            ::raise(SIGKILL);
    }
    static std::atomic<long> steps{0};
    const long step = ++steps;
    if (settings.logFd >= 0) {
        char target[PATH_MAX] = "-";
        if (!path && fd >= 0) {
            char link[64];
            std::snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
            const ssize_t length = ::readlink(link, target, sizeof target - 1);
            target[length > 0 ? length : 1] = '\0';
            path = target;
        }
        char line[4096 + 128];
        const int length = std::snprintf(line, sizeof line, "%ld %s %s\n", step, kind, path ? path : "-");
        if (length > 0) {
            const ssize_t written = ::write(settings.logFd, line, size_t(length) < sizeof line ? size_t(length) : sizeof line - 1);
            (void)written;
        }
    }
    if (step == settings.killAt)
        ::raise(SIGKILL);
}

} // namespace kestrava::testhooks

#endif
