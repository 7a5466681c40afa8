// kestrava-cli review and sort with a source the scan cannot take whole: names that are not
// UTF-8 and folders that cannot be read are named, counted and keep the run from passing for
// complete; nothing of theirs is touched.

#include "CliTestSupport.h"
#include "PosixHelpers.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <QJsonObject>
#include <QProcess>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace kestrava;
using namespace kestrava::test;

namespace {

constexpr char leftOutNote[] = "nicht Teil dieser Sortierung";

// Every photo of the shoot arrived (the run folder may hold files of its own besides).
bool holdsEveryPhoto(const QString& runFolder, const ShootDigests& shoot)
{
    const QList<QByteArray> found = digestsBelow(runFolder);
    for (const QByteArray& digest : shoot.keys())
        if (!found.contains(digest))
            return false;
    return true;
}

QStringList reviewArguments(const QString& source, const QString& base, const QString& store)
{
    return {QStringLiteral("review"), source, QStringLiteral("--dest"), base, QStringLiteral("--mode"),
            QStringLiteral("safeCopy"), QStringLiteral("--name"), QStringLiteral("Lauf"), QStringLiteral("--store"),
            store, QStringLiteral("--all"), QStringLiteral("keep")};
}

} // namespace

TEST(ReviewCli, entriesWithUndecodableNamesAreNamedCountedLeftInPlaceAndFailTheSort)
{
    TempTree tree;
    const QString source = tree.path(QStringLiteral("Karte"));
    const ShootDigests shoot = writeShoot(source, 2, 1);
    const QByteArray raw = QFile::encodeName(source);
    const QByteArray loose = raw + "/IMG_\xff\xfe.JPG";
    const QByteArray folder = raw + "/DCIM \xe9t\xe9";
    const QByteArray inFolder = folder + "/IMG_9.JPG";
    const RawNameCleanup cleanup({loose, inFolder, folder});
    ASSERT_TRUE(createRawNamedFile(loose, "erstes Original"));
    ASSERT_EQ(::mkdir(folder.constData(), 0755), 0);
    ASSERT_TRUE(createRawNamedFile(inFolder, "zweites Original"));
    const QProcessEnvironment environment = isolatedEnvironment(tree.root());
    const QString store = tree.path(QStringLiteral("S"));

    const CliResult review = runCli(reviewArguments(source, tree.path(QStringLiteral("Ziel")), store), environment);
    ASSERT_EQ(review.exitCode, 0) << review.err.toStdString();
    EXPECT_EQ(lastJson(review.out).value(QLatin1String("skippedEntryCount")).toInt(), 2);
    EXPECT_TRUE(review.err.contains(leftOutNote)) << review.err.toStdString();

    // The other photos are moved; the sort still must not pass for complete, since the card
    // is not empty afterwards.
    const CliResult sort =
        runCli(sortArguments(source, tree.path(QStringLiteral("Ziel")), store, QStringLiteral("moveOriginals")), environment);
    EXPECT_EQ(sort.exitCode, 1) << sort.err.toStdString();
    const QJsonObject output = lastJson(sort.out);
    EXPECT_EQ(output.value(QLatin1String("skippedEntryCount")).toInt(), 2);
    EXPECT_EQ(output.value(QLatin1String("pendingCount")).toInt(), 0);
    EXPECT_TRUE(sort.err.contains(leftOutNote)) << sort.err.toStdString();
    EXPECT_TRUE(holdsEveryPhoto(tree.path(QStringLiteral("Ziel/Lauf")), shoot));
    EXPECT_EQ(readRawNamedFile(loose), "erstes Original");
    EXPECT_EQ(readRawNamedFile(inFolder), "zweites Original");

    // A source the scan takes whole is a complete run.
    const QString clean = tree.path(QStringLiteral("Sauber"));
    writeShoot(clean, 1, 0, 11);
    const CliResult complete =
        runCli(sortArguments(clean, tree.path(QStringLiteral("Ziel2")), store, QStringLiteral("safeCopy")), environment);
    EXPECT_EQ(complete.exitCode, 0) << complete.err.toStdString();
    EXPECT_EQ(lastJson(complete.out).value(QLatin1String("skippedEntryCount")).toInt(-1), 0);
    EXPECT_FALSE(complete.err.contains(leftOutNote));

    // Results asked for inside the source are named before the review starts.
    const CliResult inside = runCli(reviewArguments(clean, clean + QStringLiteral("/Sortiert"), store), environment);
    EXPECT_EQ(inside.exitCode, 0) << inside.err.toStdString();
    EXPECT_TRUE(inside.err.contains("Die Zielbasis liegt im Quellordner")) << inside.err.toStdString();
}

