#!/usr/bin/env bash
# Builds Kestrava and launches it. Arguments are passed to the application
# (a folder to open, or --demo for a generated shoot).
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
"$root/scripts/setup.sh"
build="${KESTRAVA_BUILD_DIR:-$root/build-release}"
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DKESTRAVA_BUILD_TESTS=OFF -DKESTRAVA_BUILD_BENCH=OFF >/dev/null
cmake --build "$build" --target kestrava kestrava-cli

if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ] && [ -z "${QT_QPA_PLATFORM:-}" ]; then
  echo "Kestrava braucht eine grafische Desktop-Sitzung (weder DISPLAY noch WAYLAND_DISPLAY ist gesetzt)." >&2
  echo "Kestrava needs a graphical desktop session. The command-line tool works without one: $build/bin/kestrava-cli" >&2
  exit 1
fi
exec "$build/bin/kestrava" "$@"
