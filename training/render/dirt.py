"""Dirt of every class: each kind is a function that makes one piece of it."""

from collections.abc import Callable

import cv2
import numpy as np

from .noise import (
    Image,
    Rng,
    Size,
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
from .shapes import (
    depth,
    dome,
    ellipse,
    empty,
    envelope,
    fixed,
    main_parts,
    polygon,
    puddle,
    spline,
    stroke,
    tube,
    wander,
)
from .sprite import Sprite

WHITE = np.ones(3, np.float32)


def square(reach: float) -> Size:
    side = int(2 * reach) + 8
    return side, side


def flat(size: Size, one: Image) -> Image:
    return np.broadcast_to(one, (*size[::-1], 3)).astype(np.float32)


def tinted(tint: Image, strength: Image) -> Image:
    """A film that takes light away toward `tint`."""
    return 1 - (1 - tint) * np.clip(strength, 0, 1)[..., None]


# ---- Liquid spill -------------------------------------------------------------------------------


def highlights(rng: Rng, cover: Image, deep: Image) -> Image:
    """What every wet surface shows of lamps and windows: arcs along its rim, spots within."""
    size = cover.shape[::-1]
    x, y = coordinates(size, (size[0] / 2, size[1] / 2))
    angle, facing = np.arctan2(y, x), rng.uniform(-np.pi, np.pi)
    turn = np.abs(np.mod(angle - facing + np.pi, 2 * np.pi) - np.pi)
    seam = np.exp(-(((deep - rng.uniform(3, 6)) / rng.uniform(1.2, 2.5)) ** 2))
    shine = seam * smoothstep(0, 0.4, rng.uniform(0.6, 1.3) - turn)
    reach = float(deep.max())
    middle = np.argwhere(deep >= 0.5 * reach)[:, ::-1]
    for _ in range(int(rng.integers(1, 4))):
        at = middle[rng.integers(len(middle))]
        u, v = turned(*coordinates(size, tuple(at)), facing)
        long, short = reach * rng.uniform(0.3, 0.6), reach * rng.uniform(0.12, 0.25)
        spot = 1 - np.hypot(u / short, v / long) + 0.25 * smooth_noise(rng, size, 12)
        shine = np.maximum(shine, smoothstep(0, 0.3, spot) * rng.uniform(0.75, 1))
    return (shine * smoothstep(1, 3, deep)).astype(np.float32)


def liquid(rng: Rng, inside: Image, tint: Image, clear: float) -> Sprite:
    """A wet surface over what `inside` (positive) covers; `clear` 1 hides nothing of the floor."""
    cover = smoothstep(0, 0.05, inside)
    deep = depth(cover)
    thick = 1 - np.exp(-deep / rng.uniform(4, 14))
    height = blur(thick, 1.5) * rng.uniform(2, 7)
    height += smooth_noise(rng, inside.shape[::-1], 40) * rng.uniform(0, 1.5) * cover
    rim = np.exp(-((deep - 2) ** 2) / 6) * cover
    film = (
        tinted(tint, cover * (0.55 + 0.45 * thick)) * (1 - rng.uniform(0.05, 0.35) * rim)[..., None]
    )
    gloss = cover * rng.uniform(0.25, 0.9)
    opacity = cover * (1 - clear) * (0.6 + 0.4 * thick)
    mask = main_parts(cover > 0.5)
    shine = highlights(rng, cover, deep) * rng.uniform(0.75, 1)
    surface = mix(flat(inside.shape[::-1], tint), WHITE, shine)
    return Sprite(mask, np.maximum(opacity, shine), surface, film, height, gloss, 0.5)


def water(rng: Rng) -> Sprite:
    """Clear, or nearly: it darkens what it wets, and mirrors."""
    reach = log_uniform(rng, 60, 150)
    inside = puddle(rng, square(reach * 1.15), reach, rng.uniform(0.05, 0.3))
    tint = colour(rng, (0, 360), (0, 0.2), (0.45, 0.8))
    return liquid(rng, inside, tint, 1.0)


def drink(rng: Rng) -> Sprite:
    """Coffee, juice, wine, lemonade."""
    reach = log_uniform(rng, 55, 150)
    inside = puddle(rng, square(reach * 1.15), reach, rng.uniform(0.05, 0.35))
    hue = rng.choice([(15, 35), (30, 60), (340, 375), (180, 230), (0, 360)])
    tint = colour(rng, tuple(hue), (0.2, 0.95), (0.15, 0.95))
    return liquid(rng, inside, tint, rng.choice([0.1, 0.4, 0.8]))


def sauce(rng: Rng) -> Sprite:
    """Thick: stands high, sometimes dragged into streaks."""
    reach = log_uniform(rng, 50, 120)
    size = square(reach * 1.3)
    inside = puddle(rng, size, reach, rng.uniform(0.1, 0.35))
    if rng.random() < 0.5:
        inside = dragged(rng, inside)
    tint = colour(rng, tuple(rng.choice([(0, 14), (40, 55), (80, 120)])), (0.5, 0.95), (0.45, 0.9))
    sprite = liquid(rng, inside, tint, 0.0)
    lumps = fractal_noise(rng, size, 20, 3) * rng.uniform(0.5, 3)
    sprite.height = blur(dome(sprite.opacity, rng.uniform(6, 16)), 2) + lumps * sprite.opacity
    sprite.colour = sprite.colour * (1 + 0.08 * lumps)[..., None]
    return sprite


def dragged(rng: Rng, inside: Image) -> Image:
    """Smeared along a direction, thinning out in streaks."""
    size = inside.shape[::-1]
    x, y = turned(*coordinates(size, (size[0] / 2, size[1] / 2)), rng.uniform(0, 2 * np.pi))
    reach = size[0] * rng.uniform(0.3, 0.48)
    streaks = cv2.remap(
        smooth_noise(rng, (size[0] * 2, size[1] * 2), (120, 5)),
        x + size[0],
        y + size[1],
        cv2.INTER_LINEAR,
    )
    smear = (
        0.35 * (1 - x / reach)
        - np.abs(y) / (reach * 0.9)
        + 0.3 * streaks * np.clip(x / reach, 0, 1)
    )
    return np.maximum(inside, np.where(x > 0, np.minimum(smear, 0.15), -1))


# ---- Dried stain --------------------------------------------------------------------------------


def stain_tint(rng: Rng) -> Image:
    kind = rng.random()
    if kind < 0.65:
        return colour(rng, (15, 42), (0.25, 0.8), (0.35, 0.75))
    if kind < 0.85:
        return colour(rng, (0, 360), (0, 0.2), (0.3, 0.65))
    return colour(rng, (0, 360), (0.3, 0.8), (0.35, 0.75))


def stained(rng: Rng, strength: Image, mask: Image) -> Sprite:
    """A matt film."""
    size = strength.shape[::-1]
    tint = stain_tint(rng)
    blotches = 1 + rng.uniform(0, 0.35) * fractal_noise(rng, size, rng.uniform(15, 60), 4)
    strength = np.clip(strength * blotches, 0, 1).astype(np.float32)
    return Sprite(
        mask, strength * rng.uniform(0, 0.2), flat(size, tint * 0.8), tinted(tint, strength)
    )


def dried_puddle(rng: Rng) -> Sprite:
    """What ran out and dried: a film with a dark seam, drops around it."""
    reach = log_uniform(rng, 50, 130)
    size = square(reach * 1.25)
    inside = puddle(rng, size, reach, rng.uniform(0.1, 0.45))
    for _ in range(int(rng.integers(0, 14))):
        away, angle = reach * rng.uniform(0.5, 1.1), rng.uniform(0, 2 * np.pi)
        x, y = coordinates(
            size, (size[0] / 2 + away * np.cos(angle), size[1] / 2 + away * np.sin(angle))
        )
        inside = np.maximum(inside, 0.5 - np.hypot(x, y) / log_uniform(rng, 3, 18))
    soft = rng.uniform(0.03, 0.25)
    film = smoothstep(-0.02, soft, inside)
    seam = np.exp(-((depth(film) - 2.5) ** 2) / rng.uniform(3, 14)) * film * rng.uniform(0.3, 0.8)
    return stained(rng, film * rng.uniform(0.45, 0.75) + seam, main_parts(film > 0.4))


def cup_ring(rng: Rng) -> Sprite:
    """A cup's foot, sometimes more than one, and what dripped from it."""
    radius = log_uniform(rng, 36, 80)
    size = square(radius * 1.9)
    strength, mask = empty(size), np.zeros(size[::-1], bool)
    for _ in range(int(rng.integers(1, 3))):
        centre = np.array(size) / 2 + rng.uniform(-0.6, 0.6, 2) * radius
        x, y = coordinates(size, tuple(centre))
        distance = np.hypot(x, y) + 2 * smooth_noise(rng, size, 30)
        ring = np.exp(-np.abs((distance - radius) / rng.uniform(2, 7)) ** 3)
        wear = np.clip(0.8 + 0.6 * smooth_noise(rng, size, radius), 0.15, 1)
        inner = rng.choice([0, rng.uniform(0.1, 0.4)]) * (distance < radius)
        strength = np.maximum(strength, np.maximum(ring * wear, inner))
        mask |= distance < radius + 4
    return stained(rng, blur(strength, 0.8) * rng.uniform(0.5, 1), mask)


# ---- Crumbs and dust ----------------------------------------------------------------------------


def scatter(rng: Rng, size: Size, count: int, reach: float) -> Image:
    """Places about one or a few centres, denser in the middle."""
    middles = np.array(size) / 2 + rng.normal(0, reach * 0.22, (int(rng.integers(1, 3)), 2))
    spread = reach * rng.uniform(0.15, 0.28)
    return middles[rng.integers(0, len(middles), count)] + rng.normal(0, spread, (count, 2))


def grain(rng: Rng, at: Image, radius: float) -> Image:
    angles = np.sort(rng.uniform(0, 2 * np.pi, int(rng.integers(4, 8))))
    return at + radius * rng.uniform(0.6, 1.3, (len(angles), 1)) * np.stack(
        [np.cos(angles), np.sin(angles)], 1
    )


def crumbs(rng: Rng) -> Sprite:
    """Broken pieces of one thing: bread, biscuit, cereal, soil, grit."""
    reach = log_uniform(rng, 65, 135)
    size = square(reach)
    base = (
        colour(rng, (18, 48), (0.1, 0.75), (0.1, 0.95)) if rng.random() < 0.8 else any_colour(rng)
    )
    largest = log_uniform(rng, 5.5, 11)
    opacity, tone = empty(size), np.ones(size[::-1], np.float32)
    for at in scatter(rng, size, int(log_uniform(rng, 30, 130)), reach):
        outline = [fixed(grain(rng, at, largest * rng.uniform(0.25, 1)))]
        cv2.fillPoly(opacity, outline, 1.0, cv2.LINE_AA, 4)
        cv2.fillPoly(tone, outline, rng.uniform(0.65, 1.25), cv2.LINE_8, 4)
    height = blur(opacity, 1) * largest * (1 + 0.4 * smooth_noise(rng, size, 3))
    return Sprite(
        main_parts(envelope(opacity, 6 + largest * 0.5, 0.08), 0.25),
        opacity,
        base * tone[..., None],
        None,
        height,
        None,
        largest * 0.5,
    )


def dust(rng: Rng) -> Sprite:
    """A grey felt of fluff, thin at its border."""
    reach = log_uniform(rng, 55, 115)
    size = square(reach * 1.2)
    inside = puddle(rng, size, reach, rng.uniform(0.3, 0.6))
    fluff = np.clip(0.6 + 0.5 * fractal_noise(rng, size, 9, 3, 0.8), 0, 1)
    body = smoothstep(-0.05, rng.uniform(0.15, 0.5), inside)
    opacity = np.clip(body * fluff, 0, 1) * rng.uniform(0.6, 0.95)
    base = colour(rng, (0, 360), (0, 0.15), (0.3, 0.85))
    tone = 1 + 0.15 * smooth_noise(rng, size, 3)
    return Sprite(
        main_parts(blur(opacity, 3) > 0.2),
        opacity,
        base * tone[..., None],
        None,
        blur(opacity, 2) * rng.uniform(2, 9),
        None,
        rng.uniform(0, 4),
    )


# ---- Hair ---------------------------------------------------------------------------------------


def hair_colour(rng: Rng) -> Image:
    if rng.random() < 0.7:
        return colour(
            rng, (10, 42), (0.1, 0.65), tuple(rng.choice([(0.03, 0.2), (0.2, 0.5), (0.5, 0.9)]))
        )
    return colour(rng, (0, 360), (0, 0.06), (0.05, 1))


def strands(rng: Rng, size: Size, count: int, length: float, bend: float, spread: float) -> Image:
    opacity = empty(size)
    for _ in range(count):
        start = np.array(size) / 2 + rng.normal(0, spread, 2)
        knots = wander(rng, start, length * rng.uniform(0.5, 1.2), bend, 7)
        layer = spline(knots, 6)
        stroke(opacity, layer, float(rng.uniform(0.6, 1)), 1 if rng.random() < 0.8 else 2)
    return opacity


def tangle(rng: Rng) -> Sprite:
    """Long hair in loops."""
    reach = log_uniform(rng, 50, 110)
    size = square(reach * 1.2)
    count = int(log_uniform(rng, 12, 70))
    opacity = strands(
        rng, size, count, reach * rng.uniform(1.2, 3), rng.uniform(2.5, 9), reach * 0.18
    )
    return combed(rng, opacity, 0.045)


def tuft(rng: Rng) -> Sprite:
    """An animal's short hair in a flock."""
    reach = log_uniform(rng, 45, 95)
    size = square(reach * 1.25)
    count = int(log_uniform(rng, 40, 220))
    opacity = strands(
        rng,
        size,
        count,
        reach * rng.uniform(0.5, 1.1),
        rng.uniform(1, 3),
        reach * rng.uniform(0.12, 0.3),
    )
    return combed(rng, opacity, 0.09)


def combed(rng: Rng, opacity: Image, least: float) -> Sprite:
    size = opacity.shape[::-1]
    opacity = np.clip(blur(opacity, rng.uniform(0.3, 0.7)) * rng.uniform(0.9, 1.5), 0, 1)
    tone = 1 + 0.25 * smooth_noise(rng, size, 4)
    return Sprite(
        main_parts(envelope(opacity, 5, least), 0.1),
        opacity,
        hair_colour(rng) * tone[..., None],
        None,
        None,
        None,
        1.5,
    )


# ---- Mud track ----------------------------------------------------------------------------------


def muddy(rng: Rng, cover: Image) -> Sprite:
    """Mud where `cover` has it, thin and broken in places."""
    size = cover.shape[::-1]
    wear = fractal_noise(rng, size, rng.uniform(12, 60), 4, 0.6)
    cover = cover * smoothstep(-rng.uniform(0.7, 1.5), rng.uniform(-0.3, 0.15), wear)
    cover = np.clip(blur(cover, rng.uniform(0.4, 1.2)), 0, 1)
    base = colour(rng, (16, 42), (0.25, 0.65), (0.15, 0.45))
    if rng.random() < 0.15:
        base = colour(rng, (0, 360), (0, 0.12), (0.08, 0.35))
    tone = 1 + 0.2 * fractal_noise(rng, size, 12, 3)
    height = cover * rng.uniform(0, 2) * (1 + 0.5 * smooth_noise(rng, size, 5))
    return Sprite(
        main_parts(envelope(cover, 4, 0.22), 0.06),
        cover * rng.uniform(0.85, 1),
        base * tone[..., None],
        None,
        height.astype(np.float32),
        None,
        rng.uniform(0, 2),
    )


def sole_outline(length: float, width: float) -> Image:
    """A shoe's sole, heel first, along x about the middle."""
    along = (
        np.array([-1, -0.85, -0.4, 0.0, 0.45, 0.8, 1.0, 0.8, 0.45, 0.0, -0.4, -0.85]) * length / 2
    )
    across = (
        np.array([0, 0.6, 0.62, 0.6, 0.95, 0.75, 0, -0.75, -1.0, -0.68, -0.62, -0.6]) * width / 2
    )
    knots = np.stack([along, across], 1)
    return spline(np.concatenate([knots, knots[:1]]), 6)


def tread(rng: Rng, x: Image, y: Image) -> Image:
    """Profile of a sole or a tyre: bars, chevrons, blocks or dots."""
    pitch = log_uniform(rng, 8, 24)
    wave = np.sin(x * 2 * np.pi / pitch + np.abs(y) * rng.choice([0, 0.15, 0.3]))
    if rng.random() < 0.5:
        wave = wave * np.sin(y * 2 * np.pi / pitch / rng.uniform(0.8, 1.6))
    return smoothstep(-0.3, 0.2, wave + rng.uniform(-0.2, 0.4))


def shoe_print(rng: Rng) -> Sprite:
    length = log_uniform(rng, 110, 220)
    size, angle = square(length * 0.56), rng.uniform(0, 2 * np.pi)
    turn = np.array([[np.cos(angle), np.sin(angle)], [-np.sin(angle), np.cos(angle)]])
    outline = sole_outline(length, length * rng.uniform(0.3, 0.4)) @ turn + np.array(size) / 2
    x, y = turned(*coordinates(size, (size[0] / 2, size[1] / 2)), angle)
    cover = polygon(size, outline) * (0.15 + 0.85 * tread(rng, x, y))
    gap = rng.uniform(-0.2, -0.05) * length
    if rng.random() < 0.6:
        cover = cover * smoothstep(0, 3, np.abs(x - gap) - length * 0.03)
    return muddy(rng, cover)


def paw_prints(rng: Rng) -> Sprite:
    """One paw, four toes over a pad; sometimes a second one beside it."""
    span = log_uniform(rng, 64, 115)
    size = square(span * 1.7)
    cover = empty(size)
    facing = rng.uniform(0, 2 * np.pi)
    for number in range(int(rng.integers(1, 3))):
        angle = facing + rng.normal(0, 0.2)
        ahead = np.array([np.cos(angle), np.sin(angle)])
        centre = (
            np.array(size) / 2
            + (number - 0.5) * span * 0.95 * np.array([-ahead[1], ahead[0]])
            + ahead * rng.normal(0, span * 0.3)
        )
        ellipse(
            cover, centre - 0.1 * span * ahead, (span * 0.26, span * 0.34), np.degrees(angle), 1.0
        )
        for toe in (-0.75, -0.25, 0.25, 0.75):
            way = np.array([np.cos(angle + toe), np.sin(angle + toe)])
            ellipse(
                cover,
                centre + way * span * 0.48,
                (span * 0.17, span * 0.12),
                np.degrees(angle + toe),
                1.0,
            )
    return muddy(rng, cover)


def wheel_track(rng: Rng) -> Sprite:
    """A tyre's or a trolley's band, straight or bent."""
    length, width = log_uniform(rng, 130, 280), log_uniform(rng, 32, 75)
    size = square(length * 0.62)
    path = spline(wander(rng, (size[0] / 2, size[1] / 2), length, rng.uniform(0, 0.8), 6), 4)
    x, y = along_path(size, path)
    cover = smoothstep(0, 2, width / 2 - np.abs(y)) * (0.1 + 0.9 * tread(rng, x, y))
    ends = smoothstep(0, width, x) * smoothstep(0, width, length - x)
    return muddy(rng, cover * ends)


def along_path(size: Size, path: Image) -> tuple[Image, Image]:
    """For each pixel, how far along the path its nearest point is, and how far beside it."""
    x, y = coordinates(size)
    best = np.full(size[::-1], 1e9, np.float32)
    along, beside, run = empty(size), empty(size), 0.0
    for start, end in zip(path, path[1:]):
        length = float(np.hypot(*(end - start))) + 1e-6
        unit = (end - start) / length
        dx, dy = x - np.float32(start[0]), y - np.float32(start[1])
        forward = np.clip(dx * unit[0] + dy * unit[1], 0, length).astype(np.float32)
        distance = np.hypot(dx - forward * unit[0], dy - forward * unit[1])
        nearer = distance < best
        side = np.sign(dy * unit[0] - dx * unit[1])
        best[nearer] = distance[nearer]
        along[nearer], beside[nearer] = forward[nearer] + run, (distance * side)[nearer]
        run += length
    return along, beside


# ---- Solid waste --------------------------------------------------------------------------------


def waste_colour(rng: Rng) -> Image:
    if rng.random() < 0.95:
        return colour(rng, (18, 40), (0.4, 0.75), (0.2, 0.48))
    return colour(rng, (20, 90), (0.1, 0.5), (0.08, 0.4))


def waste(rng: Rng, cover: Image, relief: Image, thick: float) -> Sprite:
    """Dull, lumpy and cracked or smooth and moist."""
    size = cover.shape[::-1]
    lumps = fractal_noise(rng, size, thick * rng.uniform(0.5, 1.3), 4, 0.6)
    height = relief + lumps * thick * rng.uniform(0.03, 0.16) * cover
    hollow = np.clip((blur(height, thick * 0.5 + 1) - height) / thick, -0.3, 1)
    tone = 1 + rng.uniform(0.02, 0.14) * lumps - rng.uniform(0.3, 0.8) * hollow
    gloss = cover * rng.choice([0.0, 0.05, rng.uniform(0.05, 0.5)])
    surface = waste_colour(rng) * np.clip(tone, 0.2, 1.6)[..., None]
    return Sprite(
        main_parts(cover > 0.5, 0.02),
        np.clip(cover, 0, 1),
        surface.astype(np.float32),
        None,
        height.astype(np.float32),
        gloss.astype(np.float32),
        thick * rng.uniform(0.4, 0.9),
    )


def coil(rng: Rng) -> Sprite:
    """A heap laid in turns, narrowing to its tip."""
    outer, turns = log_uniform(rng, 28, 62), rng.uniform(1.2, 3)
    thick = outer * rng.uniform(0.35, 0.6)
    size = square((outer + thick) * 1.5)
    t = np.linspace(0, 1, 90)
    angle, reach = rng.uniform(0, 6.3) + 2 * np.pi * turns * t, outer * (1 - t) ** rng.uniform(
        0.6, 1
    )
    lean = rng.normal(0, 0.3, 2) * outer
    path = np.stack([np.cos(angle), rng.uniform(0.75, 1) * np.sin(angle)], 1) * reach[:, None]
    path += np.array(size) / 2 + t[:, None] * lean
    radii = thick * (1 - 0.6 * t) * np.minimum(1, 0.45 + 9 * t)
    cover, relief = empty(size), empty(size)
    for part in np.array_split(np.arange(90), max(2, round(turns * 2))):
        layer, top = tube(size, path[part], radii[part])
        raised = top + t[part].mean() * thick * 1.6 * (layer > 0)
        cover, relief = np.maximum(cover, layer), np.where(
            layer > 0.5, np.maximum(raised, relief * 0.6), relief
        )
    return waste(rng, cover, relief.astype(np.float32), thick)


def logs(rng: Rng) -> Sprite:
    """One to four sausages beside and across each other."""
    thick = log_uniform(rng, 17, 30)
    length = max(70, thick * rng.uniform(3, 8))
    size = square(length * 0.8 + thick * 2)
    cover, relief = empty(size), empty(size)
    for number in range(int(rng.integers(1, 5))):
        start = np.array(size) / 2 + rng.normal(0, thick * 0.9, 2)
        path = spline(wander(rng, start, length * rng.uniform(0.6, 1), rng.uniform(0.3, 1.8), 5), 8)
        t = np.linspace(0, 1, len(path))
        radii = (
            thick
            * (0.85 + 0.15 * np.sin(t * rng.uniform(5, 20) + rng.uniform(0, 6)))
            * np.minimum(1, 0.4 + 6 * np.minimum(t, 1 - t))
        )
        layer, top = tube(size, path, radii * rng.uniform(0.7, 1))
        cover = np.maximum(cover, layer)
        relief = np.where(layer > 0.5, np.maximum(top + number * thick * 0.3, relief * 0.7), relief)
    return waste(rng, cover, relief.astype(np.float32), thick)


def pellets(rng: Rng) -> Sprite:
    """Round or longish droppings close together."""
    radius = log_uniform(rng, 11, 18)
    reach = radius * rng.uniform(3.5, 5.5)
    size = square(reach + 2 * radius)
    cover = empty(size)
    for at in np.array(size) / 2 + rng.normal(0, reach * 0.36, (int(rng.integers(7, 18)), 2)):
        axes = radius * rng.uniform(0.7, 1.2), radius * rng.uniform(0.6, 0.9)
        ellipse(cover, at, axes, rng.uniform(0, 180), 1.0)
    sprite = waste(rng, cover, blur(dome(cover, radius), 1), radius)
    sprite.mask = main_parts(envelope(cover, radius * 0.7 + 2, 0.3), 0.1)
    return sprite


def soft_pile(rng: Rng) -> Sprite:
    """Spread out flat, with folds."""
    reach = log_uniform(rng, 46, 95)
    size = square(reach * 1.15)
    cover = smoothstep(0, 0.05, puddle(rng, size, reach, rng.uniform(0.1, 0.3)))
    thick = reach * rng.uniform(0.2, 0.4)
    x, y = turned(*coordinates(size), rng.uniform(0, np.pi))
    folds = np.sin(
        (x + 12 * smooth_noise(rng, size, reach * 0.6))
        * 2
        * np.pi
        / (thick * rng.uniform(0.6, 1.4))
    )
    relief = blur(dome(cover, thick), 2) + rng.uniform(0, 0.12) * thick * folds * cover
    return waste(rng, cover, relief.astype(np.float32), thick)


CLASSES = ("liquid spill", "dried stain", "crumbs and dust", "hair", "mud track", "solid waste")
DIRT: dict[str, tuple[Callable[[Rng], Sprite], ...]] = {
    "liquid spill": (water, drink, drink, sauce),
    "dried stain": (dried_puddle, dried_puddle, cup_ring),
    "crumbs and dust": (crumbs, crumbs, dust),
    "hair": (tangle, tuft),
    "mud track": (shoe_print, paw_prints, wheel_track),
    "solid waste": (coil, logs, logs, pellets, soft_pile),
}


def make_dirt(rng: Rng, name: str) -> Sprite:
    kinds = DIRT[name]
    return kinds[rng.integers(len(kinds))](rng)
