#include "CliCommand.h"
#include "FocusSupport.h"

#include "model/KestravaError.h"
#include "model/SeriesBuilder.h"
#include "preview/ExifDates.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtConcurrent/QtConcurrentMap>

#include <cmath>

namespace {

using namespace kestrava;

constexpr const char* usageText = "series DIR [--gap SEKUNDEN]";

// "1", "0.5" and the German "0,5"; nullopt for anything else, negative or beyond an hour.
std::optional<std::chrono::milliseconds> parseGap(QString text)
{
    text.replace(QLatin1Char(','), QLatin1Char('.'));
    bool ok = false;
    const double seconds = text.toDouble(&ok);
    if (!ok || !std::isfinite(seconds) || seconds < 0 || seconds > 3600)
        return std::nullopt;
    return std::chrono::milliseconds(std::llround(seconds * 1000));
}

// Every series of the folder's review groups in review order: the paths (relative to the
// folder) of its groups' preview files and the one of them with the highest focus score (null
// when none could be measured). Groups whose files record no capture time join no series:
// a file date is no capture time.
int runSeries(const QStringList& arguments)
{
    const cli::Arguments args(arguments, {QStringLiteral("--gap")});
    if (!args.ok() || args.positional().size() != 1 || args.positional().first().isEmpty())
        return cli::usage(usageText);
    const auto gap = args.has(QStringLiteral("--gap")) ? parseGap(args.value(QStringLiteral("--gap"))) : std::optional(defaultSeriesGap);
    if (!gap)
        return cli::usage(usageText);

    cli::FolderGroups folder;
    try {
        folder = cli::reviewGroupsOf(QFileInfo(args.positional().first()).absoluteFilePath());
    } catch (const KestravaError& error) {
        return cli::fail(error.description());
    }
    const QList<std::optional<QDateTime>> times = QtConcurrent::blockingMapped(
        folder.groups, [](const ReviewGroup& group) { return readCaptureDate(group.previewURL.path()); });
    QList<SeriesEntry> entries;
    for (qsizetype i = 0; i < folder.groups.size(); ++i)
        entries.append({folder.groups[i].previewURL.parent(), times[i]});
    const QList<Series> series = findSeries(entries, *gap);

    QList<qsizetype> members;
    QList<FileUrl> files;
    for (const Series& one : series)
        for (qsizetype i = one.first; i < one.first + one.length; ++i) {
            members.append(i);
            files.append(folder.groups[i].previewURL);
        }
    const QList<std::optional<float>> measured = cli::sharpnessOf(files);
    QList<std::optional<float>> scores(folder.groups.size());
    for (qsizetype k = 0; k < members.size(); ++k)
        scores[members[k]] = measured[k];

    const QHash<FileUrl, QString> relative = cli::relativePaths(folder.photos);
    const auto relativePath = [&](qsizetype i) {
        const FileUrl& url = folder.groups[i].previewURL;
        return relative.value(url, url.fileName());
    };
    QJsonArray result;
    for (const Series& one : series) {
        QJsonArray paths;
        for (qsizetype i = one.first; i < one.first + one.length; ++i)
            paths.append(relativePath(i));
        const qsizetype sharpest = sharpestOf(one, scores);
        QJsonObject entry;
        entry.insert(QStringLiteral("members"), paths);
        entry.insert(QStringLiteral("sharpest"), sharpest < 0 ? QJsonValue(QJsonValue::Null) : QJsonValue(relativePath(sharpest)));
        result.append(entry);
    }
    cli::printJson(QJsonDocument(result).toJson(QJsonDocument::Compact));
    return cli::success;
}

const cli::Registration registration{"series", usageText, &runSeries};

} // namespace
