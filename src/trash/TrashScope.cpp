#include "TrashScope.h"

#include "model/PhotoModel.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <sys/stat.h>
#include <unistd.h>

namespace kestrava::TrashScope {

namespace {

bool isPhotoName(const QString& name)
{
    return formatGroupForFileName(name) != PhotoFormatGroup::other;
}

// "IMG_1.xmp" beside "IMG_1.CR2", or "IMG_1.CR2.xmp" beside "IMG_1.CR2".
bool isSidecarOfAPhoto(const QFileInfo& file)
{
    if (file.suffix().compare(QLatin1String("xmp"), Qt::CaseInsensitive) != 0)
        return false;
    const QString stem = file.completeBaseName();
    const QDir folder = file.dir();
    if (isPhotoName(stem))
        return QFileInfo(folder.filePath(stem)).isFile();
    const QStringList siblings = folder.entryList({stem + QStringLiteral(".*")}, QDir::Files);
    return std::any_of(siblings.begin(), siblings.end(), [&](const QString& name) {
        return name.section(QLatin1Char('.'), 0, -2).compare(stem, Qt::CaseInsensitive) == 0 && isPhotoName(name);
    });
}

} // namespace

std::optional<QString> refusal(const FileUrl& file, const QString& sourceFolder)
{
    const QString name = file.fileName();
    const auto refused = [&](const QString& why) {
        return QStringLiteral("„%1“ wird nicht in den Papierkorb gelegt: %2").arg(name, why);
    };
    const QString root = QFileInfo(sourceFolder).canonicalFilePath();
    const QString folder = QFileInfo(file.parent().path()).canonicalFilePath();
    if (root.isEmpty() || folder.isEmpty()
        || (folder != root && !folder.startsWith(root.endsWith(QLatin1Char('/')) ? root : root + QLatin1Char('/'))))
        return refused(QStringLiteral("Die Datei liegt nicht im Quellordner dieser Sitzung."));
    const QString path = folder + QLatin1Char('/') + name;
    struct stat info {};
    if (::lstat(QFile::encodeName(path).constData(), &info) != 0)
        return refused(QStringLiteral("Die Datei ist nicht mehr erreichbar."));
    if (!S_ISREG(info.st_mode))
        return refused(QStringLiteral("Sie ist keine reguläre Datei."));
    if (info.st_uid != ::geteuid())
        return refused(QStringLiteral("Sie gehört einem anderen Benutzer."));
    if (!isPhotoName(name) && !isSidecarOfAPhoto(QFileInfo(path)))
        return refused(QStringLiteral("Sie ist kein Foto dieser Sitzung."));
    return std::nullopt;
}

QStringList refusals(const TrashPreparation& preparation, const QString& sourceFolder)
{
    QStringList refused;
    for (const TrashEntry& entry : preparation.entries)
        if (entry.state == TrashTransactionState::stagedVerified || entry.state == TrashTransactionState::deferred)
            if (auto why = refusal(entry.sourceURL, sourceFolder))
                refused.append(*why);
    return refused;
}

} // namespace kestrava::TrashScope
