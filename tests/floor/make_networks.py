#!/usr/bin/python3
"""Makes the floor's two networks; every weight is worked out here, nothing is trained.

    /usr/bin/python3 tests/floor/make_networks.py          writes dirt-seg.onnx and fece-check.onnx
    /usr/bin/python3 tests/floor/make_networks.py --check  compares with the files instead

Both networks apply colour rules that hold on a pale, slightly warm floor, and both answer from what
is in the picture: an object that moves takes its box along, and a clean floor gives nothing.
"""

import sys
from pathlib import Path

import numpy as np
from onnx import TensorProto

ROOT = Path(__file__).resolve().parents[2]
sys.path[:0] = [str(ROOT / "tests" / "networks"), str(ROOT / "tools" / "onnx")]

import deliver  # noqa: E402  (found through the paths above)
from graph_writer import Graph  # noqa: E402

# ---- Segmentation: dirt-seg.onnx ----------------------------------------------------------------

CLASSES = ["spill", "stain", "sauce", "solid waste"]
BATCH = 6
SIDE = 320
COEFFICIENTS = 32
STRIDES = [8, 16, 32]
ANCHORS = [(SIDE // stride) ** 2 for stride in STRIDES]
GRID = SIDE // STRIDES[0]
FINE = SIDE // 4  # side of the prototypes; boxes are measured on this grid too

# Colour tests, one a row: weights of R, G, B and a constant. Above 0 is a yes; 0.5 is a firm one.
# A ratio of channels, not a difference, is compared, so that light and shadow change nothing:
# on this floor blue is 0.75 of red, on stains 0.5, on solid waste 0.35, and more than 1 on spills.
BLUISH = 8 * np.array([-1, 0, 0.85, 0])  # red below 0.85 of blue
BROWN = 10 * np.array([0.66, 0, -1, 0])  # blue below 0.66 of red
DARK = np.array([-1 / 3, -1 / 3, -1 / 3, 0.3])  # mean of the channels below 0.3
DEEP = 25 * (np.array([0.46, 0, -1, 0]) + 0.15 * DARK)  # blue below 0.46 of red; dark helps
RED = 10 * np.array([0.45, -1, 0, 0])  # green below 0.45 of red
TESTS = np.array([BLUISH, BROWN, DEEP, -DEEP, RED, -RED])
# Which tests each class has to pass.
NEEDS = np.array(
    [
        [1, 0, 0, 0, 0, 0],  # spill
        [0, 1, 0, 1, 0, 1],  # stain: brown, neither deep nor red
        [0, 1, 0, 0, 1, 0],  # sauce: red
        [0, 1, 1, 0, 0, 1],  # solid waste: deep brown, not red
    ]
)
# A red or deep brown outline blends into the floor through the stain's colours: such an outline
# is not a stain. Row: the class that gives way; column: the one that it gives way to.
GIVES_WAY = np.zeros((4, 4))
GIVES_WAY[1, 2:] = 1

LOGIT_GAIN = 6.0  # mask logit of firm evidence, -6 on clean floor
SCORE_GAIN, SCORE_MIDDLE = 8.0, 0.3  # sigmoid over the mean evidence of the surroundings
SPREAD_STEPS = 48  # cells that a box travels: enough round the longest outline that is expected


def evidence(graph: Graph, images: str) -> str:
    """[6, 4, 160, 160] in -1..1: how surely each pixel pair belongs to each class."""
    # Binomial smoothing, each colour plane by itself, to half the size: takes the noise off.
    taps = np.outer([1, 3, 3, 1], [1, 3, 3, 1]) / 64
    smooth = graph.conv(
        images, np.tile(taps, (3, 1, 1, 1)), group=3, strides=[2, 2], pads=[1, 1, 1, 1]
    )
    # "All tests passed" as two layers: what each test lacks, then 1 less twice the sum of it.
    lacking = graph.add("Relu", graph.conv(smooth, -TESTS[:, :3], 0.5 - TESTS[:, 3]))
    passed = graph.clip(graph.conv(lacking, -2.0 * NEEDS, np.ones(len(CLASSES))), -1, 1)
    # Opening (shrink, then grow): what is thinner than three pixel pairs disappears.
    shrunk = graph.max_pool(graph.add("Neg", passed), 3)
    return graph.max_pool(graph.add("Neg", shrunk), 3)


def settle(graph: Graph, pixels: str) -> str:
    """[6, 4, 80, 80]: evidence on the prototypes' grid, outlines of other classes taken away."""
    cells = graph.add("AveragePool", pixels, kernel_shape=[2, 2], strides=[2, 2])
    nearby = graph.add("Relu", graph.max_pool(cells, 5))
    return graph.add("Sub", cells, graph.conv(nearby, 2.0 * GIVES_WAY))


def spread(graph: Graph, cells: str) -> tuple[str, str]:
    """Gives every stride-8 cell the extent and the measure of its connected region.

    Returns [24, 5, 40, 40] (left, right, top, bottom, measure; 24 = batch times classes; 0 where
    there is no dirt) and the regions themselves, [24, 1, 40, 40] of 0 or 1.
    """
    cells = graph.reshape(cells, [BATCH * len(CLASSES), 1, FINE, FINE])
    cells = graph.add("Relu", cells)
    dirt = graph.add("Sign", cells)
    # Edges as numbers that only grow: left and top count from the far side.
    ramp = np.arange(1, FINE + 1)
    edges = [
        graph.add("Mul", dirt, graph.constant(line.reshape(shape)))
        for shape in ((1, 1, 1, FINE), (1, 1, FINE, 1))
        for line in (ramp[::-1], ramp)
    ]
    # Mean evidence of the 44 x 44 network pixels around: small for drops and crumbs.
    measure = graph.add(
        "AveragePool", cells, kernel_shape=[11, 11], pads=[5, 5, 5, 5], count_include_pad=1
    )
    state = graph.max_pool(graph.add("Concat", *edges, measure, axis=1), 2, 2)
    region = graph.max_pool(dirt, 2, 2)
    state = graph.add("Mul", state, region)
    # Geodesic dilation: the greatest of the neighbours, again and again, but never off the dirt.
    for _ in range(SPREAD_STEPS):
        state = graph.add("Mul", graph.max_pool(state, 3), region)
    return state, region


def choose(graph: Graph, state: str, region: str) -> tuple[str, str, str]:
    """Box of each stride-8 cell, [6, 4, 40, 40], and its class scores, 0 but for one class."""
    classes = len(CLASSES)
    # Left, right, top, bottom, measure -> centre x, centre y, width, height, logit of the score.
    table = [[-2, 2, 0, 0, 0], [0, 0, -2, 2, 0], [4, 4, 0, 0, 0], [0, 0, 4, 4, 0]]
    table += [[0, 0, 0, 0, SCORE_GAIN]]
    offset = [SIDE / 2, SIDE / 2, -SIDE, -SIDE, -SCORE_GAIN * SCORE_MIDDLE]
    told = graph.reshape(graph.conv(state, table, offset), [BATCH, classes, 5, GRID, GRID])
    box, logit = graph.split(told, [4, 1], axis=2)
    region = graph.reshape(region, [BATCH, classes, 1, GRID, GRID])
    score = graph.add("Mul", graph.add("Sigmoid", logit), region)
    # The surest class wins the cell; a cell without dirt is nobody's.
    winner = graph.add("ArgMax", score, axis=1, keepdims=1)
    order = graph.constant(np.arange(classes).reshape(1, -1, 1, 1, 1), np.int64)
    won = graph.add("Cast", graph.add("Equal", winner, order), to=TensorProto.FLOAT)
    won = graph.add("Mul", won, region)
    only = graph.constant([1], np.int64)
    box = graph.add("ReduceSum", graph.add("Mul", box, won), only, keepdims=0)
    scores = graph.reshape(graph.add("Mul", score, won), [BATCH, classes, GRID, GRID])
    return box, scores, graph.reshape(won, [BATCH, classes, GRID, GRID])


def hadamard(order: int) -> np.ndarray:
    table = np.ones((1, 1))
    while len(table) < order:
        table = np.block([[table, table], [table, -table]])
    return table


def own_cells() -> np.ndarray:
    """[1, 4, anchors]: a box of two strides round each anchor, for anchors that see nothing."""
    boxes = []
    for stride in STRIDES:
        y, x = (np.mgrid[: SIDE // stride, : SIDE // stride] + 0.5) * stride
        side = np.full_like(x, 2 * stride)
        boxes.append(np.stack([x, y, side, side]).reshape(4, -1))
    return np.concatenate(boxes, axis=1)[None]


def predictions(graph: Graph, box: str, scores: str, won: str, codes: np.ndarray) -> str:
    """[6, 4 + classes + coefficients, anchors]; the strides 16 and 32 have nothing to say."""
    coefficients = graph.conv(won, codes)
    taken = graph.conv(won, np.ones((1, len(CLASSES))))
    cells = graph.add("Concat", taken, box, scores, coefficients, axis=1)
    rows = 1 + 4 + len(CLASSES) + COEFFICIENTS
    cells = graph.reshape(cells, [BATCH, rows, ANCHORS[0]])
    coarse = graph.constant([0, 0, 0, 0, 0, sum(ANCHORS[1:])], np.int64)
    everywhere = graph.add("Pad", cells, coarse)
    taken, box, rest = graph.split(everywhere, [1, 4, rows - 5], axis=1)
    free = graph.add("Sub", graph.constant(1.0), taken)
    box = graph.add("Add", box, graph.add("Mul", free, graph.constant(own_cells())))
    return graph.add("Concat", box, rest, axis=1, named="output0")


def segmentation() -> bytes:
    graph = Graph("dirt_seg")
    images = graph.input("images", [BATCH, 3, SIDE, SIDE])
    cells = settle(graph, evidence(graph, images))
    # Each class is spread over all prototypes by a column of an orthogonal table; the same column
    # as coefficients brings it back: every prototype and every coefficient counts.
    codes = hadamard(COEFFICIENTS)[:, 1 : 1 + len(CLASSES)]
    predictions(graph, *choose(graph, *spread(graph, cells)), codes)
    graph.conv(cells, codes * (LOGIT_GAIN / COEFFICIENTS), named="output1")
    graph.output("output0", [BATCH, 4 + len(CLASSES) + COEFFICIENTS, sum(ANCHORS)])
    graph.output("output1", [BATCH, COEFFICIENTS, FINE, FINE])
    return graph.serialise(
        {
            "names": str(dict(enumerate(CLASSES))),
            "task": "segment",
            "stride": str(STRIDES[-1]),
            "imgsz": str([SIDE, SIDE]),
        }
    )


# ---- Classifier: fece-check.onnx ----------------------------------------------------------------

VERDICTS = ["not faeces", "faeces"]
CROP = 224
MEAN, DEVIATION = [0.485, 0.456, 0.406], [0.229, 0.224, 0.225]  # how the detector normalises
RIPPLE_SIGMAS = 0.8, 2.0  # in pixels of the halved crop: the size of a cone's scale, a leaf's vein

# What speaks for faeces, each a yes above 0: weights of the crop's means over all pixels of
# "solid waste" evidence and of that evidence times red, green and ripple.
ENOUGH = np.array([0.03, 0, 0, 0])  # a good part of the crop is deep brown at all
DULL = np.array([0, -0.62, 1, 0])  # green above 0.62 of red: dry leaves are redder
SMOOTH = np.array([0, 0.045, 0, -1])  # no scales, no veins
PROOFS = np.array([ENOUGH, DULL, SMOOTH])
PROOF_MARGINS = np.array([0.008, 0.002, 0.002])
DOUBT = 1200.0  # logit lost for each unit that a proof stays below its margin
CONFIDENCE = 2.5  # logit when no proof is missing


def ripple_taps() -> np.ndarray:
    """Difference of two normalised Gaussians over the mean of R, G and B: [1, 3, 9, 9]."""
    distance = np.arange(-4, 5) ** 2
    rows = [np.exp(-distance / (2 * sigma**2)) for sigma in RIPPLE_SIGMAS]
    narrow, wide = (np.outer(row, row) / row.sum() ** 2 for row in rows)
    return np.tile((narrow - wide) / 3, (1, 3, 1, 1))


def classification() -> bytes:
    graph = Graph("fece_check")
    crop = graph.input("input", [1, 3, CROP, CROP])
    half = graph.add("AveragePool", crop, kernel_shape=[2, 2], strides=[2, 2])
    colour = graph.conv(half, np.diag(DEVIATION), MEAN)  # back to 0..1
    # The deep brown part, by the segmentation's own tests.
    waste = CLASSES.index("solid waste")
    lacking = graph.add("Relu", graph.conv(colour, -TESTS[:, :3], 0.5 - TESTS[:, 3]))
    brown = graph.clip(graph.conv(lacking, -2.0 * NEEDS[waste : waste + 1], [1.0]), 0, 1)
    # Fine light-dark changes of either sign; repeated edges keep the crop's border out of it.
    border = graph.constant([0, 0, 4, 4] * 2, np.int64)
    framed = graph.add("Pad", colour, border, mode="edge")
    ripple = graph.add("Abs", graph.conv(framed, ripple_taps()))
    red_green = graph.conv(colour, [[1, 0, 0], [0, 1, 0]])
    seen = graph.add("Mul", graph.add("Concat", red_green, ripple, axis=1), brown)
    means = graph.add("GlobalAveragePool", graph.add("Concat", brown, seen, axis=1))
    means = graph.add("Flatten", means)
    # Every proof that is missing lowers one logit and lifts the other.
    doubts = graph.gemm(means, -DOUBT * PROOFS, DOUBT * PROOF_MARGINS)
    sides = np.outer([1, -1], np.ones(len(PROOFS)))
    graph.gemm(graph.add("Relu", doubts), sides, [-CONFIDENCE, CONFIDENCE], named="output")
    graph.output("output", [1, len(VERDICTS)])
    return graph.serialise({"names": str(dict(enumerate(VERDICTS))), "task": "classify"})


if __name__ == "__main__":
    FILES = {"dirt-seg.onnx": segmentation(), "fece-check.onnx": classification()}
    sys.exit(deliver.run(__doc__.splitlines()[0], Path(__file__).parent, FILES))
