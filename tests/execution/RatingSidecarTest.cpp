// Rating sidecars in the result folder: what other programs read from them, how they meet the
// sidecars that travel with RAWs and the files already in the result, and what a refused
// write leaves behind.

#include "execution/RatingPlanner.h"
#include "execution/RatingSidecar.h"
#include "execution/ResumableSortError.h"

#include "CardImage.h"
#include "ExecutionTestSupport.h"

#include <QProcess>
#include <QStandardPaths>

using namespace kestrava;
using namespace kestrava::test;
namespace Executor = kestrava::ResumableSortExecutor;

namespace {

// A user's sidecar as an editor leaves it: stars, a title and develop settings.
QByteArray editorSidecar(int stars)
{
    return QByteArrayLiteral("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                             "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\">\n"
                             " <rdf:RDF xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\">\n"
                             "  <rdf:Description rdf:about=\"\"\n"
                             "    xmlns:xmp=\"http://ns.adobe.com/xap/1.0/\"\n"
                             "    xmlns:crs=\"http://ns.adobe.com/camera-raw-settings/1.0/\"\n"
                             "   xmp:Rating=\"")
        + QByteArray::number(stars)
        + QByteArrayLiteral("\"\n   crs:Exposure2012=\"+0.35\"/>\n"
                            " </rdf:RDF>\n"
                            "</x:xmpmeta>\n");
}

struct Shoot {
    TempTree tree;
    QString src = tree.mkdir("src");
    QString out = tree.path("out");
    QList<PhotoItem> items;
    int stars = 1;

    void add(const QString& name, std::optional<PhotoDecision> decision, const QByteArray& bytes = "photo bytes")
    {
        tree.write("src/" + name, bytes + name.toUtf8());
        items.append(photoAt(src, name, decision));
    }
    SortOptions options(SortOperationMode mode) const
    {
        SortOptions options = optionsFor(out, mode);
        options.writeRatingSidecars = true;
        options.keepRatingStars = stars;
        return options;
    }
    SortExecutionPlan plan(SortOperationMode mode = SortOperationMode::safeCopy,
                           const QMap<QString, ExecutionRecord>& records = {}) const
    {
        return Executor::buildPlan(items, options(mode), records);
    }
    SortResult run(RecordLog& log, SortOperationMode mode = SortOperationMode::safeCopy, FileOps& ops = FileOps::system())
    {
        const SortExecutionPlan planned = plan(mode, log.bySource);
        log.addPending(planned);
        return Executor::executeSynchronously(planned, true, log.handlers(), ops);
    }
    Executor::RatingMarks marks(const QString& relative) const
    {
        const std::optional<Executor::RatingMarks> read = Executor::readRatingMarks(readFile(out + "/" + relative));
        return read.value_or(Executor::RatingMarks{std::optional<QString>(u"unreadable"_qs), std::nullopt});
    }
};

std::optional<QString> rating(const Executor::RatingMarks& marks)
{
    return marks.rating;
}

// What exiftool, an independent reader, makes of a sidecar: "Rating|Label".
std::optional<QString> exiftoolView(const QString& path)
{
    const QString exiftool = QStandardPaths::findExecutable(QStringLiteral("exiftool"));
    if (exiftool.isEmpty())
        return std::nullopt;
    QProcess process;
    process.start(exiftool, {QStringLiteral("-s3"), QStringLiteral("-f"), QStringLiteral("-XMP-xmp:Rating"),
                             QStringLiteral("-XMP-xmp:Label"), path});
    process.waitForFinished(30000);
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed().replace(QLatin1Char('\n'), QLatin1Char('|'));
}

} // namespace

