"""What a detector found in one frame."""

from __future__ import annotations

import dataclasses
import json
import struct
import zlib
from collections.abc import Mapping
from types import MappingProxyType
from typing import TYPE_CHECKING, Any, cast

import numpy as np
import numpy.typing as npt

import dirty_seg._core as _core

if TYPE_CHECKING:
    import supervision

FloatArray = npt.NDArray[np.float32]
IntArray = npt.NDArray[np.int32]
ByteArray = npt.NDArray[np.uint8]


@dataclasses.dataclass(frozen=True, eq=False)
class Thing:
    """One thing in a frame: what detections of one or several patches are parts of."""

    #: x1, y1, x2, y2 in pixels of the frame, around its detections' boxes; not clipped to it.
    box: tuple[float, float, float, float]
    #: That of its best detection, 0 to 1.
    score: float
    label: int
    #: The label's name, or "class 7" without one.
    name: str
    #: Whether the classifier confirmed one of its detections.
    confirmed: bool
    #: Indices of its detections.
    members: tuple[int, ...]
    #: Number of its pixels in the frame.
    pixels: int
    #: x, y, width, height of the rectangle around its pixels in the frame.
    area: tuple[int, int, int, int]
    #: uint8 [height, width] of ``area``, 0 or 255; read-only.
    mask: ByteArray

    def __repr__(self) -> str:
        box = ", ".join(f"{edge:.1f}" for edge in self.box)
        return f"Thing({self.name!r}, score={self.score:.3f}, box=({box}), pixels={self.pixels})"


@dataclasses.dataclass(frozen=True)
class Candidate:
    """A detection that the classifier was asked about."""

    #: Index of the detection.
    detection: int
    #: "confirmed", "rejected", "not_checked" (too few pixels) or "failed".
    verdict: str
    #: Probability of faeces; None where there is no answer.
    score: float | None


class Plot(np.ndarray[Any, np.dtype[np.uint8]]):
    """A picture, uint8 [height, width, 3] in B, G, R order, that a notebook shows by itself."""

    def _repr_png_(self) -> bytes | None:
        if self.ndim != 3 or self.shape[2] != 3 or self.dtype != np.uint8:
            return None  # a part of the picture, or what was computed from it
        return _png(self)


def _png(picture: ByteArray) -> bytes:
    height, width = picture.shape[:2]
    rows = np.zeros((height, 1 + width * 3), np.uint8)  # each begins with its filter: none
    rows[:, 1:] = picture[:, :, ::-1].reshape(height, width * 3)

    def chunk(kind: bytes, data: bytes) -> bytes:
        checksum = zlib.crc32(kind + data)
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", checksum)

    header = struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)
    pixels = zlib.compress(rows.tobytes(), 1)
    return (
        b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", pixels) + chunk(b"IEND", b"")
    )


