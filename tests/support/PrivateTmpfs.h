#pragma once

// A small file system of a test's own: a tmpfs (a full disk, a card to remount read-only)
// mounted in a forked child's private mount namespace, so it vanishes with the child whatever
// the test does, and nothing is ever left mounted on the machine.

#include <QByteArray>
#include <QString>

#include <functional>

namespace kestrava::test {

// The child's exit code when the tmpfs could not be mounted (not root, no namespaces).
constexpr int tmpfsRefused = 77;

// Runs `scenario` in a child with a fresh tmpfs (mount `options`, e.g. "size=4m,mode=0700") at
// `mountPoint`. Returns the scenario's result (0: every check held, otherwise the number of
// the first failed one), 99 when it threw, tmpfsRefused, or -1 when the child did not run to
// its end.
int inChildWithTmpfs(const QString& mountPoint, const QByteArray& options, const std::function<int()>& scenario);

} // namespace kestrava::test
