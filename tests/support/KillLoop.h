#pragma once

// Deterministic crash points for tests that run the real kestrava-cli: a run is first made
// once with its durable steps logged (see platform/DurableSteps.h), then repeated with a
// SIGKILL just before each of those steps in turn. Between the kills the test resumes or
// commits and checks its invariant.

#include "TestSupport.h"

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

namespace kestrava::test {

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

} // namespace kestrava::test
