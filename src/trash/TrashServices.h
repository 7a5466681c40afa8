#pragma once

// The three services through which the coordinator reaches the system Trash. The transaction
// logic only knows these interfaces, so it can be exercised with test doubles and ported by
// adding implementations.

#include "TrashTypes.h"

namespace kestrava {

class TrashService {
public:
    virtual ~TrashService() = default;
    // Moves the file to the Trash and returns the proof of where it went. Throws
    // TrashTransactionError or the file system's own error; never deletes anything.
    virtual TrashReceipt trash(const FileUrl& url) const = 0;
};

class TrashCapabilityChecking {
public:
    virtual ~TrashCapabilityChecking() = default;
    // Returns when the volume holding `sourceVolumeRepresentedBy` supports the Trash reliably;
    // throws TrashTransactionError unsupportedVolume otherwise.
    virtual void check(const FileUrl& sourceVolumeRepresentedBy) const = 0;
};

class TrashReceiptValidating {
public:
    virtual ~TrashReceiptValidating() = default;
    // Returns when the receipt proves that content with `expectedSHA256` now lies in the
    // Trash; throws TrashTransactionError receiptInvalid (or the question's own error) otherwise.
    virtual void validate(const TrashReceipt& receipt, const QString& expectedSHA256) const = 0;

    // After a move whose outcome was never journaled: the receipt of the file in the Trash
    // that came from `original` and is still the file `identity` describes (same file,
    // size, modification time and content), or nullopt when the Trash holds none. Stray
    // records of a move that never happened may be tidied away; no photo is ever touched.
    virtual std::optional<TrashReceipt> locate(const FileUrl& original, const FileIdentity& identity) const
    {
        (void)original;
        (void)identity;
        return std::nullopt;
    }
};

} // namespace kestrava
