// kestrava [--demo | FOLDER | DOCUMENT.kestrava | --help]: the desktop application.

#include "AppShell.h"
#include "CommandLine.h"
#include "DemoShoot.h"
#include "DesktopIntegration.h"
#include "FileDialogs.h"
#include "SingleInstance.h"
#include "UiEngine.h"
#include "WindowPlacement.h"
#include "model/KestravaError.h"
#include "platform/DeliveredLater.h"
#include "preview/FocusPipeline.h"
#include "preview/PreviewPipeline.h"
#include "session/SessionStore.h"
#include "workflow/KestravaViewModel.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QApplication>
#include <QQmlApplicationEngine>
#include <QQmlExtensionPlugin>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QSettings>
#include <QtConcurrent>
#include <cstdio>

Q_IMPORT_QML_PLUGIN(KestravaPlugin)

using namespace kestrava;

namespace {

// Generates (or finds) the demo off the GUI thread, then opens it once the store has said
// whether a saved session waits: that offer is the user's to answer first.
void startDemo(KestravaViewModel& viewModel, AppShell& shell, SessionStore& store)
{
    QFuture<std::optional<SortSession>> discovered = store.loadLatestIncomplete();
    deliveredLater(QtConcurrent::run([]() -> std::pair<QString, QString> {
        try {
            return {DemoShoot::create(), QString()};
        } catch (const KestravaError& error) {
            return {QString(), error.description()};
        }
    }), &viewModel).then(&viewModel, [&viewModel, &shell, discovered](const std::pair<QString, QString>& outcome) mutable {
        if (outcome.first.isEmpty()) {
            shell.showAlert(outcome.second);
            return;
        }
        const QString folder = outcome.first;
        // Through the event loop: the view model's own look for a saved session (queued on
        // the same store before this one) has then been answered, so its offer is on screen.
        deliveredLater(discovered, &viewModel).then(&viewModel, [&viewModel, folder](const std::optional<SortSession>&) {
            DemoShoot::openWhenFree(viewModel, folder);
        }).onFailed(&viewModel, [&viewModel, folder] { DemoShoot::openWhenFree(viewModel, folder); });
    });
}

} // namespace

int main(int argc, char** argv)
{
    QElapsedTimer sinceStart;
    sinceStart.start();
    QStringList arguments;
    for (int i = 1; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));
    const CommandLine::Request request = CommandLine::parse(arguments, QDir::currentPath());
    if (request.action == CommandLine::Request::Action::help) {
        std::fputs(CommandLine::usage().toLocal8Bit().constData(), stdout);
        return 0;
    }
    if (request.action == CommandLine::Request::Action::invalid) {
        const QString complaint = QStringLiteral("kestrava: „") + request.offending + QStringLiteral("“ wird nicht verstanden.\n\n");
        std::fputs((complaint + CommandLine::usage()).toLocal8Bit().constData(), stderr);
        return 2;
    }
    // Without any display Qt would abort with a technical message; say what is needed instead.
    if (qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")
        && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        std::fputs("Kestrava braucht eine grafische Desktop-Sitzung (weder DISPLAY noch WAYLAND_DISPLAY ist gesetzt).\n",
                   stderr);
        return 1;
    }
    // Widgets for the file dialogs, which hand over to the desktop's own where there is one.
    QApplication app(argc, argv);
    QGuiApplication::setApplicationName(QStringLiteral("Kestrava"));
    QGuiApplication::setOrganizationName(QStringLiteral("Kestrava"));
    QGuiApplication::setDesktopFileName(QStringLiteral("de.kestrava.Kestrava"));
    QQuickStyle::setStyle(QStringLiteral("Basic"));
    installGermanQtTranslations(app);

    const bool demo = request.demo;
    const bool reportStartup = request.reportStartup;
    // A folder to sort or a saved session document.
    const QString folder = request.path;

    // A second start (a double click on the icon, a folder opened from the file manager) goes
    // to the window already open: two windows on one session would write it at once. The
    // startup measurement always runs on its own.
    SingleInstance instance;
    if (!reportStartup && instance.start(folder) == SingleInstance::Role::handedOver)
        return 0;

    WorkflowServices services;
    services.sessionStore = &SessionStore::live();
    const auto desktop = installDesktopServices(services);
    KestravaViewModel viewModel(services);
    AppShell shell(&viewModel);
    desktop->setFailureHandler([&shell](const QString& message) { shell.showAlert(message); });

    // Previews still decoding or being written to the cache when the process tears down the
    // image libraries crash it on its way out: they end while everything is still there.
    QObject::connect(&app, &QCoreApplication::aboutToQuit, [] {
        PreviewPipeline::endShared();
        FocusPipeline::endShared();
    });

    QQmlApplicationEngine engine;
    configureEngine(engine, &viewModel, &shell);
    QObject::connect(&engine, &QQmlApplicationEngine::objectCreationFailed, &app, [] { QCoreApplication::exit(1); },
                     Qt::QueuedConnection);
    engine.load(mainWindowUrl());
    if (engine.rootObjects().isEmpty())
        return 1;
    auto* window = qobject_cast<QQuickWindow*>(engine.rootObjects().first());
    if (window) {
        QSettings settings;
        WindowPlacement::restore(*window, settings);
        QObject::connect(&app, &QCoreApplication::aboutToQuit, window, [window] {
            QSettings settings;
            WindowPlacement::save(*window, settings);
        });
    }
    QObject::connect(&instance, &SingleInstance::activationRequested, &shell, [&shell, window](const QString& path) {
        shell.openFromOutside(path);
        if (window) {
            window->show();
            window->raise();
            window->requestActivate();
        }
    });

    if (reportStartup) {
        // Start to the first frame on screen, for the startup benchmark.
        if (window) {
            QObject::connect(window, &QQuickWindow::frameSwapped, &app, [&sinceStart] {
                static bool reported = false;
                if (!reported) {
                    reported = true;
                    std::printf("first-frame-ms %lld\n", static_cast<long long>(sinceStart.elapsed()));
                    std::fflush(stdout);
                    if (qEnvironmentVariableIsSet("KESTRAVA_EXIT_AFTER_FIRST_FRAME"))
                        QCoreApplication::quit();
                }
            });
        }
    }

    if (demo) {
        startDemo(viewModel, shell, SessionStore::live());
    } else if (!folder.isEmpty()) {
        shell.openFromOutside(folder);
    }
    return app.exec();
}
