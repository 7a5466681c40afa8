// Where each capture date came from survives the session document through both decoders, and
// documents written before it was recorded keep a meaning that never mistakes a file date for
// a capture time.

#include "SessionTestData.h"
#include "model/PhotoModelJson.h"
#include "session/SessionStoreError.h"
#include "session/SortSessionReader.h"

#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::test;
using namespace Qt::StringLiterals;

namespace {

// Every origin, once with a capture date equal to the file date and once with a different one.
SortSession sessionWithEveryOrigin()
{
    SortSession session = makeSession(6);
    const CaptureDateOrigin origins[] = {CaptureDateOrigin::exif, CaptureDateOrigin::fileDate, CaptureDateOrigin::unknown};
    for (int i = 0; i < 6; ++i) {
        PhotoItem& photo = session.photos[i];
        photo.captureDateOrigin = origins[i % 3];
        if (i >= 3)
            photo.captureDate = photo.modificationDate;
    }
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

} // namespace

TEST(CaptureOrigin, survivesTheDocumentInBothDecoders)
{
    const SortSession session = sessionWithEveryOrigin();
    const QByteArray bytes = encodeSortSession(session);
    EXPECT_EQ(bytes, json::toCompactJson(toJson(session)));

    const auto fast = detail::decodeSortSessionFast(bytes);
    ASSERT_TRUE(fast) << "the plain shape this store writes stays on the fast path";
    EXPECT_EQ(fast->photos, session.photos);
    EXPECT_EQ(detail::decodeSortSessionGeneral(bytes).photos, session.photos);
}

TEST(CaptureOrigin, olderDocumentsTakeOnlyReplacedDatesForCameraDates)
{
    SortSession session = sessionWithEveryOrigin();
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

TEST(CaptureOrigin, anUnknownValueRefusesTheDocument)
{
    QByteArray bytes = encodeSortSession(sessionWithEveryOrigin());
    const qsizetype at = bytes.indexOf(R"("captureDateOrigin":"fileDate")");
    ASSERT_GE(at, 0);
    bytes.replace(at, 30, R"("captureDateOrigin":"gps")");
    for (const auto& decode : {+[](const QByteArray& b) { return decodeSortSession(b); },
                               +[](const QByteArray& b) { return detail::decodeSortSessionGeneral(b); }}) {
        try {
            decode(bytes);
            ADD_FAILURE() << "accepted";
        } catch (const SessionStoreError& error) {
            EXPECT_EQ(error.kind(), SessionStoreError::Kind::corruptSession);
        }
    }
}
