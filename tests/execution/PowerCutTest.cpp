// Sort runs losing power at each of their steps, in process: the run's writes go through a
// PowerCutFileOps, which after the cut takes back everything not flushed. Then the journal is
// read again and the run resumed to its end. Every photo must then be in the result exactly
// once and byte for byte, the originals kept (copy) or gone (move), nothing half-done visible.
// A SIGKILL keeps the page cache and so cannot test this; these cuts test what the flushes
// are for.

#include "JournaledRun.h"
#include "PowerCutLoop.h"

#include "platform/Sha256.h"

#include <optional>

using namespace kestrava;
using namespace kestrava::test;

namespace {

constexpr int maxCuts = killBudget(30, 12);

// A shoot, its result folder and its journal, as the application keeps them.
struct Run {
    QString source;
    QString result;
    QString journal;
    QList<PhotoItem> items;
    QMap<QByteArray, QString> digests; // of every photo, by content
    SortOperationMode mode;

    Run(TempTree& tree, SortOperationMode sortMode)
        : source(tree.mkdir("Karte"))
        , result(tree.path("Ziel/Lauf"))
        , journal(tree.path("Sitzung/events.jsonl"))
        , mode(sortMode)
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

    SortResult execute(FileOps& ops) { return executeJournaled(items, optionsFor(result, mode), journal, ops); }

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

// Cut at steps spread over the whole run, the data written since the last flush lost, torn
// or zeroed in turn; then the run is resumed to its end.
void cutAndResume(SortOperationMode mode)
{
    std::optional<Run> run;
    const PowerCutScenario scenario = resumedAfterEachCut<Run>(
        run, mode, [](const Run& done, const std::string& when) { done.expectEveryPhotoOnce(when); });
    using Loss = PowerCutFileOps::AppendLoss;
    const int steps = cutAtEveryStep(scenario, {{Loss::dropped, Loss::torn, Loss::zeroed}, true, maxCuts, {}});
    std::printf("%s: %d steps\n", qPrintable(rawValue(mode)), steps);
}

} // namespace

TEST(SortPowerCut, copyResumesToEveryPhotoOnce)
{
    cutAndResume(SortOperationMode::safeCopy);
}

TEST(SortPowerCut, moveResumesToEveryPhotoOnce)
{
    cutAndResume(SortOperationMode::moveOriginals);
}
