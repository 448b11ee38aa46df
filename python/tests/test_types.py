"""The package's types: stubs that are those of the module, and a checker that is content."""

import subprocess
import sys
from pathlib import Path

import dirty_seg

PYTHON = Path(__file__).resolve().parents[1]


def run(*command: object) -> subprocess.CompletedProcess[str]:
    return subprocess.run(
        [sys.executable, "-m", *map(str, command)],
        capture_output=True,
        text=True,
        check=False,
    )


def test_the_stub_is_that_of_the_module(tmp_path: Path) -> None:
    made = tmp_path / "_core.pyi"
    result = run("nanobind.stubgen", "-q", "-m", "dirty_seg._core", "-o", made)
    assert result.returncode == 0, result.stderr
    assert made.read_text() == (PYTHON / "src" / "dirty_seg" / "_core.pyi").read_text(), (
        "make it anew: python -m nanobind.stubgen -m dirty_seg._core "
        "-o python/src/dirty_seg/_core.pyi"
    )


def test_the_package_and_its_users_are_typed(tmp_path: Path) -> None:
    user = tmp_path / "user.py"
    user.write_text(
        "import numpy as np\n"
        "import dirty_seg\n"
        "def boxes(detector: dirty_seg.Detector) -> list[tuple[str, float]]:\n"
        "    result = detector(np.zeros((4, 4, 3), np.uint8))\n"
        "    things = [(thing.name, thing.score) for thing in result.things]\n"
        "    return things + [(n, float(s)) for n, s in zip(result.names, result.scores)]\n"
    )
    result = run(
        "mypy", "--config-file", PYTHON / "pyproject.toml", "--cache-dir", tmp_path / "cache",
        PYTHON / "src" / "dirty_seg", user,
    )  # fmt: skip
    assert result.returncode == 0, result.stdout


def test_everything_public_has_a_docstring() -> None:
    missing = []
    for name in dirty_seg.__all__:
        item = getattr(dirty_seg, name)
        if not isinstance(item, type):
            continue
        assert item.__doc__, name
        for member, value in vars(item).items():
            if member.startswith("_") or not (callable(value) or isinstance(value, property)):
                continue
            if not value.__doc__:
                missing.append(f"{name}.{member}")
    assert missing == []
