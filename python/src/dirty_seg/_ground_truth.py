"""Ground truth in COCO's format, checked before anything is measured against it."""

from __future__ import annotations

import dataclasses
import json
import math
import os
from collections.abc import Mapping
from pathlib import PurePosixPath
from typing import Any

import dirty_seg._core as _core

MAX_PIXELS = 2**28  # of a picture; no camera has more


@dataclasses.dataclass(frozen=True)
class Picture:
    """An entry of ``images``."""

    id: int
    file_name: str
    #: Height and width; None where the ground truth does not say.
    size: tuple[int, int] | None


@dataclasses.dataclass(frozen=True)
class Annotation:
    """An entry of ``annotations``."""

    picture: int
    category: int
    #: x, y, width, height in pixels of the picture.
    box: tuple[float, float, float, float]
    #: A detection on it is neither right nor wrong.
    is_crowd: bool
    #: COCO's run lengths or polygons; None without a mask.
    segmentation: Any


@dataclasses.dataclass(frozen=True)
class GroundTruth:
    """What pictures show."""

    pictures: tuple[Picture, ...]
    #: Id to name.
    categories: Mapping[int, str]
    annotations: tuple[Annotation, ...]

    @property
    def has_masks(self) -> bool:
        """Whether the annotations have them: all or none do."""
        return self.annotations[0].segmentation is not None

    def picture_of(self, source: str) -> Picture:
        """The one whose file_name the path ``source`` ends with; the longest, if several are.

        Where there is none, the one with the same name in another folder.

        Raises:
            ValueError: there is none, or several.
        """
        parts = PurePosixPath(source).parts
        names = [PurePosixPath(picture.file_name).parts for picture in self.pictures]
        same = [i for i, name in enumerate(names) if name and name[-1:] == parts[-1:]]
        ending = [i for i in same if parts[-len(names[i]) :] == names[i]]
        longest = max((len(names[i]) for i in ending), default=0)
        chosen = [i for i in ending if len(names[i]) == longest] or same
        if len(chosen) == 1:
            return self.pictures[chosen[0]]
        if not chosen:
            raise ValueError(
                f"the results have '{source}', which is no file_name of the ground truth's images"
            )
        some = " and ".join(f"'{self.pictures[i].file_name}'" for i in chosen[:2])
        raise ValueError(
            f"the results' '{source}' may be {some} of the ground truth; expected a path that ends "
            "with one of them"
        )


def read(ground_truth: str | os.PathLike[str] | Mapping[str, Any]) -> GroundTruth:
    """The ground truth of a file, or of what such a file has.

    Raises:
        ValueError: naming the entry, what is wrong in it and what would be right.
        OSError: the file cannot be read.
    """
    if isinstance(ground_truth, Mapping):
        return _Reader("the ground truth").read(ground_truth)
    name = os.fsdecode(ground_truth)
    try:
        with open(name, encoding="utf-8") as file:
            content = json.load(file)
    except (json.JSONDecodeError, UnicodeDecodeError, RecursionError) as error:
        raise ValueError(f"'{name}' is not valid JSON: {error}") from error
    if not isinstance(content, Mapping):
        raise ValueError(f"'{name}' has no object; expected COCO's ground truth")
    return _Reader(f"'{name}'").read(content)


