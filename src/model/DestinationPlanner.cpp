#include "DestinationPlanner.h"

#include "Text.h"

#include <QFile>
#include <QLocale>
#include <QStringList>
#include <sys/stat.h>

namespace kestrava::DestinationPlanner {

using namespace Qt::StringLiterals;

bool existsOnDisk(const QString& path)
{
    // lstat: a dangling symbolic link still occupies the name.
    struct stat info {};
    return ::lstat(QFile::encodeName(path).constData(), &info) == 0;
}

QString sanitize(const QString& text)
{
    QString result = text;
    for (QChar& c : result)
        if (c == u'/' || c == u':' || c == QChar(0))
            c = u'-';
    return text::truncateGraphemes(result.trimmed(), 100);
}

QString suggestedRunName(const QString& eventName, const QDateTime& now)
{
    static const QString prefix = u"Kestrava – "_s;
    const QString event = sanitize(eventName);
    if (!event.isEmpty())
        return prefix + event;
    return prefix + QLocale(QLocale::German, QLocale::Germany).toString(now.toLocalTime(), u"yyyy-MM-dd HH-mm"_s);
}

FileUrl uniqueRunFolder(const FileUrl& base, const QString& preferredName, const ExistsFunction& exists)
{
    QString name = sanitize(preferredName);
    if (name.isEmpty())
        name = suggestedRunName(QString(), QDateTime::currentDateTime());
    const FileUrl candidate = base.appending(name);
    if (!exists(candidate.path()))
        return candidate;
    for (qint64 n = 2;; ++n) {
        Q_ASSERT(n < std::numeric_limits<qint64>::max());
        const FileUrl numbered = base.appending(name + u' ' + QString::number(n));
        if (!exists(numbered.path()))
            return numbered;
    }
}

QString formatFolderName(PhotoFormatGroup group)
{
    switch (group) {
    case PhotoFormatGroup::jpeg:
        return u"JPEG"_s;
    case PhotoFormatGroup::raw:
        return u"RAW"_s;
    case PhotoFormatGroup::other:
        return u"Andere"_s;
    }
    return {};
}

QString decisionFolderName(PhotoDecision decision)
{
    switch (decision) {
    case PhotoDecision::keep:
        return u"Behalten"_s;
    case PhotoDecision::maybe:
        return u"Prüfen"_s;
    case PhotoDecision::del:
        return u"Aussortiert"_s;
    }
    return {};
}

QString relativeDirectory(const PhotoItem& item, const SortOptions& options)
{
    QStringList parts;
    parts.reserve(6);
    parts.append(formatFolderName(item.formatGroup));
    if (const QString event = sanitize(options.eventName); !event.isEmpty())
        parts.append(event);
    if (options.groupByDate) {
        const QDate date = item.captureDate.toLocalTime().date();
        const QString year = QString::asprintf("%04d", date.year());
        parts.append(year);
        parts.append(QString::asprintf("%04d-%02d", date.year(), date.month()));
    }
    if (item.decision)
        parts.append(decisionFolderName(*item.decision));
    if (const QString category = sanitize(item.category); !category.isEmpty())
        parts.append(category);
    return parts.join(u'/');
}

} // namespace kestrava::DestinationPlanner
