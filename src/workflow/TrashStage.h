#pragma once

// The trash mode's two phases as the person sees them: organise and stage safety copies, wait
// for the second confirmation, then move the originals (or defer them). The coordinator's work
// runs on the execution stage's thread; its journal, not this stage, is the authority on every
// entry's state.
//
// Contract: GUI thread only. A phase that finishes after its run was reset changes nothing.

#include "ExecutionStage.h"
#include "WorkflowCore.h"
#include "session/SortSession.h"
#include "trash/TrashTypes.h"

#include <QObject>
#include <QStringList>

#include <functional>
#include <optional>

namespace kestrava {

class KestravaViewModel;

class TrashStage : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool canCommitTrash READ canCommitTrash NOTIFY canCommitTrashChanged)
    Q_PROPERTY(int rejectedFileCount READ rejectedFileCount NOTIFY rejectedFileCountChanged)
    // The second confirmation: what is true right now, and the files that will go to the Trash.
    Q_PROPERTY(QString trashConfirmationLead READ trashConfirmationLead NOTIFY trashPreparationChanged)
    Q_PROPERTY(QString trashFilesTitle READ trashFilesTitle NOTIFY trashPreparationChanged)
    Q_PROPERTY(QStringList trashFileNames READ trashFileNames NOTIFY trashPreparationChanged)
    // Where the safety copies and the originals are, and what waits for a person.
    Q_PROPERTY(QString volumeLine READ volumeLine NOTIFY trashPreparationChanged)
    Q_PROPERTY(QStringList sourceVolumeLines READ sourceVolumeLines NOTIFY trashPreparationChanged)
    Q_PROPERTY(int manualReviewCount READ manualReviewCount NOTIFY trashPreparationChanged)
    Q_PROPERTY(QString manualReviewText READ manualReviewText NOTIFY trashPreparationChanged)
    // The confirmation screen's lead for phase one: how many rejected files get safety copies.
    Q_PROPERTY(QString stagingLead READ stagingLead NOTIFY rejectedFileCountChanged)
    Q_PROPERTY(QString rejectedFilesText READ rejectedFilesText NOTIFY rejectedFileCountChanged)
    Q_PROPERTY(QString trashSafetyText READ trashSafetyText CONSTANT)
    Q_PROPERTY(QString trashGuaranteeText READ trashGuaranteeText CONSTANT)

public:
    TrashStage(WorkflowCore& core, KestravaViewModel& flow, ExecutionStage& execution,
               std::optional<SortSession>& session);

    const std::optional<TrashPreparation>& preparedTrash() const { return core_.run.trashPreparation; }
    QString volumeLine() const;
    QStringList sourceVolumeLines() const;
    int manualReviewCount() const;
    QString manualReviewText() const;
    QString stagingLead() const;
    QString rejectedFilesText() const { return WindowWording::fileCountText(rejectedFileCount()); }
    static QString trashSafetyText();
    static QString trashGuaranteeText();
    // Files decided delete: what phase one will stage.
    int rejectedFileCount() const;
    bool canCommitTrash() const;
    QString trashConfirmationLead() const;
    QString trashFilesTitle() const;
    QStringList trashFileNames() const;

    Q_INVOKABLE void prepareTrashSort();
    Q_INVOKABLE void commitPreparedTrash();
    Q_INVOKABLE void deferPreparedTrash();
    Q_INVOKABLE void openSafetyFolder();

    // For the flow applying a session: the stored preparation, then what its journal says.
    void setTrashPreparation(std::optional<TrashPreparation> preparation);
    void reloadTrashPreparation();

signals:
    void trashPreparationChanged();
    void canCommitTrashChanged();
    void rejectedFileCountChanged();

private:
    void finishTrashStaging(const ExecutionOutcome& outcome);
    // Runs a coordinator operation on the execution thread and publishes its preparation.
    void runTrashOperation(std::function<TrashPreparation()> operation,
                           std::function<void(const TrashPreparation&)> succeeded,
                           std::function<void(const QString&)> failed);

    WorkflowCore& core_;
    RunState& run_ = core_.run;
    KestravaViewModel& flow_;
    ExecutionStage& execution_;
    std::optional<SortSession>& session_;
};

} // namespace kestrava
