#pragma once

#include "model/PhotoModel.h"

#include <QByteArray>
#include <QStringList>

namespace kestrava::test {

// Relative paths of the items, in result order.
QStringList relativePaths(const QList<PhotoItem>& items);
// Creates a file from raw name bytes (which need not be UTF-8); returns false on failure.
bool createRawNamedFile(const QByteArray& path, const QByteArray& content = "x");
QByteArray readRawNamedFile(const QByteArray& path);

// Removes files and (empty) folders with raw byte names when the test ends, before the
// temporary tree, which cannot remove names that are not UTF-8 itself.
class RawNameCleanup {
public:
    explicit RawNameCleanup(QList<QByteArray> pathsInRemovalOrder) : paths_(std::move(pathsInRemovalOrder)) {}
    ~RawNameCleanup();

private:
    QList<QByteArray> paths_;
};

// Sets a file's modification time, not following a final link.
void setModificationTime(const QString& path, qint64 secondsSinceEpoch);
bool runningAsRoot();

} // namespace kestrava::test
