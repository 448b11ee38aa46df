"""Measures a results.jsonl against COCO's ground truth: ``python -m dirty_seg.evaluate``.

In Python it is the function ``dirty_seg.evaluate``, which ``import dirty_seg.evaluate`` gives, too.
"""

import argparse
import json
import sys
from typing import Any, cast

from dirty_seg._errors import DirtySegError
from dirty_seg._evaluation import evaluate


def _pair(text: str) -> tuple[int, int]:
    label, _, category = text.partition("=")
    try:
        return int(label), int(category)
    except ValueError as error:
        raise argparse.ArgumentTypeError(f"'{text}'; expected LABEL=CATEGORY, as 19=5") from error


def _parser() -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser(
        prog="python -m dirty_seg.evaluate",
        description="Mean average precision of boxes and of masks, with 95 % intervals.",
    )
    parser.add_argument("results", help="a results.jsonl, or the folder that has it")
    parser.add_argument("ground_truth", help="COCO's ground truth, a JSON file")
    parser.add_argument(
        "--label", type=_pair, action="append", default=[], metavar="LABEL=CATEGORY",
        help="count a label as another category, such as 19=5; may be repeated",
    )  # fmt: skip
    parser.add_argument("--json", action="store_true", help="print JSON, not a table")
    parser.add_argument("--resamples", type=int, default=200, help="draws of pictures, 2 or more")
    parser.add_argument("--seed", type=int, default=0, help="of the draws")
    return parser


def main(arguments: list[str] | None = None) -> int:
    """Prints the figures. 2, with the cause on standard error, where there are none."""
    options = _parser().parse_args(arguments)
    try:
        figures = evaluate(
            options.results,
            options.ground_truth,
            labels=dict(options.label),
            resamples=options.resamples,
            seed=options.seed,
        )
    except (DirtySegError, ValueError, OSError, ImportError) as error:
        print(f"dirty_seg.evaluate: error: {error}", file=sys.stderr)
        return 2
    print(json.dumps(figures.to_dict(), indent=1) if options.json else figures)
    return 0


if __name__ == "__main__":
    sys.exit(main())
# Whoever imports this module by its name gets the function, so that dirty_seg.evaluate stays it.
sys.modules[__name__] = cast(Any, evaluate)
