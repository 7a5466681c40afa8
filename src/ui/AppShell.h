#pragma once

// The application around the view model: the File menu's commands, which arrive as signals so
// that they work from whichever window has focus while the main content view turns them into
// view-model calls; the main content's appearance and disappearance; the one flush before the
// process ends; the decision export; and the desktop's reduced-motion wish.

#include "FileDialogs.h"
#include "workflow/KestravaViewModel.h"

#include <QObject>
#include <QPointer>
#include <QUrl>
#include <QtQml/qqmlregistration.h>

namespace kestrava {

class AppShell : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool reducedMotion READ reducedMotion NOTIFY reducedMotionChanged)
    // The open, save and folder dialogs: one intent each.
    Q_PROPERTY(kestrava::FileDialogs* dialogs READ dialogs CONSTANT)
    // The Edit menu's undo and audit list act on the review and only there.
    Q_PROPERTY(bool reviewCommandsEnabled READ reviewCommandsEnabled NOTIFY reviewCommandsEnabledChanged)

public:
    // Hooks the flush to QCoreApplication::aboutToQuit when `hookQuit` is set.
    explicit AppShell(KestravaViewModel* viewModel, bool hookQuit = true, QObject* parent = nullptr);

    bool reducedMotion() const { return reducedMotion_; }
    void setReducedMotion(bool reduced);
    int flushCount() const { return flushCount_; }
    FileDialogs* dialogs() const { return dialogs_; }

    // Menu commands.
    Q_INVOKABLE void requestSaveSession() { emit saveSessionRequested(); }
    Q_INVOKABLE void requestLoadSession() { emit loadSessionRequested(); }
    Q_INVOKABLE void requestCsvExport() { emit csvExportRequested(); }
    bool reviewCommandsEnabled() const;
    // The Edit menu: the review's own undo and audit request; nothing outside the review.
    Q_INVOKABLE void undoLastDecision();
    Q_INVOKABLE void openAudit();

    // The main content view appeared / went away: the arrow keys follow it, and its state is
    // snapshotted when it goes.
    Q_INVOKABLE void mainContentShown();
    Q_INVOKABLE void mainContentHidden();
    // A menu or a dialog of the main window opened / closed: while one is open, the arrow keys
    // move within it and decide nothing.
    Q_INVOKABLE void overlayOpened();
    Q_INVOKABLE void overlayClosed();
    int openOverlays() const { return openOverlays_; }

    // Writes the session's decisions as a recovery CSV into a new file; never replaces one.
    bool exportDecisionsCsv(const QString& path);
    // Whether there are decisions to export; says why not when there are none.
    bool canExportDecisions();
    QString suggestedCsvName() const;
    // The shell's messages go to the view model's one alert.
    void showAlert(const QString& text) { setAlert(text); }

    // The final session write, at most once per process.
    void flushBeforeQuit();

    // A folder or session document (.kestrava, or the older .json) given on the command line,
    // by this start or handed over by a later one. Refused with a message while a sort or trash
    // step runs: either would reset the state the running task still works on.
    void openFromOutside(const QString& path);

signals:
    void saveSessionRequested();
    void loadSessionRequested();
    void csvExportRequested();
    void reducedMotionChanged();
    void reviewCommandsEnabledChanged();

private:
    void setAlert(const QString& text);

    QPointer<KestravaViewModel> viewModel_;
    FileDialogs* dialogs_;
    bool reducedMotion_ = false;
    int flushCount_ = 0;
    int openOverlays_ = 0;
    bool mainContentShown_ = false;
};

} // namespace kestrava
