#!/usr/bin/python3
"""Measures networks as they run in the host program, on frames with a known truth.

    evaluate.py segment  --frames out/training/frames --model dirt-seg.onnx
    evaluate.py classify --frames out/training/frames --model fece-check.onnx

The frames come from render_frames.py. segment: mean average precision of boxes and of masks, each
with a 95 % confidence interval by resampling frames, and false detections a clean frame.
    by patch   what each patch shows of each piece of dirt is a piece by itself, as the network sees
               it; a detection belongs to the patch that its box's centre lies in, so that this
               figure is for patches that do not overlap
    by frame   a piece of dirt is one, whatever patches it lies across; by the Python package's
               dirty_seg.evaluate
The host's record has one mask a label, so a detection's mask is its label's mask within its box.
With --merge the host joins what several patches show of one thing, and its things, which have masks
of their own, are measured by frame.
classify: precision and recall for faeces among crops of faeces, look-alikes and other things, laid
out on sheets of which a network that finds the fixed places of the crops hands each one on.
"""

import argparse
import json
import os
import subprocess
import sys
import tempfile
from collections.abc import Iterator
from pathlib import Path
from typing import NamedTuple

import cv2
import numpy as np

import metrics
from coco_truth import ground_truth
from crop_sheets import FAECES_LABEL, PLACES, Sheet, make_sheets, place_network
from data import CLASSES, SIDE, areas_of, pieces_of
from options import present_file
from truth import owners_of, truth_of

REPOSITORY = Path(__file__).resolve().parents[1]
PROGRAM = REPOSITORY / "build" / "dev" / "bin" / "dirty_seg"
PYTHON = REPOSITORY / "third_party" / "python" / "venv" / "bin" / "python"
LAYOUTS = {
    "tiles": [[x, y, 640, 540] for y in (0, 540) for x in (0, 640, 1280)],
    "overlapping": [[x, y, 640, 640] for y in (0, 440) for x in (0, 640, 1280)],
}
LOW_SCORE = 0.01  # from here on detections count for the average precision
TO_NETWORK = SIDE / 640  # network pixels a frame pixel, in the patches of both layouts
MOST_COVERED = 0.5  # share of a detection's box on dirt to be ignored, beyond which it is ignored
Array = np.ndarray


class Detection(NamedTuple):
    label: int
    score: float
    box: list[float]  # x1, y1, x2, y2 in frame pixels


def configuration(layout: list[list[int]], score: float, overlap: float) -> str:
    rows = "".join(f"    - {patch}\n" for patch in layout)
    return (
        f"patch:\n  enable: true\n  patches:\n{rows}"
        f"postprocess:\n  score_threshold: {score}\n  iou_threshold: {overlap}\n"
    )


def detect(
    options: argparse.Namespace, model: Path, config: str, inputs: Path, output: Path, *more: str
) -> list[dict]:
    """The host program's records, in the order of the frames' names."""
    if not options.program.is_file():
        raise SystemExit(f"--program: '{options.program}' is missing; build the host program first")
    settings = output.with_suffix(".yaml")
    settings.write_text(config)
    command = [
        str(options.program),
        "detect",
        "--model",
        str(model),
        "--config",
        str(settings),
        "--output",
        str(output),
        *more,
        str(inputs),
    ]
    done = subprocess.run(command, capture_output=True, text=True, check=False)
    if done.returncode != 0:
        raise SystemExit(
            f"{' '.join(command)}\nended with {done.returncode}:\n{done.stderr[-2000:]}"
        )
    records = [json.loads(line) for line in (output / "results.jsonl").read_text().splitlines()]
    return sorted(records, key=lambda record: Path(record["source"]).name)


def detections_of(record: dict) -> list[Detection]:
    return [
        Detection(*found) for found in zip(record["labels"], record["scores"], record["bboxes"])
    ]


# ---- Segmentation -------------------------------------------------------------------------------


def rounded(box: list[float]) -> tuple[slice, slice]:
    """Rows and columns of a box, as the library cuts masks: outward."""
    return (
        slice(int(np.floor(box[1])), int(np.ceil(box[3]))),
        slice(int(np.floor(box[0])), int(np.ceil(box[2]))),
    )


def box_overlap(one: list[float], other: list[float]) -> float:
    width = min(one[2], other[2]) - max(one[0], other[0])
    height = min(one[3], other[3]) - max(one[1], other[1])
    shared = max(width, 0.0) * max(height, 0.0)
    areas = sum((box[2] - box[0]) * (box[3] - box[1]) for box in (one, other))
    return shared / max(areas - shared, 1e-9)


def mask_overlap(mask: Array, box: list[float], truth: Array, truth_area: int) -> float:
    window = rounded(box)
    part, own = mask[window] > 0, truth[window]
    shared = int((part & own).sum())
    return shared / max(int(part.sum()) + truth_area - shared, 1)


