"""No include goes from a lower floor of the house to a higher one.

    /usr/bin/python3 tests/repository/floors_test.py
"""

import re
import unittest
from collections.abc import Iterator
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
INTERFACE, LIBRARIES, HOST = ROOT / "include", ROOT / "src", ROOT / "apps" / "dirty_seg"

# The host program's folders, from the top floor down.
ROOMS = (
    "commands command_line run bench report compare tensors forms results drawing things detector"
    " config networks frames files media console base"
).split()

# What each folder of the libraries may know beside itself and the interface.
KNOWN = {
    "dirty_seg_detector": {"logger", "geometry", "common"},
    "engine": {"network", "common"},
    "decode": {"network", "geometry", "common"},
    "network": set(),
    "logger": set(),
    "geometry": set(),
    "common": set(),
}
# Of the libraries, the host program knows no more than their interface and this.
KNOWN_TO_HOST = {"network", "geometry"}


def sources(folder: Path) -> list[Path]:
    return sorted(path for ending in ("h", "cpp") for path in folder.rglob(f"*.{ending}"))


def included(path: Path) -> Iterator[str]:
    yield from re.findall(r'^#include "([^"]+)"', path.read_text(), re.MULTILINE)


def folder_of(name: str, root: Path) -> str | None:
    return name.split("/")[0] if (root / name).exists() else None


class Floors(unittest.TestCase):
    def test_every_room_of_the_host_program_has_its_floor(self) -> None:
        folders = {path.relative_to(HOST).parts[0] for path in sources(HOST) if path.parent != HOST}
        self.assertEqual(folders, set(ROOMS))

    def test_every_folder_of_the_libraries_has_its_floor(self) -> None:
        self.assertEqual({path.name for path in LIBRARIES.iterdir() if path.is_dir()}, set(KNOWN))

    def test_no_room_of_the_host_program_includes_a_higher_one(self) -> None:
        upward = [
            f"{path.relative_to(ROOT)} includes {name}"
            for path in sources(HOST)
            if path.parent != HOST
            for name in included(path)
            if (room := folder_of(name, HOST)) is not None
            and ROOMS.index(room) < ROOMS.index(path.relative_to(HOST).parts[0])
        ]
        self.assertEqual(upward, [])

    def test_the_libraries_know_only_what_is_below_them(self) -> None:
        unknown = [
            f"{path.relative_to(ROOT)} includes {name}"
            for path in sources(LIBRARIES)
            for name in included(path)
            if folder_of(name, INTERFACE) is None
            and (folder := folder_of(name, LIBRARIES)) != (own := path.parent.name)
            and folder not in KNOWN[own]
        ]
        self.assertEqual(unknown, [])

    def test_the_interface_includes_nothing_but_itself(self) -> None:
        inward = [
            f"{path.relative_to(ROOT)} includes {name}"
            for path in sources(INTERFACE)
            for name in included(path)
            if not (INTERFACE / name).is_file()
        ]
        self.assertEqual(inward, [])

    def test_one_source_alone_includes_the_inference_runtime(self) -> None:
        users = [
            str(path.relative_to(ROOT))
            for root in (LIBRARIES, HOST)
            for path in sources(root)
            if re.search(r"#include <onnxruntime", path.read_text())
        ]
        self.assertEqual(users, ["src/engine/onnx_session.cpp"])

    def test_one_source_alone_includes_the_coders_of_pictures_and_videos(self) -> None:
        users = [
            str(path.relative_to(ROOT))
            for root in (LIBRARIES, HOST)
            for path in sources(root)
            if re.search(r"#include <opencv2/(imgcodecs|videoio)", path.read_text())
        ]
        self.assertEqual(users, ["apps/dirty_seg/media/media_library.cpp"])

    def test_one_source_alone_includes_the_parser_of_command_lines(self) -> None:
        users = [
            str(path.relative_to(ROOT))
            for root in (HOST, ROOT / "tests", ROOT / "fuzz")
            for path in sources(root)
            if re.search(r"#include <CLI/", path.read_text())
        ]
        self.assertEqual(users, ["apps/dirty_seg/command_line/command_line.cpp"])

    def test_the_host_program_knows_little_of_the_libraries(self) -> None:
        known = [
            f"{path.relative_to(ROOT)} includes {name}"
            for path in sources(HOST)
            for name in included(path)
            if folder_of(name, HOST) is None
            and folder_of(name, INTERFACE) is None
            and folder_of(name, LIBRARIES) not in KNOWN_TO_HOST
        ]
        self.assertEqual(known, [])


if __name__ == "__main__":
    unittest.main()
