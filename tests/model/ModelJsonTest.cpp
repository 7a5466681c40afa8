#include "model/PhotoModelJson.h"
#include "model/SortOptions.h"

#include <gtest/gtest.h>

using namespace kestrava;
using namespace Qt::StringLiterals;

namespace {
PhotoItem sample()
{
    PhotoItem item;
    item.sourceURL = FileUrl::fromLocalPath(u"/Fotos/Tag 1/Ü 100%/IMG_0001.JPG"_s);
    item.captureDate = QDateTime(QDate(2024, 3, 1), QTime(9, 30, 0), Qt::UTC);
    item.formatGroup = PhotoFormatGroup::jpeg;
    item.category = u"Porträt"_s;
    item.fileSize = 5'000'000'000LL;
    item.modificationDate = distantPast();
    item.relativePath = u"Tag 1/Ü 100%/IMG_0001.JPG"_s;
    return item;
}
} // namespace

TEST(PhotoItemJson, roundTripsWithSortedKeysAndEncodedUrl)
{
    PhotoItem item = sample();
    const QByteArray text = json::toCompactJson(toJson(item));
    EXPECT_EQ(text,
              QByteArray(R"({"captureDate":"2024-03-01T09:30:00Z","category":"Porträt","fileSize":5000000000,"formatGroup":"jpeg",)"
                         R"("modificationDate":"0001-01-01T00:00:00Z","relativePath":"Tag 1/Ü 100%/IMG_0001.JPG",)"
                         R"("sourceURL":"file:///Fotos/Tag%201/%C3%9C%20100%25/IMG_0001.JPG"})"));
    EXPECT_EQ(photoItemFromJson(json::parseObject(text)), item);

    item.decision = PhotoDecision::del;
    const QJsonObject withDecision = toJson(item);
    EXPECT_EQ(withDecision.value("decision"_L1).toString(), u"delete"_s);
    EXPECT_EQ(photoItemFromJson(withDecision), item);
}

TEST(PhotoItemJson, missingDecisionIsAbsentButEveryOtherKeyIsRequired)
{
    const QJsonObject full = toJson(sample());
    EXPECT_FALSE(photoItemFromJson(full).decision.has_value());
    for (const QString& key : full.keys()) {
        QJsonObject broken = full;
        broken.remove(key);
        EXPECT_THROW(photoItemFromJson(broken), DecodingError) << key.toStdString();
    }
    QJsonObject wrongEnum = full;
    wrongEnum.insert("formatGroup"_L1, u"tiff"_s);
    EXPECT_THROW(photoItemFromJson(wrongEnum), DecodingError);
    QJsonObject relativeUrl = full;
    relativeUrl.insert("sourceURL"_L1, u"Fotos/x.jpg"_s);
    EXPECT_THROW(photoItemFromJson(relativeUrl), DecodingError);
    QJsonObject fractionalSize = full;
    fractionalSize.insert("fileSize"_L1, 1.5);
    EXPECT_THROW(photoItemFromJson(fractionalSize), DecodingError);
}

TEST(JsonConventions, datesAreWholeSecondsUtcAndUuidsUpperCase)
{
    const QDateTime withMillis = QDateTime::fromMSecsSinceEpoch(1'700'000'000'999LL, Qt::UTC);
    EXPECT_EQ(json::encodeDate(withMillis), u"2023-11-14T22:13:20Z"_s);
    const QDateTime beforeEpoch = QDateTime::fromMSecsSinceEpoch(-1'500LL, Qt::UTC);
    EXPECT_EQ(json::encodeDate(beforeEpoch), u"1969-12-31T23:59:58Z"_s);
    EXPECT_EQ(json::decodeDate(u"2026-03-01T10:30:00+01:00"_s), json::decodeDate(u"2026-03-01T09:30:00Z"_s));
    EXPECT_FALSE(json::decodeDate(u"2026-03-01"_s).has_value());
    EXPECT_FALSE(json::decodeDate(u"2026-03-01T09:30:00"_s).has_value()); // no zone

    const QUuid uuid = QUuid::createUuid();
    const QString text = json::encodeUuid(uuid);
    EXPECT_EQ(text, text.toUpper());
    EXPECT_EQ(json::decodeUuid(text), uuid);
    EXPECT_FALSE(json::decodeUuid(u"{"_s + text + u"}"_s).has_value());
}

TEST(SortOptionsJson, fiveKeysRequiredAndRatingsOptional)
{
    SortOptions options{FileUrl::fromLocalPath(u"/Ziel/Kestrava – Hochzeit"_s), u"Hochzeit"_s, false,
                        SortOperationMode::organizeAndTrash, VerificationMode::sha256, true, 4};
    const QJsonObject encoded = toJson(options);
    EXPECT_EQ(sortOptionsFromJson(encoded), options);
    for (const QString& key : {u"destinationRoot"_s, u"eventName"_s, u"groupByDate"_s, u"operationMode"_s,
                               u"verificationMode"_s}) {
        QJsonObject broken = encoded;
        broken.remove(key);
        EXPECT_THROW(sortOptionsFromJson(broken), DecodingError) << key.toStdString();
    }

    // A document from before the ratings option: off, one star when turned on.
    QJsonObject old = encoded;
    old.remove(u"writeRatingSidecars"_s);
    old.remove(u"keepRatingStars"_s);
    const SortOptions decoded = sortOptionsFromJson(old);
    EXPECT_FALSE(decoded.writeRatingSidecars);
    EXPECT_EQ(decoded.keepRatingStars, 1);

    for (int stars : {0, 6, -1}) {
        QJsonObject outOfRange = encoded;
        outOfRange.insert(u"keepRatingStars"_s, stars);
        EXPECT_THROW(sortOptionsFromJson(outOfRange), DecodingError) << stars;
    }
}

TEST(FileUrl, normalisesAndRefusesNonFileUrls)
{
    EXPECT_EQ(FileUrl::fromLocalPath(u"/a/b/"_s).path(), u"/a/b"_s);
    EXPECT_EQ(FileUrl::fromLocalPath(u"/a/./b/../c"_s).path(), u"/a/c"_s);
    EXPECT_EQ(FileUrl::fromUrlString(u"file:///a/b%20c/"_s)->path(), u"/a/b c"_s);
    EXPECT_FALSE(FileUrl::fromUrlString(u"https://example.org/a"_s));
    EXPECT_FALSE(FileUrl::fromUrlString(u"file://host/a"_s));
    EXPECT_FALSE(FileUrl::fromUrlString(u"/a/b"_s));
    const FileUrl newline = FileUrl::fromLocalPath(u"/a/line\nbreak #1?.jpg"_s);
    EXPECT_EQ(FileUrl::fromUrlString(newline.toUrlString()), newline);
    EXPECT_EQ(newline.parent().path(), u"/a"_s);
    EXPECT_EQ(FileUrl::fromLocalPath(u"/x"_s).parent().path(), u"/"_s);
}

// A path with a lone surrogate could not be written to a session, and the file system would
// see another name: it never becomes a FileUrl, from a path, a URL or a relative part.
TEST(FileUrl, pathsWithLoneSurrogatesAreRefusedAndPairsKept)
{
    const QString high = QString(QChar(0xD800));
    const QString low = QString(QChar(0xDC00));
    for (const QString& bad : {u"/Fotos/IMG"_s + high + u".JPG"_s, u"/Fotos/IMG"_s + low + u".JPG"_s,
                               u"/Fotos/"_s + low + high + u".JPG"_s, u"/Fotos/./x/.."_s + high}) {
        EXPECT_TRUE(FileUrl::fromLocalPath(bad).isEmpty());
        EXPECT_FALSE(FileUrl::fromUrlString(u"file://"_s + bad).has_value());
    }
    EXPECT_TRUE(FileUrl::fromLocalPath(u"/Fotos"_s).appending(u"a"_s + high + u"/b.jpg"_s).isEmpty());

    const FileUrl pair = FileUrl::fromLocalPath(u"/Fotos/😀 "_s + QChar(0xD83D) + QChar(0xDE00) + u".jpg"_s);
    ASSERT_FALSE(pair.isEmpty());
    EXPECT_EQ(FileUrl::fromUrlString(pair.toUrlString()), pair);
    EXPECT_EQ(FileUrl::fromLocalPath(u"/Fotos"_s).appending(u"😀.jpg"_s).fileName(), u"😀.jpg"_s);
}
