// What a photo knows about its capture beyond the whole second (the camera's subsecond, and
// whether the date came from the camera at all) survives the session document through both
// decoders; older documents keep a meaning that never mistakes a file date for a capture time,
// and a document that states either wrongly is refused as a whole.

#include "SessionTestData.h"
#include "model/PhotoModelJson.h"
#include "session/SessionStoreError.h"
#include "session/SortSessionReader.h"

#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::test;
using namespace Qt::StringLiterals;

namespace {

// Every origin, once with a capture date equal to the file date and once with a different one;
// subseconds in local and UTC time, before the epoch, and a whole second.
SortSession sessionWithCaptureDetails()
{
    SortSession session = makeSession(6);
    const CaptureDateOrigin origins[] = {CaptureDateOrigin::exif, CaptureDateOrigin::fileDate, CaptureDateOrigin::unknown};
    for (int i = 0; i < 6; ++i) {
        PhotoItem& photo = session.photos[i];
        photo.captureDateOrigin = origins[i % 3];
        if (i >= 3)
            photo.captureDate = photo.modificationDate;
    }
    session.photos[0].captureDate = QDateTime(QDate(2024, 6, 1), QTime(10, 0, 0, 920), Qt::LocalTime);
    session.photos[1].captureDate = QDateTime(QDate(2024, 6, 1), QTime(10, 0, 1, 1), Qt::UTC);
    session.photos[2].captureDate = QDateTime(QDate(1969, 12, 31), QTime(23, 59, 59, 999), Qt::UTC);
    return session;
}

QList<CaptureDateOrigin> originsOf(const SortSession& session)
{
    QList<CaptureDateOrigin> origins;
    for (const PhotoItem& photo : session.photos)
        origins.append(photo.captureDateOrigin);
    return origins;
}

// The document as a writer that knew nothing of origins would have written it.
QByteArray withoutOrigins(QByteArray bytes)
{
    for (const char* value : {"exif", "fileDate", "unknown"})
        bytes.replace(QByteArray(R"("captureDateOrigin":")") + value + R"(",)", QByteArray());
    return bytes;
}

// The document of `session` with the first photo's text edited.
QByteArray withFirstPhoto(const SortSession& session, const QByteArray& from, const QByteArray& to)
{
    QByteArray bytes = encodeSortSession(session);
    const qsizetype at = bytes.indexOf(from);
    EXPECT_GE(at, 0) << from.constData();
    return bytes.replace(at, from.size(), to);
}

bool refusedAsCorrupt(const std::function<SortSession(const QByteArray&)>& decode, const QByteArray& bytes)
{
    try {
        decode(bytes);
    } catch (const SessionStoreError& error) {
        return error.kind() == SessionStoreError::Kind::corruptSession;
    }
    return false;
}

} // namespace

TEST(CaptureDetails, surviveTheDocumentInBothDecodersAndOnlyWhereTheyExist)
{
    const SortSession session = sessionWithCaptureDetails();
    const QByteArray bytes = encodeSortSession(session);
    EXPECT_EQ(bytes, json::toCompactJson(toJson(session)));
    EXPECT_EQ(bytes.count("captureMilliseconds"), 3) << "a whole second carries no field";
    EXPECT_TRUE(bytes.contains(R"("captureDate":"2024-06-01T10:00:01Z","captureDateOrigin":"fileDate","captureMilliseconds":1,)"));

    const auto fast = detail::decodeSortSessionFast(bytes);
    ASSERT_TRUE(fast) << "the plain shape this store writes stays on the fast path";
    EXPECT_EQ(fast->photos, session.photos);
    EXPECT_EQ(detail::decodeSortSessionGeneral(bytes).photos, session.photos);
    EXPECT_EQ(encodeSortSession(*fast), bytes);
}

TEST(CaptureDetails, olderDocumentsOpenOnTheWholeSecond)
{
    SortSession session = makeSession(2);
    const QByteArray bytes = encodeSortSession(session);
    ASSERT_FALSE(bytes.contains("captureMilliseconds"));
    const SortSession decoded = decodeSortSession(bytes);
    EXPECT_EQ(decoded.photos, session.photos);
    EXPECT_EQ(captureMillisecondsOf(decoded.photos[0].captureDate), 0);
    // A field written as 0 or null by another writer means the same.
    const QByteArray zero = withFirstPhoto(session, R"("category")", R"("captureMilliseconds":0,"category")");
    const QByteArray null = withFirstPhoto(session, R"("category")", R"("captureMilliseconds":null,"category")");
    EXPECT_EQ(decodeSortSession(zero).photos, session.photos);
    EXPECT_EQ(decodeSortSession(null).photos, session.photos);
}

TEST(CaptureDetails, olderDocumentsTakeOnlyReplacedDatesForCameraDates)
{
    SortSession session = sessionWithCaptureDetails();
    // What a scan followed by the metadata pipeline produced before origins were recorded: a
    // replaced date differs from the file date, a kept one equals it.
    for (PhotoItem& photo : session.photos)
        photo.captureDateOrigin = photo.captureDate == photo.modificationDate ? CaptureDateOrigin::fileDate : CaptureDateOrigin::exif;
    const QByteArray legacy = withoutOrigins(encodeSortSession(session));
    ASSERT_FALSE(legacy.contains("captureDateOrigin"));

    const QList<CaptureDateOrigin> expected{CaptureDateOrigin::exif, CaptureDateOrigin::exif, CaptureDateOrigin::exif,
                                            CaptureDateOrigin::unknown, CaptureDateOrigin::unknown, CaptureDateOrigin::unknown};
    const SortSession decoded = decodeSortSession(legacy);
    EXPECT_EQ(originsOf(decoded), expected);
    EXPECT_EQ(originsOf(detail::decodeSortSessionGeneral(legacy)), expected);
    for (const PhotoItem& photo : decoded.photos)
        EXPECT_EQ(photo.cameraCaptureTime().has_value(), photo.captureDate != photo.modificationDate);

    // A photo whose file date was never known cannot tell either.
    session.photos[0].modificationDate = distantPast();
    EXPECT_EQ(decodeSortSession(withoutOrigins(encodeSortSession(session))).photos[0].captureDateOrigin, CaptureDateOrigin::unknown);
}

TEST(CaptureDetails, malformedValuesRefuseTheDocumentInBothDecoders)
{
    const SortSession session = makeSession(2);
    QList<QByteArray> edits;
    for (const QByteArray& value : {"1000"_ba, "-1"_ba, "2.5"_ba, R"("920")"_ba, "true"_ba, "[]"_ba})
        edits.append(R"("captureMilliseconds":)" + value + R"(,"category")");
    edits.append(R"("captureDateOrigin":"gps","category")");
    for (const QByteArray& edit : edits) {
        SCOPED_TRACE(edit.constData());
        const QByteArray bytes = withFirstPhoto(session, R"("category")", edit);
        EXPECT_TRUE(refusedAsCorrupt([](const QByteArray& b) { return decodeSortSession(b); }, bytes));
        EXPECT_TRUE(refusedAsCorrupt([](const QByteArray& b) { return detail::decodeSortSessionGeneral(b); }, bytes));
    }
    const QByteArray twice = withFirstPhoto(session, R"("category")", R"("captureMilliseconds":5,"captureMilliseconds":6,"category")");
    EXPECT_FALSE(detail::decodeSortSessionFast(twice)) << "a repeated key leaves the fast path";
}
