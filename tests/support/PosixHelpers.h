#pragma once

// What tests need below Qt: names that are not UTF-8 (which QFile can neither create nor
// remove), modification times set to the second, who the test runs as, and a process id that
// certainly names no process.

#include <QByteArray>
#include <QList>
#include <QString>

namespace kestrava::test {

// Creates a file from raw name bytes; false when it exists already or cannot be made.
bool createRawNamedFile(const QByteArray& path, const QByteArray& content = "x");
QByteArray readRawNamedFile(const QByteArray& path);

// Removes files and (empty) folders with raw byte names when the test ends, before the
// temporary tree, which cannot remove names that are not UTF-8 itself.
class RawNameCleanup {
public:
    explicit RawNameCleanup(QList<QByteArray> pathsInRemovalOrder) : paths_(std::move(pathsInRemovalOrder)) {}
    ~RawNameCleanup();
    RawNameCleanup(const RawNameCleanup&) = delete;
    RawNameCleanup& operator=(const RawNameCleanup&) = delete;

private:
    QList<QByteArray> paths_;
};

// Sets a file's modification time to `secondsSinceEpoch` (nanoseconds 0), not following a
// final link.
void setModificationTime(const QString& path, qint64 secondsSinceEpoch);
// Root reads and writes whatever the permissions say; tests of refused access need another user.
bool runningAsRoot();
// The id of a child that has exited and been reaped: no process has it (until the kernel hands
// it out again, which takes a full turn of the id space).
qint64 pidOfReapedProcess();

} // namespace kestrava::test
