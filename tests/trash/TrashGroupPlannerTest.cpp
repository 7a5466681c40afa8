#include "TestSupport.h"

#include "trash/TrashGroupPlanner.h"

#include <QFile>
#include <gtest/gtest.h>
#include <unistd.h>

using namespace kestrava;
using namespace kestrava::test;

namespace {

PhotoItem photo(const QString& path)
{
    PhotoItem item;
    item.sourceURL = FileUrl::fromLocalPath(path);
    item.formatGroup = formatGroupForFileName(item.sourceURL.fileName());
    return item;
}

QStringList memberNames(const TrashGroup& group)
{
    QStringList names;
    for (const auto& member : group.members)
        names.append(member.displayName);
    return names;
}

} // namespace

TEST(TrashGroupPlanner, namesDifferingInCaseOrNormalisationShareAKey)
{
    const QString decomposed = QStringLiteral("/Fotos/Ca\u0308fe\u0301/ROSE\u0301.JPG");
    const QString precomposed = QStringLiteral("/fotos/c\u00e4f\u00e9/ros\u00e9.cr2");
    EXPECT_EQ(TrashGroupPlanner::pairingKey(decomposed), TrashGroupPlanner::pairingKey(precomposed));
    EXPECT_NE(TrashGroupPlanner::pairingKey(QStringLiteral("/a/x.jpg")), TrashGroupPlanner::pairingKey(QStringLiteral("/b/x.jpg")));
}

TEST(TrashGroupPlanner, sidecarFollowsTheRawOfItsMotif)
{
    TempTree tree;
    const QString rawOnly = tree.write(QStringLiteral("IMG_2.CR2"));
    tree.write(QStringLiteral("IMG_2.xmp"));
    const QString loneJpeg = tree.write(QStringLiteral("IMG_10.jpg"));
    tree.write(QStringLiteral("img_10.XMP"));
    const QString jpegWithKeptRaw = tree.write(QStringLiteral("IMG_3.jpg"));
    const QString keptRaw = tree.write(QStringLiteral("IMG_3.NEF"));
    tree.write(QStringLiteral("IMG_3.xmp"));

    const QList<PhotoItem> rejected{photo(loneJpeg), photo(jpegWithKeptRaw), photo(rawOnly)};
    QList<PhotoItem> everything = rejected;
    everything.append(photo(keptRaw));
    const QList<TrashGroup> groups = TrashGroupPlanner::build(rejected, everything);

    ASSERT_EQ(groups.size(), 3);
    // File-browser order: IMG_2 before IMG_3 before IMG_10.
    EXPECT_EQ(memberNames(groups[0]), (QStringList{"IMG_2.CR2", "IMG_2.xmp"}));
    EXPECT_EQ(memberNames(groups[1]), (QStringList{"IMG_3.jpg"}));
    EXPECT_EQ(memberNames(groups[2]), (QStringList{"IMG_10.jpg", "img_10.XMP"}));
    for (const auto& group : groups) {
        EXPECT_FALSE(group.validationError);
        EXPECT_FALSE(group.id.isNull());
    }
    EXPECT_NE(groups[0].id, groups[1].id);

    // A pair rejected together takes the sidecar along.
    const QList<TrashGroup> pair = TrashGroupPlanner::build({photo(jpegWithKeptRaw), photo(keptRaw)});
    ASSERT_EQ(pair.size(), 1);
    EXPECT_EQ(memberNames(pair[0]), (QStringList{"IMG_3.jpg", "IMG_3.NEF", "IMG_3.xmp"}));
}

TEST(TrashGroupPlanner, twoSidecarsRefuseTheWholeGroup)
{
    TempTree tree;
    const QString raw = tree.write(QStringLiteral("DSC_1.ARW"));
    tree.write(QStringLiteral("DSC_1.xmp"));
    tree.write(QStringLiteral("DSC_1.XMP"));
    const QList<TrashGroup> groups = TrashGroupPlanner::build({photo(raw)});
    ASSERT_EQ(groups.size(), 1);
    EXPECT_EQ(groups[0].validationError, QStringLiteral("Mehrere XMP-Sidecars für DSC_1.ARW"));
}

TEST(TrashGroupPlanner, sidecarThatIsALinkOrFolderIsIgnored)
{
    TempTree tree;
    const QString raw = tree.write(QStringLiteral("A.dng"));
    const QString elsewhere = tree.write(QStringLiteral("other/real.xmp"));
    ASSERT_EQ(::symlink(QFile::encodeName(elsewhere).constData(), QFile::encodeName(tree.path(QStringLiteral("A.xmp"))).constData()), 0);
    tree.mkdir(QStringLiteral("a.XMP"));
    const QList<TrashGroup> groups = TrashGroupPlanner::build({photo(raw)});
    ASSERT_EQ(groups.size(), 1);
    EXPECT_EQ(memberNames(groups[0]), (QStringList{"A.dng"}));
    EXPECT_FALSE(groups[0].validationError);
}
