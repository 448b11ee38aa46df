"""Things that lie on floors and are no dirt."""

from collections.abc import Callable

import cv2
import numpy as np

from . import floors
from .dirt import flat, sole_outline, square
from .noise import (
    Image,
    Rng,
    any_colour,
    blur,
    colour,
    coordinates,
    fractal_noise,
    log_uniform,
    mix,
    smooth_noise,
    smoothstep,
    turned,
)
from .shapes import dome, ellipse, empty, polygon, spline, stroke, tube, wander
from .sprite import Sprite


def solid(cover: Image, surface: Image, height: Image | None, gloss: float, lift: float) -> Sprite:
    return Sprite(
        cover > 0.5,
        cover,
        surface.astype(np.float32),
        None,
        None if height is None else height.astype(np.float32),
        cover * gloss,
        lift,
    )


def strong_colour(rng: Rng) -> Image:
    return colour(rng, (0, 360), (0.5, 1), (0.35, 0.95))


def rotated(points: Image, angle: float) -> Image:
    cosine, sine = np.cos(angle), np.sin(angle)
    return points @ np.array([[cosine, sine], [-sine, cosine]])


def cable(rng: Rng) -> Sprite:
    """A lead in bends, of one colour, sometimes with a plug."""
    length, radius = log_uniform(rng, 200, 700), log_uniform(rng, 1.8, 6)
    knots = wander(rng, (0, 0), length, rng.uniform(1, 5), 8)
    knots = knots - knots.min(axis=0) + 3 * radius + 20
    size = tuple((knots.max(axis=0) + 3 * radius + 20).astype(int).tolist())
    path = spline(knots, max(12, int(length / 8 / 2)))
    cover, relief = tube(size, path, np.full(len(path), radius))
    base = (
        colour(rng, (0, 360), (0, 0.15), (0.03, 0.95)) if rng.random() < 0.8 else strong_colour(rng)
    )
    if rng.random() < 0.4:
        box = cv2.boxPoints((path[0], (radius * 8, radius * 5), rng.uniform(0, 180)))
        cover = np.maximum(cover, polygon(size, box))
        relief = np.maximum(relief, dome(polygon(size, box), radius * 2))
    return solid(cover, flat(size, base), relief, rng.uniform(0, 0.3), radius * 1.5)


def sock(rng: Rng) -> Sprite:
    """A bent soft tube, knitted, with cuff, heel and stripes."""
    width = log_uniform(rng, 24, 62)
    size = square(width * 2.6)
    leg, foot = width * rng.uniform(1.2, 2), width * rng.uniform(1.4, 2)
    angle = rng.uniform(0, 2 * np.pi)
    bend = angle + rng.choice([-1, 1]) * rng.uniform(0.3, 1.8)
    knots = np.array(
        [
            [-np.cos(angle) * leg, -np.sin(angle) * leg],
            [0, 0],
            [np.cos(bend) * foot, np.sin(bend) * foot],
        ]
    )
    path = spline(knots - knots.mean(axis=0) + np.array(size) / 2, 30)
    cover, relief = tube(size, path, width / 2 * rng.uniform(0.9, 1.1, len(path)))
    x, y = turned(*coordinates(size), angle)
    knit = 0.08 * np.sin(y * 2 * np.pi / rng.uniform(2.5, 5)) + 0.06 * smooth_noise(rng, size, 3)
    surface = flat(size, any_colour(rng))
    if rng.random() < 0.5:
        stripes = smoothstep(0, 0.2, np.sin(x * 2 * np.pi / log_uniform(rng, 8, 60)))
        surface = mix(surface, any_colour(rng), stripes)
    crumple = fractal_noise(rng, size, width * 0.6, 3) * width * 0.06
    return solid(
        cover, surface * (1 + knit)[..., None], blur(relief, 2) * 0.7 + crumple, 0, width * 0.25
    )


