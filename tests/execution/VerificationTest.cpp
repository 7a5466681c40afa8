// What the verification modes catch: a copy that reached the storage differently from what
// was read from the source (here a write path that damages one byte) passes a size check but
// not the digest comparison.

#include "execution/ResumableSortError.h"

#include "ExecutionTestSupport.h"

#include "platform/Sha256.h"

#include <QCryptographicHash>

#include <fcntl.h>

using namespace kestrava;
using namespace kestrava::test;
namespace Executor = kestrava::ResumableSortExecutor;

namespace {

// Writes every chunk with its first byte changed: the damage a faulty cable or controller does.
class DamagingFileOps : public FileOps {
public:
    ssize_t write(int fd, const void* buffer, size_t count) override
    {
        QByteArray copy(static_cast<const char*>(buffer), qsizetype(count));
        if (!copy.isEmpty())
            copy[0] = char(copy[0] ^ 0x01);
        return FileOps::write(fd, copy.constData(), count);
    }
};

// Copies the first bytes inside the kernel as the system does, then gives up as it does across
// file systems or on a failing medium.
class KernelGivesUpPartWay : public FileOps {
public:
    explicit KernelGivesUpPartWay(int errorNumber) : errorNumber_(errorNumber) {}
    ssize_t copyRange(int in, int out, size_t count) override
    {
        if (calls_++ == 0)
            return FileOps::system().copyRange(in, out, std::min<size_t>(count, 1000));
        errno = errorNumber_;
        return -1;
    }

private:
    int errorNumber_;
    int calls_ = 0;
};

} // namespace

TEST(Verification, aCopyTheKernelGivesUpOnIsFinishedFromWhereItStopped)
{
    TempTree tree;
    QByteArray content(Executor::chunkSize + 777, '\0');
    for (qsizetype i = 0; i < content.size(); ++i)
        content[i] = char(i * 13 + i / 4096);
    tree.write("src/a.cr2", content);
    const PhotoItem item = photoAt(tree.path("src"), "a.cr2");
    for (const int errorNumber : {EXDEV, EIO}) {
        KernelGivesUpPartWay ops(errorNumber);
        const QString copy = tree.path(QStringLiteral("out/%1.cr2").arg(errorNumber));
        QDir().mkpath(tree.path("out"));
        EXPECT_EQ(Executor::copyTransactionally(item, FileUrl::fromLocalPath(copy), VerificationMode::fileSize, ops),
                  content.size());
        EXPECT_EQ(readFile(copy), content) << errorNumber;
    }
    // The system's own copy, over more than one chunk.
    const QString whole = tree.path("out/whole.cr2");
    Executor::copyTransactionally(item, FileUrl::fromLocalPath(whole), VerificationMode::fileSize);
    EXPECT_EQ(readFile(whole), content);
}

TEST(Verification, damagedCopyPassesFileSizeButFailsSha256AndLeavesNothing)
{
    // A sidecar's size, hashed as it is read; one chunk, and three chunks and a bit, hashed on a
    // second thread while they are written, with every buffer of the ring reused for the last.
    for (const qint64 size : {qint64(5000), Executor::chunkSize - 1, Executor::chunkSize * 3 + 12345}) {
        TempTree tree;
        QByteArray content(size, '\0');
        for (qsizetype i = 0; i < content.size(); ++i)
            content[i] = char(i * 7 + i / 4096);
        tree.write("src/big.cr2", content);
        const QList<PhotoItem> items{photoAt(tree.path("src"), "big.cr2")};

        DamagingFileOps damaging;
        const auto hashed = Executor::buildPlan(items, optionsFor(tree.path("sha"), SortOperationMode::safeCopy,
                                                                  VerificationMode::sha256), {});
        const SortResult strict = Executor::executeSynchronously(hashed, true, {}, damaging);
        EXPECT_EQ(strict.errors, QStringList{"Die Kopie von „big.cr2“ konnte nicht verifiziert werden."}) << size;
        EXPECT_EQ(filesBelow(tree.path("sha")), QStringList{}) << size;

        const auto sized = Executor::buildPlan(items, optionsFor(tree.path("size"), SortOperationMode::safeCopy), {});
        const SortResult lenient = Executor::executeSynchronously(sized, true, {}, damaging);
        EXPECT_TRUE(lenient.errors.isEmpty()) << size;
        EXPECT_EQ(lenient.records[0].verifiedSize, content.size()) << size;

        // The undamaged path: the sha256 copy is byte-identical, and the digest helper agrees.
        const SortResult clean = Executor::executeSynchronously(hashed, true, {});
        ASSERT_TRUE(clean.errors.isEmpty()) << size;
        const QString copy = tree.path("sha/RAW/Behalten/big.cr2");
        EXPECT_EQ(readFile(copy), content) << size;
        EXPECT_EQ(Executor::sha256(FileUrl::fromLocalPath(copy)), Sha256::hash(content)) << size;
    }
}

