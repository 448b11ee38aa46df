"""A unit's frames to its published rows."""

from __future__ import annotations

import contextlib
import ctypes
import dataclasses
import itertools
import json
import os
import signal
import subprocess
import sys
import time
from collections.abc import Callable, Iterator
from typing import Any

from dirty_seg import Detector, FrameError
from dirty_seg.fleet.again import again
from dirty_seg.fleet.dataset import Output
from dirty_seg.fleet.rows import Row, row_of
from dirty_seg.fleet.settings import Settings, SettingsError, differences
from dirty_seg.fleet.sources import Frame, Stream
from dirty_seg.fleet.sources.stream import Times
from dirty_seg.fleet.units import Part, Unit

#: A unit that one driver's workers began so often without an end has a frame that kills them.
MOST_ATTEMPTS = 3
#: Seconds for a frame by itself, its network's loading included.
ALONE_SECONDS = 300
_ENDED_WORKER = "ended the worker's process even by itself: memory may be lacking"
_PR_SET_PDEATHSIG = 1  # of prctl(2)

Detect = Callable[[Any], Any]


@dataclasses.dataclass(frozen=True)
class Receipt:
    """All that goes back to the driver."""

    unit: str
    frames: int
    failed: int
    bytes: int
    seconds: float
    #: "", or why the unit is not published: the run ends.
    error: str = ""


@dataclasses.dataclass(frozen=True)
class Job:
    """What all units of a run have in common."""

    output: str
    settings: Settings
    #: Of the driver's settings.
    identity: dict[str, Any]
    #: The driver's, which names of files are relative to.
    folder: str
    #: Of the driver's process: another one each time.
    run: str

    def to_json(self) -> str:
        """One line."""
        return json.dumps(dataclasses.asdict(self))

    @staticmethod
    def from_json(text: str) -> Job:
        """What ``to_json`` gave."""
        content = json.loads(text)
        content["settings"] = Settings.from_json(json.dumps(content["settings"]))
        return Job(**content)


class Worker:
    """An actor of the pool: one detector, unit after unit."""

    def __init__(self, job: str) -> None:
        """Of a Job as JSON."""
        self._job = Job.from_json(job)
        if os.path.isdir(self._job.folder):
            os.chdir(self._job.folder)
        self._output = Output(self._job.output)
        self._detector: Detector | None = None

    def __call__(self, batch: dict[str, Any]) -> dict[str, list[Any]]:
        """Receipts of a batch of units."""
        receipts = [dataclasses.asdict(self._receipt(Unit.from_json(u))) for u in batch["unit"]]
        return {name: [entry[name] for entry in receipts] for name in receipts[0]}

    def _receipt(self, unit: Unit) -> Receipt:
        try:
            return self._do(unit)
        except Exception as error:  # Ray would keep its kind and words to itself
            return Receipt(unit.name, 0, 0, 0, 0.0, f"{type(error).__name__}: {error}")

    def _do(self, unit: Unit) -> Receipt:
        begin = time.monotonic()
        if self._output.is_published(unit.name):  # by a worker that was killed right after
            return Receipt(unit.name, 0, 0, 0, 0.0)
        attempts = self._output.mark(unit.name, self._job.run)
        rows = again(lambda: self._rows(unit, attempts))
        size = self._output.publish(unit.name, rows)
        self._output.clear_marks(unit.name)
        failed = sum(1 for row in rows if row["error"])
        return Receipt(unit.name, len(rows), failed, size, time.monotonic() - begin)

    def _rows(self, unit: Unit, attempts: int) -> list[Row]:
        if attempts < MOST_ATTEMPTS:
            return list(rows_of(unit, self._detect))
        return list(rows_alone(unit, self._job.settings, self._output, self._job.run))

    def _detect(self, picture: Any) -> Any:
        if self._detector is None:
            self._check_files()
            self._detector = self._job.settings.detector()
        return self._detector(picture)

    def _check_files(self) -> None:
        other = differences(self._job.settings.identity(), self._job.identity)
        if other:
            raise SettingsError(f"this worker has {'; '.join(other)}; expected the driver's files")


def rows_of(unit: Unit, detect: Detect) -> Iterator[Row]:
    """A row a frame."""
    for part in unit.parts:
        for frame in part.frames():
            yield _row(part.stream, frame, detect)


