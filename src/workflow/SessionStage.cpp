#include "SessionStage.h"
#include "WindowWording.h"
#include "KestravaViewModel.h"
#include "model/DestinationPlanner.h"
#include "platform/DeliveredLater.h"
#include "platform/DurableFile.h"
#include "session/RecoveryCsv.h"
#include "session/SessionStore.h"
#include "session/SessionStoreError.h"
#include "trash/TrashScope.h"

#include <QFileInfo>
#include <QMap>
#include <QtConcurrent>

#include <algorithm>

namespace kestrava {

namespace {

int decidedFiles(const QList<PhotoItem>& photos)
{
    return int(std::count_if(photos.begin(), photos.end(), [](const PhotoItem& item) { return item.decision.has_value(); }));
}

// "19 Motive · 38 Dateien entschieden": a pair decided once is one shot and two files. The
// files' part keeps its plural for every count, so the card reads the same as it always did.
QString decidedScopeText(const SortSession& session)
{
    QMap<FileUrl, bool> decided;
    for (const PhotoItem& item : session.photos)
        decided.insert(item.sourceURL, item.decision.has_value());
    qsizetype shots = 0;
    qsizetype files = 0;
    for (const ReviewGroup& group : ReviewGroup::build(session.photos, session.selectedReviewChoice)) {
        const auto count = std::count_if(group.memberURLs.begin(), group.memberURLs.end(),
                                         [&](const FileUrl& member) { return decided.value(member); });
        shots += count > 0 ? 1 : 0;
        files += count;
    }
    return WindowWording::shotCountText(shots) + QStringLiteral(" · ") + QString::number(files)
        + QStringLiteral(" Dateien entschieden");
}

struct RecoveryInput {
    QList<RecoveryCSVRow> rows;
    FolderScan scanned;
};

} // namespace

SessionStage::SessionStage(WorkflowCore& core, KestravaViewModel& flow) : QObject(&flow), core_(core), flow_(flow)
{
    connect(&core_, &WorkflowCore::routeChanged, this, &SessionStage::showResumeChoiceChanged);
    connect(this, &SessionStage::resumableSessionChanged, this, &SessionStage::showResumeChoiceChanged);
    connect(flow_.execution(), &ExecutionStage::isApplyingChanged, this, &SessionStage::canOpenSessionDocumentChanged);
}

bool SessionStage::showResumeChoice() const
{
    return core_.route() == AppRoute::welcome && resumable_.has_value();
}

QString SessionStage::resumableSessionDescription() const
{
    if (!resumable_)
        return {};
    return decidedScopeText(*resumable_) + QStringLiteral(" · ") + resumable_->sourceFolder.fileName();
}

QString SessionStage::savedStatusText() const
{
    if (!lastSavedAt_)
        return QStringLiteral("Wird automatisch gesichert");
    return QStringLiteral("Gespeichert · ") + lastSavedAt_->toLocalTime().toString(QStringLiteral("HH:mm"));
}

bool SessionStage::canOpenSessionDocument() const
{
    return !flow_.execution()->isApplying();
}

void SessionStage::offerResumable(std::optional<SortSession> session)
{
    resumable_ = std::move(session);
    emit resumableSessionChanged();
}

void SessionStage::discoverResumable()
{
    if (!core_.services.sessionStore)
        return;
    deliveredLater(core_.services.sessionStore->loadLatestIncomplete(), this)
        .then(this, [this](const std::optional<SortSession>& found) { offerResumable(found); })
        .onFailed(this, [] {});
}

void SessionStage::setLastSavedAt(QDateTime when)
{
    lastSavedAt_ = std::move(when);
    emit lastSavedAtChanged();
}

void SessionStage::resumeSavedSession()
{
    if (!resumable_)
        return;
    const SortSession session = *resumable_;
    offerResumable(std::nullopt);
    flow_.apply(session);
}

void SessionStage::ignoreSavedSession()
{
    if (resumable_)
        offerResumable(std::nullopt);
}

QString SessionStage::suggestedSessionDocumentName() const
{
    return DestinationPlanner::sanitize(flow_.runFolderName()) + QStringLiteral(".kestrava");
}

bool SessionStage::saveSessionDocument(const QString& path)
{
    const auto snapshot = flow_.makeSessionSnapshot();
    if (!snapshot) {
        core_.raiseAlert(QStringLiteral("Es ist noch keine Sitzung vorhanden."));
        return false;
    }
    try {
        atomicReplace(path, encodeSortSession(*snapshot));
        return true;
    } catch (const QException& error) {
        core_.raiseAlert(sessionNotSavedPrefix() + failureText(error));
        return false;
    }
}

bool SessionStage::openSessionDocument(const QString& path)
{
    // The menu item is disabled meanwhile; a document handed over by a second start is not.
    if (!canOpenSessionDocument()) {
        core_.raiseAlert(QStringLiteral("Während Dateien sortiert oder in den Papierkorb gelegt werden, kann keine "
                                        "Sitzung geladen werden. Bitte warte, bis der Vorgang abgeschlossen ist."));
        return false;
    }
    try {
        SortSession session = decodeSortSession(readWholeFile(path));
        if (!QFileInfo(session.sourceFolder.path()).isDir())
            throw SessionStoreError::sourceFolderMissing(session.sourceFolder.path());
        // An older document of a session that went on afterwards: its state is what the user
        // chose to continue from, so the events logged since must neither be replayed over it
        // later nor share their numbers with the decisions still to come.
        if (core_.services.sessionStore)
            session.lastEventSequence =
                std::max(session.lastEventSequence, core_.services.sessionStore->lastLoggedSequence(session.id));
        // Checked on the document as it was read: applying it reloads the entries from the
        // trash journal, and that may already have happened when apply returns.
        const QStringList refused = session.trashPreparation
            ? TrashScope::refusals(*session.trashPreparation, session.sourceFolder.path())
            : QStringList();
        if (!flow_.apply(session))
            return false;
        // The mode question of an older session is the more urgent message.
        if (!session.requiresModeSelection)
            core_.raiseAlert(QString::number(decidedFiles(session.photos))
                             + QStringLiteral(" gespeicherten Dateientscheidungen geladen."));
        if (!refused.isEmpty())
            core_.raiseAlert(refused.join(QLatin1Char('\n')));
        return true;
    } catch (const QException& error) {
        core_.raiseAlert(failureText(error));
        return false;
    }
}

void SessionStage::importRecoveryCsv(const QString& csvPath, const QString& folderPath)
{
    if (csvPath.isEmpty() || folderPath.isEmpty())
        return;
    const FileUrl folder = FileUrl::fromLocalPath(folderPath);
    // Parsing first: a broken list fails before the folder is read at all.
    deliveredLater(QtConcurrent::run([csvPath, folder, services = core_.services] {
                       RecoveryInput input;
                       input.rows = RecoveryCSVImporter::parse(readWholeFile(csvPath));
                       input.scanned = LoadingStage::scanFolder(services, folder);
                       return input;
                   }),
                   this)
        .then(this,
              [this, folder](const RecoveryInput& input) {
                  try {
                      flow_.applyRecovery(input.rows, input.scanned.outcome.items, folder,
                                          input.scanned.outcome.skippedEntryCount(),
                                          input.scanned.proposedDestinationBase);
                  } catch (const QException& error) {
                      core_.raiseAlert(failureText(error));
                  }
              })
        .onFailed(this, [this](const QException& error) { core_.raiseAlert(failureText(error)); })
        .onFailed(this, [this] {
            core_.raiseAlert(QStringLiteral("Die CSV-Datei konnte nicht importiert werden: Unbekannter Fehler."));
        });
}

} // namespace kestrava
