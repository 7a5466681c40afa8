#include "FreedesktopTrashLayout.h"

#include "platform/AppPaths.h"
#include "platform/DurableFile.h"
#include "platform/FileSystemError.h"
#include "platform/VolumeInfo.h"

#include <QFile>
#include <QFileInfo>
#include <QUrl>
#include <sys/stat.h>
#include <unistd.h>

namespace kestrava {

namespace {

std::optional<struct stat> lstatOf(const QString& path)
{
    struct stat info {};
    if (::lstat(QFile::encodeName(path).constData(), &info) != 0)
        return std::nullopt;
    return info;
}

// A real directory, not a symbolic link to one: a link could lead the move anywhere.
bool isRealDirectory(const QString& path)
{
    const auto info = lstatOf(path);
    return info && S_ISDIR(info->st_mode);
}

std::optional<dev_t> deviceOfNearestExisting(QString path)
{
    for (;;) {
        struct stat info {};
        if (::stat(QFile::encodeName(path).constData(), &info) == 0)
            return info.st_dev;
        const QString parent = QFileInfo(path).path();
        if (parent == path || path.isEmpty())
            return std::nullopt;
        path = parent;
    }
}

bool makeFolder(const QString& path)
{
    return ::mkdir(QFile::encodeName(path).constData(), 0700) == 0 || errno == EEXIST;
}

// files/ and info/ must exist as real directories on the file's own file system.
bool prepareSubfolders(const TrashDirectory& trash, dev_t device, bool create)
{
    for (const QString& folder : {trash.filesFolder(), trash.infoFolder()}) {
        if (create && !lstatOf(folder) && !makeFolder(folder))
            return false;
        const auto info = lstatOf(folder);
        if (!info || !S_ISDIR(info->st_mode) || info->st_dev != device)
            return false;
    }
    return true;
}

} // namespace

FreedesktopTrashLayout FreedesktopTrashLayout::system()
{
    FreedesktopTrashLayout layout;
    layout.dataHome = [] { return AppPaths::dataHome(); };
    layout.mountPointOf = [](const QString& path) {
        const auto facts = volumeFacts(path);
        return facts ? facts->mountPoint : QString();
    };
    layout.uid = ::getuid();
    return layout;
}

std::optional<TrashDirectory> FreedesktopTrashLayout::trashDirectoryFor(const QString& path, bool create) const
{
    const auto item = lstatOf(path);
    if (!item)
        return std::nullopt;

    const QString home = dataHome();
    if (const auto homeDevice = deviceOfNearestExisting(home); homeDevice && *homeDevice == item->st_dev) {
        TrashDirectory trash{home + QLatin1String("/Trash"), {}, true};
        if (create) {
            try {
                ensureDirectory(trash.root);
            } catch (const FileSystemError&) {
                return std::nullopt;
            }
        }
        if (!isRealDirectory(trash.root) || !prepareSubfolders(trash, item->st_dev, create))
            return std::nullopt;
        return trash;
    }

    QString topdir = mountPointOf(path);
    if (topdir.isEmpty())
        return std::nullopt;
    if (topdir.size() > 1 && topdir.endsWith(QLatin1Char('/')))
        topdir.chop(1);
    const QString base = topdir == QLatin1String("/") ? QString() : topdir;

    // The shared $topdir/.Trash is trusted only as a real sticky directory; otherwise another
    // user could have prepared it to receive our files.
    const QString shared = base + QLatin1String("/.Trash");
    if (const auto info = lstatOf(shared); info && S_ISDIR(info->st_mode) && (info->st_mode & S_ISVTX)) {
        TrashDirectory trash{shared + QLatin1Char('/') + QString::number(uid), topdir, false};
        if (create && !lstatOf(trash.root))
            makeFolder(trash.root);
        const auto own = lstatOf(trash.root);
        if (own && S_ISDIR(own->st_mode) && own->st_uid == uid && prepareSubfolders(trash, item->st_dev, create))
            return trash;
    }

    TrashDirectory trash{base + QLatin1String("/.Trash-") + QString::number(uid), topdir, false};
    if (create && !lstatOf(trash.root) && !makeFolder(trash.root))
        return std::nullopt;
    const auto own = lstatOf(trash.root);
    if (!own || !S_ISDIR(own->st_mode) || own->st_uid != uid)
        return std::nullopt;
    if (!prepareSubfolders(trash, item->st_dev, create))
        return std::nullopt;
    return trash;
}

namespace FreedesktopTrashInfo {

QByteArray encodePath(const QString& path)
{
    return QUrl::toPercentEncoding(path, "/");
}

QString decodePath(const QByteArray& encoded)
{
    return QString::fromUtf8(QByteArray::fromPercentEncoding(encoded));
}

QByteArray content(const QString& originalPath, const TrashDirectory& trash, const QDateTime& deletionDate)
{
    QString path = originalPath;
    if (!trash.isHomeTrash) {
        const QString prefix = trash.topdir == QLatin1String("/") ? QStringLiteral("/") : trash.topdir + QLatin1Char('/');
        if (path.startsWith(prefix))
            path = path.mid(prefix.size());
    }
    return QByteArray("[Trash Info]\nPath=") + encodePath(path) + "\nDeletionDate="
        + deletionDate.toLocalTime().toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss")).toLatin1() + '\n';
}

std::optional<QString> originalPath(const QByteArray& infoContent, const TrashDirectory& trash)
{
    const QList<QByteArray> lines = infoContent.split('\n');
    if (lines.isEmpty() || lines.first().trimmed() != "[Trash Info]")
        return std::nullopt;
    for (const QByteArray& line : lines) {
        if (!line.startsWith("Path="))
            continue;
        const QString path = decodePath(line.mid(5).trimmed());
        if (path.startsWith(QLatin1Char('/')))
            return path;
        if (trash.isHomeTrash || path.isEmpty())
            return std::nullopt;
        return trash.topdir == QLatin1String("/") ? QLatin1Char('/') + path : trash.topdir + QLatin1Char('/') + path;
    }
    return std::nullopt;
}

} // namespace FreedesktopTrashInfo

} // namespace kestrava
