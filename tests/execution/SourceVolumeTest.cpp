// Moves from a second volume, the way photos come off a card: a card that becomes
// write-protected or fails after the copy was verified, a card that is write-protected from
// the start, and the permission bits a moved photo keeps. The card is a small tmpfs mounted in
// a private mount namespace of a forked child, so it vanishes with the child; the tests skip
// where mounting is not permitted.

#include "execution/ResumableSortError.h"

#include "ExecutionTestSupport.h"
#include "PrivateTmpfs.h"

#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace kestrava;
using namespace kestrava::test;
namespace Executor = kestrava::ResumableSortExecutor;

namespace {


bool remount(const QString& mountPoint, unsigned long flags)
{
    return ::mount(nullptr, QFile::encodeName(mountPoint).constData(), nullptr, MS_REMOUNT | flags, nullptr) == 0;
}


mode_t modeOf(const QString& path)
{
    struct stat info {};
    return ::stat(QFile::encodeName(path).constData(), &info) == 0 ? info.st_mode & 07777 : 0;
}

QList<PhotoItem> writeShoot(const QString& card, int count)
{
    QList<PhotoItem> items;
    for (int i = 1; i <= count; ++i) {
        writeFile(card + QString("/DSC_%1.jpg").arg(i), QByteArray(1000 + i, char('a' + i)));
        items.append(photoAt(card, QString("DSC_%1.jpg").arg(i)));
    }
    return items;
}

// The card goes read-only the moment the first copy is renamed into place: the kernel, not a
// fake, then refuses to remove the originals.
class WriteProtectOnFirstResult : public FileOps {
public:
    explicit WriteProtectOnFirstResult(QString card) : card_(std::move(card)) {}
    int renameNoReplace(const QByteArray& from, const QByteArray& to) override
    {
        const int result = FileOps::renameNoReplace(from, to);
        if (result == 0 && !done_ && QFile::decodeName(to).endsWith(".jpg")) {
            done_ = true;
            remount(card_, MS_RDONLY);
        }
        return result;
    }

private:
    QString card_;
    bool done_ = false;
};

// A pulled card: every removal on it fails with an I/O error.
class PulledCard : public FileOps {
public:
    explicit PulledCard(QString card) : card_(std::move(card)) {}
    int unlink(const QByteArray& path) override
    {
        if (QFile::decodeName(path).startsWith(card_ + '/')) {
            errno = EIO;
            return -1;
        }
        return FileOps::unlink(path);
    }

private:
    QString card_;
};

// The photos of the shoot each exactly once at the result, byte for byte, none left on the card.
bool eachOnceAtResult(const QString& keep, const QList<PhotoItem>& items, const QMap<QString, QByteArray>& bytes)
{
    if (filesBelow(keep).size() != items.size())
        return false;
    for (const PhotoItem& item : items)
        if (QFile::exists(item.sourceURL.path()) || readFile(keep + '/' + item.sourceURL.fileName()) != bytes[item.sourceURL.path()])
            return false;
    return true;
}

} // namespace

