"""Measures replays on Ray: against the program, with more frames, nodes and smaller units.

    bench/fleet/bench.py [--smoke] PROGRAM FRAMES SCRATCH

FRAMES is a folder of JPEG frames, SCRATCH one that is made anew. Prints the tables of
docs/FLEET.md. Wants a quiet machine. With --smoke everything runs with few frames, and nothing that
is printed says anything.
"""

from __future__ import annotations

import argparse
import contextlib
import dataclasses
import json
import logging
import os
import shutil
import statistics
import subprocess
import sys
import threading
import time
from collections import Counter
from collections.abc import Iterable, Iterator
from pathlib import Path
from typing import Any

import cv2
import numpy as np

HERE = Path(__file__).resolve().parent
ROOT = HERE.parents[1]
sys.path.insert(0, str(ROOT / "python" / "examples"))
import write_log  # noqa: E402

WAIT = 0.05  # seconds of a frame; what the demo's network takes with one thread
NODE_WORKERS = 2
GROWTH_WORKERS = 16
MIB = 2**20

Facts = dict[str, float]


@dataclasses.dataclass(frozen=True)
class Sizes:
    """How much is measured."""

    frames: int  # against the program
    units: int  # of these, their frames; 0: the usual ones
    repetitions: int
    growth: tuple[int, ...]
    nodes: tuple[int, ...]
    unit_frames: tuple[int, ...]
    worker_frames: int  # with nodes
    store_frames: int


WHOLE = Sizes(500, 0, 3, (1_000, 10_000, 100_000), (1, 2, 4, 8), (1, 5, 25), 300, 100)
SMOKE = Sizes(4, 1, 1, (40,), (1,), (5,), 10, 4)


@dataclasses.dataclass(frozen=True)
class Bench:
    """Where things are."""

    program: Path
    frames: list[Path]
    scratch: Path
    sizes: Sizes

    def replay(
        self, given: Path, workers: int, unit_frames: int = 0, address: str = "",
        environment: dict[str, str] | None = None,
    ) -> Facts:  # fmt: skip
        """One run in a process of its own."""
        output = self.scratch / "run"
        shutil.rmtree(output, ignore_errors=True)
        command: list[object] = [
            sys.executable, HERE / "measure.py", given, output, workers, unit_frames, address
        ]  # fmt: skip
        text = subprocess.run(
            [str(word) for word in command], check=True, stdout=subprocess.PIPE,
            stderr=subprocess.DEVNULL, env=os.environ | (environment or {}),
        ).stdout  # fmt: skip
        facts: Facts = json.loads(text.splitlines()[-1])  # Ray may warn before it
        return facts

    def waiting(self) -> dict[str, str]:
        """An environment in which detectors only wait."""
        path = os.pathsep.join([str(HERE / "hooks"), os.environ["PYTHONPATH"]])
        return {
            "PYTHONPATH": path,
            "FLEET_BENCH_FRAME": str(self.frames[0]),
            "FLEET_BENCH_SECONDS": str(WAIT),
            "RAY_USAGE_STATS_ENABLED": "0",
        }


# ---- Against the program ------------------------------------------------------------------------


