#!/usr/bin/env python3
"""Prints what the benchmarks measured: how the cost grows, then every bound and whether it holds.

    bench/table.py [--smoke] FOLDER     with the JSON files that scripts/bench.sh wrote there

Compares medians. Benchmarks of one core count processor time, so that what else runs on the
machine disturbs them less; that on two cores counts real time and needs the machine for itself.
Exit status 1 when a bound does not hold, 2 when a measurement is missing. With --smoke, for
measurements too short to say anything, no bound is judged.
"""

import argparse
import json
import re
import sys
from dataclasses import dataclass
from pathlib import Path

NANOSECONDS = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}
DECODED_PATCHES = 6


@dataclass
class Bound:
    """Our median against that of another side: at most so many times as long, or at least so many
    times as fast."""

    benchmark: str
    other: str
    at_most: float | None = None
    at_least: float | None = None
    ours: str = "ours"


BOUNDS = [
    Bound("PopulateData", "memcpy", at_most=2.0),
    Bound("PopulateData", "blob_from_image", at_least=20),
    Bound("Patches_640x640", "memcpy", at_most=2.5),
    Bound("Patches_640x640", "opencv", at_least=8),
    Bound("Patches_960x540", "memcpy", at_most=2.5),
    Bound("Patches_960x540", "opencv", at_least=8),
    Bound("PreProcessFece_600x800", "resize_only", at_most=1.5),
    Bound("PreProcessFece_224x224", "opencv", at_least=4),
    Bound("Decode_50", "generic", at_least=20),
    Bound("Decode_0", "read_scores", at_most=1.3),
    Bound("Decode_mask", "memcpy", at_most=8, ours="one_object"),
    Bound("Convert_50", "or_and_count", at_most=1.15),
    Bound("Frame_1threads", "network", at_most=1.03, ours="detector"),
    Bound("Frame_2threads", "network", at_most=1.03, ours="detector"),
    Bound("Frame_batch6", "default_session", at_most=1.02),
    Bound("Frame_batch6", "usual_way", at_most=0.80),
    Bound("Frame_batch1", "default_session_of_batch6", at_most=0.95),
    # Perfect scaling from one thread to two would halve the time.
    Bound("Frame_batch1", "one_thread", at_most=round(0.5 / 0.92, 3)),
    Bound("FirstFrame", "later", at_most=1.3, ours="first"),
    Bound("Idle", "clock", at_most=0.005, ours="batch6"),
    Bound("Idle", "clock", at_most=0.005, ours="batch1"),
    Bound("DetectOutput", "networks", at_most=1.15),
    Bound("DetectOutput", "networks_processor", at_most=1.30, ours="ours_processor"),
    Bound("DetectLines", "networks", at_most=1.08),
    Bound("Start_large", "bare_sessions", at_most=1.2),
    Bound("Start_demo", "bare_sessions", at_most=1.2),
]

Medians = dict[str, float]


def read(folder: Path) -> tuple[Medians, float]:
    """Medians in nanoseconds by benchmark and side ("Convert_0/ours"), and the peak in MiB."""
    medians: Medians = {}
    peaks: dict[str, float] = {}
    for path in sorted(folder.glob("*.json")):
        for run in json.loads(path.read_text())["benchmarks"]:
            if run.get("aggregate_name") != "median" and run["repetitions"] > 1:
                continue  # a single measurement is its own median
            name, marks = re.fullmatch(r"([^/]+/[^/]+)(.*)", run["run_name"]).groups()
            time = run["real_time"] if "_time" in marks else run["cpu_time"]
            medians[name] = time * NANOSECONDS[run["time_unit"]]
            if "peak_resident_MiB" in run:
                peaks[name] = run["peak_resident_MiB"]
    # What one object more costs, from 50 objects per patch against none.
    objects = 50 * DECODED_PATCHES
    more = medians["Decode_50/ours"] - medians["Decode_0/ours"]
    medians["Decode_mask/one_object"] = more / objects
    return medians, peaks["FirstFrame/later"]


