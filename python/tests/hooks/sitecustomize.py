"""First in PYTHONPATH: a detector that is slow, and ends its process on blue pictures."""

import os
import signal
import time
from typing import Any

import dirty_seg

_call = dirty_seg.Detector.__call__


def _slow_or_deadly(self: dirty_seg.Detector, frame: Any) -> dirty_seg.Result:
    time.sleep(float(os.environ.get("FLEET_TEST_SECONDS", "0")))
    if frame[0, 0].tolist() == [255, 0, 0] and "FLEET_TEST_DEADLY" in os.environ:
        os.kill(os.getpid(), signal.SIGKILL)
    return _call(self, frame)


dirty_seg.Detector.__call__ = _slow_or_deadly  # type: ignore[method-assign]
