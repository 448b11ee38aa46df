"""Sheets of crops, and a network that finds exactly their places: so that the host program's own
way to its classifier is what is measured."""

import sys
from collections.abc import Callable
from pathlib import Path
from typing import NamedTuple

import cv2
import numpy as np

from data import CROP, SIDE, WASTE, CropSamples
from letterbox import letterbox

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "tools" / "onnx"))

from graph_writer import Graph  # noqa: E402  (found through the path above)

FAECES_LABEL = 19  # what the library makes of the label of a confirmed candidate
FRAME = (1920, 1080)
# Corners of the crops, four in each of six tiles of 640 x 540.
IN_TILE = [(x, y) for y in (20, 290) for x in (40, 360)]
PLACES = [
    (tile_x + x, tile_y + y) for tile_y in (0, 540) for tile_x in (0, 640, 1280) for x, y in IN_TILE
]
BATCH, COEFFICIENTS, ANCHORS = 6, 32, 2100
Array = np.ndarray


class Sheet(NamedTuple):
    picture: Array  # bytes [1080, 1920, 3], B, G, R
    truths: list[bool]  # whether the crop at each place shows faeces; fewer than places at the end


def crops_of(folder: Path, lines: list[dict], owners_of: Callable) -> list[tuple[Array, bool]]:
    """The boxes of all things that are large enough, stretched as the library does."""
    crops = []
    rng = np.random.default_rng(5)
    for line in lines:
        picture = cv2.imread(str(folder / "frames" / line["frame"]), cv2.IMREAD_COLOR)
        owners = owners_of(folder, line)
        for thing in line["things"]:
            crop = CropSamples.cut(rng, picture, owners == thing["number"])
            if crop is not None:
                crop = cv2.resize(crop, (CROP, CROP), interpolation=cv2.INTER_LINEAR)
                crops.append((crop, thing["label"] == WASTE))
    return crops


def make_sheets(folder: Path, lines: list[dict], owners_of: Callable) -> list[Sheet]:
    crops = crops_of(folder, lines, owners_of)
    sheets = []
    for start in range(0, len(crops), len(PLACES)):
        part = crops[start : start + len(PLACES)]
        picture = np.full((FRAME[1], FRAME[0], 3), 128, np.uint8)
        for (x, y), (crop, _) in zip(PLACES, part):
            picture[y : y + CROP, x : x + CROP] = crop
        sheets.append(Sheet(picture, [truth for _, truth in part]))
    return sheets


def place_network(tiles: list[list[int]]) -> bytes:
    """A segmentation network whose answer never changes: one box round each place, of class 0."""
    _, _, width, height = tiles[0]
    box, scale = letterbox(SIDE, width, height), SIDE / max(width, height)
    predictions = np.zeros((BATCH, 4 + 1 + COEFFICIENTS, ANCHORS), np.float32)
    for anchor, (x, y) in enumerate(IN_TILE):
        middle = (x + CROP / 2) * scale + box.left, (y + CROP / 2) * scale + box.top
        predictions[:, :5, anchor] = [*middle, CROP * scale, CROP * scale, 0.9]
        predictions[:, 5, anchor] = 1
    prototypes = np.full((BATCH, COEFFICIENTS, SIDE // 4, SIDE // 4), 4, np.float32)
    graph = Graph("places")
    images = graph.input("images", [BATCH, 3, SIDE, SIDE])
    nothing = graph.add("Mul", graph.add("ReduceMean", images, keepdims=0), graph.constant(0.0))
    for name, values in (("output0", predictions), ("output1", prototypes)):
        graph.add("Add", graph.constant(values), nothing, named=name)
        graph.output(name, list(values.shape))
    return graph.serialise({"names": "{0: 'crop'}", "task": "segment"})
