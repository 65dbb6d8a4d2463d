#!/usr/bin/env python3
"""Runs utf_bench once per kernel level and prints one markdown table.

Rows are corpus x direction. Each level's cell gives ky's speed as a ratio to
ICU and to iconv in the same run; for measuring (len*) it gives the ratio to
ky's conversion in the same direction at that level, and to ICU's preflight.
"""
import argparse
import json
import os
import pathlib
import statistics
import subprocess

LEVELS = ["scalar", "sse2", "avx2", "avx512", None]  # None: KY_UTF_KERNEL unset
DEFAULT_BIN = pathlib.Path(__file__).resolve().parent.parent / "build/bench/bench/utf_bench"


REPETITIONS = 1


def run(binary, level, min_time, bench_filter, library_dir=None):
    env = {k: v for k, v in os.environ.items() if k != "KY_UTF_KERNEL"}
    if level:
        env["KY_UTF_KERNEL"] = level
    if library_dir:
        env["LD_LIBRARY_PATH"] = library_dir
    cmd = [str(binary), "--benchmark_format=json"]
    if min_time:
        cmd.append("--benchmark_min_time=" + min_time.rstrip("s"))
    if bench_filter:
        cmd.append("--benchmark_filter=" + bench_filter)
    if REPETITIONS > 1:
        cmd += [f"--benchmark_repetitions={REPETITIONS}", "--benchmark_report_aggregates_only=true"]
    out = json.loads(subprocess.run(cmd, env=env, stdout=subprocess.PIPE, check=True).stdout)
    speeds = {}
    for b in out["benchmarks"]:
        direction, peer = b["run_name"].split("/")[:2]
        if REPETITIONS > 1 and b.get("aggregate_name") != "median":
            continue
        if not b.get("error_occurred"):
            speeds[(b["label"], direction, peer)] = b["bytes_per_second"]
    return out["context"].get("utf_kernel", "?"), speeds


def ratio(a, b):
    return f"{a / b:.2f}" if a / b < 1 else f"{a / b:.1f}"


def cell(speeds, corpus, direction):
    ky = speeds.get((corpus, direction, "ky"))
    if ky is None:
        return "failed"
    if direction.startswith("len"):
        peers = [("conv", speeds.get((corpus, direction[3:], "ky"))),
                 ("ICU", speeds.get((corpus, direction, "icu")))]
    else:
        peers = [("ICU", speeds.get((corpus, direction, "icu"))),
                 ("iconv", speeds.get((corpus, direction, "iconv")))]
    return " / ".join(f"{ratio(ky, s)}× {name}" for name, s in peers if s)


def main():
    p = argparse.ArgumentParser(description=__doc__)
    p.add_argument("--bin", default=DEFAULT_BIN, help="utf_bench binary")
    p.add_argument("--min-time", help="--benchmark_min_time in seconds, e.g. 0.1s")
    p.add_argument("--filter", help="--benchmark_filter")
    p.add_argument("--levels", help="comma-separated levels to run (default: all, then auto)")
    p.add_argument("--against", metavar="LIBDIR",
                   help="instead: ky at each level as a ratio to the libvokyutil in LIBDIR "
                        "(an earlier build; the interface is the same)")
    p.add_argument("--repetitions", type=int, default=1,
                   help="runs of each benchmark; the median is used (the machine is noisy)")
    args = p.parse_args()
    global REPETITIONS
    REPETITIONS = args.repetitions
    if args.against:
        alternations, REPETITIONS = REPETITIONS, 1

    if args.against:
        # Runs alternate between the two libraries, so that a slow spell of
        # the machine falls on both; each speed is the median of its runs.
        levels = args.levels.split(",") if args.levels else LEVELS[:-1]
        runs = {None: []}
        runs.update((level, []) for level in levels)
        for _ in range(alternations):
            for level in runs:
                speeds = run(args.bin, level, args.min_time, args.filter, args.against if level is None else None)[1]
                runs[level].append(speeds)
        median = {level: {key: statistics.median(r[key] for r in rs) for key in rs[0]} for level, rs in runs.items()}
        print("| corpus | direction | " + " | ".join(f"{l} / before" for l in levels) + " |")
        print("|---|---|" + "---|" * len(levels))
        for (corpus, direction, peer), old in median[None].items():
            if peer == "ky":
                cells = [ratio(median[l][(corpus, direction, "ky")], old) + "×" for l in levels]
                print(f"| {corpus} | {direction} | " + " | ".join(cells) + " |")
        return

    columns, rows = [], {}
    for level in args.levels.split(",") if args.levels else LEVELS:
        used, speeds = run(args.bin, level, args.min_time, args.filter)
        name = f"auto ({used})" if level is None else level if level == used else f"{level} ({used})"
        columns.append((name, speeds))
        for corpus, direction, _ in speeds:
            rows.setdefault(corpus, {}).setdefault(direction)

    print("| corpus | direction | " + " | ".join(name for name, _ in columns) + " |")
    print("|---|---|" + "---|" * len(columns))
    for corpus, directions in rows.items():
        for direction in directions:
            cells = [cell(speeds, corpus, direction) for _, speeds in columns]
            print(f"| {corpus} | {direction} | " + " | ".join(cells) + " |")


if __name__ == "__main__":
    main()
