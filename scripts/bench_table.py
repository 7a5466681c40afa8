#!/usr/bin/env python3
"""Reads the raw outputs scripts/bench.sh collected and prints one table: metric, Kestrava,
anchor, ratio, target and whether it is met; --json FILE writes the same rows as JSON."""
import json
import re
import sys
from pathlib import Path


def gbench(path):
    """Mean real time in milliseconds of each benchmark in a Google Benchmark JSON file."""
    data = json.loads(Path(path).read_text())
    scale = {"ns": 1e-6, "us": 1e-3, "ms": 1.0, "s": 1e3}
    times = {}
    for entry in data.get("benchmarks", []):
        if entry.get("run_type", "iteration") == "aggregate" and entry.get("aggregate_name") != "mean":
            continue
        times[entry["name"].split("/")[0]] = entry["real_time"] * scale[entry.get("time_unit", "ns")]
    return times


def first_json_line(path):
    for line in Path(path).read_text().splitlines():
        line = line.strip()
        if line.startswith("{"):
            return json.loads(line)
    raise ValueError(f"no JSON line in {path}")


def row(metric, ours, anchor, anchor_name, unit, target_text, met, ratio=None):
    if ratio is None and ours is not None and anchor:
        ratio = ours / anchor
    return {"metric": metric, "kestrava": ours, "anchor": anchor, "anchorName": anchor_name, "unit": unit,
            "ratio": ratio, "target": target_text, "met": met}


def collect(raw):
    rows = []

    def attempt(build):
        try:
            rows.extend(build())
        except (OSError, ValueError, KeyError, TypeError, json.JSONDecodeError) as error:
            rows.append(row(f"(missing: {error})", None, None, "", "", "", None))

    def cli_scan():
        text = (raw / "cli-scan.txt").read_text()
        files = int(re.search(r"files: (\d+)", text).group(1))
        scan = float(re.search(r"kestrava-cli scan.*?: (\d+) ms", text).group(1))
        find = float(re.search(r"find -printf: +(\d+) ms", text).group(1))
        return [row(f"kestrava-cli scan of {files:,} files incl. JSON", scan, find, "find -printf", "ms", "≤ 1.5×",
                    scan <= 1.5 * find)]

    def scan_in_process():
        t = gbench(raw / "scanning.json")
        ours, anchor = t["BM_ScanInventory"], t["BM_FindBaseline"]
        return [row("scan in process (no output)", ours, anchor, "plain walk with stat", "ms", "≤ 1.5×", ours <= 1.5 * anchor)]

    def preview():
        t = gbench(raw / "preview.json")
        ours, anchor = t["BM_ColdPreviewJpeg24mpAt2048"], t["BM_TurboJpegDecodeHalf"]
        return [row("cold 2048 px preview of a 24 MP JPEG", ours, anchor, "TurboJPEG decode at 1/2", "ms", "≤ 1.1×",
                    ours <= 1.1 * anchor)]

    def copies():
        text = (raw / "execution.txt").read_text()
        seconds = lambda label: float(re.search(re.escape(label) + r"\s+([\d.]+) s", text).group(1))
        cp, cp_hash = seconds("cp -r + sync"), seconds("cp -r + sync + sha256sum both")
        size, sha = seconds("safeCopy fileSize"), seconds("safeCopy sha256 (read back)")
        volume = re.search(r"^(\d+) files, (\d+) MB", text, re.M)
        what = f"{volume.group(2)} MB in {volume.group(1)} files" if volume else ""
        return [
            row(f"safe copy, size check, {what}", size, cp, "cp -r + sync", "s", "≤ 1.3×", size <= 1.3 * cp),
            row("safe copy, SHA-256 read back", sha, cp, "cp -r + sync", "s", "≤ 2.0×", sha <= 2.0 * cp),
            row("safe copy, SHA-256 read back: speed-up", sha, cp_hash, "cp -r + sync + sha256sum", "s", "≥ 3× faster",
                cp_hash >= 3 * sha, ratio=cp_hash / sha),
        ]

    def culling():
        figures = first_json_line(raw / "culling.txt")
        p95 = figures["p95Ms"]
        return [row(f"culling run, {figures['shots']} shots, a key every {figures['intervalMs']} ms: p95", p95, 16.7,
                    "one frame", "ms", "≤ 16 ms", p95 <= 16.0)]

    def session():
        t = gbench(raw / "session.json")
        parse = t.get("BM_QtJsonParseOnly20kPhotos")
        return [
            row("session snapshot of 20,000 photos: write", t["BM_EncodeSnapshot20kPhotos"], None, "", "ms", "—", None),
            row("session snapshot of 20,000 photos: read", t["BM_DecodeSnapshot20kPhotos"], parse, "Qt JSON parse alone", "ms",
                "—", None),
            row("replay of 100,000 events into 20,000 photos", t["BM_Replay100kEventsInto20kPhotos"], None, "", "ms", "—", None),
        ]

    def opening():
        figures = first_json_line(raw / "open.txt")
        ms, peak = figures["openToPictureMs"], figures["peakRssMiB"]
        shots = figures["shots"]
        return [
            row(f"open {shots:,} shots ({figures['files']:,} files) to the first picture, warm", ms, None, "", "ms",
                "≤ 1000 ms", ms <= 1000),
            row(f"memory while reviewing {shots:,} shots (peak resident)", peak, None, "", "MiB", "≤ 400 MB",
                peak * 1.048576 <= 400),
        ]

    def keys():
        text = (raw / "keys.txt").read_text()
        match = re.search(r"key press to next picture on screen: n=(\d+) p50=([\d.]+) ms p95=([\d.]+) ms", text)
        p95 = float(match.group(3))
        return [row(f"key press to the next picture on the window (p50 {match.group(2)} ms): p95", p95, 16.7, "one frame",
                    "ms", "≤ 8 ms", p95 <= 8.0)]

    def cold_jump():
        text = (raw / "coldjump.txt").read_text()
        first = re.search(r"cold jump to a picture on screen: n=(\d+) p50=([\d.]+) ms p95=([\d.]+) ms", text)
        full = re.search(r"cold jump to the full preview on screen: n=(\d+) p50=([\d.]+) ms p95=([\d.]+) ms", text)
        p95 = float(first.group(3))
        return [row(f"cold jump along the timeline to a picture on screen (full preview p50 {full.group(2)} ms, "
                    f"p95 {full.group(3)} ms): p95", p95, 16.7, "one frame", "ms", "≤ 16.7 ms", p95 <= 16.7)]

    def keys_while_audit_scrolls():
        text = (raw / "keys-audit.txt").read_text()
        match = re.search(r"key press to next picture while the audit list scrolls: n=(\d+) p50=([\d.]+) ms p95=([\d.]+) ms",
                          text)
        rows = re.search(r"audit rows: (\d+)", text)
        p95 = float(match.group(3))
        return [row(f"key press to the next picture while the audit list scrolls through {int(rows.group(1)):,} rows "
                    f"(p50 {match.group(2)} ms): p95", p95, 16.7, "one frame", "ms", "≤ 16 ms", p95 <= 16.0)]

    for build in (cli_scan, scan_in_process, preview, copies, culling, session, opening, keys, cold_jump, keys_while_audit_scrolls):
        attempt(build)
    return rows


