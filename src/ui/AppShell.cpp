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
    : QObject(parent),
      viewModel_(viewModel),
      dialogs_(new FileDialogs(viewModel, this)),
      reducedMotion_(ReducedMotion::detectSynchronously())
{
    if (hookQuit && QCoreApplication::instance())
        connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit, this, &AppShell::flushBeforeQuit);
    ReducedMotion::askPortal(this, [this](bool reduced) { setReducedMotion(reduced); });
    if (viewModel)
        connect(viewModel, &KestravaViewModel::routeChanged, this, &AppShell::reviewCommandsEnabledChanged);
}

bool AppShell::reviewCommandsEnabled() const
{
    return viewModel_ && viewModel_->route() == AppRoute::reviewing;
}

void AppShell::undoLastDecision()
{
    if (!reviewCommandsEnabled())
        return;
    // While comparing, undo belongs to the comparison and keeps the single view's place.
    if (viewModel_->compare()->active())
        viewModel_->compare()->undo();
    else
        viewModel_->review()->undoLastDecision();
}

void AppShell::openAudit()
{
    if (reviewCommandsEnabled())
        viewModel_->audit()->request();
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
    mainContentShown_ = true;
    if (viewModel_ && openOverlays_ == 0)
        viewModel_->review()->installArrowKeyMonitor();
}

void AppShell::mainContentHidden()
{
    mainContentShown_ = false;
    if (!viewModel_)
        return;
    viewModel_->review()->removeArrowKeyMonitor();
    viewModel_->saveSessionSnapshot();
}

void AppShell::overlayOpened()
{
    if (++openOverlays_ == 1 && viewModel_)
        viewModel_->review()->removeArrowKeyMonitor();
}

void AppShell::overlayClosed()
{
    if (openOverlays_ == 0)
        return;
    if (--openOverlays_ == 0 && mainContentShown_ && viewModel_)
        viewModel_->review()->installArrowKeyMonitor();
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
    const QFileInfo info(path);
    const QString name = info.fileName().isEmpty() ? path : info.fileName();
    if (!info.exists()) {
        setAlert(u"„"_s + name + u"“ wurde nicht gefunden. Gesucht wurde hier: "_s + info.absoluteFilePath());
        return;
    }
    const bool document = info.isFile()
                          && (info.suffix().compare(u"kestrava"_s, Qt::CaseInsensitive) == 0
                              || info.suffix().compare(u"json"_s, Qt::CaseInsensitive) == 0);
    if (!info.isDir() && !document) {
        setAlert(u"„"_s + name + u"“ ist weder ein Fotoordner noch eine gesicherte Kestrava-Sitzung (.kestrava)."_s);
        return;
    }
    if (!viewModel_->sessionStage()->canOpenSessionDocument()) {
        setAlert(u"„"_s + name + u"“ wurde nicht geöffnet: Während Dateien sortiert oder in den Papierkorb gelegt "
                                 u"werden, kann nichts anderes geöffnet werden. Bitte öffne es danach erneut."_s);
        return;
    }
    if (document)
        viewModel_->sessionStage()->openSessionDocument(info.absoluteFilePath());
    else
        viewModel_->loading()->load(info.absoluteFilePath());
}

bool AppShell::canExportDecisions()
{
    if (viewModel_ && viewModel_->session())
        return true;
    setAlert(u"Es gibt noch keine Entscheidungen, die exportiert werden können."_s);
    return false;
}

bool AppShell::exportDecisionsCsv(const QString& path)
{
    if (!viewModel_ || path.isEmpty())
        return false;
    const auto session = viewModel_->makeSessionSnapshot();
    if (!session) {
        canExportDecisions();
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

void AppShell::setAlert(const QString& text)
{
    if (viewModel_)
        viewModel_->raiseAlert(text);
}

} // namespace kestrava
