"""The two networks: segmentation in the YOLOv8 layout, and a small two-class classifier.

Segmentation, for pictures [N, 3, S, S] (R, G, B in 0..1; S a multiple of 32), has one anchor a cell
on each of three grids (strides 8, 16, 32; row-major, finest first). It looks at how a place differs
from the rest of its picture: the first layers are normalised by the picture's own mean and spread,
so that light and the floor's colour matter little. Each anchor gives
    sides          4 x 16 logits: how far left, top, right and bottom of its box lie from its
                   centre, as a distribution over 0..15 strides
    classes        one logit a class
    coefficients   32 weights of the prototypes; their sum is the logit of its mask
and all share the prototypes [N, 32, S/4, S/4].
"""

import math
from typing import NamedTuple

import torch
from torch import Tensor, nn
from torch.nn import functional

STRIDES = (8, 16, 32)
BINS = 16  # of the distribution over a side's distance
COEFFICIENTS = 32
WIDTHS = (16, 16, 32, 64, 128)  # planes after each halving; halves of 8 suit vector units
PRIOR_OBJECTS = 5.0  # a picture's expected objects, for the first class scores
PRIOR_SHARE = 0.02  # of the cells, that one class takes


class Raw(NamedTuple):
    """What the head says, before decoding; A anchors of all three grids, in order."""

    sides: Tensor  # [N, 4 * BINS, A] logits, bins of one side next to each other
    classes: Tensor  # [N, classes, A] logits
    coefficients: Tensor  # [N, COEFFICIENTS, A]
    prototypes: Tensor  # [N, COEFFICIENTS, S / 4, S / 4]
    cells: Tensor  # [N, classes, S / 8, S / 8] logits of what each cell of the finest grid shows


