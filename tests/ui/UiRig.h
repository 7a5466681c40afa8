#pragma once

// The application as a test sees it: a generated shoot of real JPEG and RAW files, a session
// store in a temporary folder, one view model with short feedback timings, the shell, and the
// real main window loaded offscreen from the same QML module the program uses.

#include "TestSupport.h"
#include "platform/FileOps.h"
#include "session/SessionStore.h"
#include "ui/AppShell.h"
#include "workflow/KestravaViewModel.h"

#include <QQmlApplicationEngine>
#include <QQuickWindow>
#include <QSet>

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>

namespace kestrava::test {

// What the screens asked the desktop to show, instead of opening file-manager windows.
class RecordingDesktop final : public DesktopServices {
public:
    void reveal(const FileUrl& item) override { revealed.append(item.path()); }
    void open(const FileUrl& file) override { opened.append(file.path()); }
    QStringList revealed;
    QStringList opened;
};

// The executor's file access, optionally slowed down per flushed file, so that a person has
// time to press "Sicher abbrechen" while a run works. `holdFromCopy` (counting copied files
// from 1) stops the run when that file's copy is flushed, until it is set back to 0, so a
// cancel arrives mid-run however slowly the test itself is scheduled.
class ThrottledFileOps final : public FileOps {
public:
    int open(const QByteArray& path, int flags, mode_t mode = 0600) override;
    int fsync(int fd) override;
    int close(int fd) override;
    std::atomic<int> delayMs{0};
    std::atomic<int> holdFromCopy{0};
    std::atomic<int> holding{0}; // threads stopped by holdFromCopy now

private:
    std::mutex mutex_;
    QSet<int> copies_; // open temporaries of copied files
    int copiesFlushed_ = 0;
};

// The limit only stops a hang: on a loaded machine (sanitizers, parallel tests) a step may take
// many seconds, so waits are for conditions, never for a fixed time.
bool waitUntil(const std::function<bool()>& condition, int timeoutMs = 60000);

// Relative paths of the camera files (JPEG and DNG, any spelling) below `folder`, sorted.
QStringList photoFilesBelow(const QString& folder);

struct UiRig {
    // `shots` JPEG+RAW pairs (RAW for every shot).
    // `metadata` replaces the application's capture-date reader when given.
    explicit UiRig(int shots = 8, bool withSessionStore = true, std::shared_ptr<MetadataEnriching> metadata = {});
    ~UiRig();

    // Loads Main.qml; the main window afterwards.
    QQuickWindow* openMainWindow();
    // Scans the shoot and waits for the setup screen.
    void loadShoot();
    // Clicks the item's centre, as the mouse would.
    void click(QObject* item);
    // Setup choices as a person makes them on screen, then review.
    void configure(const QString& mode = QStringLiteral("safeCopy"));
    void startReview();
    // The first object in the main window (or any top-level window) with this objectName.
    QObject* find(const QString& objectName) const;
    QQuickWindow* auditWindow() const;
    // Renders the window and writes it to `<build>/screenshots/<name>.png`; returns the path.
    QString screenshot(QQuickWindow* window, const QString& name) const;
    // Sends a key press and release to the window, as the keyboard would.
    void press(QQuickWindow* window, int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier);
    // Decides the review with arrow keys, each once its picture is on screen; false (and a
    // test failure) when a picture or a journal write does not arrive.
    bool reviewWithKeys(const QList<int>& keys);
    // The `text` (or `value`) property of the named item, empty when it is not on screen.
    QString textOf(const QString& objectName, const char* property = "text") const;

    // Closed: the scan waits until it is opened (to see the scanning screen).
    std::shared_ptr<std::atomic<bool>> scanGate = std::make_shared<std::atomic<bool>>(true);
    TempTree tree;
    // XDG_DATA_HOME of the process while the rig lives: the Trash of every test is a temporary
    // folder on the shoot's file system, never the real home's.
    QString dataHome;
    QByteArray previousDataHome;
    bool hadDataHome = false;
    std::shared_ptr<RecordingDesktop> desktop = std::make_shared<RecordingDesktop>();
    ThrottledFileOps fileOps;
    QString shootFolder;
    QString destinationBase;
    std::unique_ptr<SessionStore> store;
    std::unique_ptr<KestravaViewModel> viewModel;
    std::unique_ptr<AppShell> shell;
    std::unique_ptr<QQmlApplicationEngine> engine;
    QQuickWindow* window = nullptr;
};

} // namespace kestrava::test
