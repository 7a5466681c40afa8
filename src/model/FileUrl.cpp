#include "FileUrl.h"

#include <QDir>
#include <QUrl>

namespace kestrava {

FileUrl FileUrl::fromLocalPath(const QString& path)
{
    // A lone UTF-16 surrogate names no file: the system calls would see U+FFFD in its place,
    // so the location would silently be another one. Nor can a session store it (its JSON
    // reader refuses the path). Refused like an empty path, it never enters the model.
    if (path.isEmpty() || !path.isValidUtf16())
        return {};
    // cleanPath is costly on hot paths; most paths from enumeration are already clean.
    const bool needsCleaning = path.contains(QLatin1String("/.")) || path.contains(QLatin1String("//"))
        || (path.size() > 1 && path.endsWith(QLatin1Char('/')));
    return FileUrl(needsCleaning ? QDir::cleanPath(path) : path);
}

std::optional<FileUrl> FileUrl::fromUrlString(const QString& text)
{
    const QUrl url(text, QUrl::StrictMode);
    if (!url.isValid() || url.scheme() != QLatin1String("file") || !url.host().isEmpty())
        return std::nullopt;
    const QString local = url.toLocalFile();
    if (!local.startsWith(QLatin1Char('/')))
        return std::nullopt;
    FileUrl result = fromLocalPath(local);
    if (result.isEmpty())
        return std::nullopt;
    return result;
}

QString FileUrl::toUrlString() const
{
    if (path_.isEmpty())
        return {};
    // QUrl's rendering is the reference. Paths of plain ASCII letters, digits, "-._~", "/" and
    // spaces (camera folders and names) get the same text without a QUrl per call: a scan of
    // 100,000 files writes 100,000 of them.
    if (path_.startsWith(QLatin1Char('/')) && !path_.startsWith(QLatin1String("//"))) {
        QString text;
        text.reserve(path_.size() + 16);
        text.append(QLatin1String("file://"));
        for (const QChar c : path_) {
            const char16_t unit = c.unicode();
            const bool plain = (unit >= u'a' && unit <= u'z') || (unit >= u'A' && unit <= u'Z') || (unit >= u'0' && unit <= u'9')
                || unit == u'/' || unit == u'-' || unit == u'.' || unit == u'_' || unit == u'~';
            if (plain)
                text.append(c);
            else if (unit == u' ')
                text.append(QLatin1String("%20"));
            else
                return QUrl::fromLocalFile(path_).toString(QUrl::FullyEncoded);
        }
        return text;
    }
    return QUrl::fromLocalFile(path_).toString(QUrl::FullyEncoded);
}

QString FileUrl::fileName() const
{
    const qsizetype slash = path_.lastIndexOf(QLatin1Char('/'));
    return slash < 0 ? path_ : path_.mid(slash + 1);
}

QString FileUrl::suffix() const
{
    const QString name = fileName();
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    return dot <= 0 ? QString() : name.mid(dot + 1);
}

FileUrl FileUrl::parent() const
{
    const qsizetype slash = path_.lastIndexOf(QLatin1Char('/'));
    if (slash <= 0)
        return FileUrl(QStringLiteral("/"));
    return FileUrl(path_.left(slash));
}

FileUrl FileUrl::appending(const QString& relativePath) const
{
    if (relativePath.isEmpty())
        return *this;
    if (path_ == QLatin1String("/"))
        return fromLocalPath(path_ + relativePath);
    return fromLocalPath(path_ + QLatin1Char('/') + relativePath);
}

} // namespace kestrava
