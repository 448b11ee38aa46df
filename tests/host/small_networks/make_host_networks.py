#!/usr/bin/python3
"""Makes the few-node networks that the host program's tests need beside those of all tests.

    /usr/bin/python3 tests/host/small_networks/make_host_networks.py    writes *.onnx, SHA256SUMS

With --check it compares with the files instead.

    seg-fails-on-red          seg-b2-64 that fails inside the runtime when the picture of slot 0 has
                              mean(red) above 0.5
    seg-class-19              seg-b2-64 with 20 classes: mean(red) scores class 0, "red",
                              mean(green) class 19, "cow"
    classifier-features       classifier-224 with a second output, features [1, 3]
    classifier-three          output is [1, 3]
    classifier-other-input    picture -> output
    classifier-other-output   input -> verdict
    classifier-fails-on-red   classifier-224 that fails inside the runtime when mean(plane 0) is
                              above 1
"""

import sys
from pathlib import Path

import numpy as np
from onnx import TensorProto

HERE = Path(__file__).resolve().parent
ROOT = HERE.parents[2]
sys.path[:0] = [str(ROOT / "tests" / "networks"), str(ROOT / "tools" / "onnx")]

import deliver  # noqa: E402  (found through the paths above)
import make_test_networks as common  # noqa: E402
from graph_writer import Graph  # noqa: E402

CLASSIFIER_INPUT = [1, 3, 224, 224]
WEIGHTS = [[1, 0, 0], [0, 0, 1]]


def unless_red(graph: Graph, planes: str, limit: float) -> str:
    """`planes` [N, 3, 1, 1] again; looked up past its end when the first is above `limit`."""
    first = graph.reshape(graph.add("Slice", planes, *index_range(graph)), [1])
    is_bad = graph.add("Greater", first, graph.constant([limit]))
    bad = graph.add("Cast", is_bad, to=TensorProto.INT64)
    steps = graph.add("Mul", bad, graph.constant([3], np.int64))
    indices = graph.add("Add", graph.constant([0, 1, 2], np.int64), steps)
    return graph.add("Gather", planes, indices, axis=1)


def index_range(graph: Graph) -> list[str]:
    """Starts, ends and axes of the first slot's first plane."""
    return [graph.constant(values, np.int64) for values in ([0, 0], [1, 1], [0, 1])]


def segmentation_failing_on_red() -> bytes:
    graph, planes = common.fixed_input("seg_fails_on_red")
    planes = unless_red(graph, planes, 0.5)
    common.fixed_predictions(graph, planes, named="output0")
    common.fixed_prototypes(graph, planes, named="output1")
    graph.output("output0", [common.BATCH, common.ROWS, common.ANCHORS])
    graph.output("output1", common.PROTOTYPES)
    return graph.serialise(common.METADATA)


def segmentation_with_class_19() -> bytes:
    classes = 20
    rows = 4 + classes + common.COEFFICIENTS
    graph, planes = common.fixed_input("seg_class_19")
    table = np.zeros((rows, 3))
    table[4, 0] = table[4 + 19, 1] = 1
    bias = np.zeros(rows)
    bias[:4] = [32, 32, 32, 16]
    bias[4 + classes] = 1
    column = graph.add("Squeeze", graph.conv(planes, table, bias), graph.constant([3], np.int64))
    pads = graph.constant([0, 0, 0, 0, 0, common.ANCHORS - 1], np.int64)
    graph.add("Pad", column, pads, named="output0")
    common.fixed_prototypes(graph, planes, named="output1")
    graph.output("output0", [common.BATCH, rows, common.ANCHORS])
    graph.output("output1", common.PROTOTYPES)
    return graph.serialise({"names": "{0: 'red', 19: 'cow'}", "task": "segment"})


def classifier(source: str, result: str, weights: list[list[int]], features: bool = False) -> bytes:
    graph = Graph("classifier")
    planes = common.means(graph, graph.input(source, CLASSIFIER_INPUT))
    flat = graph.add("Flatten", planes, named="features" if features else None)
    graph.gemm(flat, weights, [0] * len(weights), named=result)
    if features:
        graph.output("features", [1, 3])
    graph.output(result, [1, len(weights)])
    return graph.serialise()


def classifier_failing_on_red() -> bytes:
    graph = Graph("classifier_fails_on_red")
    planes = common.means(graph, graph.input("input", CLASSIFIER_INPUT))
    flat = graph.add("Flatten", unless_red(graph, planes, 1.0))
    graph.gemm(flat, WEIGHTS, [0, 0], named="output")
    graph.output("output", [1, 2])
    return graph.serialise()


def networks() -> dict[str, bytes]:
    return {
        "seg-fails-on-red.onnx": segmentation_failing_on_red(),
        "seg-class-19.onnx": segmentation_with_class_19(),
        "classifier-features.onnx": classifier("input", "output", WEIGHTS, features=True),
        "classifier-three.onnx": classifier("input", "output", [*WEIGHTS, [0, 1, 0]]),
        "classifier-other-input.onnx": classifier("picture", "output", WEIGHTS),
        "classifier-other-output.onnx": classifier("input", "verdict", WEIGHTS),
        "classifier-fails-on-red.onnx": classifier_failing_on_red(),
    }


if __name__ == "__main__":
    sys.exit(deliver.run(__doc__.splitlines()[0], HERE, networks()))
