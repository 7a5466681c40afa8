#include "DemoShoot.h"

#include "model/SeriesBuilder.h"
#include "scanning/generator/ShootGenerator.h"
#include "workflow/KestravaViewModel.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QSaveFile>
#include <QStandardPaths>
#include <QTemporaryDir>

namespace kestrava::DemoShoot {

using namespace Qt::StringLiterals;

namespace {

// Hidden, so the scanner never offers it as a photo: one "<size>\t<relative path>" per line.
// Named anew whenever the demo's content changes, so an older demo is made again.
const QString manifestName = u".kestrava-demo-2"_s;

// The camera's EXIF segment (APP1 "Exif") of a JPEG with its marker; empty when it has none.
QByteArray exifSegment(const QByteArray& jpeg)
{
    qsizetype at = 2; // after SOI
    while (at + 4 <= jpeg.size() && uchar(jpeg[at]) == 0xFF) {
        const uchar marker = uchar(jpeg[at + 1]);
        const qsizetype length = (qsizetype(uchar(jpeg[at + 2])) << 8) | uchar(jpeg[at + 3]);
        if (marker == 0xDA || length < 2)
            break;
        if (marker == 0xE1 && jpeg.mid(at + 4, 6) == QByteArray("Exif\0\0", 6))
            return jpeg.mid(at, 2 + length);
        at += 2 + length;
    }
    return {};
}

// Softens the picture as a missed focus would, keeping the camera's EXIF (the capture time
// that makes the frame part of its burst).
void soften(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw shootgen::ShootGeneratorError(shootgen::ShootGeneratorError::Kind::cannotWrite, path);
    const QByteArray original = file.readAll();
    file.close();
    const QImage picture = QImage::fromData(original, "JPEG");
    const QByteArray exif = exifSegment(original);
    if (picture.isNull() || exif.isEmpty())
        throw shootgen::ShootGeneratorError(shootgen::ShootGeneratorError::Kind::cannotWrite, path);
    // Down to a sixth and up again: no edge of the scene or grain of its noise survives.
    const QImage soft = picture.scaled(picture.size() / 6, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
                            .scaled(picture.size(), Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    QByteArray encoded;
    QBuffer buffer(&encoded);
    buffer.open(QIODevice::WriteOnly);
    if (!soft.save(&buffer, "JPEG", 85) || encoded.size() < 2)
        throw shootgen::ShootGeneratorError(shootgen::ShootGeneratorError::Kind::cannotWrite, path);
    encoded.insert(2, exif);
    QSaveFile out(path);
    if (!out.open(QIODevice::WriteOnly) || out.write(encoded) != encoded.size() || !out.commit())
        throw shootgen::ShootGeneratorError(shootgen::ShootGeneratorError::Kind::cannotWrite, path);
}

// In every burst of the generated shoot one frame stays as rendered and the others are
// softened, so the series key and the sharpest mark have a frame worth finding.
void softenBursts(const QString& root, const shootgen::ShootSummary& summary)
{
    QStringList jpegs;
    QList<SeriesEntry> entries;
    for (const shootgen::GeneratedPhoto& photo : summary.photos) {
        if (photo.formatGroup != PhotoFormatGroup::jpeg)
            continue;
        jpegs.append(root + u'/' + photo.relativePath);
        entries.append({FileUrl::fromLocalPath(QFileInfo(jpegs.last()).absolutePath()), photo.captureDate});
    }
    for (const Series& burst : findSeries(entries)) {
        // Not always the first: the user should look through the burst to find it.
        const qsizetype sharp = burst.first + (burst.length - 1) / 2 + (burst.first % 2);
        for (qsizetype i = burst.first; i < burst.first + burst.length; ++i)
            if (i != sharp)
                soften(jpegs[i]);
    }
}

} // namespace

QString defaultFolder()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation) + u"/Kestrava/Demo"_s;
}

bool isComplete(const QString& folder)
{
    QFile manifest(folder + u'/' + manifestName);
    if (!manifest.open(QIODevice::ReadOnly))
        return false;
    int files = 0;
    while (!manifest.atEnd()) {
        const QString line = QString::fromUtf8(manifest.readLine()).trimmed();
        if (line.isEmpty())
            continue;
        const qsizetype tab = line.indexOf(u'\t');
        bool numeric = false;
        const qint64 size = line.left(tab).toLongLong(&numeric);
        const QFileInfo file(folder + u'/' + line.mid(tab + 1));
        if (tab <= 0 || !numeric || !file.isFile() || file.size() != size)
            return false;
        ++files;
    }
    return files > 0;
}

QString create(int shots, const QString& folder)
{
    if (isComplete(folder))
        return folder;
    const QString parent = QFileInfo(folder).absolutePath();
    if (!QDir().mkpath(folder))
        throw shootgen::ShootGeneratorError(shootgen::ShootGeneratorError::Kind::cannotWrite, folder);
    // Generated beside the demo and moved in file by file; what is left of the fresh copy is
    // removed with it, the demo folder itself never.
    QTemporaryDir fresh(parent + u"/.demo-XXXXXX"_s);
    if (!fresh.isValid())
        throw shootgen::ShootGeneratorError(shootgen::ShootGeneratorError::Kind::cannotWrite, fresh.path());
    shootgen::ShootOptions options;
    options.shots = shots;
    options.rawRatio = 1.0;
    options.seed = 2026;
    options.imageSize = QSize(1600, 1067);
    options.distractors = false;
    options.rapidBursts = true;
    const shootgen::ShootSummary summary = shootgen::generateShoot(fresh.path(), options);
    softenBursts(fresh.path(), summary);

    QByteArray manifest;
    for (const shootgen::GeneratedPhoto& photo : summary.photos) {
        const QString from = fresh.path() + u'/' + photo.relativePath;
        const QString to = folder + u'/' + photo.relativePath;
        const qint64 size = QFileInfo(from).size();
        manifest += QByteArray::number(size) + '\t' + photo.relativePath.toUtf8() + '\n';
        const QFileInfo present(to);
        if (present.isFile() && present.size() == size)
            continue;
        QDir().mkpath(QFileInfo(to).absolutePath());
        // A changed demo file is the demo's own, generated here; it is replaced, nothing else.
        if (present.isFile())
            QFile::remove(to);
        if (!QFile::rename(from, to))
            throw shootgen::ShootGeneratorError(shootgen::ShootGeneratorError::Kind::cannotWrite, to);
    }
    // Written last: a start that stopped halfway finds no manifest and completes the demo.
    QSaveFile file(folder + u'/' + manifestName);
    if (!file.open(QIODevice::WriteOnly) || file.write(manifest) != manifest.size() || !file.commit())
        throw shootgen::ShootGeneratorError(shootgen::ShootGeneratorError::Kind::cannotWrite, file.fileName());
    return folder;
}

namespace {

bool nothingElseOpen(const KestravaViewModel& viewModel)
{
    return viewModel.route() == AppRoute::welcome && !viewModel.session() && !viewModel.loading()->isLoading();
}

} // namespace

void openWhenFree(KestravaViewModel& viewModel, const QString& folder)
{
    if (!nothingElseOpen(viewModel))
        return;
    SessionStage* session = viewModel.sessionStage();
    if (!session->showResumeChoice()) {
        viewModel.loading()->load(folder);
        return;
    }
    auto* waiting = new QObject(&viewModel);
    QObject::connect(session, &SessionStage::showResumeChoiceChanged, waiting, [&viewModel, session, folder, waiting] {
        if (session->showResumeChoice())
            return;
        waiting->deleteLater();
        if (nothingElseOpen(viewModel))
            viewModel.loading()->load(folder);
    });
}

} // namespace kestrava::DemoShoot
