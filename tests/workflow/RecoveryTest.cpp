// Matching recovery rows to scanned files, and the recovered run.

#include "WorkflowRig.h"
#include "session/SessionStoreError.h"
#include "workflow/RecoveryMatching.h"

#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::test;

namespace {

RecoveryCSVRow row(const QString& name, PhotoDecision decision, std::optional<QString> relativePath = std::nullopt,
                   PhotoFormatGroup format = PhotoFormatGroup::jpeg)
{
    RecoveryCSVRow r;
    r.filename = name;
    r.decision = decision;
    r.relativePath = std::move(relativePath);
    r.format = format;
    return r;
}

} // namespace

TEST(RecoveryMatching, namesPathsAndFormatsIdentifyOneFile)
{
    const auto inventory =
        photosNamed(QStringLiteral("/f"), {"Tag1/IMG_1.JPG", "Tag1/IMG_1.CR3", "Tag2/IMG_1.JPG", "Tag2/img_2.jpg"});
    // Case does not matter; the relative path separates equal names in different folders,
    // whether it ends with the file name or names the folder only.
    const auto match = matchRecoveryRows({row("IMG_2.JPG", PhotoDecision::keep),
                                          row("IMG_1.JPG", PhotoDecision::del, "tag2/IMG_1.JPG"),
                                          row("IMG_1.jpg", PhotoDecision::maybe, "Tag1"),
                                          row("gone.jpg", PhotoDecision::keep)},
                                         inventory);
    EXPECT_EQ(match.matchedRows, 3);
    EXPECT_EQ(match.unmatchedRows, 1);
    EXPECT_EQ(match.decisions.value(inventory[3].sourceURL), PhotoDecision::keep);
    EXPECT_EQ(match.decisions.value(inventory[2].sourceURL), PhotoDecision::del);
    EXPECT_EQ(match.decisions.value(inventory[0].sourceURL), PhotoDecision::maybe);
    EXPECT_FALSE(match.decisions.contains(inventory[1].sourceURL));

    // A bare name found in two folders is ambiguous, whatever else matched.
    try {
        matchRecoveryRows({row("IMG_2.JPG", PhotoDecision::keep), row("img_1.jpg", PhotoDecision::keep)}, inventory);
        FAIL() << "ambiguous row accepted";
    } catch (const SessionStoreError& error) {
        EXPECT_EQ(error.kind(), SessionStoreError::Kind::ambiguousRecoveryRow);
        EXPECT_EQ(error.description(), QStringLiteral("„img_1.jpg“ ist nicht eindeutig zuordenbar."));
    }
}

TEST(Recovery, completeRecoveryOpensANewSessionInSetup)
{
    WorkflowRig rig;
    const auto inventory = shoot(rig.photoFolder, 2, 1);
    rig.vm().applyRecovery({row("IMG_00001.JPG", PhotoDecision::keep), row("IMG_00001.CR3", PhotoDecision::keep),
                            row("SOLO_00001.JPG", PhotoDecision::del, std::nullopt, PhotoFormatGroup::jpeg)},
                           inventory, FileUrl::fromLocalPath(rig.photoFolder));
    rig.settle();
    EXPECT_EQ(rig.vm().alertText(), QStringLiteral("3 Entscheidungen wurden vollständig wiederhergestellt."));
    EXPECT_EQ(rig.vm().route(), AppRoute::setup);
    EXPECT_EQ(rig.vm().setup()->eventName(), QStringLiteral("Wiederhergestellt"));
    EXPECT_EQ(rig.vm().runFolderName(), QStringLiteral("Kestrava – Wiederhergestellt"));
    EXPECT_EQ(rig.vm().review()->decisionCount(PhotoDecision::keep), 1);
    EXPECT_EQ(rig.vm().review()->decisionCount(PhotoDecision::del), 1);
    EXPECT_EQ(rig.vm().review()->classifiedCount(), 2);
    ASSERT_TRUE(rig.vm().session());
    const SortSession saved = decodeSortSession(readFile(rig.store->snapshotPath(rig.vm().session()->id)));
    EXPECT_EQ(saved.eventName, QStringLiteral("Wiederhergestellt"));
    EXPECT_EQ(saved.photos.size(), 5);
}

TEST(Recovery, partialAndAmbiguousLists)
{
    WorkflowRig rig;
    const auto inventory = photosNamed(rig.photoFolder, {"A/x.jpg", "B/x.jpg", "y.jpg"});
    rig.vm().applyRecovery({row("y.jpg", PhotoDecision::keep), row("z.jpg", PhotoDecision::keep)}, inventory,
                           FileUrl::fromLocalPath(rig.photoFolder));
    EXPECT_EQ(rig.vm().alertText(), QStringLiteral("Nicht alle Entscheidungen konnten zugeordnet werden."));
    const QUuid id = rig.vm().session()->id;

    EXPECT_THROW(rig.vm().applyRecovery({row("y.jpg", PhotoDecision::del), row("x.jpg", PhotoDecision::del)}, inventory,
                                        FileUrl::fromLocalPath(rig.photoFolder)),
                 SessionStoreError);
    EXPECT_EQ(rig.vm().session()->id, id);
    EXPECT_EQ(rig.vm().review()->decisionCount(PhotoDecision::keep), 1);
    EXPECT_EQ(rig.vm().review()->decisionCount(PhotoDecision::del), 0);
}

TEST(Recovery, importReadsTheListAndScansInTheBackground)
{
    WorkflowRig rig;
    rig.scanResult = shoot(rig.photoFolder, 0, 2);
    const QString csv = rig.tree.write(QStringLiteral("liste.csv"),
                                       "Datei,Format,Entscheidung,Kopierstatus,Nachweis\r\n"
                                       "SOLO_00001.JPG,JPEG,Behalten,,\r\nSOLO_00002.JPG,JPEG,Aussortiert,,\r\n");
    rig.vm().sessionStage()->importRecoveryCsv(csv, rig.photoFolder);
    ASSERT_TRUE(waitFor([&] { return rig.vm().alertMessage().has_value(); }));
    EXPECT_EQ(rig.vm().alertText(), QStringLiteral("2 Entscheidungen wurden vollständig wiederhergestellt."));

    const QString broken = rig.tree.write(QStringLiteral("kaputt.csv"), "Datei,Format\r\nx.jpg,JPEG\r\n");
    rig.vm().dismissAlert();
    rig.vm().sessionStage()->importRecoveryCsv(broken, rig.photoFolder);
    ASSERT_TRUE(waitFor([&] { return rig.vm().alertMessage().has_value(); }));
    EXPECT_EQ(rig.vm().alertText(), QStringLiteral("Die CSV-Datei enthält nicht die erwarteten Spalten."));
}
