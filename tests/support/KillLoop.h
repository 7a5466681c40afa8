#pragma once

// The one kill loop every crash test uses. Two kinds of kill:
//  - at a durable step: a run of the real kestrava-cli is first made once with its durable
//    steps logged (see platform/DurableSteps.h), then repeated on fresh data with a SIGKILL
//    just before one chosen step after another; between the kills the test finishes the run
//    the way a user would and checks what must hold (killAtEach);
//  - at a moment no step list names (between two steps, in the middle of a write): a process
//    killed once it has printed so many lines, and then so much later (runKilledAfter).

#include "TestSupport.h"

#include <QList>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <chrono>
#include <functional>

namespace kestrava::test {

// How many kills a suite spends: fewer under the sanitizers, where every run is slower.
constexpr int killBudget(int normal, [[maybe_unused]] int sanitized)
{
#ifdef KESTRAVA_SANITIZED
    return sanitized;
#else
    return normal;
#endif
}

// One durable step as logged by a run: its kind ("fsync", "rename", …) and the path it touched.
struct DurableStep {
    int number = 0;
    QString kind;
    QString path;
};

// Runs the CLI with `arguments` and returns the durable steps it took, in order, together
// with the run's own result in `result` when given.
QList<DurableStep> durableStepsOf(const QStringList& arguments, const QProcessEnvironment& environment,
                                  CliResult* result = nullptr);

// Up to `count` of `candidates` spread evenly over them, the first and the last included; all
// of them when KESTRAVA_EVERY_STEP is set (a long run, for changes to the durable code itself).
QList<int> spreadOver(const QList<int>& candidates, int count);
// The same over the step numbers first..last.
QList<int> spreadSteps(int first, int last, int count);

struct KilledRun {
    bool killed = false; // the child died of SIGKILL at the chosen step
    CliResult result;    // exit code and output when it was not killed
};

// Runs the CLI and kills it just before its `step`th durable step (1-based).
KilledRun runCliKilledAtStep(const QStringList& arguments, int step, const QProcessEnvironment& environment);

// Runs the CLI and kills it just before the first durable step of `kind` whose path ends with
// `pathSuffix`: the same step in every run, however the run's threads interleave.
KilledRun runCliKilledBefore(const QStringList& arguments, const QString& kind, const QString& pathSuffix,
                             const QProcessEnvironment& environment);

// A short human description of a step for failure messages ("step 7 of 31: rename …/a.jpg").
QString describeStep(const QList<DurableStep>& steps, int step);

// One round of killAtEach: where the kill falls, and the kills the round makes there.
class KillPoint {
public:
    KillPoint(int index, int step, QString where) : index(index), step(step), where(std::move(where)) {}

    // Runs the CLI killed just before this point's step.
    KilledRun kill(const QStringList& arguments, const QProcessEnvironment& environment);
    // Runs the CLI killed just before the first step of `kind` on a path ending in `pathSuffix`.
    KilledRun killBefore(const QStringList& arguments, const QString& kind, const QString& pathSuffix,
                         const QProcessEnvironment& environment);

    const int index;     // 0-based position in the walk
    const int step;      // the durable step killed at
    const QString where; // for failure messages
    bool killed = false; // a kill of this round took effect

private:
    KilledRun record(KilledRun run);
};

struct KillWalk {
    int rounds = 0; // rounds run
    int killed = 0; // rounds in which a kill took effect
};

// Runs `round` once for each of `chosen` steps, in order. Each round sets up fresh data, has
// the run killed at its point, finishes it as a user would and checks what must hold. The walk
// ends at the first round with a failure, so one fault is reported once and not at every
// later step.
KillWalk killAtEach(const QList<DurableStep>& steps, const QList<int>& chosen,
                    const std::function<void(KillPoint&)>& round);

// When runKilledAfter kills: once the process has written `afterLines` lines on `channel`, and
// then `later` on. A process that ends before is not killed.
struct KillMoment {
    QProcess::ProcessChannel channel = QProcess::StandardOutput;
    int afterLines = 0;
    std::chrono::microseconds later{0};
};

struct KilledProcess {
    bool killed = false;
    int exitCode = -1;  // when it was not killed
    QByteArray output;  // everything written on the watched channel, up to the kill
};

// Runs `program` and kills it with SIGKILL at `moment`.
KilledProcess runKilledAfter(const QString& program, const QStringList& arguments, const QProcessEnvironment& environment,
                             const KillMoment& moment);

// One sort of the real CLI on fresh data, to be killed and then finished.
struct SortRound {
    QString source;
    QString base;  // the result folder's parent
    QString store; // the sessions store resume is pointed at
    QProcessEnvironment environment;
    QStringList sortArguments;
};

// Finishes a killed sort as the user would: resume until it succeeds (a resume may itself be
// cut short; with `killResumeAt` > 0 the first one is killed at that step). A run killed before
// it began leaves nothing to resume and nothing in the result: `expectUntouched` then checks the
// source, and the user sorts again. Adds a test failure when no resume finishes.
void finishByResuming(const SortRound& round, const QString& context, int killResumeAt = 0,
                      const std::function<void()>& expectUntouched = {});

} // namespace kestrava::test
