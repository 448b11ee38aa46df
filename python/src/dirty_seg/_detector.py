"""The detector of dirty regions."""

from __future__ import annotations

import logging
import warnings
from collections import deque
from collections.abc import Iterable, Iterator, Mapping, Sequence
from concurrent.futures import Future, ThreadPoolExecutor
from types import TracebackType
from typing import Any, Literal

import numpy as np

import dirty_seg._core as _core
from dirty_seg._configuration import Configuration, Path, name_and_text, path_text
from dirty_seg._errors import FrameError, SetupWarning, in_python_words
from dirty_seg._result import ByteArray, Result

_LOGGER = logging.getLogger("dirty_seg")
_LOGGER.addHandler(logging.NullHandler())
_LEVELS = {"DEBUG": logging.DEBUG, "INFO": logging.INFO, "ERROR": logging.ERROR}
_FITS = ("scale", "pad")


class Detector:
    """Finds dirty regions in pictures: the library that robots run, to the bit.

    Patches are cut out of each picture and go through a segmentation network together; a second
    network, if there is one, checks candidates for faeces.

    Calls may come from any thread. Those of one detector take turns, detectors work side by side,
    and the interpreter's lock is released meanwhile. A detector does not survive a fork: make one
    in each process.
    """

    def __init__(
        self,
        model: Path,
        config: Configuration,
        *,
        fece_model: Path | None = None,
        fece_class_ids: Sequence[int] = (),
        fece_score_threshold: float = 0.5,
        fece_area_threshold: float = 400.0,
        score_threshold: float | None = None,
        iou_threshold: float | None = None,
        max_detections: int | None = None,
        mask_threshold: float | None = None,
        classes: Sequence[int] = (),
        names: Path | None = None,
        merge: bool = True,
        fit: Literal["scale", "pad"] = "scale",
        threads: int = 0,
    ) -> None:
        """Loads the networks.

        Args:
            model: The segmentation network, a YOLOv8 segmentation model as ONNX.
            config: The configuration's patches and thresholds: the path of a YAML file, a mapping
                such as ``{"patch": {"enable": True, "patches": [[0, 0, 640, 640]]}}``, or YAML
                itself, which is told from a path by a line break.
            fece_model: The classifier, input float32 [1, 3, 224, 224], output two numbers.
            fece_class_ids: Classes whose detections the classifier is asked about.
            fece_score_threshold: Faeces if the classifier's probability is greater, 0 to 1.
            fece_area_threshold: Boxes of so many pixels or fewer are not checked.
            score_threshold: Over what the configuration says: a detection's least score, 0 to 1.
            iou_threshold: So: overlap above which the weaker of two boxes is dropped, 0 to 1.
            max_detections: So: the most detections of a patch, from 1.
            mask_threshold: So: a pixel's least probability of being mask, 0 to 1.
            classes: So: the only classes that are kept; none: all.
            names: A file of class names, YAML or a name a line, in place of the network's own.
            merge: Find the things that detections of several patches are parts of.
            fit: Pictures of another size than 1920 x 1080 are scaled until they fill the frame's
                width or height, or padded.
            threads: How many to use, 0: one for each core. Those that crop and draw are one
                setting for the whole process, that of the newest detector.

        Raises:
            SetupError: a file cannot be read or used; every fault is named.
            ValueError, TypeError: an argument is out of range or of the wrong type.
        """
        self._fit = _one_of("fit", fit, _FITS)
        options = _core.Options()
        options.model = path_text("model", model)
        options.config, options.config_text = name_and_text(config)
        options.threads = _in_range("threads", _whole("threads", threads), 0, _core.max_threads)
        options.names = "" if names is None else path_text("names", names)
        options.score = _in_range("score_threshold", score_threshold, 0, 1)
        options.iou = _in_range("iou_threshold", iou_threshold, 0, 1)
        options.mask = _in_range("mask_threshold", mask_threshold, 0, 1)
        if max_detections is not None:
            options.max_detections = _in_range(
                "max_detections",
                _whole("max_detections", max_detections),
                1,
                _core.max_detections,
            )
        options.classes = _class_ids("classes", classes)
        options.fece_class_ids = _class_ids("fece_class_ids", fece_class_ids)
        if fece_model is not None:
            options.fece_model = path_text("fece_model", fece_model)
        elif options.fece_class_ids:
            raise ValueError("fece_class_ids is given without fece_model, so it has no effect")
        options.fece_score_threshold = _in_range("fece_score_threshold", fece_score_threshold, 0, 1)
        options.fece_area_threshold = _in_range(
            "fece_area_threshold", fece_area_threshold, 0, float("inf")
        )
        self._session = _core.Session(options, merge)
        for text in self._session.warnings:
            warnings.warn(in_python_words(text), SetupWarning, stacklevel=2)

    @property
    def names(self) -> Mapping[int, str]:
        """Label to name, of all labels that have one."""
        return self._session.labels.names

    @property
    def patches(self) -> tuple[tuple[int, int, int, int], ...]:
        """x, y, width, height of each patch in the frame."""
        return tuple((x, y, w, h) for x, y, w, h in self._session.patches)

    def __call__(self, image: ByteArray) -> Result:
        """Finds what is dirty in one picture.

        Args:
            image: uint8 [height, width, 3] in B, G, R order, of any size; read-only is fine. It is
                not copied if the bytes of its pixels and the pixels of its rows lie side by side,
                whatever is between the rows, and copied once otherwise. It must not be written to
                during the call, nor later if the result is to be plotted.

        Raises:
            FrameError: the detector failed on the frame.
            ValueError, TypeError: the array is not such a picture.
            UsageError: the detector is closed, or was made in another process.
        """
        core = self._session.detect(image, self._fit)
        _log(core)
        if not core.success:
            raise FrameError(core.message)
        return Result(core, image)

    def stream(self, images: Iterable[ByteArray]) -> Iterator[Result]:
        """Yields the result of each picture, in order.

        While one is worked on, the next is taken from ``images``, on the calling thread; and while
        the caller works on a result, the next frame is detected. No result is kept. A failure is
        raised in its picture's turn and ends the stream.
        """
        waiting: deque[Future[Result]] = deque()
        with ThreadPoolExecutor(1, "dirty_seg") as worker:
            for image in images:
                waiting.append(worker.submit(self, image))
                del image
                if len(waiting) > 1:
                    yield waiting.popleft().result()
            while waiting:
                yield waiting.popleft().result()

    def close(self) -> None:
        """Releases the networks, once calls of other threads are done. Results stay valid."""
        self._session.close()

    def __enter__(self) -> Detector:
        return self

    def __exit__(
        self,
        kind: type[BaseException] | None,
        error: BaseException | None,
        trace: TracebackType | None,
    ) -> None:
        self.close()

    def __reduce__(self) -> Any:
        raise TypeError("a detector cannot be pickled; make one in each process")


