"""What the tests share: networks, configurations, pictures, and the host program."""

import json
import os
import subprocess
from collections.abc import Callable, Iterator
from pathlib import Path
from typing import Any

import cv2
import numpy as np
import numpy.typing as npt
import pytest
from hypothesis import settings

import dirty_seg

# More of them for longer runs.
settings.register_profile(
    "tests",
    max_examples=int(os.environ.get("DIRTY_SEG_EXAMPLES", "100")),
    deadline=None,
)
settings.load_profile("tests")

REPOSITORY = Path(__file__).resolve().parents[2]
NETWORKS = REPOSITORY / "tests" / "networks"
SMALL_NETWORKS = REPOSITORY / "tests" / "host" / "small_networks"
MODELS = REPOSITORY / "models"
DEMO_FRAMES = sorted((MODELS / "frames").glob("*.jpg"))
DEMO = {
    "model": MODELS / "dirt-seg.onnx",
    "config": MODELS / "demo.yaml",
    "fece_model": MODELS / "fece-check.onnx",
    "fece_class_ids": [5],
}
PATCHES = {"patch": {"enable": True, "patches": [[0, 0, 64, 64], [64, 0, 64, 64]]}}

ByteArray = npt.NDArray[np.uint8]


@pytest.fixture(scope="session")
def program() -> Path:
    """The host program, from the same build."""
    return Path(os.environ["DIRTY_SEG_PROGRAM"])


@pytest.fixture
def small() -> Iterator[dirty_seg.Detector]:
    """A detector of a tiny network, on two patches of 64 x 64 at the frame's left top corner."""
    with dirty_seg.Detector(NETWORKS / "seg-b2-64.onnx", PATCHES) as detector:
        yield detector


@pytest.fixture(scope="session")
def demo() -> Iterator[dirty_seg.Detector]:
    with dirty_seg.Detector(**DEMO) as detector:
        yield detector


@pytest.fixture(scope="session")
def floor() -> ByteArray:
    """A demo frame that shows dirt and faeces, uint8 [1080, 1920, 3]."""
    picture = cv2.imread(str(MODELS / "frames" / "tiles.jpg"))
    assert picture is not None
    return picture


@pytest.fixture(scope="session")
def lines_of(program: Path) -> Callable[..., list[dict[str, Any]]]:
    """Runs 'detect' and gives its lines."""

    def run(*arguments: object) -> list[dict[str, Any]]:
        command = [str(program), "detect", "--quiet", *map(str, arguments)]
        result = subprocess.run(command, capture_output=True, text=True, check=False)
        assert result.returncode in (0, 1), result.stderr
        return [json.loads(line) for line in result.stdout.splitlines()]

    return run


def plain(colour: tuple[int, int, int], height: int = 1080, width: int = 1920) -> ByteArray:
    """A picture of one colour, B, G, R."""
    return np.full((height, width, 3), colour, np.uint8)


RED = (0, 0, 255)
GREEN = (0, 255, 0)