// Copies verified, originals refused: the photos are journaled as "copy verified, original
// still present", a resume on the still-protected card is refused before it copies anything,
// and once the protection is lifted a resume only removes the originals.
TEST(MoveFromCard, originalsThatCannotBeRemovedAreRemovedLaterAndNeverCopiedTwice)
{
    TempTree tree;
    const QString card = tree.mkdir("card");
    const QString out = tree.path("out");
    const QString keep = out + "/JPEG/Behalten";
    for (const bool realMount : {true, false}) {
        const int failed = test::inChildWithTmpfs(card, "size=8m,mode=0755", [&]() -> int {
            const QList<PhotoItem> items = writeShoot(card, 3);
            QMap<QString, QByteArray> bytes;
            for (const PhotoItem& item : items)
                bytes.insert(item.sourceURL.path(), readFile(item.sourceURL.path()));
            const SortOptions options = optionsFor(out, SortOperationMode::moveOriginals);
            RecordLog log;
            const SortExecutionPlan plan = Executor::buildPlan(items, options, {});
            log.addPending(plan);
            std::unique_ptr<FileOps> ops;
            if (realMount)
                ops = std::make_unique<WriteProtectOnFirstResult>(card);
            else
                ops = std::make_unique<PulledCard>(card);
            const SortResult first = Executor::executeSynchronously(plan, true, log.handlers(), *ops);
            if (first.organizedCount != 0 || first.pendingCount != 3 || first.errors.size() != 3)
                return 1;
            for (const PhotoItem& item : items) {
                const ExecutionRecord record = log.bySource.value(item.sourceURL.path());
                if (record.status != ExecutionActionStatus::pending || record.verifiedSize != item.fileSize
                    || !QFile::exists(item.sourceURL.path()))
                    return 2;
            }
            if (!first.errors[0].contains(QStringLiteral("Original konnte nicht entfernt werden")))
                return 3;

            if (realMount) {
                // Still protected: refused up front, naming the card, nothing copied again.
                try {
                    Executor::executeSynchronously(Executor::buildPlan(items, options, log.bySource), true,
                                                   log.handlers());
                    return 4;
                } catch (const ResumableSortError& error) {
                    if (error.kind() != ResumableSortError::Kind::sourceReadOnly || !error.description().contains("card"))
                        return 5;
                }
                if (filesBelow(keep).size() != 3)
                    return 6;
                if (!remount(card, 0))
                    return 7;
            }
            const SortResult resumed = Executor::executeSynchronously(Executor::buildPlan(items, options, log.bySource),
                                                                      true, log.handlers());
            if (!resumed.errors.isEmpty() || resumed.skippedCount != 3 || resumed.organizedCount != 0)
                return 8;
            if (!eachOnceAtResult(keep, items, bytes))
                return 9;
            return 0;
        });
        if (failed == test::tmpfsRefused)
            GTEST_SKIP() << "mounting a tmpfs is not permitted here";
        EXPECT_EQ(failed, 0) << (realMount ? "remounted read-only" : "pulled card") << ": first failed check";
        QDir(out).removeRecursively();
    }
}

// A moved photo keeps who may read it, also when it crosses volumes; a copied one and the
// folders it lands in get what the user's own new files and folders get.
TEST(MoveFromCard, resultsGetTheOriginalsOrTheUsersPermissions)
{
    TempTree tree;
    const QString card = tree.mkdir("card");
    const int failed = test::inChildWithTmpfs(card, "size=8m,mode=0755", [&]() -> int {
        const mode_t previous = ::umask(027);
        const QList<PhotoItem> items = writeShoot(card, 2);
        ::chmod(QFile::encodeName(items[0].sourceURL.path()).constData(), 0604);
        ::chmod(QFile::encodeName(items[1].sourceURL.path()).constData(), 0640);

        const QString copied = tree.path("copied");
        Executor::executeSynchronously(Executor::buildPlan(items, optionsFor(copied, SortOperationMode::safeCopy), {}),
                                       true, {});
        if (modeOf(copied + "/JPEG/Behalten/DSC_1.jpg") != 0640 || modeOf(copied + "/JPEG/Behalten") != 0750
            || modeOf(copied) != 0750)
            return 1;

        const QString moved = tree.path("moved");
        const SortResult result = Executor::executeSynchronously(
            Executor::buildPlan(items, optionsFor(moved, SortOperationMode::moveOriginals), {}), true, {});
        ::umask(previous);
        if (result.organizedCount != 2)
            return 2;
        if (modeOf(moved + "/JPEG/Behalten/DSC_1.jpg") != 0604 || modeOf(moved + "/JPEG/Behalten/DSC_2.jpg") != 0640)
            return 3;
        return 0;
    });
    if (failed == test::tmpfsRefused)
        GTEST_SKIP() << "mounting a tmpfs is not permitted here";
    EXPECT_EQ(failed, 0) << "first failed check";
}
