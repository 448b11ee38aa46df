#!/usr/bin/python3
"""Renders floor.jpg, a frame: a plank floor, dirt of several kinds and two look-alikes.

    /usr/bin/python3 tests/floor/render_floor.py            writes tests/floor/floor.jpg
    /usr/bin/python3 tests/floor/render_floor.py --check    compares with the file instead

The same versions of NumPy and OpenCV give the same bytes. Colours are R, G, B in 0..1 until the
picture is written; lengths are frame pixels.
"""

import sys
from pathlib import Path

import cv2
import numpy as np

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "networks"))

import deliver  # noqa: E402  (found through the path above)

WIDTH, HEIGHT = 1920, 1080
SEED = 20
QUALITY = 97
SUPERSAMPLING = 3  # objects with a hard outline are drawn this much larger, then averaged

Image = np.ndarray
Rng = np.random.Generator


# ---- Building blocks ----------------------------------------------------------------------------


def smooth_noise(rng: Rng, size: tuple[int, int], cell: tuple[float, float]) -> Image:
    """Noise in about -1..1 whose features are `cell` (width, height) pixels large."""
    width, height = size
    grid = rng.standard_normal((int(height / cell[1]) + 4, int(width / cell[0]) + 4))
    full = (int(grid.shape[1] * cell[0]) + 1, int(grid.shape[0] * cell[1]) + 1)
    big = cv2.resize(grid.astype(np.float32), full, interpolation=cv2.INTER_CUBIC)
    return big[:height, :width] * 0.6


def fractal_noise(rng: Rng, size: tuple[int, int], cell: float, octaves: int) -> Image:
    """Layers of noise, each half as large and half as strong as the one before."""
    total = np.zeros((size[1], size[0]), np.float32)
    for octave in range(octaves):
        total += smooth_noise(rng, size, (cell / 2**octave,) * 2) * 0.5**octave
    return total


def smoothstep(low: float, high: float, value: Image) -> Image:
    t = np.clip((value - low) / (high - low), 0, 1)
    return t * t * (3 - 2 * t)


def blur(image: Image, sigma: float) -> Image:
    return cv2.GaussianBlur(image, (0, 0), sigma)


def grid(size: tuple[int, int], centre: tuple[float, float]) -> tuple[Image, Image]:
    """Pixel coordinates relative to `centre`."""
    y, x = np.mgrid[: size[1], : size[0]].astype(np.float32)
    return x - centre[0], y - centre[1]


def mix(below: Image, above: Image, opacity: Image) -> Image:
    return below + (above - below) * opacity[..., None]


def rgb(red: int, green: int, blue: int) -> Image:
    return np.array([red, green, blue], np.float32) / 255


def shade(albedo: Image, height: Image, gloss: float, shininess: float = 24) -> Image:
    """Light from the upper left on a height field: ambient, diffuse and a highlight."""
    slope_x = cv2.Sobel(height, cv2.CV_32F, 1, 0, ksize=3, scale=1 / 8)
    slope_y = cv2.Sobel(height, cv2.CV_32F, 0, 1, ksize=3, scale=1 / 8)
    normal = np.dstack([-slope_x, -slope_y, np.ones_like(height)])
    normal /= np.linalg.norm(normal, axis=2, keepdims=True)
    light = np.array([-0.46, -0.52, 0.72], np.float32)
    half = light / np.linalg.norm(light) + np.array([0, 0, 1], np.float32)
    half /= np.linalg.norm(half)
    diffuse = np.clip(normal @ light, 0, 1)
    highlight = gloss * np.clip(normal @ half, 0, 1) ** shininess
    return np.clip(albedo * (0.42 + 0.78 * diffuse)[..., None] + highlight[..., None], 0, 1)


