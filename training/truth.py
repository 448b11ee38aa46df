"""What rendered frames show, as render_frames.py wrote it."""

import json
from pathlib import Path

import cv2
import numpy as np


def truth_of(folder: Path) -> list[dict]:
    index = folder / "truth" / "index.jsonl"
    if not index.is_file():
        raise SystemExit(f"--frames: '{index}' is missing; render frames first (render_frames.py)")
    lines = [json.loads(line) for line in index.read_text().splitlines()]
    names = {line["frame"] for line in lines}
    strange = sorted(names ^ {path.name for path in (folder / "frames").glob("*.jpg")})
    if strange:
        raise SystemExit(
            f"--frames: '{strange[0]}' is not both in '{index}' and beside it under frames/;"
            " render them again, into an empty folder (render_frames.py)"
        )
    return lines


def owners_of(folder: Path, line: dict) -> np.ndarray:
    return cv2.imread(
        str(folder / "truth" / Path(line["frame"]).with_suffix(".png")), cv2.IMREAD_GRAYSCALE
    )
