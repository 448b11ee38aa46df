"""What light, lens, sensor and compression make of a scene."""

import cv2
import numpy as np

from .noise import (
    Image, Rng, Size, blur, colour, coordinates, log_uniform, smooth_noise, smoothstep, turned,
)  # fmt: skip


def windows(rng: Rng, size: Size) -> Image:
    """Panes of sunlight, slanted, sharp or soft: 0..1."""
    x, y = turned(
        *coordinates(size, (size[0] * rng.random(), size[1] * rng.random())), rng.uniform(0, np.pi)
    )
    x = x + rng.uniform(-0.8, 0.8) * y
    pane, bar = log_uniform(
        rng,
        90,
        500,
    ), rng.uniform(6, 40)
    soft = log_uniform(rng, 2, 40)
    across = np.abs(np.mod(x, pane + bar) - (pane + bar) / 2)
    down = np.abs(np.mod(y, 1.6 * pane + bar) - (1.6 * pane + bar) / 2)
    inside = smoothstep(0, soft, pane / 2 - across) * smoothstep(0, soft, 0.8 * pane - down)
    rows, columns = int(rng.integers(1, 4)), int(rng.integers(1, 4))
    return inside * (np.abs(x) < columns * pane) * (np.abs(y) < rows * pane)


def shade_of_things(rng: Rng, size: Size) -> Image:
    """Shadows of furniture and people outside the picture: 0..1."""
    points = np.array(size) * rng.uniform(-0.4, 1.4, (int(rng.integers(3, 6)), 2))
    shadow = np.zeros(size[::-1], np.float32)
    cv2.fillPoly(shadow, [cv2.convexHull(points.astype(np.int32))], 1.0)
    return blur(shadow, log_uniform(rng, 2, 60))


def illumination(rng: Rng, size: Size) -> Image:
    """[h, w, 3] light on the floor; about 1 on average."""
    x, y = turned(*coordinates(size, (size[0] / 2, size[1] / 2)), rng.uniform(0, 2 * np.pi))
    slope = rng.uniform(0, 0.4)
    light = 1 + slope * x / max(size) * 1.4 + rng.uniform(0, 0.15) * smooth_noise(rng, size, 400)
    if rng.random() < 0.35:  # a lamp's pool
        at_x, at_y = coordinates(size, (size[0] * rng.random(), size[1] * rng.random()))
        light = light * (
            0.6 + 0.8 * np.exp(-(at_x**2 + at_y**2) / log_uniform(rng, 150, 900) ** 2)
        )
    light = light[..., None] * np.ones(3, np.float32)
    for _ in range(int(rng.integers(0, 3))):
        light *= 1 - shade_of_things(rng, size)[..., None] * rng.uniform(0.05, 0.4)
    if rng.random() < 0.2:
        sun = colour(rng, (30, 55), (0, 0.35), (1, 1))
        light += windows(rng, size)[..., None] * sun * rng.uniform(0.1, 0.7)
    return np.clip(light, 0.4, 2.0).astype(np.float32)


def tilt(rng: Rng, plane: Size, size: Size) -> Image:
    """Homography from the floor's plane to the picture: a camera looking down more or less."""
    narrow = rng.uniform(0, 0.3)  # how much less of the floor the lower edge shows
    flatten = 1 - rng.uniform(0, 0.5) * narrow
    width, height = plane
    low = narrow / 2 * width
    seen = np.float32(
        [[0, 0], [width, 0], [width - low, height * flatten], [low, height * flatten]]
    )
    shown = np.float32([[0, 0], [size[0], 0], [size[0], size[1]], [0, size[1]]])
    return cv2.getPerspectiveTransform(seen, shown)


def develop(rng: Rng, image: Image) -> Image:
    """White balance, exposure, saturation and contrast of a camera that chooses by itself."""
    image = image * rng.uniform(0.88, 1.12, 3).astype(np.float32)
    target = rng.uniform(0.35, 0.6)
    image = image * (target / max(float(image.mean()), 0.02)) ** rng.uniform(0.6, 1.0)
    grey = image.mean(axis=2, keepdims=True)
    image = grey + (image - grey) * rng.uniform(0.5, 1.15)
    image = np.clip(image, 0, 1) ** np.float32(log_uniform(rng, 0.8, 1.25))
    contrast = rng.uniform(0, 0.5)
    return (1 - contrast) * image + contrast * (image * image * (3 - 2 * image))


def lens(rng: Rng, image: Image) -> Image:
    """Darker corners; out of focus, moved, or sharpened too much."""
    height, width = image.shape[:2]
    x, y = coordinates((width, height), (width / 2, height / 2))
    image = (
        image
        * (1 - rng.uniform(0, 0.3) * (x**2 + y**2) / (width**2 + height**2) * 4)[..., None]
    )
    kind = rng.random()
    if kind < 0.45:
        image = blur(image, rng.uniform(0.3, 1.7))
    elif kind < 0.55:
        length = int(rng.integers(3, 9))
        line = np.zeros((length, length), np.float32)
        angle = rng.uniform(0, np.pi)
        reach = np.array([np.cos(angle), np.sin(angle)]) * length / 2
        ends = np.array([length / 2 - reach, length / 2 + reach]).astype(int).tolist()
        cv2.line(line, ends[0], ends[1], 1.0)
        image = cv2.filter2D(image, -1, line / max(line.sum(), 1))
    elif kind < 0.75:
        image = image + rng.uniform(0.2, 0.9) * (image - blur(image, rng.uniform(0.8, 1.6)))
    return image


def sensor(rng: Rng, image: Image) -> Image:
    """Noise that grows with light, in single pixels or smeared by the camera's own filter."""
    strength = log_uniform(rng, 0.002, 0.025)
    noise = rng.standard_normal(image.shape, np.float32)
    if rng.random() < 0.5:
        noise = blur(noise, rng.uniform(0.4, 1.0)) * 1.8
    return image + noise * strength * np.sqrt(0.3 + np.clip(image, 0, 1))


def photograph(rng: Rng, image: Image) -> Image:
    """Bytes [h, w, 3] R, G, B of a lit scene."""
    image = sensor(rng, lens(rng, develop(rng, image)))
    return np.clip(np.rint(image * 255), 0, 255).astype(np.uint8)


def compressed(picture: Image, quality: int) -> Image:
    """As it comes back from JPEG; bytes B, G, R."""
    encoded = cv2.imencode(".jpg", picture, [cv2.IMWRITE_JPEG_QUALITY, quality])[1]
    return cv2.imdecode(encoded, cv2.IMREAD_COLOR)
