"""Floors: a division into cells, a material for each cell, joints between them."""

from collections.abc import Callable

import cv2
import numpy as np

from . import lattice
from .lattice import Lattice

from .noise import (
    Image,
    Rng,
    Size,
    floor_colour,
    blur,
    colour,
    coordinates,
    fractal_noise,
    log_uniform,
    mix,
    smooth_noise,
    smoothstep,
    spectrum_noise,
    turned,
)

# ---- Parts of a floor ---------------------------------------------------------------------------


def by_cell(rng: Rng, cells: Lattice, spread: float) -> Image:
    """A random number of deviation `spread` for each cell."""
    return (rng.standard_normal(4096) * spread).astype(np.float32)[cells.cell % 4096]


def wandering(rng: Rng, cells: Lattice, texture: Image) -> Image:
    """`texture` laid on every cell along its own direction, from a place of its own."""
    height, width = texture.shape[:2]
    shifts = rng.integers(0, 4096, (2, 4096)).astype(np.float32)
    u = folded(cells.along + shifts[0][cells.cell % 4096], width - 1)
    v = folded(cells.across + shifts[1][cells.cell % 4096], height - 1)
    return cv2.remap(texture, u.astype(np.float32), v.astype(np.float32), cv2.INTER_LINEAR)


def folded(value: Image, length: int) -> Image:
    """Runs to and fro between 0 and `length`: a texture continues in its mirror image."""
    return length - np.abs(np.mod(value, 2 * length) - length)


def joints(rng: Rng, floor: Image, cells: Lattice, width: float, filling: Image) -> Image:
    """Gaps between cells, darker in their depth, and cells' worn or lit edges."""
    ragged = cells.border + smooth_noise(rng, floor.shape[1::-1], 5) * min(width, 2) * 0.4
    edge = 1 - smoothstep(width, width + rng.uniform(1, 6), ragged)
    floor = floor * (1 - rng.uniform(-0.08, 0.25) * edge)[..., None]
    return mix(
        floor,
        filling * (1 + 0.1 * smooth_noise(rng, floor.shape[1::-1], 3))[..., None],
        1 - smoothstep(width - 1, width + 0.5, ragged),
    )


def between(one: Image, other: Image, share: Image) -> Image:
    return one + (other - one) * np.clip(share, -0.3, 1.3)[..., None]


def size_of(cells: Lattice) -> Size:
    return cells.cell.shape[::-1]


# ---- Materials ----------------------------------------------------------------------------------


def wood_colours(rng: Rng) -> tuple[Image, Image]:
    """Light and dark of one kind of wood: pale, honey, red, walnut, greyed, painted."""
    light = colour(rng, (14, 42), (0.08, 0.65), (0.3, 0.92))
    if rng.random() < 0.15:
        light = floor_colour(rng)
    return light, light * rng.uniform(0.45, 0.85) * colour(rng, (15, 40), (0, 0.25), (0.9, 1))


def wood(rng: Rng, cells: Lattice) -> Image:
    """Fibres along the cell, wavy growth rings, here and there a knot."""
    size = (1100, 700)
    fibres = smooth_noise(rng, size, (rng.uniform(40, 160), rng.uniform(1.2, 2.5)))
    fibres += smooth_noise(rng, size, (rng.uniform(120, 400), rng.uniform(4, 9)))
    _, y = coordinates(size)
    warp = smooth_noise(rng, size, (260, 60)) * rng.uniform(4, 24)
    knots = knot_field(rng, size, int(rng.integers(0, 7)))
    rings = np.sin((y + warp + 40 * knots) * (2 * np.pi / log_uniform(rng, 9, 34)))
    tone = rng.uniform(0.05, 0.25) * fibres + rng.uniform(0, 0.2) * rings + 0.6 * knots**3
    tone = wandering(rng, cells, tone.astype(np.float32)) + by_cell(rng, cells, 0.2)
    return between(*wood_colours(rng), 0.4 + tone)


def knot_field(rng: Rng, size: Size, count: int) -> Image:
    field = np.zeros(size[::-1], np.float32)
    for _ in range(count):
        x, y = coordinates(size, (rng.uniform(0, size[0]), rng.uniform(0, size[1])))
        across = log_uniform(rng, 5, 18)
        field += np.exp(-((x / (across * rng.uniform(1, 2.6))) ** 2 + (y / across) ** 2))
    return np.clip(field, 0, 1)


