#pragma once

// One line of a session's event log (<UUID>.events.jsonl).
//
// Format: UTF-8, one compact JSON object per line, each line ended by exactly one line feed.
// Keys (sorted in the output):
//   sequence         integer ≥ 1, strictly increasing within one store run (gaps allowed)
//   timestamp        ISO 8601 UTC, whole seconds, "Z"
//   kind             "decision" | "category" | "execution"
//   sourcePaths      array of file-system paths (all files of one review group)
//   decision         "keep" | "maybe" | "delete"; left out for none (a decision event without
//                    it takes a decision back)
//   category         string, left out for none
//   currentIndex     integer, review position at the time of the event
//   executionRecord  ExecutionRecord object (SortSession.h), execution events only
// Reading also accepts the older single-string key `sourcePath` when `sourcePaths` is missing,
// and a missing `currentIndex` as 0.

#include "SortSession.h"

#include <QByteArrayView>
#include <QStringList>

namespace kestrava {

enum class SessionEventKind { decision, category, execution };
template <>
struct EnumNames<SessionEventKind> {
    static constexpr std::array<std::pair<SessionEventKind, std::string_view>, 3> table{{
        {SessionEventKind::decision, "decision"}, {SessionEventKind::category, "category"},
        {SessionEventKind::execution, "execution"}}};
};

struct SessionEvent {
    using Kind = SessionEventKind;

    qint64 sequence = 0;
    QDateTime timestamp;
    Kind kind = Kind::decision;
    QStringList sourcePaths;
    std::optional<PhotoDecision> decision;
    std::optional<QString> category;
    int currentIndex = 0;
    std::optional<ExecutionRecord> executionRecord;

    friend bool operator==(const SessionEvent&, const SessionEvent&) = default;
};

QJsonObject toJson(const SessionEvent& event);
// Throws DecodingError.
SessionEvent sessionEventFromJson(const QJsonObject& object);

// One log line without its line feed.
QByteArray encodeEventLine(const SessionEvent& event);
// Throws SessionStoreError::corruptSession (cause in its diagnostic) for anything that is not
// exactly one well-formed event.
SessionEvent decodeEventLine(QByteArrayView line);

} // namespace kestrava
