// Recovery CSV parsing never crashes or hangs and fails only with its own error; the
// tokeniser never yields an empty record.

#include "session/RecoveryCsv.h"
#include "session/SessionStoreError.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    using namespace kestrava;
    const QByteArray bytes(reinterpret_cast<const char*>(data), qsizetype(size));
    try {
        const QList<RecoveryCSVRow> rows = RecoveryCSVImporter::parse(bytes);
        for (const RecoveryCSVRow& row : rows)
            if (row.format == PhotoFormatGroup::other)
                std::abort();
    } catch (const SessionStoreError&) {
    }
    for (const QStringList& record : RecoveryCSVImporter::parseRecords(QString::fromUtf8(bytes)))
        if (record.isEmpty())
            std::abort();
    return 0;
}
