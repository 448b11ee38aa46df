#!/usr/bin/python3
"""Writes a segmentation network for the frame benchmark: real layers, made-up weights.

    /usr/bin/python3 bench/make_network.py BATCH NETWORK.onnx

It costs what a trained YOLOv8n segmentation network costs, since it has the same layers with the
same widths; 24 classes, 32 prototypes, about 3.3 million weights drawn from a fixed seed:

    images [N, 3, 640, 640] -> output0 [N, 4 + 24 + 32, 8400], output1 [N, 32, 160, 160]

The weights are the same for every batch.

Trunk.  Five 3x3 convolutions, each halving the picture (16, 32, 64, 128, 256 planes); after each
        but the first a split block: a 1x1 convolution, half of its planes through 1, 2, 2, 1
        residual pairs of 3x3 convolutions, every intermediate result joined by a 1x1 one. At the
        end three chained 5x5 max-pools, joined.
Neck.   Coarse planes enlarged and joined with finer ones, then fine ones halved and joined with
        coarser ones, a split block without residuals after each join: strides 8, 16, 32.
Head.   For each stride three branches of two 3x3 and one 1x1 convolution: box sides as weights
        over 16 distances each, class scores, prototype coefficients. From stride 8 also the
        prototypes, enlarged once.

Every convolution but a branch's last is followed by x * sigmoid(x).

What untrained weights cannot give is added: `OBJECTS` anchors, the same in each picture, get a
constant on one class score each. They lie apart, so that suppression keeps them all; their boxes
and masks are what the weights make of them.
"""

import sys
from pathlib import Path

import numpy as np

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "tools" / "onnx"))

from graph_writer import Graph  # noqa: E402  (found through the path above)

SIDE = 640
CLASSES, COEFFICIENTS, DISTANCES = 24, 32, 16
STRIDES = [8, 16, 32]
SEED = 1

# Stride, cell (x, y) and class of each object. Boxes come out about 15 cells wide and high: most
# are a twentieth of the picture.
OBJECTS = [
    (8, (10, 12), 0), (8, (30, 12), 1), (8, (50, 12), 2), (8, (70, 12), 3),
    (8, (10, 60), 4), (8, (30, 60), 5), (8, (50, 60), 6), (8, (70, 60), 7),
    (16, (10, 20), 8), (16, (30, 20), 9),
]  # fmt: skip
BACKGROUND_LOGIT, OBJECT_LOGIT = -8.0, 10.0


def cells(stride: int) -> int:
    return SIDE // stride


