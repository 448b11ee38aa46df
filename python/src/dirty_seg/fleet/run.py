"""The driver: inputs to a dataset of their frames, by Ray Data."""

from __future__ import annotations

import contextlib
import dataclasses
import hashlib
import logging
import os
import signal
import sys
import threading
import time
import uuid
from collections import Counter
from collections.abc import Iterator, Sequence
from typing import IO, Any

from dirty_seg.fleet import units
from dirty_seg.fleet.dataset import Output, OutputError
from dirty_seg.fleet.needs import need
from dirty_seg.fleet.settings import Settings, differences
from dirty_seg.fleet.sources import SourceError, find_streams
from dirty_seg.fleet.units import Unit
from dirty_seg.fleet.worker import ALONE_SECONDS, Job, Worker

_OBJECT_STORE = 100 * 2**20  # bytes; receipts are all that is in it
_KEPT = "what is published stays, and the same command goes on"
_MOST_BLOCKS = 1000  # Ray Data keeps statistics of each


class RunError(Exception):
    """A worker failed in a way that doing it again does not mend, such as a full disk."""


@dataclasses.dataclass(frozen=True)
class Plan:
    """What a run does and where."""

    inputs: tuple[str, ...]
    topics: tuple[str, ...]
    output: str
    settings: Settings
    #: "auto" or HOST:PORT of a cluster; None starts Ray in this process.
    address: str | None = None
    workers: int = 1
    #: Of a unit; None: by the number of frames.
    unit_frames: int | None = None


@dataclasses.dataclass(frozen=True)
class Summary:
    """What is in the output."""

    frames: int
    failed: int
    #: Things by label.
    things: dict[str, int]
    #: Inputs that were refused, and why.
    refused: tuple[str, ...]
    is_complete: bool
    #: Of this call alone: frames and seconds, Ray's start and end left out.
    new_frames: int
    seconds: float
    start_seconds: float


def detect(plan: Plan, messages: IO[str] = sys.stderr) -> Summary:
    """Runs a plan, or goes on with it; returns when all is published, or on an interrupt.

    Raises:
        SourceError: no input can be read.
        SetupError: networks or configuration cannot be used.
        OutputError: the output is another run's, or in use.
        RunError: a worker cannot go on; what is published stays.
    """
    streams, refused = find_streams(plan.inputs, plan.topics)
    for error in refused:
        print(f"dirty_seg.fleet: warning: {error}", file=messages)
    if not streams:
        raise SourceError("no input can be read; expected pictures, videos or logs")
    plan.settings.detector().close()  # what is wrong with it is told before anything starts
    unit_frames = plan.unit_frames or units.usual_frames(streams)
    work = units.cut(streams, unit_frames)
    identity = plan.settings.identity()
    output = Output(plan.output)
    with output.driven():
        _claim(output, identity, work, unit_frames)
        published = output.published()
        left = [unit for unit in work if unit.name not in published]
        progress = _Progress(sum(unit.expected for unit in left), messages)
        begin, start_seconds, seconds = time.monotonic(), 0.0, 0.0
        is_complete = True
        if left:
            with _ray(plan) as ray:
                start_seconds = time.monotonic() - begin
                begin = time.monotonic()
                try:
                    for receipt in _receipts(plan, identity, left):
                        if receipt["error"]:
                            raise RunError(f"a worker failed: {receipt['error']}; {_KEPT}")
                        progress.add(receipt)
                except KeyboardInterrupt:
                    is_complete = False
                except (
                    ray.exceptions.RayError,
                    ray.data.exceptions.ExecutionTimeoutError,
                ) as error:
                    last = str(error).strip().splitlines()[-1:] or [type(error).__name__]
                    raise RunError(f"Ray failed: {last[0]}; {_KEPT}") from error
                seconds = time.monotonic() - begin
        summary = _summary(output, refused, is_complete, progress, seconds, start_seconds)
        output.write("summary.json", dataclasses.asdict(summary))
    progress.end(is_complete)
    return summary


def _claim(output: Output, identity: dict[str, Any], work: list[Unit], frames: int) -> None:
    """Makes the output this run's, or goes on with it."""
    names = "".join(unit.name for unit in work)
    mine = {
        **identity,
        "unit_frames": frames,
        "inputs": hashlib.sha256(names.encode()).hexdigest(),
    }
    run = output.read("run.json")
    if run is None:
        if output.published():
            raise OutputError(f"'{output.uri}' has frames but no run.json; expected an empty one")
        output.write("run.json", {"identity": mine, "units": len(work), "python": sys.version})
        return
    other = differences(mine, run.get("identity", {}))
    if other:
        raise OutputError(
            f"'{output.uri}' is another run's: this one has {'; '.join(other)}; expected the same "
            "command as before, or another output"
        )


