#include "PhotoDetails.h"

#include "PhotoMetadata.h"
#include "platform/DeliveredLater.h"
#include "preview/PreviewPipeline.h"

#include <QThreadPool>
#include <QtConcurrent>

namespace kestrava {

namespace {

QThreadPool& metadataPool()
{
    // One reader: the inspector follows the photo on screen, older requests are dropped anyway.
    static QThreadPool* const pool = [] {
        auto* p = new QThreadPool;
        p->setMaxThreadCount(1);
        return p;
    }();
    return *pool;
}

} // namespace

PhotoDetails::PhotoDetails(QObject* parent) : PhotoDetails(Reading{}, parent) {}

PhotoDetails::PhotoDetails(Reading reading, QObject* parent) : QObject(parent), reading_(std::move(reading))
{
    if (!reading_.decodeSlots) {
        PreviewPipeline& shared = PreviewPipeline::shared();
        reading_.decodeSlots = &shared.decodeSlots();
        if (!reading_.decodeConcurrency)
            reading_.decodeConcurrency = [&shared](const QString& path) { return shared.decodeConcurrency(path); };
    }
    if (!reading_.decodeConcurrency)
        reading_.decodeConcurrency = [](const QString&) { return 2; };
}

void PhotoDetails::setPath(const QString& path)
{
    if (path_ == path)
        return;
    path_ = path;
    const quint64 generation = ++*generation_;
    emit pathChanged();
    if (path.isEmpty()) {
        lines_.clear();
        emit linesChanged();
        setReading(false);
        return;
    }
    setReading(true);
    deliveredLater(QtConcurrent::run(&metadataPool(),
                      [path, generation, current = generation_, reading = reading_]() -> std::optional<QList<PhotoMetadata::Line>> {
                          const auto outdated = [&] { return current->load() != generation; };
                          DecodeSlots& decodeSlots = *reading.decodeSlots;
                          if (!decodeSlots.acquireBlocking(readPriority, reading.decodeConcurrency(path), outdated))
                              return std::nullopt;
                          DecodeSlotGuard slot(decodeSlots);
                          if (outdated())
                              return std::nullopt;
                          if (reading.onRead)
                              reading.onRead(path);
                          return PhotoMetadata::lines(PhotoMetadata::read(path));
                      }), this)
        .then(this, [this, path](const std::optional<QList<PhotoMetadata::Line>>& result) {
            if (path != path_ || !result)
                return;
            lines_.clear();
            for (const auto& line : *result)
                lines_.append({line.label, line.value});
            emit linesChanged();
            setReading(false);
        });
}

void PhotoDetails::setReading(bool reading)
{
    if (isReading_ == reading)
        return;
    isReading_ = reading;
    emit isReadingChanged();
}

} // namespace kestrava