def put(floor: Image, tile: Image, opacity: Image, corner: tuple[int, int], lift: float) -> None:
    """Lays a tile drawn at SUPERSAMPLING on the floor, with the shadow of something `lift` high."""
    size = (opacity.shape[1] // SUPERSAMPLING, opacity.shape[0] // SUPERSAMPLING)
    premultiplied = cv2.resize(tile * opacity[..., None], size, interpolation=cv2.INTER_AREA)
    cover = cv2.resize(opacity, size, interpolation=cv2.INTER_AREA)
    shift = np.float32([[1, 0, lift * 0.45], [0, 1, lift * 0.55]])
    shadow = blur(cv2.warpAffine(cover, shift, size), max(1.0, lift * 0.3))
    contact = blur(cover, 3.0)
    x, y = corner
    region = floor[y : y + size[1], x : x + size[0]]
    region *= (1 - 0.42 * shadow)[..., None] * (1 - 0.25 * contact)[..., None]
    region *= (1 - cover)[..., None]
    region += premultiplied


# ---- The floor ----------------------------------------------------------------------------------

PLANK_HEIGHT = 120
OAK_LIGHT = rgb(196, 181, 160)
OAK_DARK = rgb(140, 124, 105)


def plank(rng: Rng, width: int, height: int) -> Image:
    """One board of greyed oak: fibres along it, wavy growth rings, now and then a knot."""
    size = (width, height)
    fibres = smooth_noise(rng, size, (90, 1.6)) * 0.5 + smooth_noise(rng, size, (240, 5)) * 0.6
    x, y = grid(size, (rng.uniform(0, width), rng.uniform(0, height)))
    warp = smooth_noise(rng, size, (260, 60)) * 16 + smooth_noise(rng, size, (110, 30)) * 4
    if rng.random() < 0.3:
        knot = np.exp(-((x / 34) ** 2 + (y / 13) ** 2))
        warp += 42 * knot
    else:
        knot = np.zeros_like(x)
    rings = np.sin((y + warp) * (2 * np.pi / rng.uniform(15, 26)))
    tone = 0.42 + 0.17 * fibres + 0.12 * rings + rng.uniform(-0.16, 0.16) + 0.35 * knot**3
    tone += 0.08 * smooth_noise(rng, size, (300, 80))
    return OAK_LIGHT + (OAK_DARK - OAK_LIGHT) * np.clip(tone, 0, 1.25)[..., None]


def bevel(board: Image) -> None:
    """A dark joint at the upper and left edge and a lit one inside it part neighbouring boards."""
    board[:2] *= 0.52
    board[2:4] *= 1.07
    board[-2:] *= 0.80
    board[:, :2] *= 0.58
    board[:, 2:4] *= 1.05


def planks(rng: Rng) -> Image:
    floor = np.zeros((HEIGHT, WIDTH, 3), np.float32)
    for row, y in enumerate(range(0, HEIGHT, PLANK_HEIGHT)):
        x = -int(rng.uniform(100, 700)) - 180 * (row % 2)
        while x < WIDTH:
            length = int(rng.uniform(640, 980))
            board = plank(rng, length, PLANK_HEIGHT)
            bevel(board)
            left, right = max(x, 0), min(x + length, WIDTH)
            if left < right:
                floor[y : y + PLANK_HEIGHT, left:right] = board[:, left - x : right - x]
            x += length
    return floor


def light(rng: Rng) -> Image:
    """A window's slanted panes on the boards over light that falls off to the lower right."""
    x, y = grid((WIDTH, HEIGHT), (0, 0))
    falloff = 1.06 - 0.20 * (x / WIDTH) - 0.12 * (y / HEIGHT)
    along, across = x + 0.55 * y, y - 0.16 * x
    panes = np.zeros_like(x)
    for left, top in ((820, -40), (1200, -40), (820, 300), (1200, 300)):
        pane = smoothstep(left, left + 40, along) * (1 - smoothstep(left + 310, left + 350, along))
        panes += (
            pane
            * smoothstep(top, top + 30, across)
            * (1 - smoothstep(top + 270, top + 300, across))
        )
    dapple = 1 + 0.03 * fractal_noise(rng, (WIDTH, HEIGHT), 420, 2)
    return (falloff * dapple)[..., None] * (1 + panes[..., None] * rgb(40, 36, 27))


# ---- Liquid and sticky dirt ---------------------------------------------------------------------


def puddle(rng: Rng, blobs: list[tuple[float, float, float, float]], wobble: float) -> Image:
    """Inside measure of joined ellipses (x, y, half width, half height): positive inside."""
    field = np.zeros((HEIGHT, WIDTH), np.float32)
    for x0, y0, half_width, half_height in blobs:
        x, y = grid((WIDTH, HEIGHT), (x0, y0))
        field += np.exp(-((x / half_width) ** 2 + (y / half_height) ** 2) * np.log(2))
    return field - 0.5 + wobble * fractal_noise(rng, (WIDTH, HEIGHT), 70, 3) * np.sqrt(field)


def drops(rng: Rng, centre: tuple[float, float], reach: float, count: int) -> list:
    """Small round blobs thrown about `centre`, the far ones smaller."""
    thrown = []
    for _ in range(count):
        angle, distance = rng.uniform(0, 2 * np.pi), reach * rng.uniform(0.75, 1.25)
        radius = rng.uniform(4, 11) * (1.5 - distance / (1.6 * reach))
        x, y = centre[0] + distance * np.cos(angle), centre[1] + 0.7 * distance * np.sin(angle)
        thrown.append((x, y, radius, radius))
    return thrown


def spill(rng: Rng, floor: Image) -> Image:
    """Blue drink: it tints and bends what lies under it and mirrors the window."""
    blobs = [(930, 205, 135, 75), (1050, 245, 110, 62), (860, 262, 74, 44), (1130, 180, 52, 34)]
    inside = puddle(rng, blobs + drops(rng, (985, 225), 250, 9), 0.26)
    cover = smoothstep(-0.015, 0.03, inside)
    depth = blur(np.clip(inside, 0, 0.35) / 0.35, 6)
    x, y = grid((WIDTH, HEIGHT), (0, 0))
    bend_x = cv2.Sobel(depth, cv2.CV_32F, 1, 0, ksize=5) * 3
    bend_y = cv2.Sobel(depth, cv2.CV_32F, 0, 1, ksize=5) * 3
    seen = cv2.remap(floor, x - bend_x, y - bend_y, cv2.INTER_LINEAR, borderMode=cv2.BORDER_REFLECT)
    tint = 1 - (1 - rgb(96, 178, 248)) * (0.62 + 0.38 * depth)[..., None]
    liquid = seen * tint + rgb(4, 16, 34)
    liquid = shade(liquid / 0.98, depth * 15, 0.0)
    mirror = smoothstep(0.55, 0.75, np.sin((x + 0.5 * y) / 38)) * smoothstep(0.5, 0.9, depth)
    glint = np.exp(-(((x - 1000) / 150) ** 2 + ((y - 190) / 40) ** 2)) * mirror
    rim = smoothstep(0.0, 0.03, inside) * (1 - smoothstep(0.04, 0.10, inside))
    liquid = mix(liquid, np.ones(3, np.float32), np.clip(0.75 * glint, 0, 1))
    liquid = mix(liquid, liquid * rgb(150, 190, 230), 0.5 * rim)
    shadow = blur(np.roll(cover, (3, 3), (0, 1)), 3)
    return mix(floor * (1 - 0.18 * shadow)[..., None], liquid, cover)


def stain(rng: Rng, floor: Image) -> Image:
    """Dried coffee: a cup's ring, what ran out of it, and the dark seam where it dried last."""
    x, y = grid((WIDTH, HEIGHT), (330, 835))
    noise = fractal_noise(rng, (WIDTH, HEIGHT), 60, 4)
    radius = np.hypot(x, y) + 3 * noise
    ring = np.exp(-(((radius - 92) / 12) ** 4)) * np.clip(0.72 + 0.16 * noise, 0.3, 0.85)
    blobs = [(365, 875, 92, 60), (445, 925, 66, 34), (300, 800, 52, 40)]
    inside = puddle(rng, blobs + drops(rng, (370, 860), 165, 10), 0.24)
    film = smoothstep(-0.01, 0.04, inside) * np.clip(0.64 + 0.10 * noise, 0, 0.85)
    seam = smoothstep(-0.01, 0.02, inside) * (1 - smoothstep(0.03, 0.12, inside))
    strength = np.clip(np.maximum(ring, film) + 0.12 * seam, 0, 0.86)
    coffee = 1 - (1 - rgb(172, 128, 80)) * strength[..., None]
    return floor * coffee


def sauce(rng: Rng, floor: Image) -> Image:
    """Tomato sauce, dropped and then dragged to the right until it broke into streaks."""
    blobs = [(1190, 850, 78, 54), (1255, 862, 80, 34), (1165, 895, 40, 28)]
    inside = puddle(rng, blobs + drops(rng, (1190, 860), 120, 8), 0.26)
    x, y = grid((WIDTH, HEIGHT), (1270, 862))
    streaks = smooth_noise(rng, (WIDTH, HEIGHT), (220, 5.5))
    drag = smoothstep(-20, 60, x) * (1 - x / 190) - np.abs(y + 0.05 * x) / 46
    smear = np.where(x > -20, 0.8 * drag + 0.34 * streaks * np.clip(x / 120, 0, 1), -1)
    smear -= 2 * smoothstep(120, 230, x)
    inside = np.maximum(inside, np.clip(smear, -0.5, 0.12))
    cover = smoothstep(0.0, 0.035, inside)
    lumps = fractal_noise(rng, (WIDTH, HEIGHT), 26, 3)
    height = 24 * (1 - np.exp(-5 * blur(np.clip(inside, 0, 1), 4))) + 2.2 * lumps
    albedo = rgb(158, 36, 18) * (1 + 0.10 * lumps)[..., None]
    paste = shade(albedo, height, 0.22, 40)
    thin = np.clip(0.72 + 1.6 * inside, 0, 1)
    shadow = blur(np.roll(cover, (4, 4), (0, 1)), 3)
    return mix(floor * (1 - 0.25 * shadow)[..., None], paste, cover * thin)


def crumbs(rng: Rng, floor: Image) -> None:
    """Grains too small to matter."""
    for _ in range(70):
        x, y = int(rng.uniform(20, WIDTH - 20)), int(rng.uniform(20, HEIGHT - 20))
        radius = rng.uniform(0.8, 2.2)
        dx, dy = grid((16, 16), (8 + rng.uniform(0, 1), 8 + rng.uniform(0, 1)))
        cover = 1 - smoothstep(radius - 0.6, radius + 0.6, np.hypot(dx, dy * 1.3))
        region = floor[y - 8 : y + 8, x - 8 : x + 8]
        region *= (1 - 0.35 * np.roll(cover, (1, 1), (0, 1)))[..., None]
        region[:] = mix(region, rgb(150, 118, 80) * rng.uniform(0.7, 1.25), cover)


# ---- Solid waste --------------------------------------------------------------------------------


def tube(height: Image, path: Image) -> None:
    """Raises the height field by balls along `path`, rows of x, y, z, radius."""
    for x0, y0, z0, radius in path:
        left, top = int(x0 - radius), int(y0 - radius)
        region = height[top : int(y0 + radius) + 2, left : int(x0 + radius) + 2]
        x, y = grid(region.shape[::-1], (x0 - left, y0 - top))
        ball = radius**2 - x**2 - y**2
        np.maximum(region, np.where(ball > 0, z0 + np.sqrt(np.maximum(ball, 0)), 0), out=region)


def curve(knots: list[tuple[float, float, float, float]], steps: int) -> Image:
    """A smooth path through the knots (Catmull-Rom), at SUPERSAMPLING."""
    points = np.array([knots[0], *knots, knots[-1]], np.float64) * SUPERSAMPLING
    pieces = []
    t = np.linspace(0, 1, steps, endpoint=False)[:, None]
    for p0, p1, p2, p3 in zip(points, points[1:], points[2:], points[3:]):
        cubic = 3 * (p1 - p2) + p3 - p0
        square = 2 * p0 - 5 * p1 + 4 * p2 - p3
        pieces.append(p1 + 0.5 * t * (p2 - p0 + t * (square + t * cubic)))
    return np.concatenate(pieces)


def coil(centre: tuple[float, float], turns: float, outer: float, thick: float) -> Image:
    """A spiral heap that narrows to its tip."""
    t = np.linspace(0, 1, 520)
    angle = 2 * np.pi * turns * t + 2.2
    reach = outer * (1 - t) ** 0.8
    radius = thick * (1 - 0.62 * t) * np.minimum(1, 0.45 + 9 * t)
    rows = [centre[0] + reach * np.cos(angle), centre[1] - 26 * t + 0.8 * reach * np.sin(angle)]
    return np.stack([*rows, 1.35 * thick * turns * t, radius], axis=1) * SUPERSAMPLING


def heap(rng: Rng, floor: Image, corner: tuple[int, int], paths: list[Image]) -> None:
    """Smooth, dull, dark brown: the thing that the classifier has to confirm."""
    size = (260 * SUPERSAMPLING, 240 * SUPERSAMPLING)
    height = np.zeros((size[1], size[0]), np.float32)
    for path in paths:
        tube(height, path)
    cover = smoothstep(0, 2, height)
    bumps = fractal_noise(rng, size, 22 * SUPERSAMPLING, 3)
    cavity = np.clip((blur(height, 9 * SUPERSAMPLING) - height) / (14 * SUPERSAMPLING), -0.4, 1)
    albedo = rgb(84, 53, 28) * (1 + 0.07 * bumps - 0.45 * cavity)[..., None]
    surface = shade(albedo, blur(height, 2.5) + 2.0 * SUPERSAMPLING * bumps, 0.07, 14)
    put(floor, surface, cover, corner, 26)


# ---- Look-alikes --------------------------------------------------------------------------------


def ellipse(canvas: Image, centre, axes, angle: float, colour) -> None:
    box = (tuple(map(float, centre)), (2 * axes[0], 2 * axes[1]), angle)
    cv2.ellipse(canvas, box, tuple(map(float, colour)), -1, cv2.LINE_AA)


def cone_scales() -> list[tuple[float, float, float, float]]:
    """Scales of a cone lying along x, tip first: x, y, turn in degrees, size."""
    scales = []
    for row in range(16):
        along = -92 + 12.2 * row
        girth = 66 * np.sqrt(max(0.04, 1 - ((along - 8) / (104 if along < 8 else 88)) ** 2))
        for turn in np.arange(-78 + 13 * (row % 2), 80, 26):
            across = girth * np.sin(np.radians(turn))
            scales.append((along, across, 0.35 * turn, 7 + 7 * girth / 66))
    return scales


def pine_cone(rng: Rng, floor: Image, corner: tuple[int, int]) -> None:
    """As brown as the heaps on average, but every scale has a pale rim and a black gap."""
    s = SUPERSAMPLING
    size, centre = (280 * s, 220 * s), np.array([140 * s, 110 * s])
    picture = np.zeros((size[1], size[0], 3), np.float32)
    cover = np.zeros((size[1], size[0]), np.float32)
    for along, across, turn, radius in cone_scales():
        place = centre + s * np.array([along, across])
        tip = s * radius * np.array([-np.cos(np.radians(turn)), -np.sin(np.radians(turn))])
        axes = (1.25 * s * radius, s * radius)
        tone = rng.uniform(0.85, 1.15) * (1 - 0.35 * abs(across) / 70)
        ellipse(cover, place + 0.22 * tip, axes, turn, (1,))
        ellipse(picture, place + 0.22 * tip, axes, turn, rgb(26, 15, 8))
        for step in range(12):
            part = step / 11
            rim = (1 - part) ** 2
            colour = tone * (rgb(172, 118, 68) * rim + rgb(66, 38, 18) * (1 - rim))
            inner = (axes[0] * (1 - 0.85 * part), axes[1] * (1 - 0.8 * part))
            ellipse(picture, place - 0.75 * part * tip, inner, turn, colour)
    spin = cv2.getRotationMatrix2D(tuple(map(float, centre)), 28, 1)
    picture, cover = (cv2.warpAffine(part, spin, size) for part in (picture, cover))
    picture *= (1 + 0.10 * fractal_noise(rng, size, 18 * s, 3))[..., None]
    put(floor, np.clip(picture, 0, 1), np.clip(cover, 0, 1), corner, 24)


def leaf(rng: Rng, floor: Image, corner: tuple[int, int]) -> None:
    """A dry oak leaf: flat, redder than the heaps, with pale veins."""
    s = SUPERSAMPLING
    size = (300 * s, 230 * s)
    x, y = (part / s for part in grid(size, (150 * s, 115 * s)))
    turn = np.radians(-24)
    u = x * np.cos(turn) + y * np.sin(turn)
    v = y * np.cos(turn) - x * np.sin(turn) - 8 * np.sin((u + 40) / 70)
    along = np.clip((u + 112) / 226, 0, 1)
    lobes = 0.80 + 0.20 * np.cos(2 * np.pi * (4.7 * along - 0.003 * np.abs(v)))
    outline = np.sin(np.pi * along**0.8).clip(0) ** 0.6 * (0.62 + 0.38 * np.sin(np.pi * along))
    half_width = 64 * outline * lobes + 1.6 * fractal_noise(rng, size, 12 * s, 2)
    blade = smoothstep(-0.8, 0.8, half_width - np.abs(v)) * ((along > 0) & (along < 1))
    stalk = smoothstep(-0.8, 0.8, 2.6 - np.abs(v)) * ((u > -146) & (u < 60))
    rib = np.exp(-((v / 2.4) ** 2)) * (u < 100)
    phase = np.abs((u - 0.75 * np.abs(v) + 112) / 24 + 0.5) % 1 - 0.5
    side = np.exp(-((phase * 24 / 1.5) ** 2)) * (np.abs(v) < half_width * 0.9)
    veins = np.clip(rib + 0.8 * side, 0, 1)
    mottle = fractal_noise(rng, size, 16 * s, 4)
    albedo = rgb(116, 64, 31) * (1 + 0.16 * mottle)[..., None]
    albedo = mix(albedo, rgb(186, 132, 78), np.clip(0.6 * veins + stalk * (blade < 0.5), 0, 1))
    height = s * (10 * (v / 60) ** 2 + 7 * np.sin(u / 34) + 4 * np.abs(phase) + 1.5 * mottle)
    surface = shade(albedo, blur(height.astype(np.float32), 3), 0.05, 10)
    put(floor, surface.astype(np.float32), np.maximum(blade, stalk).astype(np.float32), corner, 9)


# ---- The picture --------------------------------------------------------------------------------


# Knots of the logs in each heap: x, y, z, radius.
STACK = [
    [(60, 150, 18, 12), (95, 118, 22, 23), (150, 110, 22, 25), (196, 135, 18, 15)],
    [(85, 178, 18, 13), (128, 176, 22, 23), (178, 164, 20, 21), (205, 172, 15, 10)],
    [(110, 160, 44, 12), (132, 130, 52, 20), (140, 88, 46, 20), (120, 66, 34, 10)],
]
PAIR = [
    [(62, 120, 16, 10), (92, 92, 20, 20), (140, 96, 22, 24), (176, 128, 20, 22), (172, 166, 16, 9)],
    [(92, 158, 16, 12), (122, 154, 18, 19), (140, 168, 14, 12)],
]


def render() -> Image:
    """The whole frame as 8-bit B, G, R."""
    cv2.setNumThreads(1)
    rng = np.random.default_rng(SEED)
    floor = planks(rng) * light(rng)
    floor = stain(rng, floor)
    floor = spill(rng, floor)
    floor = sauce(rng, floor)
    crumbs(rng, floor)
    heap(rng, floor, (180, 70), [coil((125, 130), 2.6, 58, 26)])
    heap(rng, floor, (760, 800), [curve(log, 60) for log in STACK])
    heap(rng, floor, (1600, 690), [curve(log, 60) for log in PAIR])
    pine_cone(rng, floor, (1500, 110))
    leaf(rng, floor, (320, 440))
    floor = blur(floor, 0.6) + 0.009 * rng.standard_normal(floor.shape, np.float32)
    return np.round(np.clip(floor[..., ::-1], 0, 1) * 255).astype(np.uint8)


def picture() -> bytes:
    return cv2.imencode(".jpg", render(), [cv2.IMWRITE_JPEG_QUALITY, QUALITY])[1].tobytes()


if __name__ == "__main__":
    FOLDER = Path(__file__).parent
    sys.exit(deliver.run(__doc__.splitlines()[0], FOLDER, {"floor.jpg": picture()}))
