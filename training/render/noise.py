"""Random fields that everything else is made of."""

import cv2
import numpy as np

Image = np.ndarray
Rng = np.random.Generator
Size = tuple[int, int]  # width, height


def smooth_noise(rng: Rng, size: Size, cell: float | tuple[float, float]) -> Image:
    """Noise of about -1..1 with features of `cell` (or width, height) pixels."""
    across, down = (cell, cell) if np.isscalar(cell) else cell
    across, down = max(across, 1.0), max(down, 1.0)
    width, height = size
    grid = rng.standard_normal((int(height / down) + 4, int(width / across) + 4), np.float32)
    step = np.float32([[1 / across, 0, 1 + rng.random()], [0, 1 / down, 1 + rng.random()]])
    flags = cv2.INTER_CUBIC | cv2.WARP_INVERSE_MAP
    return 0.6 * cv2.warpAffine(grid, step, size, flags=flags, borderMode=cv2.BORDER_REFLECT)


def fractal_noise(rng: Rng, size: Size, cell: float, octaves: int, decay: float = 0.5) -> Image:
    """Layers of noise, each half as large as the one before and `decay` as strong."""
    total = np.zeros(size[::-1], np.float32)
    for octave in range(octaves):
        total += smooth_noise(rng, size, cell / 2**octave) * decay**octave
    return total


def spectrum_noise(rng: Rng, size: Size, exponent: float) -> Image:
    """Noise whose amplitude falls with frequency to the power `exponent`; mean 0, deviation 1.

    Photographs have exponents of about 1.
    """
    width, height = (cv2.getOptimalDFTSize(side) for side in size)
    spectrum = np.fft.rfft2(rng.standard_normal((height, width), np.float32))
    rows, columns = np.fft.fftfreq(height)[:, None], np.fft.rfftfreq(width)[None]
    frequency = np.maximum(np.hypot(rows, columns), 1 / max(size))
    field = np.fft.irfft2(spectrum * frequency**-exponent, (height, width))[: size[1], : size[0]]
    return ((field - field.mean()) / (field.std() + 1e-6)).astype(np.float32)


def smoothstep(low: float, high: float, value: Image) -> Image:
    t = np.clip((value - low) / (high - low), 0, 1)
    return t * t * (3 - 2 * t)


def blur(image: Image, sigma: float) -> Image:
    return cv2.GaussianBlur(image, (0, 0), sigma) if sigma > 0.1 else image


def coordinates(size: Size, centre: tuple[float, float] = (0, 0)) -> tuple[Image, Image]:
    """Pixel coordinates x, y relative to `centre`."""
    y, x = np.mgrid[: size[1], : size[0]].astype(np.float32)
    return x - np.float32(centre[0]), y - np.float32(centre[1])


def turned(x: Image, y: Image, angle: float) -> tuple[Image, Image]:
    """The coordinates along and across a direction, `angle` in radians."""
    cosine, sine = np.float32(np.cos(angle)), np.float32(np.sin(angle))
    return x * cosine + y * sine, y * cosine - x * sine


def mix(below: Image, above: Image, opacity: Image) -> Image:
    return below + (above - below) * opacity[..., None]


def log_uniform(rng: Rng, low: float, high: float) -> float:
    return float(np.exp(rng.uniform(np.log(low), np.log(high))))


def colour(rng: Rng, hue: tuple[float, float], saturation: tuple[float, float],
           value: tuple[float, float]) -> Image:  # fmt: skip
    """A random colour; the ranges are of hue in degrees, saturation and value in 0..1."""
    hsv = np.float32([[[rng.uniform(*hue) % 360, rng.uniform(*saturation), rng.uniform(*value)]]])
    return cv2.cvtColor(hsv, cv2.COLOR_HSV2RGB)[0, 0]


def any_colour(rng: Rng, strong: float = 0.2) -> Image:
    """Mostly a warm or plain grey, as things indoors are; now and then, with the probability
    `strong`, a strong colour."""
    kind = rng.random()
    if kind < strong:
        return colour(rng, (0, 360), (0, 0.9), (0.1, 0.95))
    if kind < strong + 0.5:
        return colour(rng, (10, 55), (0, 0.4), (0.12, 0.95))
    return colour(rng, (0, 360), (0, 0.25), (0.1, 0.95))


def floor_colour(rng: Rng) -> Image:
    return any_colour(rng, strong=0.05)
