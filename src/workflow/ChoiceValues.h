#pragma once

// The setup screen's choices as QML names them: `OperationMode.SafeCopy`, `Verification.Sha256`,
// `ReviewChoice.Both`. As with `Decision`, the values are the model's own, so the two cannot
// drift, and an intent taking one refuses a misspelt choice when the screen loads, not when
// the person clicks. A property holding a choice publishes its number, -1 while none is made.

#include "model/PhotoModel.h"
#include "model/SortOptions.h"

#include <QObject>

#include <optional>

namespace kestrava {

namespace OperationMode {
Q_NAMESPACE

enum Value {
    SafeCopy = int(SortOperationMode::safeCopy),
    MoveOriginals = int(SortOperationMode::moveOriginals),
    OrganizeAndTrash = int(SortOperationMode::organizeAndTrash),
};
Q_ENUM_NS(Value)

inline SortOperationMode toModel(Value value) { return SortOperationMode(int(value)); }

} // namespace OperationMode

namespace Verification {
Q_NAMESPACE

enum Value {
    FileSize = int(VerificationMode::fileSize),
    Sha256 = int(VerificationMode::sha256),
};
Q_ENUM_NS(Value)

inline VerificationMode toModel(Value value) { return VerificationMode(int(value)); }

} // namespace Verification

namespace ReviewChoice {
Q_NAMESPACE

enum Value {
    Jpeg = int(FormatReviewChoice::jpeg),
    Raw = int(FormatReviewChoice::raw),
    Both = int(FormatReviewChoice::both),
};
Q_ENUM_NS(Value)

inline FormatReviewChoice toModel(Value value) { return FormatReviewChoice(int(value)); }

} // namespace ReviewChoice

// One option of a choice the setup screen offers: the value its intent takes, its words and
// whether the folder allows it. `name` is the model's raw value, a stable object name for tests.
struct SetupChoice {
    Q_GADGET
    Q_PROPERTY(int value MEMBER value)
    Q_PROPERTY(QString name MEMBER name)
    Q_PROPERTY(QString title MEMBER title)
    Q_PROPERTY(QString description MEMBER description)
    Q_PROPERTY(bool available MEMBER available)

public:
    int value = -1;
    QString name;
    QString title;
    QString description;
    bool available = true;
    friend bool operator==(const SetupChoice&, const SetupChoice&) = default;
};

// The number QML compares with the enum, -1 for no choice.
template <class Enum>
int choiceNumber(const std::optional<Enum>& value)
{
    return value ? int(*value) : -1;
}

} // namespace kestrava
