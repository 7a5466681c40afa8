#pragma once

// The first-run demo: a generated shoot of JPEG+RAW pairs in a fresh temporary folder, so a
// newcomer sees the whole flow without choosing a folder of their own.

#include <QString>

namespace kestrava::DemoShoot {

inline constexpr int demoShots = 60;

// Creates "<temp>/kestrava-demo-XXXXXX" and fills it; returns the folder. Throws
// ShootGeneratorError or FileSystemError. Blocking: run off the GUI thread.
QString create(int shots = demoShots);

} // namespace kestrava::DemoShoot
