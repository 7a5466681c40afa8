#pragma once

// What a start of the desktop application was asked for: the window with an optional folder or
// session document, the demo shoot, or only the usage text. Read before any window exists, so
// that `--help` works without a display.

#include <QString>
#include <QStringList>

namespace kestrava::CommandLine {

struct Request {
    enum class Action { run, help, invalid };
    Action action = Action::run;
    bool demo = false;
    bool reportStartup = false;
    // Absolute; a folder to sort or a session document. Empty when none was given.
    QString path;
    // For `invalid`: the argument that was not understood.
    QString offending;
};

// `arguments` without the program name. A `file://` URL (as some launchers pass) counts as
// its local path; relative paths are resolved against `workingFolder`.
Request parse(const QStringList& arguments, const QString& workingFolder);

// The German usage text, ending in a line feed.
QString usage();

} // namespace kestrava::CommandLine
