"""What the package costs over the detector's own time, on the demo's networks and frames.

    python bench.py [--smoke]     --smoke: a single call

A call's time is held against that of the detector's C++ call within it, so that both are of the
same moments; the import's against that of NumPy alone.
"""

import argparse
import statistics
import subprocess
import sys
import time
from pathlib import Path

import cv2

import dirty_seg

MODELS = Path(__file__).resolve().parents[1] / "models"


def call_ratios(merge: bool, calls: int) -> list[float]:
    picture = cv2.imread(str(MODELS / "frames" / "tiles.jpg"))
    ratios = []
    with dirty_seg.Detector(
        MODELS / "dirt-seg.onnx",
        MODELS / "demo.yaml",
        fece_model=MODELS / "fece-check.onnx",
        fece_class_ids=[5],
        merge=merge,
    ) as detector:
        detector(picture)
        for _ in range(calls):
            begin = time.perf_counter()
            result = detector(picture)
            passed = (time.perf_counter() - begin) * 1000
            ratios.append(passed / result.timing_ms["total"])
    return ratios


def import_seconds(module: str) -> float:
    code = f"import time; t = time.perf_counter(); import {module}; print(time.perf_counter() - t)"
    printed = subprocess.run([sys.executable, "-c", code], capture_output=True, check=True).stdout
    return float(printed)


def main() -> None:
    parser = argparse.ArgumentParser()
    parser.add_argument("--smoke", action="store_true")
    smoke = parser.parse_args().smoke
    calls, imports = (1, 1) if smoke else (300, 15)
    for merge in (False, True):
        ratio = statistics.median(call_ratios(merge, calls))
        bound = "" if merge else "  (bound 1.01)"
        print(f"call, merge={merge}: {ratio:.4f} times the C++ call{bound}")
    for module, bound in (("dirty_seg", "  (bound 0.2)"), ("numpy", "")):
        seconds = statistics.median(import_seconds(module) for _ in range(imports))
        print(f"import {module}: {seconds:.3f} s{bound}")


if __name__ == "__main__":
    main()
