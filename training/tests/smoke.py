"""The whole recipe in small: render, train, export, reduce, and run in the host program.

What is trained so briefly finds nothing; that the loss falls and that the host program finds what
the network in torch says, decoded once more here, is what is tested.
"""

import json
import os
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

import cv2
import numpy as np
import torch

from data import CLASSES, SIDE, to_planes
from evaluate import LAYOUTS, configuration
from export import Deployed
from letterbox import letterbox, to_square
from network import Segmenter

RECIPE = Path(__file__).resolve().parents[1]
PROGRAM = Path(os.environ.get("DIRTY_SEG_PROGRAM", ""))
SCENES, STEPS, BATCH = 24, 60, 8
LOOKS = 48  # steps before the segmentation network sees patches, whose loss is another
CANDIDATES = 60  # how many anchors of the frame's strongest patch the comparison looks at
OVERLAP = 0.7
SCORE_TOLERANCE, BOX_TOLERANCE = 1e-3, 0.5  # of another order of adding, in frame pixels
MOST_LOST = 0.05  # share where that order decided whether boxes overlap by more than OVERLAP
Array = np.ndarray


def python(script: str, *arguments: str) -> str:
    done = subprocess.run(
        [sys.executable, str(RECIPE / script), *arguments],
        capture_output=True,
        text=True,
        check=False,
    )
    if done.returncode != 0:
        raise AssertionError(
            f"{script} {' '.join(arguments)}\n{done.stdout[-2000:]}{done.stderr[-3000:]}"
        )
    return done.stdout


def train(task: str, scenes: Path, folder: Path, steps: int, *more: str) -> list[dict]:
    python(
        "train.py",
        task,
        "--data",
        str(scenes),
        "--output",
        str(folder),
        "--images",
        str(steps * BATCH),
        "--batch",
        str(BATCH),
        "--log-every",
        "1",
        *more,
    )
    return [json.loads(line) for line in (folder / "log.jsonl").read_text().splitlines()]


# ---- A second decoder, in plain NumPy -----------------------------------------------------------


def overlaps(box: Array, others: Array) -> Array:
    low, high = np.maximum(box[:2], others[:, :2]), np.minimum(box[2:], others[:, 2:])
    shared = np.clip(high - low, 0, None).prod(axis=1)
    areas = (box[2:] - box[:2]).prod() + (others[:, 2:] - others[:, :2]).prod(axis=1)
    return shared / np.maximum(areas - shared, 1e-9)


def decoded(predictions: Array, patch: list[int], threshold: float) -> list[tuple]:
    """(label, score, box in frame pixels) of one slot, [4 + classes + 32, anchors]."""
    x, y, width, height = patch
    scores = predictions[4 : 4 + len(CLASSES)]
    labels, best = scores.argmax(axis=0), scores.max(axis=0)
    order = [i for i in np.argsort(-best, kind="stable") if best[i] > threshold]
    centre, size = predictions[:2].T, predictions[2:4].T
    corners = np.concatenate([centre - size / 2, centre + size / 2], axis=1)
    kept: list[int] = []
    for i in order:
        rivals = [j for j in kept if labels[j] == labels[i]]
        if not rivals or overlaps(corners[i], corners[rivals]).max() <= OVERLAP:
            kept.append(i)
    box = letterbox(SIDE, width, height)
    scale, pad = SIDE / max(width, height), np.array([box.left, box.top] * 2)
    inside = np.clip((corners - pad) / scale, 0, [width, height] * 2) + [x, y] * 2
    shown = [i for i in kept if (inside[i][2:] > inside[i][:2]).all()]
    return [(int(labels[i]), float(best[i]), inside[i]) for i in shown]


def answers(weights: Path, frame: Array) -> Array:
    """The network's predictions for the frame's patches, from torch."""
    model = Segmenter(len(CLASSES))
    model.load_state_dict(torch.load(weights))
    squares = [
        to_square(frame[y : y + h, x : x + w], SIDE)[..., ::-1] for x, y, w, h in LAYOUTS["tiles"]
    ]
    with torch.no_grad():
        return Deployed(model).eval()(to_planes(torch.from_numpy(np.stack(squares))))[0].numpy()


def alike(one: tuple, other: tuple) -> bool:
    return (
        one[0] == other[0]
        and abs(one[1] - other[1]) < SCORE_TOLERANCE
        and float(np.abs(np.array(one[2]) - other[2]).max()) < BOX_TOLERANCE
    )


