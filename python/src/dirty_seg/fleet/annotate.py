"""A log with what was found in it, for the viewers of such logs."""

from __future__ import annotations

import dataclasses
import io
import itertools
import os
import shutil
import zlib
from collections.abc import Iterator
from typing import IO, Any

import numpy as np

import dirty_seg._core as _core
from dirty_seg.fleet.dataset import Output, OutputError
from dirty_seg.fleet.needs import need
from dirty_seg.fleet.rows import Row, line_of, result_of, text_of
from dirty_seg.fleet.sources.files import file_of
from dirty_seg.fleet.sources.logs import MAGIC
from dirty_seg.fleet.sources.pictures import opencv
from dirty_seg.fleet.sources.stream import ByteArray, SourceError

#: After the pictures' topic.
ANNOTATIONS, MASKS = "/dirty_seg/annotations", "/dirty_seg/masks"
_CHUNK = 2**20  # bytes of messages a chunk
_DATA_END = 1 + 8 + 4  # bytes of that record: opcode, length, checksum
_FOOTER = 1 + 8 + 20
_NANOSECONDS = 1_000_000_000
# Red, green, blue of labels, one after the other, over again.
_COLOURS = (
    (230, 60, 60), (60, 140, 230), (240, 180, 40), (60, 180, 90),
    (170, 90, 220), (40, 190, 190), (240, 120, 180), (140, 110, 70),
)  # fmt: skip


def annotate(run: Output, log: str, output: str) -> int:
    """Writes the log with boxes, names and masks beside its pictures; how many frames have them.

    Beside each topic of pictures that the run has: foxglove.ImageAnnotations under ANNOTATIONS, and
    masks as PNG pictures with alpha, foxglove.CompressedImage, under MASKS, at the frames' own
    times. What was in the log stays as it was, byte for byte, up to the end of its data.

    Args:
        run: The output of detect, over this log.
        log: An MCAP log with a summary; a path, or s3://.
        output: Path of the new log.

    Raises:
        SourceError: the log cannot be read, or has no summary.
        OutputError: the run has no frame of the log.
        OSError: the new log cannot be written.
    """
    file = file_of(log)
    with file.open() as stream:
        summary, data_end = _end_of(log, stream, file.size)
        frames = _frames_of(run, log)
        scratch = f"{output}.part"
        try:
            with open(scratch, "wb") as target:
                stream.seek(0)
                shutil.copyfileobj(_Limited(stream, data_end), target)
                writer = _Writer(target, summary)
                count = 0
                for row in frames:
                    count += 1
                    for topic, message, time in _messages(row):
                        writer.add(topic, message, time)
                writer.finish()
                target.flush()
                os.fsync(target.fileno())
            os.replace(scratch, output)
        except BaseException:
            if os.path.exists(scratch):
                os.unlink(scratch)
            raise
    return count


def _frames_of(run: Output, log: str) -> Iterator[Row]:
    found = (
        row
        for row in run.in_order(text_of(log))
        if not row["error"] and row["log_time"] is not None
    )
    first = next(found, None)
    if first is None:
        raise OutputError(
            f"'{run.uri}' has no frame of '{log}'; expected the log's name as detect was given it"
        )
    return itertools.chain([first], found)


# ---- Messages -----------------------------------------------------------------------------------


def _messages(row: Row) -> Iterator[tuple[str, Any, int]]:
    """Topic, message and time of what is beside a frame."""
    entries = result_of(line_of(row)).to_coco()
    names = dict(row["label_names"])
    seconds, nanoseconds = divmod(row["header_time"] or row["log_time"], _NANOSECONDS)
    stamp = {"seconds": seconds, "nanos": nanoseconds}
    yield row["topic"] + ANNOTATIONS, _annotations(entries, names, stamp), row["log_time"]
    yield row["topic"] + MASKS, _masks(entries, (row["height"], row["width"]), stamp), row[
        "log_time"
    ]


