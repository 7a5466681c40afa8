#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQuickStyle>
#include <cstdio>

int main(int argc, char** argv)
{
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
    QQuickStyle::setStyle(QStringLiteral("Basic"));

    QQmlApplicationEngine engine;
    QObject::connect(&engine, &QQmlApplicationEngine::objectCreationFailed, &app, [] { QCoreApplication::exit(1); },
                     Qt::QueuedConnection);
    engine.load(QUrl(QStringLiteral("qrc:/Kestrava/qml/Main.qml")));
    return app.exec();
}