TEST(Verification, existingDestinationNeedsTheExpectedSize)
{
    TempTree tree;
    tree.write("src/a.jpg", "abcd");
    tree.write("dst/short.jpg", "abc");
    tree.write("dst/same.jpg", "abcd");
    const PhotoItem item = photoAt(tree.path("src"), "a.jpg");
    EXPECT_THROW(Executor::validateExistingDestination(item, FileUrl::fromLocalPath(tree.path("dst/short.jpg")),
                                                       VerificationMode::fileSize),
                 ResumableSortError);
    EXPECT_EQ(Executor::validateExistingDestination(item, FileUrl::fromLocalPath(tree.path("dst/same.jpg")),
                                                    VerificationMode::sha256),
              4);
    EXPECT_EQ(Executor::fileSize(FileUrl::fromLocalPath(tree.path("dst/none.jpg"))), -1);
}

// The read-back reads past the cache in whole aligned chunks where the file system allows it,
// and through the cache where it refuses: either way the digest covers every byte exactly once,
// whether the file ends inside a block, on a block or chunk boundary, or is hashed on a second
// thread. Pages a mapping keeps in the cache, which no dropping removes, never stand in for
// the medium. A read refused past the cache falls back to the cached one.
TEST(Verification, readBackDigestCoversEveryByteWhateverTheFileSize)
{
    TempTree tree;
    const qint64 chunk = Executor::chunkSize;
    class RefusesReadsPastTheCache : public FileOps {
    public:
        ssize_t read(int fd, void* buffer, size_t count) override
        {
            if (::fcntl(fd, F_GETFL) & O_DIRECT) {
                errno = EINVAL;
                return -1;
            }
            return FileOps::read(fd, buffer, count);
        }
    } refusing;
    // Past the cache, nothing is read that the storage would refuse (such as on from the
    // unaligned end of the file), which would silently cost the cached reading.
    class CountsReads : public FileOps {
    public:
        ssize_t read(int fd, void* buffer, size_t count) override
        {
            if (::fcntl(fd, F_GETFL) & O_DIRECT)
                ++pastTheCache;
            const ssize_t got = FileOps::read(fd, buffer, count);
            if (got < 0 && errno == EINVAL)
                ++refusals;
            return got;
        }
        int refusals = 0;
        int pastTheCache = 0;
    } counting;
    const bool canReadPastTheCache = [&] {
        const int fd = ::open(QFile::encodeName(tree.write("probe", "x")).constData(), O_RDONLY | O_DIRECT);
        return fd >= 0 && ::close(fd) == 0;
    }();
    for (const qint64 size : {qint64(0), qint64(1), qint64(4095), qint64(4096), chunk - 1, chunk, chunk + 1, 3 * chunk + 5}) {
        QByteArray bytes(size, Qt::Uninitialized);
        for (qint64 i = 0; i < size; ++i)
            bytes[i] = char((i * 131 + size) % 251);
        const QString path = tree.write(QString("f%1.bin").arg(size), bytes);
        const QByteArray expected = QCryptographicHash::hash(bytes, QCryptographicHash::Sha256);
        EXPECT_EQ(Executor::sha256(FileUrl::fromLocalPath(path), counting), expected) << size;
        EXPECT_EQ(counting.refusals, 0) << size;
        EXPECT_EQ(Executor::sha256(FileUrl::fromLocalPath(path), refusing), expected) << size;
        if (size > 0) {
            QFile held(path);
            ASSERT_TRUE(held.open(QIODevice::ReadOnly));
            const uchar* pages = held.map(0, size);
            ASSERT_NE(pages, nullptr);
            volatile uchar touched = 0;
            for (qint64 at = 0; at < size; at += 4096)
                touched = touched + pages[at];
            counting.pastTheCache = 0;
            EXPECT_EQ(Executor::sha256(FileUrl::fromLocalPath(path), counting), expected) << size;
            EXPECT_EQ(Executor::sha256(FileUrl::fromLocalPath(path), refusing), expected) << size;
            if (canReadPastTheCache) {
                EXPECT_GT(counting.pastTheCache, 0) << size;
            }
            EXPECT_EQ(counting.refusals, 0) << size;
        }
    }
}
