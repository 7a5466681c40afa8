#include "PhotoDetails.h"

#include "PhotoMetadata.h"

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

void PhotoDetails::setPath(const QString& path)
{
    if (path_ == path)
        return;
    path_ = path;
    emit pathChanged();
    if (path.isEmpty()) {
        lines_.clear();
        emit linesChanged();
        setReading(false);
        return;
    }
    setReading(true);
    QtConcurrent::run(&metadataPool(), [path] { return PhotoMetadata::lines(PhotoMetadata::read(path)); })
        .then(this, [this, path](const QList<PhotoMetadata::Line>& result) {
            if (path != path_)
                return;
            QVariantList list;
            for (const auto& line : result)
                list.append(QVariantMap{{QStringLiteral("label"), line.label}, {QStringLiteral("value"), line.value}});
            lines_ = list;
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
