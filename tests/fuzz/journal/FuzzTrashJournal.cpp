// A trash journal is a file on the user's disk that anyone can edit. Verifying it accepts or
// refuses, never crashes or hangs; an accepted journal is a gap-free hash chain, and writing
// its records out again yields a journal that verifies to the same records.

#include "trash/DurableTrashJournal.h"
#include "trash/TrashTransactionError.h"

#include <cstdint>
#include <cstdlib>
#include <sys/mman.h>
#include <unistd.h>

namespace {

// Serves the input as the journal's content: `open` hands out an anonymous in-memory file, so
// the fuzzer needs no folder and the verifier reads through its real file path code.
class InputAsFile : public kestrava::FileOps {
public:
    explicit InputAsFile(const QByteArray& content) : content_(content) {}

    int open(const QByteArray&, int, mode_t) override
    {
        const int fd = ::memfd_create("trash-journal", MFD_CLOEXEC);
        if (fd < 0)
            std::abort();
        for (qsizetype done = 0; done < content_.size();) {
            const ssize_t written = ::write(fd, content_.constData() + done, size_t(content_.size() - done));
            if (written <= 0)
                std::abort();
            done += written;
        }
        if (::lseek(fd, 0, SEEK_SET) != 0)
            std::abort();
        return fd;
    }

private:
    QByteArray content_;
};

QList<kestrava::TrashJournalRecord> verified(const QByteArray& content)
{
    InputAsFile ops(content);
    return kestrava::DurableTrashJournal::verifyFile(QStringLiteral("trash-v1.jsonl"), ops);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    using namespace kestrava;
    const QByteArray bytes(reinterpret_cast<const char*>(data), qsizetype(size));
    QList<TrashJournalRecord> records;
    try {
        records = verified(bytes);
    } catch (const TrashTransactionError&) {
        return 0;
    }

    QString previous = DurableTrashJournal::zeroHash();
    QByteArray rewritten;
    for (qsizetype i = 0; i < records.size(); ++i) {
        const TrashJournalRecord& record = records[i];
        if (record.payload.sequence != i + 1 || record.previousHash != previous
            || record.recordHash != DurableTrashJournal::recordHash(previous, DurableTrashJournal::encodePayload(record.payload)))
            std::abort();
        previous = record.recordHash;
        rewritten += DurableTrashJournal::encodeRecord(record) + '\n';
    }
    DurableTrashJournal::foldLatest(records);
    try {
        if (!(verified(rewritten) == records))
            std::abort();
    } catch (const TrashTransactionError&) {
        std::abort();
    }
    return 0;
}
