#include "CliCommand.h"
#include "CliWording.h"

#include "model/EnumNames.h"
#include "preview/PreviewRenderer.h"
#include "preview/RegularFile.h"

#include <QFileInfo>
#include <QImageWriter>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

constexpr const char* usageText = "preview FILE [--size N] --out OUT.jpg";

int runPreview(const QStringList& arguments)
{
    using namespace kestrava;
    const cli::Arguments args(arguments, {QStringLiteral("--size"), QStringLiteral("--out")});
    if (!args.ok() || args.positional().size() != 1 || !args.has(QStringLiteral("--out")))
        return cli::usage(usageText);
    bool sizeOk = true;
    const int size = args.value(QStringLiteral("--size"), QStringLiteral("2048")).toInt(&sizeOk);
    if (!sizeOk || size <= 0)
        return cli::usage(usageText);

    const QString input = QFileInfo(args.positional().first()).absoluteFilePath();
    if (preview::existsButIsNotRegular(input))
        return cli::fail(preview::notRegularFileMessage(input));
    const std::optional<PreviewPayload> payload = PreviewRenderer::render(input, size);
    if (!payload)
        return cli::fail(cli::noPreviewPossible(QFileInfo(input).fileName()));

    const QString output = args.value(QStringLiteral("--out"));
    if (QFileInfo::exists(output))
        return cli::fail(cli::outputExists(output));
    QImageWriter writer(output, "jpeg");
    writer.setQuality(82);
    if (!writer.write(payload->image))
        return cli::fail(cli::outputNotWritten(output, writer.errorString()));

    QJsonObject result;
    result.insert(QStringLiteral("width"), payload->image.width());
    result.insert(QStringLiteral("height"), payload->image.height());
    result.insert(QStringLiteral("source"), rawValue(payload->source));
    cli::printJson(QJsonDocument(result).toJson(QJsonDocument::Compact));
    return cli::success;
}

const kestrava::cli::Registration registration{"preview", usageText, &runPreview};

} // namespace
