"""How the library makes the network's square of a patch: the same arithmetic, for training.

The definition is src/geometry/letterbox.h; float32 products, truncated.
"""

from typing import NamedTuple

import cv2
import numpy as np

Image = np.ndarray
PAD = 114


class Letterbox(NamedTuple):
    width: int  # of the scaled patch
    height: int
    left: int
    top: int

    @property
    def window(self) -> tuple[slice, slice]:
        """Rows and columns of the square that show the patch."""
        return slice(self.top, self.top + self.height), slice(self.left, self.left + self.width)


def letterbox(side: int, width: int, height: int) -> Letterbox:
    scale = np.float32(side) / np.float32(max(width, height))
    scaled_width = int(np.float32(width) * scale)
    scaled_height = int(np.float32(height) * scale)
    if scaled_width >= scaled_height:
        return Letterbox(scaled_width, scaled_height, 0, (scaled_width - scaled_height) // 2)
    return Letterbox(scaled_width, scaled_height, (scaled_height - scaled_width) // 2, 0)


def to_square(patch: Image, side: int, pad: int = PAD) -> Image:
    """The patch scaled by its nearest pixels and padded."""
    box = letterbox(side, patch.shape[1], patch.shape[0])
    square = np.full((side, side, *patch.shape[2:]), pad, patch.dtype)
    square[box.window] = cv2.resize(patch, (box.width, box.height), interpolation=cv2.INTER_NEAREST)
    return square
