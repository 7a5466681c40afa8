// kestrava [--demo | FOLDER]: the desktop application.

#include "AppShell.h"
#include "DemoShoot.h"
#include "DesktopIntegration.h"
#include "SingleInstance.h"
#include "UiEngine.h"
#include "model/KestravaError.h"
#include "session/SessionStore.h"
#include "workflow/KestravaViewModel.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQmlExtensionPlugin>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QtConcurrent>
#include <cstdio>

Q_IMPORT_QML_PLUGIN(KestravaPlugin)

using namespace kestrava;

int main(int argc, char** argv)
{
    QElapsedTimer sinceStart;
    sinceStart.start();
    // Without any display Qt would abort with a technical message; say what is needed instead.
    if (qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")
        && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        std::fputs("Kestrava braucht eine grafische Desktop-Sitzung (weder DISPLAY noch WAYLAND_DISPLAY ist gesetzt).\n",
                   stderr);
        return 1;
    }
    QGuiApplication app(argc, argv);
    QGuiApplication::setApplicationName(QStringLiteral("Kestrava"));
    QGuiApplication::setOrganizationName(QStringLiteral("Kestrava"));
    QGuiApplication::setDesktopFileName(QStringLiteral("de.kestrava.Kestrava"));
    QQuickStyle::setStyle(QStringLiteral("Basic"));

    const QStringList arguments = app.arguments().mid(1);
    const bool demo = arguments.contains(QStringLiteral("--demo"));
    const bool reportStartup = arguments.contains(QStringLiteral("--report-startup"));
    // A folder to sort or a saved session document.
    QString folder;
    for (const QString& argument : arguments)
        if (!argument.startsWith(QStringLiteral("--")))
            folder = QFileInfo(argument).absoluteFilePath();

    // A second start (a double click on the icon, a folder opened from the file manager) goes
    // to the window already open: two windows on one session would write it at once. The
    // startup measurement always runs on its own.
    SingleInstance instance;
    if (!reportStartup && instance.start(folder) == SingleInstance::Role::handedOver)
        return 0;

    WorkflowServices services;
    services.sessionStore = &SessionStore::live();
    installDesktopServices(services);
    KestravaViewModel viewModel(services);
    AppShell shell(&viewModel);

    QQmlApplicationEngine engine;
    configureEngine(engine, &viewModel, &shell);
    QObject::connect(&engine, &QQmlApplicationEngine::objectCreationFailed, &app, [] { QCoreApplication::exit(1); },
                     Qt::QueuedConnection);
    engine.load(mainWindowUrl());
    if (engine.rootObjects().isEmpty())
        return 1;
    auto* window = qobject_cast<QQuickWindow*>(engine.rootObjects().first());
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
        // Generating takes a few seconds; the welcome screen stays responsive meanwhile.
        QtConcurrent::run([]() -> std::pair<QString, QString> {
            try {
                return {DemoShoot::create(), QString()};
            } catch (const KestravaError& error) {
                return {QString(), error.description()};
            }
        }).then(&viewModel, [&viewModel, &shell](const std::pair<QString, QString>& outcome) {
            if (outcome.first.isEmpty())
                shell.showAlert(outcome.second);
            else
                viewModel.load(outcome.first);
        });
    } else if (!folder.isEmpty()) {
        shell.openFromOutside(folder);
    }
    return app.exec();
}
