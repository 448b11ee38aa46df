"""The examples of docs/PYTHON.md and the notebook do what they say."""

import re
import subprocess
import sys
from pathlib import Path

import cv2
import nbclient
import nbformat
import pytest
from conftest import MODELS, REPOSITORY

TEXT = (REPOSITORY / "docs" / "PYTHON.md").read_text()
EXAMPLES = dict(
    re.findall(r"^## (\d)\. [^\n]*\n.*?^```python\n(.*?)^```$", TEXT, re.MULTILINE | re.DOTALL)
)
OUTPUTS = dict(
    re.findall(
        r"^## (\d)\. [^\n]*\n.*?^```python\n.*?^```text\n(.*?)^```$",
        TEXT,
        re.MULTILINE | re.DOTALL,
    )
)


@pytest.fixture(scope="module")
def rendered(tmp_path_factory: pytest.TempPathFactory) -> Path:
    """Frames with their truth, by the commands that stand above the example."""
    root = tmp_path_factory.mktemp("rendered")
    (root / "training").symlink_to(REPOSITORY / "training")
    block = re.search(r"^```sh\n(/usr/bin/python3 training/.*?)^```$", TEXT, re.M | re.S)
    assert block is not None
    for command in block.group(1).splitlines():
        subprocess.run(command.split(), cwd=root, check=True, capture_output=True)
    return root / "out"


@pytest.fixture
def folder(tmp_path: Path, rendered: Path) -> Path:
    """As the repository's root, with a short video and rendered frames."""
    (tmp_path / "out").symlink_to(rendered)
    (tmp_path / "models").symlink_to(MODELS)
    video = cv2.VideoWriter(
        str(tmp_path / "floor.avi"), cv2.VideoWriter.fourcc(*"MJPG"), 10, (1920, 1080)
    )
    for name in ("carpet", "planks", "tiles"):
        video.write(cv2.imread(str(MODELS / "frames" / f"{name}.jpg")))
    video.release()
    return tmp_path


def test_there_are_examples_with_what_they_print() -> None:
    assert sorted(EXAMPLES) == sorted(OUTPUTS) == ["1", "2", "3", "4", "5"]


@pytest.mark.parametrize("number", sorted(EXAMPLES))
def test_an_example_prints_what_is_below_it(number: str, folder: Path) -> None:
    result = subprocess.run(
        [sys.executable, "-W", "error::UserWarning", "-c", EXAMPLES[number]],
        cwd=folder, capture_output=True, text=True, check=False,
    )  # fmt: skip
    assert result.returncode == 0, result.stderr
    assert result.stdout == OUTPUTS[number]


@pytest.mark.filterwarnings("ignore")
def test_the_notebook_runs_and_shows_a_picture(folder: Path) -> None:
    notebook = nbformat.read(REPOSITORY / "docs" / "python.ipynb", as_version=4)
    assert all(not cell.get("outputs") for cell in notebook.cells)
    nbclient.NotebookClient(
        notebook, timeout=120, resources={"metadata": {"path": folder}}
    ).execute()
    shown = [output for cell in notebook.cells for output in cell.get("outputs", [])]
    assert any("image/png" in output.get("data", {}) for output in shown)
    assert any("faeces" in output.get("text", "") for output in shown)


def test_the_readmes_lines_are_those_of_the_package() -> None:
    import dirty_seg

    lines = re.search(
        r"```python\n(.*?)```", (REPOSITORY / "python" / "README.md").read_text(), re.S
    )
    assert lines is not None
    body = lines.group(1).split("\n\n", 1)[1]
    assert dirty_seg.__doc__ is not None
    for line in body.strip().splitlines():
        assert line.strip() in dirty_seg.__doc__
