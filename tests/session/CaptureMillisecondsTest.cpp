// Capture times finer than a second survive the session document, through both decoders, and
// a document that states them wrongly is refused as a whole.

#include "SessionTestData.h"
#include "model/PhotoModelJson.h"
#include "session/SessionStoreError.h"
#include "session/SortSessionReader.h"

#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::test;
using namespace Qt::StringLiterals;

namespace {

SortSession sessionWithSubseconds()
{
    SortSession session = makeSession(4);
    session.photos[0].captureDate = QDateTime(QDate(2024, 6, 1), QTime(10, 0, 0, 920), Qt::LocalTime);
    session.photos[1].captureDate = QDateTime(QDate(2024, 6, 1), QTime(10, 0, 1, 1), Qt::UTC);
    session.photos[2].captureDate = QDateTime(QDate(1969, 12, 31), QTime(23, 59, 59, 999), Qt::UTC); // before the epoch
    session.photos[3].captureDate = QDateTime(QDate(2024, 6, 1), QTime(10, 0, 2), Qt::UTC);
    return session;
}

// The document of `session` with the first photo's text edited.
QByteArray withFirstPhoto(const SortSession& session, const QByteArray& from, const QByteArray& to)
{
    QByteArray bytes = encodeSortSession(session);
    const qsizetype at = bytes.indexOf(from);
    EXPECT_GE(at, 0) << from.constData();
    return bytes.replace(at, from.size(), to);
}

template <class Decode>
bool refusedAsCorrupt(Decode decode, const QByteArray& bytes)
{
    try {
        decode(bytes);
    } catch (const SessionStoreError& error) {
        return error.kind() == SessionStoreError::Kind::corruptSession;
    }
    return false;
}

} // namespace

TEST(CaptureMilliseconds, survivePersistenceInBothDecodersAndOnlyWhereTheyExist)
{
    const SortSession session = sessionWithSubseconds();
    const QByteArray bytes = encodeSortSession(session);
    EXPECT_EQ(bytes, json::toCompactJson(toJson(session)));
    EXPECT_EQ(bytes.count("captureMilliseconds"), 3) << "a whole second carries no field";
    EXPECT_TRUE(bytes.contains(R"("captureDate":"2024-06-01T10:00:01Z","captureMilliseconds":1,"category")"));

    const auto fast = detail::decodeSortSessionFast(bytes);
    ASSERT_TRUE(fast) << "the plain shape this store writes stays on the fast path";
    const SortSession general = detail::decodeSortSessionGeneral(bytes);
    for (qsizetype i = 0; i < session.photos.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(fast->photos[i].captureDate, session.photos[i].captureDate);
        EXPECT_EQ(general.photos[i].captureDate, session.photos[i].captureDate);
    }
    EXPECT_EQ(encodeSortSession(*fast), bytes);
}

TEST(CaptureMilliseconds, olderDocumentsOpenOnTheWholeSecond)
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

TEST(CaptureMilliseconds, malformedValuesRefuseTheDocumentInBothDecoders)
{
    const SortSession session = makeSession(2);
    for (const QByteArray& value : {"1000"_ba, "-1"_ba, "2.5"_ba, R"("920")"_ba, "true"_ba, "[]"_ba}) {
        SCOPED_TRACE(value.constData());
        const QByteArray bytes = withFirstPhoto(session, R"("category")", R"("captureMilliseconds":)" + value + R"(,"category")");
        EXPECT_TRUE(refusedAsCorrupt([](const QByteArray& b) { return decodeSortSession(b); }, bytes));
        EXPECT_TRUE(refusedAsCorrupt([](const QByteArray& b) { return detail::decodeSortSessionGeneral(b); }, bytes));
    }
    const QByteArray twice = withFirstPhoto(session, R"("category")", R"("captureMilliseconds":5,"captureMilliseconds":6,"category")");
    EXPECT_FALSE(detail::decodeSortSessionFast(twice)) << "a repeated key leaves the fast path";
}
