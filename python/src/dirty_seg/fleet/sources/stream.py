"""What sources have: streams, and the frames of a stream."""

from __future__ import annotations

import dataclasses

import numpy as np
import numpy.typing as npt

ByteArray = npt.NDArray[np.uint8]


class SourceError(Exception):
    """A file, or a topic of it, cannot be read at all. Names it, and what would be right."""


class PictureError(Exception):
    """The bytes of one frame are no picture that can be decoded."""


@dataclasses.dataclass(frozen=True)
class Stream:
    """Frames with one identity: a picture, a video, or a topic of a log."""

    #: Path or URI of the file.
    source: str
    #: "picture", "video", "mcap", "bag1" or "bag2".
    kind: str
    #: Of a log; "" otherwise.
    topic: str
    #: Type and encoding of a log's messages, as "sensor_msgs/msg/Image" and "cdr"; "" otherwise.
    type_name: str
    encoding: str
    #: Another one once the file is: its size and modification time.
    version: str
    #: How many there are; of a damaged log, those before the damage.
    frames: int


@dataclasses.dataclass(frozen=True)
class Times:
    """Of a message, in nanoseconds since 1970; None where the log has none."""

    log: int | None = None
    publish: int | None = None
    header: int | None = None


@dataclasses.dataclass(frozen=True)
class Frame:
    """A frame, or why there is none."""

    #: Place in its stream, from 0.
    ordinal: int
    times: Times
    #: uint8 [height, width, 3] in B, G, R order; None with an error.
    picture: ByteArray | None
    #: "", or what is wrong, where.
    error: str = ""