def threshold_of(predictions: Array) -> float:
    """A score in the widest gap near the CANDIDATES-th best, so that rounding decides nothing."""
    best = np.sort(predictions[:, 4 : 4 + len(CLASSES)].max(axis=1).ravel())[::-1]
    near = best[CANDIDATES // 2 : CANDIDATES]
    widest = int(np.argmax(near[:-1] - near[1:]))
    return float((near[widest] + near[widest + 1]) / 2)


class SmokeTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls) -> None:
        scratch = tempfile.TemporaryDirectory(prefix="dirty_seg_smoke")
        cls.addClassCleanup(scratch.cleanup)
        cls.folder = Path(scratch.name)
        python("render_data.py", "--output", str(cls.folder / "data"), "--scenes", str(SCENES))
        python(
            "render_frames.py",
            "--output",
            str(cls.folder / "frames"),
            "--frames",
            "1",
            "--clean",
            "1",
        )
        cls.scenes = cls.folder / "data"
        cls.logs = {
            task: train(task, cls.scenes, cls.folder / task, STEPS)
            for task in ("segment", "classify")
        }
        for task in cls.logs:
            python(
                "export.py",
                task,
                "--weights",
                str(cls.folder / task / "network.pt"),
                "--output",
                str(cls.folder / f"{task}.onnx"),
            )

    def detect(self, network: Path, threshold: float, *more: str) -> list[dict]:
        config = self.folder / "config.yaml"
        config.write_text(configuration(LAYOUTS["tiles"], threshold, OVERLAP))
        done = subprocess.run(
            [
                str(PROGRAM),
                "detect",
                "--model",
                str(network),
                "--config",
                str(config),
                *more,
                str(self.folder / "frames" / "frames"),
            ],
            capture_output=True,
            text=True,
            check=False,
        )
        self.assertEqual(done.returncode, 0, done.stderr[-2000:])
        return [json.loads(line) for line in done.stdout.splitlines()]

    def test_losses_fall(self) -> None:
        for task, most in (("segment", 0.8), ("classify", 0.97)):
            losses = [line["loss"] for line in self.logs[task]]
            self.assertEqual(len(losses), STEPS)
            losses = losses[:LOOKS]
            self.assertLess(np.mean(losses[-10:]), most * np.mean(losses[:10]), task)

    def test_training_goes_on_where_it_stopped(self) -> None:
        whole = train("segment", self.scenes, self.folder / "whole", 3)
        parts = self.folder / "parts"
        train("segment", self.scenes, parts, 3, "--stop-after", "1")
        resumed = train("segment", self.scenes, parts, 3, "--resume")
        self.assertEqual([line["loss"] for line in whole], [line["loss"] for line in resumed])

    def test_the_host_program_finds_what_the_network_says(self) -> None:
        frame = cv2.imread(str(self.folder / "frames" / "frames" / "0000.jpg"))
        predictions = answers(self.folder / "segment" / "network.pt", frame)
        threshold = threshold_of(predictions)
        expected = [
            found
            for slot, patch in zip(predictions, LAYOUTS["tiles"])
            for found in decoded(slot, patch, threshold)
        ]
        record = self.detect(self.folder / "segment.onnx", threshold)[0]
        found = list(zip(record["labels"], record["scores"], record["bboxes"]))
        self.assertGreater(len(expected), 5)
        for one, other in ((expected, found), (found, expected)):
            lost = [item for item in one if not any(alike(item, rival) for rival in other)]
            self.assertLessEqual(len(lost), MOST_LOST * len(one), f"{lost} are not among {other}")

    def test_reduced_forms_run(self) -> None:
        for task in self.logs:
            for form in ("float16", "static"):
                python(
                    "quantise.py",
                    form,
                    "--model",
                    str(self.folder / f"{task}.onnx"),
                    "--output",
                    str(self.folder / f"{task}-{form}.onnx"),
                    "--data",
                    str(self.folder / "data"),
                    "--samples",
                    "6",
                )
        for form in ("float16", "static"):
            records = self.detect(
                self.folder / f"segment-{form}.onnx",
                0.02,
                "--fece-model",
                str(self.folder / f"classify-{form}.onnx"),
                "--fece-class-ids",
                "0,1,2,3,4,5",
            )
            self.assertEqual(len(records), 2)
            self.assertTrue(all(record["success"] for record in records), form)

    def test_networks_are_measured(self) -> None:
        for task in self.logs:
            printed = json.loads(
                python(
                    "evaluate.py",
                    task,
                    "--frames",
                    str(self.folder / "frames"),
                    "--program",
                    str(PROGRAM),
                    "--model",
                    str(self.folder / f"{task}.onnx"),
                )
            )
            figure = printed["by patch"]["mask mAP50"] if task == "segment" else printed["recall"]
            self.assertTrue(0 <= figure[1] <= figure[2] <= 1 and 0 <= figure[0] <= 1, printed)
