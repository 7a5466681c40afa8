#pragma once

// The words the window and the command line share, so both say the same thing the same way:
// the decisions' names, what a JPEG+RAW pair is called, and how long a run still takes.
//
// Where words live: a text both layers show is here, once. A text only the window shows lives
// in the window's wording (workflow/WindowWording); when it depends on state it is a property
// of the stage that owns the state, and a fixed label (a button's caption) may stay in QML.
// No layer keeps a second copy of a rule written here.

#include <QList>
#include <QString>

namespace kestrava {

enum class PhotoDecision;
enum class PhotoFormatGroup;

// "Behalten", "Vielleicht", "Aussortiert".
QString decisionLabel(PhotoDecision decision);

namespace Wording {

// A pair is one JPEG and one RAW of the same shot; every other group is a single file.
bool isJpegRawPair(const QList<PhotoFormatGroup>& memberFormats);

// "JPEG + RAW" for a pair; else the single file's format: "JPEG", "RAW" or "Andere".
QString groupFormatLabel(const QList<PhotoFormatGroup>& memberFormats);

// What one decision covered: "JPEG + RAW" for a pair, "1 Datei" for a single file.
QString decisionScopeTitle(const QList<PhotoFormatGroup>& memberFormats);

// "noch weniger als 5 s", "noch etwa 40 s" (5 s steps), "noch etwa 2 min", "noch etwa 1 h 7 min";
// empty while the rate is unknown or nothing remains.
QString timeLeftText(qint64 remainingBytes, double bytesPerSecond);

} // namespace Wording
} // namespace kestrava
