"""Finds dirty regions, faeces among them, in pictures of a floor.

    import cv2, dirty_seg

    detector = dirty_seg.Detector("seg.onnx", "config.yaml")
    result = detector(cv2.imread("floor.jpg"))
    for box, score, name in zip(result.boxes, result.scores, result.names):
        print(name, score, box)
"""

import dirty_seg._core as _core
from dirty_seg._detector import Detector
from dirty_seg._errors import (
    DirtySegError,
    FrameError,
    SetupError,
    SetupWarning,
    UsageError,
)
from dirty_seg._evaluation import (
    AveragePrecision,
    ClassEvaluation,
    Evaluation,
    Figure,
    evaluate,
)
from dirty_seg._result import Candidate, Plot, Result, Thing

#: Height and width of the detector's frame, in pixels.
FRAME_SIZE: tuple[int, int] = _core.frame_size()
__version__: str = _core.version

__all__ = [
    "FRAME_SIZE",
    "AveragePrecision",
    "Candidate",
    "ClassEvaluation",
    "Detector",
    "DirtySegError",
    "Evaluation",
    "Figure",
    "FrameError",
    "Plot",
    "Result",
    "SetupError",
    "SetupWarning",
    "Thing",
    "UsageError",
    "__version__",
    "evaluate",
]