def clouds(rng: Rng, cells: Lattice) -> Image:
    """Stone, cement or glaze in soft patches of two colours."""
    base = floor_colour(rng) * 0.6 + 0.4 * colour(rng, (20, 50), (0, 0.25), (0.2, 1))
    other = base * rng.uniform(0.6, 1.1) + rng.normal(0, 0.04, 3).astype(np.float32)
    cloud = fractal_noise(rng, (800, 800), log_uniform(rng, 40, 400), 5, rng.uniform(0.45, 0.8))
    share = wandering(rng, cells, cloud) * rng.uniform(0.1, 0.8)
    return between(base, other, 0.5 + share + by_cell(rng, cells, 0.15))


def glaze(rng: Rng, cells: Lattice) -> Image:
    """One colour, a little different from tile to tile."""
    shades = 1 + by_cell(rng, cells, rng.uniform(0, 0.08))
    return floor_colour(rng) * shades[..., None] * np.ones(3, np.float32)


def two_glazes(rng: Rng, cells: Lattice) -> Image:
    """Tiles of two colours, mixed at random."""
    second = by_cell(rng, cells, 1) > rng.uniform(-0.6, 0.9)
    return mix(glaze(rng, cells), glaze(rng, cells), second.astype(np.float32))


def veins(rng: Rng, cells: Lattice) -> Image:
    """Marble: thin wandering lines through clouds."""
    size = (900, 900)
    ridge = 1 - np.abs(fractal_noise(rng, size, log_uniform(rng, 120, 420), 5, 0.6))
    line = np.clip(ridge, 0, 1) ** log_uniform(rng, 6, 40)
    vein = floor_colour(rng)
    return mix(clouds(rng, cells), vein * np.ones_like(vein), wandering(rng, cells, line))


def speckle(rng: Rng, cells: Lattice) -> Image:
    """Granite, linoleum: dense grains of a few colours."""
    floor = glaze(rng, cells)
    for _ in range(int(rng.integers(2, 5))):
        grain = smooth_noise(rng, (700, 700), log_uniform(rng, 1.5, 9))
        share = smoothstep(*sorted(rng.uniform(0.3, 1.1, 2)), grain) * rng.uniform(0.2, 0.9)
        floor = mix(floor, floor_colour(rng), wandering(rng, cells, share.astype(np.float32)))
    return floor


def motif(rng: Rng, cells: Lattice) -> Image:
    """A printed ornament that is the same on every tile."""
    waves = 2 * np.pi / log_uniform(rng, 30, 200)
    u, v = np.abs(np.sin(cells.along * waves / 2)), np.abs(np.sin(cells.across * waves / 2))
    pattern = np.zeros_like(u)
    for _ in range(4):
        a, b, phase = rng.uniform(-4, 4, 3)
        pattern += np.cos(a * (u + v) + b * u * v + phase)
    floor = glaze(rng, cells)
    for level in np.sort(rng.uniform(-2, 2, int(rng.integers(1, 4)))):
        floor = mix(floor, floor_colour(rng), smoothstep(level, level + 0.12, pattern))
    return floor


def chips(rng: Rng, cells: Lattice) -> Image:
    """Terrazzo: broken stone of several sizes and colours in cement."""
    floor, size = glaze(rng, cells), size_of(cells)
    for _ in range(3):
        pieces = lattice.slabs(rng, size, log_uniform(rng, 7, 38), 0.5)
        shown = smoothstep(0.5, 1.5, pieces.border - rng.uniform(0, 2)).astype(np.float32)
        shown *= by_cell(rng, pieces, 1) > rng.uniform(-0.3, 0.9)
        floor = mix(floor, two_glazes(rng, pieces), shown)
    return floor


def granules(rng: Rng, cells: Lattice) -> Image:
    """Cork: pressed grains from pale to dark brown."""
    pieces = lattice.slabs(rng, size_of(cells), log_uniform(rng, 6, 22), 0.5)
    base = colour(rng, (24, 34), (0.4, 0.6), (0.55, 0.75))
    tone = by_cell(rng, pieces, 0.2) - 0.4 * np.exp(-pieces.border)
    return base * (0.95 + tone + 0.4 * by_cell(rng, cells, 0.1))[..., None]


# ---- Whole floors -------------------------------------------------------------------------------

Material = Callable[[Rng, Lattice], Image]
Division = Callable[[Rng, Size], Lattice]


