#pragma once

// The inspector's data for one file: set `path`, and `lines` follows once Exiv2 has read the
// file on a worker thread. The read waits for a slot in the shared decode slots like every
// read of a photo file, below the picture on screen and above its prefetches; a read whose path
// is no longer current by then gives up its place without opening the file, and a result for
// a path that is no longer current is dropped.

#include "preview/DecodeSlots.h"

#include <QFuture>
#include <QObject>
#include <QList>
#include <QtQml/qqmlregistration.h>

#include <atomic>
#include <functional>
#include <memory>

namespace kestrava {

// One fact of the inspector: "Kamera", "SONY ILCE-7M3".
struct DetailLine {
    Q_GADGET
    QML_VALUE_TYPE(detailLine)
    Q_PROPERTY(QString label MEMBER label)
    Q_PROPERTY(QString value MEMBER value)

public:
    QString label;
    QString value;
    friend bool operator==(const DetailLine&, const DetailLine&) = default;
};

class PhotoDetails : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QString path READ path WRITE setPath NOTIFY pathChanged)
    // In display order; empty until read.
    Q_PROPERTY(QList<kestrava::DetailLine> lines READ lines NOTIFY linesChanged)
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
    const QList<DetailLine>& lines() const { return lines_; }
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
    QList<DetailLine> lines_;
    bool isReading_ = false;
};

} // namespace kestrava
