// Execution and trash belong to later steps of the workflow. Their published values exist
// already (inert) so the screens can bind to them; the operations below are the places where
// they attach.

#include "FailureText.h"
#include "KestravaViewModel.h"
#include "trash/TrashJson.h"

namespace kestrava {

QVariant KestravaViewModel::trashPreparation() const
{
    // Carried in the session until the trash coordinator's own type takes its place.
    if (session_ && session_->trashPreparation)
        return QVariant(toJson(*session_->trashPreparation).toVariantMap());
    return {};
}

void KestravaViewModel::applySort()
{
    // Execution of the plan attaches here: applyStandardSort for safeCopy and moveOriginals,
    // organise-then-stage for organizeAndTrash.
}

void KestravaViewModel::refreshStorageEstimate()
{
    // The storage preflight attaches here (isCheckingStorage, storageEstimate).
}

} // namespace kestrava
