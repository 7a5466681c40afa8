#include "CliCommand.h"
#include "FocusSupport.h"

#include "model/KestravaError.h"
#include "preview/RegularFile.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>

namespace {

using namespace kestrava;

constexpr const char* usageText = "sharpness FILE|DIR…";

// One entry per file in argument order, a folder standing for the preview file of each of its
// review groups (its path joined to the folder as given). Higher is sharper; the numbers
// compare frames of one scene. A file without a preview gets null, is named on standard error
// and fails the command once every other file is done.
int runSharpness(const QStringList& arguments)
{
    const cli::Arguments args(arguments, {});
    if (!args.ok() || args.positional().isEmpty())
        return cli::usage(usageText);
    QStringList shown;
    QList<FileUrl> files;
    try {
        for (const QString& argument : args.positional()) {
            const QFileInfo info(argument);
            if (!info.isDir()) {
                shown.append(argument);
                files.append(FileUrl::fromLocalPath(info.absoluteFilePath()));
                continue;
            }
            const cli::FolderGroups folder = cli::reviewGroupsOf(info.absoluteFilePath());
            const QHash<FileUrl, QString> relative = cli::relativePaths(folder.photos);
            for (const ReviewGroup& group : folder.groups) {
                shown.append(QDir(argument).filePath(relative.value(group.previewURL, group.previewURL.fileName())));
                files.append(group.previewURL);
            }
        }
    } catch (const KestravaError& error) {
        return cli::fail(error.description());
    }

    const QList<std::optional<float>> scores = cli::sharpnessOf(files);
    bool allMeasured = true;
    QJsonArray entries;
    for (qsizetype i = 0; i < files.size(); ++i) {
        QJsonObject entry;
        entry.insert(QStringLiteral("path"), shown[i]);
        if (scores[i]) {
            entry.insert(QStringLiteral("sharpness"), std::round(double(*scores[i]) * 100) / 100);
        } else {
            entry.insert(QStringLiteral("sharpness"), QJsonValue(QJsonValue::Null));
            const QString path = files[i].path();
            QString message;
            if (preview::existsButIsNotRegular(path))
                message = preview::notRegularFileMessage(path);
            else if (!QFileInfo::exists(path))
                message = QStringLiteral("„%1“ wurde nicht gefunden.").arg(shown[i]);
            else
                message = QStringLiteral("Für „%1“ kann keine Schärfe bestimmt werden: Es lässt sich keine Vorschau erzeugen.").arg(files[i].fileName());
            cli::err() << message << "\n";
            allMeasured = false;
        }
        entries.append(entry);
    }
    cli::printJson(QJsonDocument(entries).toJson(QJsonDocument::Compact));
    cli::err().flush();
    return allMeasured ? cli::success : cli::failure;
}

const cli::Registration registration{"sharpness", usageText, &runSharpness};

} // namespace