def _annotations(entries: list[Any], names: dict[int, str], stamp: dict[str, int]) -> Any:
    """Boxes and names; a pixel's corner is the origin, as it is of boxes."""
    message = _schema("ImageAnnotations")()
    for entry in entries:
        x, y, width, height = entry["bbox"]
        label = entry["category_id"]
        red, green, blue = (part / 255 for part in _COLOURS[label % len(_COLOURS)])
        colour = {"r": red, "g": green, "b": blue, "a": 1.0}
        box = message.points.add(type=_LINE_LOOP, thickness=2.0)
        box.timestamp.seconds, box.timestamp.nanos = stamp["seconds"], stamp["nanos"]
        corners = ((x, y), (x + width, y), (x + width, y + height), (x, y + height))
        for left, top in corners:
            box.points.add(x=left, y=top)
        _set_colour(box.outline_color, colour)
        text = message.texts.add(font_size=16.0)
        text.timestamp.seconds, text.timestamp.nanos = stamp["seconds"], stamp["nanos"]
        text.position.x, text.position.y = x, y
        text.text = f"{names.get(label, f'class {label}')} {entry['score']:.2f}"
        _set_colour(text.text_color, {"r": 1.0, "g": 1.0, "b": 1.0, "a": 1.0})
        _set_colour(text.background_color, colour)
    return message


_LINE_LOOP = 2  # foxglove.PointsAnnotation.Type


def _set_colour(target: Any, colour: dict[str, float]) -> None:
    target.r, target.g, target.b, target.a = (colour[name] for name in "rgba")


def _masks(entries: list[Any], size: tuple[int, int], stamp: dict[str, int]) -> Any:
    """Transparent but for masks, best score on top."""
    picture: ByteArray = np.zeros((*size, 4), np.uint8)
    for entry in reversed(entries):
        mask = _core.decode_run_lengths(*size, entry["segmentation"]["counts"]) != 0
        red, green, blue = _COLOURS[entry["category_id"] % len(_COLOURS)]
        picture[mask] = (blue, green, red, 128)
    message = _schema("CompressedImage")()
    message.timestamp.seconds, message.timestamp.nanos = stamp["seconds"], stamp["nanos"]
    message.format = "png"
    message.data = opencv().imencode(".png", picture)[1].tobytes()
    return message


def _schema(name: str) -> Any:
    package = "foxglove_schemas_protobuf"
    return getattr(need(f"{package}.{name}_pb2", "foxglove-schemas-protobuf"), name)


# ---- The log ------------------------------------------------------------------------------------


def _end_of(log: str, stream: IO[bytes], size: int) -> tuple[Any, int]:
    """The log's summary, and where its data ends.

    Raises:
        SourceError: there is none.
    """
    reader, records = need("mcap.reader", "mcap"), need("mcap.stream_reader", "mcap")
    try:
        summary = reader.SeekingReader(stream).get_summary()
        stream.seek(size - len(MAGIC) - _FOOTER)
        footer = next(iter(records.StreamReader(stream, skip_magic=True).records))
        start = footer.summary_start
    except Exception as error:  # whatever the parser raises on a damaged end
        raise SourceError(f"'{log}' is damaged at its end; expected a whole MCAP log") from error
    if summary is None or summary.statistics is None or start == 0:
        raise SourceError(f"'{log}' has no summary with statistics; expected one, as writers make")
    return summary, start - _DATA_END


class _Limited(io.RawIOBase):
    """The first bytes of a stream."""

    def __init__(self, stream: IO[bytes], size: int) -> None:
        self._stream = stream
        self._left = size

    def read(self, size: int = -1) -> bytes:
        data = self._stream.read(min(size, self._left) if size >= 0 else self._left)
        self._left -= len(data)
        return data


