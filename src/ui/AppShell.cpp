#include "AppShell.h"

#include "ReducedMotion.h"
#include "platform/DurableFile.h"
#include "platform/FileOps.h"
#include "platform/FileSystemError.h"
#include "session/RecoveryCsv.h"
#include "workflow/KestravaViewModel.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

namespace kestrava {

using namespace Qt::StringLiterals;

AppShell::AppShell(KestravaViewModel* viewModel, bool hookQuit, QObject* parent)
    : QObject(parent), viewModel_(viewModel), reducedMotion_(ReducedMotion::detectSynchronously())
{
    if (hookQuit && QCoreApplication::instance())
        connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit, this, &AppShell::flushBeforeQuit);
    ReducedMotion::askPortal(this, [this](bool reduced) { setReducedMotion(reduced); });
}

void AppShell::setReducedMotion(bool reduced)
{
    if (reducedMotion_ == reduced)
        return;
    reducedMotion_ = reduced;
    emit reducedMotionChanged();
}

void AppShell::mainContentShown()
{
    if (viewModel_)
        viewModel_->installArrowKeyMonitor();
}

void AppShell::mainContentHidden()
{
    if (!viewModel_)
        return;
    viewModel_->removeArrowKeyMonitor();
    viewModel_->saveSessionSnapshot();
}

void AppShell::flushBeforeQuit()
{
    if (flushCount_ > 0 || !viewModel_)
        return;
    ++flushCount_;
    viewModel_->flushSessionBeforeTerminationAndWait();
}

void AppShell::openFromOutside(const QString& path)
{
    if (!viewModel_ || path.isEmpty())
        return;
    const QString name = QFileInfo(path).fileName();
    if (!viewModel_->sessionStage()->canOpenSessionDocument()) {
        setAlert(u"„"_s + name + u"“ wurde nicht geöffnet: Während Dateien sortiert oder in den Papierkorb gelegt "
                                 u"werden, kann nichts anderes geöffnet werden. Bitte öffne es danach erneut."_s);
        return;
    }
    const QFileInfo info(path);
    if (info.isDir())
        viewModel_->load(info.absoluteFilePath());
    else if (info.isFile() && info.suffix().compare(u"kestrava"_s, Qt::CaseInsensitive) == 0)
        viewModel_->sessionStage()->openSessionDocument(info.absoluteFilePath());
    else
        setAlert(u"„"_s + name + u"“ ist weder ein Ordner noch eine gesicherte Kestrava-Sitzung."_s);
}

bool AppShell::exportDecisionsCsv(const QString& path)
{
    if (!viewModel_ || path.isEmpty())
        return false;
    const auto session = viewModel_->makeSessionSnapshot();
    if (!session) {
        setAlert(u"Es gibt noch keine Entscheidungen, die exportiert werden können."_s);
        return false;
    }
    try {
        const QByteArray csv = kestrava::exportDecisionsCsv(*session);
        // A document for the user, readable like the photos beside it. Written whole or not at
        // all: a CSV cut at a row boundary would import later as fewer decisions, silently.
        atomicCreate(path, csv, FileOps::system(), 0644);
        return true;
    } catch (const KestravaError& error) {
        setAlert(u"Export fehlgeschlagen: "_s + error.description());
        return false;
    }
}

QString AppShell::suggestedCsvName() const
{
    QString name = viewModel_ ? viewModel_->sessionStage()->suggestedSessionDocumentName() : QString();
    if (name.endsWith(u".kestrava"_s))
        name.chop(9);
    return (name.isEmpty() ? u"Kestrava-Entscheidungen"_s : name) + u".csv"_s;
}

QString AppShell::suggestedSessionName() const
{
    return viewModel_ ? viewModel_->sessionStage()->suggestedSessionDocumentName() : u"Kestrava.kestrava"_s;
}

QUrl AppShell::suggestedReportUrl() const
{
    const QString name = u"Kestrava-Bericht.txt"_s;
    const QString folder = viewModel_ ? viewModel_->destinationFolderPath() : QString();
    return QUrl::fromLocalFile(folder.isEmpty() ? QDir::homePath() + u'/' + name : folder + u'/' + name);
}

void AppShell::setAlert(const QString& text)
{
    if (viewModel_)
        viewModel_->raiseAlert(text);
}

} // namespace kestrava