TEST(RatingSidecars, everyDecisionIsWrittenAsEditorsReadItAndTheSourceGetsNothing)
{
    Shoot shoot;
    shoot.stars = 3;
    shoot.add("keep.jpg", PhotoDecision::keep);
    shoot.add("maybe.jpg", PhotoDecision::maybe);
    shoot.add("reject.jpg", PhotoDecision::del);
    shoot.add("undecided.jpg", std::nullopt);
    RecordLog log;
    const SortResult result = shoot.run(log);

    ASSERT_TRUE(result.errors.isEmpty()) << result.errors.join('\n').toStdString();
    EXPECT_EQ(result.organizedCount, 3); // sidecars belong to their photos
    EXPECT_EQ(filesBelow(shoot.out),
              (QStringList{"JPEG/Aussortiert/reject.jpg", "JPEG/Aussortiert/reject.xmp", "JPEG/Behalten/keep.jpg",
                           "JPEG/Behalten/keep.xmp", "JPEG/Prüfen/maybe.jpg", "JPEG/Prüfen/maybe.xmp"}));
    EXPECT_EQ(filesBelow(shoot.src), (QStringList{"keep.jpg", "maybe.jpg", "reject.jpg", "undecided.jpg"}));

    EXPECT_EQ(rating(shoot.marks("JPEG/Behalten/keep.xmp")), u"3"_qs);
    EXPECT_EQ(shoot.marks("JPEG/Behalten/keep.xmp").label, std::nullopt);
    EXPECT_EQ(shoot.marks("JPEG/Prüfen/maybe.xmp").label, u"Vielleicht"_qs);
    EXPECT_EQ(rating(shoot.marks("JPEG/Prüfen/maybe.xmp")), std::nullopt);
    EXPECT_EQ(rating(shoot.marks("JPEG/Aussortiert/reject.xmp")), u"-1"_qs);

    if (const auto view = exiftoolView(shoot.out + "/JPEG/Behalten/keep.xmp")) {
        EXPECT_EQ(*view, u"3|-"_qs);
        EXPECT_EQ(exiftoolView(shoot.out + "/JPEG/Prüfen/maybe.xmp"), u"-|Vielleicht"_qs);
        EXPECT_EQ(exiftoolView(shoot.out + "/JPEG/Aussortiert/reject.xmp"), u"-1|-"_qs);
    }

    // Each sidecar is a record of the run, completed after the photos it belongs to.
    const auto ratingRecords = std::count_if(log.inOrder.begin(), log.inOrder.end(), [](const ExecutionRecord& record) {
        return Executor::parseRatingRecordKey(record.sourcePath).has_value();
    });
    EXPECT_EQ(ratingRecords, 3);
    EXPECT_EQ(log.bySource.value(Executor::ratingRecordKey(3, shoot.src + "/keep.jpg")),
              (ExecutionRecord{Executor::ratingRecordKey(3, shoot.src + "/keep.jpg"),
                               shoot.out + "/JPEG/Behalten/keep.xmp", ExecutionActionStatus::completed,
                               QFileInfo(shoot.out + "/JPEG/Behalten/keep.xmp").size(), std::nullopt}));

    // Run again with the journal: nothing is written twice.
    const QByteArray before = readFile(shoot.out + "/JPEG/Behalten/keep.xmp");
    RecordLog again = log;
    const SortResult second = shoot.run(again);
    EXPECT_TRUE(second.errors.isEmpty());
    EXPECT_EQ(second.skippedCount, 3);
    EXPECT_EQ(readFile(shoot.out + "/JPEG/Behalten/keep.xmp"), before);
    EXPECT_EQ(filesBelow(shoot.out).size(), 6);
}

