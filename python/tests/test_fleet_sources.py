"""Frames of pictures, videos and logs, and what is said of those that cannot be read."""

import random
from pathlib import Path
from typing import Any

import cv2
import logs
import numpy as np
import pytest
from logs import CAMERA, ROS1, ROS2, camera, cdr, plain, png, ros_compressed, ros_raw, write_mcap
from mcap.reader import make_reader
from rosbags.rosbag1 import Writer as Bag1Writer
from rosbags.rosbag2 import Writer as Bag2Writer

from dirty_seg.fleet.sources import Frame, Stream, find_streams, read_frames, reading


def streams_of(*inputs: object, topics: tuple[str, ...] = ()) -> list[Stream]:
    streams, errors = find_streams([str(item) for item in inputs], topics)
    assert errors == []
    return streams


def refusals(*inputs: object, topics: tuple[str, ...] = ()) -> list[str]:
    return [str(error) for error in find_streams([str(item) for item in inputs], topics)[1]]


def only(*inputs: object) -> Stream:
    (stream,) = streams_of(*inputs)
    return stream


def colours(frames: list[Frame]) -> list[str]:
    """Names of the pictures' colours; of one that failed, its error."""
    names = {colour: name for name, colour in logs.COLOURS.items()}
    found = []
    for frame in frames:
        if frame.picture is None:
            found.append(frame.error)
        else:
            assert (frame.picture == frame.picture[0, 0]).all() and frame.picture.dtype == np.uint8
            found.append(names[tuple(frame.picture[0, 0].tolist())])
    return found


def test_a_folder_gives_its_pictures_in_order_of_names_and_each_once(tmp_path: Path) -> None:
    for name, colour in (("b.png", "red"), ("a/z.png", "green"), ("c.txt", "blue")):
        (tmp_path / name).parent.mkdir(exist_ok=True)
        (tmp_path / name).write_bytes(png(colour))
    (tmp_path / ".hidden.png").write_bytes(b"")
    streams = streams_of(tmp_path, tmp_path / "b.png", tmp_path / "*.png")
    assert [stream.source for stream in streams] == [
        str(tmp_path / "a" / "z.png"),
        str(tmp_path / "b.png"),
    ]
    assert [colours(list(read_frames(stream))) for stream in streams] == [["green"], ["red"]]


def test_inputs_that_are_not_there_are_named(tmp_path: Path) -> None:
    (tmp_path / "a.txt").write_text("")
    (tmp_path / "empty").mkdir()
    assert refusals(tmp_path / "none.png", tmp_path / "*.mcap", tmp_path / "empty") == [
        f"there is no '{tmp_path}/none.png'; expected a file, a folder, a pattern or s3://",
        f"'{tmp_path}/*.mcap' has no files; expected pictures, videos or logs",
        f"'{tmp_path}/empty' has no files; expected pictures, videos or logs",
    ]
    (refusal,) = refusals(tmp_path / "a.txt")
    assert "a.txt' is of no kind that is read; expected pictures, videos, .mcap logs" in refusal
    assert refusals("ftp://host/a.png")[0].startswith("'ftp://host/a.png' cannot be reached")
    assert "has a key in it" in refusals("s3://key:secret@bucket/a")[0]
    assert "secret" not in refusals("s3://key:secret@bucket/a")[0]


@pytest.mark.parametrize(
    ("data", "words"),
    [
        (b"", "is empty; expected a JPEG, PNG or other picture"),
        (b"no picture", "is no picture, it begins with 6e 6f 20 70 69 63 74 75"),
        (png("red")[:40], "is no picture, it begins with 89 50"),
    ],
)
def test_a_picture_that_is_none_is_told(tmp_path: Path, data: bytes, words: str) -> None:
    path = tmp_path / "a.png"
    path.write_bytes(data)
    (frame,) = read_frames(only(path))
    assert frame.picture is None
    assert frame.error.startswith(f"'{path}' ") and words in frame.error


