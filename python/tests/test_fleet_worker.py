"""Units and outputs by themselves, without Ray."""

from __future__ import annotations

import json
import os
import threading
import time
from collections.abc import Callable
from pathlib import Path
from typing import Any

import pytest
from conftest import ByteArray
from logs import camera, png, write_mcap

from dirty_seg.fleet import dataset, worker
from dirty_seg.fleet.dataset import Output, OutputError
from dirty_seg.fleet.rows import row_of
from dirty_seg.fleet.settings import Settings, differences
from dirty_seg.fleet.sources import Frame, Stream, find_streams
from dirty_seg.fleet.sources.stream import Times
from dirty_seg.fleet.units import Part, Unit, cut
from dirty_seg.fleet.worker import rows_alone, rows_of

SETTINGS = Settings("model", "config")
Alone = Callable[[Part, "Settings | None"], list[Any]]


def processes(there: int, deadly: tuple[int, ...], unreadable: tuple[int, ...] = ()) -> Alone:
    """What comes of a process for a frame of a stream that has so many."""

    def alone(part: Part, settings: Settings | None) -> list[Any]:
        if part.first in unreadable or (settings is not None and part.first in deadly):
            raise worker._Ended("ended")
        if part.first >= there:
            return []
        if settings is None:
            return [part.first]
        return [worker.row_of(part.stream, Frame(part.first, Times(), None), None, "")]

    return alone


Rows = Callable[[int, Alone], list[tuple[int, str]]]


