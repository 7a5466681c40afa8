// Event lines decode or are refused, never crash; accepted ones round-trip, and the fast and
// the general decoding path agree. The same bytes as a whole log replay into a small session
// or fail cleanly.

#include "session/SessionEvent.h"
#include "session/SessionEventReader.h"
#include "session/SessionReplay.h"
#include "session/SessionStoreError.h"

#include <cstdint>
#include <cstdlib>

namespace {

kestrava::SortSession smallSession()
{
    using namespace kestrava;
    SortSession session;
    session.id = QUuid::fromString(QLatin1String("3F2504E0-4F89-11D3-9A0C-0305E82C3301"));
    session.createdAt = session.updatedAt = QDateTime(QDate(2026, 3, 1), QTime(8, 0), Qt::UTC);
    session.sourceFolder = FileUrl::fromLocalPath(QStringLiteral("/Fotos"));
    for (const char* path : {"/a", "/Fotos/A.JPG", "/Fotos/A.CR3", "/a"}) {
        PhotoItem photo;
        photo.sourceURL = FileUrl::fromLocalPath(QString::fromLatin1(path));
        session.photos.append(photo);
    }
    return session;
}

void compareDecodingPaths(const QByteArray& bytes)
{
    using namespace kestrava;
    const std::optional<SessionEvent> fast = detail::decodeEventLineFast(bytes);
    if (!fast)
        return;
    try {
        if (!(detail::decodeEventLineGeneral(bytes) == *fast))
            std::abort();
    } catch (const SessionStoreError&) {
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    using namespace kestrava;
    const QByteArray bytes(reinterpret_cast<const char*>(data), qsizetype(size));
    compareDecodingPaths(bytes);
    try {
        const SessionEvent event = decodeEventLine(bytes);
        const QByteArray line = encodeEventLine(event);
        if (line.contains('\n') || !(decodeEventLine(line) == event))
            std::abort();
    } catch (const SessionStoreError&) {
    }
    static const SortSession session = smallSession();
    SortSession replayed = session;
    try {
        replayEvents(replayed, bytes);
        if (replayed.photos.size() != session.photos.size() || replayed.lastEventSequence < session.lastEventSequence)
            std::abort();
    } catch (const SessionStoreError&) {
    }
    return 0;
}
