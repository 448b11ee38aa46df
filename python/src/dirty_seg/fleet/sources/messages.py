"""Pictures out of messages of ROS 1, ROS 2 and Foxglove."""

from __future__ import annotations

import functools
from collections.abc import Callable
from typing import Any

from dirty_seg.fleet.needs import need
from dirty_seg.fleet.sources import pictures
from dirty_seg.fleet.sources.stream import ByteArray, PictureError

#: Takes a message's bytes; gives its picture, and its header's time in nanoseconds.
Decoder = Callable[[bytes], "tuple[ByteArray, int | None]"]

_NANOSECONDS = 1_000_000_000
_REFUSED = {
    "CompressedVideo": "video, of which a frame cannot be had by itself",
    "PointCloud2": "points",
}


def decoder_of(type_name: str, encoding: str) -> Decoder | None:
    """For messages of this type, as ``sensor_msgs/msg/Image`` in ``cdr``; None if there is none."""
    name = type_name.replace("/msg/", "/")
    if encoding in ("cdr", "ros1") and name in ("sensor_msgs/CompressedImage", "sensor_msgs/Image"):
        return functools.partial(_ros, encoding, name.partition("/")[2])
    if encoding == "protobuf" and name in ("foxglove.CompressedImage", "foxglove.RawImage"):
        return functools.partial(_foxglove, name.partition(".")[2])
    return None


def refusal(type_name: str, encoding: str) -> str:
    """Why there is no decoder."""
    kind = type_name.replace(".", "/").rpartition("/")[2]
    what = _REFUSED.get(kind, f"{type_name or 'without a type'} in {encoding or 'no encoding'}")
    return (
        f"is {what}; expected Image or CompressedImage of ROS, RawImage or CompressedImage of "
        "Foxglove"
    )


@functools.cache
def _store(encoding: str) -> Any:
    typesys = need("rosbags.typesys", "rosbags")
    stores = typesys.Stores
    return typesys.get_typestore(stores.ROS1_NOETIC if encoding == "ros1" else stores.ROS2_HUMBLE)


def _ros(encoding: str, kind: str, data: bytes) -> tuple[ByteArray, int | None]:
    store = _store(encoding)
    read = store.deserialize_ros1 if encoding == "ros1" else store.deserialize_cdr
    message = _parsed(lambda: read(data, f"sensor_msgs/msg/{kind}"))
    stamp = message.header.stamp
    time = stamp.sec * _NANOSECONDS + stamp.nanosec
    if kind == "CompressedImage":
        return _compressed(message.format, bytes(message.data)), time
    picture = pictures.from_raw(
        message.encoding, message.height, message.width, message.step, bytes(message.data)
    )
    return picture, time


def _foxglove(kind: str, data: bytes) -> tuple[ByteArray, int | None]:
    module = need(f"foxglove_schemas_protobuf.{kind}_pb2", "foxglove-schemas-protobuf")
    message = getattr(module, kind)()
    _parsed(lambda: message.ParseFromString(data))
    time = message.timestamp.seconds * _NANOSECONDS + message.timestamp.nanos
    if kind == "CompressedImage":
        return _compressed(message.format, message.data), time
    picture = pictures.from_raw(
        message.encoding, message.height, message.width, message.step, message.data
    )
    return picture, time


def _compressed(encoding: str, data: bytes) -> ByteArray:
    if "compressedDepth" in encoding:
        raise PictureError(
            f"has the format '{encoding[:60]}', which is of depth; expected a colour picture"
        )
    return pictures.decode(data)


def _parsed(read: Callable[[], Any]) -> Any:
    try:
        return read()
    except Exception as error:  # whatever the parsers raise on bytes that are no message
        cause = f"{type(error).__name__}: {error}".strip()[:200]
        raise PictureError(f"is no message of its type: {cause}") from error