def against_the_program(bench: Bench) -> Facts:
    """Medians of seconds for the same frames; the sides take turns."""
    folder = bench.scratch / "pictures"
    folder.mkdir()
    for number in range(bench.sizes.frames):
        (folder / f"{number:04}.jpg").symlink_to(bench.frames[number % len(bench.frames)])
    sides: dict[str, list[float]] = {}
    facts: list[Facts] = []
    for _ in range(bench.sizes.repetitions):
        for threads in (2, 1):
            sides.setdefault(f"program_{threads}", []).append(_program(bench, folder, threads))
        sides.setdefault("programs", []).append(_two_programs(bench, folder))
        for workers in (2, 1):
            found = bench.replay(folder, workers, bench.sizes.units)
            facts.append(found)
            sides.setdefault(f"fleet_{workers}", []).append(found["seconds"])
            steady = found["steady_seconds"] / max(found["steady_units"], 1) * found["units"]
            sides.setdefault(f"steady_{workers}", []).append(steady)
    medians = {name: statistics.median(values) for name, values in sides.items()}
    print(f"\n{bench.sizes.frames} frames, medians of {bench.sizes.repetitions}")
    _row("dirty_seg detect, two threads", medians["program_2"])
    _row("dirty_seg detect, one thread", medians["program_1"])
    _row("two of these at a time, half the frames each", medians["programs"])
    _row("fleet, two workers of one thread", medians["fleet_2"])
    _row("fleet, one worker", medians["fleet_1"])
    _row("so from the end of each worker's first unit on, two", medians["steady_2"])
    _row("and one", medians["steady_1"])
    _ratio("two workers against the program", medians["fleet_2"] / medians["program_2"])
    _ratio("one worker to two", medians["fleet_1"] / medians["fleet_2"])
    _ratio("from the first units on", medians["steady_1"] / medians["steady_2"])
    _ratio("the program alone to two at a time", medians["program_1"] / medians["programs"])
    starts = [found["start_seconds"] for found in facts]
    print(f"Ray's start: {min(starts):.1f} to {max(starts):.1f} s")
    print(f"a worker's memory: {max(f['worker_peak'] for f in facts) / MIB:.0f} MiB at most")
    one = facts[-1]
    size = one["bytes"] / one["frames"]
    print(f"dataset: {size:.0f} bytes a frame")
    return {"frame": medians["steady_1"] / bench.sizes.frames, "bytes": size}


def _row(name: str, seconds: float) -> None:
    print(f"  {name:<52} {seconds:8.2f} s")


def _ratio(name: str, ratio: float) -> None:
    print(f"  {name:<52} {ratio:8.2f} x")


def _command(bench: Bench, threads: int, pictures: Iterable[Path]) -> list[str]:
    command: list[object] = [
        bench.program, "detect", "--quiet", "--merge", "--threads", threads,
        "--model", ROOT / "models/dirt-seg.onnx", "--config", ROOT / "models/demo.yaml", *pictures,
    ]  # fmt: skip
    return [str(word) for word in command]


def _timed(commands: list[list[str]]) -> float:
    begin = time.monotonic()
    running = [subprocess.Popen(command, stdout=subprocess.DEVNULL) for command in commands]
    if any(process.wait() for process in running):
        sys.exit("bench.py: the program failed")
    return time.monotonic() - begin


def _program(bench: Bench, folder: Path, threads: int) -> float:
    return _timed([_command(bench, threads, sorted(folder.iterdir()))])


def _two_programs(bench: Bench, folder: Path) -> float:
    pictures = sorted(folder.iterdir())
    half = len(pictures) // 2
    return _timed([_command(bench, 1, part) for part in (pictures[:half], pictures[half:])])


# ---- More frames --------------------------------------------------------------------------------


def growth(bench: Bench) -> Facts:
    """What more frames cost the driver, with detectors that wait; units of 25."""
    print(
        f"\nDetectors that wait {WAIT * 1000:.0f} ms, {GROWTH_WORKERS} workers, units of 25 frames"
    )
    print("  frames   units  seconds   rate  ideal  driver a frame  a unit  Ray's  driver's peak")
    found = []
    for frames in bench.sizes.growth:
        facts = bench.replay(_logs(bench, frames), GROWTH_WORKERS, 25, environment=bench.waiting())
        found.append(facts)
        processor = facts["driver_processor"]
        print(
            f"  {frames:6} {facts['units']:7} {facts['seconds']:8.1f} {_rate(facts):6.0f}"
            f" {GROWTH_WORKERS / WAIT:6.0f} {processor / frames * 1e3:12.2f} ms"
            f" {processor / facts['units'] * 1e3:4.1f} ms"
            f" {facts['services_processor'] / facts['units'] * 1e3:3.1f} ms"
            f" {facts['driver_peak'] / MIB:9.0f} MiB"
        )
    first, last = found[0], found[-1]
    units = max(last["units"] - first["units"], 1)
    cost = {
        name: (last[name] - first[name]) / units
        for name in ("driver_processor", "services_processor", "driver_peak")
    }
    print(
        f"  each unit more: {cost['driver_processor'] * 1e3:.1f} ms of the driver's processor "
        f"time, {cost['services_processor'] * 1e3:.1f} ms of Ray's services, "
        f"{cost['driver_peak'] / 1024:.1f} KiB of the driver's memory"
    )
    return cost


