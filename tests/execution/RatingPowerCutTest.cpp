// Runs with rating sidecars losing power at their steps, then resumed from their journal: every
// photo's sidecar must then be in the result exactly once, saying the photo's decision, the
// sidecars the user brought along keep what they said, and nothing half-written is left.

#include "execution/RatingSidecar.h"

#include "JournaledRun.h"
#include "PowerCutLoop.h"

#include <optional>

using namespace kestrava;
using namespace kestrava::test;
namespace Executor = kestrava::ResumableSortExecutor;

namespace {

// The sidecars are written at the end of a run: its last steps are cut at densely, the
// photos' steps before them (which the plain power-cut suite covers) only here and there.
#ifdef KESTRAVA_SANITIZED
constexpr int tailSteps = 32, tailStride = 4, headCuts = 3;
#else
constexpr int tailSteps = 32, tailStride = 2, headCuts = 6;
#endif

QByteArray userSidecar(int stars)
{
    return "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\"><rdf:RDF xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\">"
           "<rdf:Description rdf:about=\"\" xmlns:xmp=\"http://ns.adobe.com/xap/1.0/\" xmp:Rating=\""
        + QByteArray::number(stars) + "\" xmp:CreatorTool=\"Kamera\"/></rdf:RDF></x:xmpmeta>";
}

struct Run {
    QString source;
    QString result;
    QString journal;
    QList<PhotoItem> items;
    SortOperationMode mode;

    Run(TempTree& tree, SortOperationMode sortMode)
        : source(tree.mkdir("Karte"))
        , result(tree.path("Ziel/Lauf"))
        , journal(tree.path("Sitzung/events.jsonl"))
        , mode(sortMode)
    {
        tree.mkdir("Sitzung");
        add(tree, "IMG_1.JPG", PhotoDecision::keep);
        add(tree, "IMG_2.JPG", PhotoDecision::maybe);
        add(tree, "IMG_3.CR2", PhotoDecision::keep);
        tree.write("Karte/IMG_3.xmp", userSidecar(0));
        add(tree, "IMG_4.CR2", PhotoDecision::del);
        tree.write("Karte/IMG_4.xmp", userSidecar(3));
    }
    void add(TempTree& tree, const QString& name, PhotoDecision decision)
    {
        tree.write("Karte/" + name, name.toUtf8() + QByteArray(3000, 'p'));
        items.append(photoAt(source, name, decision));
    }

    SortResult execute(FileOps& ops)
    {
        SortOptions options = optionsFor(result, mode);
        options.writeRatingSidecars = true;
        options.keepRatingStars = 2;
        return executeJournaled(items, options, journal, ops);
    }

    // "rating|label" of the sidecar at `relative`.
    QString marksOf(const QString& relative) const
    {
        const auto marks = Executor::readRatingMarks(readFile(result + "/" + relative));
        if (!marks)
            return QStringLiteral("unreadable");
        return marks->rating.value_or(QStringLiteral("-")) + QLatin1Char('|') + marks->label.value_or(QStringLiteral("-"));
    }

    void expectEverySidecarOnce(const std::string& when) const
    {
        SCOPED_TRACE(when);
        // The lock of the process the cut stopped is taken over by the next run; a hidden
        // temporary, though, would be a sidecar nobody finishes or removes.
        QStringList files = filesBelow(result);
        files.removeAll(QStringLiteral(".kestrava.lock"));
        EXPECT_EQ(files.join(u','), u"JPEG/Behalten/IMG_1.JPG,JPEG/Behalten/IMG_1.xmp,JPEG/Prüfen/IMG_2.JPG,"
                                    "JPEG/Prüfen/IMG_2.xmp,RAW/Aussortiert/IMG_4.CR2,RAW/Aussortiert/IMG_4.xmp,"
                                    "RAW/Behalten/IMG_3.CR2,RAW/Behalten/IMG_3.xmp"_qs);
        EXPECT_EQ(marksOf("JPEG/Behalten/IMG_1.xmp"), u"2|-"_qs);
        EXPECT_EQ(marksOf("JPEG/Prüfen/IMG_2.xmp"), u"-|Vielleicht"_qs);
        EXPECT_EQ(marksOf("RAW/Behalten/IMG_3.xmp"), u"2|-"_qs);
        EXPECT_EQ(marksOf("RAW/Aussortiert/IMG_4.xmp"), u"-1|-"_qs);
        EXPECT_TRUE(readFile(result + "/RAW/Behalten/IMG_3.xmp").contains("Kamera"));
        if (mode == SortOperationMode::safeCopy) {
            EXPECT_EQ(readFile(source + "/IMG_3.xmp"), userSidecar(0));
            EXPECT_EQ(readFile(source + "/IMG_4.xmp"), userSidecar(3));
        } else {
            EXPECT_EQ(filesBelow(source), QStringList());
        }
        // Every record ends completed: no sidecar is left waiting or failed.
        for (const ExecutionRecord& record : readJournal(journal))
            EXPECT_EQ(record.status, ExecutionActionStatus::completed) << record.sourcePath.toStdString();
    }
};

void cutAndResume(SortOperationMode mode)
{
    std::optional<Run> run;
    const PowerCutScenario scenario = resumedAfterEachCut<Run>(
        run, mode, [](const Run& done, const std::string& when) { done.expectEverySidecarOnce(when); });
    PowerCuts cuts;
    cuts.losses = {PowerCutFileOps::AppendLoss::dropped, PowerCutFileOps::AppendLoss::torn,
                   PowerCutFileOps::AppendLoss::zeroed};
    cuts.lossesInTurn = true;
    cuts.choose = [mode](int steps) {
        const int tailStart = std::max(1, steps - tailSteps + 1);
        QList<int> chosen;
        for (int cut = 1; cut < tailStart; cut += std::max(1, tailStart / headCuts))
            chosen.append(cut);
        // The two modes take near the same steps: each covers the tail steps the other skips.
        for (int cut = tailStart + (mode == SortOperationMode::safeCopy ? 0 : 1); cut <= steps; cut += tailStride)
            chosen.append(cut);
        return chosen;
    };
    cutAtEveryStep(scenario, cuts);
}

} // namespace

TEST(RatingSidecarPowerCut, copyResumesToEverySidecarOnce)
{
    cutAndResume(SortOperationMode::safeCopy);
}

TEST(RatingSidecarPowerCut, moveResumesToEverySidecarOnce)
{
    cutAndResume(SortOperationMode::moveOriginals);
}
