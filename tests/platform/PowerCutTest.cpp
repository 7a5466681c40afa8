// Power cuts at every step of the durable writes: after the cut, only what was flushed is
// left (see PowerCutFileOps), and each write must then show its old or its new state, never
// a mixture, never a half-written file or a stray name.

#include "platform/DurableFile.h"
#include "platform/PowerCutFileOps.h"

#include "FailureHelpers.h"
#include "PowerCutLoop.h"

#include <QFileInfo>
#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>

using namespace kestrava;
using namespace kestrava::test;

namespace {

// A card without a no-replace rename and without hard links, losing power too.
class PowerCutWithoutLinks : public PowerCutFileOps {
public:
    using PowerCutFileOps::PowerCutFileOps;
    int renameNoReplace(const QByteArray&, const QByteArray&) override
    {
        if (!step())
            return -1;
        errno = EINVAL;
        return -1;
    }
    int link(const QByteArray&, const QByteArray&) override
    {
        if (!step())
            return -1;
        errno = EPERM;
        return -1;
    }
};

} // namespace

TEST(PowerCutFileOps, takesBackWhatWasNotFlushedAndKeepsWhatWas)
{
    TempTree tree;
    const QString kept = tree.write("kept", "old");
    const QString appended = tree.write("appended", "old");
    const QString removed = tree.write("removed", "old");
    const QString renamed = tree.write("renamed", "old");
    const QString replaced = tree.write("replaced", "old");
    PowerCutFileOps ops(tree.root() + QStringLiteral(".parking"));

    // Flushed file and folder: survives.
    atomicReplace(kept, "new", ops);
    // Written without any flush: rolled back.
    {
        UniqueFd fd(ops.open(QFile::encodeName(appended), O_WRONLY | O_APPEND), ops);
        ASSERT_EQ(ops.write(fd.get(), "+tail", 5), 5);
    }
    // Names changed without a folder flush: back as they were.
    ASSERT_EQ(ops.unlink(QFile::encodeName(removed)), 0);
    ASSERT_EQ(ops.rename(QFile::encodeName(renamed), QFile::encodeName(tree.path("moved"))), 0);
    ASSERT_EQ(ops.rename(QFile::encodeName(kept), QFile::encodeName(replaced)), 0);
    ASSERT_EQ(ops.mkdir(QFile::encodeName(tree.path("folder")), 0700), 0);
    durableAppend(tree.path("folder/new"), "data", ops); // its folder's entry was never flushed

    ops.powerCut();
    EXPECT_EQ(allNames(tree.root()), (QStringList{"appended", "kept", "removed", "renamed", "replaced"}));
    EXPECT_EQ(readFile(kept), "new");
    EXPECT_EQ(readFile(appended), "old");
    EXPECT_EQ(readFile(removed), "old");
    EXPECT_EQ(readFile(renamed), "old");
    EXPECT_EQ(readFile(replaced), "old");
    QDir(tree.root() + QStringLiteral(".parking")).removeRecursively();
}

TEST(PowerCut, atomicReplaceLeavesTheOldOrTheNewDocument)
{
    const int steps = cutAtEveryStep({
        [](TempTree& tree) { tree.write("session.json", "old document"); },
        [](TempTree& tree, FileOps& ops) { atomicReplace(tree.path("session.json"), "new document", ops); },
        [](TempTree& tree, const std::string& when, bool completed) {
            EXPECT_EQ(allNames(tree.root()), QStringList{"session.json"}) << when;
            const QByteArray content = readFile(tree.path("session.json"));
            EXPECT_TRUE(content == "new document" || (!completed && content == "old document")) << when << ": " << content.toStdString();
        },
    });
    EXPECT_GE(steps, 5);
}

TEST(PowerCut, atomicCreateLeavesNothingOrTheWholeFile)
{
    for (const bool withoutLinks : {false, true}) {
        const PowerCutScenario scenario{
            [](TempTree& tree) { tree.mkdir("Lauf"); },
            [](TempTree& tree, FileOps& ops) { atomicCreate(tree.path("Lauf/bericht.csv"), "a;b\n1;2\n", ops); },
            [&](TempTree& tree, const std::string& when, bool completed) {
                const QStringList names = allNames(tree.path("Lauf"));
                EXPECT_TRUE(names == QStringList{"bericht.csv"} || (!completed && names.isEmpty())) << when << ": " << names.join(' ').toStdString();
                if (!names.isEmpty()) {
                    EXPECT_EQ(readFile(tree.path("Lauf/bericht.csv")), "a;b\n1;2\n") << when;
                }
            },
        };
        SCOPED_TRACE(withoutLinks ? "without hard links" : "with a no-replace rename");
        withoutLinks ? cutAtEveryStep<PowerCutWithoutLinks>(scenario) : cutAtEveryStep(scenario);
    }
}

// The exclusive rename followed by the folder flush its callers do: the photo is under one of
// its two names, whole, and no empty reservation is left on a card without hard links.
TEST(PowerCut, exclusiveRenameKeepsThePhotoUnderExactlyOneName)
{
    for (const bool withoutLinks : {false, true}) {
        const PowerCutScenario scenario{
            [](TempTree& tree) { tree.write("IMG_1.CR2.partial", "photo"); },
            [](TempTree& tree, FileOps& ops) {
                renameExclusive(tree.path("IMG_1.CR2.partial"), tree.path("IMG_1.CR2"), ops);
                flushDirectory(tree.root(), ops);
            },
            [](TempTree& tree, const std::string& when, bool completed) {
                const QStringList names = allNames(tree.root());
                ASSERT_EQ(names.size(), 1) << when << ": " << names.join(' ').toStdString();
                if (completed) {
                    EXPECT_EQ(names.first(), QStringLiteral("IMG_1.CR2"));
                }
                EXPECT_EQ(readFile(tree.path(names.first())), "photo") << when;
            },
        };
        SCOPED_TRACE(withoutLinks ? "without hard links" : "with a no-replace rename");
        withoutLinks ? cutAtEveryStep<PowerCutWithoutLinks>(scenario) : cutAtEveryStep(scenario);
    }
}

// Journals: after a cut, the whole lines are the records acknowledged before it, plus perhaps
// the one being written; the next append goes on from there.
TEST(PowerCut, appendedLinesSurviveWholeOrNotAtAll)
{
    const QByteArray first = "{\"n\":1}\n";
    const QByteArray second = first + "{\"n\":2}\n";
    const QByteArray third = second + "{\"n\":3," + QByteArray(5000, ' ') + "}\n";
    const PowerCutScenario scenario{
        [&](TempTree& tree) { tree.write("events.jsonl", first); },
        [&](TempTree& tree, FileOps& ops) {
            durableAppendLine(tree.path("events.jsonl"), second.mid(first.size()), ops);
            durableAppendLine(tree.path("events.jsonl"), third.mid(second.size()), ops);
        },
        [&](TempTree& tree, const std::string& when, bool completed) {
            const QString path = tree.path("events.jsonl");
            const QByteArray content = readFile(path);
            const QByteArray whole = content.left(wholeLinesLength(content));
            EXPECT_TRUE(whole == third || (!completed && (whole == first || whole == second)))
                << when << ": " << whole.left(40).toStdString();
            durableAppendLine(path, "{\"n\":4}\n");
            EXPECT_EQ(readFile(path), whole + "{\"n\":4}\n") << when;
        },
    };
    using Loss = PowerCutFileOps::AppendLoss;
    cutAtEveryStep(scenario, {{Loss::dropped, Loss::torn, Loss::zeroed}});
}
