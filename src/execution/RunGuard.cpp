#include "RunGuard.h"

#include "ResultPermissions.h"
#include "ResumableSortError.h"

#include "platform/AppPaths.h"

#include <QFile>
#include <QSet>

#include <sys/stat.h>
#include <sys/statvfs.h>

namespace kestrava::ResumableSortExecutor {

namespace {

bool exists(const FileUrl& url, FileOps& ops)
{
    struct stat info {};
    return ops.lstat(QFile::encodeName(url.path()), &info) == 0;
}

// The folders the photos were scanned from: each photo's path without its relative path.
QStringList sourceFolders(const SortExecutionPlan& plan)
{
    QSet<QString> folders;
    for (const PlannedAction& action : plan.actions) {
        const QString path = action.item.sourceURL.path();
        const QString relative = action.item.relativePath;
        if (!relative.isEmpty() && path.endsWith(QLatin1Char('/') + relative))
            folders.insert(path.left(path.size() - relative.size() - 1));
        else
            folders.insert(action.item.sourceURL.parent().path());
    }
    QStringList sorted(folders.begin(), folders.end());
    sorted.sort();
    return sorted;
}

bool isReadOnlyFolder(const QString& folder)
{
    struct statvfs info {};
    return ::statvfs(QFile::encodeName(folder).constData(), &info) == 0 && (info.f_flag & ST_RDONLY) != 0;
}

// A move from a write-protected card could copy every photo and then remove none: refused
// before the first byte moves, naming the folder.
void refuseMovesFromReadOnlyFolders(const SortExecutionPlan& plan, FileOps& ops)
{
    QSet<QString> checked;
    for (const PlannedAction& action : plan.actions) {
        if (action.kind != PlannedActionKind::move || !exists(action.item.sourceURL, ops))
            continue;
        const QString folder = action.item.sourceURL.parent().path();
        if (checked.contains(folder))
            continue;
        checked.insert(folder);
        if (isReadOnlyFolder(folder))
            throw ResumableSortError::sourceReadOnly(action.item.sourceURL.parent().fileName());
    }
}

} // namespace

RunGuard::RunGuard(const SortExecutionPlan& plan, FileOps& ops)
{
    // Sources first: a second run of the same card is refused before it makes a result folder.
    const QStringList sources = sourceFolders(plan);
    if (!sources.isEmpty()) {
        const QString lockFolder = AppPaths::sessionsFolder();
        for (const QString& folder : sources)
            sourceLocks_.push_back(OperationLock::forSource(folder, lockFolder, ops));
    }
    refuseMovesFromReadOnlyFolders(plan, ops);
    resultLock_ = std::make_unique<OperationLock>(plan.options.destinationRoot, ops);
    ensureRunFolderMarker(plan.options.destinationRoot.path(), ops);
}

void RunGuard::release()
{
    if (resultLock_)
        resultLock_->release();
    for (const auto& lock : sourceLocks_)
        lock->release();
}

} // namespace kestrava::ResumableSortExecutor
