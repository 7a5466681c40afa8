#pragma once

// Kestrava's own implementation of the freedesktop.org Trash for the three trash services.
// A file is only ever renamed into a trash on its own file system; nothing is copied across
// file systems and nothing is deleted, except the capability probe's own empty file.

#include "FreedesktopTrashLayout.h"
#include "TrashServices.h"

#include "platform/FileOps.h"

namespace kestrava {

class FreedesktopTrashService : public TrashService {
public:
    explicit FreedesktopTrashService(FreedesktopTrashLayout layout = FreedesktopTrashLayout::system(),
                                     FileOps& ops = FileOps::system());

    // Writes info/NAME.trashinfo (exclusive create, flushed with its folder) before the file
    // is renamed to files/NAME without replacing anything; then flushes both folders. NAME is
    // the file's name, or "<stem>_<n><.ext>" when taken. A failed move removes the info file
    // again and passes the file system's error on. unsupportedVolume when the file system has
    // no usable trash or the rename would cross file systems.
    TrashReceipt trash(const FileUrl& url) const override;

private:
    FreedesktopTrashLayout layout_;
    FileOps& ops_;
};

class FreedesktopTrashCapabilityChecker : public TrashCapabilityChecking {
public:
    explicit FreedesktopTrashCapabilityChecker(FreedesktopTrashLayout layout = FreedesktopTrashLayout::system());

    // Refuses network and read-only volumes without touching them; otherwise trashes an
    // empty probe made in a hidden temporary folder beside the file and checks where it went.
    // The probe, its info file and the folder are removed whatever the outcome.
    void check(const FileUrl& sourceVolumeRepresentedBy) const override;

private:
    FreedesktopTrashLayout layout_;
};

class FreedesktopTrashReceiptValidator : public TrashReceiptValidating {
public:
    explicit FreedesktopTrashReceiptValidator(FreedesktopTrashLayout layout = FreedesktopTrashLayout::system());

    // The resulting file must lie directly in files/ of the trash valid for its file system,
    // with an info file naming the receipt's source path, and still be the file the receipt
    // describes, with the expected content.
    void validate(const TrashReceipt& receipt, const QString& expectedSHA256) const override;

private:
    FreedesktopTrashLayout layout_;
};

} // namespace kestrava
