#include "CliCommand.h"
#include "model/PhotoModelJson.h"
#include "scanning/PhotoInventoryScanner.h"

#include <QFileInfo>

namespace {

using namespace kestrava;

constexpr char scanUsage[] = "scan DIR";

int runScan(const QStringList& arguments)
{
    const cli::Arguments args(arguments, {});
    if (!args.ok() || args.positional().size() != 1 || args.positional().first().isEmpty())
        return cli::usage(scanUsage);
    try {
        const FileUrl folder = FileUrl::fromLocalPath(QFileInfo(args.positional().first()).absoluteFilePath());
        const PhotoScanOutcome outcome = PhotoInventoryScanner::scanDetailed(folder);
        cli::printJson(json::toCompactJson(toJson(outcome.items)));
        if (const QString note = skippedEntriesNote(outcome.skippedEntryCount()); !note.isEmpty())
            cli::err() << "Hinweis: " << note << "\n";
        cli::err().flush();
        return cli::success;
    } catch (const KestravaError& error) {
        return cli::fail(error.description());
    }
}

const cli::Registration registration{"scan", scanUsage, &runScan};

} // namespace
