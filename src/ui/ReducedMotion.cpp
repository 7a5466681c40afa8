#include "ReducedMotion.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QDir>
#include <QFile>
#include <QStandardPaths>

namespace kestrava::ReducedMotion {

using namespace Qt::StringLiterals;

std::optional<bool> fromEnvironment(const QByteArray& value)
{
    if (value == "1")
        return true;
    if (value == "0")
        return false;
    return std::nullopt;
}

std::optional<bool> fromKdeGlobals(const QString& text)
{
    bool inKde = false;
    for (const QString& raw : text.split(u'\n')) {
        const QString line = raw.trimmed();
        if (line.startsWith(u'[')) {
            inKde = line == u"[KDE]"_s;
            continue;
        }
        if (inKde && line.startsWith(u"AnimationDurationFactor"_s)) {
            bool ok = false;
            const double factor = line.section(u'=', 1).trimmed().toDouble(&ok);
            if (ok)
                return factor == 0.0;
        }
    }
    return std::nullopt;
}

bool detectSynchronously()
{
    if (const auto env = fromEnvironment(qgetenv("KESTRAVA_REDUCE_MOTION")))
        return *env;
    QFile file(QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + u"/kdeglobals"_s);
    if (file.open(QIODevice::ReadOnly))
        if (const auto kde = fromKdeGlobals(QString::fromUtf8(file.readAll())))
            return *kde;
    return false;
}

void askPortal(QObject* context, std::function<void(bool)> onAnswer)
{
    if (fromEnvironment(qgetenv("KESTRAVA_REDUCE_MOTION")))
        return;
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return;
    QDBusMessage call = QDBusMessage::createMethodCall(u"org.freedesktop.portal.Desktop"_s, u"/org/freedesktop/portal/desktop"_s,
                                                       u"org.freedesktop.portal.Settings"_s, u"Read"_s);
    call << u"org.gnome.desktop.interface"_s << u"enable-animations"_s;
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(call, 1500), context);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, context, [watcher, onAnswer] {
        watcher->deleteLater();
        QDBusPendingReply<QDBusVariant> reply = *watcher;
        if (reply.isError())
            return;
        // The portal wraps the value once more in a variant.
        QVariant value = reply.value().variant();
        if (value.canConvert<QDBusVariant>())
            value = value.value<QDBusVariant>().variant();
        if (value.typeId() == QMetaType::Bool && !value.toBool())
            onAnswer(true);
    });
}

} // namespace kestrava::ReducedMotion
