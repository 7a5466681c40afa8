#include "DurableTrashJournal.h"

#include "TrashJson.h"
#include "TrashTransactionError.h"

#include "model/Json.h"
#include "platform/DurableFile.h"
#include "platform/FileSystemError.h"
#include "platform/Sha256.h"
#include "platform/VolumeInfo.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <cerrno>
#include <cstring>
#include <fcntl.h>

namespace kestrava {

namespace {

using Kind = TrashTransactionError::Kind;

TrashTransactionError unavailable(const QString& reason)
{
    return TrashTransactionError(Kind::journalUnavailable, reason);
}

TrashTransactionError corrupt()
{
    return TrashTransactionError(Kind::journalCorrupt);
}

// The user reads the reason after a German sentence: the German wording, as everywhere.
QString systemReason(int errorNumber)
{
    return FileSystemError(FileSystemError::Operation::write, QString(), errorNumber).reason();
}

QByteArray readAll(int fd, FileOps& ops)
{
    QByteArray data;
    char buffer[1 << 16];
    for (;;) {
        const ssize_t got = ops.read(fd, buffer, sizeof buffer);
        if (got < 0)
            throw unavailable(systemReason(errno));
        if (got == 0)
            return data;
        data.append(buffer, got);
    }
}

TrashJournalRecord decodeRecord(const QByteArray& line)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(line, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        throw corrupt();
    try {
        const QJsonObject object = document.object();
        const QJsonObject payload = json::requireObject(object, QLatin1String("payload"));
        TrashJournalRecord record;
        record.previousHash = json::requireString(object, QLatin1String("previousHash"));
        record.recordHash = json::requireString(object, QLatin1String("recordHash"));
        record.payload.sequence = json::requireInt(payload, QLatin1String("sequence"));
        record.payload.timestamp = QDateTime::fromMSecsSinceEpoch(json::requireInt(payload, QLatin1String("timestamp")), Qt::UTC);
        record.payload.sessionID = json::requireUuid(payload, QLatin1String("sessionID"));
        record.payload.state = json::requireEnum<TrashTransactionState>(payload, QLatin1String("state"));
        record.payload.entry = trashEntryFromJson(json::requireObject(payload, QLatin1String("entry")),
                                                  TrashDateStyle::millisecondsSince1970);
        return record;
    } catch (const DecodingError&) {
        throw corrupt();
    }
}

// Verifies `data` as a whole journal; appends the records to `out`. Any flaw is journalCorrupt.
QList<TrashJournalRecord> parseAndVerify(const QByteArray& data)
{
    QList<TrashJournalRecord> records;
    // A torn last write was never acknowledged and does not count (see durableAppendLine).
    const qsizetype whole = wholeLinesLength(data);
    QString expectedPrevious = DurableTrashJournal::zeroHash();
    qsizetype start = 0;
    while (start < whole) {
        const qsizetype end = data.indexOf('\n', start);
        const QByteArray line = data.mid(start, end - start);
        start = end + 1;
        if (line.isEmpty())
            continue;
        TrashJournalRecord record = decodeRecord(line);
        if (record.payload.sequence != records.size() + 1 || record.previousHash != expectedPrevious)
            throw corrupt();
        const QString hash = DurableTrashJournal::recordHash(expectedPrevious, DurableTrashJournal::encodePayload(record.payload));
        if (hash != record.recordHash)
            throw corrupt();
        expectedPrevious = record.recordHash;
        records.append(std::move(record));
    }
    return records;
}

} // namespace

QString DurableTrashJournal::zeroHash()
{
    return QString(64, QLatin1Char('0'));
}

QString DurableTrashJournal::journalPath(const QString& baseDirectory, const QUuid& sessionID)
{
    return QDir(baseDirectory).filePath(json::encodeUuid(sessionID) + QLatin1Char('/') + QLatin1String(fileName));
}

QByteArray DurableTrashJournal::encodePayload(const TrashJournalPayload& payload)
{
    QJsonObject object;
    object.insert(QLatin1String("sequence"), payload.sequence);
    object.insert(QLatin1String("timestamp"), payload.timestamp.toMSecsSinceEpoch());
    object.insert(QLatin1String("sessionID"), json::encodeUuid(payload.sessionID));
    object.insert(QLatin1String("state"), rawValue(payload.state));
    object.insert(QLatin1String("entry"), toJson(payload.entry, TrashDateStyle::millisecondsSince1970));
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

QByteArray DurableTrashJournal::encodeRecord(const TrashJournalRecord& record)
{
    // The payload is spliced in as the exact bytes that were hashed; QJsonObject would produce
    // the same bytes, but this way the identity of hashed and written text is structural.
    QByteArray line = "{\"payload\":";
    line += encodePayload(record.payload);
    line += ",\"previousHash\":\"";
    line += record.previousHash.toLatin1();
    line += "\",\"recordHash\":\"";
    line += record.recordHash.toLatin1();
    line += "\"}";
    return line;
}

QString DurableTrashJournal::recordHash(const QString& previousHash, const QByteArray& encodedPayload)
{
    Sha256 hash;
    hash.update(previousHash.toUtf8());
    hash.update(encodedPayload);
    return Sha256::hex(hash.finalize());
}

void DurableTrashJournal::fullSync(const QString& path, FileOps& ops)
{
    const int fd = ops.open(QFile::encodeName(path), O_RDWR | O_NOFOLLOW);
    if (fd < 0)
        throw unavailable(systemReason(errno));
    UniqueFd file(fd, ops);
    if (ops.fsync(fd) != 0)
        throw unavailable(systemReason(errno));
}

DurableTrashJournal::Stamp DurableTrashJournal::stampOf(const struct stat& info)
{
    return {quint64(info.st_dev), quint64(info.st_ino), qint64(info.st_size),
            qint64(info.st_ctim.tv_sec), qint64(info.st_ctim.tv_nsec)};
}

DurableTrashJournal::DurableTrashJournal(const QString& baseDirectory, const QUuid& sessionID, FileOps& ops)
    : path_(journalPath(baseDirectory, sessionID)), ops_(ops)
{
    const QString folder = QFileInfo(path_).path();
    try {
        ensureDirectory(folder, ops_);
    } catch (const FileSystemError& error) {
        throw unavailable(error.reason());
    }
    const auto volume = volumeFacts(folder);
    if (!volume || !volume->isLocal || volume->isRemovable)
        throw unavailable(QStringLiteral("Das Journal muss auf einem lokalen, nicht entfernbaren Volume liegen."));

    const QByteArray native = QFile::encodeName(path_);
    struct stat info {};
    if (ops_.lstat(native, &info) != 0) {
        if (errno != ENOENT)
            throw unavailable(systemReason(errno));
        try {
            UniqueFd created = createExclusive(path_, ops_);
            created.close(path_);
        } catch (const FileSystemError&) {
            throw unavailable(QStringLiteral("Datei konnte nicht erstellt werden."));
        }
        fullSync(path_, ops_);
        try {
            flushDirectory(folder, ops_);
            flushDirectory(baseDirectory, ops_);
        } catch (const FileSystemError& error) {
            throw unavailable(error.reason());
        }
    }

    const int fd = ops_.open(native, O_RDONLY | O_NOFOLLOW);
    if (fd < 0)
        throw unavailable(systemReason(errno));
    UniqueFd file(fd, ops_);
    QMutexLocker lock(&mutex_);
    reloadFrom(fd);
}

void DurableTrashJournal::reloadFrom(int fd)
{
    verified_ = false;
    records_.clear();
    entryIndex_.clear();
    latest_.clear();
    struct stat before {};
    if (ops_.fstat(fd, &before) != 0)
        throw unavailable(systemReason(errno));
    const QByteArray data = readAll(fd, ops_);
    struct stat after {};
    if (ops_.fstat(fd, &after) != 0)
        throw unavailable(systemReason(errno));
    // Only this process appends (under the destructive-session lock), so a file that changed
    // while it was read has been touched by someone else: refuse rather than guess.
    if (stampOf(before) != stampOf(after) || qint64(data.size()) != qint64(after.st_size))
        throw corrupt();
    for (auto& record : parseAndVerify(data))
        remember(record);
    stamp_ = stampOf(after);
    // A torn last write stays outside what was verified; the next append cuts it off.
    stamp_.size = wholeLinesLength(data);
    verified_ = true;
}

void DurableTrashJournal::remember(const TrashJournalRecord& record)
{
    const QUuid id = record.payload.entry.id;
    auto it = entryIndex_.constFind(id);
    if (it == entryIndex_.constEnd()) {
        entryIndex_.insert(id, latest_.size());
        latest_.append(record.payload.entry);
    } else {
        latest_[*it] = record.payload.entry;
    }
    records_.append(record);
}

void DurableTrashJournal::append(TrashTransactionState state, const TrashEntry& entry, const QUuid& sessionID)
{
    QMutexLocker lock(&mutex_);
    // Read and written through one descriptor, so what was verified is the file appended to.
    const int fd = ops_.open(QFile::encodeName(path_), O_RDWR | O_APPEND | O_NOFOLLOW);
    if (fd < 0)
        throw unavailable(systemReason(errno));
    UniqueFd file(fd, ops_);

    struct stat info {};
    if (ops_.fstat(fd, &info) != 0)
        throw unavailable(systemReason(errno));
    if (!verified_ || stampOf(info) != stamp_)
        reloadFrom(fd);

    TrashJournalRecord record;
    record.payload.sequence = records_.size() + 1;
    record.payload.timestamp = QDateTime::fromMSecsSinceEpoch(QDateTime::currentMSecsSinceEpoch(), Qt::UTC);
    record.payload.sessionID = sessionID;
    record.payload.state = state;
    record.payload.entry = entry;
    record.payload.entry.state = state;
    record.previousHash = records_.isEmpty() ? zeroHash() : records_.last().recordHash;
    record.recordHash = recordHash(record.previousHash, encodePayload(record.payload));
    const QByteArray line = encodeRecord(record) + '\n';
    if (qint64(info.st_size) > stamp_.size && ops_.ftruncate(fd, off_t(stamp_.size)) != 0)
        throw unavailable(systemReason(errno));

    // From here on the file may differ from what was verified (a partial write, pages of
    // unknown state after a failed flush): the next append reads everything again.
    verified_ = false;
    try {
        writeAll(fd, line.constData(), line.size(), path_, ops_);
    } catch (const FileSystemError& error) {
        throw unavailable(error.reason());
    }
    if (ops_.fsync(fd) != 0)
        throw unavailable(systemReason(errno));
    if (ops_.fstat(fd, &info) != 0)
        throw unavailable(systemReason(errno));
    try {
        file.close(path_);
    } catch (const FileSystemError& error) {
        throw unavailable(error.reason());
    }
    // The file grew by exactly our line: anything else means another writer interleaved.
    if (qint64(info.st_size) == stamp_.size + line.size()) {
        remember(record);
        stamp_ = stampOf(info);
        verified_ = true;
    }
}

void DurableTrashJournal::ensureCurrent()
{
    const int fd = ops_.open(QFile::encodeName(path_), O_RDONLY | O_NOFOLLOW);
    if (fd < 0)
        throw unavailable(systemReason(errno));
    UniqueFd file(fd, ops_);
    struct stat info {};
    if (ops_.fstat(fd, &info) != 0)
        throw unavailable(systemReason(errno));
    if (!verified_ || stampOf(info) != stamp_)
        reloadFrom(fd);
}

QList<TrashJournalRecord> DurableTrashJournal::records()
{
    QMutexLocker lock(&mutex_);
    ensureCurrent();
    return records_;
}

QHash<QUuid, TrashEntry> DurableTrashJournal::latestEntries()
{
    QMutexLocker lock(&mutex_);
    ensureCurrent();
    QHash<QUuid, TrashEntry> map;
    map.reserve(latest_.size());
    for (const auto& entry : latest_)
        map.insert(entry.id, entry);
    return map;
}

QList<TrashEntry> DurableTrashJournal::latestEntryList()
{
    QMutexLocker lock(&mutex_);
    ensureCurrent();
    return latest_;
}

QList<TrashJournalRecord> DurableTrashJournal::verifyFile(const QString& journalPath, FileOps& ops)
{
    const int fd = ops.open(QFile::encodeName(journalPath), O_RDONLY | O_NOFOLLOW);
    if (fd < 0)
        throw unavailable(systemReason(errno));
    UniqueFd file(fd, ops);
    return parseAndVerify(readAll(fd, ops));
}

QList<TrashEntry> DurableTrashJournal::foldLatest(const QList<TrashJournalRecord>& records)
{
    QHash<QUuid, qsizetype> index;
    QList<TrashEntry> out;
    for (const auto& record : records) {
        const auto it = index.constFind(record.payload.entry.id);
        if (it == index.constEnd()) {
            index.insert(record.payload.entry.id, out.size());
            out.append(record.payload.entry);
        } else {
            out[*it] = record.payload.entry;
        }
    }
    return out;
}

} // namespace kestrava
