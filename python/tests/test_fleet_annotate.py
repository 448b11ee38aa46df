"""Logs with what was found in them: the old bytes as they were, the new ones where they belong."""

from __future__ import annotations

import subprocess
import sys
from pathlib import Path
from typing import Any

import cv2
import numpy as np
import pytest
from conftest import NETWORKS, PATCHES
from foxglove_schemas_protobuf.CompressedImage_pb2 import CompressedImage
from foxglove_schemas_protobuf.ImageAnnotations_pb2 import ImageAnnotations
from logs import CAMERA, cdr, png, ros_encoded, write_mcap
from mcap.reader import NonSeekingReader, SeekingReader
from mcap.writer import Writer

import dirty_seg
from dirty_seg.fleet.annotate import ANNOTATIONS, MASKS, annotate
from dirty_seg.fleet.dataset import Output, OutputError
from dirty_seg.fleet.sources import SourceError, find_streams
from dirty_seg.fleet.units import cut
from dirty_seg.fleet.worker import rows_of


def log_of(folder: Path) -> Path:
    """Three frames, the second of which is none, beside texts, an attachment and metadata."""
    path = folder / "log.mcap"
    with open(path, "wb") as file:
        writer = Writer(file, chunk_size=300)
        writer.start()
        text = writer.register_channel(
            "/text", "json", writer.register_schema("text", "jsonschema", b"{}")
        )
        camera = writer.register_channel(
            "/camera", "cdr", writer.register_schema(CAMERA[1], "ros2msg", b"")
        )
        for number, colour in enumerate(("red", "", "green")):
            data = cdr(ros_encoded(png(colour, 1080, 1920), number)) if colour else b"none"
            writer.add_message(text, 10 * number, b'"before"', 10 * number)
            writer.add_message(camera, 10 * number + 5, data, 10 * number + 6)
        writer.add_attachment(1, 2, "map", "text/plain", b"here")
        writer.add_metadata("robot", {"name": "one"})
        writer.finish()
    return path


def run_of(folder: Path, log: Path) -> Output:
    streams, _ = find_streams([str(log)])
    output = Output(str(folder / "run"))
    output.write("run.json", {})
    with dirty_seg.Detector(NETWORKS / "seg-b2-64.onnx", PATCHES) as detector:
        for unit in cut(streams, 250):
            output.publish(unit.name, list(rows_of(unit, detector)))
    return output


@pytest.fixture
def annotated(tmp_path: Path) -> tuple[Path, Path]:
    """A log, and the same with annotations."""
    log = log_of(tmp_path)
    output = tmp_path / "annotated.mcap"
    assert annotate(run_of(tmp_path, log), str(log), str(output)) == 2
    return log, output


def messages_of(path: Path) -> list[tuple[str, int, int, bytes]]:
    with open(path, "rb") as file:
        return [
            (channel.topic, message.log_time, message.sequence, message.data)
            for _, channel, message in SeekingReader(file, validate_crcs=True).iter_messages()
        ]


def data_end(path: Path) -> int:
    with open(path, "rb") as file:
        data = file.read()
    start = int.from_bytes(data[-8 - 20 : -8 - 12], "little")  # the footer's first number
    assert data[start - 13] == 0x0F  # opcode of the end of data
    return start - 13


def test_the_old_log_stays_as_it_was_up_to_the_end_of_its_data(
    annotated: tuple[Path, Path],
) -> None:
    log, output = annotated
    length = data_end(log)
    assert length > 1000
    assert output.read_bytes()[:length] == log.read_bytes()[:length]


