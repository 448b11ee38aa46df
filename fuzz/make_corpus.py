#!/usr/bin/python3
"""Makes the binary seeds of fuzz/corpus, inputs as the targets take them apart (input.h), and the
networks of fuzz/regressions.

    /usr/bin/python3 fuzz/make_corpus.py

The other seeds are texts, written by hand; model_file also reads tests/networks.
"""

import struct
from pathlib import Path

import numpy as np
from onnx import (
    AttributeProto,
    FunctionProto,
    GraphProto,
    NodeProto,
    TensorProto,
    helper,
    numpy_helper,
)

HERE = Path(__file__).resolve().parent
CORPUS = HERE / "corpus"
REGRESSIONS = HERE / "regressions"


class Bytes:
    """Appends numbers as Input takes them."""

    def __init__(self) -> None:
        self.data = b""

    def byte(self, *values: int) -> "Bytes":
        self.data += bytes(value & 0xFF for value in values)
        return self

    def short(self, *values: int) -> "Bytes":
        self.data += struct.pack(f"<{len(values)}h", *values)
        return self

    def int(self, *values: int) -> "Bytes":
        self.data += struct.pack(f"<{len(values)}i", *values)
        return self

    def float(self, *values: float) -> "Bytes":
        self.data += struct.pack(f"<{len(values)}f", *values)
        return self

    def text(self, text: bytes) -> "Bytes":
        self.data += text
        return self

    def save(self, target: str, name: str) -> None:
        folder = CORPUS / target
        folder.mkdir(parents=True, exist_ok=True)
        (folder / name).write_bytes(self.data)


def run_length_seeds() -> None:
    """A choice of direction, the size, then (value, length) pairs or a text."""
    Bytes().byte(1, 10, 10).byte(0, 35, 255, 9, 0, 54).save("run_length", "mask")
    Bytes().byte(1, 3, 0).save("run_length", "mask_without_pixels")
    Bytes().byte(1, 1, 1, 7, 0).save("run_length", "mask_set_first")
    # Ranges above 256 take four bytes and begin at -2.
    Bytes().byte(0).int(2 + 3, 2 + 2).text(b"042").save("run_length", "text")
    Bytes().byte(0).int(2 + 200, 2 + 200).text(b"PRk0").save("run_length", "text_short")


def decoder_head(
    classes: int,
    coefficients: int,
    anchor_major: int,
    kind: int,
    class_options: tuple[int, ...] = (0, 0),
) -> Bytes:
    """One slot at 32 x 32 with 21 anchors, prototypes at 8 x 8."""
    seed = Bytes().byte(0, 0, 4 + classes + coefficients, coefficients, 2, anchor_major)
    return seed.byte(kind, kind, 0, 0).byte(25, 70, 50, 2, 0).byte(*class_options)


def decoder_tensors(seed: Bytes, anchor_major: int, channels: int) -> Bytes:
    """Anchor 5 is a box of 16 x 12 in the middle, class 0 at 0.9; prototypes are 1."""
    seed.byte(3).byte(0, 0, 0, 0)
    values = [16.0, 16.0, 16.0, 12.0, 0.9] + [1.0] * (channels - 5)
    seed.byte(len(values))
    for channel, value in enumerate(values):
        index = 5 * channels + channel if anchor_major else channel * 21 + 5
        seed.int(4 * index).float(value)
    return seed.byte(3).float(1.0).byte(0).byte(0)


def decoder_seeds() -> None:
    for anchor_major in (0, 1):
        seed = decoder_head(2, 3, anchor_major, 2).byte(0, 0)  # no patch: the whole frame
        decoder_tensors(seed, anchor_major, 9).save("decoder", f"one_box_{anchor_major}")
    seed = decoder_head(2, 3, 0, 2, class_options=(1, 95, 1, 0)).byte(0, 0)  # class 1 at 0.95; [0]
    decoder_tensors(seed, 0, 9).save("decoder", "class_options")
    seed = decoder_head(1, 1, 0, 2).byte(1).byte(0, 200, 0, 100).short(1800, 1000).byte(1)
    decoder_tensors(seed, 0, 6).save("decoder", "clipped_patch")
    # float16 tensors of 1.0 everywhere.
    seed = decoder_head(1, 1, 0, 1).byte(1).byte(0, 50, 0, 40).short(0, 0).byte(0)
    seed.byte(1).byte(0, 0x3C, 0).byte(1).byte(0, 0x3C, 0).byte(0).save("decoder", "halves")
    # Not-a-number and infinities.
    seed = decoder_head(1, 1, 0, 2).byte(1).byte(0, 50, 0, 40).short(0, 0).byte(1)
    seed.byte(11).float(float("nan"), float("inf"), 1.0).byte(0)
    seed.byte(7).float(float("inf"), -1e38).byte(0).byte(0).save("decoder", "not_finite")


