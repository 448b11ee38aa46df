"""What documents and scripts name exists: files, presets, build targets, selections of tests.

    /usr/bin/python3 tests/repository/documents_test.py build/dev     a configured and built one
"""

import json
import re
import subprocess
import sys
import unittest
from collections.abc import Iterator
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
BUILD = Path(sys.argv.pop(1)).resolve() if len(sys.argv) > 1 else ROOT / "build" / "dev"
DOCUMENTS = ["*.md", "docs/*.md", "models/*.md", "training/*.md", "tests/**/*.md", "python/*.md"]
SCRIPTS = ["scripts/*.sh", "packaging/**/*.sh", "python/tests/*.sh", "training/*.sh", ".ci/run"]
FOLDERS = (
    "apps|bench|cmake|docs|examples|fuzz|include|models|packaging|python|scripts|src|tests|tools"
    "|training"
)
SOURCE = r"(?:cmake|cpp|h|js|map|py|sh)"


def files(*patterns: str) -> list[Path]:
    return sorted(path for pattern in patterns for path in ROOT.glob(pattern))


def found(expression: str, paths: list[Path]) -> Iterator[tuple[str, str]]:
    """Each match's first group, and the file that it is in."""
    for path in paths:
        for match in re.finditer(expression, path.read_text()):
            yield match[1], str(path.relative_to(ROOT))


def output_of(*command: str) -> str:
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


class Named(unittest.TestCase):
    def hold(self, named: Iterator[tuple[str, str]], exists) -> None:
        """Something is named, and all of it exists."""
        named = list(named)
        self.assertTrue(named)
        self.assertEqual([], [pair for pair in named if not exists(pair[0])])

    def test_files_exist(self) -> None:
        # A component in capitals stands for any name, as in fuzz/regressions/TARGET.
        paths = rf"(?<![\w./$*-])((?:{FOLDERS})/[\w./*-]*[\w*/])(?![\w{{])"
        self.hold(
            found(paths, files(*DOCUMENTS)),
            lambda name: re.search(r"/[A-Z]+\b", name) or any(ROOT.glob(name)),
        )

    def test_source_files_named_without_their_folder_exist(self) -> None:
        names = {path.name for folder in FOLDERS.split("|") for path in ROOT.glob(f"{folder}/**/*")}
        self.hold(
            found(rf"`(?:[\w.-]+/)*([a-z]\w*\.{SOURCE})`", files(*DOCUMENTS)),
            names.__contains__,
        )

    def test_presets_exist(self) -> None:
        listed = json.loads((ROOT / "CMakePresets.json").read_text())["configurePresets"]
        names = {preset["name"] for preset in listed if not preset.get("hidden")}
        self.hold(found(r"--preset (\w+)", files(*DOCUMENTS, *SCRIPTS)), names.__contains__)

    def test_build_targets_exist(self) -> None:
        targets = output_of("cmake", "--build", str(BUILD), "--target", "help")
        names = set(re.findall(r"^(\w+): phony$", targets, re.MULTILINE))
        written = found(r"--target((?: (?:\\\n *)?\w+)+)", files(*SCRIPTS))
        self.hold(
            ((name, path) for words, path in written for name in re.findall(r"\w+", words)),
            names.__contains__,
        )

    def test_selections_of_tests_select_some(self) -> None:
        listed = output_of("ctest", "--test-dir", str(BUILD), "--show-only=json-v1")
        tests = json.loads(listed)["tests"]
        names = [test["name"] for test in tests]
        labels = {
            label
            for test in tests
            for entry in test["properties"]
            if entry["name"] == "LABELS"
            for label in entry["value"]
        }
        paths = files(*DOCUMENTS, *SCRIPTS)
        self.hold(found(r"ctest [^`\n]*-L (\w+)", paths), labels.__contains__)
        self.hold(
            found(r"(?:ctest|scripts/test\.sh) [^`\n]*-R '?([^\s`']+)", paths),
            lambda pattern: any(re.search(pattern, name) for name in names),
        )


class Imports(unittest.TestCase):
    def test_nothing_imports_from_the_tests_but_tests(self) -> None:
        folders = set(FOLDERS.split("|")) - {"tests"}
        scripts = files(*(f"{folder}/**/*.py" for folder in folders))
        self.assertTrue(list(found(r"(sys\.path)", scripts)))
        self.assertEqual([], list(found(r'sys\.path(?:.|\n){0,160}?(["\'/]tests["\'/])', scripts)))


if __name__ == "__main__":
    unittest.main()
