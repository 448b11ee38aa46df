#!/usr/bin/env python3
"""Makes the binary seeds of fuzz/corpus: inputs as the targets take them apart (input.h).

    python3 fuzz/make_corpus.py

The other seeds are texts, written by hand; model_file also reads tests/networks.
"""

import struct
from pathlib import Path

CORPUS = Path(__file__).resolve().parent / "corpus"


class Bytes:
    """Appends numbers as Input takes them."""

    def __init__(self) -> None:
        self.data = b""

    def byte(self, *values: int) -> "Bytes":
        self.data += bytes(value & 0xFF for value in values)
        return self

    def short(self, *values: int) -> "Bytes":
        self.data += struct.pack(f"<{len(values)}h", *values)
        return self

    def int(self, *values: int) -> "Bytes":
        self.data += struct.pack(f"<{len(values)}i", *values)
        return self

    def float(self, *values: float) -> "Bytes":
        self.data += struct.pack(f"<{len(values)}f", *values)
        return self

    def text(self, text: bytes) -> "Bytes":
        self.data += text
        return self

    def save(self, target: str, name: str) -> None:
        folder = CORPUS / target
        folder.mkdir(parents=True, exist_ok=True)
        (folder / name).write_bytes(self.data)


def run_length_seeds() -> None:
    """A choice of direction, the size, then (value, length) pairs or a text."""
    Bytes().byte(1, 10, 10).byte(0, 35, 255, 9, 0, 54).save("run_length", "mask")
    Bytes().byte(1, 3, 0).save("run_length", "mask_without_pixels")
    Bytes().byte(1, 1, 1, 7, 0).save("run_length", "mask_set_first")
    # Ranges above 256 take four bytes and begin at -2.
    Bytes().byte(0).int(2 + 3, 2 + 2).text(b"042").save("run_length", "text")
    Bytes().byte(0).int(2 + 200, 2 + 200).text(b"PRk0").save("run_length", "text_short")


def decoder_head(classes: int, coefficients: int, anchor_major: int, kind: int) -> Bytes:
    """One slot at 32 x 32 with 21 anchors, prototypes at 8 x 8."""
    seed = Bytes().byte(0, 0, 4 + classes + coefficients, coefficients, 2, anchor_major)
    return seed.byte(kind, kind, 0, 0).byte(25, 70, 50, 2, 0)


def decoder_tensors(seed: Bytes, anchor_major: int, channels: int) -> Bytes:
    """Anchor 5 is a box of 16 x 12 in the middle, class 0 at 0.9; prototypes are 1."""
    seed.byte(3).byte(0, 0, 0, 0)
    values = [16.0, 16.0, 16.0, 12.0, 0.9] + [1.0] * (channels - 5)
    seed.byte(len(values))
    for channel, value in enumerate(values):
        index = 5 * channels + channel if anchor_major else channel * 21 + 5
        seed.int(4 * index).float(value)
    return seed.byte(3).float(1.0).byte(0).byte(0)


def decoder_seeds() -> None:
    for anchor_major in (0, 1):
        seed = decoder_head(2, 3, anchor_major, 2).byte(0, 0)  # no patch: the whole frame
        decoder_tensors(seed, anchor_major, 9).save("decoder", f"one_box_{anchor_major}")
    seed = decoder_head(1, 1, 0, 2).byte(1).byte(0, 200, 0, 100).short(1800, 1000).byte(1)
    decoder_tensors(seed, 0, 6).save("decoder", "clipped_patch")
    # float16 tensors of 1.0 everywhere.
    seed = decoder_head(1, 1, 0, 1).byte(1).byte(0, 50, 0, 40).short(0, 0).byte(0)
    seed.byte(1).byte(0, 0x3C, 0).byte(1).byte(0, 0x3C, 0).byte(0).save("decoder", "halves")
    # Not-a-number and infinities.
    seed = decoder_head(1, 1, 0, 2).byte(1).byte(0, 50, 0, 40).short(0, 0).byte(1)
    seed.byte(11).float(float("nan"), float("inf"), 1.0).byte(0)
    seed.byte(7).float(float("inf"), -1e38).byte(0).byte(0).save("decoder", "not_finite")


def pipeline_start(patches: list[tuple[int, int, int, int]], fece: int) -> Bytes:
    """The configuration: 32 x 32, classifier as told, label 0 its candidate; then patches."""
    seed = Bytes().byte(31, 1).byte(1).int(12288 * len(patches)).byte(fece, 0)
    seed.float(0.5).byte(1).byte(0, 0).byte(len(patches))
    for patch in patches:
        for coordinate in patch:
            seed.byte(0).short(8 * coordinate)
    return seed


def pipeline_object(seed: Bytes, box: tuple[int, int, int, int], label: int) -> None:
    for number in box:
        seed.byte(0).short(number)
    seed.byte(1, label).float(0.75).byte(0, 0, 19, 29).byte(2).byte(3, 255, 4, 255)


def pipeline_seeds() -> None:
    """After the configuration: the images, object lists, logits."""
    for fece in (0, 1):
        seed = pipeline_start([(0, 0, 640, 640), (640, 440, 640, 640)], fece)
        seed.byte(0, 13, 0, 90).byte(0).byte(2)
        for box in ((10, 20, 30, 20), (5, 5, 40, 40)):
            seed.byte(1)
            pipeline_object(seed, box, 0)
        seed.float(0.0, 3.0).save("pipeline", f"two_patches_{fece}")
    seed = pipeline_start([(5, 7, 50, 30)], 0).byte(0, 0, 99, 120, 3, 3, 1, 7).byte(1, 14, 0)
    seed.save("pipeline", "wrong_type")
    pipeline_start([(-1, 0, 50, 30)], 0).byte(0, 0, 99, 120, 0, 7).save("pipeline", "negative")
    pipeline_start([], 0).byte(31).save("pipeline", "nothing")


if __name__ == "__main__":
    run_length_seeds()
    decoder_seeds()
    pipeline_seeds()
