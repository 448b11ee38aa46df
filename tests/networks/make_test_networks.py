#!/usr/bin/python3
"""Makes the few-node networks that the tests of engine, decoder and host load.

    /usr/bin/python3 tests/networks/make_test_networks.py            writes *.onnx and SHA256SUMS
    /usr/bin/python3 tests/networks/make_test_networks.py --check    compares with the files instead

Outputs follow the means of each picture's planes (red, green, blue), so that a batch slot that ends
up in another's place gives a wrong number.

Segmentation, 2 classes ("red", "green"), 32 coefficients. For slot n
    predictions  anchor 0: centre 32, 32, size 32 x 16; class 0 scores mean(red), class 1
                 mean(green); coefficient 0 is 1, the others 0. Every other anchor is all 0.
    prototypes   0 is 4 everywhere, 1 is mean(blue) everywhere, the others are 0; so anchor 0
                 has the mask logit 4 everywhere.

    seg-b2-64             images [2, 3, 64, 64] -> output0 [2, 38, 84], output1 [2, 32, 16, 16]
    seg-b1-64             likewise with a batch of 1
    seg-b2-64-transposed  output0 is [2, 84, 38]
    seg-b2-64-f16         both outputs are float16
    seg-b2-64-half        float16 weights and arithmetic between a float32 input and float32 outputs
    seg-b2-64-quantised   statically quantised, 8 bits: exact for means that are multiples of 0.25
    seg-b2-64-swapped     output0 is the prototypes, output1 the predictions
    seg-b2-64-nan         all of a slot's numbers are not-a-number where mean(blue) is 0
    seg-dynamic           [batch, 3, height, width] -> [batch, 38, anchors], [batch, 32, height / 4,
                          width / 4]; anchors = the cells of strides 8, 16 and 32 (84 at 64 x 64)
    seg-dynamic-b2-inside likewise, but runs with a batch of 2 only
    seg-b2-64-open-input  images [batch, 3, 64, 64] likewise; the outputs always have two slots
    boxes-only            only the predictions, as output0
    rank2                 only output0 [2, 10]: each of a slot's ten numbers is mean(red)

Classifiers, input -> output [N, 2] = mean(plane 0), mean(plane 2):
    classifier-224 [1, 3, 224, 224], classifier-112 [1, 3, 112, 112],
    classifier-dynamic-batch [batch, 3, 224, 224]
    classifier-224-nan     both are not-a-number

Element types, each [1, 4] and passed on unchanged:
    types                 u8, f16, f32, i32, i64, f64 -> u8_out, f16_out, ...
    bool, string          x -> y; element types that the engine does not carry

Failures inside the runtime, x [1, 4] float32 -> y [1, 1]; where they run, y is x[0]:
    fails-at-run          fails unless x[0] is greater than 0.5, so also on zeros
    fails-later           fails when x[0] is greater than 0.5
"""

import sys
from collections.abc import Callable
from pathlib import Path

import numpy as np
from onnx import TensorProto

import deliver

HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parents[1] / "tools" / "onnx"))

from graph_writer import Graph  # noqa: E402  (found through the path above)

