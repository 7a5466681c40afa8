#pragma once

// Recovery CSV: a list of decisions kept outside the session files, read back when no usable
// session exists.
//
// Format: UTF-8 (a leading byte-order mark is ignored). Fields separated by commas, records by
// LF, CR or CR LF. A double quote toggles quoted mode, in which commas and line breaks belong
// to the field and two double quotes stand for one. Empty lines are skipped. The first record
// is the header; names compare case-insensitively (surrounding blanks ignored), the first
// column of a name wins, extra columns are ignored. Required columns: "Datei", "Format",
// "Entscheidung", "Kopierstatus", "Nachweis"; optional: "Relativer Pfad".

#include "SortSession.h"

#include <QByteArray>
#include <QList>
#include <QStringList>

namespace kestrava {

struct RecoveryCSVRow {
    QString filename;
    PhotoFormatGroup format = PhotoFormatGroup::jpeg;  // "raw" in any case → raw, anything else → jpeg
    PhotoDecision decision = PhotoDecision::keep;
    QString copyStatus;                                // verbatim
    QString evidence;                                  // verbatim
    std::optional<QString> relativePath;               // absent when the file has no such column

    friend bool operator==(const RecoveryCSVRow&, const RecoveryCSVRow&) = default;
};

namespace RecoveryCSVImporter {

// All rows or nothing. Throws SessionStoreError: csvInvalid (not UTF-8, a row too short for
// the required columns, an unknown decision), csvHeaderMissing.
QList<RecoveryCSVRow> parse(const QByteArray& data);

// The tokeniser alone: records of fields, empty lines left out.
QList<QStringList> parseRecords(const QString& text);

// Lower-cased value containing, tested in this order, "aussort" → delete, "vielleicht" →
// maybe, "prüfen" → maybe, "behalten" → keep; nullopt otherwise.
std::optional<PhotoDecision> decisionFromText(const QString& value);

} // namespace RecoveryCSVImporter

// The session's decided photos (reviewed and carried along) as a recovery CSV that parse()
// reads back to the same decisions. Columns: "Datei", "Format", "Entscheidung",
// "Kopierstatus" (the file's execution status, or "nicht ausgeführt"), "Nachweis" (the
// verified destination, else empty), "Relativer Pfad". Undecided photos are left out, since a
// row without a decision could not be imported. CR LF line ends, fields quoted where needed.
QByteArray exportDecisionsCsv(const SortSession& session);

} // namespace kestrava
