"""Which arrays are frames: without a copy, with one, or refused."""

import numpy as np
import pytest
from conftest import NETWORKS, RED, ByteArray, plain
from hypothesis import HealthCheck, given, settings
from hypothesis import strategies as st

import dirty_seg

REUSES_DETECTOR = settings(
    deadline=None, suppress_health_check=[HealthCheck.function_scoped_fixture]
)


def same(a: dirty_seg.Result, b: dirty_seg.Result) -> bool:
    return a.boxes.tobytes() == b.boxes.tobytes() and a.scores.tobytes() == b.scores.tobytes()


def test_read_only_arrays_are_frames(small: dirty_seg.Detector) -> None:
    picture = plain(RED)
    picture.setflags(write=False)
    assert len(small(picture)) == 2
    assert len(small(np.frombuffer(plain(RED).tobytes(), np.uint8).reshape(1080, 1920, 3))) == 2


def test_rows_may_be_padded(small: dirty_seg.Detector) -> None:
    wide = np.zeros((1080, 2000, 3), np.uint8)
    wide[:, :1920] = RED
    assert same(small(wide[:, :1920]), small(plain(RED)))


@pytest.mark.parametrize(
    "view",
    [
        lambda picture: picture[::-1],
        lambda picture: picture[:, ::-1],
        lambda picture: picture[:, :, ::-1],
        lambda picture: picture[::2],
        lambda picture: picture[:, ::2],
        lambda picture: np.asfortranarray(picture),
        lambda picture: picture.transpose(1, 0, 2),
        lambda picture: np.broadcast_to(picture[:1], picture.shape),
        lambda picture: picture[:1],
        lambda picture: picture[:, :1],
        lambda picture: picture[:1, :1],
    ],
    ids="rows-back columns-back channels-back rows-2 columns-2 fortran transposed one-row-repeated "
    "one-row one-column one-pixel".split(),
)
def test_any_strides_give_what_a_copy_gives(
    view: object, small: dirty_seg.Detector, floor: ByteArray
) -> None:
    strided = view(floor)  # type: ignore[operator]
    assert same(small(strided), small(np.ascontiguousarray(strided)))


@pytest.mark.parametrize(
    ("array", "found"),
    [
        (np.zeros((4, 4, 3), np.float32), r"float32 \[4, 4, 3\]"),
        (np.zeros((4, 4, 3), bool), r"bool\d? \[4, 4, 3\]"),
        (np.zeros((4, 4, 3), np.int8), r"int8 \[4, 4, 3\]"),
        (np.zeros((4, 4), np.uint8), r"uint8 \[4, 4\]"),
        (np.zeros((4, 4, 4), np.uint8), r"uint8 \[4, 4, 4\]"),
        (np.zeros((3, 4, 4), np.uint8), r"uint8 \[3, 4, 4\]"),
        (np.zeros((1, 4, 4, 3), np.uint8), r"uint8 \[1, 4, 4, 3\]"),
        (np.zeros((0, 4, 3), np.uint8), r"empty, \[0, 4, 3\]"),
        (np.zeros((4, 0, 3), np.uint8), r"empty, \[4, 0, 3\]"),
        (np.uint8(3), r"uint8 \[\]"),
    ],
)
def test_what_is_no_picture_is_refused_with_what_it_is(
    array: ByteArray, found: str, small: dirty_seg.Detector
) -> None:
    expected = r"; expected uint8 \[height, width, 3\] in B, G, R order$"
    with pytest.raises(ValueError, match="^the frame is " + found + expected):
        small(array)
    assert len(small(plain(RED))) == 2


@pytest.mark.parametrize("value", [None, "floor.jpg", 3, [[1, 2, 3]], object()])
def test_what_is_no_array_is_refused_with_its_type(
    value: object, small: dirty_seg.Detector
) -> None:
    with pytest.raises(TypeError, match=f"^the frame is of type {type(value).__name__}; "):
        small(value)  # type: ignore[arg-type]


@pytest.mark.parametrize(
    "array",
    [
        np.array([[["a"] * 3] * 4] * 4),
        np.array([[[object()] * 3] * 4] * 4),
        np.zeros((4, 4, 3), np.dtype([("x", np.uint8)])),
        np.zeros((4, 4, 3), "datetime64[s]"),
        np.zeros((4, 4, 3), np.float16),
        np.zeros((4, 4, 3), np.complex64),
        np.zeros((4, 4, 3), ">u2"),
    ],
    ids="text objects records times half complex big-endian".split(),
)
def test_other_types_are_refused(array: ByteArray, small: dirty_seg.Detector) -> None:
    with pytest.raises((TypeError, ValueError), match="^the frame is .*expected"):
        small(array)


def test_a_picture_larger_than_the_frame_is_refused_where_it_is_not_scaled() -> None:
    patches = {"patch": {"enable": True, "patches": [[0, 0, 64, 64]]}}
    with dirty_seg.Detector(NETWORKS / "seg-b1-64.onnx", patches, fit="pad") as detector:
        with pytest.raises(ValueError, match="^the frame is .*larger than .*fit=scale"):
            detector(plain(RED, 1081, 1920))


def test_a_picture_that_no_patch_reaches_is_a_frame_error() -> None:
    patches = {"patch": {"enable": True, "patches": [[640, 640, 64, 64]]}}
    with dirty_seg.Detector(NETWORKS / "seg-b1-64.onnx", patches, fit="pad") as detector:
        with pytest.raises(dirty_seg.FrameError, match="no patch reaches into the picture"):
            detector(plain(RED, 100, 100))


SIDES = st.integers(0, 5000)
DTYPES = st.sampled_from(["u1", "i1", "u2", "f4", "f8", "?", "c8", "S1", "O", "M8[s]", ">i4"])


@REUSES_DETECTOR
@given(
    shape=st.lists(st.integers(0, 6), max_size=5),
    dtype=DTYPES,
    seed=st.integers(0, 2**32 - 1),
    data=st.data(),
)
def test_arrays_of_any_kind_are_frames_or_refused(
    shape: list[int],
    dtype: str,
    seed: int,
    data: st.DataObject,
    small: dirty_seg.Detector,
) -> None:
    array = np.zeros(shape, dtype)
    if array.dtype == np.uint8:
        array = np.random.default_rng(seed).integers(0, 256, shape, np.uint8)
    axes = data.draw(st.permutations(range(array.ndim)))
    array = array.transpose(axes)
    steps = [data.draw(st.sampled_from([1, 2, -1, -2])) for _ in shape]
    array = np.asarray(array[tuple(slice(None, None, step) for step in steps)], array.dtype)
    is_frame = (
        array.dtype == np.uint8 and array.ndim == 3 and array.shape[2] == 3 and array.size > 0
    )
    if is_frame:
        assert same(small(array), small(np.ascontiguousarray(array)))
    else:
        with pytest.raises((TypeError, ValueError), match="^the frame is "):
            small(array)


@settings(REUSES_DETECTOR, max_examples=max(25, settings().max_examples // 20))
@given(height=SIDES, width=SIDES)
def test_pictures_of_any_size_are_frames(
    height: int, width: int, small: dirty_seg.Detector
) -> None:
    picture = np.broadcast_to(np.array(RED, np.uint8), (height, width, 3))
    if height == 0 or width == 0:
        with pytest.raises(ValueError, match="^the frame is empty"):
            small(picture)
        return
    result = small(picture)
    assert result.image_size == (height, width)
    assert (result.image_boxes >= 0).all() and (result.image_boxes[:, 2] <= width).all()
