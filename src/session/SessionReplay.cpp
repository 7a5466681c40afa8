#include "SessionReplay.h"

#include "SessionEvent.h"
#include "SessionStoreError.h"

#include "platform/DurableFile.h"

#include <QByteArrayView>
#include <QHash>
#include <QVarLengthArray>

namespace kestrava {

using namespace Qt::StringLiterals;

void replayEvents(SortSession& session, const QByteArray& fullLog)
{
    // A torn last write was never acknowledged: it is not part of the log (see durableAppendLine).
    const QByteArrayView log(fullLog.constData(), wholeLinesLength(fullLog));
    if (!log.isValidUtf8())
        throw SessionStoreError::corruptSession(u"Ereignisprotokoll ist nicht UTF-8"_s);

    // A path may in principle name more than one photo; every one of them follows the event.
    QHash<QString, QVarLengthArray<qsizetype, 1>> photosByPath;
    photosByPath.reserve(session.photos.size());
    for (qsizetype i = 0; i < session.photos.size(); ++i)
        photosByPath[session.photos[i].sourceURL.path()].append(i);

    qsizetype start = 0;
    while (start < log.size()) {
        qsizetype end = log.indexOf('\n', start);
        if (end < 0)
            end = log.size();
        const QByteArrayView line(log.constData() + start, end - start);
        start = end + 1;
        if (line.isEmpty())
            continue;

        SessionEvent event = decodeEventLine(line);
        if (event.sequence <= session.lastEventSequence)
            continue;

        if (event.kind != SessionEventKind::execution) {
            for (const QString& path : std::as_const(event.sourcePaths)) {
                const auto found = photosByPath.constFind(path);
                if (found == photosByPath.constEnd())
                    continue;
                for (qsizetype index : *found) {
                    PhotoItem& photo = session.photos[index];
                    if (event.kind == SessionEventKind::decision)
                        photo.decision = event.decision;
                    else
                        photo.category = event.category.value_or(QString());
                }
            }
            session.currentIndex = event.currentIndex;
        }
        if (event.executionRecord) {
            const QString key = event.executionRecord->sourcePath;
            session.executionRecords.insert(key, std::move(*event.executionRecord));
        }
        session.lastEventSequence = event.sequence;
        session.updatedAt = event.timestamp;
    }
}

} // namespace kestrava