def number(value, unit):
    if value is None:
        return "—"
    if unit == "s":
        return f"{value:,.2f} s"
    if unit == "MiB":
        return f"{value:,.0f} MiB"
    return f"{value:,.1f} ms" if value < 100 else f"{value:,.0f} ms"


def main():
    args = sys.argv[1:]
    raw = Path(args[0])
    out = args[args.index("--json") + 1] if "--json" in args else None
    rows = collect(raw)
    header = ["metric", "Kestrava", "anchor in the same run", "ratio", "target", "met"]
    table = []
    for r in rows:
        anchor = f"{r['anchorName']}: {number(r['anchor'], r['unit'])}" if r["anchor"] is not None else "—"
        ratio = f"{r['ratio']:.2f}×" if r["ratio"] is not None else "—"
        met = {True: "yes", False: "NO", None: "—"}[r["met"]]
        table.append([r["metric"], number(r["kestrava"], r["unit"]), anchor, ratio, r["target"], met])
    widths = [max(len(line[i]) for line in [header] + table) for i in range(len(header))]
    print(" | ".join(h.ljust(w) for h, w in zip(header, widths)))
    print("-|-".join("-" * w for w in widths))
    for line in table:
        print(" | ".join(c.ljust(w) for c, w in zip(line, widths)))
    load = Path("/proc/loadavg").read_text().split()[0] if Path("/proc/loadavg").exists() else "?"
    print(f"\n{'quick' if '--quick' in args else 'full'} run; load average at the end: {load}")
    if out:
        Path(out).write_text(json.dumps({"mode": "quick" if "--quick" in args else "full", "rows": rows}, indent=2) + "\n")


if __name__ == "__main__":
    main()
