#include "UiRig.h"

#include "scanning/PhotoInventoryScanner.h"
#include "scanning/generator/ShootGenerator.h"
#include "ui/DesktopIntegration.h"
#include "ui/UiEngine.h"

#include <QCoreApplication>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QQmlExtensionPlugin>
#include <QQuickItem>
#include <QTest>
#include <QThread>
#include <gtest/gtest.h>

#include <QTemporaryDir>

#include <algorithm>
#include <fcntl.h>
#include <filesystem>
#include <map>
#include <tuple>

Q_IMPORT_QML_PLUGIN(KestravaPlugin)

namespace kestrava::test {

bool waitUntil(const std::function<bool()>& condition, int timeoutMs)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.elapsed() > timeoutMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QTest::qWait(5);
    }
    return true;
}

int ThrottledFileOps::open(const QByteArray& path, int flags, mode_t mode)
{
    const int fd = FileOps::open(path, flags, mode);
    if (fd >= 0 && (flags & O_CREAT) && path.endsWith(".partial")) {
        std::lock_guard lock(mutex_);
        copies_.insert(fd);
    }
    return fd;
}

int ThrottledFileOps::fsync(int fd)
{
    int copy = 0;
    {
        std::lock_guard lock(mutex_);
        if (copies_.contains(fd))
            copy = ++copiesFlushed_;
    }
    if (copy > 0 && holdFromCopy.load() > 0 && copy >= holdFromCopy.load()) {
        ++holding;
        while (holdFromCopy.load() > 0 && copy >= holdFromCopy.load())
            QThread::msleep(2);
        --holding;
    }
    if (const int delay = delayMs.load(); delay > 0)
        QThread::msleep(delay);
    return FileOps::fsync(fd);
}

int ThrottledFileOps::close(int fd)
{
    {
        std::lock_guard lock(mutex_);
        copies_.remove(fd);
    }
    return FileOps::close(fd);
}

namespace {

// Generating a shoot costs about a second on a loaded machine, and the Quick tests want a new
// one for every test function. The generator is deterministic, so each distinct shoot is made
// once per process and copied, modification times included (the scan reads them as dates).
void makeShoot(const QString& folder, const shootgen::ShootOptions& options)
{
    namespace fs = std::filesystem;
    static std::map<std::tuple<int, double, quint64, int, int, int, bool>, std::unique_ptr<QTemporaryDir>> made;
    const auto key = std::make_tuple(options.shots, options.rawRatio, options.seed, options.imageSize.width(),
                                     options.imageSize.height(), options.jpegQuality, options.distractors);
    auto& source = made[key];
    if (!source) {
        source = std::make_unique<QTemporaryDir>();
        shootgen::generateShoot(source->filePath(QStringLiteral("shoot")), options);
    }
    const fs::path from = QFile::encodeName(source->filePath(QStringLiteral("shoot"))).toStdString();
    const fs::path to = QFile::encodeName(folder).toStdString();
    fs::copy(from, to, fs::copy_options::recursive | fs::copy_options::overwrite_existing);
    for (const auto& entry : fs::recursive_directory_iterator(from))
        if (entry.is_regular_file())
            fs::last_write_time(to / fs::relative(entry.path(), from), entry.last_write_time());
}

} // namespace

QStringList photoFilesBelow(const QString& folder)
{
    static const QStringList cameraSuffixes{QStringLiteral("jpg"), QStringLiteral("jpeg"), QStringLiteral("dng")};
    QStringList files;
    const QDir root(folder);
    QDirIterator it(folder, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QFileInfo file(it.next());
        if (cameraSuffixes.contains(file.suffix().toLower()))
            files.append(root.relativeFilePath(file.filePath()));
    }
    files.sort();
    return files;
}

UiRig::UiRig(int shots, bool withSessionStore, std::shared_ptr<MetadataEnriching> metadata)
{
    hadDataHome = qEnvironmentVariableIsSet("XDG_DATA_HOME");
    previousDataHome = qgetenv("XDG_DATA_HOME");
    dataHome = tree.mkdir(QStringLiteral("data"));
    qputenv("XDG_DATA_HOME", QFile::encodeName(dataHome));
    shootFolder = tree.mkdir(QStringLiteral("Shoot"));
    destinationBase = tree.mkdir(QStringLiteral("Ergebnisse"));
    shootgen::ShootOptions options;
    options.shots = shots;
    options.rawRatio = 1.0;
    options.distractors = false;
    options.imageSize = QSize(1200, 800);
    makeShoot(shootFolder, options);

    // The application's own desktop services, with the file manager replaced by a recorder.
    WorkflowServices services;
    installDesktopServices(services);
    services.desktop = desktop;
    if (metadata)
        services.metadata = std::move(metadata);
    services.fileOps = &fileOps;
    services.scanFolder = [gate = scanGate](const FileUrl& folder) {
        while (!gate->load())
            QThread::msleep(5);
        return PhotoInventoryScanner::scan(folder);
    };
    if (withSessionStore) {
        store = std::make_unique<SessionStore>(tree.mkdir(QStringLiteral("Sessions")));
        services.sessionStore = store.get();
    }
    services.timings.feedbackHold = std::chrono::milliseconds(60);
    services.timings.feedbackExitStep = std::chrono::milliseconds(20);
    services.timings.completionDelay = std::chrono::milliseconds(60);
    viewModel = std::make_unique<KestravaViewModel>(services);
    shell = std::make_unique<AppShell>(viewModel.get(), false);
    shell->setReducedMotion(true);
}

UiRig::~UiRig()
{
    fileOps.holdFromCopy = 0; // a test that failed mid-run must not leave the executor waiting
    if (auto* audit = auditWindow())
        audit->close();
    if (window)
        window->close();
    engine.reset();
    shell.reset();
    viewModel.reset();
    store.reset();
    if (hadDataHome)
        qputenv("XDG_DATA_HOME", previousDataHome);
    else
        qunsetenv("XDG_DATA_HOME");
}

