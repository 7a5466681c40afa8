// kestrava-cli session show FILE | session latest   [--store DIR]

#include "CliCommand.h"

#include "platform/DurableFile.h"
#include "session/SessionStore.h"

namespace {

using namespace kestrava;
using namespace Qt::StringLiterals;

constexpr const char* usageText = "session show FILE | session latest [--store DIR]";

int runSession(const QStringList& arguments)
{
    const cli::Arguments args(arguments, {u"--store"_s});
    const QStringList& positional = args.positional();
    if (!args.ok() || positional.isEmpty())
        return cli::usage(usageText);
    try {
        if (positional.first() == "show"_L1 && positional.size() == 2) {
            const SortSession session = decodeSortSession(readWholeFile(positional[1]));
            cli::printJson(encodeSortSession(session));
            return cli::success;
        }
        if (positional.first() == "latest"_L1 && positional.size() == 1) {
            SessionStore store(args.has(u"--store"_s) ? args.value(u"--store"_s) : SessionStore::defaultDirectory());
            const std::optional<SortSession> session = store.loadLatestIncomplete().result();
            cli::printJson(session ? encodeSortSession(*session) : QByteArray("null"));
            return cli::success;
        }
    } catch (const KestravaError& error) {
        return cli::fail(error.description());
    }
    return cli::usage(usageText);
}

const cli::Registration registration{"session", usageText, &runSession};

} // namespace