def _rate(facts: Facts) -> float:
    """Frames a second from the end of each worker's first unit on."""
    frames = facts["frames"] * facts["steady_units"] / facts["units"]
    return frames / max(facts["steady_seconds"], 1e-9)


def _logs(bench: Bench, frames: int, most: int = 1000) -> Path:
    """Logs of small pictures, that only what is around them costs."""
    folder = bench.scratch / f"logs-{frames}"
    if not folder.exists():
        folder.mkdir()
        picture = bytes(cv2.imencode(".png", np.zeros((32, 48, 3), np.uint8))[1])
        for first in range(0, frames, most):
            path = folder / f"{first:07}.mcap"
            write_log.write(path, [picture] * min(most, frames - first))
    return folder


# ---- More nodes ---------------------------------------------------------------------------------


def nodes(bench: Bench) -> None:
    """Rate by nodes and unit; where it stays behind the workers, the driver is what limits."""
    print(f"\nNodes on one machine, {NODE_WORKERS} workers each that wait {WAIT * 1000:.0f} ms")
    print("  nodes  unit  frames a second  ideal  share  units a second  processor in use")
    for count in bench.sizes.nodes:
        workers = count * NODE_WORKERS
        logs = _logs(bench, workers * bench.sizes.worker_frames)
        for unit in bench.sizes.unit_frames:
            with _cluster(bench, count) as address:
                facts = bench.replay(logs, workers, unit, address, bench.waiting())
            rate, ideal = _rate(facts), workers / WAIT
            print(
                f"  {count:5} {unit:5} {rate:16.0f} {ideal:6.0f} {rate / ideal:6.0%}"
                f" {rate / unit:15.1f} {facts['busy']:16.0%}"
            )


@contextlib.contextmanager
def _cluster(bench: Bench, count: int) -> Iterator[str]:
    with subprocess.Popen(
        [sys.executable, str(HERE / "cluster.py"), str(count), str(NODE_WORKERS)],
        env=os.environ | bench.waiting(), stdin=subprocess.PIPE, stdout=subprocess.PIPE,
        stderr=subprocess.DEVNULL, text=True,
    ) as process:  # fmt: skip
        assert process.stdin is not None and process.stdout is not None
        yield process.stdout.readline().strip()
        process.stdin.close()
        process.wait(60)


# ---- Object stores ------------------------------------------------------------------------------


def requests(bench: Bench) -> dict[str, Facts]:
    """Requests to an object store a frame and a unit, by kind of input."""
    count, unit = bench.sizes.store_frames, bench.sizes.store_frames // 4
    pictures = [bench.frames[i % len(bench.frames)].read_bytes() for i in range(count)]
    print(f"\nRequests to an object store, {count} frames in 4 units")
    found = {}
    with _counting_store() as (options, counts):
        from pyarrow.fs import FileSystem

        system, _ = FileSystem.from_uri(f"s3://bench/a{options}&allow_bucket_creation=true")
        system.create_dir("bench")
        write_log.write(bench.scratch / "drive.mcap", pictures)
        files = {f"logs/{n:04}.jpg": picture for n, picture in enumerate(pictures)}
        for kind, inputs in {
            "pictures": files,
            "a log": {"drive/drive.mcap": (bench.scratch / "drive.mcap").read_bytes()},
        }.items():
            for name, data in inputs.items():
                with system.open_output_stream(f"bench/{name}") as file:
                    file.write(data)
            prefix = next(iter(inputs)).partition("/")[0]
            counts.clear()
            command = [
                sys.executable, "-m", "dirty_seg.fleet", "detect", f"s3://bench/{prefix}{options}",
                "--output", f"s3://bench/run-{prefix}{options}", "--unit-frames", str(unit),
                "--model", str(ROOT / "models/dirt-seg.onnx"),
                "--config", str(ROOT / "models/demo.yaml"), "--workers", "1",
            ]  # fmt: skip
            subprocess.run(
                command, check=True, stderr=subprocess.DEVNULL, env=os.environ | bench.waiting()
            )
            _print_requests(kind, counts)
            found[kind] = _sums(counts, count)
    return found


