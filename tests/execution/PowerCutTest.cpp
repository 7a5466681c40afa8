// Sort runs losing power at each of their steps, in process: the run's writes go through a
// PowerCutFileOps, which after the cut takes back everything not flushed. Then the journal is
// read again and the run resumed to its end. Every photo must then be in the result exactly
// once and byte for byte, the originals kept (copy) or gone (move), nothing half-done visible.
// A SIGKILL keeps the page cache and so cannot test this; these cuts test what the flushes
// are for.

#include "ExecutionTestSupport.h"

#include "model/PhotoModelJson.h"
#include "platform/DurableFile.h"
#include "platform/PowerCutFileOps.h"
#include "platform/Sha256.h"

#include <QJsonDocument>

using namespace kestrava;
using namespace kestrava::test;
namespace Executor = kestrava::ResumableSortExecutor;

namespace {

#ifdef KESTRAVA_SANITIZED
constexpr int maxCuts = 12;
#else
constexpr int maxCuts = 30;
#endif

QByteArray lineFor(const ExecutionRecord& record)
{
    return QJsonDocument(toJson(record)).toJson(QJsonDocument::Compact) + '\n';
}

// The journal's whole lines; the last record of a source counts.
QMap<QString, ExecutionRecord> readJournal(const QString& journal)
{
    QMap<QString, ExecutionRecord> records;
    if (!QFileInfo::exists(journal))
        return records;
    QByteArray content = readWholeFile(journal);
    content.truncate(wholeLinesLength(content));
    for (const QByteArray& line : content.split('\n')) {
        if (line.isEmpty())
            continue;
        const ExecutionRecord record = executionRecordFromJson(QJsonDocument::fromJson(line).object());
        records.insert(record.sourcePath, record);
    }
    return records;
}

// A shoot, its result folder and its journal, as the application keeps them.
struct Run {
    TempTree tree;
    QString source = tree.mkdir("Karte");
    QString result = tree.path("Ziel/Lauf");
    QString journal = tree.path("Sitzung/events.jsonl");
    QList<PhotoItem> items;
    QMap<QByteArray, QString> digests; // of every photo, by content
    SortOperationMode mode;

    explicit Run(SortOperationMode sortMode) : mode(sortMode)
    {
        tree.mkdir("Sitzung");
        for (int i = 1; i <= 3; ++i) {
            for (const char* extension : {".JPG", ".CR2"}) {
                const QString name = QStringLiteral("IMG_%1%2").arg(i).arg(QLatin1String(extension));
                const QByteArray bytes = name.toUtf8() + QByteArray(1000 * i, char('a' + i));
                tree.write("Karte/" + name, bytes);
                digests.insert(Sha256::hash(bytes), name);
                items.append(photoAt(source, name));
            }
        }
    }

    // Journals the plan's pending records (durably, before the run starts) and runs it.
    SortResult execute(FileOps& ops)
    {
        QMap<QString, ExecutionRecord> records = readJournal(journal);
        const SortExecutionPlan plan = Executor::buildPlan(items, optionsFor(result, mode), records);
        for (const PlannedAction& action : plan.actions) {
            const ExecutionRecord pending{action.id, action.destinationURL.path(), ExecutionActionStatus::pending, 0, std::nullopt};
            if (!action.shouldSkip && records.value(action.id) != pending)
                durableAppendLine(journal, lineFor(pending), ops);
        }
        Executor::ExecutionHandlers handlers;
        handlers.record = [&](const ExecutionRecord& record) { durableAppendLine(journal, lineFor(record), ops); };
        return Executor::executeSynchronously(plan, true, handlers, ops);
    }

    void expectEveryPhotoOnce(const std::string& when) const
    {
        SCOPED_TRACE(when);
        QList<QByteArray> shown;
        for (const QString& relative : filesBelow(result)) {
            const QString name = QFileInfo(relative).fileName();
            // A lock of the process the cut stopped is taken over by the next run; a hidden
            // temporary file, though, would be a copy nobody finishes or removes.
            EXPECT_FALSE(name.endsWith(QLatin1String(".partial")) || name.endsWith(QLatin1String(".tmp"))) << relative.toStdString();
            if (!name.startsWith(QLatin1Char('.')))
                shown.append(Sha256::hash(readFile(result + QLatin1Char('/') + relative)));
        }
        std::sort(shown.begin(), shown.end());
        EXPECT_EQ(shown, digests.keys());
        if (mode == SortOperationMode::safeCopy)
            EXPECT_EQ(filesBelow(source).size(), digests.size());
        else
            EXPECT_EQ(filesBelow(source), QStringList());
    }
};

void cutAtEveryStep(SortOperationMode mode)
{
    int steps = 0;
    {
        Run run(mode);
        PowerCutFileOps ops(run.tree.path("parking"));
        const SortResult result = run.execute(ops);
        ASSERT_TRUE(result.errors.isEmpty()) << result.errors.join('\n').toStdString();
        steps = ops.stepCount();
        ops.powerCut();
        run.expectEveryPhotoOnce("power cut after the finished run");
    }
    // Spread over the whole run when it has more steps than this suite can afford.
    const int stride = std::max(1, (steps + maxCuts - 1) / maxCuts);
    int cuts = 0;
    for (int cut = 1; cut <= steps && !::testing::Test::HasFailure(); cut += stride, ++cuts) {
        Run run(mode);
        {
            PowerCutFileOps ops(run.tree.path("parking"));
            ops.cutBeforeStep(cut);
            EXPECT_THROW(run.execute(ops), PowerCutFileOps::PowerCut) << "step " << cut;
            // The data written since the last flush is lost, torn or zeroed, in turn.
            ops.powerCut(PowerCutFileOps::AppendLoss(cut % 3));
        }
        QDir(run.tree.path("parking")).removeRecursively();
        // The process that held the result folder's lock died with the power.
        QFile::remove(run.result + QStringLiteral("/.kestrava.lock"));
        const SortResult resumed = run.execute(FileOps::system());
        const std::string when = "power cut before step " + std::to_string(cut) + " of " + std::to_string(steps);
        EXPECT_TRUE(resumed.errors.isEmpty()) << when << ": " << resumed.errors.join('\n').toStdString();
        run.expectEveryPhotoOnce(when);
    }
    std::printf("%s: %d steps, %d power cuts\n", qPrintable(rawValue(mode)), steps, cuts);
}

} // namespace

TEST(SortPowerCut, copyResumesToEveryPhotoOnce)
{
    cutAtEveryStep(SortOperationMode::safeCopy);
}

TEST(SortPowerCut, moveResumesToEveryPhotoOnce)
{
    cutAtEveryStep(SortOperationMode::moveOriginals);
}
