// kestrava-cli series and sharpness: bursts found from the capture times with their
// subseconds, the sharpest frame of each, scores that put a crisp frame above a soft one, and
// German messages for what cannot be measured.

#include "CliTestSupport.h"
#include "FocusImages.h"

#include "scanning/generator/ShootImages.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::test;

namespace {

// A JPEG captured at 10:00:00 plus `milliseconds`; a negative value writes no EXIF at all.
void shoot(TempTree& tree, const QString& name, qint64 milliseconds, const QImage& picture)
{
    const QDateTime at = QDateTime(QDate(2024, 6, 1), QTime(10, 0)).addMSecs(std::max<qint64>(0, milliseconds));
    const QDateTime second = at.addMSecs(-at.time().msec());
    tree.write(name, milliseconds < 0 ? shootgen::encodeJpeg(picture, 90)
                                      : shootgen::jpegWithExif(picture, 90, {"Kestrava", "Test", second, at.time().msec() / 10}));
}

QJsonArray jsonArray(const CliResult& result)
{
    return QJsonDocument::fromJson(result.out).array();
}

QStringList members(const QJsonValue& series)
{
    QStringList paths;
    for (const QJsonValue& path : series.toObject().value(QLatin1String("members")).toArray())
        paths.append(path.toString());
    return paths;
}

} // namespace

TEST(FocusCli, seriesFollowTheGapToTheSubsecondAndNameTheSharpestFrame)
{
    TempTree tree;
    const QImage picture = detailedScene({900, 600}, 3);
    shoot(tree, "Shoot/IMG_1.JPG", 100, softened(picture, 4));
    shoot(tree, "Shoot/IMG_2.JPG", 600, picture); // the sharp one
    shoot(tree, "Shoot/IMG_3.JPG", 1500, softened(picture, 4));
    shoot(tree, "Shoot/IMG_4.JPG", 2550, picture); // 1.05 s later: a new moment
    shoot(tree, "Shoot/IMG_5.JPG", 9000, picture);
    shoot(tree, "Shoot/IMG_6.JPG", -1, picture); // no capture time: never joins
    shoot(tree, "Shoot/IMG_7.JPG", 9200, picture);
    shoot(tree, "Shoot/zweite/IMG_8.JPG", 9400, softened(picture, 4));
    shoot(tree, "Shoot/zweite/IMG_9.JPG", 9500, picture);
    const QProcessEnvironment environment = isolatedEnvironment(tree.path("home"));

    const CliResult standard = runCli({"series", tree.path("Shoot")}, environment);
    ASSERT_EQ(standard.exitCode, 0) << standard.err.toStdString();
    const QJsonArray series = jsonArray(standard);
    ASSERT_EQ(series.size(), 2) << standard.out.toStdString();
    EXPECT_EQ(members(series[0]), (QStringList{"IMG_1.JPG", "IMG_2.JPG", "IMG_3.JPG"}));
    EXPECT_EQ(series[0].toObject().value("sharpest").toString(), "IMG_2.JPG");
    EXPECT_EQ(members(series[1]), (QStringList{"zweite/IMG_8.JPG", "zweite/IMG_9.JPG"})) << "a folder of its own, in review order";
    EXPECT_EQ(series[1].toObject().value("sharpest").toString(), "zweite/IMG_9.JPG");

    const CliResult wide = runCli({"series", tree.path("Shoot"), "--gap", "1,1"}, environment);
    ASSERT_EQ(wide.exitCode, 0) << wide.err.toStdString();
    ASSERT_EQ(jsonArray(wide).size(), 2);
    EXPECT_EQ(members(jsonArray(wide)[0]), (QStringList{"IMG_1.JPG", "IMG_2.JPG", "IMG_3.JPG", "IMG_4.JPG"}));

    const CliResult narrow = runCli({"series", tree.path("Shoot"), "--gap", "0.5"}, environment);
    ASSERT_EQ(narrow.exitCode, 0) << narrow.err.toStdString();
    ASSERT_EQ(jsonArray(narrow).size(), 2);
    EXPECT_EQ(members(jsonArray(narrow)[0]), (QStringList{"IMG_1.JPG", "IMG_2.JPG"})) << "exactly the gap still belongs";

    for (const char* gap : {"-1", "eins", "nan"})
        EXPECT_EQ(runCli({"series", tree.path("Shoot"), "--gap", gap}, environment).exitCode, 2) << gap;
    const CliResult missing = runCli({"series", tree.path("fehlt")}, environment);
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_FALSE(missing.err.trimmed().isEmpty());
    EXPECT_TRUE(missing.out.isEmpty());
}

TEST(FocusCli, sharpnessRanksCrispAboveSoftAndNamesWhatItCannotMeasure)
{
    TempTree tree;
    const QImage picture = detailedScene({900, 600}, 5);
    shoot(tree, "Shoot/crisp.jpg", 0, picture);
    shoot(tree, "Shoot/soft.jpg", 0, softened(picture, 4));
    const QString broken = tree.write("kaputt.jpg", QByteArray("\xff\xd8 nothing more", 15));
    const QProcessEnvironment environment = isolatedEnvironment(tree.path("home"));

    const CliResult files = runCli({"sharpness", tree.path("Shoot/crisp.jpg"), tree.path("Shoot/soft.jpg"), broken, tree.path("fehlt.jpg")}, environment);
    EXPECT_EQ(files.exitCode, 1);
    const QJsonArray scores = jsonArray(files);
    ASSERT_EQ(scores.size(), 4) << files.out.toStdString();
    const double crisp = scores[0].toObject().value("sharpness").toDouble();
    const double softer = scores[1].toObject().value("sharpness").toDouble();
    EXPECT_GT(crisp, 2 * softer);
    EXPECT_GT(softer, 0);
    EXPECT_TRUE(scores[2].toObject().value("sharpness").isNull());
    EXPECT_TRUE(scores[3].toObject().value("sharpness").isNull());
    EXPECT_TRUE(files.err.contains("Für „kaputt.jpg“ kann keine Schärfe bestimmt werden")) << files.err.toStdString();
    EXPECT_TRUE(files.err.contains("wurde nicht gefunden")) << files.err.toStdString();

    // A folder stands for its groups; a second run answers from the caches with the same numbers.
    for (int run = 0; run < 2; ++run) {
        const CliResult folder = runCli({"sharpness", tree.path("Shoot")}, environment);
        ASSERT_EQ(folder.exitCode, 0) << folder.err.toStdString();
        const QJsonArray entries = jsonArray(folder);
        ASSERT_EQ(entries.size(), 2);
        EXPECT_EQ(entries[0].toObject().value("path").toString(), tree.path("Shoot") + "/crisp.jpg");
        EXPECT_EQ(entries[0].toObject().value("sharpness").toDouble(), crisp);
        EXPECT_EQ(entries[1].toObject().value("sharpness").toDouble(), softer);
    }
    EXPECT_EQ(runCli({"sharpness"}, environment).exitCode, 2);
}
