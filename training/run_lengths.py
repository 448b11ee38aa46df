"""COCO's run lengths of masks."""

import numpy as np


def of(mask: np.ndarray) -> dict:
    """{"size": [height, width], "counts": [...]} of bools [height, width], not compressed."""
    flat = mask.T.ravel()  # column by column
    changes = np.flatnonzero(np.diff(flat)) + 1
    lengths = np.diff([0, *changes, len(flat)]).tolist()
    return {"size": list(mask.shape), "counts": [0, *lengths] if flat[0] else lengths}


def decode(record: dict) -> np.ndarray:
    """The mask of compressed ones, {"size": [height, width], "counts": "..."}: uint8, 0 or 255."""
    lengths: list[int] = []
    number, shift = 0, 0
    for character in record["counts"].encode():
        group = character - 48
        number |= (group & 0x1F) << shift
        shift += 5
        if group & 0x20:
            continue
        if group & 0x10:
            number -= 1 << shift
        # From the fourth on, as the difference from the last length of the same kind.
        lengths.append(number if len(lengths) < 3 else number + lengths[-2])
        number, shift = 0, 0
    values = (np.arange(len(lengths)) % 2 * 255).astype(np.uint8)
    height, width = record["size"]
    return np.repeat(values, lengths).reshape(width, height).T
