#include "SessionTestData.h"
#include "session/SessionEvent.h"
#include "session/SessionEventReader.h"
#include "session/SessionStoreError.h"
#include "session/SortSessionReader.h"

#include <gtest/gtest.h>
#include <limits>

using namespace kestrava;
using namespace kestrava::test;
using namespace Qt::StringLiterals;

namespace {

// The smallest document every version must accept.
QJsonObject minimalDocument()
{
    return QJsonObject{{u"id"_s, u"3F2504E0-4F89-11D3-9A0C-0305E82C3301"_s},
                       {u"createdAt"_s, u"2026-03-01T08:00:00Z"_s},
                       {u"updatedAt"_s, u"2026-03-01T09:30:00Z"_s},
                       {u"sourceFolder"_s, u"file:///Fotos/Reise"_s}};
}

SortSession decode(const QJsonObject& object)
{
    return decodeSortSession(json::toCompactJson(object));
}

SessionStoreError::Kind failureOf(const QJsonObject& object)
{
    try {
        decode(object);
    } catch (const SessionStoreError& error) {
        return error.kind();
    }
    ADD_FAILURE() << "document was accepted";
    return SessionStoreError::Kind::csvHeaderMissing;
}

} // namespace

TEST(SessionDocument, roundTripKeepsEveryFieldIncludingOpaqueTrashPreparation)
{
    const SortSession session = makeFullSession();
    const QByteArray bytes = encodeSortSession(session);
    EXPECT_FALSE(bytes.contains("null"));
    EXPECT_FALSE(bytes.endsWith('\n'));
    const SortSession decoded = decodeSortSession(bytes);
    EXPECT_EQ(decoded, session);
    EXPECT_EQ(encodeSortSession(decoded), bytes);
    EXPECT_TRUE(bytes.startsWith(R"({"createdAt":"2026-03-01T08:00:00Z","currentIndex":2,"destinationBaseFolder":"file:///Ziel",)"));
    EXPECT_TRUE(bytes.contains(R"("executionRecords":{"/Fotos/Reise/Tag 0/IMG_00000.JPG":{"destinationPath":"/Ziel/x/IMG.JPG",)"
                               R"("errorMessage":"Kein Speicherplatz","sourcePath":"/Fotos/Reise/Tag 0/IMG_00000.JPG",)"
                               R"("status":"failed","verifiedSize":7000000000}})"));
}

TEST(SessionDocument, directTextEncodingMatchesQtJsonByteForByte)
{
    SortSession session = makeFullSession();
    const QString awkward = u"\"\\/\b\f\n\r\t\x01\x1f\x7f é € 😀 "_s + QChar(0xD800) + u" "_s + QChar(0xDC00) + QChar(0xE000);
    session.photos[0].category = awkward;
    session.photos[1].relativePath = u"Ü/"_s + awkward;
    session.photos[1].captureDate = distantPast();
    session.photos[1].modificationDate = QDateTime(QDate(1969, 12, 31), QTime(23, 59, 59, 999), Qt::UTC);
    session.photos[2].captureDate = QDateTime(QDate(9999, 12, 31), QTime(23, 59, 59), Qt::UTC);
    session.photos[2].modificationDate = QDateTime(QDate(2024, 2, 29), QTime(12, 0), QTimeZone(3600 * 5 + 1800));
    session.passThroughPhotos[0].captureDate = QDateTime();
    session.passThroughPhotos[0].fileSize = std::numeric_limits<qint64>::min();
    session.eventName = awkward;
    session.lastEventSequence = std::numeric_limits<qint64>::max();
    for (const QString& key : {u"/Z"_s, u"/a"_s, u"/é"_s, u"/"_s + QChar(0xE000), u"/😀"_s, u"/A b"_s, awkward})
        session.executionRecords.insert(key, {key, awkward, ExecutionActionStatus::pending, -1, std::nullopt});
    EXPECT_EQ(encodeSortSession(session), json::toCompactJson(toJson(session)));
    const SortSession empty = makeSession(0);
    EXPECT_EQ(encodeSortSession(empty), json::toCompactJson(toJson(empty)));
}

TEST(SessionDocument, emptyOptionalsAreLeftOutNotWrittenAsNull)
{
    SortSession session = makeSession(1);
    const QJsonObject encoded = json::parseObject(encodeSortSession(session));
    for (const char* key : {"destinationBaseFolder", "destinationFolder", "selectedReviewChoice", "trashPreparation"})
        EXPECT_FALSE(encoded.contains(QLatin1StringView(key))) << key;
    EXPECT_EQ(encoded.size(), 20);
    EXPECT_EQ(encoded.value("version"_L1).toInt(), 3);
}

TEST(SessionMigration, documentWithoutVersionThatTrashedDiscardsMustChooseModeAgain)
{
    QJsonObject legacy = minimalDocument();
    legacy.insert(u"discardHandling"_s, u"moveToTrash"_s);
    legacy.insert(u"transferMode"_s, u"copy"_s);
    const SortSession session = decode(legacy);
    EXPECT_EQ(session.version, 3);
    EXPECT_EQ(session.operationMode, SortOperationMode::organizeAndTrash);
    EXPECT_TRUE(session.requiresModeSelection);

    const QJsonObject reencoded = json::parseObject(encodeSortSession(session));
    EXPECT_EQ(reencoded.value("version"_L1).toInt(), 3);
    EXPECT_FALSE(reencoded.contains("transferMode"_L1));
    EXPECT_FALSE(reencoded.contains("discardHandling"_L1));
}

TEST(SessionMigration, legacyModePairMapsToOperationMode)
{
    struct Case {
        const char* discard;
        const char* transfer;
        SortOperationMode mode;
        bool requiresSelection;
    };
    const Case cases[] = {
        {"moveToTrash", "move", SortOperationMode::organizeAndTrash, true},
        {"moveToTrash", nullptr, SortOperationMode::organizeAndTrash, true},
        {"keepInFolder", "move", SortOperationMode::moveOriginals, false},
        {nullptr, "move", SortOperationMode::moveOriginals, false},
        {"keepInFolder", "copy", SortOperationMode::safeCopy, false},
        {nullptr, nullptr, SortOperationMode::safeCopy, false},
    };
    for (const Case& c : cases) {
        QJsonObject document = minimalDocument();
        document.insert(u"version"_s, 2);
        if (c.discard)
            document.insert(u"discardHandling"_s, QLatin1StringView(c.discard));
        if (c.transfer)
            document.insert(u"transferMode"_s, QLatin1StringView(c.transfer));
        const SortSession session = decode(document);
        EXPECT_EQ(session.operationMode, c.mode) << (c.discard ? c.discard : "-") << "/" << (c.transfer ? c.transfer : "-");
        EXPECT_EQ(session.requiresModeSelection, c.requiresSelection);
    }
}

TEST(SessionMigration, olderVersionWithTrashModeMustChooseAgainButCurrentVersionKeepsChoice)
{
    QJsonObject document = minimalDocument();
    document.insert(u"operationMode"_s, u"organizeAndTrash"_s);
    document.insert(u"requiresModeSelection"_s, false);
    document.insert(u"version"_s, 2);
    EXPECT_TRUE(decode(document).requiresModeSelection);
    document.insert(u"version"_s, 1);
    EXPECT_TRUE(decode(document).requiresModeSelection);
    document.insert(u"version"_s, 3);
    EXPECT_FALSE(decode(document).requiresModeSelection);

    // Other modes of old documents keep what they said.
    document.insert(u"version"_s, 2);
    document.insert(u"operationMode"_s, u"moveOriginals"_s);
    EXPECT_FALSE(decode(document).requiresModeSelection);
}

TEST(SessionMigration, futureVersionIsRefusedWithItsNumberButVersionZeroIsRead)
{
    QJsonObject document = minimalDocument();
    document.insert(u"version"_s, 4);
    try {
        decode(document);
        FAIL() << "version 4 accepted";
    } catch (const SessionStoreError& error) {
        EXPECT_EQ(error.kind(), SessionStoreError::Kind::unsupportedVersion);
        EXPECT_EQ(error.description(), u"Die Sitzungsversion 4 wird nicht unterstützt."_s);
    }
    // The version decides before anything else: a future document is not called damaged.
    document.remove(u"id"_s);
    EXPECT_EQ(failureOf(document), SessionStoreError::Kind::unsupportedVersion);

    document = minimalDocument();
    document.insert(u"version"_s, 0);
    EXPECT_EQ(decode(document).version, 3);
}

TEST(SessionMigration, destinationFolderSuppliesBaseAndRunFolderName)
{
    QJsonObject document = minimalDocument();
    document.insert(u"destinationFolder"_s, u"file:///Volumes/Ziel/Kestrava-Ergebnis"_s);
    const SortSession session = decode(document);
    EXPECT_EQ(session.destinationBaseFolder, FileUrl::fromLocalPath(u"/Volumes/Ziel"_s));
    EXPECT_EQ(session.runFolderName, u"Kestrava-Ergebnis"_s);

    document.insert(u"destinationBaseFolder"_s, u"file:///Anders"_s);
    document.insert(u"runFolderName"_s, u"Lauf"_s);
    EXPECT_EQ(decode(document).destinationBaseFolder, FileUrl::fromLocalPath(u"/Anders"_s));
    EXPECT_EQ(decode(document).runFolderName, u"Lauf"_s);

    const SortSession bare = decode(minimalDocument());
    EXPECT_FALSE(bare.destinationBaseFolder.has_value());
    EXPECT_TRUE(bare.runFolderName.isEmpty());
}

TEST(SessionMigration, missingKeysTakeTheirDefaults)
{
    const SortSession session = decode(minimalDocument());
    EXPECT_EQ(session.status, SortSessionStatus::reviewing);
    EXPECT_TRUE(session.groupByDate);
    EXPECT_TRUE(session.pairingChoiceResolved);
    EXPECT_FALSE(session.pairingWasTransferred);
    EXPECT_EQ(session.verificationMode, VerificationMode::fileSize);
    EXPECT_EQ(session.operationMode, SortOperationMode::safeCopy);
    EXPECT_FALSE(session.requiresModeSelection);
    EXPECT_TRUE(session.photos.isEmpty());
    EXPECT_TRUE(session.executionRecords.isEmpty());
    EXPECT_FALSE(session.trashPreparation.has_value());
    EXPECT_EQ(session.lastEventSequence, 0);
    EXPECT_EQ(session.currentIndex, 0);
}

TEST(SessionDocumentDamage, anyFaultFailsTheWholeDocument)
{
    const QJsonObject full = json::parseObject(encodeSortSession(makeFullSession()));
    for (const char* key : {"id", "createdAt", "updatedAt", "sourceFolder"}) {
        QJsonObject broken = full;
        broken.remove(QLatin1StringView(key));
        EXPECT_EQ(failureOf(broken), SessionStoreError::Kind::corruptSession) << key;
    }
    const std::pair<const char*, QJsonValue> wrongValues[] = {
        {"id", u"not-a-uuid"_s},
        {"updatedAt", u"2026-03-01"_s},
        {"sourceFolder", u"Fotos/Reise"_s},
        {"sourceFolder", u"file:///Fot"_s + QChar(0xD800) + u"os"_s}, // cannot be written back
        {"status", u"finished"_s},
        {"operationMode", u"move"_s},
        {"transferMode", u"teleport"_s},
        {"verificationMode", u"md5"_s},
        {"groupByDate", u"true"_s},
        {"currentIndex", 1.5},
        {"currentIndex", 1e12},
        {"ignoredPhotoCount", u"3"_s},
        {"version", u"3"_s},
        {"photos", QJsonObject{}},
        {"photos", QJsonArray{QJsonObject{{u"sourceURL"_s, u"file:///x.jpg"_s}}}},
        {"passThroughPhotos", QJsonArray{1}},
        {"executionRecords", QJsonObject{{u"/a"_s, QJsonObject{{u"sourcePath"_s, u"/a"_s}}}}},
        {"executionRecords", QJsonArray{}},
        {"trashPreparation", u"staged"_s},
        {"trashPreparation", QJsonObject{{u"entries"_s, 1}}},
        {"lastEventSequence", u"7"_s},
    };
    for (const auto& [key, value] : wrongValues) {
        QJsonObject broken = full;
        broken.insert(QLatin1StringView(key), value);
        EXPECT_EQ(failureOf(broken), SessionStoreError::Kind::corruptSession) << key;
    }
    for (const QByteArray& bytes : {QByteArray(), QByteArray("[]"), QByteArray("{\"id\":"), encodeSortSession(makeFullSession()).chopped(1)}) {
        EXPECT_THROW(decodeSortSession(bytes), SessionStoreError) << bytes.left(40).constData();
    }
    try {
        decodeSortSession("{");
    } catch (const SessionStoreError& error) {
        EXPECT_EQ(error.description(), u"Die gespeicherte Sitzung ist beschädigt."_s);
    }
}

TEST(SessionEventLine, writesOptionalKeysOnlyWhenPresentAndReadsLegacySinglePath)
{
    SessionEvent event;
    event.sequence = 9;
    event.timestamp = at(9, 30);
    event.kind = SessionEventKind::decision;
    event.sourcePaths = {u"/Fotos/A.JPG"_s, u"/Fotos/A.CR3"_s};
    event.currentIndex = 4;
    EXPECT_EQ(encodeEventLine(event), QByteArray(R"({"currentIndex":4,"kind":"decision","sequence":9,)"
                                                 R"("sourcePaths":["/Fotos/A.JPG","/Fotos/A.CR3"],"timestamp":"2026-03-01T09:30:00Z"})"));
    event.decision = PhotoDecision::del;
    event.category = u"Landschaft"_s;
    event.kind = SessionEventKind::execution;
    event.executionRecord = ExecutionRecord{u"/Fotos/A.JPG"_s, std::nullopt, ExecutionActionStatus::skipped, 0, std::nullopt};
    EXPECT_EQ(decodeEventLine(encodeEventLine(event)), event);

    const SessionEvent legacy = decodeEventLine(R"({"kind":"category","sequence":3,"sourcePath":"/Fotos/B.JPG","timestamp":"2026-03-01T09:30:00Z"})");
    EXPECT_EQ(legacy.sourcePaths, QStringList{u"/Fotos/B.JPG"_s});
    EXPECT_EQ(legacy.currentIndex, 0);
    EXPECT_FALSE(legacy.category.has_value());
}

TEST(SessionEventLine, missingOrMalformedRequiredKeysAreRejected)
{
    const QByteArray good = R"({"kind":"decision","sequence":3,"sourcePaths":["/a"],"timestamp":"2026-03-01T09:30:00Z"})";
    EXPECT_NO_THROW(decodeEventLine(good));
    const char* broken[] = {
        R"({"kind":"decision","sourcePaths":["/a"],"timestamp":"2026-03-01T09:30:00Z"})",
        R"({"kind":"decision","sequence":3,"sourcePaths":["/a"]})",
        R"({"sequence":3,"sourcePaths":["/a"],"timestamp":"2026-03-01T09:30:00Z"})",
        R"({"kind":"undo","sequence":3,"sourcePaths":["/a"],"timestamp":"2026-03-01T09:30:00Z"})",
        R"({"kind":"decision","sequence":3,"timestamp":"2026-03-01T09:30:00Z"})",
        R"({"kind":"decision","sequence":3,"sourcePaths":[1],"timestamp":"2026-03-01T09:30:00Z"})",
        R"({"decision":"trash","kind":"decision","sequence":3,"sourcePaths":["/a"],"timestamp":"2026-03-01T09:30:00Z"})",
        R"({"kind":"decision","sequence":3,"sourcePaths":["/a"],"timestamp":"2026-03-01T09:30:00Z"}x)",
        R"({"kind":"decision","sequence":3,"sourcePaths":["/a"],"timestamp":"2026-03-01T09:30:00Z")",
    };
    for (const char* line : broken)
        EXPECT_THROW(decodeEventLine(QByteArray(line)), SessionStoreError) << line;
}

TEST(SessionDecodingPaths, fastPathsTakeTheStoresOwnOutputAndAgreeWithTheGeneralPath)
{
    const SortSession session = makeFullSession();
    const QByteArray document = encodeSortSession(session);
    const auto fast = detail::decodeSortSessionFast(document);
    ASSERT_TRUE(fast.has_value());
    EXPECT_EQ(*fast, detail::decodeSortSessionGeneral(document));
    EXPECT_EQ(*fast, session);
    // Whitespace, reordered keys and a null photo list are still the general path's shape.
    QByteArray spaced = document;
    spaced.replace(",\"", ", \"");
    EXPECT_EQ(decodeSortSession(spaced), session);
    QByteArray nullPhotos = document;
    nullPhotos.replace("\"passThroughPhotos\":[", "\"passThroughPhotos\":null,\"x\":[");
    EXPECT_TRUE(decodeSortSession(nullPhotos).passThroughPhotos.isEmpty());

    SessionEvent event;
    event.sequence = 12;
    event.timestamp = at(9);
    event.sourcePaths = {u"/Fotos/\"Ä\"\\b.JPG"_s};
    event.decision = PhotoDecision::maybe;
    event.currentIndex = -3;
    const QByteArray line = encodeEventLine(event);
    ASSERT_TRUE(detail::decodeEventLineFast(line).has_value());
    EXPECT_EQ(*detail::decodeEventLineFast(line), event);
    event.kind = SessionEventKind::execution;
    event.executionRecord = ExecutionRecord{u"/a"_s, std::nullopt, ExecutionActionStatus::completed, 3, std::nullopt};
    EXPECT_FALSE(detail::decodeEventLineFast(encodeEventLine(event)).has_value());
    EXPECT_EQ(decodeEventLine(encodeEventLine(event)), event);
    // A fault the fast path declines is reported by the general one.
    EXPECT_FALSE(detail::decodeEventLineFast(line + "x").has_value());
    EXPECT_THROW(decodeEventLine(line + "x"), SessionStoreError);
}