def laid(rng: Rng, size: Size, division: Division, material: Material, gap: float) -> Image:
    cells = division(rng, size)
    filling = floor_colour(rng) * rng.uniform(0.3, 1)
    return joints(rng, material(rng, cells), cells, gap, filling)


def tiled(rng: Rng, size: Size) -> Image:
    division = rng.choice([lattice.squares, lattice.squares, lattice.bricks, lattice.hexagons])
    material = rng.choice([clouds, glaze, two_glazes, veins, speckle, motif, wood])
    return laid(rng, size, division, material, log_uniform(rng, 0.8, 7))


def planks(rng: Rng, size: Size) -> Image:
    return laid(rng, size, lattice.boards, wood, log_uniform(rng, 0.6, 2.5))


def parquet(rng: Rng, size: Size) -> Image:
    return laid(rng, size, lattice.basket, wood, log_uniform(rng, 0.6, 2))


def paving(rng: Rng, size: Size) -> Image:
    return laid(rng, size, lattice.bricks, rng.choice([clouds, speckle]), log_uniform(rng, 2, 9))


def seamless(rng: Rng, size: Size) -> Image:
    """Poured or rolled out: no joints."""
    whole = lattice.bond(rng, size, 9000, 9000, 0)
    return rng.choice([clouds, speckle, veins, clouds])(rng, whole)


def concrete(rng: Rng, size: Size) -> Image:
    """Grey, blotchy, with pores, scratches and now and then a crack."""
    base = colour(rng, (0, 360), (0, 0.12), (0.25, 0.8))
    tone = spectrum_noise(rng, size, rng.uniform(0.9, 1.6)) * rng.uniform(0.03, 0.12)
    pores = smoothstep(1.1, 1.5, smooth_noise(rng, size, log_uniform(rng, 2, 6)))
    cracks = np.exp(-np.abs(fractal_noise(rng, size, 500, 6, 0.55)) * log_uniform(rng, 60, 400))
    dark = rng.uniform(0, 0.4) * pores + rng.choice([0, rng.uniform(0.1, 0.6)]) * cracks
    return base * (1 + tone - dark)[..., None]


def carpet(rng: Rng, size: Size) -> Image:
    """Pile: tufts, strokes lying one way or the other, mottled yarn."""
    x, y = lattice.slanted(rng, size)
    base, yarn = floor_colour(rng), floor_colour(rng)
    tuft = smooth_noise(rng, size, log_uniform(rng, 1.5, 6))
    rows = np.sin(y * 2 * np.pi / log_uniform(rng, 4, 14)) * np.sin(
        x * 2 * np.pi / log_uniform(rng, 4, 30)
    )
    strokes = fractal_noise(rng, size, log_uniform(rng, 60, 300), 3)
    tone = (
        rng.uniform(0.05, 0.25) * tuft
        + rng.uniform(0, 0.12) * rows
        + rng.uniform(0, 0.15) * strokes
    )
    floor = mix(
        base * np.ones((*size[::-1], 3), np.float32),
        yarn,
        rng.uniform(0, 0.6)
        * smoothstep(-0.2, 0.8, smooth_noise(rng, size, log_uniform(rng, 2, 8))),
    )
    return floor * (1 + tone)[..., None]


def rug(rng: Rng, size: Size) -> Image:
    """Woven stripes or checks over a carpet's pile."""
    x, y = lattice.slanted(rng, size)
    floor = carpet(rng, size)
    for _ in range(int(rng.integers(1, 4))):
        line = rng.choice([0, 1])
        wave = np.sin(
            (x if line else y) * 2 * np.pi / log_uniform(rng, 20, 260) + rng.uniform(0, 6)
        )
        stripe = smoothstep(*np.sort(rng.uniform(-0.9, 0.9, 2) + [0, 0.05]), wave)
        floor = mix(floor, floor * 0.4 + 0.6 * floor_colour(rng), stripe * rng.uniform(0.3, 1))
    return floor


def photographic(rng: Rng, size: Size) -> Image:
    """No floor: a field with a photograph's spectrum in each colour, partly in common."""
    exponent, contrast = rng.uniform(0.7, 1.7), rng.uniform(0.05, 0.22)
    common = spectrum_noise(rng, size, exponent)
    planes = [0.8 * common + 0.35 * spectrum_noise(rng, size, exponent) for _ in range(3)]
    return floor_colour(rng) + contrast * np.dstack(planes)


