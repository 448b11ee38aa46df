"""Training samples from rendered scenes.

A sample depends on nothing but the data's seed and its own number, so that training can go on from
any step, and any number of workers give the same samples.
"""

import json
from collections.abc import Iterator
from pathlib import Path
from typing import NamedTuple

import cv2
import numpy as np
import torch
from torch.utils.data import Dataset

from letterbox import letterbox, to_square
from render.camera import compressed
from render.dirt import CLASSES
from render.distractors import LOOK_ALIKES

Image = np.ndarray
Rng = np.random.Generator

SIDE = 320
MASK_STRIDE = 4  # network pixels a cell of a mask
PATCH_SIDES = (340, 520)  # longer side of a training patch, in pixels of its scene
LOOK_SIDE = 160  # of the squares that training begins with: things from near, little floor
# A piece of dirt smaller than any of these, within a patch, is neither asked for nor punished:
# pixels and pixels of the shorter side in the network's square, share of the whole thing.
LEAST_PIXELS, LEAST_SIDE, LEAST_SHARE = 300, 16, 0.5

CROP = 224
MEAN = np.float32([0.485, 0.456, 0.406])
DEVIATION = np.float32([0.229, 0.224, 0.225])
WASTE = CLASSES.index("solid waste")


class Piece(NamedTuple):
    """What a patch shows of one piece of dirt."""

    label: int
    box: tuple[float, float, float, float]  # x1, y1, x2, y2 in pixels of the patch
    mask: Image  # bool, of the patch
    counts: bool  # large enough to be asked for


def pieces_of(
    owners: Image, things: list[dict], whole_areas: dict[int, int], scale: float
) -> Iterator[Piece]:
    """The dirt that a patch shows; `whole_areas` are the things' pixels in the whole picture,
    `scale` leads to the network's pixels."""
    for thing in things:
        if thing["label"] < 0:
            continue
        mask = owners == thing["number"]
        area = int(mask.sum())
        if area == 0:
            continue
        rows, columns = np.flatnonzero(mask.any(axis=1)), np.flatnonzero(mask.any(axis=0))
        box = (float(columns[0]), float(rows[0]), columns[-1] + 1.0, rows[-1] + 1.0)
        counts = (
            area * scale**2 >= LEAST_PIXELS
            and area >= LEAST_SHARE * whole_areas[thing["number"]]
            and min(box[2] - box[0], box[3] - box[1]) * scale >= LEAST_SIDE
        )
        yield Piece(thing["label"], box, mask, counts)


def areas_of(owners: Image) -> dict[int, int]:
    return dict(enumerate(np.bincount(owners.ravel(), minlength=256).tolist()))


class Target(NamedTuple):
    """What a square of `side` network pixels shows: M pieces that count, K to be ignored."""

    labels: Image  # int64 [M]
    boxes: Image  # float32 [M, 4], corners in network pixels
    masks: Image  # bytes [M, side / 4, side / 4]: share of each cell, 255 is all of it
    ignored: Image  # float32 [K, 4]


def target_of(owners: Image, things: list[dict], whole_areas: dict[int, int], side: int) -> Target:
    height, width = owners.shape
    box, mask_side = letterbox(side, width, height), side // MASK_STRIDE
    scale, offset = box.width / width, np.float32([box.left, box.top] * 2)
    labels, boxes, masks, ignored = [], [], [], []
    for piece in pieces_of(owners, things, whole_areas, scale):
        corners = np.float32(piece.box) * np.float32(scale) + offset
        if not piece.counts:
            ignored.append(corners)
            continue
        square = to_square(piece.mask.astype(np.uint8) * 255, side, pad=0)
        labels.append(piece.label)
        boxes.append(corners)
        masks.append(cv2.resize(square, (mask_side, mask_side), interpolation=cv2.INTER_AREA))
    return Target(
        np.array(labels, np.int64),
        np.array(boxes, np.float32).reshape(-1, 4),
        np.array(masks, np.uint8).reshape(-1, mask_side, mask_side),
        np.array(ignored, np.float32).reshape(-1, 4),
    )


# ---- Variation of pictures ----------------------------------------------------------------------


def vary_colour(rng: Rng, picture: Image) -> Image:
    """Gain of each channel, brightness, contrast, gamma: one table a channel."""
    levels = np.arange(256, dtype=np.float32) / 255
    gamma, contrast = np.exp(rng.normal(0, 0.1, 2))
    table = 0.5 + ((levels**gamma) - 0.5) * contrast + rng.normal(0, 0.05)
    gains = 1 + rng.normal(0, 0.05, 3)
    tables = np.clip(np.rint(table[:, None] * gains * 255), 0, 255).astype(np.uint8)
    return cv2.LUT(picture, tables[None])


