#pragma once

// The text choices of UiText for QML, keyed by the raw values the view model publishes
// ("keep", "safeCopy", …). Stateless; one instance for the engine.

#include <QObject>
#include <QVariant>
#include <QtQml/qqmlregistration.h>

namespace kestrava {

class UiTexts : public QObject {
    Q_OBJECT
    QML_NAMED_ELEMENT(Texts)
    QML_SINGLETON

public:
    using QObject::QObject;

    Q_INVOKABLE QString decisionLabel(const QString& decision) const;
    Q_INVOKABLE QString decisionAccessibleLabel(const QString& decision, bool selected) const;
    Q_INVOKABLE QString reviewChoiceTitle(const QString& choice) const;
    Q_INVOKABLE QString reviewChoiceDescription(const QString& choice) const;
    Q_INVOKABLE QString operationModeTitle(const QString& mode) const;
    Q_INVOKABLE QString operationModeDescription(const QString& mode) const;
    Q_INVOKABLE QString verificationTitle(const QString& mode) const;
    Q_INVOKABLE QString storageCheckText(const QString& destinationBase, bool checking, const QVariant& estimate) const;
    Q_INVOKABLE QString inputGuardText(bool committing, bool previewReady, bool hasGroup) const;
    Q_INVOKABLE QString effectText(const QString& mode) const;
    Q_INVOKABLE QString stagingLead(int rejectedFiles) const;
    Q_INVOKABLE QString volumeLine(const QVariant& trashPreparation) const;
    // One line per volume holding originals: "Originale auf Fotos · ext4 · lokal".
    Q_INVOKABLE QStringList sourceVolumeTexts(const QVariant& trashPreparation) const;
    // Entries a person must look at (the preparation's own count); 0 for an unreadable form.
    Q_INVOKABLE int manualReviewCount(const QVariant& trashPreparation) const;
    Q_INVOKABLE QString manualReviewText(int count) const;
    Q_INVOKABLE QString trashSafetyText() const;
    Q_INVOKABLE QString trashGuaranteeText() const;
    Q_INVOKABLE QString transferRateText(const QVariant& progress) const;
    Q_INVOKABLE QString timeLeftText(const QVariant& progress) const;
    Q_INVOKABLE double progressFraction(const QVariant& progress) const;
    Q_INVOKABLE QString fileProgressText(const QVariant& progress) const;
    Q_INVOKABLE QString byteProgressText(const QVariant& progress) const;
    // "Kopieren · 3 / 12"; empty without progress.
    Q_INVOKABLE QString phaseProgressText(const QVariant& progress) const;
    // Whether the view model's `lastResult` holds a result.
    Q_INVOKABLE bool hasResult(const QVariant& result) const;
    Q_INVOKABLE int pendingCount(const QVariant& result) const;
    Q_INVOKABLE QString completedHeadline(const QVariant& result) const;
    // Maps {label, value, tone} with tone "neutral", "good", "attention" or "failure".
    Q_INVOKABLE QVariantList resultCards(const QVariant& result, const QString& mode) const;
    Q_INVOKABLE QString pendingText(int pendingCount) const;
    Q_INVOKABLE QString fileCountText(int count) const;
    Q_INVOKABLE QString byteCount(double bytes) const;
    Q_INVOKABLE QString folderName(const QString& path) const;
    Q_INVOKABLE QString captureDateText(const QDateTime& date) const;
    Q_INVOKABLE bool reviewChoiceAvailable(const QString& choice, int jpegCount, int rawCount) const;
    Q_INVOKABLE QString scopeText(int groups, int files) const;
    Q_INVOKABLE QString positionText(int index, int count) const;
};

} // namespace kestrava