TEST(RatingSidecars, aTravelledSidecarIsMarkedInTheResultOnlyKeepingTheUsersStars)
{
    for (const SortOperationMode mode : {SortOperationMode::safeCopy, SortOperationMode::moveOriginals}) {
        SCOPED_TRACE(rawValue(mode).toStdString());
        Shoot shoot;
        shoot.add("IMG_1.CR3", PhotoDecision::keep);
        shoot.tree.write("src/IMG_1.xmp", editorSidecar(4));
        shoot.add("IMG_2.CR3", PhotoDecision::del);
        shoot.tree.write("src/IMG_2.XMP", editorSidecar(5));
        shoot.add("IMG_3.CR3", PhotoDecision::maybe);
        shoot.tree.write("src/IMG_3.xmp", editorSidecar(2));
        shoot.add("IMG_4.CR3", PhotoDecision::keep);
        shoot.tree.write("src/IMG_4.xmp", editorSidecar(0));
        RecordLog log;
        const SortResult result = shoot.run(log, mode);
        ASSERT_TRUE(result.errors.isEmpty()) << result.errors.join('\n').toStdString();

        // One sidecar per photo, the travelled one under its own extension's case.
        EXPECT_EQ(filesBelow(shoot.out),
                  (QStringList{"RAW/Aussortiert/IMG_2.CR3", "RAW/Aussortiert/IMG_2.XMP", "RAW/Behalten/IMG_1.CR3",
                               "RAW/Behalten/IMG_1.xmp", "RAW/Behalten/IMG_4.CR3", "RAW/Behalten/IMG_4.xmp",
                               "RAW/Prüfen/IMG_3.CR3", "RAW/Prüfen/IMG_3.xmp"}));
        EXPECT_EQ(rating(shoot.marks("RAW/Behalten/IMG_1.xmp")), u"4"_qs); // the user's stars win over "kept"
        EXPECT_EQ(rating(shoot.marks("RAW/Aussortiert/IMG_2.XMP")), u"-1"_qs);
        EXPECT_EQ(shoot.marks("RAW/Prüfen/IMG_3.xmp").label, u"Vielleicht"_qs);
        EXPECT_EQ(rating(shoot.marks("RAW/Prüfen/IMG_3.xmp")), u"2"_qs);
        EXPECT_EQ(rating(shoot.marks("RAW/Behalten/IMG_4.xmp")), u"1"_qs); // 0 is "unrated"
        // Everything else the editor wrote is still there.
        EXPECT_TRUE(readFile(shoot.out + "/RAW/Behalten/IMG_1.xmp").contains("Exposure2012=\"+0.35\""));

        // Resumed once more, the marked sidecars still count as the run's own copies (moved
        // ones included, which are no longer beside their originals).
        const QByteArray marked = readFile(shoot.out + "/RAW/Aussortiert/IMG_2.XMP");
        RecordLog again = log;
        const SortResult second = shoot.run(again, mode);
        EXPECT_TRUE(second.errors.isEmpty()) << second.errors.join('\n').toStdString();
        EXPECT_EQ(readFile(shoot.out + "/RAW/Aussortiert/IMG_2.XMP"), marked);
        EXPECT_EQ(filesBelow(shoot.out).size(), 8);

        if (mode == SortOperationMode::safeCopy) {
            EXPECT_EQ(readFile(shoot.src + "/IMG_1.xmp"), editorSidecar(4));
            EXPECT_EQ(readFile(shoot.src + "/IMG_2.XMP"), editorSidecar(5));
            EXPECT_EQ(readFile(shoot.src + "/IMG_3.xmp"), editorSidecar(2));
        } else {
            EXPECT_EQ(filesBelow(shoot.src), QStringList());
        }
    }
}

TEST(RatingSidecars, aRenamedPhotoTakesItsSidecarAlongAndForeignFilesStayUntouched)
{
    Shoot shoot;
    shoot.add("a.jpg", PhotoDecision::keep);
    shoot.add("b.jpg", PhotoDecision::keep);
    shoot.tree.write("out/JPEG/Behalten/a.jpg", "someone else's photo");
    // A sidecar without its photo: a photo named b.jpg would pick it up in every editor.
    shoot.tree.write("out/JPEG/Behalten/b.xmp", editorSidecar(5));
    RecordLog log;
    const SortResult result = shoot.run(log);
    ASSERT_TRUE(result.errors.isEmpty()) << result.errors.join('\n').toStdString();

    EXPECT_EQ(filesBelow(shoot.out + "/JPEG/Behalten"),
              (QStringList{"a 2.jpg", "a 2.xmp", "a.jpg", "b 2.jpg", "b 2.xmp", "b.xmp"}));
    EXPECT_EQ(readFile(shoot.out + "/JPEG/Behalten/a.jpg"), "someone else's photo");
    EXPECT_EQ(readFile(shoot.out + "/JPEG/Behalten/b.xmp"), editorSidecar(5));
    EXPECT_EQ(rating(shoot.marks("JPEG/Behalten/a 2.xmp")), u"1"_qs);
    EXPECT_EQ(rating(shoot.marks("JPEG/Behalten/b 2.xmp")), u"1"_qs);
}

