#!/bin/bash
# Timed CLI run: `kestrava-cli scan` (walk, sort and JSON output of every item) against
# `find -printf` over the same tree of photo names, warm cache, median of N alternating runs.
#
#   bench/scanning/scan_vs_find.sh BUILD_DIR [TREE_DIR] [RUNS]
#
# Without TREE_DIR a tree of 100,000 empty photo files in 1,000 folders is generated first
# (kestrava-cli generate --names-only) in a temporary folder and removed afterwards.
set -euo pipefail
build=${1:?build directory}
cli="$build/bin/kestrava-cli"
tree=${2:-}
runs=${3:-7}
cleanup=
if [[ -z "$tree" ]]; then
    cleanup=$(mktemp -d)
    tree="$cleanup/tree"
    "$cli" generate "$tree" --names-only --shots 100000 --folders 1000 > /dev/null
fi
trap '[[ -n "$cleanup" ]] && rm -rf "$cleanup"' EXIT

now() { date +%s%N; }
median() { sort -n | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'; }

files=$(find "$tree" -type f | wc -l)
"$cli" scan "$tree" > /dev/null # warm the caches
find "$tree" -type f -printf '%s %T@ %p\n' > /dev/null
scan_ms=(); find_ms=()
for ((i = 0; i < runs; i++)); do
    t0=$(now); "$cli" scan "$tree" > /dev/null; t1=$(now)
    find "$tree" -type f -printf '%s %T@ %p\n' > /dev/null; t2=$(now)
    scan_ms+=($(((t1 - t0) / 1000000))); find_ms+=($(((t2 - t1) / 1000000)))
done
scan=$(printf '%s\n' "${scan_ms[@]}" | median)
find=$(printf '%s\n' "${find_ms[@]}" | median)
echo "files: $files"
echo "kestrava-cli scan (incl. JSON): ${scan} ms ($((files * 1000 / (scan > 0 ? scan : 1))) files/s)"
echo "find -printf:                   ${find} ms ($((files * 1000 / (find > 0 ? find : 1))) files/s)"
awk -v s="$scan" -v f="$find" 'BEGIN { printf "ratio: %.2f\n", s / f }'
