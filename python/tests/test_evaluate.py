"""Measuring results: by hand on boxes, and against pycocotools' own summary."""

import copy
import json
import subprocess
import sys
from collections.abc import Callable
from pathlib import Path
from typing import Any

import cv2
import numpy as np
import pytest
from conftest import DEMO_FRAMES, GREEN, RED, plain
from hypothesis import given
from hypothesis import strategies as st
from pycocotools.coco import COCO
from pycocotools.cocoeval import COCOeval

import dirty_seg

Box = list[float]
SIZE = (1080, 1920)
WHOLE = pytest.approx(1.0)  # pycocotools adds the least number to what it divides by


def line(name: str, *found: tuple[Box, float | None, int], **more: Any) -> dict[str, Any]:
    """A frame's line with boxes [x1, y1, x2, y2], scores and labels."""
    boxes, scores, labels = map(list, zip(*found, strict=True)) if found else ([], [], [])
    return {
        "source": name, "image_size": list(SIZE), "bboxes": boxes, "scores": scores,
        "labels": labels, "fit": {"scale": 1.0, "size": list(SIZE)}, **more,
    }  # fmt: skip


def truth(*annotations: dict[str, Any], names: tuple[str, ...] = ("a.jpg",)) -> dict[str, Any]:
    images = [
        {"id": i, "file_name": name, "height": SIZE[0], "width": SIZE[1]}
        for i, name in enumerate(names, 1)
    ]
    categories = [{"id": 0, "name": "red"}, {"id": 1, "name": "green"}]
    return {"images": images, "annotations": list(annotations), "categories": categories}


def annotation(box: Box, category: int = 0, image: int = 1, **more: Any) -> dict[str, Any]:
    """Of a box [x, y, width, height]."""
    return {"id": 0, "image_id": image, "category_id": category, "bbox": box, **more}


TEN: Box = [100, 100, 110, 110]
IN_TEN: Box = [100, 100, 10, 10]
ELSEWHERE: Box = [500, 500, 510, 510]


def test_what_is_found_where_it_is_counts_fully() -> None:
    figures = dirty_seg.evaluate([line("a.jpg", (TEN, 0.5, 0))], truth(annotation(IN_TEN)))
    assert figures.boxes.ap50 == dirty_seg.Figure(WHOLE, WHOLE, WHOLE)
    assert figures.boxes.ap50_95.value == WHOLE
    assert figures.masks is None
    assert (figures.pictures, figures.annotations, figures.detections) == (1, 1, 1)


def test_an_overlap_of_five_eighths_counts_at_three_of_ten_thresholds() -> None:
    wide: Box = [100, 100, 116, 110]
    figures = dirty_seg.evaluate([line("a.jpg", (wide, 0.5, 0))], truth(annotation(IN_TEN)))
    assert figures.boxes.ap50.value == WHOLE
    assert figures.boxes.ap50_95.value == pytest.approx(0.3)  # of 0.5, 0.55 and 0.6


def test_a_false_one_counts_if_its_score_is_better() -> None:
    found = [line("a.jpg", (TEN, 0.5, 0), (ELSEWHERE, 0.4, 0))]
    assert dirty_seg.evaluate(found, truth(annotation(IN_TEN))).boxes.ap50.value == WHOLE
    found = [line("a.jpg", (TEN, 0.5, 0), (ELSEWHERE, 0.6, 0))]
    assert dirty_seg.evaluate(found, truth(annotation(IN_TEN))).boxes.ap50.value == pytest.approx(
        0.5
    )


def test_a_score_that_is_not_a_number_comes_last() -> None:
    found = [line("a.jpg", (TEN, 0.5, 0), (ELSEWHERE, None, 0))]
    figures = dirty_seg.evaluate(found, truth(annotation(IN_TEN)))
    assert (figures.boxes.ap50.value, figures.detections) == (WHOLE, 2)


def test_classes_count_alike_and_one_that_does_not_occur_not_at_all() -> None:
    content = truth(annotation(IN_TEN), annotation(IN_TEN, 1))
    content["categories"].append({"id": 2, "name": "blue"})
    figures = dirty_seg.evaluate([line("a.jpg", (TEN, 0.5, 0))], content)
    assert figures.boxes.ap50.value == pytest.approx(0.5)
    assert [(part.name, part.boxes.ap50.value) for part in figures.classes] == [
        ("red", WHOLE),
        ("green", 0.0),
    ]


