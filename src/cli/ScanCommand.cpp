#include "CliCommand.h"
#include "CliWording.h"
#include "scanning/PhotoInventoryScanner.h"
#include "scanning/PhotoScannerError.h"
#include "session/JsonTextWriter.h"

#include <QFile>
#include <QFileInfo>

namespace {

using namespace kestrava;

constexpr char scanUsage[] = "scan DIR";

// A folder of 100,000 photos would first become a JSON document tree of 100,000 objects and
// then text; coded straight into text and handed on in chunks, the output costs about as much
// as the walk itself.
void printItemsStreaming(const QList<PhotoItem>& items)
{
    constexpr qsizetype chunkBytes = 1 << 20;
    QFile out;
    if (!out.open(stdout, QIODevice::WriteOnly))
        return;
    JsonTextWriter writer(chunkBytes + 4096);
    writer.beginArray();
    for (const PhotoItem& item : items) {
        writePhotoJson(writer, item);
        if (writer.pendingBytes() >= chunkBytes)
            out.write(writer.take());
    }
    writer.endArray();
    out.write(writer.take());
    out.write("\n");
    out.flush();
}

int runScan(const QStringList& arguments)
{
    const cli::Arguments args(arguments, {});
    if (!args.ok() || args.positional().size() != 1 || args.positional().first().isEmpty())
        return cli::usage(scanUsage);
    try {
        const FileUrl folder = FileUrl::fromLocalPath(QFileInfo(args.positional().first()).absoluteFilePath());
        const PhotoScanOutcome outcome = PhotoInventoryScanner::scanDetailed(folder);
        printItemsStreaming(outcome.items);
        if (const QString note = skippedEntriesNote(outcome.skippedEntryCount()); !note.isEmpty())
            cli::err() << cli::note(note) << "\n";
        cli::err().flush();
        return cli::success;
    } catch (const KestravaError& error) {
        return cli::fail(error.description());
    }
}

const cli::Registration registration{"scan", scanUsage, &runScan};

} // namespace
