"""What two runs see otherwise, by hand on boxes."""

from __future__ import annotations

import json
import subprocess
import sys
from pathlib import Path
from typing import Any

import pytest
from logs import camera, png, write_mcap

from dirty_seg.fleet.compare import Comparison, Rate, compare
from dirty_seg.fleet.dataset import Output, OutputError

EMPTY = {"size": [1080, 1920], "counts": "PT[o1"}
Thing = tuple[int, list[float]]  # label, box

STAIN: list[float] = [100, 100, 200, 200]
SHIFTED: list[float] = [103, 100, 203, 200]  # overlap 97 / 103, three pixels away
NEAR: list[float] = [102, 100, 202, 200]  # two pixels away
HALF: list[float] = [150, 100, 250, 200]  # overlap a third
OTHER: list[float] = [900, 100, 950, 200]


def row(source: str, things: list[Thing], error: str = "") -> dict[str, Any]:
    found: dict[str, Any] = {"source": source, "topic": "", "ordinal": 0, "error": error}
    if error:
        return found
    return found | {
        "height": 1080, "width": 1920, "scale": 1.0, "placed_height": 1080, "placed_width": 1920,
        "boxes": [], "scores": [], "labels": [], "mask_pixel_counts": [], "label_masks": [],
        "label_names": [(0, "stain"), (1, "mud")], "stage_ms": [],
        "things": [
            {"box": box, "score": 0.5, "label": label, "members": [], "pixels": 0,
             "run_lengths": EMPTY}
            for label, box in things
        ],
    }  # fmt: skip


def run(folder: Path, units: dict[str, list[dict[str, Any]]]) -> Output:
    output = Output(str(folder))
    output.write("run.json", {"identity": {}})
    for name, rows in units.items():
        output.publish(name, rows)
    return output


def compared(tmp_path: Path, a: list[list[Thing]], b: list[list[Thing]]) -> Comparison:
    """Of frames with these things."""
    runs = [
        run(tmp_path / name, {"unit": [row(f"{i}.png", things) for i, things in enumerate(frames)]})
        for name, frames in (("a", a), ("b", b))
    ]
    return compare(*runs)


def counts(comparison: Comparison) -> dict[str, dict[str, int]]:
    """Changes by label, those that happened."""
    found: dict[str, dict[str, int]] = {}
    for label in comparison.labels:
        for name in ("appeared", "vanished", "moved", "relabelled"):
            count = getattr(label, name).count
            if count:
                found.setdefault(label.name, {})[name] = count
    return found


@pytest.mark.parametrize(
    ("a", "b", "expected"),
    [
        ([(0, STAIN)], [(0, STAIN)], {}),
        ([(0, STAIN)], [(0, NEAR)], {}),
        ([(0, STAIN)], [(0, SHIFTED)], {"stain": {"moved": 1}}),
        ([(0, STAIN)], [], {"stain": {"vanished": 1}}),
        ([], [(1, STAIN)], {"mud": {"appeared": 1}}),
        ([(0, STAIN)], [(1, SHIFTED)], {"stain": {"relabelled": 1}}),
        ([(0, STAIN)], [(0, HALF)], {"stain": {"vanished": 1, "appeared": 1}}),
        # Partners of the same label come first, then the rest.
        ([(0, STAIN)], [(1, STAIN), (0, SHIFTED)], {"stain": {"moved": 1}, "mud": {"appeared": 1}}),
        # The larger overlap comes first.
        ([(0, STAIN), (0, SHIFTED)], [(0, SHIFTED)], {"stain": {"vanished": 1}}),
    ],
)
def test_a_thing_appears_vanishes_moves_or_is_relabelled(
    tmp_path: Path, a: list[Thing], b: list[Thing], expected: dict[str, dict[str, int]]
) -> None:
    comparison = compared(tmp_path, [a], [b])
    assert counts(comparison) == expected
    assert comparison.changed == bool(expected)


def test_rates_have_the_intervals_of_drawn_frames(tmp_path: Path) -> None:
    none: list[Thing] = []
    comparison = compared(tmp_path, [[(0, STAIN)]] * 4, [none, [(0, STAIN)], none, [(0, STAIN)]])
    (stain,) = comparison.labels
    assert (stain.in_a, stain.in_b, stain.vanished.count, stain.vanished.mean) == (4, 2, 2, 0.5)
    # Of four draws with an even chance none or all vanish in a 16th of the cases each.
    assert (stain.vanished.low, stain.vanished.high) == (0.0, 1.0)
    assert stain.appeared == Rate(0, 0.0, 0.0, 0.0)
    always = compared(tmp_path / "always", [[(0, STAIN)]] * 3, [none] * 3).labels[0].vanished
    assert always == Rate(3, 1.0, 1.0, 1.0)


