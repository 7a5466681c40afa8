#include "ReviewKeyFilter.h"
#include "SeriesStage.h"
#include "CompareStage.h"
#include "ReviewStage.h"

#include <QGuiApplication>
#include <QInputMethodQueryEvent>
#include <QKeyEvent>
#include <QWindow>

namespace kestrava {

ReviewKeyFilter::ReviewKeyFilter(ReviewStage* review, SeriesStage* series, CompareStage* compare)
    : QObject(review), review_(review), series_(series), compare_(compare)
{
}

std::optional<ReviewKeyFilter::Action> ReviewKeyFilter::actionFor(const QKeyEvent& event, bool acceptsShortcuts,
                                                                  bool focusAcceptsText)
{
    if (!acceptsShortcuts || event.isAutoRepeat())
        return std::nullopt;
    if (event.modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier))
        return std::nullopt;
    if (focusAcceptsText)
        return std::nullopt;
    switch (event.key()) {
    case Qt::Key_Up:
        return Action::keep;
    case Qt::Key_Right:
        return Action::maybe;
    case Qt::Key_Down:
        return Action::del;
    case Qt::Key_Left:
        return Action::undo;
    case Qt::Key_P:
        return Action::togglePeaking;
    case Qt::Key_S:
        return Action::decideSeries;
    case Qt::Key_C:
        return Action::toggleCompare;
    case Qt::Key_F:
        return Action::takeAsReference;
    case Qt::Key_Escape:
        return Action::closeCompare;
    default:
        return std::nullopt;
    }
}

std::optional<ReviewKeyFilter::AuditAction> ReviewKeyFilter::auditActionFor(int key)
{
    switch (key) {
    case Qt::Key_1:
        return AuditAction::keep;
    case Qt::Key_2:
        return AuditAction::maybe;
    case Qt::Key_3:
        return AuditAction::del;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        return AuditAction::showLarge;
    default:
        return std::nullopt;
    }
}

bool ReviewKeyFilter::focusAcceptsTextInput()
{
    QObject* focus = QGuiApplication::focusObject();
    if (!focus)
        return false;
    QInputMethodQueryEvent query(Qt::ImEnabled);
    QCoreApplication::sendEvent(focus, &query);
    return query.value(Qt::ImEnabled).toBool();
}

bool ReviewKeyFilter::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() != QEvent::KeyPress)
        return false;
    // An application filter sees one key press once for the window and again for each item
    // it is delivered to; acting only on the window's copy makes one press one decision.
    if (!qobject_cast<QWindow*>(watched))
        return false;
    ReviewStage* review = review_.data();
    if (!review)
        return false;
    const auto& key = static_cast<const QKeyEvent&>(*event);
    // Cheap checks first: the focus query sends an event.
    if (!review->acceptsReviewShortcuts())
        return false;
    const auto action = actionFor(key, true, focusAcceptsTextInput());
    if (!action)
        return false;
    const bool comparing = compare_ && compare_->active();
    // Esc belongs to dialogs and menus unless it closes the compare view.
    if (*action == Action::closeCompare && !comparing)
        return false;
    // Consumed even when the decision guards then ignore it: an arrow press during review
    // never reaches another control.
    switch (*action) {
    case Action::keep:
    case Action::maybe:
    case Action::del: {
        const PhotoDecision decision = *action == Action::keep ? PhotoDecision::keep
                                     : *action == Action::maybe ? PhotoDecision::maybe : PhotoDecision::del;
        // In the compare view a decision is the candidate's, never the group behind it.
        if (comparing)
            compare_->decide(decision);
        else
            review->classify(decision);
        break;
    }
    case Action::undo:
        // The compare view takes back its own decisions and keeps the single view's place.
        if (comparing)
            compare_->undo();
        else
            review->undoLastDecision();
        break;
    case Action::togglePeaking:
        if (series_)
            series_->togglePeaking();
        break;
    case Action::toggleCompare:
        if (comparing)
            compare_->close();
        else if (compare_)
            compare_->open();
        break;
    case Action::takeAsReference:
        if (comparing)
            compare_->takeCandidateAsReference();
        break;
    case Action::closeCompare:
        compare_->close();
        break;
    case Action::decideSeries:
        if (series_)
            series_->decideSeries();
        break;
    }
    return true;
}

} // namespace kestrava
