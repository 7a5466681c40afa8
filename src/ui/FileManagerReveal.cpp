#include "FileManagerReveal.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDesktopServices>
#include <QFileInfo>

namespace kestrava::FileManagerReveal {

using namespace Qt::StringLiterals;

QUrl fallbackUrl(const QString& path)
{
    const QFileInfo info(path);
    return QUrl::fromLocalFile(info.isDir() ? info.absoluteFilePath() : info.absolutePath());
}

void reveal(const QString& path, QObject* context)
{
    if (path.isEmpty())
        return;
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        QDesktopServices::openUrl(fallbackUrl(path));
        return;
    }
    QDBusMessage call = QDBusMessage::createMethodCall(u"org.freedesktop.FileManager1"_s, u"/org/freedesktop/FileManager1"_s,
                                                       u"org.freedesktop.FileManager1"_s, u"ShowItems"_s);
    call << QStringList{QUrl::fromLocalFile(path).toString()} << QString();
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(call, 3000), context);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, context, [watcher, path] {
        watcher->deleteLater();
        if (watcher->isError())
            QDesktopServices::openUrl(fallbackUrl(path));
    });
}

} // namespace kestrava::FileManagerReveal
