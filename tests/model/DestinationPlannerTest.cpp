#include "model/DestinationPlanner.h"
#include "model/Text.h"

#include <gtest/gtest.h>

using namespace kestrava;
using namespace Qt::StringLiterals;

TEST(DestinationPlanner, sanitizeReplacesSeparatorsTrimsAndCountsGraphemes)
{
    EXPECT_EQ(DestinationPlanner::sanitize(u"  a/b:c \n"_s), u"a-b-c"_s);
    EXPECT_EQ(DestinationPlanner::sanitize(u"///"_s), u"---"_s);
    EXPECT_EQ(DestinationPlanner::sanitize(u"Hochzeit 12/05"_s), u"Hochzeit 12-05"_s);
    EXPECT_EQ(DestinationPlanner::sanitize(QString(150, u'x')).size(), 100);
    // 150 family emoji (several code points each) keep 100 whole characters.
    QString emoji;
    for (int i = 0; i < 150; ++i)
        emoji += u"👨‍👩‍👧"_s;
    EXPECT_EQ(DestinationPlanner::sanitize(emoji), emoji.left(emoji.size() / 150 * 100));
}

TEST(DestinationPlanner, runNamesUseEventOrLocalDate)
{
    const QDateTime now(QDate(2026, 3, 1), QTime(9, 30, 45));
    EXPECT_EQ(DestinationPlanner::suggestedRunName(u"Hochzeit"_s, now), u"Kestrava – Hochzeit"_s);
    EXPECT_EQ(DestinationPlanner::suggestedRunName(u"   "_s, now), u"Kestrava – 2026-03-01 09-30"_s);
}

TEST(DestinationPlanner, uniqueRunFolderSkipsOneAndTakenNames)
{
    const QSet<QString> taken{u"/Ziel/Kestrava – Hochzeit"_s, u"/Ziel/Kestrava – Hochzeit 2"_s};
    const auto exists = [&](const QString& path) { return taken.contains(path); };
    const FileUrl base = FileUrl::fromLocalPath(u"/Ziel"_s);
    EXPECT_EQ(DestinationPlanner::uniqueRunFolder(base, u"Kestrava – Hochzeit"_s, exists).path(), u"/Ziel/Kestrava – Hochzeit 3"_s);
    EXPECT_EQ(DestinationPlanner::uniqueRunFolder(base, u"Neu"_s, exists).path(), u"/Ziel/Neu"_s);
    EXPECT_TRUE(DestinationPlanner::uniqueRunFolder(base, u"  "_s, exists).path().startsWith(u"/Ziel/Kestrava – "_s));
}

TEST(DestinationPlanner, relativeDirectoryOrderIsFormatEventDateDecisionCategory)
{
    PhotoItem item;
    item.formatGroup = PhotoFormatGroup::raw;
    item.decision = PhotoDecision::maybe;
    item.captureDate = QDateTime(QDate(2024, 3, 15), QTime(12, 0));
    SortOptions options;
    options.eventName = u"Hochzeit"_s;
    options.groupByDate = true;
    EXPECT_EQ(DestinationPlanner::relativeDirectory(item, options), u"RAW/Hochzeit/2024/2024-03/Prüfen"_s);

    item.decision.reset();
    item.category = u"a/b"_s;
    options.eventName = u"   "_s;
    options.groupByDate = false;
    item.formatGroup = PhotoFormatGroup::jpeg;
    EXPECT_EQ(DestinationPlanner::relativeDirectory(item, options), u"JPEG/a-b"_s);

    item.captureDate = distantPast();
    options.groupByDate = true;
    item.category.clear();
    item.decision = PhotoDecision::del;
    EXPECT_TRUE(DestinationPlanner::relativeDirectory(item, options).endsWith(u"/Aussortiert"_s));
}

TEST(Text, naturalOrderComparesNumbersByValueAndIgnoresCase)
{
    EXPECT_TRUE(text::lessNatural(u"a/IMG_2.jpg"_s, u"a/IMG_10.jpg"_s));
    EXPECT_TRUE(text::lessNatural(u"img_3.jpg"_s, u"IMG_10.jpg"_s));
    EXPECT_EQ(text::compareNatural(u"IMG.JPG"_s, u"img.jpg"_s), 0);
    EXPECT_TRUE(text::naturalSortKey(u"IMG_9"_s).compare(text::naturalSortKey(u"IMG_10"_s)) < 0);
    EXPECT_EQ(text::nfc(u"e\u0301"_s), u"\u00e9"_s);
}

TEST(Text, byteCountsReadLikeAGermanFileManager)
{
    EXPECT_EQ(text::formatByteCount(0), u"0 Byte"_s);
    EXPECT_EQ(text::formatByteCount(999), u"999 Byte"_s);
    EXPECT_EQ(text::formatByteCount(12'345), u"12 KB"_s);
    EXPECT_EQ(text::formatByteCount(1'500'000), u"1,5 MB"_s);
    EXPECT_EQ(text::formatByteCount(1'070'000'000), u"1,07 GB"_s);
    EXPECT_EQ(text::formatByteCount(2'000'000'000), u"2 GB"_s);
    EXPECT_EQ(text::formatByteCount(999'999), u"1 MB"_s);
}