BATCH, SIDE = 2, 64
CLASSES = ["red", "green"]
COEFFICIENTS = 32
ROWS = 4 + len(CLASSES) + COEFFICIENTS
STRIDES = [8, 16, 32]
ANCHORS = sum((SIDE // stride) ** 2 for stride in STRIDES)
PROTOTYPE_STRIDE = 4
PROTOTYPES = [BATCH, COEFFICIENTS, SIDE // PROTOTYPE_STRIDE, SIDE // PROTOTYPE_STRIDE]
METADATA = {"names": str(dict(enumerate(CLASSES))), "task": "segment"}


def means(graph: Graph, picture: str) -> str:
    """[N, 3, 1, 1]: mean of each plane."""
    return graph.add("ReduceMean", picture, axes=[2, 3], keepdims=1)


# Adds a 1x1 convolution to a graph: source, weight table [out, in], bias -> result.
Convolution = Callable[[Graph, str, np.ndarray, np.ndarray], str]


def half_conv(graph: Graph, source: str, table: np.ndarray, bias: np.ndarray) -> str:
    weights = graph.constant(table[..., None, None], np.float16)
    return graph.add("Conv", source, weights, graph.constant(bias, np.float16))


def quantised_conv(graph: Graph, source: str, table: np.ndarray, bias: np.ndarray) -> str:
    """Between steps of 1/256 and of 1/4; the weights are whole numbers."""

    def dequantised(values: np.ndarray, scale: float, dtype: type) -> str:
        steps = graph.constant(np.rint(values / scale), dtype)
        return graph.add("DequantizeLinear", steps, graph.constant(scale), graph.constant(0, dtype))

    def quantised(values: str, scale: float) -> str:
        parameters = graph.constant(scale), graph.constant(0, np.uint8)
        steps = graph.add("QuantizeLinear", values, *parameters)
        return graph.add("DequantizeLinear", steps, *parameters)

    weights = dequantised(table[..., None, None], 1, np.int8)
    biases = dequantised(bias, 1 / 256, np.int32)
    return quantised(graph.add("Conv", quantised(source, 1 / 256), weights, biases), 1 / 4)


def first_anchor(graph: Graph, planes: str, conv: Convolution = Graph.conv) -> str:
    """[N, rows, 1]: anchor 0."""
    table = np.zeros((ROWS, 3))
    table[4, 0] = table[5, 1] = 1
    bias = np.zeros(ROWS)
    bias[:4] = [32, 32, 32, 16]
    bias[4 + len(CLASSES)] = 1
    column = conv(graph, planes, table, bias)
    return graph.add("Squeeze", column, graph.constant([3], np.int64))


def prototype_values(graph: Graph, planes: str, conv: Convolution = Graph.conv) -> str:
    """[N, coefficients, 1, 1]"""
    table = np.zeros((COEFFICIENTS, 3))
    table[1, 2] = 1
    bias = np.zeros(COEFFICIENTS)
    bias[0] = 4
    return conv(graph, planes, table, bias)


def fixed_predictions(graph: Graph, planes: str, **name: str) -> str:
    pads = graph.constant([0, 0, 0, 0, 0, ANCHORS - 1], np.int64)
    return graph.add("Pad", first_anchor(graph, planes), pads, **name)


def fixed_prototypes(graph: Graph, planes: str, batch: int = BATCH, **name: str) -> str:
    shape = graph.constant([batch, *PROTOTYPES[1:]], np.int64)
    return graph.add("Expand", prototype_values(graph, planes), shape, **name)


def fixed_input(name: str, batch: int = BATCH) -> tuple[Graph, str]:
    graph = Graph(name)
    return graph, means(graph, graph.input("images", [batch, 3, SIDE, SIDE]))


def segmentation(predictions_name: str = "output0", prototypes_name: str = "output1") -> bytes:
    graph, planes = fixed_input("seg")
    fixed_predictions(graph, planes, named=predictions_name)
    fixed_prototypes(graph, planes, named=prototypes_name)
    shapes = {predictions_name: [BATCH, ROWS, ANCHORS], prototypes_name: PROTOTYPES}
    for name in sorted(shapes):
        graph.output(name, shapes[name])
    return graph.serialise(METADATA)


def one_slot() -> bytes:
    graph, planes = fixed_input("seg_b1", batch=1)
    fixed_predictions(graph, planes, named="output0")
    fixed_prototypes(graph, planes, batch=1, named="output1")
    graph.output("output0", [1, ROWS, ANCHORS])
    graph.output("output1", [1, *PROTOTYPES[1:]])
    return graph.serialise(METADATA)


def transposed() -> bytes:
    graph, planes = fixed_input("seg_transposed")
    graph.add("Transpose", fixed_predictions(graph, planes), perm=[0, 2, 1], named="output0")
    fixed_prototypes(graph, planes, named="output1")
    graph.output("output0", [BATCH, ANCHORS, ROWS])
    graph.output("output1", PROTOTYPES)
    return graph.serialise(METADATA)


def not_a_number() -> bytes:
    graph, planes = fixed_input("seg_nan")
    blue = graph.conv(planes, np.array([[0, 0, 1]]))
    one = graph.add("Div", blue, blue)  # or 0 / 0
    column = graph.add("Squeeze", one, graph.constant([3], np.int64))
    graph.add("Mul", fixed_predictions(graph, planes), column, named="output0")
    graph.add("Mul", fixed_prototypes(graph, planes), one, named="output1")
    graph.output("output0", [BATCH, ROWS, ANCHORS])
    graph.output("output1", PROTOTYPES)
    return graph.serialise(METADATA)


def half_precision() -> bytes:
    graph, planes = fixed_input("seg_f16")
    half = TensorProto.FLOAT16
    graph.add("Cast", fixed_predictions(graph, planes), to=half, named="output0")
    graph.add("Cast", fixed_prototypes(graph, planes), to=half, named="output1")
    graph.output("output0", [BATCH, ROWS, ANCHORS], half)
    graph.output("output1", PROTOTYPES, half)
    return graph.serialise(METADATA)


def half_inside() -> bytes:
    graph = Graph("seg_half")
    images = graph.input("images", [BATCH, 3, SIDE, SIDE])
    planes = means(graph, graph.add("Cast", images, to=TensorProto.FLOAT16))
    single = TensorProto.FLOAT
    column = graph.add("Cast", first_anchor(graph, planes, half_conv), to=single)
    values = graph.add("Cast", prototype_values(graph, planes, half_conv), to=single)
    return filled(graph, column, values)


def quantised() -> bytes:
    graph, planes = fixed_input("seg_quantised")
    column = first_anchor(graph, planes, quantised_conv)
    return filled(graph, column, prototype_values(graph, planes, quantised_conv))


def filled(graph: Graph, column: str, values: str) -> bytes:
    """From anchor 0 and one cell of prototypes to both outputs."""
    pads = graph.constant([0, 0, 0, 0, 0, ANCHORS - 1], np.int64)
    graph.add("Pad", column, pads, named="output0")
    graph.add("Expand", values, graph.constant(PROTOTYPES, np.int64), named="output1")
    graph.output("output0", [BATCH, ROWS, ANCHORS])
    graph.output("output1", PROTOTYPES)
    return graph.serialise(METADATA)


def of_two_slots(graph: Graph, planes: str) -> str:
    """The same, but fails on a batch of another size."""
    fixed = graph.reshape(planes, [BATCH, 3, 1])
    return graph.add("Unsqueeze", fixed, graph.constant([3], np.int64))


def dynamic(only_two_slots: bool = False) -> bytes:
    graph = Graph("seg_dynamic")
    images = graph.input("images", ["batch", 3, "height", "width"])
    planes = means(graph, images)
    if only_two_slots:
        planes = of_two_slots(graph, planes)
    size = graph.add("Shape", images, start=2, end=4)
    others = graph.constant([-1], np.int64)  # anchor 0 exists already
    for stride in STRIDES:
        cells = graph.add("Div", size, graph.constant([stride] * 2, np.int64))
        others = graph.add("Add", others, graph.add("ReduceProd", cells, keepdims=1))
    pads = graph.add("Concat", graph.constant([0] * 5, np.int64), others, axis=0)
    graph.add("Pad", first_anchor(graph, planes), pads, named="output0")
    cells = graph.add("Div", size, graph.constant([PROTOTYPE_STRIDE] * 2, np.int64))
    shape = graph.add("Concat", graph.constant([1, 1], np.int64), cells, axis=0)
    graph.add("Expand", prototype_values(graph, planes), shape, named="output1")
    graph.output("output0", ["batch", ROWS, "anchors"])
    graph.output("output1", ["batch", COEFFICIENTS, "prototype_height", "prototype_width"])
    return graph.serialise(METADATA)


def open_input() -> bytes:
    graph = Graph("seg_open_input")
    images = graph.input("images", ["batch", 3, SIDE, SIDE])
    planes = of_two_slots(graph, means(graph, images))
    fixed_predictions(graph, planes, named="output0")
    fixed_prototypes(graph, planes, named="output1")
    graph.output("output0", ["batch", ROWS, ANCHORS])
    graph.output("output1", ["batch", *PROTOTYPES[1:]])
    return graph.serialise(METADATA)


def boxes_only() -> bytes:
    graph, planes = fixed_input("boxes_only")
    fixed_predictions(graph, planes, named="output0")
    graph.output("output0", [BATCH, ROWS, ANCHORS])
    return graph.serialise(METADATA)


def rank2() -> bytes:
    graph, planes = fixed_input("rank2")
    red = np.tile([1, 0, 0], (10, 1))
    graph.add("Flatten", graph.conv(planes, red), named="output0")
    graph.output("output0", [BATCH, 10])
    return graph.serialise()


def classifier(batch: int | str, side: int) -> bytes:
    graph = Graph("classifier")
    planes = graph.add("Flatten", means(graph, graph.input("input", [batch, 3, side, side])))
    graph.gemm(planes, [[1, 0, 0], [0, 0, 1]], [0, 0], named="output")
    graph.output("output", [batch, 2])
    return graph.serialise({"names": "{0: 'no', 1: 'yes'}", "task": "classify"})


def no_classifier() -> bytes:
    graph = Graph("classifier_nan")
    planes = graph.add("Flatten", means(graph, graph.input("input", [1, 3, 224, 224])))
    zeros = graph.gemm(planes, np.zeros((2, 3)), [0, 0])
    graph.add("Div", zeros, zeros, named="output")
    graph.output("output", [1, 2])
    return graph.serialise()


def passes_on(elements: dict[tuple[str, str], int]) -> bytes:
    """A network that hands each (input, output) pair's elements of the given type through."""
    graph = Graph("passes_on")
    for (source, result), element in elements.items():
        graph.input(source, [1, 4], element)
        graph.add("Identity", source, named=result)
        graph.output(result, [1, 4], element)
    return graph.serialise()


TYPES = {
    "u8": TensorProto.UINT8,
    "f16": TensorProto.FLOAT16,
    "f32": TensorProto.FLOAT,
    "i32": TensorProto.INT32,
    "i64": TensorProto.INT64,
    "f64": TensorProto.DOUBLE,
}


def fails(comparison: str) -> bytes:
    """Looks up x at 4, one past its end, when `x[0] comparison 0.5` holds, else at 0."""
    graph = Graph("fails")
    x = graph.input("x", [1, 4])
    first = graph.reshape(graph.add("Gather", x, graph.constant(0, np.int64), axis=1), [1])
    bad = graph.add(comparison, first, graph.constant([0.5]))
    bad = graph.add("Cast", bad, to=TensorProto.INT64)
    index = graph.add("Mul", bad, graph.constant([4], np.int64))
    graph.add("Gather", x, index, axis=1, named="y")
    graph.output("y", [1, 1])
    return graph.serialise()


def networks() -> dict[str, bytes]:
    files = {
        "seg-b2-64": segmentation(),
        "seg-b1-64": one_slot(),
        "seg-b2-64-transposed": transposed(),
        "seg-b2-64-f16": half_precision(),
        "seg-b2-64-half": half_inside(),
        "seg-b2-64-quantised": quantised(),
        "seg-b2-64-swapped": segmentation("output1", "output0"),
        "seg-b2-64-nan": not_a_number(),
        "seg-dynamic": dynamic(),
        "seg-dynamic-b2-inside": dynamic(only_two_slots=True),
        "seg-b2-64-open-input": open_input(),
        "boxes-only": boxes_only(),
        "rank2": rank2(),
        "classifier-224": classifier(1, 224),
        "classifier-112": classifier(1, 112),
        "classifier-dynamic-batch": classifier("batch", 224),
        "classifier-224-nan": no_classifier(),
        "types": passes_on({(name, f"{name}_out"): element for name, element in TYPES.items()}),
        "bool": passes_on({("x", "y"): TensorProto.BOOL}),
        "string": passes_on({("x", "y"): TensorProto.STRING}),
        "fails-at-run": fails("LessOrEqual"),
        "fails-later": fails("Greater"),
    }
    return {f"{name}.onnx": data for name, data in files.items()}


if __name__ == "__main__":
    sys.exit(deliver.run(__doc__.splitlines()[0], HERE, networks()))
