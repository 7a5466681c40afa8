#include "KillLoop.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

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

namespace {

KilledRun runKilling(const QStringList& arguments, const QProcessEnvironment& killing);

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

namespace {

KilledRun runKilling(const QStringList& arguments, const QProcessEnvironment& killing)
{
    QProcess process;
    process.setProcessEnvironment(killing);
    process.start(cliPath(), arguments);
    KilledRun run;
    if (!process.waitForStarted(10000))
        return run;
    process.closeWriteChannel();
    if (!process.waitForFinished(300000)) {
        process.kill();
        process.waitForFinished();
        return run;
    }
    run.killed = process.exitStatus() == QProcess::CrashExit;
    run.result.exitCode = run.killed ? -1 : process.exitCode();
    run.result.out = process.readAllStandardOutput();
    run.result.err = process.readAllStandardError();
    return run;
}

} // namespace

QString describeStep(const QList<DurableStep>& steps, int step)
{
    for (const DurableStep& entry : steps) {
        if (entry.number == step)
            return QStringLiteral("step %1 of %2: %3 %4").arg(step).arg(steps.size()).arg(entry.kind, entry.path);
    }
    return QStringLiteral("step %1 of %2").arg(step).arg(steps.size());
}

} // namespace kestrava::test
