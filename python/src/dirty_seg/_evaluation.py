"""Mean average precision of results against ground truth, by pycocotools."""

from __future__ import annotations

import contextlib
import dataclasses
import io
import json
import os
from collections.abc import Iterable, Iterator, Mapping
from pathlib import Path
from typing import Any, Literal, TypeAlias

import numpy as np
import numpy.typing as npt

import dirty_seg._core as _core
import dirty_seg._ground_truth as _ground_truth
from dirty_seg._ground_truth import GroundTruth, Picture
from dirty_seg._result import Result

Line: TypeAlias = str | Mapping[str, Any]
Results: TypeAlias = (
    str | os.PathLike[str] | Mapping[str, Result] | Iterable[Line | tuple[str, Result]]
)
Precisions = npt.NDArray[np.float64]

#: Detections of a class in a picture that count, best first: COCO's own limit.
MAX_DETECTIONS = 100
_WHOLE_RANGE = [0, 1e10]  # of areas; COCO's
_MAX_RESAMPLES = 100_000


@dataclasses.dataclass(frozen=True)
class Figure:
    """A measure, 0 to 1, and its 95 % confidence interval over pictures."""

    value: float
    low: float
    high: float

    def __str__(self) -> str:
        return f"{self.value:.3f} [{self.low:.3f}, {self.high:.3f}]"


@dataclasses.dataclass(frozen=True)
class AveragePrecision:
    """Average precision at an overlap of 0.5, and its mean over 0.5, 0.55, ... 0.95."""

    ap50: Figure
    ap50_95: Figure


@dataclasses.dataclass(frozen=True)
class ClassEvaluation:
    """One category of the ground truth."""

    label: int
    name: str
    #: How many are to be found.
    annotations: int
    boxes: AveragePrecision
    #: None where the ground truth has no masks.
    masks: AveragePrecision | None


@dataclasses.dataclass(frozen=True)
class Evaluation:
    """How well results match ground truth. ``print`` shows a table."""

    pictures: int
    #: Pictures on which the detector failed: nothing was found in them.
    failed: int
    #: How many are to be found; crowds are not.
    annotations: int
    #: How many were found, whatever their score.
    detections: int
    #: Means over the classes that occur.
    boxes: AveragePrecision
    #: None where the ground truth has no masks.
    masks: AveragePrecision | None
    #: Of the categories that occur, in order of their ids.
    classes: tuple[ClassEvaluation, ...]
    #: How often pictures were drawn for the intervals, and the generator's seed.
    resamples: int
    seed: int

    def to_dict(self) -> dict[str, Any]:
        """The same as dictionaries, lists, texts and numbers, as JSON has them."""
        return dataclasses.asdict(self)

    def __str__(self) -> str:
        kinds = ["box", "mask"] if self.masks is not None else ["box"]
        columns = [f"{kind} {name}" for kind in kinds for name in ("AP50", "AP50-95")]
        width = max(len(part.name) for part in self.classes)
        lines = [f"{'class':{width}} {'annotations':>11}" + "".join(f"  {c:20}" for c in columns)]
        rows = [("all", self.annotations, self.boxes, self.masks)]
        rows += [(part.name, part.annotations, part.boxes, part.masks) for part in self.classes]
        for name, count, boxes, masks in rows:
            figures = [boxes.ap50, boxes.ap50_95]
            figures += [masks.ap50, masks.ap50_95] if masks is not None else []
            cells = "".join(f"  {figure!s:20}" for figure in figures)
            lines.append(f"{name:{width}} {count:11}{cells}")
        failed = f", {self.failed} of which failed" if self.failed else ""
        lines.append(
            f"{self.pictures} pictures{failed}; 95 % intervals of {self.resamples} draws of them"
        )
        return "\n".join(line.rstrip() for line in lines)


