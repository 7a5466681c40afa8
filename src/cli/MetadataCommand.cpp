#include "CliCommand.h"

#include "preview/ExifDates.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

constexpr const char* usageText = "metadata FILE…";

// One entry per file in argument order; the path as given, the date as local wall-clock time.
int runMetadata(const QStringList& arguments)
{
    const kestrava::cli::Arguments args(arguments, {});
    if (!args.ok() || args.positional().isEmpty())
        return kestrava::cli::usage(usageText);
    QJsonArray entries;
    for (const QString& path : args.positional()) {
        QJsonObject entry;
        entry.insert(QStringLiteral("path"), path);
        const std::optional<QDateTime> date = kestrava::readCaptureDate(path);
        entry.insert(QStringLiteral("captureDate"),
                     date ? QJsonValue(date->toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss"))) : QJsonValue(QJsonValue::Null));
        entries.append(entry);
    }
    kestrava::cli::printJson(QJsonDocument(entries).toJson(QJsonDocument::Compact));
    return kestrava::cli::success;
}

const kestrava::cli::Registration registration{"metadata", usageText, &runMetadata};

} // namespace