def _row(stream: Stream, frame: Frame, detect: Detect) -> Row:
    if frame.picture is None:
        return row_of(stream, frame, None)
    try:
        return row_of(stream, frame, detect(frame.picture))
    except (FrameError, ValueError) as error:
        return row_of(stream, frame, None, f"the detector failed: {error}")
    except MemoryError:
        return row_of(stream, frame, None, "the detector failed: out of memory")


# ---- Frames that end their process --------------------------------------------------------------


def rows_alone(unit: Unit, settings: Settings, output: Output, run: str) -> Iterator[Row]:
    """The same, each frame in a process of its own; one that ends it becomes a row that says so.

    Each has marks, too: where a frame takes more memory than there is, the worker may be what is
    ended for it.
    """
    numbers = itertools.count()
    for part in unit.parts:
        indexes = itertools.count() if part.count is None else range(part.count)
        for index in indexes:
            single = dataclasses.replace(part, first=part.first + index, count=1)
            is_counted = index < part.expected  # else the stream may have ended before
            place = f"{unit.name}/{next(numbers)}"
            if output.mark(place, run) < MOST_ATTEMPTS:
                rows, is_last = _rows_and_end(single, is_counted, settings)
                output.clear_marks(place)
            else:
                rows = [_failed(single, _ENDED_WORKER)]
                is_last = not is_counted
            yield from rows
            if is_last:
                break


def _rows_and_end(part: Part, is_counted: bool, settings: Settings) -> tuple[list[Row], bool]:
    """The row of a part of one frame, if there is one, and whether its stream ends here."""
    try:
        rows = _alone(part, settings)
        return rows, not rows
    except _Ended as error:
        is_there, is_last = (True, False) if is_counted else _look(part)
        return [_failed(part, str(error))] if is_there else [], is_last


def _look(part: Part) -> tuple[bool, bool]:
    """Whether there is a frame, and whether nothing behind it can be read."""
    try:
        is_there = bool(_alone(part, None))
    except _Ended:  # reading it is what ends the process
        return True, True
    return is_there, not is_there


def _failed(part: Part, error: str) -> Row:
    return row_of(part.stream, Frame(part.first, Times(), None), None, error)


class _Ended(Exception):
    """A process ended without a row."""


def _alone(part: Part, settings: Settings | None) -> list[Row]:
    """The row of a part of one frame; none beyond the end of its stream. Without settings the
    frame is only read."""
    task = {
        "unit": Unit((part,)).to_json(),
        "settings": None if settings is None else settings.to_json(),
    }
    try:
        done = subprocess.run(
            [sys.executable, "-m", "dirty_seg.fleet.worker"],
            input=json.dumps(task),
            capture_output=True,
            text=True,
            timeout=ALONE_SECONDS,
            check=False,
            env={**os.environ, "PYTHONPATH": os.pathsep.join(filter(None, sys.path))},
        )
    except subprocess.TimeoutExpired as error:
        raise _Ended(f"the detector's process took more than {ALONE_SECONDS} s") from error
    if done.returncode == 0:
        rows: list[Row] = json.loads(done.stdout)
        for row in rows if settings is not None else []:
            for name in ("label_names", "non_finite", "stage_ms"):  # JSON has no tuples
                if row.get(name) is not None:
                    row[name] = [tuple(pair) for pair in row[name]]
        return rows
    if done.returncode < 0:
        raise _Ended(f"ended the detector's process by {_signal(-done.returncode)}")
    last = done.stderr.strip().splitlines()[-1:] or ["without a word"]
    raise _Ended(f"ended the detector's process with {done.returncode}: {last[0][:200]}")


def _signal(number: int) -> str:
    try:
        return signal.Signals(number).name
    except ValueError:  # one without a name
        return f"signal {number}"


def _end_before_the_worker() -> None:
    """With it, if it is killed; and before it, where memory is lacking."""
    ctypes.CDLL(None).prctl(_PR_SET_PDEATHSIG, signal.SIGKILL)
    with contextlib.suppress(OSError), open("/proc/self/oom_score_adj", "w") as file:
        file.write("1000")


def _main() -> None:
    _end_before_the_worker()
    task = json.load(sys.stdin)
    unit = Unit.from_json(task["unit"])
    if task["settings"] is None:
        json.dump([frame.ordinal for part in unit.parts for frame in part.frames()], sys.stdout)
        return
    detector = Settings.from_json(task["settings"]).detector()
    json.dump(list(rows_of(unit, detector)), sys.stdout)


if __name__ == "__main__":
    _main()
