#include "FileDialogs.h"

#include "AppShell.h"
#include "platform/MountTable.h"
#include "workflow/KestravaViewModel.h"

#include <QApplication>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QLibraryInfo>
#include <QLocale>
#include <QStandardPaths>
#include <QTranslator>
#include <QScreen>
#include <QWindow>

namespace kestrava {

using namespace Qt::StringLiterals;

namespace DialogPlaces {

QStringList removableMounts(const QList<Mount>& mounts)
{
    QStringList cards;
    for (const Mount& mount : mounts) {
        const QString clean = QDir::cleanPath(mount.mountPoint);
        if (mount.fsType == u"tmpfs"_s || mount.fsType == u"autofs"_s)
            continue;
        const auto below = [&clean](const QString& root) { return clean.startsWith(root) && clean.size() > root.size(); };
        if (below(u"/media/"_s) || below(u"/run/media/"_s) || (below(u"/mnt/"_s) && mount.removableDevice))
            cards.append(clean);
    }
    cards.sort();
    cards.removeDuplicates();
    return cards;
}

QStringList mountedRemovableVolumes()
{
    QList<Mount> mounts;
    for (const MountEntry& entry : readMountTable()) {
        Mount mount{entry.mountPoint, entry.fsType, false};
        if (mount.mountPoint.startsWith(u"/mnt/"_s))
            if (const std::optional<dev_t> device = blockDeviceOf(entry))
                mount.removableDevice = isRemovableBlockDevice(*device);
        mounts.append(mount);
    }
    return removableMounts(mounts);
}

QString cardOf(const QString& path, const QStringList& removable)
{
    const QString clean = QDir::cleanPath(path);
    QString best;
    for (const QString& card : removable)
        if ((clean == card || clean.startsWith(card + u'/')) && card.size() > best.size())
            best = card;
    return best;
}

QList<QUrl> sidebar(const QString& home, const QString& pictures, const QStringList& removable)
{
    QList<QUrl> places{QUrl::fromLocalFile(home)};
    if (!pictures.isEmpty() && pictures != home && QFileInfo(pictures).isDir())
        places.append(QUrl::fromLocalFile(pictures));
    for (const QString& card : removable)
        places.append(QUrl::fromLocalFile(card));
    return places;
}

QString withExtension(const QString& path, const QString& extension)
{
    if (path.isEmpty() || extension.isEmpty())
        return path;
    const QString suffix = u'.' + extension;
    if (path.endsWith(suffix, Qt::CaseInsensitive) && QFileInfo(path).fileName().size() > suffix.size())
        return path;
    return path + suffix;
}

} // namespace DialogPlaces

bool installGermanQtTranslations(QCoreApplication& app)
{
    auto* translator = new QTranslator(&app);
    const QString folder = QLibraryInfo::path(QLibraryInfo::TranslationsPath);
    if (!translator->load(QLocale(QLocale::German, QLocale::Germany), u"qtbase"_s, u"_"_s, folder)) {
        delete translator;
        return false;
    }
    return QCoreApplication::installTranslator(translator);
}

FileDialogs::FileDialogs(KestravaViewModel* viewModel, AppShell* shell)
    : QObject(shell), viewModel_(viewModel), shell_(shell)
{
}

QString FileDialogs::picturesOrHome() const
{
    const QString pictures = QStandardPaths::writableLocation(QStandardPaths::PicturesLocation);
    return QFileInfo(pictures).isDir() ? pictures : QDir::homePath();
}

QString FileDialogs::documentsStart() const
{
    // Where the user keeps the results is where a session or an export belongs with them.
    const QString base = viewModel_ ? viewModel_->destinationBaseFolderPath() : QString();
    return !base.isEmpty() && QFileInfo(base).isDir() ? base : picturesOrHome();
}

void FileDialogs::chooseSource()
{
    // Photos usually come from a card: start on the open folder's card, else on any card.
    const QStringList cards = DialogPlaces::mountedRemovableVolumes();
    const QString open = viewModel_ ? viewModel_->sourceFolderPath() : QString();
    QString start = DialogPlaces::cardOf(open, cards);
    if (start.isEmpty() && !open.isEmpty() && QFileInfo(open).isDir())
        start = QFileInfo(open).absolutePath();
    if (start.isEmpty())
        start = cards.isEmpty() ? picturesOrHome() : cards.first();
    show({Kind::folder, u"Fotos auswählen"_s, start, {}, {}, {}}, [this](const QString& folder) {
        if (viewModel_)
            viewModel_->loading()->load(folder);
    });
}

void FileDialogs::chooseDestination()
{
    show({Kind::folder, u"Zielbasis wählen"_s, documentsStart(), {}, {}, {}}, [this](const QString& folder) {
        if (viewModel_)
            viewModel_->setDestinationBaseFolder(folder);
    });
}

void FileDialogs::saveSession()
{
    if (!viewModel_)
        return;
    if (!viewModel_->session()) {
        // The view model answers that there is nothing to save; no dialog asks for a name first.
        viewModel_->sessionStage()->saveSessionDocument(QString());
        return;
    }
    show({Kind::saveFile, u"Sitzung sichern"_s, documentsStart(), viewModel_->sessionStage()->suggestedSessionDocumentName(),
          {u"Kestrava-Sitzung (*.kestrava)"_s}, u"kestrava"_s},
         [this](const QString& chosen) {
             if (const QString path = savePath(chosen, u"kestrava"_s); !path.isEmpty() && viewModel_)
                 viewModel_->sessionStage()->saveSessionDocument(path);
         });
}

void FileDialogs::openSession()
{
    show({Kind::openFile, u"Sitzung laden"_s, documentsStart(), {},
          {u"Kestrava-Sitzung (*.kestrava *.json)"_s, u"Alle Dateien (*)"_s}, {}},
         [this](const QString& document) {
             if (viewModel_)
                 viewModel_->sessionStage()->openSessionDocument(document);
         });
}

void FileDialogs::importRecoveryCsv()
{
    show({Kind::openFile, u"Gesicherte Entscheidungen (CSV) auswählen"_s, documentsStart(), {},
          {u"CSV-Dateien (*.csv)"_s, u"Alle Dateien (*)"_s}, {}},
         [this](const QString& csv) {
             show({Kind::folder, u"Ordner mit den Original-Fotos wählen"_s, QFileInfo(csv).absolutePath(), {}, {}, {}},
                  [this, csv](const QString& folder) {
                      if (viewModel_)
                          viewModel_->sessionStage()->importRecoveryCsv(csv, folder);
                  });
         });
}

void FileDialogs::exportCsv()
{
    if (!shell_->canExportDecisions())
        return;
    show({Kind::saveFile, u"Entscheidungen als CSV exportieren"_s, documentsStart(), shell_->suggestedCsvName(),
          {u"CSV-Dateien (*.csv)"_s}, u"csv"_s, false},
         [this](const QString& chosen) {
             if (const QString path = savePath(chosen, u"csv"_s); !path.isEmpty())
                 shell_->exportDecisionsCsv(path);
         });
}

void FileDialogs::saveReport()
{
    const QString result = viewModel_ ? viewModel_->destinationFolderPath() : QString();
    const QString start = !result.isEmpty() && QFileInfo(result).isDir() ? result : documentsStart();
    show({Kind::saveFile, u"Bericht speichern"_s, start, u"Kestrava-Bericht.txt"_s, {u"Textdateien (*.txt)"_s}, u"txt"_s},
         [this](const QString& chosen) {
             if (const QString path = savePath(chosen, u"txt"_s); !path.isEmpty() && viewModel_)
                 viewModel_->execution()->saveReport(path);
         });
}

QString FileDialogs::savePath(const QString& selected, const QString& extension)
{
    const QString path = DialogPlaces::withExtension(selected, extension);
    // The dialog asked before replacing the name it returned, not the one completed here.
    if (path != selected && QFileInfo::exists(path)) {
        const QFileInfo info(path);
        shell_->showAlert(u"„"_s + info.fileName() + u"“ gibt es in „"_s + info.absolutePath()
                          + u"“ schon. Bitte speichere unter einem anderen Namen."_s);
        return {};
    }
    return path;
}

void FileDialogs::show(const Request& request, std::function<void(const QString&)> chosen)
{
    // The Qt Quick tests run without widgets; nothing can be shown there.
    if (!qobject_cast<QApplication*>(QCoreApplication::instance())) {
        qWarning("file dialogs need a QApplication");
        return;
    }
    if (current_) {
        current_->raise();
        current_->activateWindow();
        return;
    }
    auto* dialog = new QFileDialog(nullptr, request.title, request.startFolder);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setOption(QFileDialog::DontUseNativeDialog, !useNative_);
    switch (request.kind) {
    case Kind::folder:
        dialog->setFileMode(QFileDialog::Directory);
        dialog->setOption(QFileDialog::ShowDirsOnly);
        break;
    case Kind::openFile:
        dialog->setFileMode(QFileDialog::ExistingFile);
        dialog->setAcceptMode(QFileDialog::AcceptOpen);
        break;
    case Kind::saveFile:
        dialog->setFileMode(QFileDialog::AnyFile);
        dialog->setAcceptMode(QFileDialog::AcceptSave);
        dialog->setDefaultSuffix(request.extension);
        dialog->setLabelText(QFileDialog::Accept, u"Speichern"_s);
        dialog->setOption(QFileDialog::DontConfirmOverwrite, !request.asksBeforeReplacing);
        break;
    }
    if (!request.nameFilters.isEmpty())
        dialog->setNameFilters(request.nameFilters);
    dialog->setSidebarUrls(DialogPlaces::sidebar(QDir::homePath(),
                                                 QStandardPaths::writableLocation(QStandardPaths::PicturesLocation),
                                                 DialogPlaces::mountedRemovableVolumes()));
    if (!request.suggestedName.isEmpty())
        dialog->selectFile(request.suggestedName);
    connect(dialog, &QFileDialog::accepted, this, [this, dialog, chosen = std::move(chosen)] {
        current_ = nullptr;
        const QStringList files = dialog->selectedFiles();
        if (!files.isEmpty() && !files.first().isEmpty())
            chosen(QFileInfo(files.first()).absoluteFilePath());
    });
    // Stays above the window the user worked in, not somewhere behind it; large enough that
    // the path in "Suchen in" and the dates are not cut.
    if (QWindow* over = QGuiApplication::focusWindow()) {
        dialog->winId();
        if (QWindow* own = dialog->windowHandle(); own && own != over)
            own->setTransientParent(over);
        if (over->screen())
            dialog->resize(QSize(920, 580).boundedTo(over->screen()->availableSize() * 0.9));
    }
    dialog->setWindowModality(Qt::ApplicationModal);
    current_ = dialog;
    dialog->show();
}

QFileDialog* FileDialogs::currentDialog() const
{
    return current_;
}

} // namespace kestrava
