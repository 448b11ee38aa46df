"""A run's frames in the forms of other tools."""

from __future__ import annotations

import json
from collections.abc import Iterator
from typing import Any

from dirty_seg.fleet.dataset import Output
from dirty_seg.fleet.rows import line_of, result_of


def lines(output: Output) -> Iterator[str]:
    """Lines of results.jsonl, in the order of ``Output.in_order``."""
    return map(line_of, output.in_order())


def coco(output: Output) -> dict[str, Any]:
    """COCO's format: images, categories, and what was found as annotations with a score."""
    images: list[dict[str, Any]] = []
    annotations: list[dict[str, Any]] = []
    names: dict[int, str] = {}
    for number, text in enumerate(lines(output), 1):
        line = json.loads(text)
        height, width = line["image_size"]
        name = f"{line['source']}#{line['frame']}" if line["frame"] else line["source"]
        images.append({"id": number, "file_name": name, "height": height, "width": width})
        names |= {int(label): name for label, name in line["label_names"].items()}
        for entry in result_of(text).to_coco(number):
            names.setdefault(entry["category_id"], f"class {entry['category_id']}")
            annotations.append({"id": len(annotations) + 1, **entry})
    categories = [{"id": label, "name": name} for label, name in sorted(names.items())]
    return {"images": images, "categories": categories, "annotations": annotations}
