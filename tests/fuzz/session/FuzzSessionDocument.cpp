// Session document decoding never crashes or accepts half a document; whatever it accepts
// encodes to a document that decodes to the same session and the same bytes again.

#include "session/SessionStoreError.h"
#include "session/SortSession.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    using namespace kestrava;
    const QByteArray bytes(reinterpret_cast<const char*>(data), qsizetype(size));
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
