"""Pieces of work: the same ones for the same inputs, whoever cuts them."""

from __future__ import annotations

import dataclasses
import hashlib
import json
from collections.abc import Iterable, Iterator
from typing import Any

from dirty_seg.fleet.sources import Frame, Stream, read_frames

_LEAST, _MOST = 25, 250  # frames of a unit: seconds to half a minute of work for one thread
_UNITS = 32  # that a small run has at least, so that several workers end together


def usual_frames(streams: Iterable[Stream]) -> int:
    """Frames of a unit, by the inputs alone, so that the same command has the same units."""
    frames = sum(stream.frames for stream in streams)
    return min(max(frames // _UNITS, _LEAST), _MOST)


@dataclasses.dataclass(frozen=True)
class Part:
    """Frames of a stream, one after the other."""

    stream: Stream
    first: int
    #: None: to the stream's end, however many there are.
    count: int | None

    @property
    def expected(self) -> int:
        """How many there are, as far as the stream knows."""
        return self.stream.frames - self.first if self.count is None else self.count

    def frames(self) -> Iterator[Frame]:
        """Those that can be read, and why others cannot."""
        return read_frames(self.stream, self.first, self.count)


@dataclasses.dataclass(frozen=True)
class Unit:
    """What one worker does and publishes at a time."""

    parts: tuple[Part, ...]

    @property
    def expected(self) -> int:
        """How many frames it has, as far as the streams know."""
        return sum(part.expected for part in self.parts)

    @property
    def name(self) -> str:
        """Made of what it is of: 32 hexadecimal digits."""
        return hashlib.sha256(self.to_json().encode()).hexdigest()[:32]

    def to_json(self) -> str:
        """One line."""
        return json.dumps(dataclasses.asdict(self), sort_keys=True, ensure_ascii=True)

    @staticmethod
    def from_json(text: str) -> Unit:
        """What ``to_json`` gave."""
        return Unit(tuple(_part(entry) for entry in json.loads(text)["parts"]))


def cut(streams: Iterable[Stream], frames: int) -> list[Unit]:
    """Units of so many frames at most; short streams one after the other share one.

    Each unit has whole streams, or a part of a single one. The last part of a stream goes to its
    end, so that what a damaged log or a video has beyond its own count is read, too.
    """
    units: list[Unit] = []
    gathered: list[Part] = []
    room = frames
    for stream in streams:
        if stream.frames > room and gathered:
            units.append(Unit(tuple(gathered)))
            gathered, room = [], frames
        if stream.frames > frames:
            units += [Unit((part,)) for part in _parts(stream, frames)]
        else:
            gathered.append(Part(stream, 0, None))
            room -= stream.frames
    if gathered:
        units.append(Unit(tuple(gathered)))
    return units


def _parts(stream: Stream, frames: int) -> Iterator[Part]:
    for first in range(0, stream.frames, frames):
        is_last = first + frames >= stream.frames
        yield Part(stream, first, None if is_last else frames)


def _part(entry: dict[str, Any]) -> Part:
    return Part(Stream(**entry["stream"]), entry["first"], entry["count"])
