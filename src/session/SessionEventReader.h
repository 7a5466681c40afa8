#pragma once

// Internal to the session library and its tests: the fast path of decodeEventLine().

#include "SessionEvent.h"

namespace kestrava::detail {

// Decodes the plain lines this store writes for decision and category events with a small
// scanner. Returns nullopt for anything else (execution records, unknown or repeated keys,
// unusual numbers, \u escapes, any fault), which the general path then decides; an accepted
// line decodes exactly as the general path would decode it.
std::optional<SessionEvent> decodeEventLineFast(QByteArrayView line);

// Qt's parser and sessionEventFromJson().
SessionEvent decodeEventLineGeneral(QByteArrayView line);

} // namespace kestrava::detail
