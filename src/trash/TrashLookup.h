#pragma once

// Finding a file in the freedesktop.org Trash after a move whose confirmation was never
// journaled (the process was killed, the power failed or the card was pulled between the
// rename and the journal record). The Trash's info files are the only record of where a file
// came from, so the search goes by their Path key and then by the file's own identity.

#include "FreedesktopTrash.h"

namespace kestrava {

class FreedesktopTrashReceipts : public FreedesktopTrashReceiptValidator {
public:
    explicit FreedesktopTrashReceipts(FreedesktopTrashLayout layout = FreedesktopTrashLayout::system(),
                                      FileOps& ops = FileOps::system());

    // Looks in the trash that serves the original's folder. An info file naming `original`
    // whose file never arrived is removed (the move it announced did not happen), so the
    // Trash lists nothing that is not there; it holds no photo.
    std::optional<TrashReceipt> locate(const FileUrl& original, const FileIdentity& identity) const override;

private:
    FreedesktopTrashLayout layout_;
    FileOps& ops_;
};

} // namespace kestrava
