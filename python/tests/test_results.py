"""What a result says: by hand on tiny networks, and against the host program on the demo's."""

import json
import pickle
from collections.abc import Callable
from pathlib import Path
from typing import Any

import cv2
import numpy as np
import pytest
import supervision
from conftest import (
    DEMO,
    DEMO_FRAMES,
    GREEN,
    NETWORKS,
    RED,
    SMALL_NETWORKS,
    ByteArray,
    plain,
)
from pycocotools import mask as coco_mask

import dirty_seg

Lines = Callable[..., list[dict[str, Any]]]
PROGRAM_DEMO = (
    "--model", DEMO["model"], "--config", DEMO["config"],
    "--fece-model", DEMO["fece_model"], "--fece-class-ids", 5,
)  # fmt: skip


def comparable(line: str | dict[str, Any]) -> dict[str, Any]:
    record: dict[str, Any] = json.loads(line) if isinstance(line, str) else dict(line)
    del record["timing_ms"]
    return record


def two_patches() -> ByteArray:
    """Red in the first patch of the small detector, green in the upper half of the second."""
    picture = plain((0, 0, 0))
    picture[:64, :64] = RED
    picture[:32, 64:128] = GREEN
    return picture


def test_a_result_has_what_the_network_says(small: dirty_seg.Detector) -> None:
    result = small(two_patches())
    # A slot's box has its centre at 32, 32 and is 32 x 16; its score is the mean of its colour.
    assert result.boxes.tolist() == [[16, 24, 48, 40], [80, 24, 112, 40]]
    assert result.scores.tolist() == [1.0, 0.5]
    assert result.labels.tolist() == [0, 1]
    assert result.names == ("red", "green")
    assert result.mask_pixel_counts.tolist() == [512, 512]
    assert sorted(result.label_masks) == [0, 1]
    mask = np.zeros((1080, 1920), bool)
    mask[24:40, 16:48] = True
    np.testing.assert_array_equal(result.label_masks[0] != 0, mask)
    assert [array.dtype for array in (result.boxes, result.scores, result.labels)] == [
        np.float32,
        np.float32,
        np.int32,
    ]
    assert len(result) == 2
    assert repr(result) == "<Result: 1 red, 1 green; 2 detections>"


def test_nothing_found_is_empty_arrays(small: dirty_seg.Detector) -> None:
    result = small(plain((0, 0, 0)))
    assert result.boxes.shape == (0, 4) and result.scores.shape == (0,)
    assert result.things == () and dict(result.label_masks) == {} and result.to_coco() == []
    assert len(result.to_supervision()) == 0
    assert repr(result) == "<Result: nothing; 0 detections>"


def test_what_goes_on_in_the_next_patch_is_one_thing() -> None:
    # Boxes of 32 x 16 in the middle of patches of 64 x 64: x from 16 to 48, and from 40 to 72.
    patches = {"patch": {"enable": True, "patches": [[0, 0, 64, 64], [24, 0, 64, 64]]}}
    with dirty_seg.Detector(NETWORKS / "seg-b2-64.onnx", patches) as detector:
        result = detector(plain(RED))
    (thing,) = result.things
    assert thing.box == (16, 24, 72, 40)
    assert thing.members == (0, 1) and thing.pixels == 56 * 16 and thing.area == (16, 24, 56, 16)
    assert thing.mask.shape == (16, 56) and (thing.mask == 255).all()
    assert (thing.label, thing.name, thing.confirmed, thing.score) == (
        0,
        "red",
        False,
        1.0,
    )


def test_things_are_not_there_unless_asked_for() -> None:
    patches = {"patch": {"enable": True, "patches": [[0, 0, 64, 64], [64, 0, 64, 64]]}}
    with dirty_seg.Detector(NETWORKS / "seg-b2-64.onnx", patches, merge=False) as detector:
        result = detector(two_patches())
    assert not result.has_things
    with pytest.raises(AttributeError, match=r"expected Detector\(merge=True\)"):
        _ = result.things
    assert "things" not in json.loads(result.to_json())
    assert [entry["category_id"] for entry in result.to_coco()] == [0, 1]


def test_the_classifiers_verdicts_are_told() -> None:
    patches = {"patch": {"enable": True, "patches": [[0, 0, 64, 64], [64, 0, 64, 64]]}}
    picture = plain(RED)
    picture[:64, 64:128] = (255, 0, 255)  # which its blue makes faeces
    with dirty_seg.Detector(
        NETWORKS / "seg-b2-64.onnx",
        patches,
        fece_model=NETWORKS / "classifier-224.onnx",
        fece_class_ids=[0],
    ) as detector:
        result = detector(picture)
    assert result.labels.tolist() == [0, 19]
    assert result.confirmed == (False, True) and result.names[1] == "faeces"
    assert [(c.detection, c.verdict) for c in result.candidates] == [
        (0, "rejected"),
        (1, "confirmed"),
    ]
    # Logits of red and blue, normalised: 1 / (1 + e^(2.249 - 2.640)).
    assert result.candidates[1].score == pytest.approx(0.5966, abs=1e-3)
    assert "classify" in result.timing_ms