def pipeline_start(patches: list[tuple[int, int, int, int]], fece: int) -> Bytes:
    """The configuration: 32 x 32, classifier as given, label 0 its candidate; then patches."""
    seed = Bytes().byte(31, 1).byte(1).int(12288 * len(patches)).byte(fece, 0)
    seed.float(0.5).byte(1).byte(0, 0).byte(len(patches))
    for patch in patches:
        for coordinate in patch:
            seed.byte(0).short(8 * coordinate)
    return seed


def pipeline_object(seed: Bytes, box: tuple[int, int, int, int], label: int) -> None:
    for number in box:
        seed.byte(0).short(number)
    seed.byte(1, label).float(0.75).byte(0, 0, 19, 29).byte(2).byte(3, 255, 4, 255)


def pipeline_seeds() -> None:
    """After the configuration: the images, object lists, logits."""
    for fece in (0, 1):
        seed = pipeline_start([(0, 0, 640, 640), (640, 440, 640, 640)], fece)
        seed.byte(0, 13, 90).byte(0).byte(2)
        for box in ((10, 20, 30, 20), (5, 5, 40, 40)):
            seed.byte(1)
            pipeline_object(seed, box, 0)
        seed.float(0.0, 3.0).save("pipeline", f"two_patches_{fece}")
    seed = pipeline_start([(5, 7, 50, 30)], 0).byte(0, 0, 99, 120, 3, 3, 1, 7).byte(1, 14, 0)
    seed.save("pipeline", "wrong_type")
    pipeline_start([(-1, 0, 50, 30)], 0).byte(0, 0, 99, 120, 0, 7).save("pipeline", "negative")
    pipeline_start([], 0).byte(31).save("pipeline", "nothing")


def things_start(patches: list[tuple[int, int, int, int]], at_end: int = 0) -> Bytes:
    """The order of the second look, and patches of x, y, width and height."""
    seed = Bytes().byte(1, at_end, len(patches) - 1)
    for x, y, width, height in patches:
        seed.byte(x, y, width - 1, height - 1)
    return seed


def things_detection(
    seed: Bytes, patch: int, runs: list[tuple[int, int]], class_index: int = 0, confirmed: int = 0
) -> None:
    """A detection of the patch, with runs of (value, pixels) as its mask."""
    seed.byte(class_index, confirmed, 1, 0).byte(patch, 0)
    for value, pixels in runs:
        seed.byte(value, pixels - 1)


def things_seeds() -> None:
    """Patches of 8 x 8; 64 pixels are a whole mask."""
    side_by_side = [(0, 0, 8, 8), (8, 0, 8, 8)]
    for name, confirmed in (("across_a_border", 0), ("confirmed", 1)):
        seed = things_start(side_by_side)
        things_detection(seed, 0, [(255, 64)])
        things_detection(seed, 1, [(0, 2), (255, 1), (0, 61)], 1, confirmed)
        things_detection(seed, 1, [(255, 64)], 0, confirmed)
        seed.save("things", name)
    seed = things_start([(0, 0, 8, 8), (4, 4, 8, 8)])
    things_detection(seed, 0, [(0, 56), (255, 8)])
    things_detection(seed, 1, [(0, 8), (255, 8), (0, 48)])
    seed.save("things", "overlapping_patches")
    seed = things_start([(20, 20, 24, 24), (31, 31, 24, 24)], at_end=1)
    for patch in (0, 1):
        things_detection(seed, patch, [(255, 64)] * 9)
    seed.save("things", "over_the_frames_end")
    seed = things_start([(0, 0, 2, 2), (6, 0, 2, 2), (0, 6, 2, 2), (6, 6, 2, 2)])
    for patch in range(4):
        things_detection(seed, patch, [(255, 4)])
    seed.save("things", "equal_but_for_their_place")
    seed = things_start(side_by_side)
    seed.byte(0, 0, 0, 0).byte(0, 7).byte(0, 0, 0, 0).byte(1, 7).save("things", "without_masks")


