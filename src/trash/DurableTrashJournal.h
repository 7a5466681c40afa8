#pragma once

// The trash journal: every state change of every file of a trash transaction, written and
// forced to stable storage before the file-system step it announces is taken.
//
// File: <journal base>/<session UUID, upper case>/trash-v1.jsonl, JSON Lines, UTF-8.
// One record per line, each ended by one line feed, no header:
//   {"payload":{"entry":{…TrashEntry…},"sequence":1,"sessionID":"…","state":"planned",
//    "timestamp":1700000000123},"previousHash":"000…0","recordHash":"…"}
// Keys sorted, no spaces; dates are milliseconds since 1970 (numbers); UUIDs upper case;
// URLs as file: URLs; optional fields left out. `sequence` counts from 1 without gaps.
// previousHash is the preceding record's recordHash (64 "0" for the first); recordHash is
// the lower-case hex SHA-256 of previousHash's bytes followed by the payload encoded alone.
// The reader re-encodes each payload and recomputes the hash, so the encoding is canonical.
//
// The file is only ever appended to. It is never repaired, truncated or rewritten: a torn
// last line, an edited, missing or reordered record makes the whole journal corrupt, and all
// destructive work stops until a person looks.

#include "TrashTypes.h"

#include "platform/FileOps.h"

#include <QHash>
#include <QMutex>

namespace kestrava {

struct TrashJournalPayload {
    qint64 sequence = 0;
    QDateTime timestamp;
    QUuid sessionID;
    TrashTransactionState state = TrashTransactionState::planned;
    TrashEntry entry;
    friend bool operator==(const TrashJournalPayload&, const TrashJournalPayload&) = default;
};

struct TrashJournalRecord {
    TrashJournalPayload payload;
    QString previousHash;
    QString recordHash;
    friend bool operator==(const TrashJournalRecord&, const TrashJournalRecord&) = default;
};

class DurableTrashJournal {
public:
    static constexpr const char* fileName = "trash-v1.jsonl";

    // Creates the session folder and an empty journal when missing (flushed, with its folder),
    // then reads and verifies the whole journal. Throws TrashTransactionError:
    // journalUnavailable (not a local, fixed volume; cannot create or read) or journalCorrupt.
    DurableTrashJournal(const QString& baseDirectory, const QUuid& sessionID, FileOps& ops = FileOps::system());

    DurableTrashJournal(const DurableTrashJournal&) = delete;
    DurableTrashJournal& operator=(const DurableTrashJournal&) = delete;

    const QString& path() const { return path_; }
    static QString journalPath(const QString& baseDirectory, const QUuid& sessionID);

    // Writes one record and returns only once it is on stable storage. The whole journal is
    // verified again first whenever the file is not exactly as this object last left it
    // (device, inode, size, change time); otherwise only the new record is written, so a
    // transaction of n files costs O(n), not O(n²). Throws journalCorrupt (nothing written)
    // or journalUnavailable (open, write or flush failed: the announced step must not be taken).
    // `entry` is journaled with its state set to `state`.
    void append(TrashTransactionState state, const TrashEntry& entry, const QUuid& sessionID);

    // The verified records, and per entry id the entry of the last record that mentions it.
    QList<TrashJournalRecord> records();
    QHash<QUuid, TrashEntry> latestEntries();
    // The same entries in the order of their first record.
    QList<TrashEntry> latestEntryList();

    // Reads and verifies a journal file without creating anything (for inspection tools).
    static QList<TrashJournalRecord> verifyFile(const QString& journalPath, FileOps& ops = FileOps::system());
    // Entries of `records` folded in order, a later record replacing an earlier one.
    static QList<TrashEntry> foldLatest(const QList<TrashJournalRecord>& records);

    // Canonical encodings, shared by writer and verifier.
    static QByteArray encodePayload(const TrashJournalPayload& payload);
    static QByteArray encodeRecord(const TrashJournalRecord& record);
    static QString recordHash(const QString& previousHash, const QByteArray& encodedPayload);
    static QString zeroHash();

    // Opens without following links, fsyncs, closes; failures are journalUnavailable.
    static void fullSync(const QString& path, FileOps& ops = FileOps::system());

private:
    struct Stamp {
        quint64 device = 0, inode = 0;
        qint64 size = -1, changeSeconds = 0, changeNanoseconds = 0;
        friend bool operator==(const Stamp&, const Stamp&) = default;
    };
    static Stamp stampOf(const struct stat& info);
    // Reads the whole file through `fd` from offset 0 and replaces the verified state.
    void reloadFrom(int fd);
    // Verifies again through `fd` unless the file is exactly as this object last left it;
    // `info` is left describing the file as found.
    void ensureCurrent(int fd, struct stat& info);
    void ensureCurrent();
    void remember(const TrashJournalRecord& record);

    QString path_;
    FileOps& ops_;
    QMutex mutex_;
    // What this object verified or wrote last; valid only while `stamp_` still describes the file.
    bool verified_ = false;
    Stamp stamp_;
    QList<TrashJournalRecord> records_;
    QHash<QUuid, qsizetype> entryIndex_;
    QList<TrashEntry> latest_;
};

} // namespace kestrava