class _Reader:
    def __init__(self, name: str) -> None:
        self._name = name

    def read(self, content: Mapping[str, Any]) -> GroundTruth:
        pictures = self._pictures(content)
        categories = self._categories(content)
        sizes = {picture.id: picture.size for picture in pictures}
        annotations = tuple(
            self._annotation(f"annotations[{i}]", entry, sizes, categories)
            for i, entry in enumerate(self._list(content, "annotations"))
        )
        if all(annotation.is_crowd for annotation in annotations):
            raise self._error("annotations", "has none that is to be found", "at least one")
        self._refuse_some_masks(annotations)
        return GroundTruth(pictures, categories, annotations)

    def _error(self, place: str, what: str, expected: str) -> ValueError:
        return ValueError(f"{self._name}: {place} {what}; expected {expected}")

    def _list(self, content: Mapping[str, Any], key: str) -> list[Any]:
        if key not in content:
            raise self._error(key, "is missing", "COCO's ground truth")
        value = content[key]
        if not isinstance(value, list) or not all(isinstance(item, Mapping) for item in value):
            raise self._error(key, "is not a list of objects", "COCO's ground truth")
        return value

    def _value(self, place: str, entry: Mapping[str, Any], key: str, kind: type) -> Any:
        value = entry.get(key)
        if not isinstance(value, kind) or isinstance(value, bool):
            what = "is missing" if value is None else f"is {_short(value)}"
            raise self._error(f"{place}.{key}", what, _KINDS[kind])
        return value

    def _pictures(self, content: Mapping[str, Any]) -> tuple[Picture, ...]:
        pictures = []
        for i, entry in enumerate(self._list(content, "images")):
            place = f"images[{i}]"
            number = self._value(place, entry, "id", int)
            name = self._value(place, entry, "file_name", str)
            size = None
            if "height" in entry or "width" in entry:
                height = self._value(place, entry, "height", int)
                width = self._value(place, entry, "width", int)
                if height < 1 or width < 1 or height * width > MAX_PIXELS:
                    what = f"has a height of {height} and a width of {width}"
                    raise self._error(place, what, "1 to 2^28 pixels")
                size = (height, width)
            pictures.append(Picture(number, name, size))
        self._refuse_twins("images", [picture.id for picture in pictures])
        return tuple(pictures)

    def _categories(self, content: Mapping[str, Any]) -> dict[int, str]:
        entries = self._list(content, "categories")
        pairs = [
            (
                self._value(f"categories[{i}]", entry, "id", int),
                self._value(f"categories[{i}]", entry, "name", str),
            )
            for i, entry in enumerate(entries)
        ]
        self._refuse_twins("categories", [pair[0] for pair in pairs])
        return dict(pairs)

    def _refuse_twins(self, key: str, numbers: list[int]) -> None:
        for i, number in enumerate(numbers):
            first = numbers.index(number) if len(set(numbers)) < len(numbers) else i
            if first != i:
                what = f"is {number}, as {key}[{first}].id is"
                raise self._error(f"{key}[{i}].id", what, "one of its own")

    def _refuse_some_masks(self, annotations: tuple[Annotation, ...]) -> None:
        without = [i for i, entry in enumerate(annotations) if entry.segmentation is None]
        if 0 < len(without) < len(annotations):
            place = f"annotations[{without[0]}].segmentation"
            raise self._error(place, "is missing", "one, as others have, or none at all")

    def _annotation(
        self,
        place: str,
        entry: Mapping[str, Any],
        sizes: Mapping[int, tuple[int, int] | None],
        categories: Mapping[int, str],
    ) -> Annotation:
        picture = self._value(place, entry, "image_id", int)
        if picture not in sizes:
            raise self._error(f"{place}.image_id", f"is {picture}", "the id of one of images")
        category = self._value(place, entry, "category_id", int)
        if category not in categories:
            what = f"is {category}"
            raise self._error(f"{place}.category_id", what, "the id of one of categories")
        crowd = entry.get("iscrowd", 0)
        if crowd not in (0, 1):
            raise self._error(f"{place}.iscrowd", f"is {_short(crowd)}", "0 or 1")
        box = self._box(place, entry)
        segmentation = entry.get("segmentation") or None
        if segmentation is not None:
            self._check_segmentation(f"{place}.segmentation", segmentation, sizes[picture])
        return Annotation(picture, category, box, bool(crowd), segmentation)

    def _box(self, place: str, entry: Mapping[str, Any]) -> tuple[float, float, float, float]:
        box = self._value(place, entry, "bbox", list)
        if len(box) != 4 or not all(_is_finite(edge) for edge in box) or min(box[2:]) < 0:
            what = f"is {_short(box)}"
            raise self._error(f"{place}.bbox", what, "[x, y, width, height] in pixels")
        return (float(box[0]), float(box[1]), float(box[2]), float(box[3]))

    def _check_segmentation(
        self, place: str, segmentation: Any, size: tuple[int, int] | None
    ) -> None:
        if size is None:
            raise self._error(place, "is given without the image's height and width", "both")
        if isinstance(segmentation, Mapping):
            self._check_run_lengths(place, segmentation, size)
        elif not _are_polygons(segmentation, size):
            what = f"is {_short(segmentation)}"
            raise self._error(
                place, what, "run lengths, or polygons [x1, y1, x2, y2, x3, y3, ...] in the picture"
            )

    def _check_run_lengths(
        self, place: str, segmentation: Mapping[str, Any], size: tuple[int, int]
    ) -> None:
        if segmentation.get("size") != list(size):
            what = f"is {_short(segmentation.get('size'))}"
            raise self._error(f"{place}.size", what, f"the image's {list(size)}")
        counts = segmentation.get("counts")
        if isinstance(counts, str):
            try:
                _core.decode_run_lengths(*size, counts)
            except ValueError as error:
                raise ValueError(f"{self._name}: {place}.counts: {error}") from error
            return
        if (
            not isinstance(counts, list)
            or not all(type(count) is int and count >= 0 for count in counts)
            or sum(counts) != size[0] * size[1]
        ):
            what = f"is {_short(counts)}"
            raise self._error(f"{place}.counts", what, f"lengths of {size[0]} x {size[1]} pixels")


_KINDS: dict[type, str] = {int: "a whole number", str: "a text", list: "a list"}


def _short(value: Any) -> str:
    text = repr(value)
    return text if len(text) <= 40 else text[:40] + "..."


def _is_finite(value: Any) -> bool:
    return isinstance(value, (int, float)) and not isinstance(value, bool) and math.isfinite(value)


def _are_polygons(polygons: Any, size: tuple[int, int]) -> bool:
    """Whether they are closed ones inside of the picture, but for a pixel."""
    return isinstance(polygons, list) and all(
        isinstance(polygon, list)
        and len(polygon) >= 6
        and len(polygon) % 2 == 0
        and all(_is_finite(edge) for edge in polygon)
        and all(-1 <= x <= size[1] + 1 for x in polygon[::2])
        and all(-1 <= y <= size[0] + 1 for y in polygon[1::2])
        for polygon in polygons
    )
