#include "RatingSidecar.h"

#include "ResultPermissions.h"
#include "ResumableSortError.h"
#include "TransactionalCopy.h"

#include "platform/DurableFile.h"
#include "platform/Exiv2Setup.h"
#include "platform/FileSystemError.h"

#include <QFile>
#include <QUuid>

#include <exiv2/exiv2.hpp>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>

namespace kestrava::ResumableSortExecutor {

namespace {

constexpr char ratingKey[] = "Xmp.xmp.Rating";
constexpr char labelKey[] = "Xmp.xmp.Label";
constexpr char xmlDeclaration[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
// A sidecar is a few kilobytes; anything far larger is not one Kestrava should rewrite.
constexpr qint64 largestSidecar = qint64(16) << 20;

std::optional<Exiv2::XmpData> decoded(const QByteArray& packet)
{
    ensureExiv2Initialised();
    Exiv2::XmpData data;
    if (packet.trimmed().isEmpty())
        return data;
    try {
        if (Exiv2::XmpParser::decode(data, packet.toStdString()) != 0)
            return std::nullopt;
    } catch (const Exiv2::AnyError&) {
        return std::nullopt;
    }
    return data;
}

std::optional<QString> textOf(const Exiv2::XmpData& data, const char* key)
{
    const auto found = data.findKey(Exiv2::XmpKey(key));
    if (found == data.end())
        return std::nullopt;
    return QString::fromStdString(found->toString());
}

// A rating the user gave: 1 to 5 stars. 0 is "no rating" and -1 "rejected", which a keep
// contradicts, so neither outlives one.
bool hasStars(const Exiv2::XmpData& data)
{
    const std::optional<QString> rating = textOf(data, ratingKey);
    bool number = false;
    const double value = rating ? rating->trimmed().toDouble(&number) : 0;
    return number && value >= 1;
}

void mark(Exiv2::XmpData& data, PhotoDecision decision, int keepStars)
{
    switch (decision) {
    case PhotoDecision::keep:
        if (!hasStars(data))
            data[ratingKey] = std::to_string(keepStars);
        break;
    case PhotoDecision::maybe:
        data[labelKey] = maybeLabel().toStdString();
        break;
    case PhotoDecision::del:
        data[ratingKey] = std::string("-1");
        break;
    }
}

std::optional<QByteArray> encoded(const Exiv2::XmpData& data)
{
    std::string packet;
    try {
        if (Exiv2::XmpParser::encode(packet, data,
                                     Exiv2::XmpParser::omitPacketWrapper | Exiv2::XmpParser::useCompactFormat)
            != 0)
            return std::nullopt;
    } catch (const Exiv2::AnyError&) {
        return std::nullopt;
    }
    return QByteArray(xmlDeclaration) + QByteArray::fromStdString(packet);
}

QByteArray encodedPath(const QString& path)
{
    return QFile::encodeName(path);
}

// Hidden like a photo's unfinished copy, and under the same pattern, so that the next run
// sweeps up one a kill left behind.
QString temporaryBeside(const FileUrl& destination)
{
    return destination.parent().path() + QStringLiteral("/.kestrava-")
        + QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper() + QStringLiteral(".partial");
}

enum class Publish { replace, exclusive };

void writeFile(const FileUrl& destination, const QByteArray& bytes, mode_t mode, Publish publish, FileOps& ops)
{
    const QString temporary = temporaryBeside(destination);
    UniqueFd file = createExclusive(temporary, ops, O_WRONLY, mode);
    try {
        writeAll(file.get(), bytes.constData(), bytes.size(), destination.path(), ops);
        if (ops.fsync(file.get()) != 0)
            throw FileSystemError(FileSystemError::Operation::flush, destination.path(), errno);
        file.close(destination.path());
        if (publish == Publish::exclusive) {
            renameExclusive(temporary, destination.path(), ops);
        } else if (ops.rename(encodedPath(temporary), encodedPath(destination.path())) != 0) {
            throw FileSystemError(FileSystemError::Operation::rename, destination.path(), errno);
        }
    } catch (const FileSystemError&) {
        file = UniqueFd();
        ops.unlink(encodedPath(temporary));
        throw;
    }
    flushDirectory(destination.parent().path(), ops);
}

bool isOutOfSpace(const FileSystemError& error)
{
    return error.errorNumber() == ENOSPC || error.errorNumber() == EDQUOT;
}

} // namespace

QString maybeLabel()
{
    return QStringLiteral("Vielleicht");
}

QByteArray newRatingSidecar(PhotoDecision decision, int keepStars)
{
    Exiv2::XmpData data;
    ensureExiv2Initialised();
    mark(data, decision, keepStars);
    const std::optional<QByteArray> packet = encoded(data);
    if (!packet)
        qFatal("XMP toolkit cannot encode a rating");
    return *packet;
}

std::optional<QByteArray> markedRatingSidecar(const QByteArray& existing, PhotoDecision decision, int keepStars)
{
    std::optional<Exiv2::XmpData> data = decoded(existing);
    if (!data)
        return std::nullopt;
    mark(*data, decision, keepStars);
    return encoded(*data);
}

std::optional<RatingMarks> readRatingMarks(const QByteArray& packet)
{
    const std::optional<Exiv2::XmpData> data = decoded(packet);
    if (!data)
        return std::nullopt;
    return RatingMarks{textOf(*data, ratingKey), textOf(*data, labelKey)};
}

bool holdsMarkedSidecar(const FileUrl& source, const FileUrl& destination, PhotoDecision decision, int keepStars,
                        FileOps& ops)
{
    try {
        const QByteArray there = readWholeFile(destination.path(), largestSidecar, ops);
        struct stat info {};
        const bool sourceLeft = ops.lstat(encodedPath(source.path()), &info) == 0;
        const QByteArray original = sourceLeft ? readWholeFile(source.path(), largestSidecar, ops) : there;
        const std::optional<QByteArray> marked = markedRatingSidecar(original, decision, keepStars);
        return marked && *marked == there;
    } catch (const FileSystemError&) {
        return false;
    }
}

qint64 writeRatingSidecar(const PlannedAction& action, int keepStars, const FileUrl& runFolder, FileOps& ops)
{
    const FileUrl& destination = action.destinationURL;
    const QString name = destination.fileName();
    const PhotoDecision decision = action.item.decision.value_or(PhotoDecision::keep);
    try {
        struct stat info {};
        if (ops.lstat(encodedPath(destination.path()), &info) == 0) {
            if (action.updatesTravelledSidecar && S_ISREG(info.st_mode)) {
                const QByteArray existing = readWholeFile(destination.path(), largestSidecar, ops);
                const std::optional<QByteArray> marked = markedRatingSidecar(existing, decision, keepStars);
                if (!marked)
                    throw ResumableSortError::ratingSidecarUnreadable(name);
                if (*marked != existing)
                    writeFile(destination, *marked, info.st_mode & 07777, Publish::replace, ops);
                return marked->size();
            }
            const QByteArray fresh = newRatingSidecar(decision, keepStars);
            if (S_ISREG(info.st_mode) && qint64(info.st_size) == fresh.size()
                && readWholeFile(destination.path(), largestSidecar, ops) == fresh)
                return fresh.size(); // written by an attempt killed before its record
            if (!isAbandonedReservation(destination.path(), runFolder, ops))
                throw ResumableSortError::ratingSidecarTaken(name);
            if (ops.unlink(encodedPath(destination.path())) != 0 && errno != ENOENT)
                throw FileSystemError(FileSystemError::Operation::remove, destination.path(), errno);
        }
        const QByteArray fresh = newRatingSidecar(decision, keepStars);
        try {
            writeFile(destination, fresh, userFileMode(), Publish::exclusive, ops);
        } catch (const FileSystemError& error) {
            // Someone else's file appeared under the name while the sidecar was written.
            if (error.errorNumber() == EEXIST)
                throw ResumableSortError::ratingSidecarTaken(name);
            throw;
        }
        return fresh.size();
    } catch (const FileSystemError& error) {
        if (isOutOfSpace(error))
            throw;
        throw ResumableSortError::ratingNotWritten(name, error.reason());
    }
}

} // namespace kestrava::ResumableSortExecutor
