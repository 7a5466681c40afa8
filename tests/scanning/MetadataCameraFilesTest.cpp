// Capture dates of the real camera files against their manifest: the first of
// DateTimeOriginal, CreateDate (DateTimeDigitized) and ModifyDate (IFD0 DateTime) that parses.

#include "TestSupport.h"

#include "preview/ExifDates.h"

#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::test;

TEST(CameraFileDates, everyDateAgreesWithTheManifest)
{
    const QString folder = cameraTestData();
    if (folder.isEmpty())
        GTEST_SKIP() << "camera test data not present";
    const QList<QByteArray> lines = readFile(folder + "/MANIFEST.tsv").split('\n');
    int compared = 0;
    for (qsizetype i = 1; i < lines.size(); ++i) {
        const QStringList cells = QString::fromUtf8(lines[i]).split('\t');
        if (cells.size() < 12)
            continue;
        SCOPED_TRACE(cells[0].toStdString());
        std::optional<QDateTime> expected = parseExifDateTime(cells[5]);
        // The original's subsecond, where the camera recorded one, belongs to its date.
        const QString subsecond = cells[11].section(QLatin1String("SubSecTimeOriginal="), 1, 1).section(';', 0, 0);
        if (expected && !subsecond.isEmpty())
            expected = expected->addMSecs(parseExifSubsecond(subsecond).value_or(0));
        for (int column : {6, 7})
            if (!expected)
                expected = parseExifDateTime(cells[column]);
        // A CIFF file (CRW) has no EXIF directories; its own capture date is the one Exiv2
        // presents as DateTimeOriginal, and it is the right date for the photo.
        if (!expected && cells[11].startsWith(QLatin1String("CanonRaw:DateTimeOriginal=")))
            expected = parseExifDateTime(cells[11].section('=', 1, 1).section(';', 0, 0));
        EXPECT_EQ(readCaptureDate(folder + '/' + cells[0]), expected);
        ++compared;
    }
    EXPECT_GE(compared, 20);
}
