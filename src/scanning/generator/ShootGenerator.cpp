#include "ShootGenerator.h"

#include "DngWriter.h"

#include "SeededRandom.h"
#include "ShootImages.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <cmath>
#include <fcntl.h>
#include <sys/stat.h>

namespace kestrava::shootgen {

namespace {

struct Camera {
    const char* make;
    const char* model;
    const char* prefix;
};

// One camera per day; names are not zero-padded so that IMG_2 and IMG_10 occur together.
constexpr Camera cameras[] = {
    {"Canon", "Canon EOS R6", "IMG_"},
    {"NIKON CORPORATION", "NIKON Z 6", "DSC_"},
    {"SONY", "ILCE-7M3", "DSC"},
    {"Leica Camera AG", "LEICA Q2", "L100"},
};

constexpr const char* jpegExtensionSpellings[] = {"JPG", "JPG", "JPG", "jpg", "jpeg", "JPEG"};

class Writer {
public:
    explicit Writer(QString root) : root_(std::move(root)) {}

    QString absolute(const QString& relative) const { return root_ + QLatin1Char('/') + relative; }

    void write(const QString& relative, const QByteArray& bytes, const QDateTime& modified = {})
    {
        const QString path = absolute(relative);
        if (!QDir().mkpath(QFileInfo(path).path()))
            throw ShootGeneratorError(ShootGeneratorError::Kind::cannotWrite, QFileInfo(path).path());
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly) || file.write(bytes) != bytes.size() || !file.flush())
            throw ShootGeneratorError(ShootGeneratorError::Kind::cannotWrite, path);
        file.close();
        if (modified.isValid()) {
            // Cameras stamp files with the capture time; a scan before metadata sees the same.
            const struct timespec times[2] = {{modified.toSecsSinceEpoch(), 0}, {modified.toSecsSinceEpoch(), 0}};
            ::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, 0);
        }
    }

private:
    QString root_;
};

void checkTargetFolder(const QString& directory)
{
    const QDir dir(directory);
    if (dir.exists() && !dir.isEmpty(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot))
        throw ShootGeneratorError(ShootGeneratorError::Kind::folderNotEmpty, directory);
    if (QFileInfo(directory).exists() && !QFileInfo(directory).isDir())
        throw ShootGeneratorError(ShootGeneratorError::Kind::folderNotEmpty, directory);
    if (!QDir().mkpath(directory))
        throw ShootGeneratorError(ShootGeneratorError::Kind::cannotWrite, directory);
}

QByteArray xmpSidecar(int rating)
{
    return QStringLiteral("<?xpacket begin=\"\xEF\xBB\xBF\" id=\"W5M0MpCehiHzreSzNTczkc9d\"?>\n"
                          "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\"><rdf:RDF xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\">"
                          "<rdf:Description xmlns:xmp=\"http://ns.adobe.com/xap/1.0/\" xmp:Rating=\"%1\"/>"
                          "</rdf:RDF></x:xmpmeta>\n<?xpacket end=\"w\"?>\n")
        .arg(rating)
        .toUtf8();
}

} // namespace

QString ShootGeneratorError::description() const
{
    switch (kind_) {
    case Kind::folderNotEmpty:
        return QStringLiteral("Der Ordner „%1“ ist nicht leer; dort wird keine Beispielserie angelegt.").arg(path_);
    case Kind::cannotWrite:
        return QStringLiteral("„%1“ konnte nicht geschrieben werden.").arg(path_);
    }
    return {};
}

qsizetype ShootSummary::jpegCount() const
{
    return std::count_if(photos.begin(), photos.end(), [](const auto& p) { return p.formatGroup == PhotoFormatGroup::jpeg; });
}

qsizetype ShootSummary::rawCount() const
{
    return std::count_if(photos.begin(), photos.end(), [](const auto& p) { return p.formatGroup == PhotoFormatGroup::raw; });
}

QJsonObject ShootSummary::toJson() const
{
    QJsonObject o;
    o.insert(QLatin1String("folder"), folder);
    o.insert(QLatin1String("seed"), QString::number(seed));
    o.insert(QLatin1String("shots"), shots);
    o.insert(QLatin1String("jpegFiles"), jpegCount());
    o.insert(QLatin1String("rawFiles"), rawCount());
    o.insert(QLatin1String("photoFiles"), photos.size());
    o.insert(QLatin1String("sidecarFiles"), sidecars.size());
    o.insert(QLatin1String("ignoredFiles"), QJsonArray::fromStringList(ignored));
    o.insert(QLatin1String("folders"), QJsonArray::fromStringList(folders));
    if (!photos.isEmpty()) {
        o.insert(QLatin1String("firstCapture"), photos.first().captureDate.toString(Qt::ISODate));
        o.insert(QLatin1String("lastCapture"), photos.last().captureDate.toString(Qt::ISODate));
    }
    return o;
}

