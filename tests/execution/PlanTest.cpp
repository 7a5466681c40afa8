// Destinations of a plan: unique, stable across resumption, never an existing file's name.

#include "ExecutionTestSupport.h"

using namespace kestrava;
using namespace kestrava::test;
namespace Executor = kestrava::ResumableSortExecutor;

namespace {

QStringList destinationNames(const SortExecutionPlan& plan, const QString& root)
{
    QStringList names;
    for (const PlannedAction& action : plan.actions)
        names.append(QDir(root).relativeFilePath(action.destinationURL.path()));
    return names;
}

} // namespace

TEST(ExecutionPlan, sameNamesFromTwoFoldersGetNumberedInRelativePathOrder)
{
    TempTree tree;
    tree.write("src/b/IMG_0001.JPG", "bb");
    tree.write("src/a/IMG_0001.JPG", "a");
    tree.write("src/a/IMG_10.JPG", "x");
    tree.write("src/a/IMG_2.JPG", "y");
    const QString src = tree.path("src");
    const QList<PhotoItem> items{photoAt(src, "b/IMG_0001.JPG"), photoAt(src, "a/IMG_10.JPG"),
                                 photoAt(src, "a/IMG_0001.JPG"), photoAt(src, "a/IMG_2.JPG")};
    const auto plan = Executor::buildPlan(items, optionsFor(tree.path("out"), SortOperationMode::safeCopy), {});

    EXPECT_EQ(destinationNames(plan, tree.path("out")),
              (QStringList{"JPEG/Behalten/IMG_0001.JPG", "JPEG/Behalten/IMG_2.JPG", "JPEG/Behalten/IMG_10.JPG",
                           "JPEG/Behalten/IMG_0001 2.JPG"}));
    EXPECT_EQ(plan.actions[3].item.relativePath, "b/IMG_0001.JPG");
    EXPECT_EQ(plan.totalBytes, 5);
    for (const PlannedAction& action : plan.actions) {
        EXPECT_EQ(action.kind, PlannedActionKind::copy);
        EXPECT_FALSE(action.shouldSkip);
    }
}

TEST(ExecutionPlan, existingFilesAndReservedNamesPushToTheNextFreeNumber)
{
    TempTree tree;
    tree.write("src/IMG_1.JPG");
    tree.write("src/README");
    tree.write("out/JPEG/Behalten/IMG_1.JPG", "foreign");
    tree.write("out/JPEG/Behalten/IMG_1 2.JPG", "foreign");
    const QString src = tree.path("src");
    const FileUrl folder = FileUrl::fromLocalPath(tree.path("out/JPEG/Behalten"));

    const PhotoItem photo = photoAt(src, "IMG_1.JPG");
    EXPECT_EQ(Executor::uniqueDestination(photo, folder, {}).fileName(), "IMG_1 3.JPG");
    EXPECT_EQ(Executor::uniqueDestination(photo, folder, {folder.appending("IMG_1 3.JPG").path()}).fileName(),
              "IMG_1 4.JPG");
    // Without an extension the number simply follows the name.
    const auto noExtension = Executor::uniqueDestination(photoAt(src, "README"), folder, {folder.appending("README").path()});
    EXPECT_EQ(noExtension.fileName(), "README 2");
}

TEST(ExecutionPlan, selectionAndKindFollowTheMode)
{
    TempTree tree;
    tree.write("src/keep.jpg");
    tree.write("src/maybe.jpg");
    tree.write("src/gone.jpg");
    tree.write("src/open.jpg");
    const QString src = tree.path("src");
    const QList<PhotoItem> items{photoAt(src, "keep.jpg", PhotoDecision::keep), photoAt(src, "maybe.jpg", PhotoDecision::maybe),
                                 photoAt(src, "gone.jpg", PhotoDecision::del), photoAt(src, "open.jpg", std::nullopt)};

    const auto trash = Executor::buildPlan(items, optionsFor(tree.path("out"), SortOperationMode::organizeAndTrash), {});
    ASSERT_EQ(trash.actions.size(), 2);
    EXPECT_EQ(trash.actions[0].kind, PlannedActionKind::move);
    ASSERT_EQ(trash.deletions.size(), 1);
    EXPECT_EQ(trash.deletions[0].displayName, "gone.jpg");
    EXPECT_EQ(trash.deletionGroups.size(), 1);
    EXPECT_EQ(trash.untouchedCount, 1);

    const auto move = Executor::buildPlan(items, optionsFor(tree.path("out"), SortOperationMode::moveOriginals), {});
    EXPECT_EQ(move.actions.size(), 3);
    EXPECT_TRUE(move.deletions.isEmpty());
    EXPECT_EQ(move.untouchedCount, 1);
    EXPECT_EQ(destinationNames(move, tree.path("out")),
              (QStringList{"JPEG/Aussortiert/gone.jpg", "JPEG/Behalten/keep.jpg", "JPEG/Prüfen/maybe.jpg"}));
}

