"""What a detector is made from, and what is said of what is wrong with it."""

import base64
import json
import os
import warnings
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from conftest import DEMO, MODELS, NETWORKS, PATCHES, RED, SMALL_NETWORKS, plain
from hypothesis import given, settings
from hypothesis import strategies as st

import dirty_seg
from dirty_seg._configuration import to_yaml

NETWORK = NETWORKS / "seg-b2-64.onnx"
YAML = "patch:\n  enable: true\n  patches: [[0, 0, 64, 64], [64, 0, 64, 64]]\n"


def refusal(*arguments: Any, **options: Any) -> str:
    with pytest.raises(dirty_seg.SetupError) as caught:
        dirty_seg.Detector(*arguments, **options)
    return str(caught.value)


def test_a_configuration_is_a_path_a_mapping_or_yaml(tmp_path: Path) -> None:
    path = tmp_path / "config.yaml"
    path.write_text(YAML)
    results = []
    for config in (path, str(path), PATCHES, YAML):
        with dirty_seg.Detector(NETWORK, config) as detector:
            assert detector.patches == ((0, 0, 64, 64), (64, 0, 64, 64))
            results.append(detector(plain(RED)).boxes.tolist())
    assert results == [results[0]] * 4 and len(results[0]) == 2


def test_a_mapping_may_have_numbers_of_numpy_and_keys_that_are_numbers() -> None:
    config = {
        "patch": {
            "enable": np.True_,
            "patches": np.array([[0, 0, 64, 64], [64, 0, 64, 64]]),
        },
        "postprocess": {
            "score_thresholds": {1: 0.75},
            "score_threshold": np.float64(0.25),
        },
    }
    picture = plain((0, 128, 128))  # red and green 0.5
    with dirty_seg.Detector(NETWORK, config) as detector:
        labels = detector(picture).labels.tolist()
    assert labels == [0, 0]


def test_names_come_from_the_network_or_a_file(tmp_path: Path) -> None:
    names = tmp_path / "names.yaml"
    names.write_text("[first, second]\n")
    with dirty_seg.Detector(NETWORK, PATCHES, names=names) as detector:
        assert dict(detector.names) == {0: "first", 1: "second"}
        assert detector(plain(RED)).names == ("first", "first")
    with dirty_seg.Detector(DEMO["model"], DEMO["config"]) as detector:
        assert detector.names[5] == "solid waste"


def test_every_fault_of_a_configuration_is_named() -> None:
    text = refusal(NETWORK, {**PATCHES, "postprocess": {"iou_threshold": 3, "max_detections": 0}})
    assert "postprocess.iou_threshold is '3'; expected a number from 0 to 1" in text
    assert "postprocess.max_detections is '0'; expected an integer from 1 to 100000" in text


@pytest.mark.parametrize(
    ("config", "expected"),
    [
        ("nowhere.yaml", "'nowhere.yaml': cannot be opened: No such file or directory"),
        ({}, "'configuration': has no key 'patch'"),
        ("", "'configuration': "),
        ("patch: [\n", "'configuration' line 2: is not valid YAML"),
        ("a: 1\na: 2\n", "'configuration'"),
        (
            {"patch": {"enable": True, "patches": [[0, 0, 64]]}},
            "patch 0 (counted from 0) is '[0, 0, 64]'",
        ),
        (
            {"patch": {"enable": True, "patches": [[0, 0, 64, 64]] * 3}},
            "batch of 2 is too small",
        ),
    ],
    ids="no-file no-patch empty not-yaml twice short-patch too-many".split(),
)
def test_a_configuration_that_cannot_be_is_refused(config: Any, expected: str) -> None:
    assert expected in refusal(NETWORK, config)


