#include "CliCommand.h"
#include "model/PhotoModelJson.h"
#include "scanning/FormatPreselection.h"
#include "scanning/PhotoInventoryScanner.h"

#include <QFileInfo>

namespace {

using namespace kestrava;

constexpr char groupsUsage[] = "groups DIR [--choice jpeg|raw|both]";

int runGroups(const QStringList& arguments)
{
    const cli::Arguments args(arguments, {QStringLiteral("--choice")});
    if (!args.ok() || args.positional().size() != 1 || args.positional().first().isEmpty())
        return cli::usage(groupsUsage);
    std::optional<FormatReviewChoice> choice;
    if (args.has(QStringLiteral("--choice"))) {
        choice = enumFromRaw<FormatReviewChoice>(args.value(QStringLiteral("--choice")));
        if (!choice)
            return cli::usage(groupsUsage);
    }
    try {
        const QList<PhotoItem> items =
            PhotoInventoryScanner::scan(FileUrl::fromLocalPath(QFileInfo(args.positional().first()).absoluteFilePath()));
        if (!choice) {
            qsizetype jpegs = 0;
            qsizetype raws = 0;
            for (const PhotoItem& item : items) {
                jpegs += item.formatGroup == PhotoFormatGroup::jpeg;
                raws += item.formatGroup == PhotoFormatGroup::raw;
            }
            choice = preselectedReviewChoice(jpegs, raws);
        }
        // No choice means nothing was found; the list of groups is then empty as well.
        const QList<PhotoItem> reviewed = choice ? photosReviewedBy(items, *choice) : QList<PhotoItem>();
        QJsonArray groups;
        for (const ReviewGroup& group : ReviewGroup::build(reviewed, choice))
            groups.append(toJson(group));
        cli::printJson(json::toCompactJson(groups));
        return cli::success;
    } catch (const KestravaError& error) {
        return cli::fail(error.description());
    }
}

const cli::Registration registration{"groups", groupsUsage, &runGroups};

} // namespace
