"""Inputs to streams, and a stream to its frames."""

from __future__ import annotations

import itertools
import os
from collections.abc import Iterator, Sequence
from typing import Any

from dirty_seg.fleet.again import is_of_store
from dirty_seg.fleet.sources import files, pictures
from dirty_seg.fleet.sources.files import File
from dirty_seg.fleet.sources.logs import Bag, Damage, McapLog, Message, Topic, bag_size
from dirty_seg.fleet.sources.messages import decoder_of, refusal
from dirty_seg.fleet.sources.stream import Frame, PictureError, SourceError, Stream, Times

_VIDEOS = frozenset(".avi .mp4 .mkv .mov .m4v .webm .mpg .mpeg".split())
# Some containers have no number of frames, only a duration, which is rounded or that of the sound:
# up to this share missing does not count as cut short, here and in the host program.
_COUNT_TOLERANCE = 0.02
_KINDS = "pictures, videos, .mcap logs, .bag files and folders of ROS 2 bags"


def find_streams(
    inputs: Sequence[str], topics: Sequence[str] = ()
) -> tuple[list[Stream], list[SourceError]]:
    """Streams of files, folders, patterns and S3 prefixes, in their order, and what was refused.

    Args:
        inputs: As given on the command line.
        topics: Those of logs that are read; none: all whose messages are pictures.
    """
    names, errors = files.expand(inputs)
    streams: list[Stream] = []
    asked = set(inputs)
    for name, file in names.items():
        try:
            for found in _streams_of(name, file, topics, name in asked):
                if isinstance(found, SourceError):
                    errors.append(found)
                else:
                    streams.append(found)
        except SourceError as error:
            errors.append(error)
    return streams, errors


def read_frames(stream: Stream, first: int = 0, count: int | None = None) -> Iterator[Frame]:
    """Frames of a stream from ``first`` on, ``count`` of them or all; one is in memory at a time.

    What is wrong with a frame is in its ``error``. A damaged log has one more frame than can be
    read, which tells of the damage.

    Raises:
        OSError: an object store does not answer.
    """
    readers = {"picture": _picture, "video": _video}
    frames = readers.get(stream.kind, _log)(stream, first)
    yield from itertools.islice(frames, count)


def _streams_of(
    name: str, known: File | None, topics: Sequence[str], is_asked: bool
) -> Iterator[Stream | SourceError]:
    if not files.is_uri(name) and os.path.isdir(name):
        bag = Bag(name, "bag2")
        yield from _topics(name, "bag2", *bag_size(name), bag.topics(), topics)
        return
    file = known or files.file_of(name)
    if file.suffix in pictures.SUFFIXES:
        yield Stream(name, "picture", "", "", "", file.version, 1)
    elif file.suffix in _VIDEOS:
        yield Stream(name, "video", "", "", "", file.version, max(_video_length(file), 1))
    elif file.suffix == ".mcap":
        yield from _topics(name, "mcap", file.size, file.version, McapLog(file).topics(), topics)
    elif file.suffix == ".bag":
        bag = Bag(file.local(), "bag1")
        yield from _topics(name, "bag1", file.size, file.version, bag.topics(), topics)
    elif is_asked:
        yield SourceError(f"'{name}' is of no kind that is read; expected {_KINDS}")


def _topics(
    name: str, kind: str, size: int, version: str, there: Sequence[Topic], asked: Sequence[str]
) -> Iterator[Stream | SourceError]:
    known = {topic.name: topic for topic in there}
    named = ", ".join(f"'{topic.name}' ({topic.type_name})" for topic in there) or "none"
    chosen = [topic for topic in there if not asked and _is_picture(topic)]
    for wanted in asked:
        if wanted not in known:
            yield SourceError(f"'{name}' has no topic '{wanted}'; it has {named}")
        elif not _is_picture(known[wanted]):
            topic = known[wanted]
            reason = refusal(topic.type_name, topic.encoding)
            yield SourceError(f"'{name}' topic '{wanted}' {reason}")
        else:
            chosen.append(known[wanted])
    if not asked and not chosen:
        yield SourceError(f"'{name}' has no topic of pictures; it has {named}")
    for topic in chosen:
        count = _plausible(topic.messages, size)
        yield Stream(name, kind, topic.name, topic.type_name, topic.encoding, version, count)


