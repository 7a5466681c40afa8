#include "KillLoop.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QThread>
#include <gtest/gtest.h>

#include <csignal>

namespace kestrava::test {

QList<DurableStep> durableStepsOf(const QStringList& arguments, const QProcessEnvironment& environment, CliResult* result)
{
    QTemporaryDir logFolder;
    const QString logPath = logFolder.filePath(QStringLiteral("steps.log"));
    QProcessEnvironment logged = environment;
    logged.insert(QStringLiteral("KESTRAVA_STEP_LOG"), logPath);
    logged.remove(QStringLiteral("KESTRAVA_KILL_AT_STEP"));
    logged.remove(QStringLiteral("KESTRAVA_KILL_BEFORE"));
    const CliResult run = runCli(arguments, logged);
    if (result)
        *result = run;

    QList<DurableStep> steps;
    QFile log(logPath);
    if (!log.open(QIODevice::ReadOnly))
        return steps;
    for (const QByteArray& line : log.readAll().split('\n')) {
        const QList<QByteArray> fields = line.split(' ');
        if (fields.size() < 3)
            continue;
        DurableStep step;
        step.number = fields[0].toInt();
        step.kind = QString::fromLatin1(fields[1]);
        step.path = QFile::decodeName(line.mid(fields[0].size() + fields[1].size() + 2));
        steps.append(step);
    }
    return steps;
}

QList<int> spreadOver(const QList<int>& candidates, int count)
{
    const qsizetype available = candidates.size();
    if (qEnvironmentVariableIsSet("KESTRAVA_EVERY_STEP") || available <= count)
        return candidates;
    QList<int> chosen;
    for (qsizetype i = 0; i < count; ++i) {
        const int step = candidates.at(count == 1 ? 0 : i * (available - 1) / (count - 1));
        if (chosen.isEmpty() || chosen.last() != step)
            chosen.append(step);
    }
    return chosen;
}

QList<int> spreadSteps(int first, int last, int count)
{
    QList<int> range;
    for (int step = first; step <= last; ++step)
        range.append(step);
    return spreadOver(range, count);
}

namespace {

KilledRun runKilling(const QStringList& arguments, const QProcessEnvironment& killing)
{
    const CliResult result = runCli(arguments, killing, 300000);
    return {result.crashed, result};
}

} // namespace

KilledRun runCliKilledAtStep(const QStringList& arguments, int step, const QProcessEnvironment& environment)
{
    QProcessEnvironment killing = environment;
    killing.insert(QStringLiteral("KESTRAVA_KILL_AT_STEP"), QString::number(step));
    killing.remove(QStringLiteral("KESTRAVA_STEP_LOG"));
    return runKilling(arguments, killing);
}

KilledRun runCliKilledBefore(const QStringList& arguments, const QString& kind, const QString& pathSuffix,
                             const QProcessEnvironment& environment)
{
    QProcessEnvironment killing = environment;
    killing.insert(QStringLiteral("KESTRAVA_KILL_BEFORE"), kind + QLatin1Char(' ') + pathSuffix);
    killing.remove(QStringLiteral("KESTRAVA_KILL_AT_STEP"));
    killing.remove(QStringLiteral("KESTRAVA_STEP_LOG"));
    return runKilling(arguments, killing);
}

QString describeStep(const QList<DurableStep>& steps, int step)
{
    for (const DurableStep& entry : steps) {
        if (entry.number == step)
            return QStringLiteral("step %1 of %2: %3 %4").arg(step).arg(steps.size()).arg(entry.kind, entry.path);
    }
    return QStringLiteral("step %1 of %2").arg(step).arg(steps.size());
}

KilledRun KillPoint::kill(const QStringList& arguments, const QProcessEnvironment& environment)
{
    return record(runCliKilledAtStep(arguments, step, environment));
}

KilledRun KillPoint::killBefore(const QStringList& arguments, const QString& kind, const QString& pathSuffix,
                                const QProcessEnvironment& environment)
{
    return record(runCliKilledBefore(arguments, kind, pathSuffix, environment));
}

KilledRun KillPoint::record(KilledRun run)
{
    killed = killed || run.killed;
    return run;
}

KillWalk killAtEach(const QList<DurableStep>& steps, const QList<int>& chosen, const std::function<void(KillPoint&)>& round)
{
    KillWalk walk;
    for (qsizetype i = 0; i < chosen.size(); ++i) {
        KillPoint point(int(i), chosen[i], describeStep(steps, chosen[i]));
        {
            SCOPED_TRACE(point.where.toStdString());
            round(point);
        }
        ++walk.rounds;
        walk.killed += point.killed;
        if (::testing::Test::HasFailure())
            break;
    }
    return walk;
}

KilledProcess runKilledAfter(const QString& program, const QStringList& arguments, const QProcessEnvironment& environment,
                             const KillMoment& moment)
{
    QProcess process;
    process.setProcessEnvironment(environment);
    process.setReadChannel(moment.channel);
    process.start(program, arguments);
    KilledProcess run;
    // Generous waits: a loaded machine may take long to start or reap a process.
    if (!process.waitForStarted(60000))
        return run;
    // A child that stops writing is killed all the same, rather than waited for until ctest gives up.
    const QDeadlineTimer patience(std::chrono::minutes(2));
    while (run.output.count('\n') < moment.afterLines && process.state() == QProcess::Running && !patience.hasExpired()) {
        process.waitForReadyRead(100);
        run.output += process.readAll();
    }
    using namespace std::chrono;
    const auto wholeMilliseconds = duration_cast<milliseconds>(moment.later);
    if (wholeMilliseconds.count() > 0)
        process.waitForFinished(int(wholeMilliseconds.count()));
    QThread::usleep(quint64((moment.later - wholeMilliseconds).count()));
    if (process.state() != QProcess::NotRunning) {
        ::kill(pid_t(process.processId()), SIGKILL);
        EXPECT_TRUE(process.waitForFinished(60000)) << "killed child still running";
    }
    // Read only once the child is certainly gone: a killed writer may still finish its line.
    run.output += process.readAll();
    run.killed = process.exitStatus() == QProcess::CrashExit;
    run.exitCode = run.killed ? -1 : process.exitCode();
    return run;
}

void finishByResuming(const SortRound& round, const QString& context, int killResumeAt,
                      const std::function<void()>& expectUntouched)
{
    constexpr int maxResumes = 6;
    const QStringList resume{QStringLiteral("resume"), QStringLiteral("--store"), round.store};
    if (killResumeAt > 0)
        runCliKilledAtStep(resume, killResumeAt, round.environment);
    for (int attempt = 0; attempt < maxResumes; ++attempt) {
        const CliResult result = runCli(resume, round.environment);
        if (result.exitCode == 0)
            return;
        const QString err = QString::fromUtf8(result.err);
        if (err.contains(QLatin1String("keine unterbrochene Sitzung")) || err.contains(QLatin1String("vor dem Start der Sortierung"))) {
            if (!filesBelow(round.base).isEmpty())
                return;
            if (expectUntouched)
                expectUntouched();
            const CliResult again = runCli(round.sortArguments, round.environment);
            ASSERT_EQ(again.exitCode, 0) << context.toStdString() << again.err.toStdString();
            return;
        }
        ADD_FAILURE() << context.toStdString() << ": resume failed: " << result.err.toStdString();
    }
    FAIL() << context.toStdString() << ": resume never finished";
}

} // namespace kestrava::test