def test_a_network_that_cannot_be_is_refused_in_the_engines_words(
    tmp_path: Path,
) -> None:
    missing = str(tmp_path / "missing.onnx")
    assert refusal(missing, PATCHES) == (
        f"'{missing}': cannot be used as the segmentation network: "
        f"'{missing}': cannot be opened: No such file or directory"
    )
    cut = tmp_path / "cut.onnx"
    cut.write_bytes(NETWORK.read_bytes()[: NETWORK.stat().st_size // 2])
    assert "ends in the middle" in refusal(cut, PATCHES)
    assert "expected an ONNX file" in refusal(MODELS / "README.md", PATCHES)


def test_a_classifier_that_cannot_be_is_refused() -> None:
    text = refusal(
        NETWORK,
        PATCHES,
        fece_model=SMALL_NETWORKS / "classifier-other-input.onnx",
        fece_class_ids=[0],
    )
    assert "expected the one input 'input'" in text and "rename-tensors" in text


@pytest.mark.parametrize(
    ("options", "error", "expected"),
    [
        (
            {"score_threshold": 1.5},
            ValueError,
            "score_threshold is 1.5; expected a number from 0 to 1",
        ),
        ({"iou_threshold": -0.1}, ValueError, "iou_threshold is -0.1"),
        ({"mask_threshold": float("nan")}, ValueError, "mask_threshold is nan"),
        (
            {"max_detections": 0},
            ValueError,
            "max_detections is 0; expected a number from 1",
        ),
        (
            {"max_detections": 2.5},
            TypeError,
            "max_detections is 2.5; expected a whole number",
        ),
        (
            {"threads": -1},
            ValueError,
            "threads is -1; expected a number from 0 to 1024",
        ),
        ({"threads": 1025}, ValueError, "threads is 1025"),
        ({"threads": "two"}, TypeError, "threads is 'two'; expected a whole number"),
        (
            {"score_threshold": True},
            TypeError,
            "score_threshold is True; expected a number",
        ),
        (
            {"classes": "0,3"},
            TypeError,
            "classes is '0,3'; expected a list of class ids",
        ),
        (
            {"classes": [-1]},
            ValueError,
            "an entry of classes is -1; expected a number from 0",
        ),
        ({"classes": [1.5]}, TypeError, "an entry of classes is 1.5"),
        ({"fit": "crop"}, ValueError, "fit is 'crop'; expected one of 'scale', 'pad'"),
        (
            {"fece_class_ids": [1]},
            ValueError,
            "fece_class_ids is given without fece_model",
        ),
        ({"fece_score_threshold": 2}, ValueError, "fece_score_threshold is 2"),
        ({"fece_area_threshold": -1}, ValueError, "fece_area_threshold is -1"),
    ],
)
def test_an_argument_out_of_range_is_named(
    options: dict[str, Any], error: type[Exception], expected: str
) -> None:
    with pytest.raises(error) as caught:
        dirty_seg.Detector(NETWORK, PATCHES, **options)
    assert expected in str(caught.value)


@pytest.mark.parametrize("config", [3, None, b"a: 1\n", [PATCHES], {"patch": object()}])
def test_a_configuration_of_another_type_is_refused(config: Any) -> None:
    with pytest.raises(TypeError, match="^the configuration .*; expected "):
        dirty_seg.Detector(NETWORK, config)


def test_what_has_no_effect_is_warned_of() -> None:
    with pytest.warns(dirty_seg.SetupWarning) as caught:
        dirty_seg.Detector(
            NETWORK,
            PATCHES,
            fece_model=NETWORKS / "classifier-224.onnx",
            fece_class_ids=[7],
            classes=[0, 9],
        ).close()
    texts = [str(warning.message) for warning in caught]
    assert any(text.startswith("fece_class_ids=7: ") for text in texts)
    assert any(text.startswith("classes= names class 9") or "classes" in text for text in texts)
    assert caught[0].filename == __file__


def test_a_right_setup_warns_of_nothing() -> None:
    with warnings.catch_warnings():
        warnings.simplefilter("error")
        dirty_seg.Detector(**DEMO).close()


SCALARS = st.none() | st.booleans() | st.integers() | st.floats() | st.text(max_size=6)
VALUES = st.recursive(
    SCALARS,
    lambda inner: st.lists(inner, max_size=4)
    | st.dictionaries(st.text(max_size=6) | st.integers(0, 30), inner, max_size=4),
    max_leaves=8,
)
KEYS = st.sampled_from(
    "enable patches score_threshold score_thresholds iou_threshold max_detections class_agnostic "
    "mask_threshold classes x".split()
)


@settings(deadline=None)
@given(
    patch=st.dictionaries(KEYS, VALUES, max_size=3) | VALUES,
    postprocess=st.dictionaries(KEYS, VALUES, max_size=3) | VALUES,
)
def test_any_configuration_works_or_is_refused(patch: Any, postprocess: Any) -> None:
    try:
        dirty_seg.Detector(NETWORK, {"patch": patch, "postprocess": postprocess}).close()
    except dirty_seg.SetupError as error:
        assert str(error).startswith("'")


@given(value=VALUES)
def test_yaml_of_a_mapping_is_one_line(value: Any) -> None:
    text = to_yaml({"key": value})
    assert "\n" not in text
    if not isinstance(value, dict):
        assert text == f'{{"key": {to_yaml(value)}}}'
    if isinstance(value, str):
        assert json.loads(to_yaml(value)) == value


def test_a_path_need_not_be_valid_utf_8(tmp_path: Path) -> None:
    name = os.fsencode(tmp_path) + b"/\xff.onnx"
    with pytest.raises(dirty_seg.SetupError) as raised:
        dirty_seg.Detector(name, PATCHES)
    assert f"'{os.fsdecode(name)}': cannot be opened" in str(raised.value)
    with open(name, "wb") as file:
        file.write((NETWORKS / "seg-b2-64.onnx").read_bytes())
    for path in (name, os.fsdecode(name), Path(os.fsdecode(name))):
        with dirty_seg.Detector(path, PATCHES) as detector:
            line = json.loads(detector(plain(RED)).to_json(os.fsdecode(name)))
            assert base64.b64decode(line["source_bytes"]) == name


@pytest.mark.parametrize("key", ["model", "config", "names", "fece_model"])
def test_a_path_with_a_null_character_is_refused(key: str) -> None:
    options: dict[str, Any] = {"model": NETWORKS / "seg-b2-64.onnx", "config": PATCHES}
    options[key] = "a\0b"
    with pytest.raises(ValueError, match=f"^{key} is 'a.x00b'; expected a path"):
        dirty_seg.Detector(**options)