def brick(rng: Rng) -> Sprite:
    """A toy building brick with studs."""
    unit, across, along = log_uniform(rng, 9, 26), int(rng.integers(1, 3)), int(rng.integers(1, 5))
    size = square(unit * (along + across) * 0.62)
    angle, middle = rng.uniform(0, np.pi), np.array(size) / 2
    half = np.array([along, across]) * unit / 2
    corners = np.array([[-1, -1], [1, -1], [1, 1], [-1, 1]]) * half
    cover = polygon(size, rotated(corners, angle) + middle)
    studs = empty(size)
    for i in range(along):
        for j in range(across):
            at = np.array([(i + 0.5) * unit, (j + 0.5) * unit]) - half
            ellipse(studs, rotated(at[None], angle)[0] + middle, (unit * 0.3,) * 2, 0, 1.0)
    relief = dome(cover, 2) * 2 + blur(studs, 0.8) * unit * 0.3
    return solid(cover, flat(size, strong_colour(rng)), relief, rng.uniform(0.1, 0.5), unit * 0.8)


def ball(rng: Rng) -> Sprite:
    radius = log_uniform(rng, 12, 75)
    size = square(radius * 1.1)
    cover = empty(size)
    ellipse(cover, np.array(size) / 2, (radius, radius), 0, 1.0)
    surface = flat(size, any_colour(rng) if rng.random() < 0.4 else strong_colour(rng))
    if rng.random() < 0.5:
        x, y = turned(*coordinates(size, (size[0] / 2, size[1] / 2)), rng.uniform(0, 6))
        bands = smoothstep(0, 0.1, np.sin(x * 6 / radius + (y / radius) ** 2))
        surface = mix(surface, any_colour(rng), bands)
    relief = dome(cover, radius) * rng.uniform(0.4, 0.9)
    return solid(cover, surface, blur(relief, 1), rng.uniform(0, 0.6), radius * 0.8)


def leaf(rng: Rng) -> Sprite:
    """Green, yellow, red or withered; lobed or plain; veins from a midrib."""
    length = log_uniform(rng, 30, 110)
    size, angle = square(length * 0.75), rng.uniform(0, 2 * np.pi)
    x, y = turned(*coordinates(size, (size[0] / 2, size[1] / 2)), angle)
    t = np.clip(x / length + 0.5, 0, 1)
    lobes = 1 + rng.choice([0, rng.uniform(0.15, 0.5)]) * np.sin(t * 2 * np.pi * rng.integers(3, 7))
    width = length * rng.uniform(0.18, 0.4) * np.sin(np.pi * t ** rng.uniform(0.6, 1.2)) * lobes
    bend = y + 0.1 * length * rng.normal() * np.sin(np.pi * t)
    cover = smoothstep(-0.8, 0.8, width - np.abs(bend)) * (np.abs(x) < length / 2)
    stalk = smoothstep(-0.8, 0.8, 1.6 - np.abs(bend)) * (x > 0) * (x < length * 0.68)
    cover = np.maximum(cover, stalk)
    veins = np.exp(-((bend / 1.3) ** 2)) + 0.6 * np.exp(
        -((np.sin((x - np.abs(bend) * 0.8) * np.pi / (length / 7)) * length / 22) ** 2)
    )
    base = colour(rng, (15, 115), (0.35, 0.9), (0.2, 0.75))
    tone = 1 + 0.15 * fractal_noise(rng, size, length / 3, 4) + rng.uniform(-0.3, 0.3) * veins
    relief = blur(cover, 2) * 3 + 2 * smooth_noise(rng, size, length / 4) - veins
    return solid(
        cover,
        base * np.clip(tone, 0.3, 1.7)[..., None],
        relief,
        rng.uniform(0, 0.15),
        length * 0.05,
    )


def shoe(rng: Rng) -> Sprite:
    """Seen from above: sole, upper, the dark opening, laces."""
    length = log_uniform(rng, 140, 330)
    size, angle = square(length * 0.58), rng.uniform(0, 2 * np.pi)
    middle = np.array(size) / 2
    place = lambda points: rotated(points, angle) + middle  # noqa: E731
    sole = polygon(size, place(sole_outline(length, length * 0.38)))
    upper = polygon(size, place(sole_outline(length * 0.94, length * 0.34)))
    opening = polygon(size, place(sole_outline(length * 0.42, length * 0.24) - [length * 0.2, 0]))
    surface = mix(flat(size, any_colour(rng)), any_colour(rng), upper)
    surface = mix(surface, any_colour(rng) * 0.3, blur(opening, 1.5))
    laces = empty(size)
    for step in np.linspace(0.05, 0.28, int(rng.integers(3, 7))):
        ends = np.array([[step * length, -length * 0.09], [(step + 0.03) * length, length * 0.09]])
        stroke(laces, place(ends), 1.0, length * 0.018)
    surface = mix(surface, any_colour(rng), laces)
    relief = dome(sole, length * 0.14) * 0.7 - 12 * blur(opening, 3) + 1.5 * laces
    return solid(sole, surface, blur(relief, 1.5), rng.uniform(0, 0.25), length * 0.09)


