// kestrava-cli sort end to end in each mode, the report, and the exit codes of the executing
// commands. Every run works in a temporary folder with its own XDG folders.

#include "CliTestSupport.h"

#include "model/Json.h"
#include "model/PhotoModel.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QRegularExpression>
#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::test;

namespace {

QList<QByteArray> sortedKeys(const ShootDigests& digests)
{
    return digests.keys(); // QMap keys are already sorted
}

int countRecords(const QJsonObject& output, const QString& status)
{
    int count = 0;
    for (const QJsonValue& record : output.value(QLatin1String("records")).toArray())
        count += record.toObject().value(QLatin1String("status")).toString() == status;
    return count;
}

} // namespace

TEST(SortCli, safeCopyCopiesEveryFileByteIdenticalAndWritesTheReport)
{
    TempTree tree;
    const QString source = tree.path(QStringLiteral("Karte"));
    const ShootDigests shoot = writeShoot(source, 10, 5);
    const QProcessEnvironment environment = isolatedEnvironment(tree.root());
    const QString store = tree.path(QStringLiteral("S"));
    const QString report = tree.path(QStringLiteral("Kestrava-Bericht.txt"));

    const CliResult result = runCli(sortArguments(source, tree.path(QStringLiteral("Ziel")), store, QStringLiteral("safeCopy"),
                                                  QStringLiteral("sha256"))
                                        + QStringList{QStringLiteral("--report"), report},
                                    environment);
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    const QJsonObject output = lastJson(result.out);
    EXPECT_EQ(output.value(QLatin1String("organizedCount")).toInt(), 25);
    EXPECT_EQ(output.value(QLatin1String("pendingCount")).toInt(), 0);
    EXPECT_TRUE(output.value(QLatin1String("errors")).toArray().isEmpty());
    EXPECT_EQ(countRecords(output, QStringLiteral("completed")), 25);
    const QString resultFolder = tree.path(QStringLiteral("Ziel/Lauf"));
    EXPECT_EQ(output.value(QLatin1String("destinationFolder")).toString(), FileUrl::fromLocalPath(resultFolder).toUrlString());

    // One copy of every file, byte for byte; nothing temporary and no lock left behind; the
    // originals untouched.
    EXPECT_EQ(digestsBelow(resultFolder), sortedKeys(shoot));
    for (const QString& name : filesBelow(resultFolder))
        EXPECT_FALSE(QFileInfo(name).fileName().startsWith(QLatin1Char('.'))) << name.toStdString();
    EXPECT_EQ(digestsBelow(source), sortedKeys(shoot));

    // Plain progress lines, since standard error is no terminal here.
    EXPECT_TRUE(QString::fromUtf8(result.err).contains(QStringLiteral("/25 Dateien"))) << result.err.toStdString();

    const QString text = QString::fromUtf8(readFile(report));
    EXPECT_TRUE(QRegularExpression(QStringLiteral("^Kestrava \\d+\\.\\d+\\.\\d+ Bericht$")).match(text.section(QLatin1Char('\n'), 0, 0)).hasMatch());
    EXPECT_TRUE(text.section(QLatin1Char('\n'), 1).startsWith(QStringLiteral("Modus: Sicher kopieren\nQuelle: Karte\nZiel: Lauf\n")))
        << text.toStdString();
    EXPECT_TRUE(text.contains(QStringLiteral("\nOrganisiert: 25\n")));
    EXPECT_TRUE(text.endsWith(QStringLiteral("\nAusstehend: 0\nFehler: 0")));

    // The finished session is no longer offered for resuming.
    const CliResult resume = runCli({QStringLiteral("resume"), QStringLiteral("--store"), store}, environment);
    EXPECT_EQ(resume.exitCode, 1);
    EXPECT_TRUE(QString::fromUtf8(resume.err).contains(QStringLiteral("keine unterbrochene Sitzung"))) << resume.err.toStdString();
}

