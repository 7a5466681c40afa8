// Runs lock their source folders in the sessions folder: these tests keep theirs in a
// temporary data home, never in the user's.

#include <QTemporaryDir>

#include <cstdlib>

namespace {

struct IsolatedDataHome {
    QTemporaryDir folder;
    IsolatedDataHome() { ::setenv("XDG_DATA_HOME", folder.path().toLocal8Bit().constData(), 1); }
};

const IsolatedDataHome isolatedDataHome;

} // namespace