// Root reads every folder whatever its mode, so as root the command runs as "nobody".
TEST(ReviewCli, unreadableSubfolderIsCountedAndItsPhotosStay)
{
    TempTree tree;
    const QString source = tree.path(QStringLiteral("Karte"));
    const ShootDigests shoot = writeShoot(source, 1, 1);
    const QString locked = tree.write(QStringLiteral("Karte/Gesperrt/IMG_7.JPG"), "gesperrt");
    const QString lockedFolder = QFileInfo(locked).path();
    ASSERT_EQ(::chmod(QFile::encodeName(lockedFolder).constData(), 0), 0);
    struct Restore {
        QString path;
        ~Restore() { ::chmod(QFile::encodeName(path).constData(), 0755); }
    } restore{lockedFolder};

    QString program = cliPath();
    QStringList arguments =
        sortArguments(source, tree.path(QStringLiteral("Ziel")), tree.path(QStringLiteral("S")), QStringLiteral("safeCopy"));
    if (runningAsRoot()) {
        const QString setpriv = QStandardPaths::findExecutable(QStringLiteral("setpriv"));
        if (setpriv.isEmpty())
            GTEST_SKIP() << "running as root without setpriv: no way to make a folder unreadable";
        // Everything but the locked folder must be usable by the unprivileged account, its
        // data, cache and home folders included.
        isolatedEnvironment(tree.root());
        for (const QString& folder : {tree.root(), tree.path(QStringLiteral("xdg")), tree.path(QStringLiteral("home"))}) {
            QDirIterator below(folder, QDir::Dirs | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
            while (below.hasNext())
                ::chmod(QFile::encodeName(below.next()).constData(), 0777);
        }
        ::chmod(QFile::encodeName(lockedFolder).constData(), 0);
        ASSERT_EQ(::chmod(QFile::encodeName(tree.root()).constData(), 0777), 0);
        arguments.prepend(program);
        arguments = QStringList{QStringLiteral("--reuid=65534"), QStringLiteral("--regid=65534"),
                                QStringLiteral("--clear-groups"), QStringLiteral("--")}
            + arguments;
        program = setpriv;
    }
    QProcess process;
    process.setProcessEnvironment(isolatedEnvironment(tree.root()));
    process.start(program, arguments);
    ASSERT_TRUE(process.waitForFinished(120000));
    const QByteArray err = process.readAllStandardError();
    if (runningAsRoot() && err.contains("setpriv"))
        GTEST_SKIP() << "setpriv refused: " << err.toStdString();
    EXPECT_EQ(process.exitCode(), 1) << err.toStdString();
    EXPECT_EQ(lastJson(process.readAllStandardOutput()).value(QLatin1String("skippedEntryCount")).toInt(), 1);
    EXPECT_TRUE(err.contains(leftOutNote)) << err.toStdString();
    EXPECT_TRUE(holdsEveryPhoto(tree.path(QStringLiteral("Ziel/Lauf")), shoot));
    ::chmod(QFile::encodeName(lockedFolder).constData(), 0755);
    EXPECT_EQ(readFile(locked), "gesperrt");
}
