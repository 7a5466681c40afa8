#pragma once

#include <QString>
#include <optional>

namespace kestrava {

// What the file system that holds a path is: used to keep moves on one volume, to limit
// decode parallelism on removable media and to check free space.
struct VolumeFacts {
    quint64 deviceId = 0;              // st_dev: equal for two paths on the same file system
    QString identity;                  // "<uuid>@<mount point>", or "dev:<id>@<mount point>" without a UUID
    std::optional<QString> uuid;       // file-system UUID, absent when unknown
    QString mountPoint;
    bool isLocal = true;
    bool isRemovable = false;
    bool isReadOnly = false;
    qint64 availableBytes = 0;         // f_bavail × f_frsize: what this user may write
    QString name;                      // label, else the mount point's last component
    QString format;                    // file-system type, e.g. "ext4"

    friend bool operator==(const VolumeFacts&, const VolumeFacts&) = default;
};

// Facts for the volume holding `path`. A path that does not exist yet is answered for its
// nearest existing ancestor. nullopt only when not even "/" can be inspected.
std::optional<VolumeFacts> volumeFacts(const QString& path);

// Whether two existing paths lie on the same file system (st_dev), so a rename can move between them.
bool sameVolume(const QString& a, const QString& b);

} // namespace kestrava