def evaluate(
    results: Results,
    ground_truth: str | os.PathLike[str] | Mapping[str, Any],
    *,
    labels: Mapping[int, int] | None = None,
    resamples: int = 200,
    seed: int = 0,
) -> Evaluation:
    """Mean average precision of boxes and of masks, each with its 95 % confidence interval.

    The measure is COCO's, through pycocotools: detections of a class, best score first, 100 a
    picture at most, each take the annotation that they overlap most, from an overlap of 0.5, 0.55,
    ... 0.95 on; precision is read at 101 values of recall. Things are measured where the results
    have them, else detections, whose mask is their label's within their box. All is in pixels of
    the pictures. Intervals come from drawing as many pictures, again and again, with replacement.

    Args:
        results: A results.jsonl or the folder that has one; or its lines, as texts or dictionaries;
            or results by file name, as a mapping or as pairs. One for each picture of the ground
            truth. A frame that failed counts as one in which nothing was found.
        ground_truth: COCO's ground truth, a file or what it has. A result belongs to the image
            whose ``file_name`` its source ends with. What has ``iscrowd`` is neither right nor
            wrong to find.
        labels: Labels to the categories that they count as; others count as themselves. {19: 5}
            counts what the classifier confirmed as category 5.
        resamples: How often pictures are drawn; 2 or more.
        seed: Of the draws; the same one gives the same intervals.

    Raises:
        ValueError: results or ground truth cannot be used; the text says where and why.
        SetupError: a line of the results cannot be read.
        OSError: a file cannot be read.
        ImportError: pycocotools is not there.
    """
    _check_number("resamples", resamples, 2, _MAX_RESAMPLES)
    _check_number("seed", seed, 0, 2**63 - 1)
    truth = _ground_truth.read(ground_truth)
    found = _Found(truth, dict(labels or {}))
    for source, result in _each(results):
        found.add(source, result)
    found.check_all_are_there()

    counts = _counts(truth)
    categories = sorted(counts)
    draws = _draws(len(truth.pictures), resamples, seed)
    boxes = _figures(_precisions(truth, found.entries, "bbox", categories, draws))
    masks = None
    if truth.has_masks:
        masks = _figures(_precisions(truth, found.entries, "segm", categories, draws))
    return Evaluation(
        pictures=len(truth.pictures),
        failed=found.failed,
        annotations=sum(counts.values()),
        detections=len(found.entries),
        boxes=boxes[0],
        masks=masks[0] if masks else None,
        classes=tuple(
            ClassEvaluation(
                category,
                truth.categories[category],
                counts[category],
                boxes[i],
                masks[i] if masks else None,
            )
            for i, category in enumerate(categories, 1)
        ),
        resamples=resamples,
        seed=seed,
    )


def _check_number(name: str, value: int, least: int, most: int) -> None:
    if not isinstance(value, int) or isinstance(value, bool) or not least <= value <= most:
        raise ValueError(f"{name} is {value!r}; expected a whole number from {least} to {most}")


# ---- Results ------------------------------------------------------------------------------------


def _each(results: Results) -> Iterator[tuple[str, _core.FrameResult]]:
    """Name and result of each frame."""
    if isinstance(results, (str, os.PathLike)):
        yield from _of_file(Path(results))
        return
    if isinstance(results, Result):
        raise ValueError("results is one Result; expected them by file name, as {'a.jpg': result}")
    items = results.items() if isinstance(results, Mapping) else results
    for i, item in enumerate(items):
        yield _of_item(item, i)


def _of_file(path: Path) -> Iterator[tuple[str, _core.FrameResult]]:
    path = path / "results.jsonl" if path.is_dir() else path
    with open(path, encoding="utf-8", errors="strict") as file:
        try:
            for number, line in enumerate(file, 1):
                if line.strip():
                    yield _of_line(line, str(path), number)
        except UnicodeDecodeError as error:
            raise ValueError(f"'{path}' is not UTF-8: {error}") from error


def _of_item(item: Any, i: int) -> tuple[str, _core.FrameResult]:
    if isinstance(item, str):
        return _of_line(item, "results", i + 1)
    if isinstance(item, Mapping):
        return _of_line(json.dumps(item), "results", i + 1)
    if isinstance(item, tuple) and len(item) == 2:
        name, result = item
        if isinstance(name, (str, os.PathLike)) and isinstance(result, Result):
            return os.fsdecode(name), result._core
    raise ValueError(
        f"results[{i}] is of type {type(item).__name__}; expected a line of results.jsonl, or a "
        "file name and its Result"
    )


def _of_line(line: str, file: str, number: int) -> tuple[str, _core.FrameResult]:
    result = _core.FrameResult.from_line(line, _core.Labels({}, False, 0), [], file, number)
    record = json.loads(line)
    if record.get("frame", 0) != 0:
        raise ValueError(
            f"'{file}' line {number}: is frame {record['frame']} of '{record['source']}'; expected "
            "results of pictures, as ground truth has no frames of videos"
        )
    return record["source"], result


class _Found:
    """What results have found, as entries of COCO's results format."""

    def __init__(self, truth: GroundTruth, labels: dict[int, int]) -> None:
        self._truth = truth
        self._labels = labels
        self._sources: dict[int, str] = {}  # by picture
        self.entries: list[dict[str, Any]] = []
        self.failed = 0

    def add(self, source: str, result: _core.FrameResult) -> None:
        picture = self._truth.picture_of(source)
        if picture.id in self._sources:
            raise ValueError(
                f"the results have '{self._sources[picture.id]}' and '{source}' for the picture "
                f"'{picture.file_name}'; expected one"
            )
        self._sources[picture.id] = source
        if not result.success:
            self.failed += 1
            return
        self._check_size(source, picture, result)
        for entry in json.loads(result.coco(picture.id)):
            entry["category_id"] = self._category(source, entry["category_id"])
            # What is not a number comes last.
            entry["score"] = -1.0 if entry["score"] is None else entry["score"]
            self.entries.append(entry)

    def check_all_are_there(self) -> None:
        missing = [p.file_name for p in self._truth.pictures if p.id not in self._sources]
        if missing:
            raise ValueError(
                f"the results have nothing of '{missing[0]}'"
                + (f" and {len(missing) - 1} more pictures" if len(missing) > 1 else "")
                + " of the ground truth; expected a result for each"
            )

    def _check_size(self, source: str, picture: Picture, result: _core.FrameResult) -> None:
        if picture.size is not None and picture.size != result.image_size:
            raise ValueError(
                f"'{source}' is of {list(result.image_size)} pixels, '{picture.file_name}' of the "
                f"ground truth of {list(picture.size)}; expected the same picture"
            )

    def _category(self, source: str, label: int) -> int:
        category = self._labels.get(label, label)
        if category in self._truth.categories:
            return category
        known = ", ".join(f"{i} {name}" for i, name in sorted(self._truth.categories.items()))
        raise ValueError(
            f"'{source}' has label {label}, and category {category} is not in the ground truth, "
            f"which has {known}; expected one of them, or labels={{{label}: ...}}"
        )