// Resumption: every recorded destination is honoured when it can be, and a name that is
// occupied by something this session did not produce is never claimed, even when that
// something has exactly the size of the photo.
TEST(ExecutionPlan, resumeReusesRecordedDestinationsAndNeverClaimsForeignFiles)
{
    TempTree tree;
    const QList<const char*> names{"a.jpg", "b.jpg", "c.jpg", "d.jpg", "e.jpg", "f.jpg"};
    for (const char* name : names)
        tree.write(QStringLiteral("src/") + name, "same");
    const QString src = tree.path("src");
    const QString folder = tree.mkdir("out/JPEG/Behalten");
    QList<PhotoItem> items;
    for (const char* name : names)
        items.append(photoAt(src, name));
    const auto record = [&](const char* name, ExecutionActionStatus status, const QString& destination) {
        return ExecutionRecord{src + "/" + name, folder + "/" + destination, status, 1, std::nullopt};
    };
    tree.write("out/JPEG/Behalten/a-done.jpg", "same");    // a: completed earlier
    tree.write("out/JPEG/Behalten/b-maybe.jpg", "same");   // b: done but not journaled (crash)
    tree.write("out/JPEG/Behalten/d-foreign.jpg", "same"); // d: failed, and now something else is there
    tree.write("out/JPEG/Behalten/f-foreign.jpg", "SAME"); // f: pending, a stranger of its size is there
    QMap<QString, ExecutionRecord> records;
    records.insert(src + "/a.jpg", record("a.jpg", ExecutionActionStatus::completed, "a-done.jpg"));
    records.insert(src + "/b.jpg", record("b.jpg", ExecutionActionStatus::pending, "b-maybe.jpg"));
    records.insert(src + "/c.jpg", record("c.jpg", ExecutionActionStatus::pending, "e.jpg"));
    records.insert(src + "/d.jpg", record("d.jpg", ExecutionActionStatus::failed, "d-foreign.jpg"));
    records.insert(src + "/f.jpg", record("f.jpg", ExecutionActionStatus::pending, "f-foreign.jpg"));

    const auto plan = Executor::buildPlan(items, optionsFor(tree.path("out"), SortOperationMode::safeCopy), records);
    ASSERT_EQ(plan.actions.size(), 6);
    EXPECT_EQ(destinationNames(plan, folder),
              (QStringList{"a-done.jpg", "b-maybe.jpg", "e.jpg", "d.jpg", "e 2.jpg", "f.jpg"}));
    QList<bool> skips;
    for (const auto& action : plan.actions)
        skips.append(action.shouldSkip);
    EXPECT_EQ(skips, (QList<bool>{true, true, false, false, false, false}));
    EXPECT_EQ(readFile(folder + "/f-foreign.jpg"), QByteArray("SAME"));
    // e's own name was promised to c by the earlier run, although e comes later in the order.
}

// The XMP sidecar goes with its motif's RAW (with a lone JPEG, with the JPEG), into the same
// folder under the photo's final stem, as a file of its own right after its photo. It stays
// behind when its RAW does, and when two sidecars leave it open which one is meant.
TEST(ExecutionPlan, sidecarsTravelWithTheirPhotoUnderThePhotosName)
{
    TempTree tree;
    for (const char* name : {"IMG_1.JPG", "IMG_1.CR3", "IMG_1.xmp", // pair: follows the RAW
                             "IMG_2.CR3", "IMG_2.XMP",              // RAW whose name is taken at the result
                             "IMG_3.JPG", "IMG_3.xmp",              // lone JPEG
                             "IMG_4.JPG", "IMG_4.CR3", "IMG_4.xmp", // RAW undecided: sidecar stays with it
                             "IMG_5.CR3", "IMG_5.xmp", "IMG_5.XMP"}) // which sidecar? neither goes
        tree.write(QStringLiteral("src/") + name, name);
    const QString src = tree.path("src");
    QList<PhotoItem> items;
    for (const char* name : {"IMG_1.JPG", "IMG_1.CR3", "IMG_2.CR3", "IMG_3.JPG", "IMG_4.JPG", "IMG_5.CR3"})
        items.append(photoAt(src, name));
    items.append(photoAt(src, "IMG_4.CR3", std::nullopt));
    const QString out = tree.path("out");
    tree.write("out/RAW/Behalten/IMG_2.XMP", "someone else's"); // its photo's name is free, its own is not

    const auto plan = Executor::buildPlan(items, optionsFor(out, SortOperationMode::moveOriginals), {});
    QStringList sources;
    for (const auto& action : plan.actions)
        sources.append(action.item.sourceURL.fileName());
    EXPECT_EQ(sources, (QStringList{"IMG_1.CR3", "IMG_1.xmp", "IMG_1.JPG", "IMG_2.CR3", "IMG_2.XMP", "IMG_3.JPG",
                                    "IMG_3.xmp", "IMG_4.JPG", "IMG_5.CR3"}));
    EXPECT_EQ(destinationNames(plan, out),
              (QStringList{"RAW/Behalten/IMG_1.CR3", "RAW/Behalten/IMG_1.xmp", "JPEG/Behalten/IMG_1.JPG",
                           "RAW/Behalten/IMG_2 2.CR3", "RAW/Behalten/IMG_2 2.XMP", "JPEG/Behalten/IMG_3.JPG",
                           "JPEG/Behalten/IMG_3.xmp", "JPEG/Behalten/IMG_4.JPG", "RAW/Behalten/IMG_5.CR3"}));
    EXPECT_EQ(plan.actions[1].kind, PlannedActionKind::move);
    EXPECT_EQ(plan.actions[1].item.fileSize, QByteArray("IMG_1.xmp").size());
    EXPECT_EQ(plan.actions[1].item.decision, PhotoDecision::keep);

    // A run stopped before either of IMG_3's files was in place; meanwhile a stranger took the
    // photo's promised name. The photo takes a new one, and its sidecar goes along with it.
    QMap<QString, ExecutionRecord> records;
    for (const auto& action : plan.actions)
        records.insert(action.id, ExecutionRecord{action.id, action.destinationURL.path(), ExecutionActionStatus::pending,
                                                  0, std::nullopt});
    tree.write("out/JPEG/Behalten/IMG_3.JPG", "a stranger");
    const auto resumed = Executor::buildPlan(items, optionsFor(out, SortOperationMode::moveOriginals), records);
    EXPECT_EQ(destinationNames(resumed, out).mid(5, 2),
              (QStringList{"JPEG/Behalten/IMG_3 2.JPG", "JPEG/Behalten/IMG_3 2.xmp"}));
}
