#pragma once

// Internal to the session library and its tests: the fast path of decodeSortSession().

#include "SortSession.h"

namespace kestrava::detail {

// Decodes the photo lists of a session document with a small dedicated scanner and the rest
// of the document with Qt's parser. Returns nullopt whenever the text leaves the plain shape
// this store writes (unknown or repeated keys, unusual numbers, \u escapes, faults in a
// photo), so that the general path decides; the result is then never different from it.
// Throws like decodeSortSession() for faults outside the photo lists.
std::optional<SortSession> decodeSortSessionFast(const QByteArray& bytes);

// The general path alone: Qt's parser and sortSessionFromJson().
SortSession decodeSortSessionGeneral(const QByteArray& bytes);

} // namespace kestrava::detail