class ConvBlock(nn.Sequential):
    """Convolution, batch normalisation, x * sigmoid(x); the size stays at stride 1."""

    def __init__(self, planes_in: int, planes: int, kernel: int = 3, stride: int = 1) -> None:
        super().__init__(
            nn.Conv2d(planes_in, planes, kernel, stride, kernel // 2, bias=False),
            nn.BatchNorm2d(planes, eps=1e-3, momentum=0.03),
            nn.SiLU(inplace=True),
        )


class MixedBlock(nn.Module):
    """A halving 3x3 convolution; half of its planes is normalised by the picture's own mean and
    spread, half by those of all pictures."""

    def __init__(self, planes_in: int, planes: int) -> None:
        super().__init__()
        half = planes // 2
        self.own = nn.Sequential(
            nn.Conv2d(planes_in, half, 3, 2, 1, bias=False),
            nn.InstanceNorm2d(half, eps=1e-3, affine=True),
            nn.SiLU(inplace=True),
        )
        self.common = ConvBlock(planes_in, planes - half, stride=2)

    def forward(self, x: Tensor) -> Tensor:
        return torch.cat([self.own(x), self.common(x)], dim=1)


class Bottleneck(nn.Module):
    """Two 3x3 convolutions, with a way round them where `residual`."""

    def __init__(self, planes: int, residual: bool) -> None:
        super().__init__()
        self.body = nn.Sequential(ConvBlock(planes, planes), ConvBlock(planes, planes))
        self.residual = residual

    def forward(self, x: Tensor) -> Tensor:
        return x + self.body(x) if self.residual else self.body(x)


class C2f(nn.Module):
    """Half of the planes runs through a chain of bottlenecks; every link's result is joined."""

    def __init__(self, planes_in: int, planes: int, links: int, residual: bool) -> None:
        super().__init__()
        half = planes // 2
        self.half = half
        self.open = ConvBlock(planes_in, 2 * half, 1)
        self.chain = nn.ModuleList(Bottleneck(half, residual) for _ in range(links))
        self.close = ConvBlock((2 + links) * half, planes, 1)

    def forward(self, x: Tensor) -> Tensor:
        parts = list(self.open(x).split(self.half, dim=1))
        for link in self.chain:
            parts.append(link(parts[-1]))
        return self.close(torch.cat(parts, dim=1))


class SPPF(nn.Module):
    """Three max-pools one after another, joined: every cell sees far around."""

    def __init__(self, planes: int) -> None:
        super().__init__()
        self.open = ConvBlock(planes, planes // 2, 1)
        self.pool = nn.MaxPool2d(5, stride=1, padding=2)
        self.close = ConvBlock(4 * (planes // 2), planes, 1)

    def forward(self, x: Tensor) -> Tensor:
        parts = [self.open(x)]
        for _ in range(3):
            parts.append(self.pool(parts[-1]))
        return self.close(torch.cat(parts, dim=1))


class Backbone(nn.Module):
    """Planes of strides 8, 16 and 32."""

    def __init__(self, widths: tuple[int, ...]) -> None:
        super().__init__()
        stem, quarter, fine, middle, coarse = widths
        self.to_fine = nn.Sequential(
            nn.InstanceNorm2d(3, eps=1e-3),
            MixedBlock(3, stem),
            MixedBlock(stem, quarter),
            C2f(quarter, quarter, 1, True),
            MixedBlock(quarter, fine),
            C2f(fine, fine, 2, True),
        )
        self.to_middle = nn.Sequential(MixedBlock(fine, middle), C2f(middle, middle, 2, True))
        self.to_coarse = nn.Sequential(
            ConvBlock(middle, coarse, stride=2), C2f(coarse, coarse, 1, True), SPPF(coarse)
        )

    def forward(self, x: Tensor) -> tuple[Tensor, Tensor, Tensor]:
        fine = self.to_fine(x)
        middle = self.to_middle(fine)
        return fine, middle, self.to_coarse(middle)


class Neck(nn.Module):
    """Coarse planes flow up to the finer grids, then fine ones back down."""

    def __init__(self, fine: int, middle: int, coarse: int) -> None:
        super().__init__()
        self.up_middle = C2f(coarse + middle, middle, 1, False)
        self.up_fine = C2f(middle + fine, fine, 1, False)
        self.halve_fine = ConvBlock(fine, fine, stride=2)
        self.down_middle = C2f(fine + middle, middle, 1, False)
        self.halve_middle = ConvBlock(middle, middle, stride=2)
        self.down_coarse = C2f(middle + coarse, coarse, 1, False)

    def forward(self, fine: Tensor, middle: Tensor, coarse: Tensor) -> list[Tensor]:
        up = self.up_middle(torch.cat([enlarge(coarse), middle], 1))
        low = self.up_fine(torch.cat([enlarge(up), fine], 1))
        mid = self.down_middle(torch.cat([self.halve_fine(low), up], 1))
        return [low, mid, self.down_coarse(torch.cat([self.halve_middle(mid), coarse], 1))]


def enlarge(x: Tensor) -> Tensor:
    return functional.interpolate(x, scale_factor=2.0, mode="nearest")


class Branch(nn.ModuleList):
    """One task of the head on all three grids: [N, planes, A]."""

    def __init__(self, widths: list[int], hidden: int, planes: int) -> None:
        super().__init__(
            nn.Sequential(
                ConvBlock(width, hidden), ConvBlock(hidden, hidden), nn.Conv2d(hidden, planes, 1)
            )
            for width in widths
        )

    def forward(self, levels: list[Tensor]) -> Tensor:
        grids = [grid(level) for grid, level in zip(self, levels)]
        return torch.cat([grid.view(grid.shape[0], grid.shape[1], -1) for grid in grids], dim=2)


class Prototypes(nn.Sequential):
    def __init__(self, planes_in: int, hidden: int) -> None:
        super().__init__(
            ConvBlock(planes_in, hidden),
            nn.ConvTranspose2d(hidden, hidden, 2, 2),
            ConvBlock(hidden, hidden),
            ConvBlock(hidden, COEFFICIENTS, 1),
        )


class Segmenter(nn.Module):
    def __init__(self, classes: int, widths: tuple[int, ...] = WIDTHS) -> None:
        super().__init__()
        levels = list(widths[2:])
        self.class_count = classes
        self.backbone = Backbone(widths)
        self.neck = Neck(*levels)
        self.sides = Branch(levels, max(32, levels[0]), 4 * BINS)
        self.classes = Branch(levels, levels[0], classes)
        self.coefficients = Branch(levels, 32, COEFFICIENTS)
        self.prototypes = Prototypes(levels[0], levels[0])
        self.cells = nn.Conv2d(levels[0], classes, 1)  # only for training
        self.set_priors()

    def set_priors(self) -> None:
        """First guesses: boxes of a few strides, the score of a random anchor and of a cell."""
        nn.init.constant_(self.cells.bias, math.log(PRIOR_SHARE))
        for stride, sides, classes in zip(STRIDES, self.sides, self.classes):
            nn.init.constant_(sides[-1].bias, 1.0)
            anchors = (320 / stride) ** 2  # of the usual input; only a guess depends on it
            nn.init.constant_(
                classes[-1].bias, math.log(PRIOR_OBJECTS / anchors / len(classes[-1].bias))
            )

    def forward(self, images: Tensor) -> Raw:
        levels = self.neck(*self.backbone(images))
        return Raw(
            self.sides(levels),
            self.classes(levels),
            self.coefficients(levels),
            self.prototypes(levels[0]),
            self.cells(levels[0]),
        )


def anchor_grid(side: int) -> tuple[Tensor, Tensor]:
    """Centres [A, 2] (x, y) in network pixels and strides [A, 1] for a picture `side` wide."""
    centres, strides = [], []
    for stride in STRIDES:
        line = (torch.arange(side // stride) + 0.5) * stride
        y, x = torch.meshgrid(line, line, indexing="ij")
        centres.append(torch.stack([x.flatten(), y.flatten()], dim=1))
        strides.append(torch.full((x.numel(), 1), float(stride)))
    return torch.cat(centres), torch.cat(strides)


def side_distances(sides: Tensor) -> Tensor:
    """Expected distances in strides, [N, 4, A], of side logits [N, 4 * BINS, A]."""
    batch, _, anchors = sides.shape
    shares = sides.view(batch, 4, BINS, anchors).softmax(dim=2)
    bins = torch.arange(BINS, dtype=sides.dtype, device=sides.device).view(1, 1, BINS, 1)
    return (shares * bins).sum(dim=2)


def corner_boxes(sides: Tensor, centres: Tensor, strides: Tensor) -> Tensor:
    """Corners x1, y1, x2, y2 in network pixels, [N, A, 4], of side logits."""
    distances = side_distances(sides).transpose(1, 2) * strides
    near, far = distances.split(2, dim=2)
    return torch.cat([centres - near, centres + far], dim=2)


class Classifier(nn.Module):
    """[N, 3, 224, 224], normalised, to the logits of "not faeces" and "faeces".

    A box is mostly enlarged to that size, so 112 x 112 show as much. As above, the first layers
    look at how a place differs from the rest."""

    def __init__(self) -> None:
        super().__init__()
        self.features = nn.Sequential(
            nn.AvgPool2d(2, count_include_pad=False),  # counting pads is a node of its own in ONNX
            MixedBlock(3, 16),
            MixedBlock(16, 32),
            C2f(32, 32, 1, True),
            MixedBlock(32, 64),
            C2f(64, 64, 2, True),
            ConvBlock(64, 128, stride=2),
            C2f(128, 128, 1, True),
        )
        self.drop = nn.Dropout(0.2)
        self.verdict = nn.Linear(128, 2)

    def forward(self, images: Tensor) -> Tensor:
        return self.verdict(self.drop(self.features(images).mean(dim=(2, 3))))


def parameter_count(network: nn.Module) -> int:
    return sum(parameter.numel() for parameter in network.parameters())
