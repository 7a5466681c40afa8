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
        const int names = outcome.skippedUndecodableNames;
        const int folders = outcome.skippedUnreadableFolders;
        if (names == 1)
            cli::err() << "Hinweis: 1 Eintrag mit ungültig kodiertem Namen wurde übergangen.\n";
        else if (names > 1)
            cli::err() << "Hinweis: " << names << " Einträge mit ungültig kodiertem Namen wurden übergangen.\n";
        if (folders == 1)
            cli::err() << "Hinweis: 1 Unterordner konnte nicht gelesen werden und wurde übergangen.\n";
        else if (folders > 1)
            cli::err() << "Hinweis: " << folders << " Unterordner konnten nicht gelesen werden und wurden übergangen.\n";
        cli::err().flush();
        return cli::success;
    } catch (const KestravaError& error) {
        return cli::fail(error.description());
    }
}

const cli::Registration registration{"scan", scanUsage, &runScan};

} // namespace
