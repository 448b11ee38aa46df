#!/usr/bin/python3
"""Writes the truth of rendered frames as COCO's ground truth, as `python -m dirty_seg.evaluate`
takes it.

    /usr/bin/python3 training/coco_truth.py --frames out/frames --output out/frames/truth/coco.json

A piece of dirt is one annotation, whatever patches it lies across. What is too small or too hidden
to count is a crowd: a detection on it is neither right nor wrong.
"""

import argparse
import json
import sys
from pathlib import Path

import numpy as np

from data import CLASSES, SIDE, areas_of, pieces_of
from truth import owners_of, truth_of

TO_NETWORK = SIDE / 640  # network pixels a frame pixel


def run_lengths(mask: np.ndarray) -> dict:
    """{"size": [height, width], "counts": [...]} of bools [height, width], not compressed."""
    flat = mask.T.ravel()  # column by column
    changes = np.flatnonzero(np.diff(flat)) + 1
    lengths = np.diff([0, *changes, len(flat)]).tolist()
    return {"size": list(mask.shape), "counts": [0, *lengths] if flat[0] else lengths}


def annotations_of(owners: np.ndarray, things: list[dict]) -> list[dict]:
    found = []
    for piece in pieces_of(owners, things, areas_of(owners), TO_NETWORK):
        left, top, right, bottom = map(float, piece.box)
        found.append(
            {
                "category_id": piece.label,
                "bbox": [left, top, right - left, bottom - top],
                "area": int(piece.mask.sum()),
                "iscrowd": int(not piece.counts),
                "segmentation": run_lengths(piece.mask),
            }
        )
    return found


def ground_truth(folder: Path) -> dict:
    images, annotations = [], []
    for number, line in enumerate(truth_of(folder), 1):
        owners = owners_of(folder, line)
        height, width = owners.shape
        images.append({"id": number, "file_name": line["frame"], "height": height, "width": width})
        for entry in annotations_of(owners, line["things"]):
            annotations.append({"id": len(annotations) + 1, "image_id": number, **entry})
    categories = [{"id": label, "name": name} for label, name in enumerate(CLASSES)]
    return {"images": images, "annotations": annotations, "categories": categories}


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--frames", type=Path, required=True, help="folder of render_frames.py")
    parser.add_argument("--output", type=Path, required=True)
    options = parser.parse_args()
    options.output.write_text(json.dumps(ground_truth(options.frames)) + "\n")
    return 0


if __name__ == "__main__":
    sys.exit(main())
