// Power cuts at every step of the durable writes: after the cut, only what was flushed is
// left (see PowerCutFileOps), and each write must then show its old or its new state, never
// a mixture, never a half-written file or a stray name.

#include "platform/DurableFile.h"
#include "platform/PowerCutFileOps.h"

#include "FailureHelpers.h"
#include "TestSupport.h"

#include <QFileInfo>
#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>
#include <functional>

using namespace kestrava;
using kestrava::test::allNames;
using kestrava::test::readFile;
using kestrava::test::TempTree;

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

struct Scenario {
    std::function<void(TempTree&)> prepare;                 // the state before, as if long flushed
    std::function<void(TempTree&, FileOps&)> operation;     // the durable write under test
    // After a cut; `completed` when the write had returned, which must then have lasted.
    std::function<void(TempTree&, const std::string&, bool completed)> check;
};

// Runs the operation once to learn its steps, then cuts the power before each of them in
// turn on a fresh tree, and once after the last.
template <class Ops = PowerCutFileOps>
int cutAtEveryStep(const Scenario& scenario, PowerCutFileOps::AppendLoss loss = PowerCutFileOps::AppendLoss::dropped)
{
    int steps = 0;
    {
        TempTree tree;
        scenario.prepare(tree);
        Ops ops(tree.root() + QStringLiteral(".parking"));
        scenario.operation(tree, ops);
        steps = ops.stepCount();
        ops.powerCut();
        scenario.check(tree, "power cut after the whole write", true);
        QDir(tree.root() + QStringLiteral(".parking")).removeRecursively();
    }
    for (int cut = 1; cut <= steps; ++cut) {
        TempTree tree;
        scenario.prepare(tree);
        const QString parking = tree.root() + QStringLiteral(".parking");
        {
            Ops ops(parking);
            ops.cutBeforeStep(cut);
            EXPECT_THROW(scenario.operation(tree, ops), PowerCutFileOps::PowerCut) << "step " << cut;
            ops.powerCut(loss);
        }
        scenario.check(tree, "power cut before step " + std::to_string(cut) + " of " + std::to_string(steps), false);
        QDir(parking).removeRecursively();
    }
    return steps;
}

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
        const Scenario scenario{
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
        const Scenario scenario{
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
    const Scenario scenario{
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
    for (const Loss loss : {Loss::dropped, Loss::torn, Loss::zeroed}) {
        SCOPED_TRACE(loss == Loss::dropped ? "appended data dropped" : loss == Loss::torn ? "appended data torn" : "appended data zeroed");
        cutAtEveryStep(scenario, loss);
    }
}
