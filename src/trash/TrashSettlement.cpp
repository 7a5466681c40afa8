// The moves a killed or powered-off commit left between "announced" and "confirmed". The
// journal cannot say whether the rename happened; the file system can, as long as both the
// original's place and the Trash are looked at and the file found is the very same file.

#include "TrashCoordinatorSupport.h"
#include "TrashGroupPlanner.h"

#include "model/Text.h"

namespace kestrava::trashdetail {

namespace {

using State = TrashTransactionState;

const QString reviewAdvice = QStringLiteral(
    " Das Original und seine Sicherheitskopie in der Sicherheitsablage bleiben erhalten. Bitte prüfe den Papierkorb"
    " und den Originalordner und lege die Datei bei Bedarf selbst in den Papierkorb.");

bool originalGone(const TrashEntry& entry)
{
    return !pathExists(entry.sourceURL.path());
}

bool originalUntouched(const TrashEntry& entry)
{
    try {
        return FileIdentity::capture(entry.sourceURL.path(), true).matches(entry.sourceIdentity, false);
    } catch (const KestravaError&) {
        return false;
    }
}

} // namespace

QString interruptedMoveMessage()
{
    return QStringLiteral("Die Papierkorbaktion wurde unterbrochen; ob das Original bereits im Papierkorb liegt, ist unklar.");
}

bool awaitsSettlement(const TrashEntry& entry)
{
    // Earlier versions journaled an interrupted move as needsReview straight away, without
    // looking; those are settled the same way.
    return entry.state == State::trashIntent
        || (entry.state == State::needsReview && entry.message == interruptedMoveMessage());
}

void settleInterruptedMove(DurableTrashJournal& journal, const QUuid& sessionID, TrashEntry& entry,
                           const TrashReceiptValidating& receipts)
{
    std::optional<TrashReceipt> found;
    try {
        found = receipts.locate(entry.sourceURL, entry.sourceIdentity);
    } catch (const KestravaError&) {
        found.reset();
    }
    if (found && originalGone(entry)) {
        try {
            receipts.validate(*found, entry.sourceIdentity.sha256);
            entry.receipt = found;
            entry.message.reset();
            journalState(journal, sessionID, entry, State::trashedConfirmed);
            return;
        } catch (const KestravaError&) {
        }
    }
    if (!found && originalUntouched(entry)) {
        entry.message.reset();
        journalState(journal, sessionID, entry, State::stagedVerified);
        return;
    }
    journalState(journal, sessionID, entry, State::needsReview, interruptedMoveMessage() + reviewAdvice);
}

QString motifKey(const FileUrl& url)
{
    QString path = url.path();
    if (path.endsWith(QLatin1String(".xmp"), Qt::CaseInsensitive))
        path.chop(4);
    return TrashGroupPlanner::pairingKey(path);
}

} // namespace kestrava::trashdetail
