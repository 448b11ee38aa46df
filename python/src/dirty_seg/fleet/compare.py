"""What another network sees otherwise: two runs over the same frames."""

from __future__ import annotations

import dataclasses
import heapq
from collections import Counter, defaultdict
from collections.abc import Iterator, Mapping, Sequence
from typing import Any

import numpy as np

from dirty_seg.fleet.dataset import Output, OutputError
from dirty_seg.fleet.rows import Key, Row, key_of
from dirty_seg.fleet.schema import KEY

#: Boxes of two things that are one have at least this overlap.
LEAST_OVERLAP = 0.5
#: Corners of a thing that has not moved are at most so many pixels apart.
MAX_BOX_DISTANCE = 2.0
#: What a thing can have done from one run to the other.
CHANGES = ("appeared", "vanished", "moved", "relabelled")
#: That are in memory at a time, of each run.
MOST_FRAMES = 10_000
_RESAMPLES = 1000
_COLUMNS = [*KEY, "error", "things", "label_names"]


@dataclasses.dataclass(frozen=True)
class Rate:
    """Per frame, with the 95 % interval of drawing frames anew."""

    count: int
    mean: float
    low: float
    high: float


@dataclasses.dataclass(frozen=True)
class LabelChange:
    """Of one label; of a thing that changed it, the first run's."""

    label: int
    name: str
    in_a: int
    in_b: int
    appeared: Rate
    vanished: Rate
    moved: Rate
    relabelled: Rate


@dataclasses.dataclass(frozen=True)
class FrameChange:
    """A frame that differs."""

    source: str
    topic: str
    ordinal: int
    appeared: int
    vanished: int
    moved: int
    relabelled: int

    @property
    def key(self) -> Key:
        """Which frame it is."""
        return self.source, self.topic, self.ordinal

    @property
    def weight(self) -> tuple[int, int]:
        """How much it differs: things that are not in both alike, then those that moved."""
        return self.appeared + self.vanished + self.relabelled, self.moved


@dataclasses.dataclass(frozen=True)
class Comparison:
    """Run A against run B."""

    #: Frames of both that failed in neither; only they are compared.
    frames: int
    only_in_a: int
    only_in_b: int
    failed_in_a: int
    failed_in_b: int
    changed: int
    labels: tuple[LabelChange, ...]
    #: Those that differ most, first the most.
    most_changed: tuple[FrameChange, ...]

    def to_dict(self) -> dict[str, Any]:
        """The same as JSON has it."""
        return dataclasses.asdict(self)

    def __str__(self) -> str:
        lines = [
            f"{self.frames} frames of both, {self.changed} of which differ; only in A "
            f"{self.only_in_a}, only in B {self.only_in_b}; failed in A {self.failed_in_a}, in B "
            f"{self.failed_in_b}"
        ]
        if self.labels:
            width = max(len(label.name) for label in self.labels)
            head = "".join(f"  {name + ' a frame':22}" for name in CHANGES)
            lines.append(f"{'label':{width}}  {'in A':>7}  {'in B':>7}{head}".rstrip())
            for label in self.labels:
                cells = "".join(f"  {_cell(getattr(label, name)):22}" for name in CHANGES)
                text = f"{label.name:{width}}  {label.in_a:7}  {label.in_b:7}{cells}"
                lines.append(text.rstrip())
        for frame in self.most_changed:
            counts = ", ".join(f"{getattr(frame, n)} {n}" for n in CHANGES if getattr(frame, n))
            topic = f" {frame.topic}" if frame.topic else ""
            lines.append(f"{frame.source}{topic} frame {frame.ordinal}: {counts}")
        return "\n".join(lines)


def compare(a: Output, b: Output, most: int = 20, seed: int = 0) -> Comparison:
    """Matches frames by file, topic and place in it, and things by their boxes.

    Things of one frame are paired by overlap, the largest first, at first those of one label: a
    thing without a partner has appeared or vanished, one whose partner has another label was
    relabelled, one whose corners are more than two pixels away has moved.

    Args:
        a: The first run.
        b: The other one.
        most: How many of the frames that differ most are told.
        seed: Of the intervals' draws.

    Raises:
        OutputError: one is no run, or they have no frame in common.
    """
    for output in (a, b):
        if output.read("run.json") is None:
            raise OutputError(f"'{output.uri}' has no run.json; expected the output of detect")
    tally = _Tally(most)
    for rows_a, rows_b in _shared(a, b):
        tally.add(rows_a, rows_b)
    if tally.frames == 0 and not (tally.failed_in_a or tally.failed_in_b):
        raise OutputError(
            f"'{a.uri}' and '{b.uri}' have no frame in common; expected runs over the same inputs"
        )
    return tally.comparison(seed)


def _shared(a: Output, b: Output) -> Iterator[tuple[list[Row], list[Row]]]:
    """Rows of both, some at a time: units of one name have the same frames, others share files."""
    in_a, in_b = a.published(), b.published()
    for unit in sorted(in_a & in_b):
        yield a.unit_rows([unit], _COLUMNS), b.unit_rows([unit], _COLUMNS)
    only_a, only_b = sorted(in_a - in_b), sorted(in_b - in_a)
    frames = Counter(a.frames_by_source(only_a)) | Counter(b.frames_by_source(only_b))
    for sources in _groups(frames):
        yield a.unit_rows(only_a, _COLUMNS, sources), b.unit_rows(only_b, _COLUMNS, sources)


