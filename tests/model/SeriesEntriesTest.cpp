// The series see a group's capture time only where a camera recorded it, from whichever member
// of the group carries it.

#include "model/SeriesBuilder.h"

#include <gtest/gtest.h>

using namespace kestrava;
using namespace Qt::StringLiterals;

namespace {

PhotoItem photo(const QString& path, int second, CaptureDateOrigin origin)
{
    PhotoItem item;
    item.sourceURL = FileUrl::fromLocalPath(path);
    item.relativePath = path.mid(1);
    item.formatGroup = formatGroupForFileName(path);
    item.captureDate = QDateTime(QDate(2024, 6, 1), QTime(10, 0, second));
    item.captureDateOrigin = origin;
    return item;
}

} // namespace

TEST(SeriesEntries, takeCameraTimesFromAnyMemberAndNothingElse)
{
    const QList<PhotoItem> photos{
        photo(u"/a/1.jpg"_s, 1, CaptureDateOrigin::exif),
        // A JPEG exported without EXIF beside its RAW, which kept the camera's date.
        photo(u"/a/2.jpg"_s, 9, CaptureDateOrigin::fileDate), photo(u"/a/2.cr3"_s, 2, CaptureDateOrigin::exif),
        photo(u"/a/3.jpg"_s, 2, CaptureDateOrigin::fileDate),
        photo(u"/a/4.jpg"_s, 2, CaptureDateOrigin::unknown),
    };
    QList<ReviewGroup> groups = ReviewGroup::build(photos, FormatReviewChoice::both);
    ASSERT_EQ(groups.size(), 4);
    groups.append(ReviewGroup{u"gone"_s, {FileUrl::fromLocalPath(u"/a/5.jpg"_s)}, FileUrl::fromLocalPath(u"/a/5.jpg"_s)});

    const QList<SeriesEntry> entries = seriesEntriesFor(groups, photos);
    ASSERT_EQ(entries.size(), 5);
    EXPECT_EQ(entries[0].captureTime, photos[0].captureDate);
    EXPECT_EQ(entries[1].captureTime, photos[2].captureDate) << "the RAW's camera date, not the JPEG's file date";
    EXPECT_EQ(entries[2].captureTime, std::nullopt);
    EXPECT_EQ(entries[3].captureTime, std::nullopt);
    EXPECT_EQ(entries[4].captureTime, std::nullopt) << "a group whose photos are unknown";
    EXPECT_EQ(entries[0].folder, FileUrl::fromLocalPath(u"/a"_s));
    EXPECT_EQ(findSeries(entries), (QList<Series>{{0, 2}}));
}
