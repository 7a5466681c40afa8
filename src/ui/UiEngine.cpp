#include "UiEngine.h"

#include "AppShell.h"
#include "ThumbnailProvider.h"
#include "workflow/KestravaViewModel.h"

#include <QPointer>
#include <QQmlEngine>

namespace kestrava {

void configureEngine(QQmlEngine& engine, KestravaViewModel* viewModel, AppShell* shell)
{
    // The application has one engine and one view model for its whole life. Tests build a
    // fresh pair per case, so the singletons are handed out by callbacks that return the
    // objects of the engine being built, instead of instances fixed at first registration.
    // The objects stay owned by their creator.
    static QPointer<KestravaViewModel> currentViewModel;
    static QPointer<AppShell> currentShell;
    static bool registered = false;
    currentViewModel = viewModel;
    currentShell = shell;
    QJSEngine::setObjectOwnership(viewModel, QJSEngine::CppOwnership);
    QJSEngine::setObjectOwnership(shell, QJSEngine::CppOwnership);
    if (!registered) {
        registered = true;
        qmlRegisterSingletonType<KestravaViewModel>("Kestrava", 1, 0, "ViewModel",
                                                    [](QQmlEngine*, QJSEngine*) -> QObject* { return currentViewModel; });
        qmlRegisterSingletonType<AppShell>("Kestrava", 1, 0, "Shell",
                                           [](QQmlEngine*, QJSEngine*) -> QObject* { return currentShell; });
    }
    engine.addImportPath(QStringLiteral("qrc:/"));
    engine.addImageProvider(QLatin1String(ThumbnailProvider::providerId), new ThumbnailProvider);
}

QUrl mainWindowUrl()
{
    return QUrl(QStringLiteral("qrc:/Kestrava/qml/Main.qml"));
}

} // namespace kestrava
