#pragma once

// What the review and setup screens still take by function call, keyed by the raw values the
// view model publishes ("keep", "safeCopy", …). Every word comes from workflow/WindowWording;
// nothing is decided here. It goes once those screens bind their stages' properties instead.
// Stateless; one instance for the engine.

#include <QObject>
#include <QDateTime>
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
    Q_INVOKABLE QString fileCountText(int count) const;
    Q_INVOKABLE QString byteCount(double bytes) const;
    Q_INVOKABLE QString folderName(const QString& path) const;
    Q_INVOKABLE QString captureDateText(const QDateTime& date) const;
    Q_INVOKABLE bool reviewChoiceAvailable(const QString& choice, int jpegCount, int rawCount) const;
    Q_INVOKABLE QString positionText(int index, int count) const;
};

} // namespace kestrava
