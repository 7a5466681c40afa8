#pragma once

// Where the freedesktop.org Trash (version 1.0 of that standard) keeps files for a given file system:
// the home trash $XDG_DATA_HOME/Trash for files on the file system of $XDG_DATA_HOME, else a
// top-directory trash at the file system's mount point: $topdir/.Trash/$uid when $topdir/.Trash
// is a real directory (no link) with the sticky bit, otherwise $topdir/.Trash-$uid (mode 0700,
// owned by the user). A trash directory holds files/NAME and info/NAME.trashinfo:
//
//   [Trash Info]
//   Path=<percent-encoded original path; relative to $topdir in a top-directory trash>
//   DeletionDate=YYYY-MM-DDThh:mm:ss   (local time)

#include <QDateTime>
#include <QString>
#include <functional>
#include <optional>
#include <sys/types.h>

namespace kestrava {

struct TrashDirectory {
    QString root;      // the folder holding files/ and info/
    QString topdir;    // mount point for a top-directory trash; empty for the home trash
    bool isHomeTrash = false;

    QString filesFolder() const { return root + QLatin1String("/files"); }
    QString infoFolder() const { return root + QLatin1String("/info"); }
    friend bool operator==(const TrashDirectory&, const TrashDirectory&) = default;
};

// The inputs of the choice, so tests can point it at temporary folders.
struct FreedesktopTrashLayout {
    std::function<QString()> dataHome;                    // $XDG_DATA_HOME or ~/.local/share
    std::function<QString(const QString&)> mountPointOf;  // top directory of a path's file system
    uid_t uid = 0;

    // The running user's layout: XDG_DATA_HOME read at each call, mounts from the mount table.
    static FreedesktopTrashLayout system();

    // The trash directory for an existing file or folder at `path`, on its own file system.
    // With `create`, missing trash folders are made (mode 0700); without, nullopt unless they
    // all exist. nullopt also when no trash on that file system is acceptable.
    std::optional<TrashDirectory> trashDirectoryFor(const QString& path, bool create) const;
};

namespace FreedesktopTrashInfo {
// Percent-encoding of a path as the Path key wants it ("/" kept, UTF-8 bytes encoded).
QByteArray encodePath(const QString& path);
QString decodePath(const QByteArray& encoded);
QByteArray content(const QString& originalPath, const TrashDirectory& trash, const QDateTime& deletionDate);
// The original's absolute path named by an info file, or nullopt when it names none.
std::optional<QString> originalPath(const QByteArray& infoContent, const TrashDirectory& trash);
} // namespace FreedesktopTrashInfo

} // namespace kestrava
