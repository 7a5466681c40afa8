#include "SingleInstance.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QLocalServer>
#include <QLocalSocket>
#include <QStandardPaths>
#include <QThread>

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace kestrava {

namespace {

// Enough for any path; a longer line is not from us and is dropped.
constexpr qint64 maxLineBytes = 64 * 1024;
const QByteArray acknowledgement = QByteArrayLiteral("ok\n");

} // namespace

SingleInstance::SingleInstance(QString runtimeFolder, QObject* parent)
    : QObject(parent),
      folder_(runtimeFolder.isEmpty() ? QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation)
                                      : std::move(runtimeFolder))
{
}

SingleInstance::~SingleInstance()
{
    if (server_)
        server_->close();
    if (lockFd_ >= 0)
        ::close(lockFd_);
}

QString SingleInstance::socketPath() const
{
    return folder_ + QStringLiteral("/kestrava.socket");
}

SingleInstance::Role SingleInstance::start(const QString& argument, int timeoutMs)
{
    QDir().mkpath(folder_);
    // The lock decides who is first even when two starts race: a socket file alone cannot,
    // since a stale one from a crashed instance looks like a live one until connected to.
    // flock is released by the kernel when its holder dies, however it dies.
    const QByteArray lockPath = QFile::encodeName(folder_ + QStringLiteral("/kestrava.lock"));
    lockFd_ = ::open(lockPath.constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (lockFd_ >= 0 && ::flock(lockFd_, LOCK_EX | LOCK_NB) == 0)
        return listen() ? Role::primary : Role::standalone;
    if (lockFd_ >= 0) {
        ::close(lockFd_);
        lockFd_ = -1;
    }
    // The first instance may still be setting up its socket: try until the deadline.
    return handOver(argument, timeoutMs) ? Role::handedOver : Role::standalone;
}

bool SingleInstance::listen()
{
    server_ = new QLocalServer(this);
    server_->setSocketOptions(QLocalServer::UserAccessOption);
    // Holding the lock, any socket file left is a dead instance's.
    QLocalServer::removeServer(socketPath());
    if (!server_->listen(socketPath()))
        return false;
    connect(server_, &QLocalServer::newConnection, this, &SingleInstance::accept);
    return true;
}

void SingleInstance::accept()
{
    while (QLocalSocket* socket = server_->nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
            if (!socket->canReadLine()) {
                if (socket->bytesAvailable() > maxLineBytes)
                    socket->abort();
                return;
            }
            const QString argument = QString::fromUtf8(socket->readLine(maxLineBytes)).chopped(1);
            socket->write(acknowledgement);
            socket->flush();
            socket->disconnectFromServer();
            emit activationRequested(argument);
        });
    }
}

bool SingleInstance::handOver(const QString& argument, int timeoutMs)
{
    const QDeadlineTimer deadline(timeoutMs);
    QByteArray line = argument.toUtf8();
    line.replace('\n', ' ');
    line.append('\n');
    while (!deadline.hasExpired()) {
        QLocalSocket socket;
        socket.connectToServer(socketPath());
        if (socket.waitForConnected(int(std::max<qint64>(deadline.remainingTime(), 1)))) {
            socket.write(line);
            if (!socket.waitForBytesWritten(int(std::max<qint64>(deadline.remainingTime(), 1))))
                return false;
            QByteArray reply;
            while (!reply.endsWith('\n') && socket.waitForReadyRead(int(std::max<qint64>(deadline.remainingTime(), 1))))
                reply += socket.readAll();
            return reply == acknowledgement;
        }
        QThread::msleep(50);
    }
    return false;
}

} // namespace kestrava
