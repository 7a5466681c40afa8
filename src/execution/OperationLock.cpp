#include "OperationLock.h"

#include "ResultPermissions.h"

#include "platform/DurableFile.h"
#include "platform/ProcessProbe.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QScopeGuard>
#include <QFileInfo>
#include <QMutex>
#include <QSet>
#include <QUuid>

#include <cerrno>
#include <fcntl.h>
#include <optional>

namespace kestrava {

using ResumableSortExecutor::ensureResultFolder;

namespace {

std::optional<qint64> ownerOf(const QString& path, FileOps& ops)
{
    try {
        const QByteArray content = readWholeFile(path, 64, ops);
        bool ok = false;
        const int pid = QString::fromUtf8(content).trimmed().toInt(&ok);
        if (!ok || pid <= 0)
            return std::nullopt;
        return pid;
    } catch (const FileSystemError&) {
        return std::nullopt;
    }
}

// The lock's content written under a private name (".kestrava.lock.<pid>.<random>"), to appear as the
// lock by an exclusive rename: a run killed at any moment leaves no lock or one holding its
// whole id, never an empty one, which would count as held and block the folder for good.
class LockDraft {
public:
    LockDraft(const QString& lockPath, FileOps& ops)
        : ops_(ops)
    {
        const QByteArray pid = QByteArray::number(QCoreApplication::applicationPid());
        // The random part keeps two windows of one process, starting at once, apart.
        path_ = lockPath + QLatin1Char('.') + QString::fromLatin1(pid) + QLatin1Char('.')
            + QUuid::createUuid().toString(QUuid::Id128);
        UniqueFd file = createExclusive(path_, ops_, O_WRONLY, 0600);
        auto notWritten = qScopeGuard([&] {
            file = UniqueFd();
            ops_.unlink(QFile::encodeName(path_));
        });
        writeAll(file.get(), pid.constData(), pid.size(), path_, ops_);
        file.close(path_);
        notWritten.dismiss();
        written_ = true;
    }

    ~LockDraft()
    {
        if (written_)
            ops_.unlink(QFile::encodeName(path_));
    }

    LockDraft(const LockDraft&) = delete;
    LockDraft& operator=(const LockDraft&) = delete;

    // False when a lock already exists; the draft then stays for another attempt.
    bool becomeLock(const QString& lockPath)
    {
        try {
            renameExclusive(path_, lockPath, ops_);
        } catch (const FileSystemError& error) {
            if (error.errorNumber() == EEXIST)
                return false;
            throw;
        }
        written_ = false;
        return true;
    }

private:
    FileOps& ops_;
    QString path_;
    bool written_ = false;
};

// Drafts of runs that died between writing and renaming them. Only dead owners' drafts go:
// a live one may be about to try its rename.
void removeAbandonedDrafts(const QString& folder, const QString& lockName, FileOps& ops)
{
    const QString prefix = lockName + QLatin1Char('.');
    const QStringList names = QDir(folder).entryList({prefix + QLatin1Char('*')},
                                                     QDir::Files | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    for (const QString& name : names) {
        bool ok = false;
        const qint64 pid = name.mid(prefix.size()).section(QLatin1Char('.'), 0, 0).toLongLong(&ok);
        if (ok && pid > 0 && pid != QCoreApplication::applicationPid() && !isProcessAlive(pid))
            ops.unlink(QFile::encodeName(folder + QLatin1Char('/') + name));
    }
}

// The locks this process holds now. A lock file naming this process that is none of them was
// left by an earlier run of this process that could not remove it (its folder had turned
// read-only): the run is over, and the window that retries it must not be told it is running.
QMutex heldHereMutex;
QSet<QString> heldHere;

bool isHeldHere(const QString& path)
{
    const QMutexLocker locker(&heldHereMutex);
    return heldHere.contains(path);
}

void setHeldHere(const QString& path, bool held)
{
    const QMutexLocker locker(&heldHereMutex);
    if (held)
        heldHere.insert(path);
    else
        heldHere.remove(path);
}

} // namespace

OperationLock::OperationLock(const FileUrl& destinationRoot, FileOps& ops)
    : url_(destinationRoot.appending(QLatin1String(fileName)))
    , ops_(&ops)
{
    try {
        ensureResultFolder(destinationRoot.path(), ops);
        acquire(destinationRoot.path(), QLatin1String(fileName), ResumableSortError::operationAlreadyRunning());
    } catch (const FileSystemError& error) {
        // The lock is the run's first write into the folder: a write-protected card or a
        // read-only mount is named as such, not by the lock's own file name.
        if (error.errorNumber() == EROFS)
            ResumableSortError::resultReadOnly(destinationRoot.fileName()).raise();
        throw;
    }
}

OperationLock::OperationLock(const QString& folder, const QString& name, const ResumableSortError& whenHeld,
                             FileOps& ops)
    : url_(FileUrl::fromLocalPath(folder + QLatin1Char('/') + name))
    , ops_(&ops)
{
    ensureDirectory(folder, ops);
    acquire(folder, name, whenHeld);
}

std::unique_ptr<OperationLock> OperationLock::forSource(const QString& sourceFolder, const QString& lockFolder,
                                                        FileOps& ops)
{
    const QFileInfo info(sourceFolder);
    const QString real = info.canonicalFilePath().isEmpty() ? QDir::cleanPath(sourceFolder) : info.canonicalFilePath();
    const QByteArray digest = QCryptographicHash::hash(QFile::encodeName(real), QCryptographicHash::Sha256).toHex();
    const QString name = QStringLiteral(".source-") + QString::fromLatin1(digest.left(32)) + QStringLiteral(".lock");
    return std::unique_ptr<OperationLock>(
        new OperationLock(lockFolder, name, ResumableSortError::sourceFolderInUse(info.fileName()), ops));
}

void OperationLock::acquire(const QString& folder, const QString& name, const ResumableSortError& whenHeld)
{
    FileOps& ops = *ops_;
    LockDraft draft(url_.path(), ops);
    if (!draft.becomeLock(url_.path())) {
        const std::optional<qint64> owner = ownerOf(url_.path(), ops);
        const bool abandoned = !owner && isAbandonedReservation(url_.path(), ops); // a run killed mid-rename on FAT
        const bool leftByThisProcess = owner && *owner == QCoreApplication::applicationPid() && !isHeldHere(url_.path());
        if (!abandoned && !leftByThisProcess && (!owner || isProcessAlive(*owner)))
            whenHeld.raise();
        if (ops.unlink(QFile::encodeName(url_.path())) != 0 && errno != ENOENT)
            throw FileSystemError(FileSystemError::Operation::remove, url_.path(), errno);
        if (!draft.becomeLock(url_.path()))
            whenHeld.raise();
    }
    removeAbandonedDrafts(folder, name, ops);
    setHeldHere(url_.path(), true);
}

OperationLock::~OperationLock()
{
    release();
}

void OperationLock::release()
{
    if (isReleased_)
        return;
    isReleased_ = true;
    setHeldHere(url_.path(), false);
    ops_->unlink(QFile::encodeName(url_.path()));
}

} // namespace kestrava
