#pragma once

// Prepares a QML engine for Kestrava's screens: the view model and the shell as the module's
// singletons, the thumbnail provider, and the module's import path. The application, the
// Qt Quick tests and the benchmarks all go through here, so they load the same screens.

#include <QUrl>

class QQmlEngine;

namespace kestrava {

class AppShell;
class KestravaViewModel;

void configureEngine(QQmlEngine& engine, KestravaViewModel* viewModel, AppShell* shell);

// qrc:/Kestrava/qml/Main.qml
QUrl mainWindowUrl();

} // namespace kestrava
