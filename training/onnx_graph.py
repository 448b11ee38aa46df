"""ONNX graphs as they come from the exporter: tidied, classified, and run in torch."""

from collections.abc import Callable
from functools import partial

import numpy as np
import onnx
import torch
from onnx import helper, numpy_helper
from torch import Tensor
from torch.nn import functional

CONVOLUTIONS = ("Conv", "ConvTranspose")


def tidied(model: onnx.ModelProto) -> onnx.ModelProto:
    """The same graph with constants as initializers, without copies and what is never read."""
    graph = model.graph
    renamed: dict[str, str] = {}
    nodes = []
    for node in graph.node:
        node.input[:] = [renamed.get(name, name) for name in node.input]
        if node.op_type == "Constant":
            value = numpy_helper.to_array(node.attribute[0].t)
            graph.initializer.append(numpy_helper.from_array(value, node.output[0]))
        elif node.op_type == "Identity":
            renamed[node.output[0]] = node.input[0]
        else:
            nodes.append(node)
    replace_nodes(graph, without_unread(nodes, [value.name for value in graph.output]))
    return model


def without_unread(nodes: list[onnx.NodeProto], outputs: list[str]) -> list[onnx.NodeProto]:
    read, kept = set(outputs), []
    for node in reversed(nodes):
        if read.intersection(node.output):
            read.update(node.input)
            kept.append(node)
    return kept[::-1]


def replace_nodes(graph: onnx.GraphProto, nodes: list[onnx.NodeProto]) -> None:
    """Sets the nodes and drops initializers that none of them reads."""
    read = {name for node in nodes for name in node.input}
    kept = [value for value in graph.initializer if value.name in read]
    copied = onnx.GraphProto(node=nodes, initializer=kept)
    for part in (graph.node, graph.initializer, graph.value_info):
        del part[:]
    graph.node.extend(copied.node)
    graph.initializer.extend(copied.initializer)


def initializers(graph: onnx.GraphProto) -> dict[str, np.ndarray]:
    return {value.name: numpy_helper.to_array(value) for value in graph.initializer}


def body_of(graph: onnx.GraphProto) -> list[onnx.NodeProto]:
    """The nodes that belong with the convolutions: those that any convolution's input depends on,
    convolutions, and the activation after the last ones. What decodes their results is left."""
    behind: set[str] = set()  # tensors that a convolution depends on
    made: set[str] = set()
    for node in reversed(graph.node):
        if node.op_type in CONVOLUTIONS or behind.intersection(node.output):
            behind.update(node.input)
            made.update(node.output)
    for node in graph.node:
        if node.op_type in ("Sigmoid", "Mul") and made.issuperset(node.input):
            made.update(node.output)
    return [node for node in graph.node if node.output[0] in made]


# ---- Running a graph in torch -------------------------------------------------------------------


def attributes_of(node: onnx.NodeProto) -> dict:
    return {item.name: helper.get_attribute_value(item) for item in node.attribute}


def symmetric(pads: list[int]) -> tuple[int, int]:
    top, left, bottom, right = pads
    if (top, left) != (bottom, right):
        raise ValueError(f"pads {pads}: only equal ones on opposite sides are known")
    return top, left


def convolve(given: dict, x: Tensor, weight: Tensor, bias: Tensor | None = None) -> Tensor:
    return functional.conv2d(x, weight, bias, given["strides"], symmetric(given["pads"]),
                             groups=given.get("group", 1))  # fmt: skip


def convolve_back(given: dict, x: Tensor, weight: Tensor, bias: Tensor | None = None) -> Tensor:
    return functional.conv_transpose2d(x, weight, bias, given["strides"], symmetric(given["pads"]))


def normalise(given: dict, x: Tensor, scale: Tensor, bias: Tensor) -> Tensor:
    return functional.instance_norm(x, weight=scale, bias=bias, eps=given["epsilon"])


def pool(function: Callable) -> Callable:
    return lambda given, x: function(
        x, given["kernel_shape"], given["strides"], symmetric(given["pads"])
    )


def resize(given: dict, x: Tensor, *others: Tensor | None) -> Tensor:
    scales = others[1].tolist()
    if given["mode"] != b"nearest" or scales != [1, 1, 2, 2]:
        raise ValueError(f"Resize by {scales}, {given['mode']}: only nearest by 2 is known")
    return functional.interpolate(x, scale_factor=2.0, mode="nearest")


def split(given: dict, x: Tensor, sizes: Tensor) -> tuple[Tensor, ...]:
    return x.split(sizes.tolist(), given["axis"])


OPERATORS: dict[str, Callable] = {
    "Conv": convolve,
    "ConvTranspose": convolve_back,
    "Sigmoid": lambda given, x: x.sigmoid(),
    "Mul": lambda given, x, y: x * y,
    "Add": lambda given, x, y: x + y,
    "Sub": lambda given, x, y: x - y,
    "Div": lambda given, x, y: x / y,
    "Concat": lambda given, *parts: torch.cat(parts, given["axis"]),
    "InstanceNormalization": normalise,
    "MaxPool": pool(functional.max_pool2d),
    "AveragePool": pool(partial(functional.avg_pool2d, count_include_pad=False)),
    "Resize": resize,
    "Split": split,
    "Reshape": lambda given, x, shape: x.reshape(shape.tolist()),
    "Transpose": lambda given, x: x.permute(given["perm"]),
    "Softmax": lambda given, x: x.softmax(given["axis"]),
    "ReduceSum": lambda given, x, axes: x.sum(axes.tolist(), bool(given.get("keepdims", 1))),
    "ReduceMean": lambda given, x: x.mean(given["axes"], bool(given.get("keepdims", 1))),
    "Gemm": lambda given, x, weight, bias: functional.linear(x, weight, bias),
}


@torch.no_grad()
def run(nodes: list[onnx.NodeProto], constants: dict[str, np.ndarray],
        inputs: dict[str, Tensor]) -> dict[str, Tensor]:  # fmt: skip
    """Every tensor that the nodes make of the inputs, by name."""
    known = {name: torch.from_numpy(value.copy()) for name, value in constants.items()}
    values = dict(inputs)
    for node in nodes:
        arguments = [values.get(name, known.get(name)) for name in node.input]
        result = OPERATORS[node.op_type](attributes_of(node), *arguments)
        results = result if isinstance(result, tuple) else (result,)
        values.update(zip(node.output, results))
    return values