def _plausible(told: float, size: int) -> int:
    """Frames that a file of ``size`` bytes may have: what a damaged one tells must not become
    units without end. Should there be more, its last unit has them."""
    return int(min(max(0, told), size))  # in this order 0 for no number


def _is_picture(topic: Topic) -> bool:
    return decoder_of(topic.type_name, topic.encoding) is not None


def _picture(stream: Stream, first: int) -> Iterator[Frame]:
    if first > 0:
        return
    try:
        with files.file_of(stream.source).open() as file:
            yield Frame(0, Times(), pictures.decode(file.read()))
    except PictureError as error:
        yield Frame(0, Times(), None, f"'{stream.source}' {error}")
    except SourceError as error:
        yield Frame(0, Times(), None, str(error))
    except OSError as error:
        if is_of_store(error):
            raise
        yield Frame(0, Times(), None, f"'{stream.source}' cannot be read: {error.strerror}")


def _lost(stream: Stream, first: int, error: str) -> Iterator[Frame]:
    """Each of a file that was there when its frames were counted; one of a file with none."""
    for ordinal in range(first, max(stream.frames, 1)):
        yield Frame(ordinal, Times(), None, error)


def _video_length(file: File) -> int:
    cv2 = pictures.opencv()
    video = cv2.VideoCapture(file.local())
    told = video.get(cv2.CAP_PROP_FRAME_COUNT) if video.isOpened() else 0
    video.release()
    return _plausible(told, file.size)


def _video(stream: Stream, first: int) -> Iterator[Frame]:
    ordinal, video = _opened_video(stream, first)
    if not video.isOpened():
        yield from _lost(stream, first, f"'{stream.source}' cannot be opened as a video")
        return
    while ordinal < first:  # seeking goes to another frame in some formats
        if not video.grab():
            return  # who reads what is before tells why
        ordinal += 1
    while True:
        is_there, picture = video.read()
        if not is_there:
            yield from _video_end(stream, ordinal)
            return
        ordinal += 1
        try:
            yield Frame(ordinal - 1, Times(), picture)
        except GeneratorExit:
            _left_video[:] = [(stream, ordinal, video)]
            raise


def _video_end(stream: Stream, ordinal: int) -> Iterator[Frame]:
    """A frame that tells where one was expected and the video ended."""
    if ordinal == 0:
        yield Frame(0, Times(), None, f"'{stream.source}' gives no frame that can be read")
    elif stream.frames - ordinal > _COUNT_TOLERANCE * stream.frames:
        error = f"ends after {ordinal} of {stream.frames} frames; it is cut short or damaged"
        yield Frame(ordinal, Times(), None, f"'{stream.source}' {error}")


#: The newest that was left, and the frame it is at: a worker's next unit is often of the same one.
_left_video: list[tuple[Stream, int, Any]] = []


def _opened_video(stream: Stream, first: int) -> tuple[int, Any]:
    """A video at its frame ``first`` or before."""
    for left, ordinal, video in _left_video:
        if left == stream and ordinal <= first:
            _left_video.clear()
            return ordinal, video
    return 0, pictures.opencv().VideoCapture(stream.source)


def _log(stream: Stream, first: int) -> Iterator[Frame]:
    ordinal = first
    place = f"'{stream.source}' topic '{stream.topic}'"
    decoder = decoder_of(stream.type_name, stream.encoding)
    try:
        log: McapLog | Bag = (
            McapLog(files.file_of(stream.source))
            if stream.kind == "mcap"
            else Bag(stream.source, stream.kind)
        )
        for message in log.messages(stream.topic, first):
            times = Times(message.log_time, message.publish_time)
            yield _decoded(ordinal, times, message, decoder, place)
            ordinal += 1
    except Damage as error:
        yield Frame(ordinal, Times(), None, f"{place} after message {ordinal}: {error}")
    except SourceError as error:
        yield from _lost(stream, first, str(error))


def _decoded(ordinal: int, times: Times, message: Message, decoder: Any, place: str) -> Frame:
    try:
        if message.error:
            raise PictureError(message.error)
        picture, header = decoder(message.data)
    except PictureError as error:
        return Frame(ordinal, times, None, f"{place} message {ordinal} {error}")
    return Frame(ordinal, Times(times.log, times.publish, header), picture)
