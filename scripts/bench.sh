#!/usr/bin/env bash
# Builds the benchmarks (Release) and runs them all in a fixed order, each Kestrava figure beside
# an anchor measured in the same run, then prints one table (metric, Kestrava, anchor, ratio,
# target, met) and, with --json FILE, writes it as JSON too.
#
#   scripts/bench.sh [--quick] [--json FILE] [--keep DIR]
#
# --quick uses smaller inputs (a few minutes on two cores); the full run may take twenty.
# --keep DIR leaves every benchmark's raw output in DIR. Files are written below $TMPDIR (or
# /var/tmp): put that on the disk you want measured, not on a tmpfs.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
quick=0
json=""
keep=""
while [ $# -gt 0 ]; do
  case "$1" in
    --quick) quick=1 ;;
    --json) json="${2:?--json needs a file}"; shift ;;
    --keep) keep="${2:?--keep needs a folder}"; shift ;;
    *) echo "usage: scripts/bench.sh [--quick] [--json FILE] [--keep DIR]" >&2; exit 2 ;;
  esac
  shift
done

"$root/scripts/setup.sh"
export QT_QPA_PLATFORM=offscreen
export CCACHE_BASEDIR="$root" CCACHE_NOHASHDIR=1
build="${KESTRAVA_BENCH_BUILD_DIR:-$root/build-bench}"
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DKESTRAVA_BUILD_TESTS=OFF >/dev/null
cmake --build "$build" -j "$(nproc)" --target kestrava-cli scanning_bench preview_bench preview_culling \
  execution_bench session_bench ui_frame_bench >/dev/null

scratch="$(mktemp -d "${TMPDIR:-/var/tmp}/kestrava-bench-XXXXXX")"
trap 'rm -rf "$scratch"' EXIT
raw="${keep:-$scratch/raw}"
mkdir -p "$raw"
cli="$build/bin/kestrava-cli"

# The command-line scan keeps its 100,000 files in the quick run too: smaller trees measure
# mostly the start of a process that maps 55 libraries (7 ms, against 1 ms for find), and
# making the larger tree takes only seconds.
if [ "$quick" -eq 1 ]; then
  scan_files=100000 scan_runs=5 min_time=0.5 copy_mb=300 copy_files=60 culling_shots=150 key_shots=40 jump_shots=60 open_shots=20000 audit_rows=5000
else
  scan_files=100000 scan_runs=7 min_time=3 copy_mb=1000 copy_files=200 culling_shots=500 key_shots=120 jump_shots=180 open_shots=20000 audit_rows=5000
fi
step() { echo "bench: $*" >&2; }

step "command-line scan of $scan_files files against find -printf"
"$cli" generate "$scratch/tree" --names-only --shots "$scan_files" --folders $((scan_files / 100)) >/dev/null
bash "$root/bench/scanning/scan_vs_find.sh" "$build" "$scratch/tree" "$scan_runs" >"$raw/cli-scan.txt"

step "scan in process against a plain walk"
"$build/bench/scanning_bench" --benchmark_filter='BM_ScanInventory|BM_FindBaseline' \
  --benchmark_min_time="$min_time" --benchmark_out="$raw/scanning.json" --benchmark_out_format=json >/dev/null 2>&1

step "cold preview against TurboJPEG"
"$build/bench/preview_bench" --benchmark_filter='BM_TurboJpegDecodeHalf|BM_ColdPreviewJpeg24mpAt2048' \
  --benchmark_min_time="$min_time" --benchmark_out="$raw/preview.json" --benchmark_out_format=json >/dev/null 2>&1

step "safe copies of $copy_mb MB against cp -r + sync"
"$build/bench/execution_bench" --dir "$scratch" --total-mb "$copy_mb" --files "$copy_files" --rounds 2 \
  --only copies >"$raw/execution.txt"

step "culling run of $culling_shots shots"
"$build/bench/preview_culling" "$culling_shots" 150 >"$raw/culling.txt" 2>/dev/null

step "session snapshot and replay"
(cd "$scratch" && "$build/bench/session_bench" --benchmark_filter='Replay100k|EncodeSnapshot20k|DecodeSnapshot20k|QtJsonParseOnly' \
  --benchmark_out="$raw/session.json" --benchmark_out_format=json >/dev/null 2>&1)

step "opening $open_shots shots to the first picture"
"$build/bench/ui_frame_bench" open "$open_shots" >"$raw/open.txt" 2>/dev/null

step "key press to the next picture on the window"
"$build/bench/ui_frame_bench" keys "$key_shots" 150 >"$raw/keys.txt" 2>/dev/null

step "a click far along the timeline to a shot not prepared ($jump_shots shots)"
"$build/bench/ui_frame_bench" coldjump "$jump_shots" >"$raw/coldjump.txt" 2>/dev/null

step "key press to the next picture while the audit list scrolls through $audit_rows rows"
"$build/bench/ui_frame_bench" keys-audit "$key_shots" "$audit_rows" 150 >"$raw/keys-audit.txt" 2>/dev/null

python3 "$root/scripts/bench_table.py" "$raw" ${json:+--json "$json"} $([ "$quick" -eq 1 ] && echo --quick)