TEST(SortCli, moveOriginalsLeavesEveryFileExactlyOnceInTheResult)
{
    TempTree tree;
    const QString source = tree.path(QStringLiteral("Karte"));
    const ShootDigests shoot = writeShoot(source, 8, 4);
    const QProcessEnvironment environment = isolatedEnvironment(tree.root());
    const QString base = tree.path(QStringLiteral("Ziel"));

    const CliResult result = runCli(sortArguments(source, base, tree.path(QStringLiteral("S")), QStringLiteral("moveOriginals"),
                                                  QStringLiteral("sha256"))
                                        + QStringList{QStringLiteral("--no-date-folders")},
                                    environment);
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_EQ(lastJson(result.out).value(QLatin1String("organizedCount")).toInt(), 20);
    EXPECT_EQ(digestsBelow(tree.path(QStringLiteral("Ziel/Lauf"))), sortedKeys(shoot));
    EXPECT_TRUE(filesBelow(source).isEmpty()) << filesBelow(source).join(QLatin1Char(' ')).toStdString();
    // Without date folders nothing below the result folder is named like a date.
    for (const QString& name : filesBelow(tree.path(QStringLiteral("Ziel/Lauf"))))
        EXPECT_FALSE(name.contains(QRegularExpression(QStringLiteral("\\d{4}-\\d{2}-\\d{2}")))) << name.toStdString();
}

TEST(SortCli, refusesBadArgumentsAndReportsMissingWorkInGerman)
{
    TempTree tree;
    const QString source = tree.path(QStringLiteral("Karte"));
    writeShoot(source, 1, 1);
    const QProcessEnvironment environment = isolatedEnvironment(tree.root());
    const QString store = tree.path(QStringLiteral("S"));
    const QStringList valid = sortArguments(source, tree.path(QStringLiteral("Ziel")), store, QStringLiteral("safeCopy"));

    auto without = [&](const QString& option) {
        QStringList arguments = valid;
        const qsizetype at = arguments.indexOf(option);
        arguments.remove(at, 2);
        return arguments;
    };
    auto replaced = [&](const QString& option, const QString& value) {
        QStringList arguments = valid;
        arguments[arguments.indexOf(option) + 1] = value;
        return arguments;
    };
    EXPECT_EQ(runCli(without(QStringLiteral("--dest")), environment).exitCode, 2);
    EXPECT_EQ(runCli(without(QStringLiteral("--all")), environment).exitCode, 2);
    EXPECT_EQ(runCli(replaced(QStringLiteral("--mode"), QStringLiteral("copy")), environment).exitCode, 2);
    EXPECT_EQ(runCli(replaced(QStringLiteral("--verify"), QStringLiteral("md5")), environment).exitCode, 2);
    // The second trash confirmation only exists for the trash mode.
    EXPECT_EQ(runCli(valid + QStringList{QStringLiteral("--confirm-trash")}, environment).exitCode, 2);
    EXPECT_EQ(runCli({QStringLiteral("resume"), QStringLiteral("jetzt")}, environment).exitCode, 2);
    EXPECT_EQ(runCli({QStringLiteral("trash"), QStringLiteral("leeren")}, environment).exitCode, 2);
    EXPECT_EQ(runCli({QStringLiteral("trash")}, environment).exitCode, 2);

    const CliResult noSession = runCli({QStringLiteral("resume"), QStringLiteral("--store"), store}, environment);
    EXPECT_EQ(noSession.exitCode, 1);
    EXPECT_EQ(noSession.err.trimmed(), QStringLiteral("Es gibt keine unterbrochene Sitzung, die fortgesetzt werden kann.").toUtf8());
    const CliResult noTrash = runCli({QStringLiteral("trash"), QStringLiteral("commit"), QStringLiteral("--store"), store}, environment);
    EXPECT_EQ(noTrash.exitCode, 1);
    EXPECT_EQ(noTrash.err.trimmed(), QStringLiteral("Es gibt keinen vorbereiteten Papierkorb-Vorgang.").toUtf8());

    // A folder that is not there fails with a German message and copies nothing.
    QStringList missingFolder = valid;
    missingFolder[1] = tree.path(QStringLiteral("Fehlt"));
    const CliResult missing = runCli(missingFolder, environment);
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_FALSE(missing.err.trimmed().isEmpty());
    EXPECT_FALSE(QFileInfo::exists(tree.path(QStringLiteral("Ziel/Lauf"))));
}
