#include "MountTable.h"

#include <QFile>

#include <blkid/blkid.h>

#include <cstdlib>
#include <memory>

namespace kestrava {

namespace {

// The superblock's own word, for systems without udev's /dev/disk links (containers, minimal
// installs). Reading a block device needs the right to open it; where that is missing the
// answer stays unknown, never guessed.
std::optional<QString> probedTag(dev_t blockDevice, const char* tag)
{
    const std::unique_ptr<char, decltype(&std::free)> name(blkid_devno_to_devname(blockDevice), &std::free);
    if (!name)
        return std::nullopt;
    const std::unique_ptr<blkid_struct_probe, decltype(&blkid_free_probe)> probe(blkid_new_probe_from_filename(name.get()),
                                                                                  &blkid_free_probe);
    if (!probe)
        return std::nullopt;
    blkid_probe_enable_superblocks(probe.get(), 1);
    blkid_probe_set_superblocks_flags(probe.get(), BLKID_SUBLKS_UUID | BLKID_SUBLKS_LABEL);
    if (blkid_do_safeprobe(probe.get()) != 0)
        return std::nullopt;
    const char* value = nullptr;
    size_t length = 0;
    if (blkid_probe_lookup_value(probe.get(), tag, &value, &length) != 0 || !value)
        return std::nullopt;
    const QString text = QString::fromUtf8(value);
    return text.isEmpty() ? std::nullopt : std::optional<QString>(text);
}

} // namespace

std::optional<QString> fileSystemUuid(dev_t blockDevice)
{
    if (auto linked = deviceLinkName(QStringLiteral("/dev/disk/by-uuid"), blockDevice))
        return linked;
    return probedTag(blockDevice, "UUID");
}

std::optional<QString> fileSystemLabel(dev_t blockDevice)
{
    if (const auto name = deviceLinkName(QStringLiteral("/dev/disk/by-label"), blockDevice))
        return decodeUdevName(name->toUtf8());
    return probedTag(blockDevice, "LABEL");
}

} // namespace kestrava
