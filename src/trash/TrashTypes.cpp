#include "TrashTypes.h"

#include "platform/VolumeInfo.h"

#include <QFileInfo>
#include <QHashFunctions>

namespace kestrava {

QString SourceVolumeSummary::description() const
{
    QStringList parts{format, isLocal ? QStringLiteral("lokal") : QStringLiteral("Netzwerk")};
    if (isRemovable)
        parts.append(QStringLiteral("entfernbar"));
    return parts.join(QStringLiteral(" · "));
}

size_t qHash(const SourceVolumeSummary& volume, size_t seed) noexcept
{
    return qHashMulti(seed, volume.id, volume.name, volume.format, volume.isLocal, volume.isRemovable);
}

SourceVolumeSummary summarizeSourceVolume(const QString& path)
{
    SourceVolumeSummary summary;
    const auto facts = volumeFacts(path);
    if (facts && facts->uuid && !facts->uuid->isEmpty())
        summary.id = *facts->uuid;
    else if (facts && !facts->mountPoint.isEmpty())
        summary.id = FileUrl::fromLocalPath(facts->mountPoint).path();
    else
        summary.id = path;

    if (facts && !facts->name.isEmpty())
        summary.name = facts->name;
    else if (facts && !facts->mountPoint.isEmpty() && !QFileInfo(facts->mountPoint).fileName().isEmpty())
        summary.name = QFileInfo(facts->mountPoint).fileName();
    else
        summary.name = QStringLiteral("Unbekanntes Volume");

    summary.format = facts && !facts->format.isEmpty() ? facts->format : QStringLiteral("Unbekanntes Format");
    summary.isLocal = facts ? facts->isLocal : false;
    summary.isRemovable = facts ? facts->isRemovable : false;
    return summary;
}

int TrashPreparation::needsReviewCount() const
{
    int count = 0;
    for (const auto& entry : entries)
        if (entry.state == TrashTransactionState::needsReview || entry.state == TrashTransactionState::trashIntent)
            ++count;
    return count;
}

qint64 TrashPreparation::totalBytes() const
{
    qint64 total = 0;
    for (const auto& entry : entries)
        total += entry.sourceIdentity.size;
    return total;
}

} // namespace kestrava