class Unit(NamedTuple):
    """A rectangle of the frame that is judged by itself."""

    left: int
    top: int
    width: int
    height: int

    def holds(self, box: list[float]) -> bool:
        x, y = (box[0] + box[2]) / 2 - self.left, (box[1] + box[3]) / 2 - self.top
        return 0 <= x < self.width and 0 <= y < self.height


class Judge:
    """Tallies of boxes and of masks for one way to cut frames into units."""

    def __init__(self, units: list[Unit]) -> None:
        self.units = units
        self.boxes = {label: metrics.Tally() for label in range(len(CLASSES))}
        self.masks = {label: metrics.Tally() for label in range(len(CLASSES))}

    def add(
        self,
        number: int,
        owners: Array,
        things: list[dict],
        found: list[Detection],
        masks: dict[int, Array],
    ) -> None:
        areas = areas_of(owners)
        for unit in self.units:
            window = (
                slice(unit.top, unit.top + unit.height),
                slice(unit.left, unit.left + unit.width),
            )
            pieces = list(pieces_of(owners[window], things, areas, TO_NETWORK))
            inside = [item for item in found if unit.holds(item.box)]
            for label in range(len(CLASSES)):
                own = [piece for piece in pieces if piece.label == label]
                mine = [item for item in inside if item.label == label]
                self.add_class(number, unit, label, own, mine, masks.get(label))

    def add_class(
        self,
        number: int,
        unit: Unit,
        label: int,
        pieces: list,
        found: list[Detection],
        label_mask: Array | None,
    ) -> None:
        scores = np.array([item.score for item in found])
        counts = np.array([piece.counts for piece in pieces], bool)
        shape = (len(found), len(pieces))
        boxes, masks = np.zeros(shape), np.zeros(shape)
        covered = np.zeros(len(found), bool)
        shift = [unit.left, unit.top] * 2
        window = slice(unit.top, unit.top + unit.height), slice(unit.left, unit.left + unit.width)
        part = (
            np.zeros((unit.height, unit.width), np.uint8)
            if label_mask is None
            else label_mask[window]
        )
        for row, item in enumerate(found):
            own = [value - offset for value, offset in zip(item.box, shift)]
            for column, piece in enumerate(pieces):
                boxes[row, column] = box_overlap(own, piece.box)
                if boxes[row, column] > 0:
                    area = int(piece.mask.sum())
                    masks[row, column] = mask_overlap(part, own, piece.mask, area)
                if not piece.counts:
                    covered[row] |= covers(own, piece.box) > MOST_COVERED
        metrics.add(self.boxes[label], number, scores, boxes, counts, covered)
        metrics.add(self.masks[label], number, scores, masks, counts, covered)

    def figures(self, frames: int) -> dict[str, metrics.Figure]:
        result = {}
        for name, tallies in (("box", self.boxes), ("mask", self.masks)):
            for measure, figure in metrics.average_precisions(tallies, frames).items():
                result[f"{name} {measure}"] = figure
        return result

    def by_class(self, frames: int) -> dict[str, float]:
        """Mask AP50 of each class that occurs."""
        values = {}
        for label, tally in self.masks.items():
            precision = metrics.Curve(tally).precision(np.ones(frames))
            if precision is not None:
                values[CLASSES[label]] = round(float(precision[0]), 4)
        return values


def covers(box: list[float], piece: tuple) -> float:
    """Share of a box that lies on another."""
    width = min(box[2], piece[2]) - max(box[0], piece[0])
    height = min(box[3], piece[3]) - max(box[1], piece[1])
    return max(width, 0.0) * max(height, 0.0) / max((box[2] - box[0]) * (box[3] - box[1]), 1e-9)


def label_masks(output: Path, record: dict) -> dict[int, Array]:
    return {
        int(label): cv2.imread(str(output / entry["file"]), cv2.IMREAD_GRAYSCALE)
        for label, entry in record["label_masks"].items()
    }


def segment(options: argparse.Namespace) -> dict:
    layout = LAYOUTS[options.layout]
    lines = truth_of(options.frames)
    is_by_patch = options.layout == "tiles" and not options.merge
    judge = Judge([Unit(*patch) for patch in layout])
    clean, falsely = [], []
    with tempfile.TemporaryDirectory() as scratch:
        output = Path(scratch) / "found"
        config = configuration(layout, LOW_SCORE, options.overlap)
        more = ["--merge"] if options.merge else []
        records = detect(options, options.model, config, options.frames / "frames", output, *more)
        for number, (line, record) in enumerate(zip(lines, records, strict=True)):
            if Path(record["source"]).name != line["frame"]:
                raise SystemExit(f"{record['source']}: the truth expects {line['frame']} here")
            if line["clean"]:
                clean.append(number)
                falsely.append(sum(score > options.score for score in scores_of(record)))
            if is_by_patch:
                owners, masks = owners_of(options.frames, line), label_masks(output, record)
                judge.add(number, owners, line["things"], detections_of(record), masks)
        by_frame = figures_by_frame(options, output)
    result = {"frames": len(lines) - len(clean), "clean frames": len(clean)}
    if is_by_patch:
        figures = judge.figures(len(lines))
        result["by patch"] = {key: figure.record() for key, figure in figures.items()}
        result["by patch"]["mask AP50 of each class"] = judge.by_class(len(lines))
    result["by frame"] = by_frame
    if clean:
        figure = metrics.mean_with_interval(np.array(falsely, float))
        result[f"false detections a clean frame above {options.score}"] = figure.record()
    return result


