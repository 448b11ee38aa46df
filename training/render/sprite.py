"""Things that lie on a floor, and how they are laid there."""

from dataclasses import dataclass, field
from typing import NamedTuple

import cv2
import numpy as np

from .noise import Image, Rng, blur, smooth_noise, smoothstep


@dataclass
class Sprite:
    """A thing by itself, seen from above, on a small canvas of its own.

    The floor's colour is multiplied by `film`, then covered with `colour` to `opacity`.
    """

    mask: Image  # bool: what the truth calls this thing
    opacity: Image
    colour: Image  # [h, w, 3]
    film: Image | None = None  # [h, w, 3], 1 is clear
    height: Image | None = None  # pixels above the floor, for its shading and its mirror
    gloss: Image | None = None  # share of what it mirrors
    lift: float = 0.0  # how far its shadow falls, in pixels


@dataclass
class Light:
    """Where light comes from, and what shining things mirror."""

    direction: Image  # unit vector toward it; z is up
    ambient: float
    mirrored: Image  # [h, w] of the whole canvas


@dataclass
class Canvas:
    """A floor with things on it, before light and camera."""

    image: Image
    light: Light
    brightness: Image | None = None  # of a photograph's own light, which new things take on
    gleam: Image = field(init=False)  # mirrored light, added last
    owners: Image = field(init=False)  # number of the thing that each pixel shows; 0 is floor

    def __post_init__(self) -> None:
        self.gleam = np.zeros(self.image.shape[:2], np.float32)
        self.owners = np.zeros(self.image.shape[:2], np.uint8)


def random_light(rng: Rng, size: tuple[int, int]) -> Light:
    angle, rise = rng.uniform(0, 2 * np.pi), rng.uniform(0.5, 1.3)
    direction = [np.cos(angle) * np.cos(rise), np.sin(angle) * np.cos(rise), np.sin(rise)]
    lamps = smooth_noise(rng, size, rng.uniform(60, 300)) + smooth_noise(rng, size, 500)
    windows = smoothstep(*np.sort(rng.uniform(0.1, 1.1, 2) + [0, 0.1]), lamps)
    return Light(np.float32(direction), rng.uniform(0.3, 0.75), windows * rng.uniform(0.3, 1))


def slopes(height: Image) -> tuple[Image, Image]:
    return (
        cv2.Sobel(height, cv2.CV_32F, 1, 0, ksize=3, scale=1 / 8),
        cv2.Sobel(height, cv2.CV_32F, 0, 1, ksize=3, scale=1 / 8),
    )


def shading(height: Image, light: Light) -> Image:
    """Brightness of a surface; a flat one has 1."""
    slope_x, slope_y = slopes(height)
    toward = light.direction[2] - light.direction[0] * slope_x - light.direction[1] * slope_y
    diffuse = np.maximum(toward, 0) / np.sqrt(1 + slope_x**2 + slope_y**2) / light.direction[2]
    return light.ambient + (1 - light.ambient) * np.minimum(diffuse, 2.2)


def drop_shadow(cover: Image, lift: float, light: Light) -> Image:
    """How much light a thing takes from the floor beside it and under its edge."""
    reach = lift / max(float(np.tan(np.arcsin(light.direction[2]))), 0.4)
    flat = light.direction[:2] / (np.linalg.norm(light.direction[:2]) + 1e-6)
    move = np.float32([[1, 0, -flat[0] * reach], [0, 1, -flat[1] * reach]])
    cast = blur(cv2.warpAffine(cover, move, cover.shape[::-1]), max(0.8, lift * 0.3))
    contact = blur(cover, max(0.8, min(3.0, lift * 0.3)))
    return (1 - (1 - light.ambient) * 0.75 * cast) * (1 - 0.25 * contact)


def padded(sprite: Sprite, margin: int) -> Sprite:
    """The same thing with room for its shadow."""
    if margin == 0:
        return sprite

    def widen(field: Image | None, outside: int = 0) -> Image | None:
        if field is None:
            return None
        sides = [(margin, margin)] * 2 + [(0, 0)] * (field.ndim - 2)
        return np.pad(field, sides, constant_values=outside)

    return Sprite(
        widen(sprite.mask),
        widen(sprite.opacity),
        widen(sprite.colour),
        widen(sprite.film, 1),
        widen(sprite.height),
        widen(sprite.gloss),
        sprite.lift,
    )


def overlap(canvas: Canvas, sprite: Sprite, corner: tuple[int, int]) -> tuple[tuple, tuple] | None:
    """Slices of the canvas and of the sprite where they meet; None when they do not."""
    pieces = []
    for start, length, limit in zip(corner[::-1], sprite.opacity.shape, canvas.gleam.shape):
        low, high = max(start, 0), min(start + length, limit)
        if low >= high:
            return None
        pieces.append((slice(low, high), slice(low - start, high - start)))
    return tuple(piece[0] for piece in pieces), tuple(piece[1] for piece in pieces)


class Change(NamedTuple):
    """What laying a thing did to its pixels, in brightness 0..1."""

    mean: float  # how much they changed, on average
    texture: float  # deviation of what lay there before


def lay(canvas: Canvas, sprite: Sprite, corner: tuple[int, int], number: int) -> Change:
    """Puts the thing on the canvas."""
    margin = 8 + int(3 * sprite.lift) if sprite.lift > 0 else 0
    sprite, corner = padded(sprite, margin), (corner[0] - margin, corner[1] - margin)
    met = overlap(canvas, sprite, corner)
    if met is None:
        return Change(0.0, 0.0)
    there, here = met
    light, region = canvas.light, canvas.image[there]
    before = region.copy()
    if sprite.lift > 0:
        region *= drop_shadow(sprite.opacity, sprite.lift, light)[here][..., None]
    if sprite.film is not None:
        region *= sprite.film[here]
    surface = sprite.colour
    if sprite.height is not None:
        surface = surface * shading(sprite.height, light)[..., None]
    if canvas.brightness is not None:
        surface = surface.copy()
        surface[here] *= canvas.brightness[there]
    region += (surface[here] - region) * sprite.opacity[here][..., None]
    gleam = mirror(canvas, sprite, there, here)
    mask = sprite.mask[here]
    canvas.owners[there][mask] = number
    if not mask.any():
        return Change(0.0, 0.0)
    change = np.abs(region - before + gleam[..., None]).mean(axis=2)[mask]
    return Change(float(change.mean()), float(before.mean(axis=2)[mask].std()))


def mirror(canvas: Canvas, sprite: Sprite, there: tuple, here: tuple) -> Image:
    """Sets what the thing mirrors; returns the change."""
    old = canvas.gleam[there].copy()
    canvas.gleam[there] *= 1 - sprite.opacity[here]
    if sprite.gloss is not None:
        height = sprite.height if sprite.height is not None else np.zeros_like(sprite.opacity)
        slope_x, slope_y = (slope[here] for slope in slopes(height))
        rows, columns = np.mgrid[there].astype(np.float32)
        seen = cv2.remap(
            canvas.light.mirrored,
            columns + 160 * slope_x,
            rows + 160 * slope_y,
            cv2.INTER_LINEAR,
            borderMode=cv2.BORDER_REFLECT,
        )
        toward = -canvas.light.direction[0] * slope_x - canvas.light.direction[1] * slope_y
        glint = smoothstep(0.25, 0.9, toward) * (1 - canvas.light.ambient)
        canvas.gleam[there] += sprite.gloss[here] * np.clip(0.7 * seen + 1.2 * glint, 0, 1)
    return canvas.gleam[there] - old
