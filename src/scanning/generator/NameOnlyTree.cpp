#include "SeededRandom.h"
#include "ShootGenerator.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kestrava::shootgen {

qsizetype generateNameOnlyTree(const QString& directory, int folders, int filesPerFolder, double rawRatio, quint64 seed)
{
    const QString root = QDir::cleanPath(QFileInfo(directory).absoluteFilePath());
    const QDir dir(root);
    if (dir.exists() && !dir.isEmpty(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot))
        throw ShootGeneratorError(ShootGeneratorError::Kind::folderNotEmpty, root);
    SeededRandom random(seed);
    static constexpr const char* rawSpellings[] = {"CR3", "NEF", "ARW", "dng", "RAF", "orf"};
    qsizetype created = 0;
    for (int f = 0; f < folders; ++f) {
        const QString folder = root + QStringLiteral("/Karte %1/Serie %2").arg(f / 10 + 1).arg(f % 10 + 1);
        if (!QDir().mkpath(folder))
            throw ShootGeneratorError(ShootGeneratorError::Kind::cannotWrite, folder);
        const QByteArray prefix = QFile::encodeName(folder) + "/";
        for (int i = 0; i < filesPerFolder; ++i) {
            const bool raw = random.chance(rawRatio);
            // Empty files are enough: a scan reads names and attributes, never content.
            const QByteArray path = prefix + "IMG_" + QByteArray::number(i + 1) + "."
                + (raw ? QByteArray(random.pick(rawSpellings)) : QByteArray(i % 3 ? "JPG" : "jpg"));
            const int fd = ::open(path.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
            if (fd < 0)
                throw ShootGeneratorError(ShootGeneratorError::Kind::cannotWrite, QFile::decodeName(path));
            ::close(fd);
            ++created;
        }
    }
    return created;
}

} // namespace kestrava::shootgen
