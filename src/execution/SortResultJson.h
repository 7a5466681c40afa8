#pragma once

// JSON coding of a run's result, as the command line prints it: the counters, the German
// error messages and every execution record in the session document's form.

#include "SortProgress.h"

#include <QJsonObject>

namespace kestrava {

QJsonObject toJson(const SortResult& result);

} // namespace kestrava