class Builder:
    """Layers on top of `Graph`; tensors are passed as (name, planes)."""

    def __init__(self, batch: int) -> None:
        self.batch = batch
        self.graph = Graph("frame_benchmark")
        self.random = np.random.default_rng(SEED)
        self.weights = 0

    def table(self, shape: tuple[int, ...], fan_in: int, gain: float) -> np.ndarray:
        """Weights that keep the spread of what passes through."""
        self.weights += int(np.prod(shape))
        return self.random.normal(0.0, gain / np.sqrt(fan_in), shape).astype(np.float32)

    def plain(self, source, planes: int, kernel: int = 1, stride: int = 1, gain=1.0, bias=None):
        """A convolution alone."""
        name, depth = source
        weights = self.table((planes, depth, kernel, kernel), depth * kernel**2, gain)
        attributes = {"strides": [stride] * 2, "pads": [kernel // 2] * 4}
        bias = np.zeros(planes) if bias is None else bias
        return self.graph.conv(name, weights, bias, **attributes), planes

    def conv(self, source, planes: int, kernel: int = 3, stride: int = 1, named=None):
        """A convolution and x * sigmoid(x), whose gain of about 0.6 is made good."""
        name, _ = self.plain(source, planes, kernel, stride, gain=1.6)
        return self.graph.add("Mul", name, self.graph.add("Sigmoid", name), named=named), planes

    def join(self, *sources):
        name = self.graph.add("Concat", *(name for name, _ in sources), axis=1)
        return name, sum(planes for _, planes in sources)

    def split_block(self, source, planes: int, pairs: int, residual: bool):
        half = planes // 2
        first, last = self.graph.split(self.conv(source, planes, 1)[0], [half, half], 1)
        parts = [(first, half), (last, half)]
        for _ in range(pairs):
            result = self.conv(self.conv(parts[-1], half), half)
            if residual:
                result = self.graph.add("Add", parts[-1][0], result[0]), half
            parts.append(result)
        return self.conv(self.join(*parts), planes, 1)

    def pooled(self, source, planes: int):
        parts = [self.conv(source, planes // 2, 1)]
        for _ in range(3):
            parts.append((self.graph.max_pool(parts[-1][0], 5), planes // 2))
        return self.conv(self.join(*parts), planes, 1)

    def enlarge(self, source):
        name, planes = source
        scales = self.graph.constant([1, 1, 2, 2])
        return self.graph.add("Resize", name, "", scales, mode="nearest"), planes

    def trunk(self, picture):
        """Planes of strides 8, 16 and 32."""
        levels = []
        level = self.conv(picture, 16, stride=2)
        for planes, pairs in ((32, 1), (64, 2), (128, 2), (256, 1)):
            level = self.split_block(self.conv(level, planes, stride=2), planes, pairs, True)
            levels.append(level)
        return levels[1], levels[2], self.pooled(levels[3], 256)

    def neck(self, fine, middle, coarse):
        down = self.split_block(self.join(self.enlarge(coarse), middle), 128, 1, False)
        low = self.split_block(self.join(self.enlarge(down), fine), 64, 1, False)
        mid = self.split_block(self.join(self.conv(low, 64, stride=2), down), 128, 1, False)
        top = self.split_block(self.join(self.conv(mid, 128, stride=2), coarse), 256, 1, False)
        return low, mid, top

    def branch(self, levels, width: int, planes: int, bias: float = 0.0, gain: float = 1.0) -> str:
        """Two 3x3 and a 1x1 convolution a level, laid side by side: [N, planes, anchors]."""
        flat = []
        for level in levels:
            hidden = self.conv(self.conv(level, width), width)
            last, _ = self.plain(hidden, planes, gain=gain, bias=np.full(planes, bias))
            flat.append(self.graph.reshape(last, [self.batch, planes, -1]))
        return self.graph.add("Concat", *flat, axis=2)

    def prototypes(self, fine) -> None:
        name, planes = self.conv(fine, 64)
        weights = self.table((planes, planes, 2, 2), planes, 1.0)
        large = self.graph.add(
            "ConvTranspose", name, self.graph.constant(weights), kernel_shape=[2, 2], strides=[2, 2]
        )
        self.conv(self.conv((large, planes), 64), COEFFICIENTS, 1, named="output1")
        self.graph.output("output1", [self.batch, COEFFICIENTS, SIDE // 4, SIDE // 4])


def anchor_centres() -> tuple[np.ndarray, np.ndarray]:
    """Centres in cells [1, 2, anchors] and the stride of each anchor [1, 1, anchors]."""
    centres, strides = [], []
    for stride in STRIDES:
        y, x = np.mgrid[: cells(stride), : cells(stride)]
        centres.append(np.stack([x.ravel(), y.ravel()]) + 0.5)
        strides.append(np.full(x.size, stride))
    return np.concatenate(centres, 1)[None], np.concatenate(strides)[None, None]


def object_logits() -> np.ndarray:
    """What is added to the class logits: [1, classes, anchors]."""
    first = np.cumsum([0] + [cells(stride) ** 2 for stride in STRIDES])
    logits = np.zeros((1, CLASSES, first[-1]))
    for i, (stride, (x, y), label) in enumerate(OBJECTS):
        anchor = first[STRIDES.index(stride)] + y * cells(stride) + x
        logits[0, label, anchor] = OBJECT_LOGIT + 0.1 * i
    return logits


def add_boxes(builder: Builder, levels) -> str:
    """Centre and size in network pixels: [N, 4, anchors]."""
    graph, batch = builder.graph, builder.batch
    centres, strides = anchor_centres()
    sides = builder.branch(levels, 64, 4 * DISTANCES)
    shares = graph.add(
        "Softmax",
        graph.add("Transpose", graph.reshape(sides, [batch, 4, DISTANCES, -1]), perm=[0, 2, 1, 3]),
        axis=1,
    )
    expected = graph.conv(shares, np.arange(DISTANCES)[None])
    distances = graph.reshape(expected, [batch, 4, -1])
    near, far = graph.split(distances, [2, 2], 1)
    anchors = graph.constant(centres)
    low, high = graph.add("Sub", anchors, near), graph.add("Add", anchors, far)
    middle = graph.add("Div", graph.add("Add", low, high), graph.constant(2.0))
    box = graph.add("Concat", middle, graph.add("Sub", high, low), axis=1)
    return graph.add("Mul", box, graph.constant(strides))


def build(batch: int) -> tuple[bytes, int]:
    builder = Builder(batch)
    graph = builder.graph
    picture = graph.input("images", [batch, 3, SIDE, SIDE]), 3
    levels = builder.neck(*builder.trunk(picture))
    boxes = add_boxes(builder, levels)
    logits = builder.branch(levels, 64, CLASSES, BACKGROUND_LOGIT, gain=0.1)
    scores = graph.add("Sigmoid", graph.add("Add", logits, graph.constant(object_logits())))
    coefficients = builder.branch(levels, 32, COEFFICIENTS)
    graph.add("Concat", boxes, scores, coefficients, axis=1, named="output0")
    anchors = sum(cells(stride) ** 2 for stride in STRIDES)
    graph.output("output0", [batch, 4 + CLASSES + COEFFICIENTS, anchors])
    builder.prototypes(levels[0])
    return graph.serialise(), builder.weights


def main() -> int:
    if len(sys.argv) != 3:
        print(f"usage: {sys.argv[0]} BATCH NETWORK.onnx", file=sys.stderr)
        return 2
    batch, path = int(sys.argv[1]), Path(sys.argv[2])
    data, weights = build(batch)
    path.write_bytes(data)
    print(f"{path}: batch {batch}, {weights} weights, {len(data)} bytes")
    return 0


if __name__ == "__main__":
    sys.exit(main())