def _summary(
    output: Output,
    refused: Sequence[SourceError],
    is_complete: bool,
    progress: _Progress,
    seconds: float,
    start_seconds: float,
) -> Summary:
    things: Counter[str] = Counter()
    frames = failed = 0
    for batch in output.batches(["error", "things", "label_names"]):
        for row in batch.to_pylist():
            frames += 1
            failed += bool(row["error"])
            names = dict(row["label_names"] or [])
            for thing in row["things"] or []:
                label = thing["label"]
                things[names.get(label, f"class {label}")] += 1
    return Summary(
        frames=frames,
        failed=failed,
        things=dict(things.most_common()),
        refused=tuple(map(str, refused)),
        is_complete=is_complete,
        new_frames=progress.frames,
        seconds=round(seconds, 3),
        start_seconds=round(start_seconds, 3),
    )


# ---- Ray ----------------------------------------------------------------------------------------


@contextlib.contextmanager
def _ray(plan: Plan) -> Iterator[Any]:
    """Ray, started in this process or connected to; gone afterwards."""
    os.environ.setdefault("RAY_USAGE_STATS_ENABLED", "0")
    os.environ.setdefault("RAY_BACKEND_LOG_LEVEL", "fatal")  # what fails, Python tells
    ray = need("ray", "ray[data]")
    need("ray.data", "ray[data]")  # half a second
    quiet = {"logging_level": logging.ERROR, "log_to_driver": False}
    terminate = signal.getsignal(signal.SIGTERM)
    if plan.address is None:
        ray.init(
            "local",  # else it may join a cluster that runs here, or one that is gone
            num_cpus=plan.workers * plan.settings.threads,
            include_dashboard=False,
            object_store_memory=_OBJECT_STORE,
            **quiet,
        )
    else:
        ray.init(plan.address, **quiet)
    is_main = threading.current_thread() is threading.main_thread()
    try:
        if is_main:  # Ray has put its own in its place
            signal.signal(signal.SIGTERM, signal.default_int_handler)
        yield ray
    finally:
        ray.shutdown()
        if is_main:
            signal.signal(signal.SIGTERM, terminate)


def _receipts(plan: Plan, identity: dict[str, Any], left: list[Unit]) -> Iterator[dict[str, Any]]:
    data = need("ray.data", "ray[data]")
    context = data.DataContext.get_current()
    context.enable_progress_bars = False
    context.max_errored_blocks = 0  # a lost unit is an error, never dropped
    # Ray gives up a run that does not go on; a unit may be done frame by frame.
    context.execution_no_progress_timeout_s = max(
        context.execution_no_progress_timeout_s,
        ALONE_SECONDS * max(unit.expected for unit in left),
    )
    logging.getLogger("ray.data").setLevel(logging.ERROR)
    job = Job(plan.output, plan.settings, identity, os.getcwd(), uuid.uuid4().hex).to_json()
    receipts = data.from_items(
        [{"unit": unit.to_json()} for unit in left],
        override_num_blocks=min(len(left), _MOST_BLOCKS),
    ).map_batches(
        Worker,
        fn_constructor_args=(job,),
        compute=data.ActorPoolStrategy(size=min(plan.workers, len(left))),
        batch_size=1,
        num_cpus=plan.settings.threads,
    )
    yield from receipts.iter_rows()


# ---- What the user sees -------------------------------------------------------------------------


class _Progress:
    """A line that is written anew, on a terminal; else one now and then."""

    def __init__(self, total: int, messages: IO[str]) -> None:
        self._total = total
        self._messages = messages
        self._begin: float | None = None
        self._shown = 0.0
        self.frames = 0
        self.failed = 0

    def add(self, receipt: dict[str, Any]) -> None:
        now = time.monotonic()
        if self._begin is None:
            self._begin = now - float(receipt["seconds"])
        self.frames += int(receipt["frames"])
        self.failed += int(receipt["failed"])
        is_terminal = self._messages.isatty()
        if now - self._shown < (0.5 if is_terminal else 30.0):
            return
        self._shown = now
        rate = self.frames / max(now - self._begin, 1e-9)
        left = max(self._total - self.frames, 0) / max(rate, 1e-9)
        text = (
            f"{self.frames} of {self._total} frames, {rate:.1f} a second, "
            f"{int(left) // 60}:{int(left) % 60:02} left"
        )
        end = "\x1b[K\r" if is_terminal else "\n"
        print(f"dirty_seg.fleet: {text}", end=end, file=self._messages, flush=True)

    def end(self, is_complete: bool) -> None:
        failed = f", {self.failed} of which failed" if self.failed else ""
        frames = "1 frame" if self.frames == 1 else f"{self.frames} frames"
        ending = "" if is_complete else "; interrupted: the same command goes on"
        print(
            f"dirty_seg.fleet: {frames}{failed}{ending}",
            file=self._messages,
            flush=True,
        )