def cone(rng: Rng) -> Sprite:
    """Of a conifer: overlapping scales, dark between them."""
    length, slim = log_uniform(rng, 36, 110), rng.uniform(0.4, 0.75)
    size, angle = square(length * 0.62), rng.uniform(0, 2 * np.pi)
    x, y = turned(*coordinates(size, (size[0] / 2, size[1] / 2)), angle)
    body = np.clip(1 - (2 * x / length) ** 2, 0, 1) ** 0.6 * length * slim / 2
    cover = smoothstep(-1, 1, body - np.abs(y) + 1.5 * smooth_noise(rng, size, 4)) * (
        np.abs(x) < length / 2
    )
    pitch = length / rng.uniform(5, 9)
    scales = np.abs(np.sin((x + y) * np.pi / pitch) * np.sin((x - y) * np.pi / pitch))
    base = colour(rng, (18, 34), (0.3, 0.65), (0.25, 0.55))
    tone = 0.35 + 0.9 * scales + 0.1 * smooth_noise(rng, size, 3)
    relief = dome(cover, length * slim / 2) + 4 * scales
    return solid(cover, base * tone[..., None], relief, 0, length * 0.2)


def stone(rng: Rng) -> Sprite:
    """Smooth or broken pebbles, one or a few."""
    radius = log_uniform(rng, 8, 45)
    size, count = square(radius * 2.4), int(rng.integers(1, 4))
    cover = empty(size)
    for _ in range(count):
        angles = np.linspace(0, 2 * np.pi, int(rng.integers(6, 11)), endpoint=False)
        reach = radius * rng.uniform(0.65, 1.1, (len(angles), 1)) * [1, rng.uniform(0.6, 1)]
        ring = reach * np.stack([np.cos(angles), np.sin(angles)], 1)
        ring = (
            rotated(ring, rng.uniform(0, 6))
            + np.array(size) / 2
            + rng.normal(0, 0.6 * radius * (count > 1), 2)
        )
        cover = np.maximum(cover, polygon(size, spline(np.concatenate([ring, ring[:1]]), 6)))
    base = colour(rng, (0, 60), (0, 0.35), (0.2, 0.85))
    tone = 1 + rng.uniform(0.03, 0.2) * fractal_noise(rng, size, radius, 5, 0.7)
    relief = (
        dome(cover, radius * 0.8) * 0.8 + fractal_noise(rng, size, radius * 0.8, 2) * radius * 0.08
    )
    return solid(cover, base * tone[..., None], blur(relief, 1), rng.uniform(0, 0.2), radius * 0.4)


def paper(rng: Rng) -> Sprite:
    """A sheet, a receipt, a book, a card: straight edges, perhaps print."""
    half = np.array([log_uniform(rng, 20, 110), log_uniform(rng, 14, 80)])
    size, angle = square(float(np.hypot(*half)) * 1.05), rng.uniform(0, np.pi)
    corners = np.array([[-1, -1], [1, -1], [1, 1], [-1, 1]]) * half
    cover = polygon(size, rotated(corners, angle) + np.array(size) / 2)
    surface = flat(
        size, colour(rng, (0, 360), (0, 0.15), (0.7, 1)) if rng.random() < 0.6 else any_colour(rng)
    )
    x, y = turned(*coordinates(size, (size[0] / 2, size[1] / 2)), angle)
    if rng.random() < 0.6:
        lines = smoothstep(0.2, 0.5, np.sin(y * 2 * np.pi / rng.uniform(5, 14)))
        words = smooth_noise(rng, size, (rng.uniform(4, 12), 4)) > -0.1
        surface = mix(
            surface, any_colour(rng) * 0.5, lines * words * (np.abs(x) < half[0] * 0.8) * 0.7
        )
    relief = smooth_noise(rng, size, 60) * rng.uniform(0, 10)
    return solid(cover, surface, relief, rng.uniform(0, 0.2), rng.uniform(0.5, 8))