def test_a_crowd_is_neither_right_nor_wrong_to_find() -> None:
    content = truth(annotation(IN_TEN), annotation([500, 500, 20, 20], iscrowd=1))
    figures = dirty_seg.evaluate([line("a.jpg", (TEN, 0.5, 0), (ELSEWHERE, 0.9, 0))], content)
    assert (figures.boxes.ap50.value, figures.annotations) == (WHOLE, 1)


def test_the_interval_is_that_of_drawn_pictures() -> None:
    # One of two is found. Draws have none, half or all of it: precision is 1 at none, 51 or all of
    # the 101 values of recall.
    content = truth(annotation(IN_TEN), annotation(IN_TEN, image=2), names=("a.jpg", "b.jpg"))
    found = [line("a.jpg", (TEN, 0.5, 0)), line("b.jpg")]
    figures = dirty_seg.evaluate(found, content, resamples=100)
    assert figures.boxes.ap50.value == pytest.approx(51 / 101)
    assert (figures.boxes.ap50.low, figures.boxes.ap50.high) == (0.0, WHOLE)


def test_the_same_seed_gives_the_same_intervals() -> None:
    rng = np.random.default_rng(5)
    names = tuple(f"{i}.jpg" for i in range(12))
    content = truth(*(annotation(IN_TEN, image=i) for i in range(1, 13)), names=names)
    found = [line(name, (TEN if rng.random() < 0.5 else ELSEWHERE, 0.5, 0)) for name in names]
    first, again, other = (dirty_seg.evaluate(found, content, seed=s) for s in (7, 7, 8))
    assert first == again
    assert first.boxes.ap50.value == other.boxes.ap50.value
    assert (first.boxes, other.boxes) != (first.boxes, first.boxes)


def test_a_draw_without_a_class_does_not_count_for_it(recwarn: pytest.WarningsRecorder) -> None:
    content = truth(annotation(IN_TEN), annotation(IN_TEN, 1, 2), names=("a.jpg", "b.jpg"))
    found = [line("a.jpg", (TEN, 0.5, 0)), line("b.jpg", (TEN, 0.5, 1))]
    figures = dirty_seg.evaluate(found, content, resamples=50)
    assert [part.boxes.ap50.low for part in figures.classes] == [WHOLE] * 2
    assert not recwarn.list


def test_masks_and_boxes_are_measured_by_themselves(small: dirty_seg.Detector) -> None:
    picture = plain((0, 0, 0))
    picture[:64, :64] = RED
    result = small(picture)  # box and mask: 16 to 48 by 24 to 40
    rows = np.zeros(SIZE, np.uint8)
    rows[24:40, 16:36] = 1  # 20 of the mask's 32 columns: an overlap of 0.625
    changes = np.flatnonzero(np.diff(rows.T.ravel())) + 1
    counts = np.diff([0, *changes, rows.size]).tolist()
    mask = {"size": list(SIZE), "counts": counts}
    content = truth(annotation([16, 24, 32, 16], segmentation=mask))
    figures = dirty_seg.evaluate({"a.jpg": result}, content)
    assert figures.boxes.ap50_95.value == WHOLE
    assert figures.masks is not None
    assert figures.masks.ap50_95.value == pytest.approx(0.3)
    polygon = [[16.0, 24.0, 48.0, 24.0, 48.0, 40.0, 16.0, 40.0]]
    content = truth(annotation([16, 24, 20, 16], segmentation=polygon))
    figures = dirty_seg.evaluate([("a.jpg", result)], content)
    assert figures.boxes.ap50_95.value == pytest.approx(0.3)
    assert figures.masks is not None
    assert figures.masks.ap50_95.value == WHOLE


def test_a_picture_of_another_size_is_measured_in_its_own_pixels(
    small: dirty_seg.Detector,
) -> None:
    picture = np.zeros((540, 960, 3), np.uint8)
    picture[:32, :32] = RED
    content = truth(annotation([8, 12, 16, 8]))
    content["images"][0].update(height=540, width=960)
    assert dirty_seg.evaluate({"a.jpg": small(picture)}, content).boxes.ap50_95.value == WHOLE


def test_a_frame_that_failed_has_found_nothing() -> None:
    found = [line("a.jpg", success=False, message="no memory")]
    figures = dirty_seg.evaluate(found, truth(annotation(IN_TEN)))
    assert (figures.failed, figures.boxes.ap50.value) == (1, 0.0)
    assert "1 pictures, 1 of which failed" in str(figures)