def _groups(frames: Mapping[str, int]) -> Iterator[list[str]]:
    """Files that together have as many frames as may be in memory; a larger one by itself."""
    group: list[str] = []
    count = 0
    for source in sorted(frames):
        if group and count + frames[source] > MOST_FRAMES:
            yield group
            group, count = [], 0
        group.append(source)
        count += frames[source]
    if group:
        yield group


class _Tally:
    def __init__(self, most: int) -> None:
        self._most = most
        self.frames = self.only_in_a = self.only_in_b = 0
        self.failed_in_a = self.failed_in_b = self.changed = 0
        self._names: dict[int, str] = {}
        self._in_a: Counter[int] = Counter()
        self._in_b: Counter[int] = Counter()
        # By change and label: in how many frames it happened once, twice, ...
        self._times: dict[tuple[str, int], Counter[int]] = defaultdict(Counter)
        self._most_changed: list[tuple[tuple[int, int], int, FrameChange]] = []  # a heap

    def add(self, rows_a: list[Row], rows_b: list[Row]) -> None:
        others = {key_of(row): row for row in rows_b}
        for row in rows_a:
            other = others.pop(key_of(row), None)
            if other is None:
                self.only_in_a += 1
            else:
                self._add_frame(row, other)
        self.only_in_b += len(others)

    def _add_frame(self, a: Row, b: Row) -> None:
        self.failed_in_a += bool(a["error"])
        self.failed_in_b += bool(b["error"])
        if a["error"] or b["error"]:
            return
        self.frames += 1
        for row, counts in ((a, self._in_a), (b, self._in_b)):
            self._names |= dict(row["label_names"] or [])
            counts.update(thing["label"] for thing in row["things"])
        found = _changes(a["things"], b["things"])
        totals: Counter[str] = Counter()
        for (change, label), count in found.items():
            self._times[change, label][count] += 1
            totals[change] += count
        if found:
            self.changed += 1
            frame = FrameChange(*key_of(a), *(totals[name] for name in CHANGES))
            heapq.heappush(self._most_changed, (frame.weight, -self.frames, frame))
            if len(self._most_changed) > self._most:
                heapq.heappop(self._most_changed)

    def comparison(self, seed: int) -> Comparison:
        rng = np.random.default_rng(seed)
        return Comparison(
            self.frames,
            self.only_in_a,
            self.only_in_b,
            self.failed_in_a,
            self.failed_in_b,
            self.changed,
            tuple(
                LabelChange(
                    label,
                    self._names.get(label, f"class {label}"),
                    self._in_a[label],
                    self._in_b[label],
                    *(_rate(self._times[name, label], self.frames, rng) for name in CHANGES),
                )
                for label in sorted(self._in_a.keys() | self._in_b.keys())
            ),
            tuple(entry[2] for entry in sorted(self._most_changed, reverse=True)),
        )


def _changes(a: Sequence[Any], b: Sequence[Any]) -> Counter[tuple[str, int]]:
    """How often each change happened to things of each label."""
    found: Counter[tuple[str, int]] = Counter()
    left_a, left_b = set(range(len(a))), set(range(len(b)))
    for i, j in _pairs(a, b, True, left_a, left_b):
        if _distance(a[i]["box"], b[j]["box"]) > MAX_BOX_DISTANCE:
            found["moved", a[i]["label"]] += 1
    for i, _ in _pairs(a, b, False, left_a, left_b):
        found["relabelled", a[i]["label"]] += 1
    found.update(("vanished", a[i]["label"]) for i in left_a)
    found.update(("appeared", b[j]["label"]) for j in left_b)
    return found


def _pairs(
    a: Sequence[Any], b: Sequence[Any], same_label: bool, left_a: set[int], left_b: set[int]
) -> list[tuple[int, int]]:
    """Takes pairs out of what is left, those that overlap most first."""
    overlaps = sorted(
        (-overlap, i, j)
        for i in left_a
        for j in left_b
        if (a[i]["label"] == b[j]["label"]) == same_label
        and (overlap := _overlap(a[i]["box"], b[j]["box"])) >= LEAST_OVERLAP
    )
    pairs = []
    for _, i, j in overlaps:
        if i in left_a and j in left_b:
            left_a.remove(i)
            left_b.remove(j)
            pairs.append((i, j))
    return pairs


def _overlap(one: Sequence[float], other: Sequence[float]) -> float:
    width = min(one[2], other[2]) - max(one[0], other[0])
    height = min(one[3], other[3]) - max(one[1], other[1])
    shared = max(width, 0.0) * max(height, 0.0)
    areas = sum((box[2] - box[0]) * (box[3] - box[1]) for box in (one, other))
    return float(shared / max(areas - shared, 1e-9))


def _distance(one: Sequence[float], other: Sequence[float]) -> float:
    return max(abs(p - q) for p, q in zip(one, other, strict=True))


def _rate(times: Counter[int], frames: int, rng: np.random.Generator) -> Rate:
    """A frame's mean depends only on how many frames have which count, so these are drawn."""
    counts = np.array([0, *times], float)
    having = np.array([frames - sum(times.values()), *times.values()], float)
    total = int(counts @ having)
    if total == 0:
        return Rate(0, 0.0, 0.0, 0.0)
    drawn = rng.multinomial(frames, having / frames, _RESAMPLES) @ counts / frames
    low, high = np.quantile(drawn, [0.025, 0.975])
    return Rate(total, total / frames, float(low), float(high))


def _cell(rate: Rate) -> str:
    return f"{rate.mean:.3f} [{rate.low:.3f}, {rate.high:.3f}]" if rate.count else "0"
