#include "CliCommand.h"
#include "model/Json.h"
#include "scanning/generator/ShootGenerator.h"

#include <QRegularExpression>

namespace {

using namespace kestrava;

constexpr char generateUsage[] =
    "generate DIR --shots N [--raw-ratio R] [--seed S] [--size BREITExHÖHE] [--no-extras] [--names-only --folders F]";

int runGenerate(const QStringList& arguments)
{
    const cli::Arguments args(arguments,
                              {QStringLiteral("--shots"), QStringLiteral("--raw-ratio"), QStringLiteral("--seed"),
                               QStringLiteral("--size"), QStringLiteral("--folders")},
                              {QStringLiteral("--no-extras"), QStringLiteral("--names-only")});
    if (!args.ok() || args.positional().size() != 1 || !args.has(QStringLiteral("--shots")))
        return cli::usage(generateUsage);

    bool ok = true;
    shootgen::ShootOptions options;
    options.shots = args.value(QStringLiteral("--shots")).toInt(&ok);
    if (!ok || options.shots < 0)
        return cli::usage(generateUsage);
    options.rawRatio = args.value(QStringLiteral("--raw-ratio"), QStringLiteral("0.5")).toDouble(&ok);
    if (!ok || options.rawRatio < 0.0 || options.rawRatio > 1.0)
        return cli::usage(generateUsage);
    options.seed = args.value(QStringLiteral("--seed"), QStringLiteral("1")).toULongLong(&ok);
    if (!ok)
        return cli::usage(generateUsage);
    if (args.has(QStringLiteral("--size"))) {
        static const QRegularExpression pattern(QStringLiteral("^(\\d{1,5})x(\\d{1,5})$"));
        const auto match = pattern.match(args.value(QStringLiteral("--size")));
        if (!match.hasMatch())
            return cli::usage(generateUsage);
        options.imageSize = QSize(match.captured(1).toInt(), match.captured(2).toInt());
        if (options.imageSize.isEmpty())
            return cli::usage(generateUsage);
    }
    options.distractors = !args.has(QStringLiteral("--no-extras"));

    try {
        if (args.has(QStringLiteral("--names-only"))) {
            const int folders = args.value(QStringLiteral("--folders"), QStringLiteral("1")).toInt(&ok);
            if (!ok || folders < 1)
                return cli::usage(generateUsage);
            const int perFolder = (options.shots + folders - 1) / folders;
            const qsizetype files =
                shootgen::generateNameOnlyTree(args.positional().first(), folders, perFolder, options.rawRatio, options.seed);
            QJsonObject summary;
            summary.insert(QLatin1String("photoFiles"), files);
            summary.insert(QLatin1String("folders"), folders);
            cli::printJson(json::toCompactJson(summary));
            return cli::success;
        }
        const shootgen::ShootSummary summary = shootgen::generateShoot(args.positional().first(), options);
        cli::printJson(json::toCompactJson(summary.toJson()));
        return cli::success;
    } catch (const KestravaError& error) {
        return cli::fail(error.description());
    }
}

const cli::Registration registration{"generate", generateUsage, &runGenerate};

} // namespace
