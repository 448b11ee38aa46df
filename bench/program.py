#!/usr/bin/env python3
"""Measures the whole host program on the demo's frames against the networks' own time.

    bench/program.py [--smoke] BUILD OUT.json     with the programs of the bench build

Writes medians in the form of Google Benchmark's JSON. The sides take turns. Of a run over frames,
its start, measured by a run over none, does not count: it is a benchmark of its own.
"""

import argparse
import json
import os
import statistics
import subprocess
import sys
import tempfile
import time
from collections import defaultdict
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
MODELS = ROOT / "models"
DEMO_NETWORK = MODELS / "dirt-seg.onnx"
CLASSIFIER = MODELS / "fece-check.onnx"
FRAMES = sorted((MODELS / "frames").glob("*.jpg"))
REPETITIONS = 7
ROUNDS = 20  # each takes every frame once
FORMS = ("coco", "yolo", "polygons", "crops")  # video: of videos only


def detector(network: Path) -> list:
    """The options of a detector with six patches."""
    return [
        *("--model", network, "--config", MODELS / "demo.yaml"),
        *("--fece-model", CLASSIFIER, "--fece-class-ids", "5"),
    ]


def run(command: list, **options) -> tuple[float, float]:
    """Runs it to its end. Milliseconds of wall time and of processor time."""
    begin = time.monotonic()
    process = subprocess.Popen([str(word) for word in command], **options)
    _, status, usage = os.wait4(process.pid, 0)
    wall = time.monotonic() - begin
    if status != 0:
        sys.exit(f"program.py: {command[0]} {command[1]} ended with {status}")
    return wall * 1e3, (usage.ru_utime + usage.ru_stime) * 1e3


def networks_time(program: Path, frames: list[Path]) -> float:
    """Milliseconds that both networks take for `frames`, one after another."""
    command = [
        program,
        "bench",
        "--quiet",
        "--json",
        "--rounds",
        "1",
        *detector(DEMO_NETWORK),
        *frames,
    ]
    text = subprocess.run(
        [str(word) for word in command], check=True, stdout=subprocess.PIPE
    ).stdout
    times = json.loads(text)["a"]["timing_ms"]
    return len(frames) * (times["inference"]["mean"] + times["classify"]["mean"])


def measure(build: Path, frames: list[Path], scratch: Path) -> dict[str, float]:
    """Milliseconds by benchmark, side and kind of time; each side once."""
    program = build / "bin" / "dirty_seg"
    quiet = {"stdout": subprocess.DEVNULL}

    def start_with(network: Path) -> tuple[float, float]:
        nothing = {"stdin": subprocess.DEVNULL, **quiet}
        return run([program, "detect", "--quiet", *detector(network), "-"], **nothing)

    def sessions_of(network: Path) -> float:
        return run([build / "bin" / "bare_sessions", network, CLASSIFIER])[0]

    large_network = build / "bench" / "network-b6.onnx"
    start, start_processor = start_with(DEMO_NETWORK)
    detect = [program, "detect", "--quiet", *detector(DEMO_NETWORK)]
    folder = scratch / "out"
    output, output_processor = run([*detect, "--output", folder, "--overwrite", *frames])
    lines, lines_processor = run([*detect, *frames], **quiet)
    forms = {
        form: run([*detect, f"--{form}", "--output", folder, "--overwrite", *frames])[1]
        for form in FORMS
    }
    networks = networks_time(program, frames)
    # They keep all cores busy while they run.
    cores = len(os.sched_getaffinity(0))
    return {
        "DetectOutput/ours/real_time": output - start,
        "DetectOutput/networks/real_time": networks,
        "DetectOutput/ours_processor/real_time": output_processor - start_processor,
        "DetectOutput/networks_processor/real_time": networks * cores,
        "DetectLines/ours/real_time": lines - start,
        "DetectLines/networks/real_time": networks,
        # Of one frame: pictures and records against lines, each form against those.
        "Forms/folder/real_time": (output_processor - lines_processor) / len(frames),
        **{
            f"Forms/{form}/real_time": (processor - output_processor) / len(frames)
            for form, processor in forms.items()
        },
        "Start_demo/ours/real_time": start,
        "Start_demo/bare_sessions/real_time": sessions_of(DEMO_NETWORK),
        "Start_large/ours/real_time": start_with(large_network)[0],
        "Start_large/bare_sessions/real_time": sessions_of(large_network),
    }


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--smoke", action="store_true", help="each side once, on every frame once")
    parser.add_argument("build", type=Path, metavar="BUILD")
    parser.add_argument("out", type=Path, metavar="OUT.json")
    options = parser.parse_args()
    repetitions, rounds = (1, 1) if options.smoke else (REPETITIONS, ROUNDS)
    times = defaultdict(list)
    with tempfile.TemporaryDirectory() as scratch:
        for _ in range(repetitions):
            measured = measure(options.build, FRAMES * rounds, Path(scratch))
            for name, milliseconds in measured.items():
                times[name].append(milliseconds)
    runs = [
        {
            "run_name": name,
            "aggregate_name": "median",
            "repetitions": repetitions,
            "real_time": statistics.median(values),
            "time_unit": "ms",
        }
        for name, values in times.items()
    ]
    options.out.write_text(json.dumps({"benchmarks": runs}, indent=2) + "\n")


if __name__ == "__main__":
    main()
