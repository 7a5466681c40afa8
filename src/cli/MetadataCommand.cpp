#include "CliCommand.h"

#include "preview/ExifDates.h"
#include "preview/RegularFile.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

constexpr const char* usageText = "metadata FILE…";

// One entry per file in argument order; the path as given, the date as local wall-clock time.
// A path that is not a regular file gets no date, is named on standard error and fails the
// command once every other file is done.
int runMetadata(const QStringList& arguments)
{
    bool allReadable = true;
    const kestrava::cli::Arguments args(arguments, {});
    if (!args.ok() || args.positional().isEmpty())
        return kestrava::cli::usage(usageText);
    QJsonArray entries;
    for (const QString& path : args.positional()) {
        QJsonObject entry;
        entry.insert(QStringLiteral("path"), path);
        if (kestrava::preview::existsButIsNotRegular(path)) {
            kestrava::cli::err() << kestrava::preview::notRegularFileMessage(path) << "\n";
            allReadable = false;
        }
        const std::optional<QDateTime> date = kestrava::readCaptureDate(path);
        entry.insert(QStringLiteral("captureDate"),
                     date ? QJsonValue(date->toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss"))) : QJsonValue(QJsonValue::Null));
        entries.append(entry);
    }
    kestrava::cli::printJson(QJsonDocument(entries).toJson(QJsonDocument::Compact));
    kestrava::cli::err().flush();
    return allReadable ? kestrava::cli::success : kestrava::cli::failure;
}

const kestrava::cli::Registration registration{"metadata", usageText, &runMetadata};

} // namespace