def text(nanoseconds: float) -> str:
    for unit, size in (("s", 1e9), ("ms", 1e6), ("us", 1e3)):
        if nanoseconds >= size:
            return f"{nanoseconds / size:.3g} {unit}"
    return f"{nanoseconds:.3g} ns"


def slope(points: list[tuple[int, float]]) -> float:
    """Of the straight line with the least squares."""
    mean_x = sum(x for x, _ in points) / len(points)
    mean_y = sum(y for _, y in points) / len(points)
    above = sum((x - mean_x) * (y - mean_y) for x, y in points)
    return above / sum((x - mean_x) ** 2 for x, _ in points)


def print_growth(medians: Medians, subject: str, unit: str) -> None:
    """One row a stage: the median at each size and the slope. KeyError when there is none."""
    stages: dict[str, list[tuple[int, float]]] = {}
    for name, median in medians.items():
        match = re.fullmatch(rf"Growth{subject}_(\d+)/(\w+)", name)
        if match:
            stages.setdefault(match[2], []).append((int(match[1]), median))
    if not stages:
        raise KeyError(f"Growth{subject}")
    sizes = sorted({size for points in stages.values() for size, _ in points})
    print(f"{subject.lower():16}" + "".join(f"{size:>12}" for size in sizes) + "   slope")
    for stage, points in stages.items():
        cells = "".join(f"{text(median):>12}" for _, median in sorted(points))
        print(f"{stage:16}{cells}   {text(slope(points))} per {unit}")
    print()


def print_forms(medians: Medians) -> None:
    """What writing costs, in processor time of a frame. KeyError when it was not measured."""
    forms = {name.split("/")[1]: median for name, median in medians.items() if "Forms/" in name}
    if not forms:
        raise KeyError("Forms")
    print("written by detect, processor time per frame")
    for form, median in forms.items():
        print(f"{form:16}{text(median):>12}")
    print()


def check(bound: Bound, medians: Medians) -> tuple[list[str], bool]:
    """The bound's row and whether it holds."""
    ours = medians[f"{bound.benchmark}/{bound.ours}"]
    other = medians[f"{bound.benchmark}/{bound.other}"]
    if bound.at_most is not None:
        ratio, holds = f"{ours / other:.3g} x", ours <= bound.at_most * other
        limit = f"at most {bound.at_most:g} x"
    else:
        ratio, holds = f"1/{other / ours:.3g} x", other >= bound.at_least * ours
        limit = f"at most 1/{bound.at_least:g} x"
    name = bound.benchmark if bound.ours == "ours" else f"{bound.benchmark}/{bound.ours}"
    return [name, text(ours), f"{bound.other} {text(other)}", ratio, limit,
            "yes" if holds else "NO"], holds  # fmt: skip


def print_bounds(medians: Medians, judged: bool) -> bool:
    """The table; true when every bound holds or none is judged."""
    checked = [check(bound, medians) for bound in BOUNDS]
    rows = [["benchmark", "ours", "other side", "ratio", "bound", "holds"]]
    rows += [row for row, _ in checked]
    if not judged:
        rows = [row[:-1] for row in rows]
    widths = [max(len(row[column]) for row in rows) for column in range(len(rows[0]))]
    for row in rows:
        print("  ".join(cell.ljust(width) for cell, width in zip(row, widths)).rstrip())
    return not judged or all(holds for _, holds in checked)


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--smoke", action="store_true", help="judge no bound")
    parser.add_argument("folder", type=Path, help="with the JSON files of scripts/bench.sh")
    options = parser.parse_args()
    try:
        medians, peak = read(options.folder)
        print_growth(medians, "Patches", "patch")
        print_growth(medians, "Objects", "object")
        print_growth(medians, "Labels", "label")
        print_growth(medians, "Candidates", "candidate")
        print_forms(medians)
        print(f"peak resident memory of a process with frames of six patches: {peak:.0f} MiB\n")
        return 0 if print_bounds(medians, judged=not options.smoke) else 1
    except KeyError as missing:
        message = f"{options.folder}: no measurement of {missing}; run scripts/bench.sh"
        print(message, file=sys.stderr)
        return 2


if __name__ == "__main__":
    sys.exit(main())