TEST(RatingSidecars, photosSharingAStemInOneFolderShareOneSidecarAndAPairGetsOneInEachFolder)
{
    Shoot shoot;
    // Two RAW formats of one shot land in one folder under one stem.
    shoot.add("IMG_1.CR2", PhotoDecision::del);
    shoot.add("IMG_1.DNG", PhotoDecision::keep);
    // JPEG and RAW of a pair are filed in their format's folders, each beside its own sidecar.
    shoot.add("IMG_2.JPG", PhotoDecision::maybe);
    shoot.add("IMG_2.CR3", PhotoDecision::maybe);
    const SortExecutionPlan plan = shoot.plan();
    const auto ratings = std::count_if(plan.actions.begin(), plan.actions.end(), [](const PlannedAction& action) {
        return action.kind == PlannedActionKind::writeRating;
    });
    EXPECT_EQ(ratings, 4);

    RecordLog log;
    const SortResult result = shoot.run(log);
    ASSERT_TRUE(result.errors.isEmpty()) << result.errors.join('\n').toStdString();
    EXPECT_EQ(filesBelow(shoot.out),
              (QStringList{"JPEG/Prüfen/IMG_2.JPG", "JPEG/Prüfen/IMG_2.xmp", "RAW/Aussortiert/IMG_1.CR2",
                           "RAW/Aussortiert/IMG_1.xmp", "RAW/Behalten/IMG_1.DNG", "RAW/Behalten/IMG_1.xmp",
                           "RAW/Prüfen/IMG_2.CR3", "RAW/Prüfen/IMG_2.xmp"}));

    // Filed by date only, the two RAWs meet: the kept one's mark wins, since a sidecar is
    // read for both and a keep must not be hidden as rejected.
    Shoot flat;
    flat.add("IMG_1.CR2", PhotoDecision::del);
    flat.add("IMG_1.DNG", PhotoDecision::keep);
    SortExecutionPlan shared = flat.plan();
    for (PlannedAction& action : shared.actions)
        if (action.kind != PlannedActionKind::writeRating)
            action.destinationURL = FileUrl::fromLocalPath(flat.out + "/" + action.item.sourceURL.fileName());
    shared.actions.removeIf([](const PlannedAction& action) { return action.kind == PlannedActionKind::writeRating; });
    Executor::prependRatingActions(shared, 1, {});
    ASSERT_EQ(shared.actions.size(), 3);
    EXPECT_EQ(shared.actions[0].destinationURL.path(), flat.out + "/IMG_1.xmp");
    EXPECT_EQ(shared.actions[0].item.decision, PhotoDecision::keep);
    EXPECT_EQ(shared.actions[0].prerequisites, (QStringList{flat.src + "/IMG_1.CR2", flat.src + "/IMG_1.DNG"}));
}