def test_labels_count_as_other_categories_if_asked() -> None:
    content = truth(annotation(IN_TEN))
    found = [line("a.jpg", (TEN, 0.5, 19))]
    with pytest.raises(ValueError) as raised:
        dirty_seg.evaluate(found, content)
    assert str(raised.value) == (
        "'a.jpg' has label 19, and category 19 is not in the ground truth, which has 0 red, "
        "1 green; expected one of them, or labels={19: ...}"
    )
    assert dirty_seg.evaluate(found, content, labels={19: 0}).boxes.ap50.value == WHOLE


def test_a_result_belongs_to_the_image_that_its_path_ends_with() -> None:
    content = truth(
        annotation(IN_TEN), annotation(IN_TEN, 1, 2), names=("day/a.jpg", "night/a.jpg")
    )
    found = [line("/logs/night/a.jpg", (TEN, 0.5, 1)), line("/logs/day/a.jpg", (TEN, 0.5, 0))]
    assert dirty_seg.evaluate(found, content).boxes.ap50.value == WHOLE
    with pytest.raises(ValueError, match="may be 'day/a.jpg' and 'night/a.jpg'"):
        dirty_seg.evaluate([line("a.jpg")], content)
    content = truth(annotation(IN_TEN), names=("old/place/a.jpg",))
    assert dirty_seg.evaluate([line("new/a.jpg", (TEN, 0.5, 0))], content).boxes.ap50.value == WHOLE


@pytest.mark.parametrize(
    ("found", "words"),
    [
        ([line("b.jpg")], "'b.jpg', which is no file_name"),
        ([], "nothing of 'a.jpg' of the ground truth"),
        ([line("a.jpg"), line("x/a.jpg")], "have 'a.jpg' and 'x/a.jpg' for the picture 'a.jpg'"),
        ([line("a.jpg", frame=3)], "'results' line 1: is frame 3 of 'a.jpg'"),
        ([line("a.jpg", image_size=[1, 2], fit={"scale": 900, "size": [900, 1800]})],
         r"'a.jpg' is of \[1, 2\] pixels, 'a.jpg' of the ground truth of \[1080, 1920\]"),
        ([7], r"results\[0\] is of type int; expected a line"),
        ([("a.jpg", 7)], r"results\[0\] is of type tuple"),
    ],
)  # fmt: skip
def test_results_that_do_not_belong_are_refused(found: Any, words: str) -> None:
    with pytest.raises(ValueError, match=words):
        dirty_seg.evaluate(found, truth(annotation(IN_TEN)))


def test_a_result_alone_is_refused(small: dirty_seg.Detector) -> None:
    with pytest.raises(ValueError, match=r"expected them by file name, as \{'a.jpg': result\}"):
        dirty_seg.evaluate(small(plain(GREEN)), truth(annotation(IN_TEN)))  # type: ignore[arg-type]


def test_a_broken_line_is_named(tmp_path: Path) -> None:
    path = tmp_path / "results.jsonl"
    path.write_text(json.dumps(line("a.jpg")) + "\n\n{\n")
    with pytest.raises(dirty_seg.SetupError, match=r"results.jsonl' line 3: is not valid JSON"):
        dirty_seg.evaluate(tmp_path, truth(annotation(IN_TEN)))
    path.write_bytes(b'{"source": "\xff"}\n')
    with pytest.raises(ValueError, match="results.jsonl' is not UTF-8"):
        dirty_seg.evaluate(path, truth(annotation(IN_TEN)))
    with pytest.raises(FileNotFoundError, match="none.jsonl"):
        dirty_seg.evaluate(tmp_path / "none.jsonl", truth(annotation(IN_TEN)))


def changed(*path: Any, to: Any) -> dict[str, Any]:
    """Ground truth of one box with a mask, in which one value is another."""
    whole = {"size": list(SIZE), "counts": [SIZE[0] * SIZE[1]]}
    content = copy.deepcopy(truth(annotation(IN_TEN, segmentation=whole)))
    place: Any = content
    for key in path[:-1]:
        place = place[key]
    place[path[-1]] = to
    return content


