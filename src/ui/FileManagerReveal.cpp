#include "FileManagerReveal.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDesktopServices>
#include <QFileInfo>

namespace kestrava::FileManagerReveal {

using namespace Qt::StringLiterals;

namespace {

bool openWith(const Opener& opener, const QUrl& url)
{
    return opener ? opener(url) : QDesktopServices::openUrl(url);
}

void openFallback(const QString& path, const FailureHandler& failed, const Opener& opener)
{
    if (!openWith(opener, fallbackUrl(path)) && failed)
        failed(revealFailedText(path));
}

} // namespace

QUrl fallbackUrl(const QString& path)
{
    const QFileInfo info(path);
    return QUrl::fromLocalFile(info.isDir() ? info.absoluteFilePath() : info.absolutePath());
}

QString revealFailedText(const QString& path)
{
    return u"Es konnte kein Dateimanager geöffnet werden. Du findest den Ordner hier: "_s
           + QFileInfo(path).absoluteFilePath();
}

QString openFailedText(const QString& path)
{
    return u"Es wurde kein Programm gefunden, das diese Datei öffnen kann. Du findest sie hier: "_s
           + QFileInfo(path).absoluteFilePath();
}

void reveal(const QString& path, QObject* context, FailureHandler failed, Opener opener)
{
    if (path.isEmpty())
        return;
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        openFallback(path, failed, opener);
        return;
    }
    QDBusMessage call = QDBusMessage::createMethodCall(u"org.freedesktop.FileManager1"_s, u"/org/freedesktop/FileManager1"_s,
                                                       u"org.freedesktop.FileManager1"_s, u"ShowItems"_s);
    call << QStringList{QUrl::fromLocalFile(path).toString()} << QString();
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(call, 3000), context);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, context,
                     [watcher, path, failed = std::move(failed), opener = std::move(opener)] {
                         watcher->deleteLater();
                         if (watcher->isError())
                             openFallback(path, failed, opener);
                     });
}

void open(const QString& path, FailureHandler failed, Opener opener)
{
    if (!path.isEmpty() && !openWith(opener, QUrl::fromLocalFile(path)) && failed)
        failed(openFailedText(path));
}

} // namespace kestrava::FileManagerReveal
