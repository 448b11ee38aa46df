"""Whole pictures: a floor, dirt and other things on it, light, camera; and the truth about them."""

from dataclasses import asdict, dataclass

import cv2
import numpy as np

from . import camera, distractors, floors
from .dirt import CLASSES, make_dirt
from .noise import Image, Rng, Size, blur
from .sprite import Canvas, Change, Sprite, lay, random_light

# What a piece of dirt changes its pixels by, at least; fainter ones cannot be seen. And how many
# times the floor's own variety it is, since crumbs on gravel cannot be seen either.
LEAST_CHANGE, LEAST_TO_TEXTURE = 0.11, 1.6
MOST_OVERLAP = 0.15  # share of a thing that may cover others
TRIES = 6  # places for a thing
PIECES = 4  # of its kind, where one would not be seen: so faint classes stay frequent


@dataclass
class Thing:
    """Something on the floor; `label` is its class's index, or -1 for what is no dirt."""

    number: int  # its pixels in the map of owners
    label: int
    kind: str

    def record(self) -> dict:
        return asdict(self)


@dataclass
class Scene:
    picture: Image  # bytes [h, w, 3], R, G, B
    owners: Image  # bytes [h, w]: number of the thing that each pixel shows, 0 for floor
    things: list[Thing]
    style: str


@dataclass
class Content:
    """What a scene gets."""

    dirt: int
    others: int
    styles: dict[str, float]


def is_seen(change: Change) -> bool:
    return change.mean >= max(LEAST_CHANGE, LEAST_TO_TEXTURE * change.texture)


def place(rng: Rng, canvas: Canvas, sprite: Sprite, thing: Thing) -> bool:
    """Lays a thing where little else lies; dirt that would not be seen is taken away again."""
    height, width = canvas.owners.shape
    for _ in range(TRIES):
        corner = (int(rng.integers(0, width)) - sprite.mask.shape[1] // 2,
                  int(rng.integers(0, height)) - sprite.mask.shape[0] // 2)  # fmt: skip
        if covers_others(canvas, sprite, corner):
            continue
        kept = canvas.image.copy(), canvas.gleam.copy(), canvas.owners.copy()
        change = lay(canvas, sprite, corner, thing.number)
        if thing.label < 0 or is_seen(change):
            return True
        canvas.image, canvas.gleam, canvas.owners = kept
    return False


def covers_others(canvas: Canvas, sprite: Sprite, corner: tuple[int, int]) -> bool:
    rows = slice(max(corner[1], 0), max(corner[1] + sprite.mask.shape[0], 0))
    columns = slice(max(corner[0], 0), max(corner[0] + sprite.mask.shape[1], 0))
    taken = canvas.owners[rows, columns] > 0
    start = rows.start - corner[1], columns.start - corner[0]
    own = sprite.mask[start[0] : start[0] + taken.shape[0], start[1] : start[1] + taken.shape[1]]
    return own.sum() == 0 or (taken & own).sum() > MOST_OVERLAP * own.sum()


def turned_sprite(rng: Rng, sprite: Sprite) -> Sprite:
    """The thing mirrored or turned by quarters: kinds need not think of all directions."""
    turns, flip = int(rng.integers(4)), rng.random() < 0.5

    def move(field: Image | None) -> Image | None:
        if field is None:
            return None
        field = np.rot90(field, turns)
        return np.ascontiguousarray(field[:, ::-1] if flip else field)

    fields = (sprite.mask, sprite.opacity, sprite.colour, sprite.film, sprite.height, sprite.gloss)
    return Sprite(*map(move, fields), sprite.lift)


def fill(rng: Rng, canvas: Canvas, content: Content) -> list[Thing]:
    """Dirt and other things in a random order."""
    order = [True] * content.dirt + [False] * content.others
    rng.shuffle(order)
    things: list[Thing] = []
    for is_dirt in order:
        label = int(rng.integers(len(CLASSES))) if is_dirt else -1
        kind = CLASSES[label] if is_dirt else str(rng.choice(list(distractors.DISTRACTORS)))
        thing = Thing(len(things) + 1, label, kind)
        for _ in range(PIECES):
            sprite = make_dirt(rng, kind) if is_dirt else distractors.DISTRACTORS[kind](rng)
            if place(rng, canvas, turned_sprite(rng, sprite), thing):
                things.append(thing)
                break
    return things


def render(rng: Rng, size: Size, content: Content) -> Scene:
    """A scene on a rendered floor."""
    style = floors.choose_style(rng, content.styles)
    plane = int(size[0] * 1.12), int(size[1] * 1.12)
    canvas = Canvas(floors.render_floor(rng, plane, style), random_light(rng, plane))
    if rng.random() < 0.5:  # polished
        canvas.gleam += blur(canvas.light.mirrored, rng.uniform(15, 60)) * rng.uniform(0, 0.3)
    things = fill(rng, canvas, content)
    lit = canvas.image * camera.illumination(rng, plane) + canvas.gleam[..., None]
    view = camera.tilt(rng, plane, size)
    lit = cv2.warpPerspective(
        lit, view, size, flags=cv2.INTER_LINEAR, borderMode=cv2.BORDER_REFLECT
    )
    owners = cv2.warpPerspective(canvas.owners, view, size, flags=cv2.INTER_NEAREST)
    return Scene(camera.photograph(rng, lit), owners, things, style)


def broad_light(image: Image) -> Image:
    """How bright a picture is round each place, over about a twentieth of its width."""
    size = image.shape[1::-1]
    small = cv2.resize(image, (96, 64), interpolation=cv2.INTER_AREA)
    return cv2.resize(blur(small, 4), size, interpolation=cv2.INTER_LINEAR)


def paste(rng: Rng, photograph: Image, content: Content) -> Scene:
    """Dirt on a photograph, bytes R, G, B: it takes on the photograph's light and noise."""
    image = photograph.astype(np.float32) / 255
    size = image.shape[1::-1]
    canvas = Canvas(image, random_light(rng, size))
    light = broad_light(image)
    mean = max(float(light.mean()), 0.02)
    canvas.brightness = np.clip(light / mean, 0.3, 1.8) * min(1.0, 0.25 + 1.6 * mean)
    things = fill(rng, canvas, content)
    lit = np.clip(canvas.image + canvas.gleam[..., None] * light, 0, 1)
    new = (canvas.owners > 0).astype(np.float32)[..., None]
    soft = blur(lit, rng.uniform(0.4, 1.1)) + rng.normal(0, 0.008, lit.shape).astype(np.float32)
    picture = np.clip(np.rint((lit + (soft - lit) * new) * 255), 0, 255).astype(np.uint8)
    return Scene(picture, canvas.owners, things, "photograph")


def training_content(rng: Rng) -> Content:
    """For a training scene: one in eight without dirt, the others crowded, since every piece is
    something to learn from."""
    dirt = 0 if rng.random() < 0.125 else int(rng.integers(2, 9))
    return Content(dirt, int(rng.poisson(2.5 if dirt else 4.5)), floors.TRAINED)


def frame_content(rng: Rng, styles: dict[str, float], clean: bool) -> Content:
    """For a whole frame of 1920 x 1080."""
    return Content(0 if clean else int(rng.integers(4, 13)), int(rng.integers(2, 7)), styles)


def held_out_styles() -> dict[str, float]:
    return {style: 1.0 for style in floors.HELD_OUT}
