"""Encoded pictures and raw ones, as the detector takes them."""

from __future__ import annotations

import os
from typing import Any

import numpy as np

from dirty_seg.fleet.needs import need
from dirty_seg.fleet.sources.stream import ByteArray, PictureError

MAX_SIDE = 16384  # the host program's limit, too
_LIMIT = f"expected 1 to {MAX_SIDE} a side"
_SUFFIXES = ".jpg .jpeg .png .bmp .tif .tiff .webp .ppm .pgm .pbm"
SUFFIXES = frozenset(_SUFFIXES.split())

_JPEG, _JPEG_END, _JPEG_SCAN = b"\xff\xd8\xff", b"\xff\xd9", b"\xff\xda"

# Number of bytes a pixel, and OpenCV's conversion to B, G, R; "" needs none.
_ENCODINGS = {
    "bgr8": (3, ""),
    "8UC3": (3, ""),
    "rgb8": (3, "COLOR_RGB2BGR"),
    "bgra8": (4, "COLOR_BGRA2BGR"),
    "8UC4": (4, "COLOR_BGRA2BGR"),
    "rgba8": (4, "COLOR_RGBA2BGR"),
    "mono8": (1, "COLOR_GRAY2BGR"),
    "8UC1": (1, "COLOR_GRAY2BGR"),
    # Two pixels share their colour: the order of its parts and of both lightnesses.
    "yuv422": (2, "COLOR_YUV2BGR_UYVY"),
    "uyvy": (2, "COLOR_YUV2BGR_UYVY"),
    "yuv422_yuy2": (2, "COLOR_YUV2BGR_YUY2"),
    "yuyv": (2, "COLOR_YUV2BGR_YUY2"),
    # OpenCV names the pattern by its second row.
    "bayer_rggb8": (1, "COLOR_BayerBG2BGR"),
    "bayer_bggr8": (1, "COLOR_BayerRG2BGR"),
    "bayer_gbrg8": (1, "COLOR_BayerGR2BGR"),
    "bayer_grbg8": (1, "COLOR_BayerGB2BGR"),
}


def opencv() -> Any:
    """cv2, which refuses pictures larger than ours before it decodes them."""
    os.environ.setdefault("OPENCV_IO_MAX_IMAGE_WIDTH", str(MAX_SIDE))
    os.environ.setdefault("OPENCV_IO_MAX_IMAGE_HEIGHT", str(MAX_SIDE))
    return need("cv2", "opencv-python-headless")


def decoder_version() -> str:
    """Of the picture decoder, on which pixels depend."""
    return f"OpenCV {opencv().__version__}"


def decode(data: bytes) -> ByteArray:
    """uint8 [height, width, 3] in B, G, R order, turned upright as its EXIF says.

    Raises:
        PictureError: the data is no picture.
    """
    cv2 = opencv()
    if not data:
        raise PictureError("is empty; expected a JPEG, PNG or other picture")
    if _is_cut_short(data):  # which OpenCV may fill with grey
        raise PictureError("is a JPEG that is cut short; expected its end")
    try:
        picture: ByteArray | None = cv2.imdecode(np.frombuffer(data, np.uint8), cv2.IMREAD_COLOR)
    except cv2.error as error:
        raise PictureError(f"cannot be decoded: {_first_line(error)}") from error
    if picture is None:
        raise PictureError(
            f"is no picture, it begins with {data[:8].hex(' ')}; expected a JPEG, PNG or other one"
        )
    if max(picture.shape[:2]) > MAX_SIDE:  # where OpenCV was loaded before us
        raise PictureError(f"is of {picture.shape[0]} x {picture.shape[1]} pixels; {_LIMIT}")
    return picture


def _is_cut_short(data: bytes) -> bool:
    """Whether it is a JPEG without an end of its own; those of thumbnails are before its scan."""
    return data.startswith(_JPEG) and data.rfind(_JPEG_END) < data.rfind(_JPEG_SCAN)


def from_raw(encoding: str, height: int, width: int, step: int, data: bytes) -> ByteArray:
    """So of pixels as they are in memory, rows ``step`` bytes apart.

    Raises:
        PictureError: unknown encoding, or data of another length.
    """
    if encoding not in _ENCODINGS:
        known = ", ".join(sorted(_ENCODINGS))
        raise PictureError(f"has the encoding '{encoding}'; expected one of {known}")
    channels, conversion = _ENCODINGS[encoding]
    if not (0 < height <= MAX_SIDE and 0 < width <= MAX_SIDE):
        raise PictureError(f"is of {height} x {width} pixels; {_LIMIT}")
    if step < width * channels or len(data) < step * (height - 1) + width * channels:
        raise PictureError(
            f"has {len(data)} bytes in rows of {step}; expected {height} rows of at least "
            f"{width * channels} bytes, for {width} pixels of {encoding}"
        )
    if channels == 2 and width % 2 != 0:
        raise PictureError(f"has {width} pixels of {encoding} a row; expected an even number")
    rows = np.lib.stride_tricks.as_strided(
        np.frombuffer(data, np.uint8), (height, width * channels), (step, 1), writeable=False
    )
    pixels: ByteArray = np.ascontiguousarray(rows).reshape(height, width, channels)
    if not conversion:
        return pixels
    cv2 = opencv()
    converted: ByteArray = cv2.cvtColor(pixels, getattr(cv2, conversion))
    return converted


def _first_line(error: Exception) -> str:
    return str(error).strip().splitlines()[-1] if str(error).strip() else type(error).__name__
