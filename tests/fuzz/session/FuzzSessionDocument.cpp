// Session document decoding never crashes or accepts half a document; whatever it accepts
// encodes to a document that decodes to the same session and the same bytes again; the fast
// and the general decoding path agree.

#include "session/SessionStoreError.h"
#include "session/SortSession.h"
#include "session/SortSessionReader.h"

#include <cstdint>
#include <cstdlib>

namespace {

// The fast photo-list path and the general path reach the same verdict on every input.
void compareDecodingPaths(const QByteArray& bytes)
{
    using namespace kestrava;
    std::optional<SortSession> fast;
    std::optional<SessionStoreError::Kind> fastError;
    try {
        fast = detail::decodeSortSessionFast(bytes);
        if (!fast)
            return;
    } catch (const SessionStoreError& error) {
        fastError = error.kind();
    }
    try {
        const SortSession general = detail::decodeSortSessionGeneral(bytes);
        if (fastError || !(general == *fast))
            std::abort();
    } catch (const SessionStoreError& error) {
        if (fastError != error.kind())
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
        const SortSession session = decodeSortSession(bytes);
        const QByteArray encoded = encodeSortSession(session);
        const SortSession again = decodeSortSession(encoded);
        if (!(again == session) || encodeSortSession(again) != encoded)
            std::abort();
        // The direct text encoder and Qt's JSON writer agree on everything we can decode.
        if (encoded != json::toCompactJson(toJson(session)))
            std::abort();
    } catch (const SessionStoreError&) {
    }
    return 0;
}
