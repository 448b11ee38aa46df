"""First in PYTHONPATH: a detector that is slow, and deadly or hungry on blue pictures."""

import os
import signal
import time
from typing import Any

import dirty_seg

_call = dirty_seg.Detector.__call__


def _disturbed(self: dirty_seg.Detector, frame: Any) -> dirty_seg.Result:
    time.sleep(float(os.environ.get("FLEET_TEST_SECONDS", "0")))
    if frame[0, 0].tolist() == [255, 0, 0]:
        if "FLEET_TEST_DEADLY" in os.environ:
            os.kill(os.getpid(), signal.SIGKILL)
        taken = b"." * int(os.environ.get("FLEET_TEST_HUNGRY", "0"))
        if taken:
            time.sleep(20)  # until it is ended for it
    return _call(self, frame)


dirty_seg.Detector.__call__ = _disturbed  # type: ignore[method-assign]