# ---- Figures ------------------------------------------------------------------------------------


def _counts(truth: GroundTruth) -> dict[int, int]:
    """How many of each category are to be found, of those that are."""
    counts: dict[int, int] = {}
    for annotation in truth.annotations:
        if not annotation.is_crowd:
            counts[annotation.category] = counts.get(annotation.category, 0) + 1
    return counts


def _draws(pictures: int, resamples: int, seed: int) -> npt.NDArray[np.int64]:
    """Pictures of each draw, [1 + resamples, pictures]; first all of them as they are."""
    drawn = np.random.default_rng(seed).integers(0, pictures, (resamples, pictures))
    return np.concatenate([np.arange(pictures)[None], drawn])


def _precisions(
    truth: GroundTruth,
    entries: list[dict[str, Any]],
    kind: Literal["bbox", "segm"],
    categories: list[int],
    draws: npt.NDArray[np.int64],
) -> Precisions:
    """Average precision [draws, overlaps, categories]; not a number where a draw has nothing to
    be found."""
    try:
        from pycocotools.coco import COCO
        from pycocotools.cocoeval import COCOeval
    except ImportError as error:
        raise ImportError("evaluate needs pycocotools: pip install dirty-seg[evaluate]") from error

    def coco(annotations: list[dict[str, Any]]) -> Any:
        made = COCO()
        made.dataset = {
            "images": [_picture_entry(picture) for picture in truth.pictures],
            "categories": [{"id": i} for i in categories],
            "annotations": annotations,
        }
        made.createIndex()
        return made

    with contextlib.redirect_stdout(io.StringIO()):  # pycocotools prints its progress
        measure = COCOeval(
            coco(_annotation_entries(truth)), coco(_detection_entries(entries)), kind
        )
        measure.params.imgIds = sorted(picture.id for picture in truth.pictures)
        measure.params.catIds = categories
        measure.params.areaRng, measure.params.areaRngLbl = [_WHOLE_RANGE], ["all"]
        measure.params.maxDets = [MAX_DETECTIONS]
        measure.evaluate()
        # Pictures are matched by themselves, so a draw only takes other ones together.
        of_pictures = np.empty(len(measure.evalImgs), object)
        of_pictures[:] = measure.evalImgs
        by_picture = of_pictures.reshape(len(categories), len(truth.pictures))
        precisions = []
        for draw in draws:
            measure.evalImgs = by_picture[:, draw].ravel().tolist()
            measure.accumulate()
            precision = measure.eval["precision"][:, :, :, 0, 0]
            precisions.append(np.where(precision < 0, np.nan, precision).mean(axis=1))
    return np.stack(precisions)


def _picture_entry(picture: Picture) -> dict[str, Any]:
    height, width = picture.size or (0, 0)
    return {"id": picture.id, "height": height, "width": width}


def _annotation_entries(truth: GroundTruth) -> list[dict[str, Any]]:
    return [
        {
            "id": number,  # from 1: pycocotools takes a match with 0 for none
            "image_id": annotation.picture,
            "category_id": annotation.category,
            "bbox": list(annotation.box),
            "area": annotation.box[2] * annotation.box[3],
            "iscrowd": int(annotation.is_crowd),
            "segmentation": annotation.segmentation,
        }
        for number, annotation in enumerate(truth.annotations, 1)
    ]


def _detection_entries(entries: list[dict[str, Any]]) -> list[dict[str, Any]]:
    return [
        {**entry, "id": number, "area": entry["bbox"][2] * entry["bbox"][3], "iscrowd": 0}
        for number, entry in enumerate(entries, 1)
    ]


def _figures(precisions: Precisions) -> list[AveragePrecision]:
    """Those over all categories, then of each one."""
    occurs = np.isfinite(precisions)
    with np.errstate(invalid="ignore"):  # a draw in which nothing is to be found has no mean
        mean = np.where(occurs, precisions, 0).sum(axis=2) / occurs.sum(axis=2)
    columns = np.concatenate([mean[:, :, None], precisions], axis=2)
    return [
        AveragePrecision(_figure(columns[:, 0, i]), _figure(columns[:, :, i].mean(axis=1)))
        for i in range(columns.shape[2])
    ]


def _figure(values: Precisions) -> Figure:
    """Of the value as it is, and of those of the draws that have one."""
    drawn = values[1:][np.isfinite(values[1:])]
    low, high = np.quantile(drawn, [0.025, 0.975]) if len(drawn) else (0.0, 1.0)
    return Figure(float(values[0]), float(low), float(high))
