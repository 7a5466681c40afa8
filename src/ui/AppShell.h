#pragma once

// The application around the view model: the File menu's commands, which arrive as signals so
// that they work from whichever window has focus while the main content view turns them into
// view-model calls; the main content's appearance and disappearance; the one flush before the
// process ends; the decision export; and the desktop's reduced-motion wish.

#include "workflow/KestravaViewModel.h"

#include <QObject>
#include <QPointer>
#include <QUrl>
#include <QtQml/qqmlregistration.h>

namespace kestrava {

class AppShell : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool reducedMotion READ reducedMotion NOTIFY reducedMotionChanged)

public:
    // Hooks the flush to QCoreApplication::aboutToQuit when `hookQuit` is set.
    explicit AppShell(KestravaViewModel* viewModel, bool hookQuit = true, QObject* parent = nullptr);

    bool reducedMotion() const { return reducedMotion_; }
    void setReducedMotion(bool reduced);
    int flushCount() const { return flushCount_; }

    // Menu commands.
    Q_INVOKABLE void requestSaveSession() { emit saveSessionRequested(); }
    Q_INVOKABLE void requestLoadSession() { emit loadSessionRequested(); }
    Q_INVOKABLE void requestCsvExport() { emit csvExportRequested(); }

    // The main content view appeared / went away: the arrow keys follow it, and its state is
    // snapshotted when it goes.
    Q_INVOKABLE void mainContentShown();
    Q_INVOKABLE void mainContentHidden();

    // Writes the session's decisions as a recovery CSV into a new file; never replaces one.
    Q_INVOKABLE bool exportDecisionsCsv(const QString& path);
    Q_INVOKABLE QString suggestedCsvName() const;
    Q_INVOKABLE QString suggestedSessionName() const;

    // The save dialog's proposal for the report: "Kestrava-Bericht.txt" in the result folder.
    Q_INVOKABLE QUrl suggestedReportUrl() const;
    Q_INVOKABLE QString localPath(const QUrl& url) const { return url.toLocalFile(); }
    Q_INVOKABLE QUrl fileUrl(const QString& path) const { return QUrl::fromLocalFile(path); }
    // The shell's messages go to the view model's one alert.
    void showAlert(const QString& text) { setAlert(text); }

    // The final session write, at most once per process.
    void flushBeforeQuit();

    // A folder or session document given on the command line, by this start or handed over by
    // a later one. Refused with a message while a sort or trash step runs: either would reset
    // the state the running task still works on.
    void openFromOutside(const QString& path);

signals:
    void saveSessionRequested();
    void loadSessionRequested();
    void csvExportRequested();
    void reducedMotionChanged();

private:
    void setAlert(const QString& text);

    QPointer<KestravaViewModel> viewModel_;
    bool reducedMotion_ = false;
    int flushCount_ = 0;
};

} // namespace kestrava
