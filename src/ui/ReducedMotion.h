#pragma once

// Whether the desktop asks for reduced motion. Read once at start (a cheap file read and an
// environment look-up, no process start, no blocking D-Bus call):
//   KESTRAVA_REDUCE_MOTION=1/0 wins; then KDE's kdeglobals AnimationDurationFactor=0; then the
//   GNOME setting org.gnome.desktop.interface enable-animations=false, asked asynchronously
//   through the settings portal.

#include <QObject>
#include <functional>
#include <optional>

namespace kestrava::ReducedMotion {

// The environment override; nullopt when unset or not 0/1.
std::optional<bool> fromEnvironment(const QByteArray& value);
// kdeglobals text: true when [KDE] AnimationDurationFactor is 0.
std::optional<bool> fromKdeGlobals(const QString& text);

// Environment and kdeglobals ($XDG_CONFIG_HOME or ~/.config).
bool detectSynchronously();

// Asks the portal; calls `onAnswer(true)` when animations are off. Never blocks.
void askPortal(QObject* context, std::function<void(bool)> onAnswer);

} // namespace kestrava::ReducedMotion
