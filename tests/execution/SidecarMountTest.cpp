// Rating sidecars against the real world around a run: a result folder on a real file system
// that turns read-only after the photos landed (the kernel refuses, not a fake), and a second
// process that puts its own file at a sidecar's name while the run is writing.

#include "execution/RatingSidecar.h"
#include "execution/ResumableSortError.h"

#include "ExecutionTestSupport.h"
#include "PrivateTmpfs.h"

#include "platform/FileSystemError.h"

#include <QProcess>

#include <cstdio>
#include <sys/mount.h>

using namespace kestrava;
using namespace kestrava::test;
namespace Executor = kestrava::ResumableSortExecutor;

namespace {

const QStringList photoNames{QStringLiteral("a.jpg"), QStringLiteral("b.jpg"), QStringLiteral("c.jpg")};

struct SidecarRun {
    QString src;
    QString out;
    QList<PhotoItem> items;
    RecordLog log;

    SidecarRun(TempTree& tree, const QString& result) : src(tree.mkdir("src")), out(result)
    {
        for (const QString& name : photoNames) {
            tree.write("src/" + name, "photo " + name.toUtf8());
            items.append(photoAt(src, name));
        }
    }
    SortResult run(FileOps& ops = FileOps::system())
    {
        SortOptions options = optionsFor(out, SortOperationMode::safeCopy);
        options.writeRatingSidecars = true;
        options.keepRatingStars = 3;
        const SortExecutionPlan plan = Executor::buildPlan(items, options, log.bySource);
        log.addPending(plan);
        return Executor::executeSynchronously(plan, true, log.handlers(), ops);
    }
    QString kept(const QString& name) const { return out + "/JPEG/Behalten/" + name; }
    QStringList sourceState() const
    {
        QStringList state;
        for (const QString& name : filesBelow(src))
            state.append(name + ':' + QString::fromUtf8(readFile(src + '/' + name)));
        return state;
    }
};

// Remounts the result folder read-only the moment the last photo is in place, before any
// sidecar is written.
class ReadOnlyAfterPhotos : public FileOps {
public:
    explicit ReadOnlyAfterPhotos(QString mountPoint) : mountPoint_(std::move(mountPoint)) {}
    int renameNoReplace(const QByteArray& from, const QByteArray& to) override
    {
        const int result = FileOps::renameNoReplace(from, to);
        if (result == 0 && to.endsWith(".jpg") && ++photos_ == photoNames.size())
            ::mount(nullptr, QFile::encodeName(mountPoint_).constData(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr);
        return result;
    }

private:
    QString mountPoint_;
    int photos_ = 0;
};

// Another program writes its own file at the first sidecar's name, in its own process, just
// before the run puts the sidecar there.
class SecondActor : public FileOps {
public:
    QString planted;
    int renameNoReplace(const QByteArray& from, const QByteArray& to) override
    {
        plantBefore(to);
        return FileOps::renameNoReplace(from, to);
    }
    int link(const QByteArray& from, const QByteArray& to) override
    {
        plantBefore(to);
        return FileOps::link(from, to);
    }

private:
    void plantBefore(const QByteArray& to)
    {
        if (!planted.isEmpty() || !to.endsWith(".xmp"))
            return;
        planted = QFile::decodeName(to);
        QProcess::execute(QStringLiteral("sh"), {QStringLiteral("-c"), QStringLiteral("printf 'not ours' > \"$0\""), planted});
    }
};

} // namespace

// The kernel refuses the sidecars: the run says so in German per sidecar, leaves no temporary
// among the results and the source as it was; once the folder is writable again, the next run
// adds exactly the missing sidecars.
TEST(SidecarMounts, aResultFolderTurnedReadOnlyGetsEverySidecarOnceWritableAgain)
{
    TempTree tree;
    const QString result = tree.mkdir("out");
    const int failed = inChildWithTmpfs(result, "size=4m,mode=0755", [&]() -> int {
        SidecarRun sidecars(tree, result);
        const QStringList before = sidecars.sourceState();
        ReadOnlyAfterPhotos ops(result);
        const SortResult first = sidecars.run(ops);
        for (const QString& error : first.errors)
            std::fprintf(stderr, "reported: %s\n", qPrintable(error));
        if (first.organizedCount != photoNames.size())
            return 1;
        if (first.errors.size() != photoNames.size())
            return 2;
        for (const QString& name : photoNames) {
            const QString sidecar = QString(name).replace(".jpg", ".xmp");
            const QString expected =
                ResumableSortError::ratingNotWritten(sidecar, FileSystemError({}, {}, EROFS).reason()).description();
            if (!first.errors.contains(expected))
                return 3;
        }
        // The run's lock cannot be removed from a read-only folder; the next run takes it over.
        QStringList left = filesBelow(result);
        left.removeAll(QStringLiteral(".kestrava.lock"));
        if (left != QStringList{"JPEG/Behalten/a.jpg", "JPEG/Behalten/b.jpg", "JPEG/Behalten/c.jpg"}) {
            std::fprintf(stderr, "result: %s\n", qPrintable(filesBelow(result).join(' ')));
            return 4;
        }
        if (sidecars.sourceState() != before)
            return 5;

        if (::mount(nullptr, QFile::encodeName(result).constData(), nullptr, MS_REMOUNT, nullptr) != 0)
            return 6;
        const SortResult resumed = sidecars.run();
        for (const QString& error : resumed.errors)
            std::fprintf(stderr, "resumed: %s\n", qPrintable(error));
        if (!resumed.errors.isEmpty())
            return 7;
        for (const QString& name : photoNames) {
            const auto marks = Executor::readRatingMarks(readFile(sidecars.kept(QString(name).replace(".jpg", ".xmp"))));
            if (!marks || marks->rating != QStringLiteral("3"))
                return 8;
        }
        if (filesBelow(result).size() != 2 * photoNames.size() || sidecars.sourceState() != before) {
            std::fprintf(stderr, "result: %s\n", qPrintable(filesBelow(result).join(' ')));
            return 9;
        }
        return 0;
    });
    if (failed == tmpfsRefused)
        GTEST_SKIP() << "mounting a tmpfs is not permitted here";
    EXPECT_EQ(failed, 0) << "check " << failed << " failed";
}

TEST(SidecarMounts, aFileAnotherProgramPutAtASidecarsNameIsNeverReplaced)
{
    TempTree tree;
    SidecarRun sidecars(tree, tree.path("out"));
    SecondActor actor;
    const SortResult result = sidecars.run(actor);
    ASSERT_FALSE(actor.planted.isEmpty()) << "no sidecar was written";

    EXPECT_EQ(readFile(actor.planted), "not ours");
    const QString name = QFileInfo(actor.planted).fileName();
    EXPECT_EQ(result.errors, QStringList{ResumableSortError::ratingSidecarTaken(name).description()});
    EXPECT_EQ(filesBelow(sidecars.out).size(), 2 * photoNames.size()) << "the other sidecars are written";
    // A second run neither replaces it nor reports a different story.
    const SortResult again = sidecars.run();
    EXPECT_EQ(readFile(actor.planted), "not ours");
    EXPECT_EQ(again.errors, result.errors);
}
