#pragma once

// The open, save and folder dialogs, one intent per dialog, each turning the user's choice into
// one call on the view model or the shell. Qt Widgets' QFileDialog hands over to the desktop's
// own dialog (portal, GNOME, KDE) where there is one; elsewhere Qt's dialog shows, in German,
// with places (home, Pictures, mounted cards) and a path field. A dialog never starts in the
// process's working folder.

#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <QtQml/qqmlregistration.h>

#include <functional>

class QCoreApplication;


class QFileDialog;

namespace kestrava {

class AppShell;
class KestravaViewModel;

namespace DialogPlaces {

struct Mount {
    QString mountPoint;
    QString fsType;
    bool removableDevice = false; // on a block device with sysfs "removable" or on USB, MMC, FireWire
};
// Where cards and sticks appear, sorted: what the desktop mounted below /media or /run/media,
// and below /mnt what sits on a removable device (an administrator's /mnt holds other things too).
QStringList removableMounts(const QList<Mount>& mounts);
// The mount points of the volumes mounted now, filtered as above.
QStringList mountedRemovableVolumes();
// The card that holds `path`, or empty.
QString cardOf(const QString& path, const QStringList& removable);
// Home, Pictures (when it exists), then each card.
QList<QUrl> sidebar(const QString& home, const QString& pictures, const QStringList& removable);
// `path` ending in ".<extension>" (any case); appended when missing.
QString withExtension(const QString& path, const QString& extension);

} // namespace DialogPlaces

// Loads Qt's own German texts ("Öffnen", "Speichern", "Abbrechen", "Dateiname") into `app`.
// False when the translations are not installed; the dialogs then speak English.
bool installGermanQtTranslations(QCoreApplication& app);

class FileDialogs : public QObject {
    Q_OBJECT
    QML_ANONYMOUS

public:
    FileDialogs(KestravaViewModel* viewModel, AppShell* shell);

    Q_INVOKABLE void chooseSource();
    Q_INVOKABLE void chooseDestination();
    // With no session, the view model says so and no dialog opens.
    Q_INVOKABLE void saveSession();
    Q_INVOKABLE void openSession();
    // The CSV, then the folder of the original photos it belongs to.
    Q_INVOKABLE void importRecoveryCsv();
    Q_INVOKABLE void exportCsv();
    Q_INVOKABLE void saveReport();

    // The dialog on screen now, or null.
    QFileDialog* currentDialog() const;
    // Qt's own dialog even where the desktop offers one, so tests can type into it.
    void setUseNativeDialogs(bool use) { useNative_ = use; }

private:
    enum class Kind { folder, openFile, saveFile };
    struct Request {
        Kind kind;
        QString title;
        QString startFolder;
        QString suggestedName;
        QStringList nameFilters;
        QString extension; // save dialogs: added when the typed name lacks it
        // Save dialogs whose writer never replaces a file must not ask whether to.
        bool asksBeforeReplacing = true;
    };
    // Shows the dialog without blocking; `chosen` receives the absolute path on acceptance.
    void show(const Request& request, std::function<void(const QString&)> chosen);
    // The path to write, or empty with an alert when the name chosen needs a different one.
    QString savePath(const QString& selected, const QString& extension);
    QString documentsStart() const;
    QString picturesOrHome() const;

    QPointer<KestravaViewModel> viewModel_;
    AppShell* shell_;
    QPointer<QFileDialog> current_;
    bool useNative_ = true;
};

} // namespace kestrava
