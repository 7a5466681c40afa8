#include "model/PhotoModel.h"

#include <gtest/gtest.h>

using namespace kestrava;

namespace {

PhotoItem photo(const QString& relativePath, PhotoFormatGroup group)
{
    PhotoItem item;
    item.sourceURL = FileUrl::fromLocalPath(QStringLiteral("/shoot/") + relativePath);
    item.formatGroup = group;
    item.relativePath = relativePath;
    return item;
}
PhotoItem jpeg(const QString& path) { return photo(path, PhotoFormatGroup::jpeg); }
PhotoItem raw(const QString& path) { return photo(path, PhotoFormatGroup::raw); }

QStringList ids(const QList<ReviewGroup>& groups)
{
    QStringList out;
    for (const ReviewGroup& g : groups)
        out.append(g.id);
    return out;
}

} // namespace

TEST(ReviewGroup, emptyInputGivesNoGroupsForEveryChoice)
{
    EXPECT_TRUE(ReviewGroup::build({}, std::nullopt).isEmpty());
    for (FormatReviewChoice choice : allCases<FormatReviewChoice>())
        EXPECT_TRUE(ReviewGroup::build({}, choice).isEmpty());
}

TEST(ReviewGroup, pairsOnlyWhenBothFormatsAreReviewedTogether)
{
    const QList<PhotoItem> photos{jpeg("x.jpg"), raw("x.NEF")};
    for (std::optional<FormatReviewChoice> choice :
         {std::optional<FormatReviewChoice>{}, std::optional(FormatReviewChoice::jpeg), std::optional(FormatReviewChoice::raw)})
        EXPECT_EQ(ReviewGroup::build(photos, choice).size(), 2);

    const auto groups = ReviewGroup::build(photos, FormatReviewChoice::both);
    ASSERT_EQ(groups.size(), 1);
    EXPECT_EQ(groups[0].id, QStringLiteral("/shoot/x.NEF|/shoot/x.jpg")); // sorted paths
    EXPECT_EQ(groups[0].memberURLs.size(), 2);
    EXPECT_EQ(groups[0].previewURL.path(), QStringLiteral("/shoot/x.jpg"));
}

TEST(ReviewGroup, folderPartDecidesPairingCaseInsensitively)
{
    EXPECT_EQ(ReviewGroup::build({jpeg("A/x.jpg"), raw("B/x.nef")}, FormatReviewChoice::both).size(), 2);
    EXPECT_EQ(ReviewGroup::build({jpeg("A/X.JPG"), raw("a/x.dng")}, FormatReviewChoice::both).size(), 1);
    // Only the last extension is removed: a.b.jpg keys as "a.b".
    EXPECT_EQ(ReviewGroup::build({jpeg("a.b.jpg"), raw("a.b.cr2"), raw("a.cr2")}, FormatReviewChoice::both).size(), 2);
}

TEST(ReviewGroup, ambiguousSetsBecomeSinglesInInputOrder)
{
    const auto twoRaws = ReviewGroup::build({jpeg("IMG_1.jpg"), raw("IMG_1.cr2"), raw("IMG_1.nef")}, FormatReviewChoice::both);
    EXPECT_EQ(ids(twoRaws), (QStringList{"/shoot/IMG_1.jpg", "/shoot/IMG_1.cr2", "/shoot/IMG_1.nef"}));
    const auto twoJpegs = ReviewGroup::build({jpeg("IMG_1.jpg"), jpeg("IMG_1.jpeg"), raw("IMG_1.cr2")}, FormatReviewChoice::both);
    EXPECT_EQ(twoJpegs.size(), 3);
}

TEST(ReviewGroup, rawBeforeItsJpegStillPairsJpegFirstAtTheRawsPosition)
{
    const auto groups =
        ReviewGroup::build({jpeg("a.jpg"), raw("b.cr3"), jpeg("c.jpg"), jpeg("b.jpg")}, FormatReviewChoice::both);
    ASSERT_EQ(groups.size(), 3);
    EXPECT_EQ(groups[1].memberURLs.first().path(), QStringLiteral("/shoot/b.jpg"));
    EXPECT_EQ(groups[1].memberURLs.last().path(), QStringLiteral("/shoot/b.cr3"));
    EXPECT_EQ(groups[1].previewURL.path(), QStringLiteral("/shoot/b.jpg"));
    EXPECT_EQ(groups[2].id, QStringLiteral("/shoot/c.jpg"));
}

TEST(DecisionFeedback, titleCountsFilesInGerman)
{
    DecisionFeedback pair{QUuid::createUuid(), PhotoDecision::keep, QStringLiteral("JPEG + RAW"), 2};
    EXPECT_EQ(pair.title(), QStringLiteral("Behalten · JPEG + RAW · 2 Dateien"));
    DecisionFeedback single{QUuid::createUuid(), PhotoDecision::del, QStringLiteral("1 Datei"), 1};
    EXPECT_EQ(single.title(), QStringLiteral("Aussortiert · 1 Datei · 1 Datei"));
    single.fileCount = 0;
    EXPECT_TRUE(single.title().endsWith(QStringLiteral("0 Dateien")));
}

TEST(PhotoFormatGroup, classifiesByLowerCasedLastExtension)
{
    EXPECT_EQ(formatGroupForFileName(QStringLiteral("photo.JPG")), PhotoFormatGroup::jpeg);
    EXPECT_EQ(formatGroupForFileName(QStringLiteral("photo.Cr3")), PhotoFormatGroup::raw);
    for (const char* name : {"photo.xmp", "photo.heic", "photo.png", "jpg", "photo.jpg.txt", "photo."})
        EXPECT_EQ(formatGroupForFileName(QString::fromLatin1(name)), PhotoFormatGroup::other) << name;
    EXPECT_EQ(rawExtensions().size(), 25);
    EXPECT_EQ(jpegExtensions().size(), 3);
}
