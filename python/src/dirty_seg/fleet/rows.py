"""A frame's result as a row of the dataset, and a row as a line of results.jsonl."""

from __future__ import annotations

import json
from typing import Any

import dirty_seg._core as _core
from dirty_seg._result import Result
from dirty_seg.fleet.sources import Frame, Stream

Row = dict[str, Any]
#: Source, topic and ordinal: which frame a row is of.
Key = tuple[str, str, int]

_SCHEMA_VERSION = 1


def row_of(stream: Stream, frame: Frame, result: Result | None, error: str = "") -> Row:
    """The row of a frame; without a result, that of one that failed."""
    row: Row = {
        "source": text_of(stream.source),
        "topic": stream.topic,
        "ordinal": frame.ordinal,
        "log_time": frame.times.log,
        "publish_time": frame.times.publish,
        "header_time": frame.times.header,
        "error": text_of(error or frame.error),
    }
    if frame.picture is not None:
        row["height"], row["width"] = frame.picture.shape[:2]
    return row if result is None else row | _found(json.loads(result.to_json()))


def key_of(row: Row) -> Key:
    """Which frame the row is of."""
    return row["source"], row["topic"], row["ordinal"]


def result_of(line: str) -> Result:
    """The result that a row's line has."""
    return Result(_core.FrameResult.from_line(line, _core.Labels({}, False, 0), []))


def text_of(name: str) -> str:
    """The name as a column has it: bytes that are not UTF-8 as \\xff."""
    return name.encode(errors="surrogateescape").decode(errors="backslashreplace")


def line_of(row: Row) -> str:
    """The line of results.jsonl that a row is of; of a log, its source has the topic, too."""
    source = f"{row['source']} {row['topic']}" if row["topic"] else row["source"]
    line: dict[str, Any] = {
        "schema_version": _SCHEMA_VERSION,
        "source": source,
        "frame": row["ordinal"],
        "image_size": [row["height"] or 1, row["width"] or 1],
        "fit": {
            "scale": row["scale"] or 1.0,
            "size": [row["placed_height"] or 1, row["placed_width"] or 1],
        },
        "success": not row["error"],
        "message": row["error"] or "success",
        "bboxes": row["boxes"] or [],
        "scores": row["scores"] or [],
        "labels": row["labels"] or [],
        "mask_pixel_counts": row["mask_pixel_counts"] or [],
        "label_masks": {
            str(mask["label"]): {"pixels": mask["pixels"], "rle": mask["run_lengths"]}
            for mask in row["label_masks"] or []
        },
        "label_names": {str(label): name for label, name in row["label_names"] or []},
        "things": [_line_thing(thing) for thing in row["things"] or []],
        "timing_ms": dict(row["stage_ms"] or []),
    }
    if row["confirmed"] is not None:
        line["confirmed"] = row["confirmed"]
        line["fece_candidates"] = [
            {key: value for key, value in candidate.items() if value is not None}
            for candidate in row["candidates"] or []
        ]
    if row["non_finite"]:
        line["non_finite"] = dict(row["non_finite"])
    return json.dumps(line, ensure_ascii=False, separators=(",", ":"))


def _found(line: dict[str, Any]) -> Row:
    placed_height, placed_width = line["fit"]["size"]
    return {
        "scale": line["fit"]["scale"],
        "placed_height": placed_height,
        "placed_width": placed_width,
        "boxes": line["bboxes"],
        "scores": line["scores"],
        "labels": line["labels"],
        "confirmed": line.get("confirmed"),
        "mask_pixel_counts": line["mask_pixel_counts"],
        "candidates": line.get("fece_candidates"),
        "things": [_thing(thing) for thing in line["things"]],
        "label_masks": [
            {"label": int(label), "pixels": mask["pixels"], "run_lengths": mask["rle"]}
            for label, mask in line["label_masks"].items()
        ],
        "label_names": [(int(label), name) for label, name in line["label_names"].items()],
        "non_finite": list(line["non_finite"].items()) if "non_finite" in line else None,
        "stage_ms": list(line["timing_ms"].items()),
    }


def _thing(thing: dict[str, Any]) -> dict[str, Any]:
    named = {"box": thing["bbox"], "run_lengths": thing["rle"]}
    same = ("score", "label", "confirmed", "members", "pixels")
    return named | {key: thing.get(key) for key in same}


def _line_thing(thing: dict[str, Any]) -> dict[str, Any]:
    named = {"bbox": thing["box"], "rle": thing["run_lengths"]}
    same = ("score", "label", "confirmed", "members", "pixels")
    return named | {key: thing[key] for key in same if thing[key] is not None}
