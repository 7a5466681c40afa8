#include "CliCommand.h"
#include "CliWording.h"
#include "scanning/PhotoInventoryScanner.h"
#include "scanning/PhotoScannerError.h"
#include "session/JsonTextWriter.h"

#include <QFile>
#include <QFileInfo>
#include <QtConcurrent/QtConcurrentRun>

#include <deque>

namespace {

using namespace kestrava;

constexpr char scanUsage[] = "scan DIR";

// The members of items[begin, end) as the array's text codes them, comma-separated, without
// brackets.
QByteArray encodeRun(const QList<PhotoItem>& items, qsizetype begin, qsizetype end)
{
    JsonTextWriter writer((end - begin) * 320);
    writer.beginArray();
    for (qsizetype i = begin; i < end; ++i)
        writePhotoJson(writer, items[i]);
    QByteArray text = writer.take();
    text.remove(0, 1); // the "[" that made the writer put commas between members
    return text;
}

// A folder of 100,000 photos would first become a JSON document tree of 100,000 objects and
// then text; coded straight into text, the output costs about as much as the walk itself.
// Coding is what stands between the walk and the end of the command, so runs of items are
// coded on the pool's threads while this one writes the runs before them, in order. A few
// runs at most are held at once, so memory stays small for any folder.
void printItemsStreaming(const QList<PhotoItem>& items)
{
    // A short first run gets the first bytes out while the longer ones behind it are coded.
    constexpr qsizetype firstRunLength = 256;
    constexpr qsizetype runLength = 2048;
    constexpr std::size_t runsAhead = 4;
    QFile out;
    if (!out.open(stdout, QIODevice::WriteOnly))
        return;
    std::deque<QFuture<QByteArray>> pending;
    qsizetype next = 0;
    const auto startRun = [&] {
        const qsizetype begin = next;
        next = std::min(items.size(), next + (begin == 0 ? firstRunLength : runLength));
        pending.push_back(QtConcurrent::run([&items, begin, end = next] { return encodeRun(items, begin, end); }));
    };
    while (pending.size() < runsAhead && next < items.size())
        startRun();
    out.write("[");
    for (bool first = true; !pending.empty(); first = false) {
        const QByteArray text = pending.front().result();
        pending.pop_front();
        if (next < items.size())
            startRun();
        if (!first)
            out.write(",");
        out.write(text);
    }
    out.write("]\n");
    out.flush();
}

int runScan(const QStringList& arguments)
{
    const cli::Arguments args(arguments, {});
    if (!args.ok() || args.positional().size() != 1 || args.positional().first().isEmpty())
        return cli::usage(scanUsage);
    try {
        const FileUrl folder = FileUrl::fromLocalPath(QFileInfo(args.positional().first()).absoluteFilePath());
        // Kept to the end of the process: the system takes back the memory of 100,000 items at
        // once, where freeing them one by one would keep the command running for that long.
        // Held by a static so that leak checkers see it as still reachable.
        static const PhotoScanOutcome* kept = nullptr;
        kept = new PhotoScanOutcome(PhotoInventoryScanner::scanDetailed(folder));
        const PhotoScanOutcome& outcome = *kept;
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
