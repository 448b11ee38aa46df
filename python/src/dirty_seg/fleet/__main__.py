"""``python -m dirty_seg.fleet``: detect, compare, annotate and export."""

from __future__ import annotations

import argparse
import json
import os
import sys
from collections.abc import Callable

from dirty_seg import DirtySegError
from dirty_seg.fleet import export, page
from dirty_seg.fleet.annotate import annotate
from dirty_seg.fleet.compare import compare
from dirty_seg.fleet.dataset import Output, OutputError
from dirty_seg.fleet.run import Plan, RunError, detect
from dirty_seg.fleet.settings import Settings, SettingsError
from dirty_seg.fleet.sources import SourceError

_INTERRUPTED = 130


def _whole(least: int) -> Callable[[str], int]:
    def read(text: str) -> int:
        try:
            value = int(text)
        except ValueError:
            value = least - 1
        if value < least:
            raise argparse.ArgumentTypeError(f"'{text}'; expected a whole number from {least} on")
        return value

    return read


def _numbers(text: str) -> tuple[int, ...]:
    try:
        return tuple(int(part) for part in text.split(","))
    except ValueError as error:
        raise argparse.ArgumentTypeError(f"'{text}'; expected class ids, as 5 or 0,5") from error


def _parser() -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser(
        prog="python -m dirty_seg.fleet", description="Replays of robots' logs."
    )
    commands = parser.add_subparsers(dest="command", required=True)
    run = commands.add_parser("detect", help="detect in pictures, videos and logs")
    run.add_argument("inputs", nargs="+", metavar="INPUT", help="files, folders, patterns, s3://")
    run.add_argument("--model", required=True, help="the segmentation network, an ONNX file")
    run.add_argument("--config", required=True, help="patches and thresholds, a YAML file")
    run.add_argument("--output", required=True, metavar="URI", help="a folder or s3:// prefix")
    run.add_argument("--topic", action="append", default=[], help="of logs; may be repeated")
    run.add_argument("--fece-model", help="the classifier, an ONNX file")
    run.add_argument("--fece-class-ids", type=_numbers, default=(), metavar="IDS")
    run.add_argument("--fece-score-threshold", type=float, default=0.5)
    run.add_argument("--fece-area-threshold", type=float, default=400.0)
    run.add_argument("--conf", type=float, help="the least score, over the configuration's")
    run.add_argument("--iou", type=float, help="so the overlap")
    run.add_argument("--max-det", type=_whole(1), help="so the most detections of a patch")
    run.add_argument("--mask-threshold", type=float, help="so a mask pixel's least probability")
    run.add_argument("--classes", type=_numbers, default=(), metavar="IDS", help="those kept")
    run.add_argument("--names", help="a file of class names, over those of the network")
    run.add_argument("--fit", choices=("scale", "pad"), default="scale")
    run.add_argument("--address", help="of a Ray cluster: auto or HOST:PORT; none: a local one")
    run.add_argument("--workers", type=_whole(1), help="processes; by default one a core")
    run.add_argument("--threads", type=_whole(1), default=1, help="of each worker")
    run.add_argument("--unit-frames", type=_whole(1), help="of a piece of work; 25 to 250")
    out = commands.add_parser("export", help="a run's frames as results.jsonl or COCO's format")
    out.add_argument("run", help="the output of detect")
    form = out.add_mutually_exclusive_group(required=True)
    form.add_argument("--jsonl", metavar="FILE")
    form.add_argument("--coco", metavar="FILE")
    both = commands.add_parser("compare", help="what a run sees otherwise than another")
    both.add_argument("run_a", metavar="RUN_A", help="the output of detect")
    both.add_argument("run_b", metavar="RUN_B", help="of the same inputs")
    both.add_argument("--most", type=_whole(1), default=20, help="frames that are told")
    both.add_argument("--seed", type=_whole(0), default=0, help="of the intervals")
    both.add_argument("--json", action="store_true", help="print JSON, not a table")
    both.add_argument("--report", metavar="PAGE.html", help="write a page of these frames")
    both.add_argument("--program", default="dirty_seg", help="that writes the page")
    mark = commands.add_parser("annotate", help="a log with what was found in it")
    mark.add_argument("run", help="the output of detect")
    mark.add_argument("log", metavar="LOG.mcap", help="as detect was given it")
    mark.add_argument("-o", "--output", required=True, metavar="OUT.mcap")
    return parser


def _detect(options: argparse.Namespace) -> int:
    settings = Settings(
        model=os.path.abspath(options.model),
        config=os.path.abspath(options.config),
        fece_model=os.path.abspath(options.fece_model) if options.fece_model else None,
        fece_class_ids=options.fece_class_ids,
        fece_score_threshold=options.fece_score_threshold,
        fece_area_threshold=options.fece_area_threshold,
        score_threshold=options.conf,
        iou_threshold=options.iou,
        max_detections=options.max_det,
        mask_threshold=options.mask_threshold,
        classes=options.classes,
        names=os.path.abspath(options.names) if options.names else None,
        fit=options.fit,
        threads=options.threads,
    )
    if options.address is not None and options.address.startswith("ray://"):
        raise SettingsError("Ray Data does not work with ray://; expected auto or HOST:PORT")
    workers = options.workers or max((os.cpu_count() or 1) // options.threads, 1)
    plan = Plan(
        tuple(options.inputs),
        tuple(options.topic),
        options.output,
        settings,
        options.address,
        workers,
        options.unit_frames,
    )
    summary = detect(plan)
    if not summary.is_complete:
        return _INTERRUPTED
    return 1 if summary.failed or summary.refused else 0


def _export(options: argparse.Namespace) -> int:
    output = Output(options.run)
    if output.read("run.json") is None:
        raise OutputError(f"'{options.run}' has no run.json; expected the output of detect")
    with open(options.jsonl or options.coco, "w", encoding="utf-8") as file:
        if options.coco:
            json.dump(export.coco(output), file)
            file.write("\n")
        else:
            file.writelines(f"{line}\n" for line in export.lines(output))
    return 0


def _compare(options: argparse.Namespace) -> int:
    a, b = Output(options.run_a), Output(options.run_b)
    comparison = compare(a, b, options.most, options.seed)
    print(json.dumps(comparison.to_dict(), indent=1) if options.json else comparison)
    if options.report:
        page.write(options.report, a, b, comparison.most_changed, options.program)
    return 0


def _annotate(options: argparse.Namespace) -> int:
    if os.path.exists(options.output):
        raise OutputError(f"'{options.output}' is there already; expected another name")
    count = annotate(Output(options.run), options.log, options.output)
    print(f"dirty_seg.fleet: {count} frames annotated", file=sys.stderr)
    return 0


def main(arguments: list[str] | None = None) -> int:
    """0; 1 where frames or inputs failed; 2, with the cause, where nothing could be done."""
    options = _parser().parse_args(arguments)
    try:
        return _COMMANDS[options.command](options)
    except KeyboardInterrupt:
        return _INTERRUPTED
    except (
        DirtySegError, SourceError, OutputError, RunError, SettingsError, ValueError, OSError,
        ImportError,
    ) as error:  # fmt: skip
        print(f"dirty_seg.fleet: error: {error}", file=sys.stderr)
        return 2


_COMMANDS = {"detect": _detect, "export": _export, "compare": _compare, "annotate": _annotate}

if __name__ == "__main__":
    sys.exit(main())