QQuickWindow* UiRig::openMainWindow()
{
    engine = std::make_unique<QQmlApplicationEngine>();
    configureEngine(*engine, viewModel.get(), shell.get());
    engine->load(mainWindowUrl());
    if (engine->rootObjects().isEmpty())
        return nullptr;
    window = qobject_cast<QQuickWindow*>(engine->rootObjects().first());
    return window;
}

void UiRig::loadShoot()
{
    viewModel->loading()->load(shootFolder);
    EXPECT_TRUE(waitUntil([&] { return viewModel->route() == AppRoute::setup; })) << "the scan did not reach setup";
}

void UiRig::configure(const QString& mode)
{
    viewModel->loading()->chooseFormatReview(FormatReviewChoice::both);
    if (const auto value = enumFromRaw<SortOperationMode>(mode))
        viewModel->selectOperationMode(*value);
    viewModel->setDestinationBaseFolder(destinationBase);
    viewModel->updateRunFolderName(QStringLiteral("Testlauf"));
}

void UiRig::startReview()
{
    viewModel->loading()->startReviewing();
    EXPECT_TRUE(waitUntil([&] { return viewModel->route() == AppRoute::reviewing; }));
}

namespace {

// Items made by repeaters and loaders hang in the visual tree, not always among QObject children.
QObject* findItem(QQuickItem* root, const QString& objectName)
{
    if (root->objectName() == objectName)
        return root;
    if (QObject* found = root->findChild<QObject*>(objectName, Qt::FindDirectChildrenOnly))
        return found;
    for (QQuickItem* child : root->childItems())
        if (QObject* found = findItem(child, objectName))
            return found;
    return nullptr;
}

} // namespace

QObject* UiRig::find(const QString& objectName) const
{
    for (QWindow* top : QGuiApplication::topLevelWindows()) {
        if (!top->isVisible())
            continue;
        if (top->objectName() == objectName)
            return top;
        if (QObject* found = top->findChild<QObject*>(objectName))
            return found;
        if (auto* quick = qobject_cast<QQuickWindow*>(top))
            if (QObject* found = findItem(quick->contentItem(), objectName))
                return found;
    }
    return nullptr;
}

QQuickWindow* UiRig::auditWindow() const
{
    for (QWindow* top : QGuiApplication::topLevelWindows())
        if (top != window && top->title() == QStringLiteral("Auswahl prüfen") && top->isVisible())
            return qobject_cast<QQuickWindow*>(top);
    return nullptr;
}

QString UiRig::screenshot(QQuickWindow* target, const QString& name) const
{
    const QString folder = QStringLiteral(KESTRAVA_SCREENSHOT_DIR);
    QDir().mkpath(folder);
    // Let pending loads and fades settle into a frame.
    QTest::qWait(60);
    const QImage image = target->grabWindow();
    const QString path = folder + u'/' + name + QStringLiteral(".png");
    image.save(path);
    return path;
}

namespace {

// Scrolls the enclosing scroll view until the whole item is on screen, as a person scrolls
// to a button below the fold before clicking it.
void scrollIntoView(QQuickItem* item)
{
    for (QQuickItem* parent = item->parentItem(); parent; parent = parent->parentItem()) {
        if (!parent->inherits("QQuickFlickable"))
            continue;
        QQuickItem* content = parent->property("contentItem").value<QQuickItem*>();
        if (!content)
            return;
        const QRectF area = item->mapRectToItem(content, QRectF(0, 0, item->width(), item->height()));
        const QPointF centre = area.center();
        const qreal viewHeight = parent->height();
        const qreal contentY = parent->property("contentY").toReal();
        if (area.top() >= contentY && area.bottom() <= contentY + viewHeight)
            return;
        const qreal maxY = std::max<qreal>(0, parent->property("contentHeight").toReal() - viewHeight);
        parent->setProperty("contentY", std::clamp<qreal>(centre.y() - viewHeight / 2, 0, maxY));
        QTest::qWait(20);
        return;
    }
}

} // namespace

void UiRig::click(QObject* object)
{
    auto* item = qobject_cast<QQuickItem*>(object);
    ASSERT_NE(item, nullptr);
    scrollIntoView(item);
    const QPointF centre = item->mapToScene(QPointF(item->width() / 2, item->height() / 2));
    ASSERT_TRUE(QRectF(0, 0, item->window()->width(), item->window()->height()).contains(centre))
        << "the click would miss: " << item->objectName().toStdString() << " is off screen";
    QTest::mouseClick(item->window(), Qt::LeftButton, Qt::NoModifier, centre.toPoint());
}

bool UiRig::reviewWithKeys(const QList<int>& keys)
{
    for (int key : keys) {
        const bool ready = waitUntil([&] { return viewModel->review()->isPreviewReady() && !viewModel->review()->isCommittingDecision(); }, 60000);
        EXPECT_TRUE(ready) << "picture not on screen before key " << key;
        if (!ready)
            return false;
        press(window, key);
        const bool written = waitUntil([&] { return !viewModel->review()->isCommittingDecision(); });
        EXPECT_TRUE(written) << "decision not journaled";
        if (!written)
            return false;
    }
    return true;
}

QString UiRig::textOf(const QString& objectName, const char* property) const
{
    QObject* item = find(objectName);
    return item ? item->property(property).toString() : QString();
}

void UiRig::press(QQuickWindow* target, int key, Qt::KeyboardModifiers modifiers)
{
    QTest::keyClick(target, Qt::Key(key), modifiers);
}

} // namespace kestrava::test
