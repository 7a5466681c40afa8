#pragma once

// A sandbox for trash tests: originals, result folder, journal base and a private
// XDG_DATA_HOME (so the home trash is a temporary folder on the same file system).

#include "PosixFiles.h"
#include "TestSupport.h"

#include "trash/TrashTypes.h"

#include <QByteArray>
#include <QString>

namespace kestrava::test {

class TrashSandbox {
public:
    TrashSandbox();
    ~TrashSandbox();
    TrashSandbox(const TrashSandbox&) = delete;
    TrashSandbox& operator=(const TrashSandbox&) = delete;

    QString source(const QString& name) const { return tree.path(QStringLiteral("photos/") + name); }
    QString addOriginal(const QString& name, const QByteArray& bytes);
    QString resultRoot() const { return tree.path(QStringLiteral("result")); }
    QString journalBase() const { return tree.path(QStringLiteral("journal")); }
    QString dataHome() const { return tree.path(QStringLiteral("xdg")); }
    QString homeTrash() const { return dataHome() + QLatin1String("/Trash"); }

    // One group per file, or all files in one group.
    static QList<TrashGroup> singleGroups(const QStringList& paths);
    static TrashGroup oneGroup(const QStringList& paths);

    TempTree tree;

private:
    QByteArray previousDataHome_;
    bool hadDataHome_ = false;
};

} // namespace kestrava::test
