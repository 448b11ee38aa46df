"""A thin layer over onnx.helper: nodes are added one after another, each call names its result."""

import numpy as np
import onnx
from onnx import TensorProto, helper, numpy_helper

OPSET = 17


class Graph:
    """Collects nodes and constants; `add` returns the name of the new node's first output."""

    def __init__(self, name: str) -> None:
        self.name = name
        self.nodes: list[onnx.NodeProto] = []
        self.constants: list[onnx.TensorProto] = []
        self.inputs: list[onnx.ValueInfoProto] = []
        self.outputs: list[onnx.ValueInfoProto] = []

    def input(self, name: str, shape: list, element: int = TensorProto.FLOAT) -> str:
        self.inputs.append(helper.make_tensor_value_info(name, element, shape))
        return name

    def output(self, name: str, shape: list, element: int = TensorProto.FLOAT) -> None:
        self.outputs.append(helper.make_tensor_value_info(name, element, shape))

    def constant(self, values, dtype=np.float32) -> str:
        name = f"c{len(self.constants)}"
        array = np.asarray(values, dtype)
        self.constants.append(numpy_helper.from_array(array, name))
        return name

    def add(self, operator: str, *inputs: str, named: str | None = None, **attributes) -> str:
        result = named or f"{operator.lower()}_{len(self.nodes)}"
        self.nodes.append(helper.make_node(operator, list(inputs), [result], result, **attributes))
        return result

    def conv(self, source: str, weights, bias=None, **attributes) -> str:
        """Convolution; a two-dimensional weight table [out, in] is a 1x1 one."""
        table = np.asarray(weights, np.float32)
        if table.ndim == 2:
            table = table[..., None, None]
        extra = [] if bias is None else [self.constant(bias)]
        return self.add("Conv", source, self.constant(table), *extra, **attributes)

    def gemm(self, source: str, weights, bias, **attributes) -> str:
        """Fully connected layer with the weight table [out, in]."""
        tables = self.constant(weights), self.constant(bias)
        return self.add("Gemm", source, *tables, transB=1, **attributes)

    def reshape(self, source: str, shape: list[int]) -> str:
        return self.add("Reshape", source, self.constant(shape, np.int64))

    def split(self, source: str, sizes: list[int], axis: int) -> list[str]:
        names = [f"split_{len(self.nodes)}_{part}" for part in range(len(sizes))]
        inputs = [source, self.constant(sizes, np.int64)]
        self.nodes.append(helper.make_node("Split", inputs, names, names[0], axis=axis))
        return names

    def clip(self, source: str, low: float, high: float) -> str:
        return self.add("Clip", source, self.constant(low), self.constant(high))

    def max_pool(self, source: str, kernel: int, stride: int = 1) -> str:
        """Greatest value of each window; with stride 1 the size stays."""
        pad = (kernel - 1) // 2 if stride == 1 else 0
        return self.add(
            "MaxPool", source, kernel_shape=[kernel] * 2, strides=[stride] * 2, pads=[pad] * 4
        )

    def serialise(self, metadata: dict[str, str] | None = None) -> bytes:
        """The checked model's bytes; the same graph gives the same bytes."""
        graph = helper.make_graph(
            self.nodes, self.name, self.inputs, self.outputs, initializer=self.constants
        )
        model = helper.make_model(
            graph, producer_name="dirty_seg", opset_imports=[helper.make_opsetid("", OPSET)]
        )
        helper.set_model_props(model, metadata or {})
        onnx.checker.check_model(model, full_check=True)
        return model.SerializeToString(deterministic=True)