def dead_leaves(rng: Rng, size: Size) -> Image:
    """No floor: shapes of all sizes covering each other, as edges in photographs do."""
    floor = floor_colour(rng) * np.ones((*size[::-1], 3), np.float32)
    for _ in range(int(rng.integers(60, 300))):
        radius = min(8 * rng.random() ** -0.6, 260)
        centre = rng.uniform(0, size[0]), rng.uniform(0, size[1])
        axes = (2 * radius, 2 * radius * rng.uniform(0.3, 1))
        shade = tuple(map(float, floor_colour(rng)))
        box = (centre, axes, rng.uniform(0, 180))
        if rng.random() < 0.5:
            cv2.ellipse(floor, box, shade, -1, cv2.LINE_AA)
        else:
            cv2.fillPoly(floor, [cv2.boxPoints(box).astype(np.int32)], shade, cv2.LINE_AA)
    texture = spectrum_noise(rng, size, 1.0) * rng.uniform(0.01, 0.06)
    return blur(floor, rng.uniform(0, 2)) * (1 + texture)[..., None]


def patchwork(rng: Rng, size: Size) -> Image:
    """Two floors meeting at a line: a threshold, a mat's edge, a wall's foot."""
    one, other = (FLOORS[name](rng, size) for name in rng.choice(list(PLAIN_STYLES), 2))
    x, y = turned(
        *coordinates(size, (size[0] * rng.uniform(0.2, 0.8), size[1] * rng.uniform(0.2, 0.8))),
        rng.uniform(0, 2 * np.pi),
    )
    inside = smoothstep(-1, 1, x if rng.random() < 0.6 else np.minimum(x, y))
    shadow = 1 - rng.uniform(0, 0.5) * np.exp(-np.abs(x) / log_uniform(rng, 3, 30))
    floor = mix(one, other, inside) * shadow[..., None]
    if rng.random() < 0.5:
        strip = 1 - smoothstep(0, 1.5, np.abs(x) - log_uniform(rng, 3, 40))
        floor = mix(floor, floor_colour(rng), strip)
    return floor


def herringbone(rng: Rng, size: Size) -> Image:
    return laid(rng, size, lattice.herringbone, wood, log_uniform(rng, 0.6, 2))


def flagstones(rng: Rng, size: Size) -> Image:
    return laid(rng, size, lattice.slabs, rng.choice([clouds, veins]), log_uniform(rng, 2, 9))


def terrazzo(rng: Rng, size: Size) -> Image:
    return laid(rng, size, lattice.squares, chips, log_uniform(rng, 0.6, 3))


def cork(rng: Rng, size: Size) -> Image:
    return laid(rng, size, lattice.squares, granules, log_uniform(rng, 0.6, 2))


FLOORS: dict[str, Callable[[Rng, Size], Image]] = {
    "tiled": tiled,
    "planks": planks,
    "parquet": parquet,
    "paving": paving,
    "seamless": seamless,
    "concrete": concrete,
    "carpet": carpet,
    "rug": rug,
    "photographic": photographic,
    "dead_leaves": dead_leaves,
    "patchwork": patchwork,
    "herringbone": herringbone,
    "flagstones": flagstones,
    "terrazzo": terrazzo,
    "cork": cork,
}
# Styles that no training picture shows.
HELD_OUT = ("herringbone", "flagstones", "terrazzo", "cork")
PLAIN_STYLES = ("tiled", "planks", "parquet", "paving", "seamless", "concrete", "carpet", "rug")
# How often training shows each style.
TRAINED = {
    "tiled": 6,
    "planks": 5,
    "parquet": 2,
    "paving": 2,
    "seamless": 3,
    "concrete": 3,
    "carpet": 3,
    "rug": 2,
    "photographic": 2,
    "dead_leaves": 1,
    "patchwork": 5,
}


def choose_style(rng: Rng, weights: dict[str, float]) -> str:
    shares = np.array(list(weights.values()), float)
    return str(rng.choice(list(weights), p=shares / shares.sum()))


def calmed(rng: Rng, floor: Image) -> Image:
    """Less contrast, where there is more than people choose for what they walk on."""
    most = rng.uniform(0.03, 0.1)
    spread = float(floor.mean(axis=2).std())
    mean = floor.mean(axis=(0, 1))
    return mean + (floor - mean) * min(1.0, most / (spread + 1e-6))


def render_floor(rng: Rng, size: Size, style: str) -> Image:
    """The bare floor's own colours, without light."""
    floor = calmed(rng, np.clip(FLOORS[style](rng, size), 0.01, 1))
    return np.clip(floor, 0.01, 1).astype(np.float32)
