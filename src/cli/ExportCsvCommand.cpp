// kestrava-cli export-csv SESSION_ID_OR_FILE [--out FILE] [--store DIR]: a session's decisions
// as a recovery CSV, on standard output or into a new file (never over an existing one).

#include "CliCommand.h"

#include "platform/DurableFile.h"
#include "session/RecoveryCsv.h"
#include "session/SessionReplay.h"
#include "session/SessionStore.h"

#include <QFileInfo>
#include <cerrno>
#include <cstdio>

namespace {

using namespace kestrava;
using namespace Qt::StringLiterals;

constexpr const char* usageText = "export-csv SESSION_ID_OR_FILE [--out FILE] [--store DIR]";

// A document file; when the store's event log of that session lies beside it, as in the
// store folder itself, its events are replayed too.
SortSession loadDocument(const QString& path)
{
    SortSession session = decodeSortSession(readWholeFile(path));
    const QString log = QFileInfo(path).absolutePath() + u'/' + json::encodeUuid(session.id) + u".events.jsonl"_s;
    try {
        replayEvents(session, readWholeFile(log));
    } catch (const FileSystemError& error) {
        if (error.errorNumber() != ENOENT)
            throw;
    }
    return session;
}

int runExportCsv(const QStringList& arguments)
{
    const cli::Arguments args(arguments, {u"--out"_s, u"--store"_s});
    if (!args.ok() || args.positional().size() != 1)
        return cli::usage(usageText);
    const QString target = args.positional().first();
    try {
        SortSession session;
        if (const auto id = json::decodeUuid(target)) {
            SessionStore store(args.has(u"--store"_s) ? args.value(u"--store"_s) : SessionStore::defaultDirectory());
            session = store.loadSession(*id).result();
        } else {
            session = loadDocument(target);
        }
        const QByteArray csv = exportDecisionsCsv(session);
        if (args.has(u"--out"_s)) {
            // Whole or not at all: a half-written export would import as fewer decisions
            // than the session holds, without any error to warn about it.
            atomicCreate(args.value(u"--out"_s), csv, FileOps::system(), 0644);
        } else {
            std::fwrite(csv.constData(), 1, size_t(csv.size()), stdout);
            std::fflush(stdout);
        }
        return cli::success;
    } catch (const KestravaError& error) {
        return cli::fail(error.description());
    }
}

const cli::Registration registration{"export-csv", usageText, &runExportCsv};

} // namespace
