"""The dataset's rows: one a frame. The one place where their columns are."""

from __future__ import annotations

from typing import Any

from dirty_seg.fleet.needs import need

#: Of a row that says which frame it is.
KEY = ("source", "topic", "ordinal")

#: Name, type and meaning of each column.
COLUMNS: tuple[tuple[str, str, str], ...] = (
    ("source", "text", "Path or URI of the file."),
    ("topic", "text", "Topic of a log; empty for pictures and videos."),
    ("ordinal", "int64", "Place of the frame in its file's topic, from 0."),
    ("log_time", "int64", "When the log took it, nanoseconds since 1970; null without a log."),
    ("publish_time", "int64", "When it was published, likewise."),
    ("header_time", "int64", "Time in the message's header, likewise."),
    ("height", "int32", "Of the picture, in pixels; null for a frame that could not be read."),
    ("width", "int32", "Likewise."),
    ("scale", "float64", "Pixels of the detector's frame to one of the picture."),
    ("placed_height", "int32", "Of the picture in the detector's frame of 1920 x 1080."),
    ("placed_width", "int32", "Likewise."),
    ("boxes", "boxes", "x1, y1, x2, y2 of each detection, in pixels of the detector's frame."),
    ("scores", "floats", "Of each detection; null where it is not a number."),
    ("labels", "numbers", "Class of each detection; 19 where the classifier confirmed it."),
    ("confirmed", "truths", "Whether the classifier confirmed each; null without one."),
    ("mask_pixel_counts", "floats", "Of each detection with a mask inside the frame."),
    ("candidates", "candidates", "What the classifier was asked about; null without one."),
    ("things", "things", "What detections of several patches are parts of, best score first."),
    ("label_masks", "masks", "Union of each label's masks, run lengths of the detector's frame."),
    ("label_names", "names", "Names of the labels that were found and have one."),
    ("non_finite", "counts", "Numbers of the network's outputs that were not finite; or null."),
    ("stage_ms", "times", "Milliseconds by stage; not alike from run to run."),
    ("error", "text", "Empty, or why the frame has no result."),
)  # fmt: skip


def schema() -> Any:
    """pyarrow's schema; each field's metadata has its description."""
    pa = need("pyarrow")
    numbers, floats = pa.list_(pa.int32()), pa.list_(pa.float32())
    run_lengths = pa.struct({"size": numbers, "counts": pa.string()})
    candidate = {"detection": pa.int32(), "verdict": pa.string(), "score": pa.float64()}
    mask = {"label": pa.int32(), "pixels": pa.int64(), "run_lengths": run_lengths}
    thing = {
        "box": floats,
        "score": pa.float32(),
        "label": pa.int32(),
        "confirmed": pa.bool_(),
        "members": numbers,
        "pixels": pa.int64(),
        "run_lengths": run_lengths,
    }
    types = {
        "text": pa.string(),
        "int64": pa.int64(),
        "int32": pa.int32(),
        "float64": pa.float64(),
        "boxes": pa.list_(floats),
        "floats": floats,
        "numbers": numbers,
        "truths": pa.list_(pa.bool_()),
        "candidates": pa.list_(pa.struct(candidate)),
        "things": pa.list_(pa.struct(thing)),
        "masks": pa.list_(pa.struct(mask)),
        "names": pa.map_(pa.int32(), pa.string()),
        "counts": pa.map_(pa.string(), pa.int64()),
        "times": pa.map_(pa.string(), pa.float64()),
    }
    return pa.schema(
        [
            pa.field(name, types[kind], metadata={"description": meaning})
            for name, kind, meaning in COLUMNS
        ]
    )


def json_schema() -> dict[str, Any]:
    """JSON Schema of a row as pyarrow's ``to_pylist`` gives it; docs/schema has it as a file."""
    pa = need("pyarrow")

    def kind(of: Any) -> dict[str, Any]:
        if pa.types.is_map(of):
            return {"type": "array", "items": {"type": "array", "minItems": 2, "maxItems": 2}}
        if pa.types.is_list(of):
            return {"type": "array", "items": kind(of.value_type)}
        if pa.types.is_struct(of):
            fields = [of.field(i) for i in range(of.num_fields)]
            return {"type": "object", "properties": {f.name: kind(f.type) for f in fields}}
        names = {pa.string(): "string", pa.bool_(): "boolean"}
        is_real = pa.types.is_floating(of)
        name = names.get(of, "number" if is_real else "integer")
        return {"type": [name, "null"]}

    properties = {}
    for field in schema():
        entry = kind(field.type)
        if entry["type"] == "array":
            entry["type"] = ["array", "null"]
        properties[field.name] = {
            "description": field.metadata[b"description"].decode(),
            "x-arrow": str(field.type),
            **entry,
        }
    return {
        "$schema": "http://json-schema.org/draft-07/schema#",
        "title": "A row of the fleet's Parquet dataset",
        "description": "What was found in one frame. x-arrow is the column's type in the file.",
        "type": "object",
        "additionalProperties": False,
        "required": list(KEY),
        "properties": properties,
    }