def network(
    nodes: list[NodeProto],
    shape: list[int],
    initializers: dict[str, np.ndarray] | None = None,
    functions: list[FunctionProto] | None = None,
) -> bytes:
    """x float32 of that shape -> y float32 of any."""
    graph = helper.make_graph(
        nodes,
        "graph",
        [helper.make_tensor_value_info("x", TensorProto.FLOAT, shape)],
        [helper.make_tensor_value_info("y", TensorProto.FLOAT, None)],
        [numpy_helper.from_array(array, name) for name, array in (initializers or {}).items()],
    )
    opsets = [helper.make_opsetid("", 17), helper.make_opsetid("own", 1)]
    model = helper.make_model(graph, opset_imports=opsets, functions=functions or [])
    model.ir_version = 8
    return model.SerializeToString()


def own_function(name: str, called: list[str]) -> FunctionProto:
    """Calls one after another, each on the result of the one before."""
    values = ["a", *(f"t{i}" for i in range(len(called) - 1)), "b"]
    nodes = [
        helper.make_node(op, [values[i]], [values[i + 1]], domain="own" if op[0] == "f" else "")
        for i, op in enumerate(called)
    ]
    return function(name, ["a"], ["b"], nodes)


def function(
    name: str,
    inputs: list[str],
    outputs: list[str],
    nodes: list[NodeProto],
    attributes: list[str] | None = None,
) -> FunctionProto:
    opsets = [helper.make_opsetid("", 17), helper.make_opsetid("own", 1)]
    return helper.make_function("own", name, inputs, outputs, nodes, opsets, attributes)


def call(
    name: str, inputs: list[str], outputs: list[str], **attributes: float | GraphProto
) -> NodeProto:
    return helper.make_node(name, inputs, outputs, domain="own", **attributes)


def call_network(functions: list[FunctionProto], inputs: list[str] | None = None) -> bytes:
    return network([call("f0", inputs or ["x"], ["y"])], [4], {}, functions)


def branch_on(value: str, result: str) -> list[NodeProto]:
    """An If whose branches both take `value` from without."""
    output = helper.make_tensor_value_info("z", TensorProto.FLOAT, None)
    nodes = [helper.make_node("Neg", [value], ["t"]), helper.make_node("Abs", ["t"], ["z"])]
    graph = helper.make_graph(nodes, "branch", [], [output])
    condition = helper.make_tensor("condition", TensorProto.BOOL, [], [True])
    return [
        helper.make_node("Constant", [], ["c"], value=condition),
        helper.make_node("If", ["c"], [result], then_branch=graph, else_branch=graph),
    ]


def loop_on(value: str, result: str) -> list[NodeProto]:
    """Twice the body, which adds `value` from without to what it carries."""
    make = helper.make_tensor_value_info
    body = helper.make_graph(
        [
            helper.make_node("Identity", ["go"], ["go_on"]),
            helper.make_node("Add", ["carried", value], ["next"]),
        ],
        "body",
        [
            make("round", TensorProto.INT64, []),
            make("go", TensorProto.BOOL, []),
            make("carried", TensorProto.FLOAT, None),
        ],
        [make("go_on", TensorProto.BOOL, []), make("next", TensorProto.FLOAT, None)],
    )
    rounds = helper.make_tensor("rounds", TensorProto.INT64, [], [2])
    return [
        helper.make_node("Constant", [], ["n"], value=rounds),
        helper.make_node("Loop", ["n", "", value], [result], body=body),
    ]


def function_seeds(folder: Path) -> None:
    """Networks of functions: what a call may leave out, what it hands on, graphs within."""
    make = helper.make_node

    def save(name: str, nodes: list[NodeProto], functions: list[FunctionProto]) -> None:
        (folder / f"function_{name}.onnx").write_bytes(network(nodes, [4], {}, functions))

    clip = function("f0", ["a", "low", "high"], ["b"], [make("Clip", ["a", "low", "high"], ["b"])])
    save("optional_input", [call("f0", ["x", "", ""], ["y"])], [clip])
    save("fewer_inputs", [call("f0", ["x"], ["y"])], [clip])
    hand_on = function("f1", ["a", "high"], ["b"], [call("f0", ["a", "", "high"], ["b"])])
    save("handed_on", [call("f1", ["x"], ["y"])], [hand_on, clip])
    halves = function(
        "f0", ["a"], ["b", "c"], [make("Neg", ["a"], ["b"]), make("Abs", ["a"], ["c"])]
    )
    save("optional_output", [call("f0", ["x"], ["", "y"])], [halves])
    total = function("f0", ["a", "b"], ["c"], [make("Sum", ["a", "b", "a"], ["c"])])
    twice = function(
        "f1", ["a"], ["b"], [call("f0", ["a", "a"], ["t"]), call("f0", ["t", "a"], ["b"])]
    )
    save("shared", [call("f1", ["x"], ["t"]), call("f0", ["t", "x"], ["y"])], [twice, total])
    leaky = make("LeakyRelu", ["a"], ["b"])
    leaky.attribute.add(name="alpha", ref_attr_name="slope", type=AttributeProto.FLOAT)
    save(
        "attribute",
        [call("f0", ["x"], ["y"], slope=0.5)],
        [function("f0", ["a"], ["b"], [leaky], ["slope"])],
    )
    constant = function("f0", [], ["b"], [make("Constant", [], ["b"], value_float=1.0)])
    save("no_inputs", [call("f0", [], ["t"]), make("Add", ["x", "t"], ["y"])], [constant])
    save(
        "branches", [call("f0", ["x"], ["y"])], [function("f0", ["a"], ["b"], branch_on("a", "b"))]
    )
    save("loop", [call("f0", ["x"], ["y"])], [function("f0", ["a"], ["b"], loop_on("a", "b"))])


