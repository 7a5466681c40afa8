#pragma once

// The first-run demo: a generated shoot of JPEG+RAW pairs, so a newcomer sees the whole flow
// without choosing a folder of their own. In each burst one JPEG is crisp and its neighbours
// are soft, so the sharpest mark and the series key show what they are for. One demo lives in the user's cache and is reused by
// every start; only files that are missing or changed (a run that moved the originals away)
// are generated again.

#include <QString>

namespace kestrava::DemoShoot {

inline constexpr int demoShots = 60;

// "$XDG_CACHE_HOME/Kestrava/Demo".
QString defaultFolder();

// Whether `folder` holds every file of the last generated demo, unchanged.
bool isComplete(const QString& folder);

// Makes `folder` a complete demo and returns it. Throws ShootGeneratorError or
// FileSystemError. Blocking: run off the GUI thread.
QString create(int shots = demoShots, const QString& folder = defaultFolder());

} // namespace kestrava::DemoShoot

namespace kestrava {
class KestravaViewModel;
}

namespace kestrava::DemoShoot {

// Opens the ready demo unless the user is choosing already: with a saved session offered for
// resuming, it waits for that choice and opens only after "Ignorieren"; after resuming, or
// when something else was opened meanwhile, it stays closed.
void openWhenFree(KestravaViewModel& viewModel, const QString& folder);

} // namespace kestrava::DemoShoot
