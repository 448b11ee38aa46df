"""Logs for the tests: pictures of plain colours, as robots record them."""

from __future__ import annotations

from collections.abc import Sequence
from pathlib import Path
from typing import Any

import cv2
import numpy as np
import numpy.typing as npt
from foxglove_schemas_protobuf.CompressedImage_pb2 import CompressedImage
from foxglove_schemas_protobuf.RawImage_pb2 import RawImage
from mcap.writer import CompressionType, Writer
from rosbags.typesys import Stores, get_typestore

ByteArray = npt.NDArray[np.uint8]
ROS2 = get_typestore(Stores.ROS2_HUMBLE)
ROS1 = get_typestore(Stores.ROS1_NOETIC)
COLOURS = {"red": (0, 0, 255), "green": (0, 255, 0), "blue": (255, 0, 0)}


def plain(colour: str, height: int = 32, width: int = 48) -> ByteArray:
    return np.full((height, width, 3), COLOURS[colour], np.uint8)


def png(colour: str, height: int = 32, width: int = 48) -> bytes:
    return bytes(cv2.imencode(".png", plain(colour, height, width))[1])


def header(store: Any, seconds: int) -> Any:
    types = store.types
    stamp = types["builtin_interfaces/msg/Time"](sec=seconds, nanosec=7)
    fields = {"stamp": stamp, "frame_id": "camera"}
    if store is ROS1:
        fields["seq"] = 0
    return types["std_msgs/msg/Header"](**fields)


def ros_compressed(colour: str, seconds: int = 5, store: Any = ROS2, format: str = "png") -> Any:
    return ros_encoded(png(colour), seconds, store, format)


def ros_encoded(picture: bytes, seconds: int = 5, store: Any = ROS2, format: str = "png") -> Any:
    data = np.frombuffer(picture, np.uint8)
    return store.types["sensor_msgs/msg/CompressedImage"](header(store, seconds), format, data)


def ros_raw(
    data: bytes, encoding: str, height: int, width: int, step: int, store: Any = ROS2
) -> Any:
    return store.types["sensor_msgs/msg/Image"](
        header=header(store, 5), height=height, width=width, encoding=encoding, is_bigendian=0,
        step=step, data=np.frombuffer(data, np.uint8),
    )  # fmt: skip


def cdr(message: Any) -> bytes:
    return bytes(ROS2.serialize_cdr(message, message.__msgtype__))


def foxglove_compressed(colour: str) -> bytes:
    message = CompressedImage(data=png(colour), format="png")
    message.timestamp.seconds, message.timestamp.nanos = 6, 9
    return message.SerializeToString()


def foxglove_raw(colour: str) -> bytes:
    picture = plain(colour)
    return RawImage(
        height=32, width=48, encoding="bgr8", step=144, data=picture.tobytes()
    ).SerializeToString()


Message = tuple[str, str, str, int, bytes]  # topic, type, encoding, log time, data


def write_mcap(
    path: Path, messages: Sequence[Message], chunk_size: int = 2000, **options: Any
) -> Path:
    """A log of these messages, in their order."""
    with open(path, "wb") as file:
        writer = Writer(file, chunk_size=chunk_size, compression=CompressionType.ZSTD, **options)
        writer.start()
        channels: dict[str, int] = {}
        for number, (topic, kind, encoding, time, data) in enumerate(messages):
            if topic not in channels:
                schema = writer.register_schema(
                    kind, "ros2msg" if encoding == "cdr" else encoding, b""
                )
                channels[topic] = writer.register_channel(topic, encoding, schema)
            writer.add_message(channels[topic], time, data, time + 1, number)
        writer.finish()
    return path


CAMERA = ("/camera", "sensor_msgs/msg/CompressedImage", "cdr")


def camera(colours: Sequence[str], first: int = 100) -> list[Message]:
    return [(*CAMERA, first + i, cdr(ros_compressed(c))) for i, c in enumerate(colours)]