def test_times_add_up(small: dirty_seg.Detector) -> None:
    times = dict(small(plain(RED)).timing_ms)
    total = times.pop("total")
    assert list(times) == ["preprocess", "inference", "postprocess", "convert"]
    assert sum(times.values()) == pytest.approx(total, abs=0.01)


def test_numbers_that_are_not_finite_are_told() -> None:
    patches = {"patch": {"enable": True, "patches": [[0, 0, 64, 64], [64, 0, 64, 64]]}}
    with dirty_seg.Detector(NETWORKS / "seg-b2-64-nan.onnx", patches) as detector:
        result = detector(plain(RED))
    assert dict(result.non_finite) == {"output0": 2 * 3192, "output1": 2 * 8192}
    (complaint,) = result.complaints
    assert complaint.startswith("the network gave numbers that are not finite")


@pytest.mark.parametrize("path", DEMO_FRAMES, ids=lambda path: path.stem)
def test_lines_equal_the_programs(
    path: Path, demo: dirty_seg.Detector, lines_of: Lines, tmp_path: Path
) -> None:
    picture = cv2.imread(str(path))
    # Decoders differ, decoded pixels do not.
    frame = tmp_path / "frame.png"
    cv2.imwrite(str(frame), picture)
    (line,) = lines_of(*PROGRAM_DEMO, "--merge", frame)
    assert comparable(demo(picture).to_json(str(frame))) == comparable(line)


@pytest.mark.parametrize("fit", ["scale", "pad"])
@pytest.mark.parametrize("size", [(480, 640), (1080, 1000), (700, 1920)])
def test_lines_of_other_sizes_equal_the_programs(
    size: tuple[int, int], fit: Any, floor: ByteArray, lines_of: Lines, tmp_path: Path
) -> None:
    picture = np.ascontiguousarray(floor[: size[0], : size[1]])
    frame = tmp_path / "frame.png"
    cv2.imwrite(str(frame), picture)
    (line,) = lines_of(*PROGRAM_DEMO, "--fit", fit, frame)
    with dirty_seg.Detector(**DEMO, fit=fit, merge=False) as detector:
        result = detector(picture)
    assert comparable(result.to_json(str(frame))) == comparable(line)
    assert result.image_size == size


def test_lines_under_other_thresholds_equal_the_programs(
    floor: ByteArray, lines_of: Lines, tmp_path: Path
) -> None:
    frame = tmp_path / "frame.png"
    cv2.imwrite(str(frame), floor)
    (line,) = lines_of(
        *PROGRAM_DEMO, "--merge", "--conf", 0.6, "--iou", 0.3, "--max-det", 2,
        "--mask-threshold", 0.7, "--classes", "0,3,5", frame,
    )  # fmt: skip
    with dirty_seg.Detector(
        **DEMO,
        score_threshold=0.6,
        iou_threshold=0.3,
        max_detections=2,
        mask_threshold=0.7,
        classes=[0, 3, 5],
    ) as detector:
        result = detector(floor)
    assert comparable(result.to_json(str(frame))) == comparable(line)
    assert set(result.labels.tolist()) <= {0, 3, 5, 19}


@pytest.mark.parametrize("threads", [1, 2, 5])
def test_bits_do_not_depend_on_threads(
    threads: int, demo: dirty_seg.Detector, floor: ByteArray
) -> None:
    with dirty_seg.Detector(**DEMO, threads=threads) as detector:
        assert comparable(detector(floor).to_json()) == comparable(demo(floor).to_json())


def test_coco_entries_equal_the_programs(
    floor: ByteArray,
    demo: dirty_seg.Detector,
    program: Path,
    lines_of: Lines,
    tmp_path: Path,
) -> None:
    frame = tmp_path / "frame.png"
    picture = np.ascontiguousarray(floor[:, :1500])  # boxes and masks in pixels of the picture
    cv2.imwrite(str(frame), picture)
    lines_of(*PROGRAM_DEMO, "--merge", "--coco", "--output", tmp_path / "out", frame)
    written = json.loads((tmp_path / "out" / "coco_results.json").read_text())
    assert demo(picture).to_coco() == written


