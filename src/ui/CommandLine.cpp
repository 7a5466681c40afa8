#include "CommandLine.h"

#include <QDir>
#include <QUrl>

namespace kestrava::CommandLine {

using namespace Qt::StringLiterals;

namespace {

// Qt's own options, which QApplication takes out of the arguments later (a session manager
// restarts the window with -session, a user may pick -platform or -style); with their value.
const QStringList qtOptionsWithValue{u"platform"_s, u"platformpluginpath"_s, u"platformtheme"_s, u"plugin"_s,
                                     u"qwindowgeometry"_s, u"qwindowtitle"_s, u"qwindowicon"_s, u"style"_s,
                                     u"stylesheet"_s, u"session"_s, u"display"_s, u"geometry"_s, u"name"_s,
                                     u"title"_s, u"visual"_s};
const QStringList qtFlags{u"reverse"_s, u"nograb"_s, u"dograb"_s, u"sync"_s, u"widgetcount"_s, u"testability"_s};

QString bareOption(const QString& argument)
{
    QString name = argument.mid(argument.startsWith(u"--"_s) ? 2 : 1);
    return name.left(name.indexOf(u'='));
}

} // namespace

Request parse(const QStringList& arguments, const QString& workingFolder)
{
    Request request;
    bool optionsEnded = false;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString& argument = arguments.at(i);
        if (!optionsEnded && argument.startsWith(u'-') && argument != u"--"_s) {
            const QString qtOption = bareOption(argument);
            if (qtFlags.contains(qtOption) || qtOption.startsWith(u"qmljsdebugger"_s))
                continue;
            if (qtOptionsWithValue.contains(qtOption)) {
                if (!argument.contains(u'='))
                    ++i; // its value
                continue;
            }
        }
        if (!optionsEnded && argument.startsWith(u'-')) {
            if (argument == u"--"_s)
                optionsEnded = true;
            else if (argument == u"--help"_s || argument == u"-h"_s)
                request.action = Request::Action::help;
            else if (argument == u"--demo"_s)
                request.demo = true;
            else if (argument == u"--report-startup"_s)
                request.reportStartup = true;
            else if (request.action == Request::Action::run) {
                request.action = Request::Action::invalid;
                request.offending = argument;
            }
            continue;
        }
        // A launcher's %u hands over URLs; %f and a shell hand over paths.
        const QString local = argument.startsWith(u"file:"_s) ? QUrl(argument).toLocalFile() : argument;
        if (local.isEmpty())
            continue;
        if (!request.path.isEmpty() && request.action == Request::Action::run) {
            // One window shows one sort: a second path would silently win or be lost.
            request.action = Request::Action::invalid;
            request.offending = argument;
            continue;
        }
        request.path = QDir::cleanPath(QDir(workingFolder).absoluteFilePath(local));
    }
    return request;
}

QString usage()
{
    return u"Aufruf: kestrava [ORDNER | SITZUNG.kestrava]\n"
           u"       kestrava --demo\n"
           u"\n"
           u"Kestrava sortiert die Fotos eines Ordners: Behalten, Vielleicht oder Aussortiert.\n"
           u"\n"
           u"  ORDNER             öffnet diesen Fotoordner (zum Beispiel den Ordner einer Speicherkarte)\n"
           u"  SITZUNG.kestrava   öffnet eine gesicherte Sitzung (auch .json) und setzt sie fort\n"
           u"  --demo             öffnet eine erzeugte Beispiel-Serie zum Ausprobieren\n"
           u"  -h, --help         zeigt diese Hilfe\n"
           u"\n"
           u"Läuft Kestrava schon, öffnet das vorhandene Fenster den Ordner oder die Sitzung.\n"_s;
}

} // namespace kestrava::CommandLine
