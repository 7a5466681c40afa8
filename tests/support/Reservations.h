#pragma once

// What a run killed on a card between reserving a name and renaming onto it leaves behind:
// the empty, marked file renameExclusive creates where a file system has neither a no-replace
// rename nor hard links. Made by the real code, so no test restates how a reservation is marked.

#include "TestSupport.h"

#include "platform/DurableFile.h"
#include "platform/FileOps.h"

#include <QFile>
#include <cerrno>

namespace kestrava::test {

// A file system like FAT or exFAT over FUSE, on which the process dies at the first rename.
class KilledBeforeTheRename : public FaultInjectingFileOps {
public:
    struct Killed {};
    KilledBeforeTheRename()
    {
        failAt(Op::renameNoReplace, 1, EINVAL, true);
        failAt(Op::link, 1, EPERM, true);
    }
    int rename(const QByteArray&, const QByteArray&) override { throw Killed{}; }
};

// Leaves an abandoned reservation at `path` (which must be free).
inline void leaveAbandonedReservation(const QString& path)
{
    const QString from = path + QStringLiteral(".reserving");
    writeFile(from, "x");
    KilledBeforeTheRename ops;
    try {
        renameExclusive(from, path, ops);
    } catch (const KilledBeforeTheRename::Killed&) {
    }
    QFile::remove(from);
}

} // namespace kestrava::test