def _log(core: _core.FrameResult) -> None:
    for complaint in core.complaints:
        _LOGGER.warning("%s", complaint)
    if not _LOGGER.isEnabledFor(logging.ERROR):
        return
    for tag, message in core.log():
        _LOGGER.log(_LEVELS.get(tag, logging.INFO), "%s", message)


def _one_of(name: str, value: str, words: tuple[str, ...]) -> str:
    if value not in words:
        raise ValueError(f"{name} is {value!r}; expected one of {', '.join(map(repr, words))}")
    return value


def _in_range(name: str, value: Any, low: float, high: float) -> Any:
    if value is None:
        return None
    if isinstance(value, np.generic):
        value = value.item()
    if isinstance(value, bool) or not isinstance(value, (int, float)):
        raise TypeError(f"{name} is {value!r}; expected a number")
    if not low <= value <= high:
        bound = f"from {low} to {high}" if high != float("inf") else f"from {low}"
        raise ValueError(f"{name} is {value!r}; expected a number {bound}")
    return value


def _whole(name: str, value: Any) -> int:
    if isinstance(value, bool) or not hasattr(value, "__index__"):
        raise TypeError(f"{name} is {value!r}; expected a whole number")
    return int(value)


def _class_ids(name: str, ids: Sequence[int]) -> list[int]:
    if isinstance(ids, (str, bytes)) or not hasattr(ids, "__iter__"):
        raise TypeError(f"{name} is {ids!r}; expected a list of class ids")
    entry = f"an entry of {name}"
    return [_in_range(entry, _whole(entry, i), 0, _core.max_class_id) for i in ids]
