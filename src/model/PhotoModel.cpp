#include "PhotoModel.h"

namespace kestrava {

const QSet<QString>& jpegExtensions()
{
    static const QSet<QString> set{QStringLiteral("jpg"), QStringLiteral("jpeg"), QStringLiteral("jpe")};
    return set;
}

const QSet<QString>& rawExtensions()
{
    static const QSet<QString> set = [] {
        QSet<QString> s;
        for (const char* ext : {"3fr", "arw", "cr2", "cr3", "dcr", "dng", "erf", "fff", "iiq", "kdc", "mef", "mos", "mrw",
                                "nef", "nrw", "orf", "pef", "raf", "raw", "rw2", "rwl", "sr2", "srf", "srw", "x3f"})
            s.insert(QString::fromLatin1(ext));
        return s;
    }();
    return set;
}

std::optional<QDateTime> PhotoItem::cameraCaptureTime() const
{
    if (captureDateOrigin != CaptureDateOrigin::exif || !captureDate.isValid())
        return std::nullopt;
    return captureDate;
}

PhotoFormatGroup formatGroupForExtension(const QString& lowerCaseExtension)
{
    if (jpegExtensions().contains(lowerCaseExtension))
        return PhotoFormatGroup::jpeg;
    if (rawExtensions().contains(lowerCaseExtension))
        return PhotoFormatGroup::raw;
    return PhotoFormatGroup::other;
}

PhotoFormatGroup formatGroupForFileName(const QString& fileName)
{
    const qsizetype dot = fileName.lastIndexOf(QLatin1Char('.'));
    // Longest known extension is four characters; anything longer cannot match.
    if (dot < 0 || fileName.size() - dot - 1 > 4)
        return PhotoFormatGroup::other;
    return formatGroupForExtension(fileName.mid(dot + 1).toLower());
}

size_t qHash(const FileFingerprint& fingerprint, size_t seed) noexcept
{
    return qHashMulti(seed, fingerprint.relativePath, fingerprint.fileSize, fingerprint.modificationDate.toSecsSinceEpoch());
}

QString DecisionFeedback::title() const
{
    static const QString separator = QStringLiteral(" · ");
    return decisionLabel(decision) + separator + scopeTitle + separator + QString::number(fileCount)
        + (fileCount == 1 ? QStringLiteral(" Datei") : QStringLiteral(" Dateien"));
}

QDateTime distantPast()
{
    return QDateTime(QDate(1, 1, 1), QTime(0, 0), Qt::UTC);
}

} // namespace kestrava