def test_a_picture_that_has_gone_since_is_told(tmp_path: Path) -> None:
    path = tmp_path / "a.png"
    path.write_bytes(png("red"))
    stream = only(path)
    path.unlink()
    assert [frame.error for frame in read_frames(stream)] == [
        f"there is no file '{path}': No such file or directory"
    ]


def test_a_picture_of_more_than_16384_pixels_a_side_is_refused(tmp_path: Path) -> None:
    path = tmp_path / "wide.png"
    cv2.imwrite(str(path), np.zeros((1, 16385, 3), np.uint8))
    (frame,) = read_frames(only(path))
    assert frame.picture is None and ("16384" in frame.error or "cannot be decoded" in frame.error)


def write_video(path: Path, levels: tuple[int, ...]) -> Path:
    """Of grey frames."""
    video = cv2.VideoWriter(str(path), cv2.VideoWriter.fourcc(*"MJPG"), 10, (64, 64))
    for level in levels:
        video.write(np.full((64, 64, 3), level, np.uint8))
    video.release()
    return path


def test_a_videos_frames_can_begin_anywhere(tmp_path: Path) -> None:
    path = write_video(tmp_path / "a.avi", (0, 60, 120, 180, 240))
    stream = only(path)
    assert (stream.kind, stream.frames) == ("video", 5)
    frames = list(read_frames(stream, 2, 2))
    assert [frame.ordinal for frame in frames] == [2, 3]
    levels = [round(float(frame.picture.mean())) for frame in frames if frame.picture is not None]
    assert levels == pytest.approx([120, 180], abs=2)  # of JPEG
    assert [frame.ordinal for frame in read_frames(stream, 4)] == [4]
    path.write_bytes(b"no video")
    assert [frame.error for frame in read_frames(only(path))] == [
        f"'{path}' cannot be opened as a video"
    ]


def test_a_video_that_is_cut_short_tells_where(tmp_path: Path) -> None:
    path = write_video(tmp_path / "a.avi", (0, 60, 120, 180, 240) * 4)
    whole = path.read_bytes()
    begins = [n for n in range(len(whole)) if whole.startswith(b"00dc", n)][:20]
    path.write_bytes(whole[: begins[12] + 4])  # in what a frame begins with
    stream = only(path)
    assert stream.frames == 20  # as it tells
    *frames, last = read_frames(stream)
    there = len(frames)  # decoders differ in what they make of the last one
    assert there in (11, 12, 13) and all(frame.picture is not None for frame in frames)
    error = f"'{path}' ends after {there} of 20 frames; it is cut short or damaged"
    assert (last.ordinal, last.error) == (there, error)
    # One part tells of it, wherever the parts begin and end.
    for size in (1, 5, there, 20):
        parts = [(first, size) for first in range(0, 20, size)]
        found = [f for part in parts for f in read_frames(stream, *part)]
        assert [f.ordinal for f in found] == list(range(there + 1))
        assert [f.error for f in found] == [""] * there + [error]
    path.write_bytes(whole[: begins[0]])
    (none,) = read_frames(only(path))
    assert none.error in (
        f"'{path}' gives no frame that can be read",
        f"'{path}' cannot be opened as a video",
    )


def test_a_number_of_frames_is_not_believed_beyond_the_files_bytes() -> None:
    told = [3, 0, -9.2e18, 1e300, float("inf"), float("nan")]
    assert [reading._plausible(number, 1000) for number in told] == [3, 0, 0, 1000, 1000, 0]