def vary_sharpness(rng: Rng, picture: Image) -> Image:
    """Sometimes blurred, noisy or compressed once more."""
    if rng.random() < 0.15:
        picture = cv2.GaussianBlur(picture, (0, 0), rng.uniform(0.4, 1.6))
    if rng.random() < 0.25:
        noise = np.empty(picture.shape, np.int8)
        cv2.setRNGSeed(int(rng.integers(2**31)))
        cv2.randn(noise, 0, float(rng.uniform(1, 10)))
        picture = np.clip(picture.astype(np.int16) + noise, 0, 255).astype(np.uint8)
    if rng.random() < 0.15:
        picture = compressed(picture, int(rng.integers(40, 95)))
    return picture


def random_window(rng: Rng, width: int, height: int) -> tuple[slice, slice]:
    """Rows and columns of a patch of random size, form and place."""
    longer = int(rng.uniform(PATCH_SIDES[0], min(PATCH_SIDES[1], width, height) + 1))
    shorter = int(longer * rng.uniform(0.7, 1.0))
    across, down = (longer, shorter) if rng.random() < 0.75 else (shorter, longer)
    left, top = int(rng.integers(0, width - across + 1)), int(rng.integers(0, height - down + 1))
    return slice(top, top + down), slice(left, left + across)


def look_window(rng: Rng, owners: Image, things: list[dict]) -> tuple[slice, slice]:
    """Rows and columns of a square that becomes LOOK_SIDE pixels: mostly round a piece of dirt,
    else round another thing or anywhere."""
    length = int(LOOK_SIDE * rng.uniform(*PATCH_SIDES) / SIDE)
    is_dirt = rng.random() < 0.65
    pool = [thing["number"] for thing in things if (thing["label"] >= 0) == is_dirt]
    centre = rng.uniform(0, owners.shape)
    if pool and rng.random() < 0.9:
        pixels = np.argwhere(owners[::4, ::4] == rng.choice(pool))
        if len(pixels):
            centre = 4 * pixels.mean(axis=0)
    corner = centre + rng.uniform(-0.35, 0.35, 2) * length - length / 2
    top, left = np.clip(corner, 0, np.array(owners.shape) - length).astype(int)
    return slice(top, top + length), slice(left, left + length)


def moved(field: Image, turns: int, mirrored: bool) -> Image:
    field = np.rot90(field, turns)
    return np.ascontiguousarray(field[:, ::-1] if mirrored else field)


# ---- Scenes -------------------------------------------------------------------------------------


class Scenes:
    """The rendered scenes of a folder, by position in their order of numbers."""

    def __init__(self, folder: Path) -> None:
        index, *arrays = (folder / name for name in ("index.jsonl", "pictures.npy", "owners.npy"))
        for path in (index, *arrays):
            if not path.is_file():
                raise SystemExit(f"'{path}' is missing: render the data first (render_data.py)")
        lines = [json.loads(line) for line in index.read_text().splitlines()]
        if not lines:
            raise SystemExit(f"'{index}' has no scenes: render the data anew (render_data.py)")
        self.lines = sorted(lines, key=lambda line: line["scene"])
        self.pictures, self.owners = (np.load(path, mmap_mode="r") for path in arrays)
        self.folder = folder

    def __len__(self) -> int:
        return len(self.lines)

    def read(self, position: int) -> tuple[Image, Image, list[dict]]:
        """Picture (B, G, R), map of owners, things."""
        line = self.lines[position]
        return self.pictures[line["scene"]], self.owners[line["scene"]], line["things"]


