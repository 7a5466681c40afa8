#pragma once

// One Kestrava window per user, as desktop applications behave: the first start owns a lock
// and a local socket in the user's runtime folder; a later start hands its folder or session
// document to it over the socket and ends. A local socket works without a session bus, which
// servers and minimal desktops may lack.

#include <QObject>
#include <QString>

class QLocalServer;
class QLocalSocket;

namespace kestrava {

class SingleInstance : public QObject {
    Q_OBJECT

public:
    enum class Role {
        primary,    // this process shows the window and receives later starts' arguments
        handedOver, // a running instance took the argument; this process ends
        standalone, // no running instance answered and none could be set up: run on alone
    };

    // `runtimeFolder` holds the lock and the socket; empty means the desktop's runtime folder
    // ($XDG_RUNTIME_DIR, or Qt's private fallback where it is unset).
    explicit SingleInstance(QString runtimeFolder = {}, QObject* parent = nullptr);
    ~SingleInstance() override;

    // Becomes the primary instance, or hands `argument` (an absolute path, or empty for a
    // plain start) to the one running and waits up to `timeoutMs` for its acknowledgement. The
    // wait is long because a running instance that is itself still starting (its window
    // loading on a busy machine) answers only once its event loop runs, and giving up early
    // would open the second window this is meant to prevent.
    Role start(const QString& argument, int timeoutMs = 30000);

    QString socketPath() const;

signals:
    // A later start's argument: an absolute path, or empty when it was started without one.
    void activationRequested(const QString& argument);

private:
    bool listen();
    void accept();
    bool handOver(const QString& argument, int timeoutMs);

    QString folder_;
    int lockFd_ = -1;
    QLocalServer* server_ = nullptr;
};

} // namespace kestrava
