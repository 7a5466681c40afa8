#pragma once

// The inspector's data for one file: set `path`, and `lines` follows once Exiv2 has read the
// file on a worker thread. The read waits for a slot in the shared decode slots like every
// read of a photo file, below the picture on screen and above its prefetches; a read whose path
// is no longer current by then gives up its place without opening the file, and a result for
// a path that is no longer current is dropped.

#include "preview/DecodeSlots.h"

#include <QFuture>
#include <QObject>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>

#include <atomic>
#include <functional>
#include <memory>

namespace kestrava {

class PhotoDetails : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QString path READ path WRITE setPath NOTIFY pathChanged)
    // [{label, value}, …] in display order; empty until read.
    Q_PROPERTY(QVariantList lines READ lines NOTIFY linesChanged)
    Q_PROPERTY(bool isReading READ isReading NOTIFY isReadingChanged)

public:
    static constexpr int readPriority = 60;

    // Where reads queue; by default the shared preview pipeline's slots and limits.
    struct Reading {
        DecodeSlots* decodeSlots = nullptr;
        std::function<int(const QString& path)> decodeConcurrency;
        std::function<void(const QString& path)> onRead; // for tests: told of every file opened
    };

    explicit PhotoDetails(QObject* parent = nullptr);
    PhotoDetails(Reading reading, QObject* parent = nullptr);

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

    Reading reading_;
    // Counts path changes; a read still waiting for its slot compares it with its own.
    std::shared_ptr<std::atomic<quint64>> generation_ = std::make_shared<std::atomic<quint64>>(0);
    QString path_;
    QVariantList lines_;
    bool isReading_ = false;
};

} // namespace kestrava
