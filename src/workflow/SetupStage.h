#pragma once

// The setup screen's advanced options: how a run files and checks its results (date folders,
// the event name, the verification of every copy, rating sidecars) and whether the options are
// unfolded. They are the person's choices, not the run's, so they outlive a new folder or a
// new sort; the flow reads them when it builds a run's options and writes them when it applies
// a session.
//
// Contract: GUI thread only. Every setter is idempotent: it announces nothing when the value
// does not change.

#include "ChoiceValues.h"
#include "WorkflowCore.h"
#include "model/SortOptions.h"

#include <QObject>

namespace kestrava {

class SetupStage : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString eventName READ eventName WRITE updateEventName NOTIFY eventNameChanged)
    Q_PROPERTY(bool groupByDate READ groupByDate WRITE updateGroupByDate NOTIFY groupByDateChanged)
    Q_PROPERTY(int verificationMode READ verificationModeNumber NOTIFY verificationModeChanged)
    Q_PROPERTY(QList<kestrava::SetupChoice> verificationChoices READ verificationChoices CONSTANT)
    Q_PROPERTY(QList<kestrava::SetupChoice> operationModeChoices READ operationModeChoices CONSTANT)
    Q_PROPERTY(bool advancedOptionsVisible READ advancedOptionsVisible WRITE setAdvancedOptionsVisible NOTIFY advancedOptionsVisibleChanged)
    Q_PROPERTY(bool writeRatingSidecars READ writeRatingSidecars WRITE setWriteRatingSidecars NOTIFY ratingSidecarsChanged)
    Q_PROPERTY(int keepRatingStars READ keepRatingStars WRITE setKeepRatingStars NOTIFY ratingSidecarsChanged)
    Q_PROPERTY(QString ratingSidecarsLabel READ ratingSidecarsText CONSTANT)
    Q_PROPERTY(QString keepRatingStarsLabel READ keepRatingStarsText CONSTANT)
    Q_PROPERTY(int minimumKeepRatingStars READ minimumStars CONSTANT)
    Q_PROPERTY(int maximumKeepRatingStars READ maximumStars CONSTANT)

public:
    explicit SetupStage(WorkflowCore& core, QObject* parent = nullptr);

    const QString& eventName() const { return eventName_; }
    bool groupByDate() const { return groupByDate_; }
    VerificationMode verificationMode() const { return verificationMode_; }
    int verificationModeNumber() const { return int(verificationMode_); }
    // Every verification mode in the order offered, with its title.
    static QList<SetupChoice> verificationChoices();
    // Every operation mode in the order offered, with its title and what it does.
    static QList<SetupChoice> operationModeChoices();
    bool advancedOptionsVisible() const { return advancedOptionsVisible_; }
    // XMP sidecars with the decisions beside the results (SortOptions::writeRatingSidecars).
    bool writeRatingSidecars() const { return writeRatingSidecars_; }
    int keepRatingStars() const { return keepRatingStars_; }
    QString ratingSidecarsText() const { return ratingSidecarsLabel(); }
    QString keepRatingStarsText() const { return keepRatingStarsLabel(); }
    static int minimumStars() { return minimumKeepRatingStars; }
    static int maximumStars() { return maximumKeepRatingStars; }

    Q_INVOKABLE void updateEventName(const QString& name);
    Q_INVOKABLE void updateGroupByDate(bool enabled);
    Q_INVOKABLE void updateVerificationMode(kestrava::Verification::Value mode)
    {
        updateVerificationMode(Verification::toModel(mode));
    }
    void updateVerificationMode(VerificationMode mode);
    void setAdvancedOptionsVisible(bool visible);
    // Stars outside 1 to 5 are brought into that range.
    Q_INVOKABLE void updateRatingSidecars(bool write, int keepStars);
    void setWriteRatingSidecars(bool write) { updateRatingSidecars(write, keepRatingStars_); }
    void setKeepRatingStars(int stars) { updateRatingSidecars(writeRatingSidecars_, stars); }

signals:
    void eventNameChanged();
    void groupByDateChanged();
    void verificationModeChanged();
    void advancedOptionsVisibleChanged();
    void ratingSidecarsChanged();

private:
    WorkflowCore& core_;
    QString eventName_;
    bool groupByDate_ = true;
    VerificationMode verificationMode_ = VerificationMode::fileSize;
    bool advancedOptionsVisible_ = false;
    bool writeRatingSidecars_ = false;
    int keepRatingStars_ = minimumKeepRatingStars;
};

} // namespace kestrava
