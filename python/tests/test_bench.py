"""The benchmark runs; what it measures is not judged here."""

import subprocess
import sys
from pathlib import Path


def test_the_benchmark_prints_its_four_figures() -> None:
    script = Path(__file__).resolve().parents[1] / "bench.py"
    result = subprocess.run(
        [sys.executable, str(script), "--smoke"],
        capture_output=True,
        text=True,
        check=False,
    )
    assert result.returncode == 0, result.stderr
    heads = [line.split(":")[0] for line in result.stdout.splitlines()]
    assert heads == [
        "call, merge=False",
        "call, merge=True",
        "import dirty_seg",
        "import numpy",
    ]
