#pragma once

// The two-phase move of rejected originals to the system Trash.
//
// Phase one (`prepare`) makes a verified safety copy of every file in
// <result folder>/Sicherheitsablage/<session UUID>/<group UUID>/<entry UUID>/<name, NFC> and
// touches no original. Phase two (`commit`), after a second confirmation, re-verifies each
// original and its copy immediately before moving the original with the trash service,
// validates the receipt, and removes the copies of a group only once every member of that
// group is confirmed in the Trash. Every step is journaled durably before it is taken.
//
// The coordinator holds no state: it lives in the journal, on disk and in the returned
// TrashPreparation. prepare, commit and markDeferred hold the machine-wide destructive-session
// lock for their whole run. A corrupt or unavailable journal ends an operation before it
// touches anything. A move announced but never confirmed is settled only from what the disk
// proves; what stays uncertain is needsReview, which nothing continues automatically and
// which never keeps the other files from being committed.

#include "TrashServices.h"
#include "TrashTypes.h"

#include "platform/FileOps.h"

#include <QFuture>
#include <functional>
#include <memory>

namespace kestrava {

// How far a call has got: prepare counts the safety copies it has finished and the bytes it
// has copied (the file being copied is `currentFilename`); commit counts the originals it has
// moved. Totals cover what this call has to do, so a resumed call starts again at zero.
struct TrashProgressReport {
    int completedFiles = 0;
    int totalFiles = 0;
    qint64 completedBytes = 0;
    qint64 totalBytes = 0;
    QString currentFilename;
};
using TrashProgress = std::function<void(const TrashProgressReport& report)>;

// Answers the storage message when `requiredBytes` (plus the reserve) do not fit at `folder`,
// nullopt when they do.
using TrashStorageCheck = std::function<std::optional<QString>(qint64 requiredBytes, const QString& folder)>;

struct TrashTransactionOptions {
    // The system calls of the journal, the lock and the safety copies (fault injection in tests).
    FileOps* fileOps = &FileOps::system();
    // Empty: the free capacity of the safety folder's volume with a reserve of 5 %, at least 1 GiB.
    TrashStorageCheck storageCheck;
    // Asked before each original is moved: true stops the commit there, with every file not
    // yet moved left staged for a later commit.
    std::function<bool()> isCanceled;
    // The session's source folder: when set, every file is checked to be one of its photos
    // before it is staged and again before it is moved (TrashScope).
    std::optional<QString> sourceFolder;
};

namespace TrashTransactionCoordinator {

inline constexpr const char* safetyFolderName = "Sicherheitsablage";
inline constexpr qint64 copyChunkBytes = 4 * 1024 * 1024;

// Phase one. Groups with a validationError are skipped: none of their members is staged or
// journaled (the caller shows their messages). A group with a member the preflight or the
// source-folder check refuses is refused as a whole: that member is journaled `failed` with
// the reason and returned in that state, its partners are not planned, the other groups go
// on. Members already journaled for this session are picked up again by source path (and a
// group keeps its journaled ID), and a leftover copy is reused when its hash and size match.
// Throws TrashTransactionError (or FileSystemError for the safety folder itself) for what
// ends the whole preparation; a failing copy is journaled `failed` with the message first.
TrashPreparation prepare(const QUuid& sessionID, const QList<TrashGroup>& groups, const FileUrl& destinationRoot,
                         const QString& journalBase, const TrashCapabilityChecking& capabilityChecker,
                         const TrashProgress& progress = {}, const TrashTransactionOptions& options = {});

// Phase two. First every move that an earlier run announced but never confirmed is settled
// from what the disk proves: the original gone and the same file found in the Trash makes it
// trashedConfirmed, the original untouched and nothing in the Trash makes it stagedVerified
// again; anything else is journaled needsReview with what the user can do. Entries in
// needsReview or failed are left alone and never block the others. Nothing is moved unless
// every staged or deferred original and copy still match their identities (a mismatch is
// journaled needsReview, so the next commit can go on without it). A safety copy goes only
// when every file of its motif (photo, partner, sidecar) is confirmed in the Trash. Returns
// the preparation with receipts and final states.
TrashPreparation commit(const TrashPreparation& preparation, const QString& journalBase,
                        const TrashService& trashService, const TrashReceiptValidating& receiptValidator,
                        const TrashProgress& progress = {}, const TrashTransactionOptions& options = {});

// Journals every stagedVerified entry as deferred; copies and originals stay as they are.
TrashPreparation markDeferred(const TrashPreparation& preparation, const QString& journalBase,
                              const TrashTransactionOptions& options = {});

// Each entry replaced by its latest journaled form; entries unknown to the journal stay.
TrashPreparation reload(const TrashPreparation& preparation, const QString& journalBase,
                        const TrashTransactionOptions& options = {});

// The same operations on the global thread pool. The services are shared so they outlive the call.
QFuture<TrashPreparation> prepareAsync(QUuid sessionID, QList<TrashGroup> groups, FileUrl destinationRoot,
                                       QString journalBase, std::shared_ptr<const TrashCapabilityChecking> capabilityChecker,
                                       TrashProgress progress = {}, TrashTransactionOptions options = {});
QFuture<TrashPreparation> commitAsync(TrashPreparation preparation, QString journalBase,
                                      std::shared_ptr<const TrashService> trashService,
                                      std::shared_ptr<const TrashReceiptValidating> receiptValidator,
                                      TrashProgress progress = {}, TrashTransactionOptions options = {});
QFuture<TrashPreparation> markDeferredAsync(TrashPreparation preparation, QString journalBase,
                                            TrashTransactionOptions options = {});
QFuture<TrashPreparation> reloadAsync(TrashPreparation preparation, QString journalBase,
                                      TrashTransactionOptions options = {});

// Preflight of one original before staging: a regular file, no symbolic link, on a local and
// writable volume, captured with a single link. Throws TrashTransactionError.
FileIdentity preflight(const FileUrl& source);

} // namespace TrashTransactionCoordinator

} // namespace kestrava
