#pragma once

// Focus maps kept beside the previews they were measured on, under the same key.
//
// Disk layout: "<preview key>.focus" in the preview cache folder, written through a hidden
// temporary and a rename; the folder's pruning ages these files out with the previews. Content
// (QDataStream, Qt 6.4 format, single-precision floats): magic "KFM1" (quint32), image size
// (QSize), tile size (qint32), tile grid (QSize), score (float), value count (quint32, equal
// to the tiles of the grid), the values (floats, row by row).

#include "FocusMeasure.h"

#include <QCache>
#include <QMutex>
#include <QString>
#include <optional>

namespace kestrava {

class FocusCache {
public:
    // An empty folder keeps maps in memory only. About 3 KB per map at 2048 px.
    explicit FocusCache(QString folder, int memoryCountLimit = 4096);

    // Memory first, then disk (a disk hit is remembered in memory). Thread-safe.
    std::optional<FocusMap> find(const QString& key);
    // Memory only: never touches the disk. Thread-safe.
    std::optional<FocusMap> findInMemory(const QString& key);
    // Into memory and, when there is a folder, onto the disk. Thread-safe.
    void insert(const QString& key, const FocusMap& map);

    static QByteArray encode(const FocusMap& map);
    // nullopt for anything that is not a whole, consistent map.
    static std::optional<FocusMap> decode(const QByteArray& bytes);

private:
    QString folder_;
    QMutex mutex_;
    QCache<QString, FocusMap> memory_;
};

} // namespace kestrava