TEST(RatingSidecars, aRefusedWriteSaysSoInGermanLosesNothingAndIsRetried)
{
    // The result folder refuses new names ending in .xmp, as a card turned read-only would
    // after the photos were written.
    class XmpRefused : public FileOps {
    public:
        static bool isXmp(const QByteArray& path) { return path.toLower().endsWith(".xmp"); }
        int renameNoReplace(const QByteArray& from, const QByteArray& to) override
        {
            if (isXmp(to)) {
                errno = EROFS;
                return -1;
            }
            return FileOps::renameNoReplace(from, to);
        }
        int link(const QByteArray& from, const QByteArray& to) override
        {
            if (isXmp(to)) {
                errno = EROFS;
                return -1;
            }
            return FileOps::link(from, to);
        }
    } refusing;
    Shoot shoot;
    shoot.add("a.jpg", PhotoDecision::keep);
    RecordLog log;
    const SortResult result = shoot.run(log, SortOperationMode::safeCopy, refusing);

    EXPECT_EQ(result.organizedCount, 1);
    ASSERT_EQ(result.errors.size(), 1);
    EXPECT_EQ(result.errors[0],
              ResumableSortError::ratingNotWritten(u"a.xmp"_qs, FileSystemError({}, {}, EROFS).reason()).description());
    EXPECT_TRUE(result.errors[0].startsWith(u"Die Bewertung „a.xmp“ konnte nicht geschrieben werden"_qs));
    EXPECT_EQ(filesBelow(shoot.out), QStringList{"JPEG/Behalten/a.jpg"}); // no temporary left behind
    const QString key = Executor::ratingRecordKey(1, shoot.src + "/a.jpg");
    EXPECT_EQ(log.bySource.value(key).status, ExecutionActionStatus::failed);

    // The next run, with the card writable again, only adds the sidecar.
    RecordLog resumed = log;
    const SortResult second = shoot.run(resumed);
    EXPECT_TRUE(second.errors.isEmpty()) << second.errors.join('\n').toStdString();
    EXPECT_EQ(filesBelow(shoot.out), (QStringList{"JPEG/Behalten/a.jpg", "JPEG/Behalten/a.xmp"}));
    EXPECT_EQ(resumed.bySource.value(key).status, ExecutionActionStatus::completed);
}

TEST(RatingSidecars, aSidecarWaitsForItsPhotoAndNeverReplacesWhatItDidNotWrite)
{
    Shoot shoot;
    shoot.add("a.jpg", PhotoDecision::keep);
    shoot.add("b.jpg", PhotoDecision::keep);
    SortExecutionPlan plan = shoot.plan();
    RecordLog log;
    log.addPending(plan);
    // a.jpg changed after the review: it fails, and its sidecar must not appear without it.
    writeFile(shoot.src + "/a.jpg", "changed since the review, and longer");
    // b.xmp: a stranger's file appeared at the name after planning.
    shoot.tree.write("out/JPEG/Behalten/b.xmp", "not a sidecar of ours");
    const SortResult result = Executor::executeSynchronously(plan, true, log.handlers());

    EXPECT_EQ(filesBelow(shoot.out), (QStringList{"JPEG/Behalten/b.jpg", "JPEG/Behalten/b.xmp"}));
    EXPECT_EQ(readFile(shoot.out + "/JPEG/Behalten/b.xmp"), "not a sidecar of ours");
    EXPECT_TRUE(result.errors.contains(ResumableSortError::ratingWaitsForPhoto(u"a.xmp"_qs).description()));
    EXPECT_TRUE(result.errors.contains(ResumableSortError::ratingSidecarTaken(u"b.xmp"_qs).description()));
    EXPECT_EQ(log.bySource.value(Executor::ratingRecordKey(1, shoot.src + "/a.jpg")).status,
              ExecutionActionStatus::pending);
}

