"""Writes pictures as an MCAP log, one in a tenth of a second, as a robot's recorder does.

    python python/examples/write_log.py FRAMES OUT.mcap
"""

import sys
from collections.abc import Iterable
from pathlib import Path

import numpy as np
from mcap.writer import Writer
from rosbags.typesys import Stores, get_typestore

TOPIC, TYPE = "/camera/front", "sensor_msgs/msg/CompressedImage"
BEGIN = 1_700_000_000 * 10**9  # of the log, in nanoseconds since 1970
STEP = 10**8


def write(output: Path, pictures: Iterable[bytes]) -> None:
    """A log of encoded pictures."""
    store = get_typestore(Stores.ROS2_HUMBLE)
    text, _ = store.generate_msgdef(TYPE, ros_version=2)
    header, stamp = store.types["std_msgs/msg/Header"], store.types["builtin_interfaces/msg/Time"]
    with open(output, "wb") as file:
        writer = Writer(file)
        writer.start()
        schema = writer.register_schema(TYPE, "ros2msg", text.encode())
        channel = writer.register_channel(TOPIC, "cdr", schema)
        for number, picture in enumerate(pictures):
            time = BEGIN + number * STEP
            message = store.types[TYPE](
                header=header(stamp=stamp(*divmod(time, 10**9)), frame_id="front"),
                format="jpeg",
                data=np.frombuffer(picture, np.uint8),
            )
            writer.add_message(channel, time, bytes(store.serialize_cdr(message, TYPE)), time)
        writer.finish()


def main(folder: str, output: str) -> None:
    write(Path(output), (path.read_bytes() for path in sorted(Path(folder).glob("*.jpg"))))


if __name__ == "__main__":
    main(*sys.argv[1:])
