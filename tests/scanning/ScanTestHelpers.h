#pragma once

#include "PosixHelpers.h"
#include "model/PhotoModel.h"

#include <QStringList>

namespace kestrava::test {

// Relative paths of the items, in result order.
QStringList relativePaths(const QList<PhotoItem>& items);

} // namespace kestrava::test
