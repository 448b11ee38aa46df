"""Messages of MCAP logs and of bags of ROS 1 and 2, in the order of the file."""

from __future__ import annotations

import contextlib
import dataclasses
import itertools
import os
from collections.abc import Iterator
from typing import Any

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

    log_time: int
    publish_time: int | None
    data: bytes


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
            Damage: after those that can be read.
        """
        chunks = self._chunks_from(topic, first) if first > 0 else None
        if chunks is not None:
            yield from self._of_chunks(*chunks)
            return
        found = (entry for entry in self._read(topic) if entry[1].topic == topic)
        for _, _, message in itertools.islice(found, first, None):
            yield Message(message.log_time, message.publish_time, message.data)

    def _chunks_from(self, topic: str, first: int) -> tuple[set[int], list[int], int] | None:
        """Channels of the topic, the chunks that have its messages from ``first`` on, and how many
        of the first chunk's are before it. None where the log's indexes do not tell.

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
        before = 0
        for i, (_, count) in enumerate(counts):
            if before + count > first:
                return channels, [offset for offset, _ in counts[i:]], first - before
            before += count
        return channels, [], 0

    def _of_chunks(self, channels: set[int], offsets: list[int], skipped: int) -> Iterator[Message]:
        module = need("mcap.stream_reader", "mcap")
        with self._file.open() as stream:
            for offset in offsets:
                stream.seek(offset)
                try:
                    chunk = next(
                        module.StreamReader(stream, skip_magic=True, emit_chunks=True).records
                    )
                    records = module.breakup_chunk(chunk, validate_crc=True)
                except Exception as error:
                    raise _damage(error) from error
                for record in records:
                    if getattr(record, "channel_id", None) not in channels:
                        continue
                    if skipped > 0:
                        skipped -= 1
                        continue
                    yield Message(record.log_time, record.publish_time, record.data)

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
        with self._open() as reader:
            chosen = [c for c in reader.connections if c.topic == topic]
            try:
                found = reader.messages(connections=chosen)
                for _, time, data in itertools.islice(found, first, None):
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


def _damage(error: Exception) -> Exception:
    """For what parsers, decompressors, SQLite or the file raise; a store's own fault stays it."""
    if isinstance(error, OSError) and is_of_store(error):
        return error
    return Damage(f"is damaged: {type(error).__name__}: {error}".strip()[:200])


def bag_version(folder: str) -> str:
    """Of a ROS 2 bag's files: number, size in all, and newest modification time."""
    stats = [entry.stat() for entry in os.scandir(folder) if entry.is_file()]
    size = sum(stat.st_size for stat in stats)
    newest = max((stat.st_mtime_ns for stat in stats), default=0)
    return f"{len(stats)}-{size}-{newest}"


def _add(topics: dict[str, Topic], channel: Any, schema: Any, count: int) -> None:
    known = topics.get(channel.topic)
    topics[channel.topic] = Topic(
        channel.topic,
        schema.name if schema is not None else "",
        channel.message_encoding,
        count + (known.messages if known else 0),
    )
