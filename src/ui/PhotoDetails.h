#pragma once

// The inspector's data for one file: set `path`, and `lines` follows once Exiv2 has read the
// file on a worker thread. A result for a path that is no longer current is dropped.

#include <QFuture>
#include <QObject>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>

namespace kestrava {

class PhotoDetails : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QString path READ path WRITE setPath NOTIFY pathChanged)
    // [{label, value}, …] in display order; empty until read.
    Q_PROPERTY(QVariantList lines READ lines NOTIFY linesChanged)
    Q_PROPERTY(bool isReading READ isReading NOTIFY isReadingChanged)

public:
    using QObject::QObject;

    const QString& path() const { return path_; }
    void setPath(const QString& path);
    const QVariantList& lines() const { return lines_; }
    bool isReading() const { return isReading_; }

signals:
    void pathChanged();
    void linesChanged();
    void isReadingChanged();

private:
    void setReading(bool reading);

    QString path_;
    QVariantList lines_;
    bool isReading_ = false;
};

} // namespace kestrava
