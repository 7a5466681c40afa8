#pragma once

// Power cuts beside the kills: a durable write runs in process through a PowerCutFileOps,
// once whole to learn its steps, then again on fresh data with the power cut before one
// chosen step after another. After each cut only what was flushed is left, and the test
// checks what must hold. A SIGKILL keeps the page cache and so cannot test the flushes; these
// cuts do. (The kills of the real process are KillLoop.h's.)

#include "KillLoop.h"
#include "TestSupport.h"

#include "platform/PowerCutFileOps.h"

#include <QDir>
#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace kestrava::test {

struct PowerCutScenario {
    std::function<void(TempTree&)> prepare;          // the state before, as if long flushed
    std::function<void(TempTree&, FileOps&)> write;  // the durable write under test
    // After a cut; `completed` when the write had returned, which must then have lasted.
    std::function<void(TempTree&, const std::string& when, bool completed)> check;
};

struct PowerCuts {
    // What becomes of data appended since the last flush.
    QList<PowerCutFileOps::AppendLoss> losses{PowerCutFileOps::AppendLoss::dropped};
    // One loss per cut, in turn, instead of every loss at every cut.
    bool lossesInTurn = false;
    // At most this many cuts, spread over the steps (see spreadSteps); 0: before every step.
    int maxCuts = 0;
    // The steps to cut before, given how many the whole write took; replaces maxCuts.
    std::function<QList<int>(int steps)> choose;
};

inline std::string describeLoss(PowerCutFileOps::AppendLoss loss)
{
    using Loss = PowerCutFileOps::AppendLoss;
    return loss == Loss::dropped ? "appended data dropped" : loss == Loss::torn ? "appended data torn" : "appended data zeroed";
}

// Runs the scenario whole (checked as completed), then cut before each chosen step on a fresh
// tree. Ends at the first cut with a failure. Returns the number of steps of the whole write.
template <class Ops = PowerCutFileOps>
int cutAtEveryStep(const PowerCutScenario& scenario, const PowerCuts& cuts = {})
{
    int steps = 0;
    {
        TempTree tree;
        scenario.prepare(tree);
        Ops ops(tree.root() + QStringLiteral(".parking"));
        scenario.write(tree, ops);
        steps = ops.stepCount();
        ops.powerCut();
        scenario.check(tree, "power cut after the whole write", true);
        QDir(tree.root() + QStringLiteral(".parking")).removeRecursively();
    }
    const QList<int> chosen = cuts.choose ? cuts.choose(steps)
        : cuts.maxCuts > 0           ? spreadSteps(1, steps, cuts.maxCuts)
                                     : spreadSteps(1, steps, steps);
    for (qsizetype i = 0; i < chosen.size() && !::testing::Test::HasFailure(); ++i) {
        const int cut = chosen[i];
        const auto losses = cuts.lossesInTurn ? QList{cuts.losses[i % cuts.losses.size()]} : cuts.losses;
        for (const PowerCutFileOps::AppendLoss loss : losses) {
            const std::string when =
                "power cut before step " + std::to_string(cut) + " of " + std::to_string(steps) + ", " + describeLoss(loss);
            TempTree tree;
            scenario.prepare(tree);
            const QString parking = tree.root() + QStringLiteral(".parking");
            {
                Ops ops(parking);
                ops.cutBeforeStep(cut);
                EXPECT_THROW(scenario.write(tree, ops), PowerCutFileOps::PowerCut) << when;
                ops.powerCut(loss);
            }
            QDir(parking).removeRecursively();
            scenario.check(tree, when, false);
        }
    }
    return steps;
}

} // namespace kestrava::test
