#pragma once

#include "model/KestravaError.h"

namespace kestrava {

// The user's words for a failure carried by a QFuture: a KestravaError's German description,
// otherwise a generic text (only reachable when something outside the error contract throws).
QString failureText(const QException& failure);
QString unknownFailureText();
// "Sitzung konnte nicht gespeichert werden: "
QString sessionNotSavedPrefix();

} // namespace kestrava