def test_masks_of_coco_are_those_of_things(demo: dirty_seg.Detector, floor: ByteArray) -> None:
    result = demo(floor)
    assert len(result.things) > 5
    for thing, entry in zip(result.things, result.to_coco(), strict=True):
        whole = np.zeros((1080, 1920), np.uint8)
        x, y, width, height = thing.area
        whole[y : y + height, x : x + width] = thing.mask
        np.testing.assert_array_equal(coco_mask.decode(entry["segmentation"]), whole != 0)
        assert thing.pixels == int((whole != 0).sum())


def test_supervision_has_the_same_things(demo: dirty_seg.Detector, floor: ByteArray) -> None:
    result = demo(floor)
    detections = result.to_supervision()
    assert isinstance(detections.mask, supervision.CompactMask)
    np.testing.assert_array_equal(
        detections.xyxy, np.array([thing.box for thing in result.things], np.float32)
    )
    assert detections.mask.area.tolist() == [thing.pixels for thing in result.things]
    assert detections.data["class_name"].tolist() == [thing.name for thing in result.things]


def test_a_plot_is_the_programs_overlay(
    demo: dirty_seg.Detector,
    floor: ByteArray,
    program: Path,
    lines_of: Lines,
    tmp_path: Path,
) -> None:
    frame = tmp_path / "frame.png"
    cv2.imwrite(str(frame), floor)
    lines_of(*PROGRAM_DEMO, "--merge", "--output", tmp_path / "out", frame)
    (overlay,) = (tmp_path / "out").glob("*.overlay.*")
    plot = demo(floor).plot()
    # The overlay is a JPEG: near, not equal.
    difference = np.abs(cv2.imread(str(overlay)).astype(int) - plot)
    assert difference.mean() < 2.0
    assert (plot != floor).any(axis=2).mean() > 0.02


def test_a_notebook_shows_a_plot(small: dirty_seg.Detector) -> None:
    plot = small(two_patches()).plot()
    png = plot._repr_png_()
    assert png is not None
    np.testing.assert_array_equal(cv2.imdecode(np.frombuffer(png, np.uint8), 1), plot)
    assert plot[0]._repr_png_() is None


def test_a_plot_needs_the_frames_picture(small: dirty_seg.Detector) -> None:
    result = small(two_patches())
    with pytest.raises(ValueError, match=r"expected that of the result, \[1080, 1920, 3\]"):
        result.plot(plain(RED, 10, 10))
    restored = pickle.loads(pickle.dumps(result))
    with pytest.raises(ValueError, match="has no picture"):
        restored.plot()
    np.testing.assert_array_equal(restored.plot(two_patches()), result.plot())


def test_boxes_of_another_size_are_told_in_its_pixels(
    small: dirty_seg.Detector,
) -> None:
    # 960 x 540 is scaled by 2: the box 16, 24, 48, 40 of the frame is 8, 12, 24, 20 there.
    result = small(plain(RED, 540, 960))
    assert result.fit == (2.0, (1080, 1920)) and result.image_size == (540, 960)
    assert result.boxes[0].tolist() == [16, 24, 48, 40]
    assert result.image_boxes[0].tolist() == [8, 12, 24, 20]
    assert result.to_coco()[0]["bbox"] == [8, 12, 16, 8]


@pytest.mark.parametrize("merge", [True, False])
def test_a_pickle_is_the_result(merge: bool, floor: ByteArray) -> None:
    with dirty_seg.Detector(**DEMO, merge=merge) as detector:
        result = detector(floor)
    data = pickle.dumps(result)
    restored = pickle.loads(data)
    assert comparable(restored.to_json("a")) == comparable(result.to_json("a"))
    assert restored.names == result.names and restored.to_coco() == result.to_coco()
    assert restored.candidates == result.candidates
    for label, mask in result.label_masks.items():
        np.testing.assert_array_equal(restored.label_masks[label] != 0, mask != 0)
    # Run lengths in place of six masks of 2 MB.
    assert len(data) < 100_000


def test_a_network_that_has_a_class_19_keeps_it_apart(tmp_path: Path) -> None:
    patches = {"patch": {"enable": True, "patches": [[0, 0, 64, 64], [64, 0, 64, 64]]}}
    with dirty_seg.Detector(
        SMALL_NETWORKS / "seg-class-19.onnx",
        patches,
        fece_model=NETWORKS / "classifier-224.onnx",
        fece_class_ids=[0],
    ) as detector:
        result = detector(plain((255, 0, 255)))
    restored = pickle.loads(pickle.dumps(result))
    assert restored.names == result.names and restored.confirmed == result.confirmed
    assert restored.to_coco() == result.to_coco()
