#include "AppPaths.h"

#include "DurableFile.h"

#include <QDir>

namespace kestrava::AppPaths {

namespace {

// The XDG base-directory rules: the variable counts only when it holds an absolute path.
QString xdgFolder(const char* variable, const QString& fallbackBelowHome)
{
    const QString value = qEnvironmentVariable(variable);
    if (!value.isEmpty() && QDir::isAbsolutePath(value))
        return QDir::cleanPath(value);
    return QDir::cleanPath(QDir::homePath() + QLatin1Char('/') + fallbackBelowHome);
}

QString created(const QString& folder)
{
    ensureDirectory(folder);
    return folder;
}

} // namespace

QString dataHome()
{
    return xdgFolder("XDG_DATA_HOME", QStringLiteral(".local/share"));
}

QString sessionsFolder()
{
    return created(dataHome() + QLatin1String("/Kestrava/Sessions"));
}

QString previewCacheFolder()
{
    return created(xdgFolder("XDG_CACHE_HOME", QStringLiteral(".cache")) + QLatin1String("/Kestrava/Previews"));
}

} // namespace kestrava::AppPaths
