#pragma once

// The workflow's enums as QML sees them. QML compares `ViewModel.route === AppRoute.Reviewing`,
// never a string, so a misspelt route is an error the engine and qmllint report instead of a
// screen that silently never shows. The values are the model's own, so the two cannot drift.

#include "model/PhotoModel.h"
#include "workflow/ChoiceValues.h"
#include "workflow/DecisionValue.h"

#include <QObject>
#include <QtQml/qqmlregistration.h>

namespace kestrava::QmlAppRoute {
Q_NAMESPACE
QML_NAMED_ELEMENT(AppRoute)

enum Route {
    Welcome = int(AppRoute::welcome),
    Scanning = int(AppRoute::scanning),
    Setup = int(AppRoute::setup),
    Reviewing = int(AppRoute::reviewing),
    Confirmation = int(AppRoute::confirmation),
    TrashStaging = int(AppRoute::trashStaging),
    TrashConfirmation = int(AppRoute::trashConfirmation),
    Executing = int(AppRoute::executing),
    Completed = int(AppRoute::completed),
};
Q_ENUM_NS(Route)

} // namespace kestrava::QmlAppRoute

// The intents take kestrava::Decision::Value and the choices of workflow/ChoiceValues.h; Qt 6.4's
// type registrar cannot export a namespace of another library, so QML's enums repeat their
// values here.
namespace kestrava::QmlDecision {
Q_NAMESPACE
QML_NAMED_ELEMENT(Decision)

enum Value {
    Keep = Decision::Keep,
    Maybe = Decision::Maybe,
    Delete = Decision::Delete,
};
Q_ENUM_NS(Value)

} // namespace kestrava::QmlDecision

namespace kestrava::QmlOperationMode {
Q_NAMESPACE
QML_NAMED_ELEMENT(OperationMode)

enum Value {
    SafeCopy = OperationMode::SafeCopy,
    MoveOriginals = OperationMode::MoveOriginals,
    OrganizeAndTrash = OperationMode::OrganizeAndTrash,
};
Q_ENUM_NS(Value)

} // namespace kestrava::QmlOperationMode

namespace kestrava::QmlVerification {
Q_NAMESPACE
QML_NAMED_ELEMENT(Verification)

enum Value {
    FileSize = Verification::FileSize,
    Sha256 = Verification::Sha256,
};
Q_ENUM_NS(Value)

} // namespace kestrava::QmlVerification

namespace kestrava::QmlReviewChoice {
Q_NAMESPACE
QML_NAMED_ELEMENT(ReviewChoice)

enum Value {
    Jpeg = ReviewChoice::Jpeg,
    Raw = ReviewChoice::Raw,
    Both = ReviewChoice::Both,
};
Q_ENUM_NS(Value)

} // namespace kestrava::QmlReviewChoice
