#include "TrashTestSupport.h"

#include <QDir>
#include <QFile>

namespace kestrava::test {

TrashSandbox::TrashSandbox()
{
    hadDataHome_ = qEnvironmentVariableIsSet("XDG_DATA_HOME");
    previousDataHome_ = qgetenv("XDG_DATA_HOME");
    tree.mkdir(QStringLiteral("photos"));
    tree.mkdir(QStringLiteral("result"));
    tree.mkdir(QStringLiteral("xdg"));
    qputenv("XDG_DATA_HOME", dataHome().toUtf8());
}

TrashSandbox::~TrashSandbox()
{
    if (hadDataHome_)
        qputenv("XDG_DATA_HOME", previousDataHome_);
    else
        qunsetenv("XDG_DATA_HOME");
}

QString TrashSandbox::addOriginal(const QString& name, const QByteArray& bytes)
{
    return tree.write(QStringLiteral("photos/") + name, bytes);
}

QList<TrashGroup> TrashSandbox::singleGroups(const QStringList& paths)
{
    QList<TrashGroup> groups;
    for (const QString& path : paths)
        groups.append(oneGroup({path}));
    return groups;
}

TrashGroup TrashSandbox::oneGroup(const QStringList& paths)
{
    TrashGroup group;
    group.id = QUuid::createUuid();
    for (const QString& path : paths) {
        const FileUrl url = FileUrl::fromLocalPath(path);
        group.members.append({url, url.fileName()});
    }
    return group;
}

} // namespace kestrava::test