class _Writer:
    """Goes on with a log where its data ended: chunks, then a summary of old and new."""

    def __init__(self, target: IO[bytes], summary: Any) -> None:
        self._records = need("mcap.records", "mcap")
        self._target = target
        self._summary = summary
        self._statistics = dataclasses.replace(
            summary.statistics,
            channel_message_counts=dict(summary.statistics.channel_message_counts),
        )
        self._chunk_indexes = list(summary.chunk_indexes)
        self._schemas = dict(summary.schemas)
        self._channels = dict(summary.channels)
        self._by_type: dict[str, int] = {}
        self._by_topic: dict[str, int] = {}
        self._begin_chunk()

    def _begin_chunk(self) -> None:
        self._chunk = self._builder()
        self._times: list[int] = []
        self._index: dict[int, list[tuple[int, int]]] = {}

    def _builder(self) -> Any:
        return need("mcap.data_stream", "mcap").RecordBuilder()

    def add(self, topic: str, message: Any, time: int) -> None:
        """One message, at this log time."""
        channel = self._channel(topic, message)
        self._index.setdefault(channel, []).append((time, self._chunk.count))
        count = self._statistics.channel_message_counts.get(channel, 0)
        self._records.Message(
            channel_id=channel, log_time=time, publish_time=time, sequence=count,
            data=message.SerializeToString(),
        ).write(self._chunk)  # fmt: skip
        self._statistics.channel_message_counts[channel] = count + 1
        self._times.append(time)
        if self._chunk.count >= _CHUNK:
            self._end_chunk()

    def _channel(self, topic: str, message: Any) -> int:
        if topic not in self._by_topic:
            number = max(self._channels, default=0) + 1
            channel = self._records.Channel(
                id=number, topic=topic, message_encoding="protobuf", metadata={},
                schema_id=self._schema(message),
            )  # fmt: skip
            channel.write(self._chunk)
            self._channels[number] = channel
            self._by_topic[topic] = number
        return self._by_topic[topic]

    def _schema(self, message: Any) -> int:
        name = message.DESCRIPTOR.full_name
        if name not in self._by_type:
            number = max(self._schemas, default=0) + 1
            schema = self._records.Schema(
                id=number,
                name=name,
                encoding="protobuf",
                data=_descriptors(message.DESCRIPTOR.file),
            )
            schema.write(self._chunk)
            self._schemas[number] = schema
            self._by_type[name] = number
        return self._by_type[name]

    def _end_chunk(self) -> None:
        if not self._times:
            return
        data = self._chunk.end()
        packed = need("zstandard").compress(data)
        first, last = min(self._times), max(self._times)
        start = self._target.tell()
        chunk, indexes, offsets = self._builder(), self._builder(), {}
        self._records.Chunk(
            compression="zstd", data=packed, message_start_time=first, message_end_time=last,
            uncompressed_crc=zlib.crc32(data), uncompressed_size=len(data),
        ).write(chunk)  # fmt: skip
        length = chunk.count
        for channel, entries in self._index.items():
            offsets[channel] = start + length + indexes.count
            self._records.MessageIndex(channel_id=channel, records=entries).write(indexes)
        index_length = indexes.count
        self._target.write(chunk.end() + indexes.end())
        self._chunk_indexes.append(
            self._records.ChunkIndex(
                chunk_start_offset=start, chunk_length=length, compression="zstd",
                compressed_size=len(packed), uncompressed_size=len(data),
                message_start_time=first, message_end_time=last,
                message_index_length=index_length, message_index_offsets=offsets,
            )  # fmt: skip
        )
        self._count(first, last)
        self._begin_chunk()

    def _count(self, first: int, last: int) -> None:
        statistics = self._statistics
        is_first = statistics.message_count == 0
        statistics.message_count += len(self._times)
        statistics.chunk_count += 1
        before = first if is_first else statistics.message_start_time
        statistics.message_start_time = min(before, first)
        statistics.message_end_time = max(statistics.message_end_time, last)

    def finish(self) -> None:
        """The last chunk, and the summary."""
        self._end_chunk()
        self._statistics.schema_count = len(self._schemas)
        self._statistics.channel_count = len(self._channels)
        end = self._builder()
        self._records.DataEnd(data_section_crc=0).write(end)  # 0: not told
        self._target.write(end.end())
        start = self._target.tell()
        body, offsets = self._builder(), self._builder()
        groups = (
            list(self._schemas.values()),
            list(self._channels.values()),
            [self._statistics],
            self._chunk_indexes,
            list(self._summary.attachment_indexes),
            list(self._summary.metadata_indexes),
        )
        opcodes = need("mcap.opcode", "mcap").Opcode
        names = (
            opcodes.SCHEMA, opcodes.CHANNEL, opcodes.STATISTICS, opcodes.CHUNK_INDEX,
            opcodes.ATTACHMENT_INDEX, opcodes.METADATA_INDEX,
        )  # fmt: skip
        for opcode, group in zip(names, groups, strict=True):
            begin = body.count
            for record in group:
                record.write(body)
            if group:
                self._records.SummaryOffset(
                    group_opcode=opcode, group_start=start + begin, group_length=body.count - begin
                ).write(offsets)
        length = body.count
        footer = self._builder()
        self._records.Footer(
            summary_start=start, summary_offset_start=start + length, summary_crc=0
        ).write(footer)
        self._target.write(body.end() + offsets.end() + footer.end() + MAGIC)


def _descriptors(file: Any) -> bytes:
    """A message's file and those that it imports, as readers of protobuf schemas take them."""
    module = need("google.protobuf.descriptor_pb2", "protobuf")
    found = module.FileDescriptorSet()
    seen: set[str] = set()

    def add(one: Any) -> None:
        if one.name in seen:
            return
        seen.add(one.name)
        for other in one.dependencies:
            add(other)
        one.CopyToProto(found.file.add())

    add(file)
    data: bytes = found.SerializeToString()
    return data
