#include "WorkflowRig.h"
#include "scanning/PhotoScannerError.h"

#include <QDir>
#include <gtest/gtest.h>

namespace kestrava::test {

QList<PhotoItem> photosNamed(const QString& folder, const QStringList& relativePaths)
{
    QList<PhotoItem> items;
    for (const QString& relative : relativePaths) {
        PhotoItem item;
        item.sourceURL = FileUrl::fromLocalPath(folder + QLatin1Char('/') + relative);
        item.relativePath = relative;
        item.formatGroup = formatGroupForFileName(relative);
        item.fileSize = 1000;
        item.captureDate = distantPast();
        item.modificationDate = QDateTime(QDate(2026, 3, 1), QTime(9, 0), Qt::UTC);
        items.append(item);
    }
    return items;
}

QList<PhotoItem> shoot(const QString& folder, int pairs, int singles)
{
    QStringList names;
    for (int i = 0; i < pairs; ++i) {
        const QString base = QStringLiteral("IMG_%1").arg(i + 1, 5, 10, QLatin1Char('0'));
        names << base + QStringLiteral(".JPG") << base + QStringLiteral(".CR3");
    }
    for (int i = 0; i < singles; ++i)
        names << QStringLiteral("SOLO_%1.JPG").arg(i + 1, 5, 10, QLatin1Char('0'));
    return photosNamed(folder, names);
}

void writeFiles(const QList<PhotoItem>& items)
{
    for (const PhotoItem& item : items) {
        QByteArray bytes = item.relativePath.toUtf8();
        bytes.append(QByteArray(int(item.fileSize) - bytes.size(), 'x'));
        writeFile(item.sourceURL.path(), bytes);
        QFile file(item.sourceURL.path());
        EXPECT_TRUE(file.open(QIODevice::ReadWrite));
        EXPECT_TRUE(file.setFileTime(item.modificationDate, QFileDevice::FileModificationTime));
    }
}

WorkflowRig::WorkflowRig(Persistence persistence_, WorkflowTimings timings_)
    : persistence(persistence_), timings(timings_)
{
    photoFolder = tree.mkdir(QStringLiteral("Fotos"));
    destinationBase = tree.mkdir(QStringLiteral("Ziel"));
    storeFolder = tree.path(QStringLiteral("Sessions"));
    build();
}

WorkflowRig::~WorkflowRig()
{
    viewModel.reset();
    store.reset();
}

WorkflowTimings WorkflowRig::shortTimings()
{
    using std::chrono::milliseconds;
    return {milliseconds(40), milliseconds(10), milliseconds(30)};
}

void WorkflowRig::build()
{
    if (persistence == Persistence::store)
        store = std::make_unique<SessionStore>(storeFolder, fileOps);
    WorkflowServices services;
    services.sessionStore = store.get();
    services.scanFolder = [this](const FileUrl& folder) {
        if (scanFailureFolder)
            throw PhotoScannerError::folderUnavailable(*scanFailureFolder, ENOENT);
        Q_UNUSED(folder);
        return scanResult;
    };
    services.timings = timings;
    if (metadata)
        services.metadata = metadata;
    viewModel = std::make_unique<KestravaViewModel>(services);
}

void WorkflowRig::restart()
{
    viewModel.reset();
    store.reset();
    build();
}

bool waitFor(const std::function<bool()>& condition, int timeoutMs)
{
    return QTest::qWaitFor(condition, timeoutMs);
}

void WorkflowRig::load(const QList<PhotoItem>& items, int unreadableFolders)
{
    // What else a test set on the scan (files it does not take) stays.
    scanResult.items = items;
    scanResult.skippedUnreadableFolders = unreadableFolders;
    vm().loading()->load(photoFolder);
    ASSERT_TRUE(waitFor([&] { return !vm().loading()->isLoading(); }));
    settle();
}

void WorkflowRig::startReview(SortOperationMode mode)
{
    vm().selectOperationMode(mode);
    vm().setDestinationBaseFolder(destinationBase);
    vm().updateRunFolderName(QStringLiteral("Ergebnis"));
    vm().loading()->startReviewing();
    ASSERT_EQ(vm().route(), AppRoute::reviewing) << vm().alertText().toStdString();
    settle();
}

void WorkflowRig::markPreviewVisible()
{
    const QStringList candidates = vm().review()->previewCandidates();
    ASSERT_FALSE(candidates.isEmpty());
    vm().review()->setPreviewReady(true, candidates.first());
}

void WorkflowRig::decide(PhotoDecision decision)
{
    markPreviewVisible();
    vm().review()->classify(decision);
    settle();
}

void WorkflowRig::settle()
{
    ASSERT_TRUE(waitFor([&] { return !vm().review()->isCommittingDecision(); }));
    if (store) {
        // Loading an unknown id fails, but only after every operation queued before it: a
        // barrier that writes nothing.
        auto barrier = store->loadSession(QUuid::createUuid());
        ASSERT_TRUE(waitFor([&] { return barrier.isFinished(); }));
        // Continuations of the finished operations run on this thread.
        QCoreApplication::processEvents();
        QCoreApplication::processEvents();
    }
}

} // namespace kestrava::test