_Counts = Counter[tuple[str, str]]  # method, and whether of input or output


def _print_requests(kind: str, counts: _Counts) -> None:
    text = ", ".join(f"{n} {method} of {what}" for (method, what), n in sorted(counts.items()))
    print(f"  {kind}: {text}")


def _sums(counts: _Counts, frames: int) -> Facts:
    inputs = sum(n for (_, what), n in counts.items() if what == "input")
    outputs = sum(n for (_, what), n in counts.items() if what == "output")
    return {"a_frame": inputs / frames, "a_unit": outputs / 4}


@contextlib.contextmanager
def _counting_store() -> Iterator[tuple[str, _Counts]]:
    """An S3 server on the loopback; what follows a key in a URI, and what was asked of it."""
    from moto.server import DomainDispatcherApplication, create_backend_app
    from werkzeug.serving import make_server

    os.environ |= {"AWS_ACCESS_KEY_ID": "testing", "AWS_SECRET_ACCESS_KEY": "testing"}
    logging.getLogger("werkzeug").setLevel(logging.ERROR)
    answer = DomainDispatcherApplication(create_backend_app)
    counts: _Counts = Counter()
    lock = threading.Lock()

    def count(environment: dict[str, Any], start: Any) -> Any:
        asked = environment["PATH_INFO"] + environment.get("QUERY_STRING", "")
        with lock:
            what = "output" if "run-" in asked else "input"
            counts[environment["REQUEST_METHOD"], what] += 1
        return answer(environment, start)

    server = make_server("127.0.0.1", 0, count, threaded=True)
    threading.Thread(target=server.serve_forever, daemon=True).start()
    yield f"?scheme=http&endpoint_override=127.0.0.1:{server.port}&region=us-east-1", counts
    server.shutdown()


# ---- On paper -----------------------------------------------------------------------------------


def on_paper(frame: Facts, unit: Facts, asked: dict[str, Facts]) -> None:
    """A million frames in units of 250, from what was measured."""
    frames, units = 10**6, 4000
    print("\nA million frames, 4,000 units of 250, on paper")
    print(f"  workers: {frames * frame['frame'] / 3600:.1f} core-hours")
    driver = units * (unit["driver_processor"] + unit["services_processor"])
    print(f"  driver and Ray's services: {driver / 60:.1f} core-minutes")
    print(f"  driver's memory for them: {units * unit['driver_peak'] / MIB:.0f} MiB")
    print(f"  dataset: {frames * frame['bytes'] / 1e9:.1f} GB")
    for kind, facts in asked.items():
        total = frames * facts["a_frame"] + units * facts["a_unit"]
        print(f"  requests, from {kind}: {total / 1e6:.2f} million")


def main() -> None:
    """Prints all tables."""
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0] if __doc__ else "")
    parser.add_argument("--smoke", action="store_true", help="few frames, to see that all runs")
    parser.add_argument("program", type=Path, metavar="PROGRAM")
    parser.add_argument("frames", type=Path, metavar="FRAMES")
    parser.add_argument("scratch", type=Path, metavar="SCRATCH")
    options = parser.parse_args()
    frames = sorted(path.resolve() for path in options.frames.glob("*.jpg"))
    if not frames:
        parser.error(f"'{options.frames}' has no .jpg files; expected frames")
    shutil.rmtree(options.scratch, ignore_errors=True)
    options.scratch.mkdir(parents=True)
    sizes = SMOKE if options.smoke else WHOLE
    bench = Bench(options.program.resolve(), frames, options.scratch.resolve(), sizes)
    frame = against_the_program(bench)
    unit = growth(bench)
    nodes(bench)
    asked = requests(bench)
    on_paper(frame, unit, asked)


if __name__ == "__main__":
    main()