TEST(RatingSidecars, aResumedRunKeepsThePromisedStarsWithoutTheOption)
{
    Shoot shoot;
    shoot.stars = 5;
    shoot.add("a.jpg", PhotoDecision::keep);
    shoot.add("b.jpg", PhotoDecision::keep);
    SortExecutionPlan plan = shoot.plan();
    RecordLog log;
    log.addPending(plan);
    Executor::ExecutionHandlers stopAfterFirstSidecar = log.handlers();
    int delivered = 0;
    const auto record = stopAfterFirstSidecar.record;
    stopAfterFirstSidecar.record = [&](const ExecutionRecord& r) { record(r); ++delivered; };
    stopAfterFirstSidecar.isCanceled = [&] { return delivered >= 3; };
    const SortResult first = Executor::executeSynchronously(plan, true, stopAfterFirstSidecar);
    EXPECT_TRUE(first.cancelled);
    EXPECT_EQ(filesBelow(shoot.out).join(u','), u"JPEG/Behalten/a.jpg,JPEG/Behalten/a.xmp,JPEG/Behalten/b.jpg"_qs);

    // The session forgot the option; its records did not. Even a run killed after journaling
    // the first record of its plan has promised every sidecar.
    SortOptions plain = optionsFor(shoot.out, SortOperationMode::safeCopy);
    const QMap<QString, ExecutionRecord> firstLine{{plan.actions[0].id, log.bySource.value(plan.actions[0].id)}};
    const SortExecutionPlan early = Executor::buildPlan(shoot.items, plain, firstLine);
    EXPECT_EQ(std::count_if(early.actions.begin(), early.actions.end(),
                            [](const PlannedAction& action) { return action.kind == PlannedActionKind::writeRating; }),
              2);
    const SortExecutionPlan resumed = Executor::buildPlan(shoot.items, plain, log.bySource);
    const SortResult second = Executor::executeSynchronously(resumed, true, log.handlers());
    EXPECT_TRUE(second.errors.isEmpty()) << second.errors.join('\n').toStdString();
    EXPECT_EQ(rating(shoot.marks("JPEG/Behalten/a.xmp")), u"5"_qs);
    EXPECT_EQ(rating(shoot.marks("JPEG/Behalten/b.xmp")), u"5"_qs);
}

TEST(RatingSidecars, aResultFolderOnAFatCardGetsEverySidecarOnceAcrossResumes)
{
    CardImage card(CardFormat::fat, QStringLiteral("ZIEL"), 16);
    if (!card.isMounted())
        GTEST_SKIP() << card.skipReason().toStdString();
    Shoot shoot;
    shoot.out = card.path(QStringLiteral("Lauf"));
    shoot.add("IMG_1.CR3", PhotoDecision::keep);
    shoot.tree.write("src/IMG_1.XMP", editorSidecar(3));
    shoot.add("IMG_2.JPG", PhotoDecision::del);
    // FAT knows no case: a stranger's "img_3.XMP" is what "IMG_3.xmp" would be.
    shoot.add("IMG_3.JPG", PhotoDecision::keep);
    ASSERT_TRUE(QDir().mkpath(card.path("Lauf/JPEG/Behalten")));
    writeFile(card.path("Lauf/JPEG/Behalten/img_3.XMP"), "a stranger's notes");
    RecordLog log;
    const SortResult result = shoot.run(log);
    ASSERT_TRUE(result.errors.isEmpty()) << result.errors.join('\n').toStdString();

    QStringList files = filesBelow(shoot.out);
    files.removeAll(QStringLiteral(".kestrava.lock"));
    EXPECT_EQ(files.join(u','), u"JPEG/Aussortiert/IMG_2.JPG,JPEG/Aussortiert/IMG_2.xmp,JPEG/Behalten/IMG_3 2.JPG,"
                                "JPEG/Behalten/IMG_3 2.xmp,JPEG/Behalten/img_3.XMP,RAW/Behalten/IMG_1.CR3,"
                                "RAW/Behalten/IMG_1.XMP"_qs);
    EXPECT_EQ(readFile(card.path("Lauf/JPEG/Behalten/img_3.XMP")), "a stranger's notes");
    EXPECT_EQ(rating(shoot.marks("RAW/Behalten/IMG_1.XMP")), u"3"_qs);
    EXPECT_EQ(rating(shoot.marks("JPEG/Aussortiert/IMG_2.xmp")), u"-1"_qs);
    EXPECT_EQ(rating(shoot.marks("JPEG/Behalten/IMG_3 2.xmp")), u"1"_qs);

    RecordLog again = log;
    const SortResult second = shoot.run(again);
    EXPECT_TRUE(second.errors.isEmpty()) << second.errors.join('\n').toStdString();
    QStringList after = filesBelow(shoot.out);
    after.removeAll(QStringLiteral(".kestrava.lock"));
    EXPECT_EQ(after, files);
    EXPECT_EQ(rating(shoot.marks("RAW/Behalten/IMG_1.XMP")), u"3"_qs);
}