@pytest.fixture
def rows(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> Rows:
    """Ordinals and errors of a stream that tells of so many frames."""

    def found(count: int, alone: Alone) -> list[tuple[int, str]]:
        monkeypatch.setattr(worker, "_alone", alone)
        (unit,) = cut([Stream("a.avi", "video", "", "", "", "1", count)], 100)
        made = rows_alone(unit, SETTINGS, Output(str(tmp_path)), "run")
        return [(row["ordinal"], row["error"]) for row in made]

    return found


@pytest.mark.parametrize("count", [1, 2, 3, 6, 9])
def test_frames_that_end_their_process_cost_no_other_frame(count: int, rows: Rows) -> None:
    found = rows(count, processes(6, (2, 5)))
    assert found == [(0, ""), (1, ""), (2, "ended"), (3, ""), (4, ""), (5, "ended")]


def test_a_stream_that_cannot_be_read_on_ends_with_a_row(rows: Rows) -> None:
    endless = processes(99, (), unreadable=tuple(range(3, 99)))
    assert rows(3, endless) == [(0, ""), (1, ""), (2, ""), (3, "ended")]


@pytest.mark.parametrize("harm", ["cut", "gone"])
def test_a_log_that_is_damaged_ends_frame_by_frame_as_together(
    harm: str, tmp_path: Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    path = write_mcap(tmp_path / "a.mcap", camera(["red", "green", "blue"] * 4), chunk_size=300)
    path.write_bytes(path.read_bytes()[:1500])
    (unit,) = cut(find_streams([str(path)])[0], 100)
    if harm == "gone":
        path.unlink()

    def alone(part: Part, settings: Settings | None) -> list[Any]:
        found = [
            row_of(part.stream, frame, None, frame.error or f"{frame.picture.mean():.0f}")
            for frame in part.frames()
        ]
        return found if settings is not None else [row["ordinal"] for row in found]

    together = alone(unit.parts[0], SETTINGS)
    monkeypatch.setattr(worker, "_alone", alone)
    rows = list(rows_alone(unit, SETTINGS, Output(str(tmp_path / "run")), "run"))
    assert len(rows) > 3 and rows == together
    if harm == "gone":  # each of the frames that were counted
        assert [row["ordinal"] for row in rows] == list(range(unit.expected))
        assert all("there is no file" in row["error"] for row in rows)


class Killed(BaseException):
    """The worker itself is ended."""


@pytest.mark.parametrize(("count", "deadly"), [(6, 2), (6, 5), (3, 4)])
def test_a_frame_that_ends_the_worker_by_itself_becomes_a_row(
    count: int, deadly: int, rows: Rows
) -> None:
    there = processes(6, ())

    def alone(part: Part, settings: Settings | None) -> list[Any]:
        if part.first == deadly:
            raise Killed
        return there(part, settings)

    for _ in range(3):
        with pytest.raises(Killed):
            rows(count, alone)
    found = rows(count, alone)
    error = "ended the worker's process even by itself: memory may be lacking"
    # Behind what the stream tells of nobody knows whether there is more.
    last = 6 if deadly < count else deadly + 1
    assert found == [(n, error if n == deadly else "") for n in range(last)]


def test_a_process_of_its_own_gives_the_row_of_its_frame(tmp_path: Path) -> None:
    from conftest import NETWORKS

    (tmp_path / "config.yaml").write_text(
        "patch:\n  enable: true\n  patches: [[0, 0, 64, 64], [64, 0, 64, 64]]\n"
    )
    (tmp_path / "a.png").write_bytes(png("red"))
    (tmp_path / "b.png").write_bytes(b"none")
    settings = Settings(str(NETWORKS / "seg-b2-64.onnx"), str(tmp_path / "config.yaml"))
    streams, _ = find_streams([str(tmp_path / "a.png"), str(tmp_path / "b.png")])
    unit = Unit(tuple(Part(stream, 0, None) for stream in streams))
    alone = list(rows_alone(unit, settings, Output(str(tmp_path / "run")), "run"))
    with settings.detector() as detector:
        together = list(rows_of(unit, detector))
    for row in (alone[0], together[0]):
        del row["stage_ms"]
    assert alone == together
    assert len(alone[0]["boxes"]) == 2 and "is no picture" in alone[1]["error"]


def test_classes_are_called_as_a_file_says(tmp_path: Path) -> None:
    from conftest import NETWORKS

    config, names = tmp_path / "config.yaml", tmp_path / "names.txt"
    config.write_text("patch:\n  enable: true\n  patches: [[0, 0, 64, 64], [64, 0, 64, 64]]\n")
    names.write_text("spill\nmoss\n")
    (tmp_path / "a.png").write_bytes(png("red"))
    model = str(NETWORKS / "seg-b2-64.onnx")
    settings = Settings(model, str(config), names=str(names))
    streams, _ = find_streams([str(tmp_path / "a.png")])
    (unit,) = cut(streams, 25)
    with settings.detector() as detector:
        (found,) = rows_of(unit, detector)
    assert found["label_names"] == [(0, "spill")]
    before = settings.identity()
    assert "names_sha256" not in Settings(model, str(config)).identity()
    names.write_text("spill\nalgae\n")
    assert differences(settings.identity(), before)[0].startswith("names_sha256 ")


def test_names_need_not_be_valid_utf_8(tmp_path: Path) -> None:
    for name, data in ((b"/\xff.png", png("red")), (b"/\xfe.png", b"none")):
        with open(os.fsencode(tmp_path) + name, "wb") as file:
            file.write(data)
    streams, errors = find_streams([str(tmp_path)])
    assert errors == []
    (unit,) = cut(streams, 250)
    assert Unit.from_json(unit.to_json()) == unit
    found = [row_of(part.stream, frame, None) for part in unit.parts for frame in part.frames()]
    output = Output(str(tmp_path / "run"))
    output.publish(unit.name, found)
    rows = list(output.in_order())
    assert [row["source"] for row in rows] == [f"{tmp_path}/\\xfe.png", f"{tmp_path}/\\xff.png"]
    assert rows[0]["error"].startswith(f"'{tmp_path}/\\xfe.png' is no picture")
    assert (rows[1]["error"], rows[1]["height"]) == ("", 32)


def test_a_lack_of_memory_fails_its_frame_alone(tmp_path: Path) -> None:
    for name in ("a.png", "b.png"):
        (tmp_path / name).write_bytes(png("red"))
    calls = []

    def detect(picture: ByteArray) -> None:
        calls.append(picture.shape)
        raise MemoryError

    streams, _ = find_streams([str(tmp_path)])
    (unit,) = cut(streams, 250)
    errors = [row["error"] for row in rows_of(unit, detect)]
    assert errors == ["the detector failed: out of memory"] * 2
    assert calls == [(32, 48, 3)] * 2


def test_only_marks_of_the_same_driver_count_and_published_units_have_none(
    tmp_path: Path,
) -> None:
    output = Output(str(tmp_path / "run"))
    assert [output.mark("unit", "one") for _ in range(3)] == [0, 1, 2]
    assert output.mark("unit", "two") == 0
    assert output.mark("other", "one") == 0
    output.clear_marks("unit")
    assert output.mark("unit", "one") == 0


def lease(output: Output) -> Any:
    return output._leased()


def test_an_object_stores_output_has_one_driver(
    tmp_path: Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    monkeypatch.setattr(dataset, "_SETTLED", 0.2)
    uri = str(tmp_path)
    with lease(Output(uri)), pytest.raises(OutputError, match="is in use by process"):
        with lease(Output(uri)):
            pass
    with lease(Output(uri)):  # given back
        pass
    old = {"who": "process 1 on far", "time": time.time() - 61, "id": "far"}
    Output(uri).write("driver.json", old)
    with lease(Output(uri)):  # of one that was killed
        Output(uri).write("driver.json", old | {"time": time.time()})
    assert json.loads((tmp_path / "driver.json").read_text())["id"] == "far"  # not ours to delete


def test_of_two_drivers_that_begin_together_one_has_the_output(
    tmp_path: Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    monkeypatch.setattr(dataset, "_SETTLED", 0.5)
    together = threading.Barrier(2)
    read = Output.read
    looked: set[int] = set()

    def read_together(self: Output, name: str) -> dict[str, Any] | None:
        content = read(self, name)
        if threading.get_ident() not in looked:
            looked.add(threading.get_ident())
            together.wait(10)
        return content

    monkeypatch.setattr(Output, "read", read_together)
    outcomes: list[str] = []

    def drive() -> None:
        try:
            with lease(Output(str(tmp_path))):
                time.sleep(1.0)
                outcomes.append("held")
        except OutputError:
            outcomes.append("refused")

    threads = [threading.Thread(target=drive) for _ in range(2)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert sorted(outcomes) == ["held", "refused"]
