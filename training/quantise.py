#!/usr/bin/python3
"""Makes smaller or quicker forms of an exported network; both keep its inputs and outputs.

    quantise.py float16 --model dirt-seg.onnx --output dirt-seg-float16.onnx
    quantise.py static  --model dirt-seg.onnx --output dirt-seg-static.onnx --data out/training/data

float16: weights and arithmetic of the convolutions in half precision, decoding in single.
static: 8 bits. Weights symmetric, a scale for each output plane; every tensor between convolutions
unsigned, with the range that it had on calibration samples; decoding in single precision.
"""

import argparse
import sys
from pathlib import Path

import numpy as np
import onnx
import torch
from google.protobuf.message import DecodeError
from onnx import TensorProto, helper, numpy_helper
from torch import Tensor

import data
from onnx_graph import CONVOLUTIONS, body_of, initializers, replace_nodes, run
from options import positive, present_file


# ---- float16 ------------------------------------------------------------------------------------


def cast(source: str, result: str, element: int) -> onnx.NodeProto:
    return helper.make_node("Cast", [source], [result], f"cast_{result}", to=element)


def to_float16(model: onnx.ModelProto) -> onnx.ModelProto:
    """Halves what the body reads; casts where it meets the rest."""
    graph, half = model.graph, "{}_f16".format
    made = {name for node in body_of(graph) for name in node.output}
    constants, inputs = initializers(graph), {value.name for value in graph.input}
    nodes = [cast(name, half(name), TensorProto.FLOAT16) for name in sorted(inputs)]
    halved = {}
    read_outside = {value.name for value in graph.output}
    read_outside |= {
        name for node in graph.node if node.output[0] not in made for name in node.input
    }
    for node in graph.node:
        if node.output[0] not in made:
            nodes.append(node)
            continue
        for at, name in enumerate(node.input):
            weights = constants.get(name)
            if weights is not None and weights.dtype == np.float32 and node.op_type != "Resize":
                halved[half(name)] = weights.astype(np.float16)
                node.input[at] = half(name)
            elif name in made or name in inputs:
                node.input[at] = half(name)
        results = list(node.output)
        node.output[:] = [half(name) for name in results]
        nodes.append(node)
        nodes += [
            cast(half(name), name, TensorProto.FLOAT) for name in results if name in read_outside
        ]
    graph.initializer.extend(numpy_helper.from_array(value, name) for name, value in halved.items())
    replace_nodes(graph, nodes)
    return model


# ---- Static quantisation ------------------------------------------------------------------------


def calibration_inputs(model: onnx.ModelProto, folder: Path, seed: int, count: int) -> list[Tensor]:
    """Samples as in training, in batches of the network's own size."""
    scenes = data.Scenes(folder)
    batch = model.graph.input[0].type.tensor_type.shape.dim[0].dim_value
    if model.graph.input[0].name == "images":
        samples = data.SegmentationSamples(scenes, seed, count)
        pictures = torch.from_numpy(np.stack([samples[i][0] for i in range(count)]))
        return list(data.to_planes(pictures).split(batch))
    crops = data.CropSamples(scenes, seed, count)
    return list(torch.stack([crops[i][0] for i in range(count)]).split(batch))


def ranges_of(model: onnx.ModelProto, batches: list[Tensor]) -> dict[str, tuple[float, float]]:
    """Least and greatest value of the input and of every tensor of the body, 0 included."""
    name, body = model.graph.input[0].name, body_of(model.graph)
    constants = initializers(model.graph)
    ranges: dict[str, tuple[float, float]] = {}
    for batch in batches:
        made = {name for node in body for name in node.output} | {name}
        for tensor, value in run(body, constants, {name: batch}).items():
            if tensor in made:
                low, high = ranges.get(tensor, (0.0, 0.0))
                ranges[tensor] = min(low, float(value.min())), max(high, float(value.max()))
    return ranges