def test_frames_that_differ_most_come_first(tmp_path: Path) -> None:
    a: list[list[Thing]] = [[(0, STAIN)], [(0, STAIN)], [(0, STAIN), (0, OTHER)], [(0, STAIN)]]
    b: list[list[Thing]] = [[(0, SHIFTED)], [(0, STAIN)], [], [(1, STAIN)]]
    comparison = compared(tmp_path, a, b)
    assert [frame.source for frame in comparison.most_changed] == ["2.png", "3.png", "0.png"]
    assert str(comparison).splitlines()[-3:] == [
        "2.png frame 0: 2 vanished",
        "3.png frame 0: 1 relabelled",
        "0.png frame 0: 1 moved",
    ]
    two = compare(Output(str(tmp_path / "a")), Output(str(tmp_path / "b")), most=2)
    assert two.most_changed == comparison.most_changed[:2]


@pytest.mark.parametrize("most_frames", [1, 2, 100])
def test_frames_are_matched_whatever_unit_they_are_in(
    most_frames: int, tmp_path: Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    monkeypatch.setattr("dirty_seg.fleet.compare.MOST_FRAMES", most_frames)
    in_memory = []
    unit_rows = Output.unit_rows

    def watched(self: Output, units: list[str], *more: Any) -> list[dict[str, Any]]:
        rows = unit_rows(self, units, *more)
        in_memory.append(len(rows) if units != ["one"] else 0)
        return rows

    monkeypatch.setattr(Output, "unit_rows", watched)
    a = run(
        tmp_path / "a",
        {
            "one": [row("0.png", [(0, STAIN)]), row("1.png", [(0, STAIN)])],
            "two": [row("2.png", []), row("3.png", [], error="is no picture")],
        },
    )
    b = run(
        tmp_path / "b",
        {
            "one": [row("0.png", []), row("1.png", [(0, STAIN)])],
            "six": [row("2.png", [(0, STAIN)])],
            "ten": [row("3.png", []), row("4.png", [])],
        },
    )
    comparison = compare(a, b)
    assert (comparison.frames, comparison.only_in_a, comparison.only_in_b) == (3, 0, 1)
    assert (comparison.failed_in_a, comparison.failed_in_b, comparison.changed) == (1, 0, 2)
    assert counts(comparison) == {"stain": {"vanished": 1, "appeared": 1}}
    assert 0 < max(in_memory) <= most_frames


def test_what_cannot_be_compared_is_refused(tmp_path: Path) -> None:
    a = run(tmp_path / "a", {"one": [row("0.png", [])]})
    b = run(tmp_path / "b", {"one": [row("1.png", [])]})
    with pytest.raises(OutputError, match="have no frame in common; expected runs over the same"):
        compare(a, b)
    with pytest.raises(OutputError, match="none' has no run.json; expected the output of detect"):
        compare(a, Output(str(tmp_path / "none")))


def test_the_command_writes_a_page_of_the_frames_that_differ(tmp_path: Path, program: Path) -> None:
    picture = tmp_path / "a picture.png"
    picture.write_bytes(png("red"))
    log = write_mcap(tmp_path / "log.mcap", camera(["green", "blue"]))
    runs = []
    for name, things in (("a", [(0, STAIN)]), ("b", [])):
        rows = [row(str(picture), things), row(str(log), things)]  # type: ignore[arg-type]
        rows[1] |= {"topic": "/camera", "ordinal": 1}
        for entry in rows:
            size = {"height": 32, "width": 48, "scale": 33.75, "placed_width": 1620}
            entry |= size
        runs.append(run(tmp_path / name, {"unit": rows}).uri)
    page = tmp_path / "page.html"
    command = [sys.executable, "-m", "dirty_seg.fleet", "compare", *runs]
    done = subprocess.run(
        [*command, "--json", "--report", str(page), "--program", str(program)],
        capture_output=True, text=True, check=False,
    )  # fmt: skip
    assert done.returncode == 0, done.stderr
    assert json.loads(done.stdout)["changed"] == 2
    text = page.read_text()
    assert "a_picture.png_0.png" in text and "log.mcap_1.png" in text
    done = subprocess.run(
        [*command, "--report", str(page), "--program", "/none"],
        capture_output=True, text=True, check=False,
    )  # fmt: skip
    assert done.returncode == 2
    assert "--report needs the program dirty_seg; there is no '/none'" in done.stderr


def test_rows_come_in_order_whatever_their_units_are_called(tmp_path: Path) -> None:
    output = run(
        tmp_path,
        {
            "b": [row("0.png", []), row("1.png", [])],
            "a": [row("4.png", []), row("3.png", [])],
            "c": [row("2.png", [])],
            "empty": [],
        },
    )
    assert [found["source"] for found in output.in_order()] == [f"{i}.png" for i in range(5)]
