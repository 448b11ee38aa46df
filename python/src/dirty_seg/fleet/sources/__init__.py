"""Frames of pictures, videos and robots' logs."""

from dirty_seg.fleet.sources.pictures import decoder_version
from dirty_seg.fleet.sources.reading import find_streams, read_frames
from dirty_seg.fleet.sources.stream import Frame, SourceError, Stream

__all__ = [
    "Frame",
    "SourceError",
    "Stream",
    "decoder_version",
    "find_streams",
    "read_frames",
]
