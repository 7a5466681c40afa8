#include "UiEngine.h"

#include "AppShell.h"
#include "QmlSingletons.h"
#include "ThumbnailProvider.h"
#include "workflow/KestravaViewModel.h"

#include <QQmlEngine>

namespace kestrava {

void configureEngine(QQmlEngine& engine, KestravaViewModel* viewModel, AppShell* shell)
{
    // The application has one engine and one view model for its whole life; tests build a
    // fresh pair per case. The module's singletons hand out the pair of the engine being built.
    ViewModelSingleton::instance = viewModel;
    ShellSingleton::instance = shell;
    engine.addImportPath(QStringLiteral("qrc:/"));
    engine.addImageProvider(QLatin1String(ThumbnailProvider::providerId), new ThumbnailProvider);
}

QUrl mainWindowUrl()
{
    return QUrl(QStringLiteral("qrc:/Kestrava/qml/Main.qml"));
}

} // namespace kestrava