def test_both_kinds_of_reader_read_old_and_new_messages(annotated: tuple[Path, Path]) -> None:
    log, output = annotated
    old, new = messages_of(log), messages_of(output)
    assert sorted(m for m in new if "/dirty_seg/" not in m[0]) == sorted(old)
    assert [(m[0], m[1]) for m in new if "/dirty_seg/" in m[0]] == [
        ("/camera" + ANNOTATIONS, 5),
        ("/camera" + MASKS, 5),
        ("/camera" + ANNOTATIONS, 25),
        ("/camera" + MASKS, 25),
    ]
    with open(output, "rb") as file:
        streamed = [
            m.data for _, _, m in NonSeekingReader(file).iter_messages(log_time_order=False)
        ]
    assert sorted(streamed) == sorted(m[3] for m in new)
    with open(output, "rb") as file:
        reader = SeekingReader(file)
        summary = reader.get_summary()
        assert summary is not None and summary.statistics is not None
        assert summary.statistics.message_count == len(old) + 4
        assert (summary.statistics.message_start_time, summary.statistics.message_end_time) == (
            0,
            25,
        )
        assert (summary.statistics.channel_count, summary.statistics.schema_count) == (4, 4)
        assert [a.name for a in reader.iter_attachments()] == ["map"]
        assert [m.metadata for m in reader.iter_metadata()] == [{"name": "one"}]
        names = {schema.name for schema in summary.schemas.values()}
    assert names == {"text", CAMERA[1], "foxglove.ImageAnnotations", "foxglove.CompressedImage"}


def found(path: Path, topic: str, kind: Any) -> list[Any]:
    parsed = []
    for name, _, _, data in messages_of(path):
        if name == topic:
            message = kind()
            message.ParseFromString(data)
            parsed.append(message)
    return parsed


def test_boxes_and_names_are_in_pixels_of_the_picture(annotated: tuple[Path, Path]) -> None:
    first, second = found(annotated[1], "/camera" + ANNOTATIONS, ImageAnnotations)
    # A patch's box has its centre at 32, 32 and is 32 x 16.
    assert [text.text for text in first.texts] == ["red 1.00", "red 1.00"]
    assert [text.text for text in second.texts] == ["green 1.00", "green 1.00"]
    corners = [[(point.x, point.y) for point in box.points] for box in first.points]
    assert sorted(corners) == [
        [(16, 24), (48, 24), (48, 40), (16, 40)],
        [(80, 24), (112, 24), (112, 40), (80, 40)],
    ]
    assert {(text.position.x, text.position.y) for text in first.texts} == {(16, 24), (80, 24)}
    assert (first.points[0].timestamp.seconds, first.points[0].timestamp.nanos) == (0, 7)
    assert second.points[0].timestamp.seconds == 2


def test_masks_are_pictures_that_are_transparent_elsewhere(
    annotated: tuple[Path, Path],
) -> None:
    first, _ = found(annotated[1], "/camera" + MASKS, CompressedImage)
    picture = cv2.imdecode(np.frombuffer(first.data, np.uint8), cv2.IMREAD_UNCHANGED)
    expected = np.zeros((1080, 1920), np.uint8)
    expected[24:40, 16:48] = expected[24:40, 80:112] = 128
    assert picture is not None
    np.testing.assert_array_equal(picture[:, :, 3], expected)


def test_what_cannot_be_annotated_is_refused(tmp_path: Path) -> None:
    log = log_of(tmp_path)
    run = run_of(tmp_path, log)
    other = write_mcap(tmp_path / "other.mcap", [])
    with pytest.raises(
        OutputError, match="has no frame of '.*other.mcap'; expected the log's name"
    ):
        annotate(run, str(other), str(tmp_path / "out.mcap"))
    whole = log.read_bytes()
    log.write_bytes(whole[:-20])
    with pytest.raises(SourceError, match="log.mcap' is damaged at its end; expected a whole MCAP"):
        annotate(run, str(log), str(tmp_path / "out.mcap"))
    with pytest.raises(SourceError, match="there is no file '.*none.mcap'"):
        annotate(run, str(tmp_path / "none.mcap"), str(tmp_path / "out.mcap"))
    assert not list(tmp_path.glob("out.mcap*"))


def test_the_command_writes_a_log_but_not_over_another(tmp_path: Path) -> None:
    log = log_of(tmp_path)
    run = run_of(tmp_path, log)
    output = tmp_path / "out.mcap"
    command = [sys.executable, "-m", "dirty_seg.fleet", "annotate", run.uri, str(log)]
    done = subprocess.run(
        [*command, "-o", str(output)], capture_output=True, text=True, check=False
    )
    assert (done.returncode, done.stderr) == (0, "dirty_seg.fleet: 2 frames annotated\n")
    again = subprocess.run(
        [*command, "-o", str(output)], capture_output=True, text=True, check=False
    )
    assert again.returncode == 2
    assert "out.mcap' is there already; expected another name" in again.stderr
