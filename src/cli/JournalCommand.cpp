#include "CliCommand.h"

#include "trash/DurableTrashJournal.h"
#include "trash/TrashJson.h"
#include "trash/TrashTransactionError.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

using namespace kestrava;

constexpr const char* usageText = "journal verify PATH";

// PATH is a session's journal folder or the journal file itself. Nothing is ever written:
// inspecting a journal must not create or change one.
int runJournal(const QStringList& arguments)
{
    const cli::Arguments args(arguments, {});
    if (!args.ok() || args.positional().size() != 2 || args.positional().first() != QLatin1String("verify"))
        return cli::usage(usageText);
    QString path = args.positional().at(1);
    if (QFileInfo(path).isDir())
        path = QFileInfo(path).absoluteFilePath() + QLatin1Char('/') + QLatin1String(DurableTrashJournal::fileName);

    try {
        const QList<TrashJournalRecord> records = DurableTrashJournal::verifyFile(path);
        QJsonArray entries;
        for (const TrashEntry& entry : DurableTrashJournal::foldLatest(records))
            entries.append(toJson(entry, TrashDateStyle::millisecondsSince1970));
        QJsonObject result;
        result.insert(QLatin1String("recordCount"), qint64(records.size()));
        result.insert(QLatin1String("entries"), entries);
        cli::printJson(QJsonDocument(result).toJson(QJsonDocument::Compact));
        return cli::success;
    } catch (const KestravaError& error) {
        return cli::fail(error.description());
    }
}

const cli::Registration registration{"journal", usageText, &runJournal};

} // namespace