def position_of(seed: int, number: int, count: int) -> int:
    """Scene of a sample: every scene once a pass, in an order of the pass's own."""
    order = np.random.default_rng([seed, 1, number // count]).permutation(count)
    return int(order[number % count])


class SegmentationSamples(Dataset):
    """Sample number -> picture bytes [side, side, 3] (R, G, B) and its target.

    Those before `first_patch` are looks at things, the others patches as the network will see them:
    for one patch's time it learns from four looks, most of them at dirt.
    """

    def __init__(self, scenes: Scenes, seed: int, length: int, first_patch: int = 0) -> None:
        self.scenes, self.seed, self.length = scenes, seed, length
        self.first_patch = first_patch

    def __len__(self) -> int:
        return self.length

    def __getitem__(self, number: int) -> tuple[Image, Target]:
        cv2.setNumThreads(1)
        rng = np.random.default_rng([self.seed, 2, number])
        position = position_of(self.seed, number, len(self.scenes))
        picture, owners, things = self.scenes.read(position)
        if number < self.first_patch:
            side, window = LOOK_SIDE, look_window(rng, owners, things)
        else:
            side, window = SIDE, random_window(rng, owners.shape[1], owners.shape[0])
        turns, mirrored = int(rng.integers(4)), bool(rng.random() < 0.5)
        patch = moved(vary_colour(rng, picture[window]), turns, mirrored)
        square = vary_sharpness(rng, to_square(patch, side))
        areas = areas_of(owners)
        target = target_of(moved(owners[window], turns, mirrored), things, areas, side)
        return square[..., ::-1].copy(), target


class Batch(NamedTuple):
    images: torch.Tensor  # bytes [N, side, side, 3]
    labels: torch.Tensor  # int64 [N, M], 0 where not valid
    boxes: torch.Tensor  # [N, M, 4]
    masks: torch.Tensor  # bytes [N, M, side / 4, side / 4]
    valid: torch.Tensor  # bool [N, M]
    ignored: torch.Tensor  # [N, K, 4], empty boxes after the last


def filled(parts: list[Image]) -> torch.Tensor:
    """Arrays of different lengths on top of each other, zeros after the shorter ones."""
    longest = max(1, *(len(part) for part in parts))
    total = np.zeros((len(parts), longest, *parts[0].shape[1:]), parts[0].dtype)
    for row, part in zip(total, parts):
        row[: len(part)] = part
    return torch.from_numpy(total)


def collate(samples: list[tuple[Image, Target]]) -> Batch:
    targets = [target for _, target in samples]
    return Batch(
        torch.from_numpy(np.stack([picture for picture, _ in samples])),
        filled([target.labels for target in targets]),
        filled([target.boxes for target in targets]),
        filled([target.masks for target in targets]),
        filled([np.ones(len(target.labels), bool) for target in targets]),
        filled([target.ignored for target in targets]),
    )


def to_planes(images: torch.Tensor) -> torch.Tensor:
    """Bytes [N, H, W, 3] to the network's [N, 3, H, W] in 0..1."""
    return images.permute(0, 3, 1, 2).contiguous().float() / 255


# ---- The classifier's crops ---------------------------------------------------------------------


class CropSamples(Dataset):
    """Sample number -> normalised crop [3, CROP, CROP] and verdict: even numbers are faeces."""

    def __init__(self, scenes: Scenes, seed: int, length: int) -> None:
        self.scenes, self.seed, self.length = scenes, seed, length
        pairs = [(at, thing) for at, line in enumerate(scenes.lines) for thing in line["things"]]
        self.faeces = [pair for pair in pairs if pair[1]["label"] == WASTE]
        others = [pair for pair in pairs if pair[1]["label"] != WASTE]
        self.alike = [pair for pair in others if pair[1]["kind"] in (*LOOK_ALIKES, "mud track")]
        self.others = others
        if not (self.faeces and self.alike):
            raise SystemExit(f"'{scenes.folder}' shows no faeces or no look-alikes: render more")

    def __len__(self) -> int:
        return self.length

    def __getitem__(self, number: int) -> tuple[torch.Tensor, int]:
        cv2.setNumThreads(1)
        rng = np.random.default_rng([self.seed, 3, number])
        verdict = int(number % 2 == 0)
        for _ in range(50):
            pool = self.faeces if verdict else (self.alike if rng.random() < 0.65 else self.others)
            position, thing = pool[rng.integers(len(pool))]
            picture, owners, _ = self.scenes.read(position)
            crop = self.cut(rng, picture, owners == thing["number"])
            if crop is not None:
                return torch.from_numpy(normalised(self.vary(rng, crop))), verdict
        raise ValueError(f"'{self.scenes.folder}': things are all too small to be classified")

    @staticmethod
    def cut(rng: Rng, picture: Image, mask: Image) -> Image | None:
        """The thing's box, moved and stretched as a detector's may be."""
        rows, columns = np.flatnonzero(mask.any(axis=1)), np.flatnonzero(mask.any(axis=0))
        if len(rows) < 16 or len(columns) < 16 or mask.sum() < 400:
            return None
        down, across = rng.normal(0, 0.08, 2) * len(rows), rng.normal(0, 0.08, 2) * len(columns)
        top, bottom = max(int(rows[0] + down[0]), 0), int(rows[-1] + 1 + down[1])
        left, right = max(int(columns[0] + across[0]), 0), int(columns[-1] + 1 + across[1])
        crop = picture[top:bottom, left:right]
        return crop if min(crop.shape[:2], default=0) >= 8 else None

    @staticmethod
    def vary(rng: Rng, crop: Image) -> Image:
        crop = moved(vary_colour(rng, crop), int(rng.integers(4)), bool(rng.random() < 0.5))
        crop = cv2.resize(crop, (CROP, CROP), interpolation=cv2.INTER_LINEAR)
        return vary_sharpness(rng, crop)


def normalised(crop: Image) -> Image:
    """Bytes B, G, R to the classifier's planes, as the library makes them."""
    planes = (crop[..., ::-1].astype(np.float32) / 255 - MEAN) / DEVIATION
    return np.ascontiguousarray(planes.transpose(2, 0, 1))