def model_seeds() -> None:
    """Networks of kinds that tests/networks lacks."""
    folder = CORPUS / "model_file"
    folder.mkdir(parents=True, exist_ok=True)
    weights = {"w": np.ones((4, 3, 3, 3), np.float32)}
    convolution = helper.make_node("Conv", ["x", "w"], ["y"], pads=[1, 1, 1, 1])
    (folder / "convolution.onnx").write_bytes(network([convolution], [1, 3, 8, 8], weights))
    functions = [own_function("f0", ["f1", "Relu"]), own_function("f1", ["Neg"])]
    (folder / "functions.onnx").write_bytes(call_network(functions))
    branch = helper.make_graph(
        [helper.make_node("Identity", ["x"], ["z"])],
        "branch",
        [],
        [helper.make_tensor_value_info("z", TensorProto.FLOAT, [4])],
    )
    choice = helper.make_node("If", ["c"], ["y"], then_branch=branch, else_branch=branch)
    (folder / "branches.onnx").write_bytes(network([choice], [4], {"c": np.array(True)}))
    function_seeds(folder)


def model_regressions() -> None:
    """Networks that end the process in ONNX Runtime 1.30, or keep it from ever coming back."""
    folder = REGRESSIONS / "model_file"
    folder.mkdir(parents=True, exist_ok=True)
    weights = {"w": np.ones((3, 4, 3, 3), np.float32)}
    node = helper.make_node("ConvTranspose", ["x", "w"], ["y"], group=0)
    (folder / "divides_by_group.onnx").write_bytes(network([node], [1, 3, 8, 8], weights))
    node = helper.make_node("DepthToSpace", ["x"], ["y"], blocksize=1 << 33)
    (folder / "divides_by_block.onnx").write_bytes(network([node], [1, 3, 8, 8]))
    chain = [own_function(f"f{i}", [f"f{i + 1}"]) for i in range(200)]
    (folder / "deep_functions.onnx").write_bytes(
        call_network([*chain, own_function("f200", ["Relu"])])
    )
    doubled = [own_function(f"f{i}", [f"f{i + 1}"] * 2) for i in range(40)]
    (folder / "many_nodes.onnx").write_bytes(
        call_network([*doubled, own_function("f40", ["Relu"])])
    )
    relu = helper.make_node("Relu", ["a"], ["b"])
    (folder / "makes_its_input.onnx").write_bytes(
        call_network([function("f0", ["a", "b"], ["b"], [relu])])
    )
    within = function("f0", ["a", "t"], ["b"], branch_on("a", "b"))
    (folder / "makes_its_input_within.onnx").write_bytes(call_network([within]))
    constant = helper.make_node("Constant", [], ["b"], value_float=1.0)
    (folder / "input_of_none.onnx").write_bytes(
        call_network([function("f0", [], ["b"], [constant])])
    )
    for op in ("Einsum", "LayerNormalization", "Max", "Mean", "Min", "Sum"):
        inputs = ["x", "x", ""] if op == "LayerNormalization" else ["x", ""]
        attributes = {"equation": "i,i->i"} if op == "Einsum" else {}
        node = helper.make_node(op, inputs, ["y"], **attributes)
        (folder / f"left_out_of_{op.lower()}.onnx").write_bytes(network([node], [4]))
    total = function("f1", ["a", "b"], ["c"], [helper.make_node("Sum", ["a", "b"], ["c"])])
    hand_on = function("f0", ["a", "b"], ["c"], [call("f1", ["a", "b"], ["c"])])
    (folder / "left_out_of_function.onnx").write_bytes(call_network([hand_on, total]))


if __name__ == "__main__":
    model_seeds()
    model_regressions()
    run_length_seeds()
    things_seeds()
    decoder_seeds()
    pipeline_seeds()
