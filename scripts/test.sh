#!/usr/bin/env bash
# Builds Kestrava and runs the whole test suite twice: a normal build, then a build with
# AddressSanitizer and UndefinedBehaviorSanitizer. Tests run without a display (offscreen).
# --no-sanitize skips the second configuration for a quicker local run.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
sanitize=1
for argument in "$@"; do
  case "$argument" in
    --no-sanitize) sanitize=0 ;;
    *) echo "usage: scripts/test.sh [--no-sanitize]" >&2; exit 2 ;;
  esac
done
"$root/scripts/setup.sh"
export QT_QPA_PLATFORM=offscreen
# Paths relative to the checkout let ccache reuse objects across clones (CI builds a fresh one).
export CCACHE_BASEDIR="$root"
export CCACHE_NOHASHDIR=1
jobs="$(nproc)"

run_suite() { # build-dir cmake-args...
  local build="$1"; shift
  cmake -S "$root" -B "$build" -G Ninja "$@" >/dev/null
  cmake --build "$build" -j "$jobs"
  ctest --test-dir "$build" -j "$jobs" --output-on-failure --timeout 600
}

run_suite "${KESTRAVA_TEST_BUILD_DIR:-$root/build}" -DCMAKE_BUILD_TYPE=RelWithDebInfo
if [ "$sanitize" -eq 1 ]; then
  run_suite "${KESTRAVA_ASAN_BUILD_DIR:-$root/build-asan}" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKESTRAVA_SANITIZE=ON -DKESTRAVA_BUILD_BENCH=OFF
fi