@pytest.mark.parametrize(
    ("content", "words"),
    [
        (changed("images", to=None), "the ground truth: images is not a list of objects"),
        ({}, "the ground truth: images is missing; expected COCO's ground truth"),
        (changed("images", 0, "id", to="1"), r"images\[0\].id is '1'; expected a whole number"),
        (changed("images", 0, "file_name", to=None), r"images\[0\].file_name is missing"),
        (changed("images", 0, "height", to=0), r"images\[0\] has a height of 0 and a width of"),
        (changed("images", 0, "width", to=2**40), r"expected 1 to 2\^28 pixels"),
        (changed("categories", 1, "id", to=0), r"categories\[1\].id is 0, as categories\[0\].id"),
        (changed("annotations", to=[]), "annotations has none that is to be found"),
        (changed("annotations", 0, "image_id", to=9), r"annotations\[0\].image_id is 9; expected"),
        (changed("annotations", 0, "category_id", to=9), r"annotations\[0\].category_id is 9"),
        (changed("annotations", 0, "iscrowd", to=2), r"annotations\[0\].iscrowd is 2"),
        (changed("annotations", 0, "bbox", to=[1, 2, 3]), r"annotations\[0\].bbox is \[1, 2, 3\]"),
        (changed("annotations", 0, "bbox", to=[1, 2, -3, 4]), r"\[x, y, width, height\]"),
        (changed("annotations", 0, "bbox", to=[1, 2, float("nan"), 4]), "bbox is"),
        (changed("annotations", 0, "segmentation", "size", to=[4, 4]), r"size is \[4, 4\]"),
        (changed("annotations", 0, "segmentation", "counts", to=[4]), r"counts is \[4\]; expected"),
        (changed("annotations", 0, "segmentation", "counts", to="~~"), "counts: "),
        (changed("annotations", 0, "segmentation", to=[[1, 2, 3]]), "or polygons"),
        (changed("annotations", 0, "segmentation", to=[[1, 2, 1e9, 4, 5, 6]]), "in the picture"),
    ],
)  # fmt: skip
def test_ground_truth_that_cannot_be_is_refused(content: dict[str, Any], words: str) -> None:
    with pytest.raises(ValueError, match=words):
        dirty_seg.evaluate([line("a.jpg")], content)


def test_masks_of_some_annotations_alone_are_refused() -> None:
    content = changed("annotations", 0, "id", to=4)
    content["annotations"].append(annotation(IN_TEN))
    with pytest.raises(ValueError, match=r"annotations\[1\].segmentation is missing"):
        dirty_seg.evaluate([line("a.jpg")], content)


def test_a_ground_truth_file_that_is_none_is_named(tmp_path: Path) -> None:
    path = tmp_path / "coco.json"
    for content in (b"{", b"\xff", b"[" * 100_000):
        path.write_bytes(content)
        with pytest.raises(ValueError, match="coco.json' is not valid JSON"):
            dirty_seg.evaluate([], path)
    path.write_text("[]")
    with pytest.raises(ValueError, match="coco.json' has no object"):
        dirty_seg.evaluate([], path)


@pytest.mark.parametrize("options", [{"resamples": 1}, {"resamples": True}, {"seed": -1}])
def test_options_out_of_range_are_refused(options: dict[str, Any]) -> None:
    with pytest.raises(ValueError, match=f"{next(iter(options))} is .*; expected a whole number"):
        dirty_seg.evaluate([line("a.jpg")], truth(annotation(IN_TEN)), **options)


COORDINATES = st.floats(-2, 70) | st.just(float("inf"))


@given(
    st.fixed_dictionaries(
        {"size": st.just([64, 64]), "counts": st.text(st.characters(max_codepoint=127))}
    )
    | st.fixed_dictionaries({"size": st.just([64, 64]), "counts": st.lists(st.integers(0, 4096))})
    | st.lists(st.lists(COORDINATES, min_size=4, max_size=12), min_size=1)
)
def test_no_segmentation_ends_the_interpreter(segmentation: Any) -> None:
    content = truth(annotation(IN_TEN, segmentation=segmentation))
    content["images"][0].update(height=64, width=64)
    found = line("a.jpg", (TEN, 0.5, 0), image_size=[64, 64])
    found["fit"] = {"scale": 1.0, "size": [64, 64]}
    try:
        figures = dirty_seg.evaluate([found], content, resamples=2)
    except ValueError as error:
        assert "annotations[0].segmentation" in str(error)
    else:
        assert 0 <= figures.boxes.ap50.value <= 1


@pytest.fixture(scope="module")
def measured(
    demo: dirty_seg.Detector, tmp_path_factory: pytest.TempPathFactory
) -> tuple[Path, Path]:
    """The demo frames' results, and ground truth: their own, moved by some pixels and thinned."""
    folder = tmp_path_factory.mktemp("demo")
    images, annotations = [], []
    with open(folder / "results.jsonl", "w") as lines:
        for number, path in enumerate(DEMO_FRAMES, 1):
            result = demo(cv2.imread(str(path)))
            lines.write(result.to_json(str(path)) + "\n")
            images.append(
                {"id": number, "file_name": path.name, "height": SIZE[0], "width": SIZE[1]}
            )
            for i, entry in enumerate(result.to_coco(number)):
                x, y, width, height = entry["bbox"]
                moved = [x + 7 * (i % 3), y, width, height]
                if i % 4 != 3:
                    size = {"area": width * height, "iscrowd": 0, "bbox": moved}
                    annotations.append({**entry, **size, "id": len(annotations) + 1})
    labels = sorted({entry["category_id"] for entry in annotations} | set(range(20)))
    categories = [{"id": label, "name": f"kind {label}"} for label in labels]
    content = {"images": images, "annotations": annotations, "categories": categories}
    (folder / "coco.json").write_text(json.dumps(content))
    return folder, folder / "coco.json"