def test_a_jpeg_that_is_cut_short_is_none(tmp_path: Path) -> None:
    picture = np.random.default_rng(3).integers(0, 256, (64, 64, 3), np.uint8)
    thumbnail = cv2.imencode(".jpg", picture[:16, :16])[1].tobytes()
    for options in ([], [cv2.IMWRITE_JPEG_PROGRESSIVE, 1]):
        whole = cv2.imencode(".jpg", picture, options)[1].tobytes()
        within = b"\xff\xe1" + (len(thumbnail) + 2).to_bytes(2, "big") + thumbnail
        for data in (whole, whole[:2] + within + whole[2:]):
            path = tmp_path / "a.jpg"
            path.write_bytes(data + bytes(16))  # as some cameras pad it
            (frame,) = read_frames(only(path))
            assert frame.picture is not None
            for length in (len(data) - 2, len(data) * 3 // 4):
                path.write_bytes(data[:length])
                (frame,) = read_frames(only(path))
                assert frame.error == f"'{path}' is a JPEG that is cut short; expected its end"


def test_a_video_is_gone_through_once_whatever_part_of_it_is_next(
    tmp_path: Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    one = only(write_video(tmp_path / "a.avi", tuple(range(0, 200, 20))))
    other = only(write_video(tmp_path / "b.avi", (5, 25)))
    opened = []
    capture = cv2.VideoCapture

    def watched(path: str) -> Any:
        opened.append(Path(path).name)
        return capture(path)

    monkeypatch.setattr(cv2, "VideoCapture", watched)

    def read(stream: Stream, first: int, count: int | None) -> list[tuple[int, float]]:
        return [
            (frame.ordinal, round(float(frame.picture.mean()), -1))
            for frame in read_frames(stream, first, count)
            if frame.picture is not None
        ]

    assert read(one, 1, 2) == [(1, 20), (2, 40)]
    assert read(one, 3, 2) == [(3, 60), (4, 80)]
    assert read(one, 7, 1) == [(7, 140)]
    assert opened == ["a.avi"]
    assert read(one, 2, 1) == [(2, 40)]  # back
    assert read(other, 1, 1) == [(1, 20)]
    assert read(one, 8, None) == [(8, 160), (9, 180)]
    assert read(one, 10, None) == []  # what has ended does not go on
    assert opened == ["a.avi", "a.avi", "b.avi", "a.avi", "a.avi"]
    both = zip(read_frames(one, 0), read_frames(one, 1), strict=False)  # each at its own place
    assert [(a.ordinal, b.ordinal) for a, b in both] == [(i, i + 1) for i in range(9)]
    assert opened[5:] == ["a.avi", "a.avi"]


def test_an_mcap_log_of_ros_and_foxglove(tmp_path: Path) -> None:
    raw = ros_raw(plain("blue").tobytes(), "bgr8", 32, 48, 144)
    path = write_mcap(
        tmp_path / "a.mcap",
        [
            *camera(["red", "green"]),
            ("/raw", "sensor_msgs/msg/Image", "cdr", 50, cdr(raw)),
            ("/fox", "foxglove.CompressedImage", "protobuf", 60, logs.foxglove_compressed("green")),
            ("/fox_raw", "foxglove.RawImage", "protobuf", 70, logs.foxglove_raw("blue")),
            ("/points", "sensor_msgs/msg/PointCloud2", "cdr", 80, b"x"),
            *camera(["blue"], first=90),
        ],
    )
    streams = {stream.topic: stream for stream in streams_of(path)}
    assert {topic: stream.frames for topic, stream in streams.items()} == {
        "/camera": 3, "/raw": 1, "/fox": 1, "/fox_raw": 1,
    }  # fmt: skip
    frames = list(read_frames(streams["/camera"]))
    assert colours(frames) == ["red", "green", "blue"]
    # The order is the file's, though the last one's time goes back.
    assert [(frame.ordinal, frame.times.log) for frame in frames] == [(0, 100), (1, 101), (2, 90)]
    assert (frames[0].times.publish, frames[0].times.header) == (101, 5_000_000_007)
    assert colours(list(read_frames(streams["/camera"], 1, 1))) == ["green"]
    (fox,) = read_frames(streams["/fox"])
    assert (colours([fox]), fox.times.header) == (["green"], 6_000_000_009)
    assert colours(list(read_frames(streams["/raw"]))) == ["blue"]
    assert colours(list(read_frames(streams["/fox_raw"]))) == ["blue"]


def test_topics_that_are_not_there_or_no_pictures_are_refused(tmp_path: Path) -> None:
    video = ("/video", "foxglove.CompressedVideo", "protobuf", 1, b"x")
    path = write_mcap(tmp_path / "a.mcap", [*camera(["red"]), video])
    streams, errors = find_streams([str(path)], ["/camera", "/none", "/video"])
    assert [stream.topic for stream in streams] == ["/camera"]
    assert [str(error) for error in errors] == [
        f"'{path}' has no topic '/none'; it has '/camera' (sensor_msgs/msg/CompressedImage), "
        "'/video' (foxglove.CompressedVideo)",
        f"'{path}' topic '/video' is video, of which a frame cannot be had by itself; expected "
        "Image or CompressedImage of ROS, RawImage or CompressedImage of Foxglove",
    ]
    lonely = write_mcap(tmp_path / "b.mcap", [video])
    assert refusals(lonely) == [
        f"'{lonely}' has no topic of pictures; it has '/video' (foxglove.CompressedVideo)"
    ]
    empty = write_mcap(tmp_path / "c.mcap", [])
    assert refusals(empty) == [f"'{empty}' has no topic of pictures; it has none"]


@pytest.mark.parametrize(
    ("data", "words"),
    [
        (cdr(ros_compressed("red", format="16UC1; compressedDepth png")), "which is of depth"),
        (cdr(ros_compressed("red"))[:30], "is no message of its type: "),
        (b"", "is no message of its type: "),
    ],
)
def test_a_message_that_cannot_be_read_is_told_and_the_rest_is_read(
    tmp_path: Path, data: bytes, words: str
) -> None:
    path = write_mcap(
        tmp_path / "a.mcap", [*camera(["red"]), (*CAMERA, 101, data), *camera(["blue"], 102)]
    )
    frames = list(read_frames(only(path)))
    assert colours([frames[0], frames[2]]) == ["red", "blue"]
    assert frames[1].error.startswith(f"'{path}' topic '/camera' message 1 ")
    assert words in frames[1].error
    assert (frames[1].times.log, frames[1].picture) == (101, None)


def raw_frame(
    tmp_path: Path, data: bytes, encoding: str, height: int, width: int, step: int
) -> Frame:
    message = cdr(ros_raw(data, encoding, height, width, step))
    path = write_mcap(tmp_path / "a.mcap", [("/raw", "sensor_msgs/msg/Image", "cdr", 1, message)])
    (frame,) = read_frames(only(path))
    return frame


@pytest.mark.parametrize(
    ("encoding", "pixel", "expected"),
    [
        ("bgr8", [1, 2, 3], [1, 2, 3]),
        ("rgb8", [3, 2, 1], [1, 2, 3]),
        ("bgra8", [1, 2, 3, 9], [1, 2, 3]),
        ("rgba8", [3, 2, 1, 9], [1, 2, 3]),
        ("mono8", [7], [7, 7, 7]),
    ],
)
def test_raw_pictures_of_padded_rows(
    tmp_path: Path, encoding: str, pixel: list[int], expected: list[int]
) -> None:
    row = bytes(pixel * 3 + [255] * 5)
    frame = raw_frame(tmp_path, row * 2, encoding, 2, 3, len(row))
    assert frame.picture is not None
    assert frame.picture.tolist() == [[expected] * 3] * 2


@pytest.mark.parametrize(
    ("encoding", "black_and_white", "red"),
    [
        ("yuv422", [128, 16, 128, 235], [90, 81, 240, 81]),
        ("uyvy", [128, 16, 128, 235], [90, 81, 240, 81]),
        ("yuv422_yuy2", [16, 128, 235, 128], [81, 90, 81, 240]),
        ("yuyv", [16, 128, 235, 128], [81, 90, 81, 240]),
    ],
)
def test_raw_pictures_whose_pixels_share_their_colour(
    tmp_path: Path, encoding: str, black_and_white: list[int], red: list[int]
) -> None:
    frame = raw_frame(tmp_path, bytes(black_and_white + red), encoding, 1, 4, 8)
    assert frame.picture is not None
    assert frame.picture[0, :2].tolist() == [[0, 0, 0], [255, 255, 255]]
    blue, green, most = frame.picture[0, 2].tolist()
    assert blue < 3 and green < 3 and most > 252


def test_a_bayer_pattern_is_that_of_its_name(tmp_path: Path) -> None:
    # Red where the pattern has it, in the even rows and columns; no other colour.
    pixels = np.zeros((8, 8), np.uint8)
    pixels[::2, ::2] = 255
    frame = raw_frame(tmp_path, pixels.tobytes(), "bayer_rggb8", 8, 8, 8)
    assert frame.picture is not None
    assert frame.picture[2:6, 2:6].max(axis=(0, 1)).tolist() == [0, 0, 255]


@pytest.mark.parametrize(
    ("encoding", "height", "width", "step", "words"),
    [
        ("nv12", 2, 2, 4, "has the encoding 'nv12'; expected one of 8UC1"),
        ("yuyv", 2, 3, 6, "has 3 pixels of yuyv a row; expected an even number"),
        ("bgr8", 0, 2, 6, "is of 0 x 2 pixels; expected 1 to 16384 a side"),
        ("bgr8", 2, 2**31, 6, "is of 2 x 2147483648 pixels"),
        ("bgr8", 2, 3, 8, "has 12 bytes in rows of 8; expected 2 rows of at least 9 bytes"),
        ("bgr8", 3, 2, 6, "has 12 bytes in rows of 6; expected 3 rows of at least 6 bytes"),
    ],
)
def test_raw_pictures_that_cannot_be_are_told(
    tmp_path: Path, encoding: str, height: int, width: int, step: int, words: str
) -> None:
    frame = raw_frame(tmp_path, bytes(12), encoding, height, width, step)
    assert frame.picture is None and words in frame.error


def test_a_log_cut_anywhere_gives_what_is_there_and_one_error(tmp_path: Path) -> None:
    order = ["red", "green", "blue"] * 4
    whole = write_mcap(tmp_path / "whole.mcap", camera(order), chunk_size=300).read_bytes()
    path = tmp_path / "cut.mcap"
    rng = random.Random(11)
    lengths = [0, 3, 8, len(whole) - 1, len(whole) - 8, *rng.sample(range(9, len(whole)), 60)]
    most = 0
    for length in lengths:
        path.write_bytes(whole[:length])
        streams, errors = find_streams([str(path)])
        if errors:
            assert "has no topic of pictures; it has none" in str(errors[0])
            continue
        *frames, last = read_frames(streams[0])
        assert colours(frames) == order[: len(frames)], length
        assert last.picture is None, length
        assert last.error.startswith(f"'{path}' topic '/camera' "), last.error
        assert [frame.ordinal for frame in (*frames, last)] == list(range(len(frames) + 1))
        most = max(most, len(frames))
    assert most == 12


def test_bits_that_have_changed_in_a_log_are_noticed(tmp_path: Path) -> None:
    path = write_mcap(tmp_path / "a.mcap", camera(["red", "green", "blue"] * 4), chunk_size=300)
    whole = path.read_bytes()
    rng = random.Random(12)
    for _ in range(40):
        place = rng.randrange(60, len(whole) // 2)
        path.write_bytes(whole[:place] + bytes([whole[place] ^ 0x10]) + whole[place + 1 :])
        streams, errors = find_streams([str(path)])
        frames = [frame for stream in streams for frame in read_frames(stream)]
        told = [frame.error for frame in frames if frame.picture is None] + errors
        assert told or colours(frames) == ["red", "green", "blue"] * 4


@pytest.mark.parametrize("options", [{}, {"use_chunking": False}, {"chunk_size": 1}])
def test_a_log_can_be_read_from_anywhere(tmp_path: Path, options: dict[str, Any]) -> None:
    order = ["red", "green", "blue", "green"] * 3
    messages = [entry for m in camera(order) for entry in (m, ("/text", "t", "json", 5, b"1"))]
    path = write_mcap(tmp_path / "a.mcap", messages, **({"chunk_size": 300} | options))
    stream = only(path)
    for first in range(14):
        frames = list(read_frames(stream, first))
        assert colours(frames) == order[first:]
        assert [frame.ordinal for frame in frames] == list(range(first, 12))[: len(frames)]


def test_what_is_before_is_not_read(tmp_path: Path) -> None:
    path = write_mcap(tmp_path / "a.mcap", camera(["red", "green"] * 20), chunk_size=300)
    stream = only(path)
    whole = path.read_bytes()
    place = len(whole) // 10  # in one of the first chunks
    path.write_bytes(whole[:place] + bytes([whole[place] ^ 0xFF]) + whole[place + 1 :])
    assert any(frame.error for frame in read_frames(stream))
    assert colours(list(read_frames(stream, 30))) == ["red", "green"] * 5
    begin, end = 60, len(whole) // 3  # behind what the log begins with
    path.write_bytes(whole[:begin] + bytes(end - begin) + whole[end:])  # nor any index
    assert colours(list(read_frames(stream, 30))) == ["red", "green"] * 5


@pytest.mark.parametrize("unit", [1, 2, 5, 12])
def test_a_damaged_chunk_costs_its_messages_alone(tmp_path: Path, unit: int) -> None:
    path = write_mcap(tmp_path / "a.mcap", camera(["red", "green", "blue"] * 4), chunk_size=300)
    stream = only(path)
    whole = path.read_bytes()
    with open(path, "rb") as file:
        summary = make_reader(file).get_summary()
    assert summary is not None
    chunks = summary.chunk_indexes
    assert len(chunks) > 3
    place = chunks[1].chunk_start_offset + 60  # its compressed bytes
    path.write_bytes(whole[:place] + bytes([whole[place] ^ 0xFF]) + whole[place + 1 :])
    frames = [f for first in range(0, 12, unit) for f in read_frames(stream, first, unit)]
    assert [frame.ordinal for frame in frames] == list(range(12))
    lost = [frame.ordinal for frame in frames if frame.picture is None]
    assert lost and 0 not in lost and 11 not in lost
    for frame in frames:
        told = f"'{path}' topic '/camera' message {frame.ordinal} is in a chunk that is damaged: "
        assert frame.error.startswith(told) if frame.ordinal in lost else not frame.error
    left = [["red", "green", "blue"][n % 3] for n in range(12) if n not in lost]
    assert colours([frame for frame in frames if frame.picture is not None]) == left


def test_bags_of_ros_1_and_2(tmp_path: Path) -> None:
    kind = "sensor_msgs/msg/CompressedImage"
    with Bag1Writer(tmp_path / "a.bag") as bag:
        connection = bag.add_connection("/camera", kind, typestore=ROS1)
        for time, colour in ((20, "red"), (30, "green")):
            message = ros_compressed(colour, store=ROS1)
            bag.write(connection, time, ROS1.serialize_ros1(message, kind))
    with Bag2Writer(tmp_path / "bag2", version=9) as bag2:
        connection2 = bag2.add_connection("/camera", kind, typestore=ROS2)
        other = bag2.add_connection("/other", "std_msgs/msg/String", typestore=ROS2)
        for time, colour in ((20, "blue"), (30, "red")):
            bag2.write(connection2, time, cdr(ros_compressed(colour)))
        bag2.write(other, 40, b"\0\1\0\0")
    one, two = streams_of(tmp_path)
    assert (one.kind, one.frames, two.kind, two.frames) == ("bag1", 2, "bag2", 2)
    assert colours(list(read_frames(one))) == ["red", "green"]
    frames = list(read_frames(two, 1))
    assert (colours(frames), frames[0].times.log, frames[0].ordinal) == (["red"], 30, 1)


def test_bags_that_are_none_are_refused(tmp_path: Path) -> None:
    (tmp_path / "a.bag").write_bytes(b"no bag")
    (tmp_path / "bag2").mkdir()
    (tmp_path / "bag2" / "metadata.yaml").write_text("nothing: true\n")
    one, two = refusals(tmp_path / "a.bag", tmp_path / "bag2")
    assert one.startswith(f"'{tmp_path}/a.bag' cannot be opened as a bag: ")
    assert two.startswith(f"'{tmp_path}/bag2' cannot be opened as a bag: ")
