// kestrava-cli csv FILE [--store DIR]: the rows of a recovery CSV as JSON.

#include "CliCommand.h"

#include "platform/DurableFile.h"
#include "session/RecoveryCsv.h"

namespace {

using namespace kestrava;
using namespace Qt::StringLiterals;

constexpr const char* usageText = "csv FILE [--store DIR]";

int runCsv(const QStringList& arguments)
{
    const cli::Arguments args(arguments, {u"--store"_s});
    if (!args.ok() || args.positional().size() != 1)
        return cli::usage(usageText);
    try {
        QJsonArray rows;
        for (const RecoveryCSVRow& row : RecoveryCSVImporter::parse(readWholeFile(args.positional().first()))) {
            QJsonObject o{{u"filename"_s, row.filename},
                          {u"format"_s, rawValue(row.format)},
                          {u"decision"_s, rawValue(row.decision)},
                          {u"copyStatus"_s, row.copyStatus},
                          {u"evidence"_s, row.evidence}};
            if (row.relativePath)
                o.insert(u"relativePath"_s, *row.relativePath);
            rows.append(o);
        }
        cli::printJson(json::toCompactJson(rows));
        return cli::success;
    } catch (const KestravaError& error) {
        return cli::fail(error.description());
    }
}

const cli::Registration registration{"csv", usageText, &runCsv};

} // namespace
