#pragma once

// Text rules shared by every subsystem: the one file-browser order, Unicode normalisation,
// user-perceived character counts and the German byte-count format.

#include <QCollatorSortKey>
#include <QString>

namespace kestrava::text {

// File-browser order: German collation, case-insensitive, digit runs compared by value
// (IMG_2 before IMG_10). Thread-safe (one collator per thread).
int compareNatural(const QString& a, const QString& b);
bool lessNatural(const QString& a, const QString& b);

// Precomputed key with the same order as compareNatural; sort large lists by these keys
// instead of calling the comparator for every comparison.
QCollatorSortKey naturalSortKey(const QString& text);

QString nfc(const QString& text);

// At most `maxCharacters` grapheme clusters, never cutting one apart.
QString truncateGraphemes(const QString& text, qsizetype maxCharacters);

// Decimal units with the German decimal comma, as a file manager shows sizes:
// "0 Byte", "999 Byte", "12 KB", "1,5 MB", "1,07 GB".
QString formatByteCount(qint64 bytes);

} // namespace kestrava::text
