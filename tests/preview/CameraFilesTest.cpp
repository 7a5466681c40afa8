// The real camera files: every file with a usable embedded preview (or a JPEG body) yields an
// image, its thumbnail is found and turned, and no file, whole or cut short, crashes or hangs
// the renderer or the thumbnail reader.

#include "TestSupport.h"

#include "preview/EmbeddedThumbnail.h"
#include "preview/PreviewRenderer.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QtConcurrent/QtConcurrentRun>
#include <gtest/gtest.h>

using namespace kestrava;
using namespace kestrava::test;

namespace {

struct ManifestRow {
    QString file;
    QString format;
    QString embedded;
    QString embeddedImages;
};

QList<ManifestRow> manifest(const QString& folder)
{
    QList<ManifestRow> rows;
    const QList<QByteArray> lines = readFile(folder + "/MANIFEST.tsv").split('\n');
    for (qsizetype i = 1; i < lines.size(); ++i) {
        const QStringList cells = QString::fromUtf8(lines[i]).split('\t');
        if (cells.size() >= 11)
            rows.append({cells[0], cells[1], cells[9], cells[10]});
    }
    return rows;
}

// Largest JPEG preview the manifest lists ("…PreviewImage=296899B 2784x1856; …"), long side.
int largestListedPreview(const QString& listing)
{
    int best = 0;
    static const QRegularExpression entry(QStringLiteral("(PreviewImage|JpgFromRaw|OtherImage)=\\d+B (\\d+)x(\\d+)"));
    for (auto it = entry.globalMatch(listing); it.hasNext();) {
        const auto m = it.next();
        best = std::max({best, m.captured(2).toInt(), m.captured(3).toInt()});
    }
    return best;
}

std::optional<PreviewPayload> renderWithin(const QString& path, int size, int seconds = 30)
{
    auto future = QtConcurrent::run([path, size] { return PreviewRenderer::render(path, size); });
    for (int waited = 0; !future.isFinished(); waited += 10) {
        if (waited > seconds * 1000) {
            ADD_FAILURE() << "render hangs: " << path.toStdString();
            std::abort(); // a stuck decoder thread cannot be stopped from here
        }
        QThread::msleep(10);
    }
    return future.result();
}

} // namespace

TEST(CameraFiles, everyUsablePreviewYieldsAnOrientedImage)
{
    const QString folder = cameraTestData();
    if (folder.isEmpty())
        GTEST_SKIP() << "camera test data not present";
    int checked = 0;
    for (const ManifestRow& row : manifest(folder)) {
        SCOPED_TRACE(row.file.toStdString());
        const bool jpegBody = row.format == QLatin1String("JPEG");
        const int listed = largestListedPreview(row.embeddedImages);
        const bool usablePreview = row.embedded == QLatin1String("preview") && listed >= 100;
        const auto payload = renderWithin(folder + '/' + row.file, 2048);
        if (jpegBody || usablePreview) {
            ASSERT_TRUE(payload);
            EXPECT_LE(std::max(payload->image.width(), payload->image.height()), 2048);
            if (!jpegBody) {
                EXPECT_EQ(payload->source, PreviewSource::embedded);
            }
            ++checked;
        }
        if (payload) {
            EXPECT_GT(payload->image.width(), 1);
        }
    }
    EXPECT_GE(checked, 15);
}

TEST(CameraFiles, jpegOrientationIsApplied)
{
    const QString folder = cameraTestData();
    if (folder.isEmpty())
        GTEST_SKIP() << "camera test data not present";
    // Stored 2336×3504 with orientation 6 (turn clockwise): shown 3504×2336.
    const auto payload = renderWithin(folder + "/Canon EOS 20D (2).jpg", 1024);
    ASSERT_TRUE(payload);
    EXPECT_EQ(payload->image.size(), QSize(1024, 682));
}

TEST(CameraFiles, filesCutShortNeverCrashOrHang)
{
    const QString folder = cameraTestData();
    if (folder.isEmpty())
        GTEST_SKIP() << "camera test data not present";
    TempTree tree;
    for (const ManifestRow& row : manifest(folder)) {
        const QByteArray bytes = readFile(folder + '/' + row.file);
        for (const double share : {0.02, 0.3, 0.7}) {
            const QString cut = tree.write(QStringLiteral("%1-%2").arg(share).arg(row.file), bytes.left(qsizetype(bytes.size() * share)));
            SCOPED_TRACE(cut.toStdString());
            const auto payload = renderWithin(cut, 1024);
            if (payload) {
                EXPECT_LE(std::max(payload->image.width(), payload->image.height()), 1024);
            }
            const QImage thumbnail = preview::embeddedThumbnail(cut, 512);
            EXPECT_LE(std::max(thumbnail.width(), thumbnail.height()), 512);
        }
    }
}

// The thumbnail stands in for the preview for a moment: turned as the camera was held, never
// a placeholder stretched over the stage, nothing at all where the file has none.
TEST(CameraFiles, thumbnailsAreTurnedAsTheCameraWasHeldAndPlaceholdersAreSkipped)
{
    const QString folder = cameraTestData();
    if (folder.isEmpty())
        GTEST_SKIP() << "camera test data not present";
    const QList<QPair<QString, QSize>> expected = {
        {"Apple iPhone 5.jpg", {160, 120}},    // orientation 3: half a turn, same shape
        {"Canon EOS 20D (2).jpg", {120, 80}},  // stored 80 × 120, orientation 6
        {"Nikon D40.jpg", {120, 160}},         // orientation 6, beside a larger preview
        {"FujiFilm.raf", {160, 120}},          // an 8 × 8 placeholder comes first
        {"Issue 247-1.nef", {106, 160}},       // the smaller of two previews
        {"Panasonic.rw2", {}},                 // nothing but an 8 × 8 placeholder
        {"Android Depth Map.jpg", {}},         // no thumbnail at all
    };
    for (const auto& [file, size] : expected) {
        SCOPED_TRACE(file.toStdString());
        EXPECT_EQ(preview::embeddedThumbnail(folder + '/' + file, 512).size(), size.isEmpty() ? QSize(0, 0) : size);
    }
}