class Quantiser:
    """Collects the nodes and constants that turn a body into one with 8-bit tensors."""

    def __init__(self, model: onnx.ModelProto, ranges: dict[str, tuple[float, float]]) -> None:
        self.graph, self.ranges = model.graph, ranges
        self.constants = initializers(model.graph)
        self.nodes: list[onnx.NodeProto] = []
        self.added: dict[str, np.ndarray] = {}

    def parameters(self, name: str, scale: np.ndarray, zero: np.ndarray) -> list[str]:
        self.added[f"{name}_scale"], self.added[f"{name}_zero"] = scale, zero
        return [f"{name}_scale", f"{name}_zero"]

    def activation(self, name: str) -> str:
        """Name of the tensor after a way through 8 bits; it is made once."""
        result = f"{name}_q8"
        if f"{name}_scale" not in self.added:
            low, high = self.ranges[name]
            scale = max(high - low, 1e-6) / 255
            zero = np.uint8(np.clip(round(-low / scale), 0, 255))
            parameters = self.parameters(name, np.float32(scale), np.array(zero))
            steps = f"{name}_u8"
            self.nodes.append(
                helper.make_node("QuantizeLinear", [name, *parameters], [steps], f"q_{name}")
            )
            self.nodes.append(
                helper.make_node("DequantizeLinear", [steps, *parameters], [result], f"dq_{name}")
            )
        return result

    def weights(self, values: np.ndarray, label: str) -> tuple[str, np.ndarray]:
        """In 8 bits, a scale for each output plane; the name to read them by, and the scales."""
        scale = np.maximum(np.abs(values).max(axis=(1, 2, 3)), 1e-8).astype(
            np.float32
        ) / np.float32(127)
        steps = np.rint(values / scale[:, None, None, None]).astype(np.int8)
        return self.dequantised(steps, scale, f"{label}_weights"), scale

    def biases(self, values: np.ndarray, label: str, weight_scale: np.ndarray, source: str) -> str:
        """In 32 bits, in the steps of the products."""
        scale = weight_scale * self.added[f"{source}_scale"]
        return self.dequantised(np.rint(values / scale).astype(np.int32), scale, f"{label}_bias")

    def dequantised(self, steps: np.ndarray, scale: np.ndarray, label: str) -> str:
        """Constants of 8 or 32 bits as they are read, a scale for each of their first axis."""
        self.added[f"{label}_steps"] = steps
        parameters = self.parameters(label, scale, np.zeros(len(scale), steps.dtype))
        inputs = [f"{label}_steps", *parameters]
        self.nodes.append(
            helper.make_node("DequantizeLinear", inputs, [label], f"dq_{label}", axis=0)
        )
        return label

    def convolution(self, node: onnx.NodeProto) -> None:
        """A transposed one keeps its weights: it is small, and few runtimes have it in 8 bits."""
        source, label = node.input[0], node.output[0]
        node.input[0] = self.activation(source)
        if node.op_type == "Conv":
            node.input[1], scale = self.weights(self.constants[node.input[1]], label)
            if len(node.input) == 3:
                node.input[2] = self.biases(self.constants[node.input[2]], label, scale, source)
        self.nodes.append(node)

    def run(self) -> None:
        """Everything that reads a tensor of the body reads it through 8 bits, outputs too."""
        body = {node.output[0] for node in body_of(self.graph)}
        outputs = {value.name for value in self.graph.output}
        for node in list(self.graph.node):
            if node.output[0] in body and node.op_type in CONVOLUTIONS:
                self.convolution(node)
            else:
                node.input[:] = [
                    self.activation(name) if name in self.ranges else name for name in node.input
                ]
                self.nodes.append(node)
            for at, name in enumerate(node.output):
                if name in outputs and name in self.ranges:
                    self.through_bits(node, at)
        added = [
            numpy_helper.from_array(np.asarray(value), name) for name, value in self.added.items()
        ]
        self.graph.initializer.extend(added)
        replace_nodes(self.graph, self.nodes)

    def through_bits(self, node: onnx.NodeProto, at: int) -> None:
        """An output of the network keeps its name; what made it gets another."""
        name = node.output[at]
        node.output[at] = f"{name}_full"
        self.ranges[f"{name}_full"] = self.ranges[name]
        self.activation(f"{name}_full")
        self.nodes[-1].output[0] = name


def to_static(model: onnx.ModelProto, batches: list[Tensor]) -> onnx.ModelProto:
    Quantiser(model, ranges_of(model, batches)).run()
    return model


def parse() -> argparse.Namespace:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("form", choices=("float16", "static"))
    parser.add_argument("--model", type=present_file, required=True)
    parser.add_argument("--output", type=Path, required=True)
    parser.add_argument("--data", type=Path, help="rendered scenes to calibrate with (static)")
    parser.add_argument(
        "--samples", type=positive, default=96, help="a multiple of the network's batch"
    )
    parser.add_argument("--seed", type=int, default=7)
    options = parser.parse_args()
    if options.form == "static" and options.data is None:
        parser.error("static needs --data, the scenes to calibrate with")
    return options


def main() -> int:
    options = parse()
    try:
        model = onnx.load(str(options.model))
    except DecodeError:
        raise SystemExit(f"--model: '{options.model}' is not an ONNX file") from None
    if options.form == "float16":
        model = to_float16(model)
    else:
        torch.set_num_threads(2)
        model = to_static(
            model, calibration_inputs(model, options.data, options.seed, options.samples)
        )
    onnx.checker.check_model(model, full_check=True)
    options.output.write_bytes(model.SerializeToString(deterministic=True))
    print(f"{options.output}: {options.output.stat().st_size} bytes")
    return 0


if __name__ == "__main__":
    sys.exit(main())