ShootSummary generateShoot(const QString& directory, const ShootOptions& options)
{
    const QString root = QDir::cleanPath(QFileInfo(directory).absoluteFilePath());
    checkTargetFolder(root);
    Writer writer(root);
    SeededRandom random(options.seed);
    ShootSummary summary;
    summary.folder = root;
    summary.seed = options.seed;
    summary.shots = std::max(0, options.shots);

    const int days = summary.shots <= 1 ? 1 : std::clamp(int(std::ceil(summary.shots / 30.0)), 2, 6);
    const QDate firstDay = QDate(2024, 5, 1).addDays(qint64(options.seed % 300));
    int shot = 0;
    for (int day = 0; day < days; ++day) {
        const Camera& camera = cameras[(options.seed + quint64(day)) % std::size(cameras)];
        const QString folder = QStringLiteral("Tag %1").arg(day + 1);
        summary.folders.append(folder);
        const int shotsToday = summary.shots / days + (day < summary.shots % days ? 1 : 0);
        QDateTime clock(firstDay.addDays(day), QTime(8, 0).addSecs(random.between(0, 7200)), Qt::LocalTime);
        int number = random.between(1, 9);
        QDateTime previous;
        for (int i = 0; i < shotsToday; ++i, ++shot) {
            // Bursts of a second or two, then pauses of up to a few minutes.
            const bool burst = random.chance(0.3);
            clock = clock.addSecs(burst ? random.between(1, 2) : random.between(5, 240));
            number += random.chance(0.1) ? random.between(2, 4) : 1; // shots deleted in camera
            const QString base = QLatin1String(camera.prefix) + QString::number(number);
            CameraTags tags{QLatin1String(camera.make), QLatin1String(camera.model), clock, random.between(0, 99)};
            if (options.rapidBursts && burst && previous.isValid()) {
                const QDateTime next = previous.addMSecs(qint64(random.between(20, 70)) * 10);
                tags.captureDate = clock = next.addMSecs(-next.time().msec());
                tags.subSecond = next.time().msec() / 10;
            }
            const QDateTime captured = clock.addMSecs(qint64(tags.subSecond) * 10);
            previous = captured;

            const QString jpegName = folder + QLatin1Char('/') + base + QLatin1Char('.')
                + QLatin1String(random.pick(jpegExtensionSpellings));
            const QImage picture = renderScene(options.imageSize, random.next());
            const QByteArray jpeg = jpegWithExif(picture, options.jpegQuality, tags);
            if (jpeg.isEmpty())
                throw ShootGeneratorError(ShootGeneratorError::Kind::cannotWrite, writer.absolute(jpegName));
            writer.write(jpegName, jpeg, clock);
            summary.photos.append({jpegName, PhotoFormatGroup::jpeg, captured, shot});

            if (random.chance(options.rawRatio)) {
                // Real DNGs (a small mosaic plus an embedded preview) so the RAW path runs end to end.
                const QString extension = random.chance(0.25) ? QStringLiteral("dng") : QStringLiteral("DNG");
                const QString rawName = folder + QLatin1Char('/') + base + QLatin1Char('.') + extension;
                const QSize sensor = picture.size().scaled(QSize(1024, 1024), Qt::KeepAspectRatio);
                writer.write(rawName,
                             dngBytes(picture, tags, DngOptions{QSize(sensor.width() & ~1, sensor.height() & ~1), 1024}),
                             clock);
                summary.photos.append({rawName, PhotoFormatGroup::raw, captured, shot});
            }
            if (random.chance(0.125)) {
                const QString sidecar = folder + QLatin1Char('/') + base + QStringLiteral(".xmp");
                writer.write(sidecar, xmpSidecar(random.between(0, 5)));
                summary.sidecars.append(sidecar);
            }
        }
    }

    if (options.distractors && !summary.photos.isEmpty()) {
        const GeneratedPhoto& first = summary.photos.first();
        const QString firstName = QFileInfo(first.relativePath).fileName();
        const QString firstFolder = QFileInfo(first.relativePath).path();
        const QByteArray smallJpeg = jpegWithExif(renderScene(QSize(64, 48), options.seed), 80,
                                                  {QStringLiteral("Canon"), QStringLiteral("Canon EOS R6"), first.captureDate, 0});
        auto ignore = [&](const QString& relative, const QByteArray& bytes) {
            writer.write(relative, bytes);
            summary.ignored.append(relative);
        };
        ignore(firstFolder + QStringLiteral("/._") + firstName, QByteArray("\x00\x05\x16\x07", 4)); // AppleDouble
        ignore(QStringLiteral(".versteckt.jpg"), smallJpeg);
        ignore(QStringLiteral(".Papierkorb-alt/IMG_1.JPG"), smallJpeg);
        ignore(firstFolder + QStringLiteral("/IMG_9001.HEIC"), QByteArray("\x00\x00\x00\x18" "ftypheic", 12));
        ignore(firstFolder + QStringLiteral("/Vorschau.png"), QByteArray("\x89PNG\r\n\x1a\n", 8));
        ignore(QStringLiteral("Notizen.txt"), QByteArray("Hochzeit Müller, Kamera 2 fehlt\n"));
        ignore(QStringLiteral("Kestrava-Ergebnis 2024-05-01/Behalten/") + firstName, smallJpeg);
        ignore(QStringLiteral(".kestrava-work/") + firstName, smallJpeg);
    }
    return summary;
}

} // namespace kestrava::shootgen