def disc(rng: Rng) -> Sprite:
    """A coin, a cap, a bowl, a furniture's foot: round, perhaps hollow."""
    radius = log_uniform(rng, 8, 110)
    size = square(radius * 1.1)
    cover, inner = empty(size), empty(size)
    middle = np.array(size) / 2
    ellipse(cover, middle, (radius, radius), 0, 1.0)
    ellipse(inner, middle, (radius * rng.uniform(0.5, 0.9),) * 2, 0, 1.0)
    surface = mix(flat(size, any_colour(rng)), any_colour(rng) * rng.uniform(0.5, 1), inner)
    relief = dome(cover, radius * 0.2) + rng.choice([-1, 0, 1]) * blur(
        dome(inner, radius * 0.25), 1
    )
    return solid(cover, surface, relief, rng.uniform(0, 0.6), radius * rng.uniform(0.05, 0.5))


def clutter(rng: Rng) -> Sprite:
    """Anything manufactured: joined rounded boxes of a few colours."""
    reach = log_uniform(rng, 20, 150)
    size = square(reach * 1.5)
    cover, surface = empty(size), flat(size, any_colour(rng))
    for _ in range(int(rng.integers(1, 4))):
        half = reach * rng.uniform(0.15, 0.7, 2)
        at = np.array(size) / 2 + rng.normal(0, reach * 0.25, 2)
        part = polygon(size, cv2.boxPoints((at.tolist(), (2 * half).tolist(), rng.uniform(0, 180))))
        part = smoothstep(0.4, 0.6, blur(part, half.min() * rng.uniform(0.05, 0.5)))
        surface = mix(surface, any_colour(rng), part)
        cover = np.maximum(cover, part)
    relief = dome(cover, reach * rng.uniform(0.05, 0.4))
    return solid(
        cover, surface, blur(relief, 1), rng.uniform(0, 0.6), reach * rng.uniform(0.05, 0.4)
    )


def mat(rng: Rng) -> Sprite:
    """A piece of another floor: a mat, a cloth, a board."""
    half = np.array([log_uniform(rng, 60, 260), log_uniform(rng, 50, 200)])
    size, angle = square(float(np.hypot(*half)) * 1.02), rng.uniform(0, np.pi)
    corners = np.array([[-1, -1], [1, -1], [1, 1], [-1, 1]]) * half
    cover = polygon(size, rotated(corners, angle) + np.array(size) / 2)
    style = rng.choice(["carpet", "rug", "tiled", "seamless"])
    surface = floors.render_floor(rng, size, str(style))
    return solid(cover, surface, dome(cover, 3), 0, rng.uniform(1, 8))


def ribbon(rng: Rng) -> Sprite:
    """A thin line that is no hair: tape, a ruler, a stick, a scratch, a seam."""
    length, width = log_uniform(rng, 60, 420), log_uniform(rng, 1.5, 22)
    size = square(length * 0.52 + width)
    cover = empty(size)
    path = spline(wander(rng, (size[0] / 2, size[1] / 2), length, rng.choice([0, 0.05, 0.4]), 5), 6)
    stroke(cover, path, 1.0, width)
    surface = any_colour(rng) * (1 + 0.1 * smooth_noise(rng, size, 6))[..., None]
    return solid(
        cover, surface, dome(cover, width / 2), rng.uniform(0, 0.4), rng.uniform(0, width * 0.5)
    )


DISTRACTORS: dict[str, Callable[[Rng], Sprite]] = {
    "cable": cable,
    "sock": sock,
    "toy brick": brick,
    "ball": ball,
    "leaf": leaf,
    "shoe": shoe,
    "cone": cone,
    "stone": stone,
    "paper": paper,
    "disc": disc,
    "clutter": clutter,
    "mat": mat,
    "ribbon": ribbon,
}
# What the classifier has to tell from faeces most of all.
LOOK_ALIKES = ("leaf", "cone", "stone", "sock", "toy brick", "ball", "clutter")
