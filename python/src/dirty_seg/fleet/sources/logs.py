"""Messages of MCAP logs and of bags of ROS 1 and 2, in the order of the file."""

from __future__ import annotations

import contextlib
import dataclasses
import itertools
import os
from collections.abc import Iterator
from typing import IO, Any

from dirty_seg.fleet.again import is_of_store
from dirty_seg.fleet.needs import need
from dirty_seg.fleet.sources.files import File
from dirty_seg.fleet.sources.stream import SourceError

# Bytes of a chunk's index of a channel: opcode, length, channel and length again; then, of each
# message, its time and place.
_INDEX_BYTES, _MESSAGE_BYTES = 15, 16
#: The last bytes of an MCAP log, and the first.
MAGIC = b"\x89MCAP0\r\n"


@dataclasses.dataclass(frozen=True)
class Topic:
    """What a log says of one of its topics."""

    name: str
    type_name: str
    encoding: str
    messages: int


def _messages(chunk: Any, channel: int) -> int:
    """How many a chunk has of a channel, by the length of its index, which ends at the next one."""
    begin = chunk.message_index_offsets.get(channel)
    if begin is None:
        return 0
    end = chunk.chunk_start_offset + chunk.chunk_length + chunk.message_index_length
    following = [place for place in chunk.message_index_offsets.values() if place > begin]
    return int((min(following, default=end) - begin - _INDEX_BYTES) // _MESSAGE_BYTES)


@dataclasses.dataclass(frozen=True)
class Message:
    """One of a topic."""

    log_time: int | None
    publish_time: int | None
    data: bytes
    #: "", or why it is lost: its chunk is damaged, and others can be read.
    error: str = ""


class Damage(Exception):
    """The log cannot be read on from here."""


class McapLog:
    """An MCAP log, read from its beginning on."""

    def __init__(self, file: File) -> None:
        self._file = file

    def topics(self) -> list[Topic]:
        """Of a damaged log, as far as it can be read."""
        with self._file.open() as stream:
            summary = self._summary(stream)
        return self._of_summary(summary) if summary is not None else self._counted()

    def messages(self, topic: str, first: int = 0) -> Iterator[Message]:
        """Those of a topic, from its ``first`` on.

        Raises:
            Damage: after those that can be read, if it is not before ``first``.
        """
        chunks = self._chunks_of(topic)
        if chunks is not None:
            yield from self._of_chunks(*chunks, first)
            return
        found = (
            Message(message.log_time, message.publish_time, message.data)
            for _, channel, message in self._read(topic)
            if channel.topic == topic
        )
        yield from _from(found, first)

    def _chunks_of(self, topic: str) -> tuple[set[int], list[tuple[int, int]]] | None:
        """Channels of the topic, and of each chunk its place and how many of the topic's messages
        it has. None where the log's indexes do not tell.

        A worker that begins in the middle of a log so reads none of what is before; nor any index,
        for the summary tells how long each is.
        """
        with self._file.open() as stream:
            summary = self._summary(stream)
        if summary is None:
            return None
        channels = {n for n, channel in summary.channels.items() if channel.topic == topic}
        counts = [
            (chunk.chunk_start_offset, sum(_messages(chunk, channel) for channel in channels))
            for chunk in sorted(summary.chunk_indexes, key=lambda c: c.chunk_start_offset)
        ]
        told = sum(summary.statistics.channel_message_counts.get(n, 0) for n in channels)
        if sum(count for _, count in counts) != told:
            return None  # some are beside the chunks
        return channels, counts

    def _of_chunks(
        self, channels: set[int], chunks: list[tuple[int, int]], first: int
    ) -> Iterator[Message]:
        """Each that the indexes tell of, whatever comes of its chunk."""
        with self._file.open() as stream:
            for offset, count in chunks:
                if first >= count:
                    first -= count
                    continue
                try:
                    found = _of_chunk(stream, offset, channels)
                    why = "is not in its chunk"
                except Damage as damage:
                    found, why = [], f"is in a chunk that {damage}"
                found += [Message(None, None, b"", why)] * (count - len(found))
                yield from found[first:count]
                first = 0

    def _summary(self, stream: Any) -> Any:
        """None unless the log is whole and says what it has."""
        reader = need("mcap.reader", "mcap")
        try:
            summary = reader.SeekingReader(stream).get_summary()
        except Exception as error:  # whatever a damaged end makes it raise; reading all tells more
            if isinstance(error, OSError) and is_of_store(error):
                raise
            return None
        if summary is None or summary.statistics is None or not summary.channels:
            return None
        return summary

    def _of_summary(self, summary: Any) -> list[Topic]:
        counts = summary.statistics.channel_message_counts
        topics: dict[str, Topic] = {}
        for number, channel in sorted(summary.channels.items()):
            schema = summary.schemas.get(channel.schema_id)
            _add(topics, channel, schema, counts.get(number, 0))
        return list(topics.values())

    def _counted(self) -> list[Topic]:
        topics: dict[str, Topic] = {}
        try:
            for schema, channel, _ in self._read(None):
                _add(topics, channel, schema, 1)
        except Damage:
            pass  # told once by who reads the frames
        return list(topics.values())

    def _read(self, topic: str | None) -> Iterator[tuple[Any, Any, Any]]:
        reader = need("mcap.reader", "mcap")
        with self._file.open() as stream:
            # Of the file's own order: times repeat and go back.
            try:
                yield from reader.NonSeekingReader(stream, validate_crcs=True).iter_messages(
                    topics=None if topic is None else [topic], log_time_order=False
                )
            except Exception as error:
                raise _damage(error) from error
            stream.seek(max(self._file.size - len(MAGIC), 0))
            if stream.read(len(MAGIC)) != MAGIC:
                raise Damage("ends without MCAP's last bytes, as one that was cut short does")


class Bag:
    """A bag of ROS 1, a file, or of ROS 2, a folder."""

    def __init__(self, name: str, kind: str) -> None:
        self._name = name
        self._kind = kind

    def topics(self) -> list[Topic]:
        """Raises:
        SourceError: it cannot be opened.
        """
        encoding = "ros1" if self._kind == "bag1" else "cdr"
        topics: dict[str, Topic] = {}
        with self._open() as reader:
            for connection in reader.connections:
                known = topics.get(connection.topic)
                count = connection.msgcount + (known.messages if known else 0)
                topics[connection.topic] = Topic(
                    connection.topic, connection.msgtype, encoding, count
                )
        return list(topics.values())

    def messages(self, topic: str, first: int = 0) -> Iterator[Message]:
        """As McapLog's, in order of time, as bags are indexed."""
        yield from _from(self._read(topic), first)

    def _read(self, topic: str) -> Iterator[Message]:
        with self._open() as reader:
            chosen = [c for c in reader.connections if c.topic == topic]
            try:
                for _, time, data in reader.messages(connections=chosen):
                    yield Message(time, None, bytes(data))
            except Exception as error:
                raise _damage(error) from error

    def _open(self) -> Any:
        module = need("rosbags.rosbag1" if self._kind == "bag1" else "rosbags.rosbag2", "rosbags")
        try:
            reader = module.Reader(self._name)
            reader.open()
        except Exception as error:  # rosbags' own, and what its parsers raise
            raise SourceError(f"'{self._name}' cannot be opened as a bag: {error}") from error
        return contextlib.closing(reader)


def _from(found: Iterator[Message], first: int) -> Iterator[Message]:
    """Those from ``first`` on. Of damage before it tells who reads what is before."""
    try:
        skipped = sum(1 for _ in itertools.islice(found, first))
    except Damage:
        return
    if skipped == first:
        yield from found


def _of_chunk(stream: IO[bytes], offset: int, channels: set[int]) -> list[Message]:
    module = need("mcap.stream_reader", "mcap")
    stream.seek(offset)
    try:
        chunk = next(module.StreamReader(stream, skip_magic=True, emit_chunks=True).records)
        records = module.breakup_chunk(chunk, validate_crc=True)
    except Exception as error:
        raise _damage(error) from error
    return [
        Message(record.log_time, record.publish_time, record.data)
        for record in records
        if getattr(record, "channel_id", None) in channels
    ]


def _damage(error: Exception) -> Exception:
    """For what parsers, decompressors, SQLite or the file raise; a store's own fault stays it."""
    if isinstance(error, OSError) and is_of_store(error):
        return error
    return Damage(f"is damaged: {type(error).__name__}: {error}".strip()[:200])


def bag_size(folder: str) -> tuple[int, str]:
    """Of a ROS 2 bag's files: bytes in all, and their version."""
    stats = [entry.stat() for entry in os.scandir(folder) if entry.is_file()]
    size = sum(stat.st_size for stat in stats)
    newest = max((stat.st_mtime_ns for stat in stats), default=0)
    return size, f"{len(stats)}-{size}-{newest}"


def _add(topics: dict[str, Topic], channel: Any, schema: Any, count: int) -> None:
    known = topics.get(channel.topic)
    topics[channel.topic] = Topic(
        channel.topic,
        schema.name if schema is not None else "",
        channel.message_encoding,
        count + (known.messages if known else 0),
    )
