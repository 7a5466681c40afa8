#pragma once

// The window's words that follow the state: counts, scopes and summaries the stages publish.
//
// Where words live: a text the command line shows too is in model/Wording.h, once. A text
// only the window shows is here; when it depends on state, the stage that owns the state
// publishes it as a property, so QML binds it and never chooses a text itself. A fixed label
// (a button's caption, a heading) may stay in its QML file.

#include <QString>

namespace kestrava::WindowWording {

// "1 Datei", "2 Dateien", "0 Dateien".
QString fileCountText(qsizetype count);
// "1 Motiv", "19 Motive": a shot is what one decision covers, a pair or a single file.
QString shotCountText(qsizetype count);
// "12 Motive · 20 Dateien".
QString shotsAndFilesText(qsizetype shots, qsizetype files);

} // namespace kestrava::WindowWording
