"""How a floor is divided into boards, tiles or slabs."""

from typing import NamedTuple

import numpy as np

from .noise import Image, Rng, Size, coordinates, log_uniform, turned


class Lattice(NamedTuple):
    """For each pixel: which cell it belongs to, where in it, and how far from its border."""

    cell: Image  # int64, not negative; neighbours differ
    along: Image  # pixels along the cell's longer side
    across: Image
    border: Image  # pixels to the nearest joint


def hashed(*numbers: Image) -> Image:
    """Cell numbers from integer coordinates."""
    total = np.zeros_like(numbers[0])
    for prime, number in zip((73856093, 19349663, 83492791), numbers):
        total = total ^ (number * prime)
    return total & 0xFFFF


def slanted(rng: Rng, size: Size) -> tuple[Image, Image]:
    """Coordinates turned by an angle that floors are laid at, or by any."""
    angle = rng.choice([0.0, np.pi / 4, np.pi / 2, rng.uniform(0, np.pi)], p=[0.2, 0.1, 0.2, 0.5])
    x, y = coordinates(size, (rng.uniform(0, size[0]), rng.uniform(0, size[1])))
    return turned(x, y, angle + rng.normal(0, 0.03))


def rectangle(u: Image, v: Image, width: float, height: float) -> Image:
    """Distance to the border of a rectangle from a point in it."""
    return np.minimum(np.minimum(u, width - u), np.minimum(v, height - v))


def bond(rng: Rng, size: Size, width: float, height: float, shift: float | None) -> Lattice:
    """Rows of rectangles, each row moved by `shift` cells against the last; None: at random."""
    x, y = slanted(rng, size)
    row = np.floor(y / height).astype(np.int64)
    moves = rng.random(4096).astype(np.float32) if shift is None else np.arange(4096) * shift % 1
    x = x + (moves[row % 4096] * width).astype(np.float32)
    column = np.floor(x / width).astype(np.int64)
    u, v = x - column * np.float32(width), y - row * np.float32(height)
    return Lattice(hashed(row, column), u, v, rectangle(u, v, width, height))


def squares(rng: Rng, size: Size) -> Lattice:
    side = log_uniform(rng, 45, 420)
    return bond(rng, size, side, side * rng.choice([1, 1, 0.5]), rng.choice([0, 0, 0.5]))


def boards(rng: Rng, size: Size) -> Lattice:
    height = log_uniform(rng, 35, 190)
    return bond(rng, size, height * rng.uniform(4, 12), height, None)


def bricks(rng: Rng, size: Size) -> Lattice:
    height = log_uniform(rng, 30, 130)
    return bond(rng, size, height * rng.uniform(1.8, 3), height, rng.choice([0.5, 0.33]))


def basket(rng: Rng, size: Size) -> Lattice:
    """Square blocks of parallel strips, every second block turned by a right angle."""
    strips, side = int(rng.integers(3, 7)), log_uniform(rng, 110, 320)
    x, y = slanted(rng, size)
    row, column = (np.floor(value / side).astype(np.int64) for value in (y, x))
    u, v = x - column * np.float32(side), y - row * np.float32(side)
    upright = (row + column) % 2 == 1
    u, v = np.where(upright, v, u), np.where(upright, u, v)
    width = np.float32(side / strips)
    strip = np.floor(v / width).astype(np.int64)
    v = v - strip * width
    return Lattice(hashed(row, column, strip), u, v, rectangle(u, v, side, width))


def herringbone(rng: Rng, size: Size) -> Lattice:
    """Strips of 1 x n units: in a row of units, n belong to a lying strip, n to standing ones."""
    length, unit = int(rng.integers(3, 7)), log_uniform(rng, 30, 90)
    x, y = slanted(rng, size)
    i, j = (np.floor(value / unit).astype(np.int64) for value in (x, y))
    phase = (i - j) % (2 * length)
    lying = phase < length
    start_i = np.where(lying, i - phase, i)
    start_j = np.where(lying, j, j - (2 * length - 1 - phase))
    right, down = x - start_i * np.float32(unit), y - start_j * np.float32(unit)
    u, v = np.where(lying, right, down), np.where(lying, down, right)
    border = rectangle(u, v, length * unit, unit)
    return Lattice(hashed(start_i, start_j, lying.astype(np.int64)), u, v, border)


def slabs(rng: Rng, size: Size, side: float | None = None, jitter: float = 0.42) -> Lattice:
    """Irregular pieces: each pixel belongs to the nearest of scattered points."""
    side = side or log_uniform(rng, 70, 300)
    x, y = slanted(rng, size)
    column, row = (np.floor(value / side).astype(np.int64) for value in (x, y))
    offsets = rng.uniform(-jitter, jitter, (2, 256, 256)).astype(np.float32)
    first = np.full(x.shape, 1e9, np.float32)
    second, owner = first.copy(), np.zeros(x.shape, np.int64)
    for dy in (-1, 0, 1):
        for dx in (-1, 0, 1):
            i, j = column + dx, row + dy
            shift_x, shift_y = offsets[:, j % 256, i % 256]
            distance = np.hypot(x / side - i - 0.5 - shift_x, y / side - j - 0.5 - shift_y)
            second = np.minimum(second, np.maximum(first, distance))
            owner = np.where(distance < first, hashed(i, j), owner)
            first = np.minimum(first, distance)
    return Lattice(owner, x, y, (second - first) * np.float32(side / 2))


def hexagons(rng: Rng, size: Size) -> Lattice:
    """The nearest points of a triangular lattice are hexagons' middles."""
    side = log_uniform(rng, 40, 220)
    x, y = slanted(rng, size)
    step = np.float32([side, side * np.sqrt(3)])
    best, border = None, None
    for number, move in enumerate((0.0, 0.5)):
        i, j = np.rint(x / step[0] - move), np.rint(y / step[1] - move)
        u, v = x - (i + move) * step[0], y - (j + move) * step[1]
        reach = np.maximum(np.abs(u), np.abs(u) / 2 + np.abs(v) * np.float32(np.sqrt(0.75)))
        name = hashed(i.astype(np.int64), j.astype(np.int64), np.full(x.shape, number))
        if best is None:
            best, border = (name, u, v), side / 2 - reach
            continue
        nearer = side / 2 - reach > border
        best = tuple(np.where(nearer, new, old) for new, old in zip((name, u, v), best))
        border = np.maximum(border, side / 2 - reach)
    return Lattice(*best, border)