def scores_of(record: dict) -> list[float]:
    """Of things, if they were asked for."""
    return (
        [thing["score"] for thing in record["things"]] if "things" in record else record["scores"]
    )


def figures_by_frame(options: argparse.Namespace, results: Path) -> dict:
    """The Python package's measure: what people compare detectors by."""
    package = options.program.parents[1] / "python"
    for path in (PYTHON, package / "dirty_seg" / "evaluate.py"):
        if not path.is_file():
            raise SystemExit(
                f"'{path}' is missing, which measures by frame; run scripts/setup.sh and build"
                " with -DDIRTY_SEG_PYTHON=ON, as the preset dev does"
            )
    truth = results.with_name("coco.json")
    truth.write_text(json.dumps(ground_truth(options.frames)))
    command = [str(PYTHON), "-m", "dirty_seg.evaluate", "--json", str(results), str(truth)]
    done = subprocess.run(
        command,
        capture_output=True,
        text=True,
        check=False,
        env={**os.environ, "PYTHONPATH": str(package)},
    )
    if done.returncode != 0:
        raise SystemExit(f"{' '.join(command)}\nended with {done.returncode}:\n{done.stderr}")
    measured = json.loads(done.stdout)
    figures = {
        f"{name} {measure}": [round(figure[key], 4) for key in ("value", "low", "high")]
        for name, part in (("box", measured["boxes"]), ("mask", measured["masks"]))
        for measure, figure in (("mAP50", part["ap50"]), ("mAP50-95", part["ap50_95"]))
    }
    figures["mask AP50 of each class"] = {
        part["name"]: round(part["masks"]["ap50"]["value"], 4) for part in measured["classes"]
    }
    return figures


# ---- Classification -----------------------------------------------------------------------------


def verdicts(records: list[dict], sheets: list[Sheet]) -> Iterator[tuple[bool, bool]]:
    """For each crop whether it shows faeces and whether the classifier said so."""
    for record, sheet in zip(records, sheets, strict=True):
        said = {
            (round(box[0]), round(box[1])): label == FAECES_LABEL
            for label, box in zip(record["labels"], record["bboxes"])
        }
        for place, truth in zip(PLACES, sheet.truths):
            if place not in said:
                raise SystemExit(f"{record['source']}: nothing was found at {place}")
            yield truth, said[place]


def classify(options: argparse.Namespace) -> dict:
    sheets = make_sheets(options.frames, truth_of(options.frames), owners_of)
    with tempfile.TemporaryDirectory() as scratch:
        folder, network = Path(scratch) / "sheets", Path(scratch) / "places.onnx"
        folder.mkdir()
        network.write_bytes(place_network(LAYOUTS["tiles"]))
        for number, sheet in enumerate(sheets):
            cv2.imwrite(str(folder / f"{number:04}.png"), sheet.picture)
        records = detect(
            options,
            network,
            configuration(LAYOUTS["tiles"], 0.25, 0.7),
            folder,
            Path(scratch) / "found",
            "--fece-model",
            str(options.model),
            "--fece-class-ids",
            "0",
            "--fece-score-threshold",
            str(options.verdict),
            "--fece-area-threshold",
            "400",
        )
        pairs = np.array(list(verdicts(records, sheets)), float)
    truth, said = pairs.T
    right = truth * said
    return {
        "crops": len(pairs),
        "of them faeces": int(truth.sum()),
        "precision": metrics.ratio_with_interval(right, said).record(),
        "recall": metrics.ratio_with_interval(right, truth).record(),
    }


def parse() -> argparse.Namespace:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("task", choices=("segment", "classify"))
    parser.add_argument("--frames", type=Path, required=True)
    parser.add_argument("--model", type=present_file, required=True)
    parser.add_argument(
        "--program", type=Path, default=PROGRAM, help="of a build with the Python package"
    )
    parser.add_argument("--merge", action="store_true", help="measure things")
    parser.add_argument("--layout", choices=LAYOUTS, default="tiles")
    parser.add_argument(
        "--overlap", type=float, default=0.5, help="of boxes, above which one is dropped"
    )
    parser.add_argument(
        "--score", type=float, default=0.25, help="for false detections on clean frames"
    )
    parser.add_argument(
        "--verdict", type=float, default=0.5, help="probability that confirms faeces"
    )
    parser.add_argument("--json", type=Path, help="also write the figures here")
    return parser.parse_args()


def main() -> int:
    options = parse()
    result = {"segment": segment, "classify": classify}[options.task](options)
    text = json.dumps({"model": options.model.name, **result}, indent=1)
    print(text)
    if options.json:
        options.json.write_text(text + "\n")
    return 0


if __name__ == "__main__":
    sys.exit(main())
