#!/usr/bin/python3
"""Runs the tests of the recipe: those of its pieces, or the smoke test on the built host program.

    /usr/bin/python3 training/tests/run.py pieces
    /usr/bin/python3 training/tests/run.py smoke build/dev/bin/dirty_seg

Ends with 77 where torch is missing.
"""

import importlib.util
import os
import sys
import unittest
from pathlib import Path

SKIPPED = 77
HERE = Path(__file__).resolve().parent


def main(arguments: list[str]) -> int:
    if not (arguments == ["pieces"] or (len(arguments) == 2 and arguments[0] == "smoke")):
        print(__doc__, file=sys.stderr)
        return 2
    if importlib.util.find_spec("torch") is None:
        print("skipped: torch is missing (Debian's python3-torch)", file=sys.stderr)
        return SKIPPED
    sys.path.insert(0, str(HERE.parent))
    if arguments[0] == "smoke":
        os.environ["DIRTY_SEG_PROGRAM"] = str(Path(arguments[1]).resolve())
    pattern = "test_*.py" if arguments[0] == "pieces" else "smoke.py"
    suite = unittest.defaultTestLoader.discover(str(HERE), pattern, str(HERE.parent))
    result = unittest.TextTestRunner(verbosity=2).run(suite)
    return 0 if result.wasSuccessful() and result.testsRun > 0 else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
