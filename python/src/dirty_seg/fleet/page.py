"""The host program's page of the frames that differ most."""

from __future__ import annotations

import os
import shutil
import subprocess
import tempfile
from collections.abc import Sequence
from pathlib import Path

from dirty_seg.fleet.compare import FrameChange
from dirty_seg.fleet.dataset import Output, OutputError
from dirty_seg.fleet.rows import Key, Row, line_of
from dirty_seg.fleet.sources import find_streams, read_frames
from dirty_seg.fleet.sources.pictures import opencv


def write(page: str, a: Output, b: Output, frames: Sequence[FrameChange], program: str) -> None:
    """Run A's frames against run B's, with the pictures of their sources.

    Raises:
        OutputError: the program is not there, or refused.
    """
    found = shutil.which(program)
    if found is None:
        raise OutputError(f"--report needs the program dirty_seg; there is no '{program}'")
    keys = [frame.key for frame in frames]
    with tempfile.TemporaryDirectory() as scratch:
        folder = Path(scratch)
        pictures = _pictures(keys, folder)
        for name, output in (("a", a), ("b", b)):
            rows = output.rows_of(keys)
            lines = [_line(rows[key], pictures[key]) for key in keys if key in pictures]
            (folder / name).mkdir()
            (folder / name / "results.jsonl").write_text("".join(f"{line}\n" for line in lines))
        done = subprocess.run(
            [
                found, "report", str(folder / "b"), "--against", str(folder / "a"),
                "--output", os.path.abspath(page), "--overwrite", "--quiet",
            ],
            capture_output=True, text=True, check=False,
        )  # fmt: skip
    if done.returncode != 0:
        raise OutputError(f"'{program} report' failed: {done.stderr.strip()}")


def _line(row: Row, picture: Path) -> str:
    return line_of(row | {"source": str(picture), "topic": "", "ordinal": 0})


def _pictures(keys: Sequence[Key], folder: Path) -> dict[Key, Path]:
    """Files of the frames, as far as their sources can still be read."""
    made: dict[Key, Path] = {}
    for number, key in enumerate(keys):
        source, topic, ordinal = key
        streams, _ = find_streams([source], [topic] if topic else [])
        for stream in streams[:1]:
            for frame in read_frames(stream, ordinal, 1):
                if frame.picture is None:
                    continue
                name = "".join(c if c.isalnum() or c in "._-" else "_" for c in source)[-80:]
                path = folder / f"{number:03}_{name}_{ordinal}.png"
                if opencv().imwrite(str(path), frame.picture):
                    made[key] = path
    return made
