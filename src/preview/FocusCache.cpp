#include "FocusCache.h"

#include <QDataStream>
#include <QDir>
#include <QFile>
#include <QUuid>

#include <cstdio>

namespace kestrava {

namespace {

constexpr quint32 magic = 0x4B464D31; // "KFM1"
constexpr qsizetype largestTileCount = 1 << 16;

QString fileFor(const QString& folder, const QString& key)
{
    return folder + QLatin1Char('/') + key + QStringLiteral(".focus");
}

} // namespace

FocusCache::FocusCache(QString folder, int memoryCountLimit) : folder_(std::move(folder)), memory_(memoryCountLimit) {}

QByteArray FocusCache::encode(const FocusMap& map)
{
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out.setVersion(QDataStream::Qt_6_4);
    out.setFloatingPointPrecision(QDataStream::SinglePrecision);
    out << magic << map.imageSize << qint32(map.tileSize) << map.tiles << map.score << quint32(map.values.size());
    for (const float value : map.values)
        out << value;
    return bytes;
}

std::optional<FocusMap> FocusCache::decode(const QByteArray& bytes)
{
    QDataStream in(bytes);
    in.setVersion(QDataStream::Qt_6_4);
    in.setFloatingPointPrecision(QDataStream::SinglePrecision);
    quint32 header = 0;
    in >> header;
    if (header != magic)
        return std::nullopt;
    FocusMap map;
    qint32 tileSize = 0;
    in >> map.imageSize >> tileSize >> map.tiles >> map.score;
    // The grid is checked before anything is allocated, so a damaged count cannot make the
    // reader allocate gigabytes.
    const qint64 tiles = qint64(map.tiles.width()) * map.tiles.height();
    if (in.status() != QDataStream::Ok || tileSize <= 0 || map.imageSize.isEmpty() || map.tiles.isEmpty() || tiles > largestTileCount)
        return std::nullopt;
    map.tileSize = tileSize;
    quint32 count = 0;
    in >> count;
    if (count != tiles)
        return std::nullopt;
    map.values.resize(qsizetype(count));
    for (float& value : map.values)
        in >> value;
    if (in.status() != QDataStream::Ok || !in.atEnd())
        return std::nullopt;
    return map;
}

std::optional<FocusMap> FocusCache::findInMemory(const QString& key)
{
    QMutexLocker lock(&mutex_);
    if (const FocusMap* map = memory_.object(key))
        return *map;
    return std::nullopt;
}

std::optional<FocusMap> FocusCache::find(const QString& key)
{
    if (auto map = findInMemory(key))
        return map;
    if (folder_.isEmpty())
        return std::nullopt;
    QFile file(fileFor(folder_, key));
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    auto map = decode(file.read(1 << 20));
    if (!map)
        return std::nullopt;
    QMutexLocker lock(&mutex_);
    memory_.insert(key, new FocusMap(*map));
    return map;
}

void FocusCache::insert(const QString& key, const FocusMap& map)
{
    {
        QMutexLocker lock(&mutex_);
        memory_.insert(key, new FocusMap(map));
    }
    if (folder_.isEmpty() || !QDir().mkpath(folder_))
        return;
    // A cache: nothing is lost when the write fails, the map is measured again next time.
    const QString temporary = folder_ + QStringLiteral("/.") + key + QLatin1Char('-')
                              + QUuid::createUuid().toString(QUuid::WithoutBraces) + QStringLiteral(".tmp");
    QFile file(temporary);
    if (!file.open(QIODevice::WriteOnly))
        return;
    const QByteArray bytes = encode(map);
    const bool written = file.write(bytes) == bytes.size();
    file.close();
    if (!written || std::rename(QFile::encodeName(temporary).constData(), QFile::encodeName(fileFor(folder_, key)).constData()) != 0)
        QFile::remove(temporary);
}

} // namespace kestrava
