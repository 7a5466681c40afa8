#pragma once

// The arrow keys of the review screen: Up keeps, Right marks maybe, Down rejects, Left takes
// the last decision back. Installed once on the application (ReviewStage::
// installArrowKeyMonitor) so the keys work without a focused button; every other key, and
// every arrow key outside review, passes on unchanged so text fields, menus and shortcuts
// keep working.
//
// The one key table of the window: the audit list's keys are here too (its list handles the
// arrows itself, so they move the selection there and decide nothing).

#include <QObject>
#include <QPointer>
#include <functional>
#include <optional>

class QKeyEvent;

namespace kestrava {

class ReviewStage;
class SeriesStage;
class CompareStage;

class ReviewKeyFilter : public QObject {
    Q_OBJECT
public:
    enum class Action { keep, maybe, del, undo, togglePeaking, decideSeries, toggleCompare, takeAsReference, closeCompare };

    // Holds the review weakly and is its child, so it never outlives it.
    // `series` (optional) takes the focus keys, `compare` (optional) C, F and Esc; while the
    // compare view is open the decision keys decide its candidate.
    explicit ReviewKeyFilter(ReviewStage* review, SeriesStage* series = nullptr, CompareStage* compare = nullptr);

    // The rule alone: no action while review does not take shortcuts, for a held-down key,
    // with Control, Alt or Meta down (Shift and the keypad flag do not block), while the focus
    // accepts text input, and for any key but the four arrows P (focus peaking), S (one decision
    // for the whole series), C and F (compare view, candidate as reference) and Esc.
    static std::optional<Action> actionFor(const QKeyEvent& event, bool acceptsShortcuts, bool focusAcceptsText);

    // The audit list's keys for its selected row: 1 keeps, 2 marks maybe, 3 rejects, Return or
    // Enter shows the row in the main review; nothing for any other key.
    enum class AuditAction { keep, maybe, del, showLarge };
    static std::optional<AuditAction> auditActionFor(int key);

    // Whether the application's focus object takes text input (Qt::ImEnabled).
    static bool focusAcceptsTextInput();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QPointer<ReviewStage> review_;
    QPointer<SeriesStage> series_;
    QPointer<CompareStage> compare_;
};

} // namespace kestrava