class Result:
    """What a detector found in one frame. Nothing in it changes.

    Coordinates are pixels of the detector's frame of 1920 x 1080, origin at its left top corner;
    ``image_boxes``, ``plot``, ``to_coco`` and ``to_supervision`` have those of the picture that was
    given. For a picture of 1920 x 1080 they are the same, but that ``image_boxes`` of other
    pictures are clipped. Arrays are read-only views that keep the result's memory alive.
    """

    def __init__(self, core: _core.FrameResult, image: ByteArray | None = None) -> None:
        self._core = core
        self._image = image

    @property
    def boxes(self) -> FloatArray:
        """float32 [n, 4]: x1, y1, x2, y2 of each detection; not clipped to the frame."""
        return self._core.boxes

    @property
    def image_boxes(self) -> FloatArray:
        """float32 [n, 4]: the boxes in pixels of the picture, clipped to it; a new array."""
        return self._core.image_boxes

    @property
    def scores(self) -> FloatArray:
        """float32 [n]: confidence of each detection, 0 to 1."""
        return self._core.scores

    @property
    def labels(self) -> IntArray:
        """int32 [n]: class id of each detection; 19 where the classifier confirmed it."""
        return self._core.labels

    @property
    def names(self) -> tuple[str, ...]:
        """Name of each detection's label, or "class 7" without one."""
        return tuple(self._core.names)

    @property
    def confirmed(self) -> tuple[bool, ...]:
        """Whether the classifier confirmed each detection."""
        return tuple(self._core.confirmed)

    @property
    def candidates(self) -> tuple[Candidate, ...]:
        """The detections that the classifier was asked about, in order; none without one."""
        return tuple(Candidate(*fields) for fields in self._core.candidates or ())

    @property
    def mask_pixel_counts(self) -> FloatArray:
        """float32: mask pixels inside the frame of each detection that has any.

        Not parallel to ``boxes`` once a detection has no pixel inside the frame.
        """
        return self._core.mask_pixel_counts

    @property
    def label_masks(self) -> Mapping[int, ByteArray]:
        """Label to the union of its masks: uint8 [1080, 1920], not 0 inside."""
        return MappingProxyType(self._core.label_masks)

    @property
    def things(self) -> tuple[Thing, ...]:
        """The things that the detections are parts of, best score first.

        Raises:
            AttributeError: they were not asked for, by ``Detector(merge=False)``.
        """
        things = self._core.things
        if things is None:
            raise AttributeError("things were not asked for; expected Detector(merge=True)")
        return tuple(_thing(fields) for fields in things)

    @property
    def has_things(self) -> bool:
        """Whether things were asked for."""
        return self._core.things is not None

    @property
    def timing_ms(self) -> Mapping[str, float]:
        """Milliseconds by stage: preprocess, inference, postprocess, classify, convert, total."""
        times = self._core.timing_ms
        return MappingProxyType({stage: times[stage] for stage in _STAGES if stage in times})

    @property
    def non_finite(self) -> Mapping[str, int]:
        """Output of the network to how many of its numbers were not finite: dirt may be missed."""
        return MappingProxyType(self._core.non_finite)

    @property
    def complaints(self) -> tuple[str, ...]:
        """What went wrong though the frame succeeded, such as a classifier that failed once."""
        return tuple(self._core.complaints)

    @property
    def image_size(self) -> tuple[int, int]:
        """Height and width of the picture."""
        return self._core.image_size

    @property
    def fit(self) -> tuple[float, tuple[int, int]]:
        """Frame pixels to one of the picture, and the picture's height and width in the frame."""
        return self._core.scale, self._core.placed_size

    @property
    def image(self) -> ByteArray | None:
        """The picture, as it was given; None of a result that was pickled."""
        return self._image

    def __len__(self) -> int:
        return len(self.boxes)

    def __repr__(self) -> str:
        counts: dict[str, int] = {}
        shown = [thing.name for thing in self.things] if self.has_things else list(self.names)
        for name in shown:
            counts[name] = counts.get(name, 0) + 1
        found = ", ".join(f"{count} {name}" for name, count in counts.items()) or "nothing"
        return f"<Result: {found}; {len(self)} detections>"

    def to_json(self, source: str = "", frame: int = 0) -> str:
        """The line of results.jsonl that the host program writes of the frame.

        It has ``things`` if they were asked for, as of ``detect --merge``. ``read`` among the times
        is that of placing the picture in the frame, ``write`` that of encoding masks.

        Args:
            source: What the frame is of: its key ``source``.
            frame: Number of the frame in a video, from 0.
        """
        return self._core.line(source, frame)

    def to_coco(self, image_id: int = 1) -> list[dict[str, Any]]:
        """Entries of COCO's results format, of things if they were asked for, else of detections.

        Boxes are [x, y, width, height] and masks run lengths, in pixels of the picture.
        """
        return cast("list[dict[str, Any]]", json.loads(self._core.coco(image_id)))

    def to_supervision(self) -> supervision.Detections:
        """The same as Detections of the package supervision, with its compact masks.

        Raises:
            ImportError: supervision 0.28 or newer is not there.
        """
        try:
            import supervision
            from supervision.detection.compact_mask import CompactMask
        except ImportError as error:
            raise ImportError(
                "to_supervision needs supervision 0.28 or newer: pip install 'supervision>=0.28'"
            ) from error
        entries = self.to_coco()
        boxes = np.array([entry["bbox"] for entry in entries], np.float32).reshape(-1, 4)
        boxes[:, 2:] += boxes[:, :2]
        masks = None
        if entries:
            masks = CompactMask.from_coco_rle(
                [entry["segmentation"] for entry in entries], boxes, self.image_size
            )
        names = dict(self._core.class_labels.names)
        classes = np.array([entry["category_id"] for entry in entries], int)
        return supervision.Detections(
            xyxy=boxes,
            mask=masks,
            confidence=np.array([entry["score"] for entry in entries], np.float32),
            class_id=classes,
            data={
                "class_name": np.array([names.get(i, f"class {i}") for i in classes.tolist()], str)
            },
        )

    def plot(self, image: ByteArray | None = None) -> Plot:
        """A copy of the picture with masks, boxes and names drawn in, as the host program does.

        Args:
            image: uint8 [height, width, 3] in B, G, R order, as large as the frame's picture, which
                is taken by default. A result does not copy it: if it was changed since, give it.

        Raises:
            ValueError: there is no picture, or one of another size.
        """
        picture = self._image if image is None else image
        if picture is None:
            raise ValueError(
                "the result has no picture, as pickles have none; expected plot(image)"
            )
        return cast(Plot, np.asarray(self._core.draw(picture)).view(Plot))

    def __reduce__(self) -> tuple[Any, ...]:
        labels = self._core.class_labels.sources()
        return _restore, (self.to_json(), labels, list(self._core.complaints))


_STAGES = ("preprocess", "inference", "postprocess", "classify", "convert", "total")


def _thing(fields: tuple[Any, ...]) -> Thing:
    box, score, label, name, confirmed, members, pixels, area, mask = fields
    return Thing(
        tuple(box),
        score,
        label,
        name,
        confirmed,
        tuple(members),
        pixels,
        tuple(area),
        mask,
    )


def _restore(line: str, labels: tuple[dict[int, str], bool, int], complaints: list[str]) -> Result:
    return Result(_core.FrameResult.from_line(line, _core.Labels(*labels), complaints))