def test_figures_are_those_of_pycocotools_own_summary(
    measured: tuple[Path, Path], demo: dirty_seg.Detector, capsys: pytest.CaptureFixture[str]
) -> None:
    figures = dirty_seg.evaluate(*measured)
    assert capsys.readouterr().out == ""
    entries = [
        entry
        for number, path in enumerate(DEMO_FRAMES, 1)
        for entry in demo(cv2.imread(str(path))).to_coco(number)
    ]
    assert len(entries) == figures.detections > 10
    known = COCO(str(measured[1]))
    for kind, own in (("bbox", figures.boxes), ("segm", figures.masks)):
        measure = COCOeval(known, known.loadRes(copy.deepcopy(entries)), kind)
        measure.evaluate()
        measure.accumulate()
        measure.summarize()
        assert own is not None
        assert own.ap50_95.value == pytest.approx(measure.stats[0], abs=1e-12)
        assert own.ap50.value == pytest.approx(measure.stats[1], abs=1e-12)
        assert 0.1 < own.ap50_95.value < 1.0


Run = Callable[..., subprocess.CompletedProcess[str]]


@pytest.fixture
def command() -> Run:
    def run(*arguments: object) -> subprocess.CompletedProcess[str]:
        return subprocess.run(
            [sys.executable, "-W", "error", "-m", "dirty_seg.evaluate", *map(str, arguments)],
            capture_output=True, text=True, check=False,
        )  # fmt: skip

    return run


def test_the_command_prints_a_table_or_json(measured: tuple[Path, Path], command: Run) -> None:
    figures = dirty_seg.evaluate(*measured, seed=3)
    table = command(*measured, "--seed", 3)
    assert (table.returncode, table.stderr) == (0, "")
    assert table.stdout == f"{figures}\n"
    assert len(table.stdout.splitlines()) == len(figures.classes) + 3
    printed = command(*measured, "--seed", 3, "--json")
    assert json.loads(printed.stdout) == json.loads(json.dumps(figures.to_dict()))


def test_the_command_ends_with_2_and_the_cause(measured: tuple[Path, Path], command: Run) -> None:
    result = command(measured[0], "none.json")
    assert (result.returncode, result.stdout) == (2, "")
    assert result.stderr.startswith("dirty_seg.evaluate: error: ")
    assert "none.json" in result.stderr
    result = command(*measured, "--label", "19")
    assert result.returncode == 2
    assert "'19'; expected LABEL=CATEGORY, as 19=5" in result.stderr


def python(code: str) -> subprocess.CompletedProcess[str]:
    return subprocess.run([sys.executable, "-c", code], capture_output=True, text=True, check=False)


def test_the_name_is_the_function_however_it_is_imported() -> None:
    result = python(
        "import dirty_seg.evaluate\n"
        "from dirty_seg import evaluate\n"
        "import dirty_seg.evaluate as other\n"
        "assert dirty_seg.evaluate is evaluate is other\n"
        "assert evaluate.__name__ == 'evaluate' and callable(evaluate)\n"
    )
    assert result.returncode == 0, result.stderr


def test_pycocotools_is_asked_for_only_where_it_is_needed() -> None:
    result = python(
        "import sys, dirty_seg\n"
        "assert 'pycocotools' not in sys.modules\n"
        "sys.modules['pycocotools'] = None\n"
        "box = {'image_id': 1, 'category_id': 0, 'bbox': [0, 0, 1, 1]}\n"
        "content = {'images': [{'id': 1, 'file_name': 'a'}], 'annotations': [box],\n"
        "           'categories': [{'id': 0, 'name': 'red'}]}\n"
        "line = {'source': 'a', 'bboxes': [], 'scores': [], 'labels': [],\n"
        "        'image_size': [9, 9], 'fit': {'scale': 1.0, 'size': [9, 9]}}\n"
        "dirty_seg.evaluate([line], content)\n"
    )
    assert "ImportError: evaluate needs pycocotools: pip install dirty-seg[evaluate]" in (
        result.stderr
    )
