"""Outlines and reliefs that things are made of."""

import cv2
import numpy as np

from .noise import Image, Rng, Size, blur, coordinates, fractal_noise, smoothstep

SHIFT = 4  # bits behind the point in drawn coordinates


def fixed(points: Image) -> Image:
    return np.rint(np.asarray(points) * 2**SHIFT).astype(np.int32)


def empty(size: Size) -> Image:
    return np.zeros(size[::-1], np.float32)


def spline(knots: Image, steps: int = 12) -> Image:
    """A smooth path through the knots, rows of equal length (Catmull-Rom)."""
    points = np.concatenate([knots[:1], knots, knots[-1:]]).astype(np.float64)
    t = np.linspace(0, 1, steps, endpoint=False)[:, None]
    pieces = []
    for p0, p1, p2, p3 in zip(points, points[1:], points[2:], points[3:]):
        cubic, square = 3 * (p1 - p2) + p3 - p0, 2 * p0 - 5 * p1 + 4 * p2 - p3
        pieces.append(p1 + 0.5 * t * (p2 - p0 + t * (square + t * cubic)))
    return np.concatenate([*pieces, knots[-1:]])


def wander(rng: Rng, start: tuple[float, float], length: float, bend: float, steps: int) -> Image:
    """A path that changes its direction by about `bend` radians over its length."""
    turns = np.cumsum(rng.normal(0, bend / np.sqrt(steps), steps)) + rng.normal(0, bend / 2)
    angles = rng.uniform(0, 2 * np.pi) + turns
    moves = np.stack([np.cos(angles), np.sin(angles)], 1) * (length / steps)
    path = np.cumsum(moves, axis=0)
    return path - path.mean(axis=0) + np.asarray(start)


def stroke(canvas: Image, path: Image, value, thickness: float) -> None:
    cv2.polylines(canvas, [fixed(path)], False, value, max(1, round(thickness)), cv2.LINE_AA, SHIFT)


def polygon(size: Size, points: Image) -> Image:
    """The inside of a closed outline: 1, with soft edges."""
    canvas = empty(size)
    cv2.fillPoly(canvas, [fixed(points)], 1.0, cv2.LINE_AA, SHIFT)
    return canvas


def ellipse(canvas: Image, centre, axes, angle: float, value) -> None:
    """`axes` are the half axes, `angle` in degrees."""
    cv2.ellipse(
        canvas,
        tuple(fixed(centre).tolist()),
        tuple(fixed(axes).tolist()),
        float(angle),
        0,
        360,
        value,
        -1,
        cv2.LINE_AA,
        SHIFT,
    )


def depth(cover: Image) -> Image:
    """Distance of each pixel from the outside."""
    return cv2.distanceTransform((cover > 0.5).astype(np.uint8), cv2.DIST_L2, 5)


def dome(cover: Image, radius: float) -> Image:
    """A relief that rises from the border like a ball's side and is flat `radius` inside."""
    inside = np.minimum(depth(cover), radius)
    return np.sqrt(np.maximum(inside * (2 * radius - inside), 0))


def tube(size: Size, path: Image, radii: Image) -> tuple[Image, Image]:
    """Cover and relief of a rope of changing thickness along a path."""
    cover = empty(size)
    for point, radius in zip(path, radii):
        cv2.circle(
            cover, tuple(fixed(point).tolist()), int(fixed(radius)), 1.0, -1, cv2.LINE_AA, SHIFT
        )
    return cover, blur(dome(cover, float(np.max(radii))), 1.0)


def puddle(rng: Rng, size: Size, reach: float, ragged: float) -> Image:
    """Joined round blobs about the middle: positive inside, about 0.5 at most."""
    total = empty(size)
    middle = np.array(size) / 2
    for number in range(int(rng.integers(1, 6))):
        away = 0 if number == 0 else reach * rng.uniform(0.2, 0.75)
        angle, axes = rng.uniform(0, 2 * np.pi), reach * rng.uniform(0.25, 0.6, 2)
        x, y = coordinates(size, tuple(middle + away * np.array([np.cos(angle), np.sin(angle)])))
        total += np.exp2(-((x / axes[0]) ** 2) - (y / axes[1]) ** 2)
    noise = fractal_noise(rng, size, max(reach * 0.6, 4), 4)
    x, y = coordinates(size, tuple(middle))
    rim = smoothstep(0.75, 1.0, np.hypot(x, y) / middle.min())  # nothing is cut at the canvas
    return total - 0.5 + ragged * noise * np.sqrt(total) - 2 * rim


def envelope(cover: Image, reach: float, least: float) -> Image:
    """The closed outline round scattered small things; those far from others stay out."""
    near = blur(np.minimum(cover, 1), reach) > least
    side = int(2 * reach) | 1
    disc = cv2.getStructuringElement(cv2.MORPH_ELLIPSE, (side, side))
    return cv2.morphologyEx(near.astype(np.uint8), cv2.MORPH_CLOSE, disc) > 0


def main_parts(mask: Image, share: float = 0.04) -> Image:
    """The mask without pieces smaller than `share` of it."""
    count, labels, stats, _ = cv2.connectedComponentsWithStats(mask.astype(np.uint8))
    areas = stats[:, cv2.CC_STAT_AREA].copy()
    areas[0] = 0
    return (areas > share * max(areas.sum(), 1))[labels] if count > 1 else mask
