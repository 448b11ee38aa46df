"""From maps of things to what a network is asked for."""

import json
import tempfile
import unittest
from pathlib import Path

import numpy as np

from data import (
    LOOK_SIDE, SIDE, Scenes, SegmentationSamples, areas_of, look_window, pieces_of, position_of,
    target_of,
)  # fmt: skip
from letterbox import letterbox, to_square


class LetterboxTest(unittest.TestCase):
    def test_a_wide_patch_is_padded_above_and_below(self) -> None:
        self.assertEqual(tuple(letterbox(320, 640, 540)), (320, 270, 0, 25))

    def test_a_high_patch_is_padded_left_and_right(self) -> None:
        self.assertEqual(tuple(letterbox(320, 480, 640)), (240, 320, 40, 0))

    def test_float_products_may_come_out_one_short(self) -> None:
        self.assertEqual(letterbox(640, 1101, 1101).width, 639)

    def test_nearest_pixels_are_taken_and_grey_is_padded(self) -> None:
        patch = np.arange(4 * 8, dtype=np.uint8).reshape(4, 8)
        square = to_square(patch, 4)
        np.testing.assert_array_equal(
            square, [[114] * 4, [0, 2, 4, 6], [16, 18, 20, 22], [114] * 4]
        )


THINGS = [{"number": 1, "label": 3, "kind": "hair"}, {"number": 2, "label": -1, "kind": "sock"}]


def owners_with(number: int, rows: slice, columns: slice) -> np.ndarray:
    owners = np.zeros((540, 640), np.uint8)
    owners[rows, columns] = number
    return owners


class TargetTest(unittest.TestCase):
    def test_a_box_goes_to_network_pixels(self) -> None:
        owners = owners_with(1, slice(60, 160), slice(100, 200))
        target = target_of(owners, THINGS, areas_of(owners), SIDE)
        np.testing.assert_array_equal(target.labels, [3])
        np.testing.assert_allclose(target.boxes, [[50, 55, 100, 105]])

    def test_a_mask_is_the_covered_share_of_each_cell(self) -> None:
        owners = owners_with(
            1, slice(62, 158), slice(100, 200)
        )  # network rows 56-103, columns 50-99
        mask = target_of(owners, THINGS, areas_of(owners), SIDE).masks[0]
        self.assertEqual(mask.shape, (SIDE // 4, SIDE // 4))
        self.assertEqual(mask[14, 13], 255)
        self.assertAlmostEqual(int(mask[14, 12]), 128, delta=1)  # columns 48-51, half of them
        self.assertEqual(mask[13, 13], 0)

    def test_what_is_no_dirt_is_not_asked_for(self) -> None:
        owners = owners_with(2, slice(60, 160), slice(100, 200))
        target = target_of(owners, THINGS, areas_of(owners), SIDE)
        self.assertEqual((len(target.labels), len(target.ignored)), (0, 0))

    def test_a_scrap_is_to_be_ignored(self) -> None:
        owners = owners_with(1, slice(0, 9), slice(0, 100))
        target = target_of(owners, THINGS, areas_of(owners), SIDE)
        self.assertEqual((len(target.labels), len(target.ignored)), (0, 1))

    def test_smallness_is_of_network_pixels(self) -> None:
        owners = owners_with(1, slice(0, 70), slice(0, 70))
        owners[60:70, 60:70] = 0  # 4800 pixels stay
        counts = [
            next(pieces_of(owners, THINGS, {1: 4800}, scale)).counts for scale in (0.25, 0.2499)
        ]
        self.assertEqual(counts, [True, False])  # 300 and 299.8 network pixels

    def test_narrowness_is_of_network_pixels(self) -> None:
        for rows, counts in ((32, True), (31, False)):  # 16 and 15.5 network pixels
            owners = owners_with(1, slice(0, rows), slice(0, 100))
            piece = next(pieces_of(owners, THINGS, {1: 3200}, 0.5))
            self.assertEqual(piece.counts, counts)

    def test_a_small_share_of_a_thing_is_to_be_ignored(self) -> None:
        owners = owners_with(1, slice(0, 40), slice(0, 50))  # 2000 pixels
        pieces = list(pieces_of(owners, THINGS, {1: 4001, 2: 0}, 0.5))
        self.assertFalse(pieces[0].counts)
        pieces = list(pieces_of(owners, THINGS, {1: 4000, 2: 0}, 0.5))
        self.assertTrue(pieces[0].counts)


class SampleTest(unittest.TestCase):
    """One scene of 576 x 576 with a piece of dirt of 60 x 60 in its middle."""

    def setUp(self) -> None:
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        folder = Path(scratch.name)
        self.owners = np.zeros((576, 576), np.uint8)
        self.owners[258:318, 258:318] = 1
        np.save(folder / "owners.npy", self.owners[None])
        np.save(folder / "pictures.npy", np.full((1, 576, 576, 3), 200, np.uint8))
        line = {"scene": 0, "style": "tiled", "things": THINGS}
        (folder / "index.jsonl").write_text(json.dumps(line) + "\n")
        self.scenes = Scenes(folder)

    def test_looks_come_before_patches(self) -> None:
        samples = SegmentationSamples(self.scenes, 1, 4, first_patch=2)
        sides = [samples[number][0].shape for number in range(4)]
        self.assertEqual(sides, [(LOOK_SIDE, LOOK_SIDE, 3)] * 2 + [(SIDE, SIDE, 3)] * 2)
        for number in range(4):
            for mask in samples[number][1].masks:
                self.assertEqual(mask.shape, (sides[number][0] // 4, sides[number][1] // 4))

    def test_most_looks_show_dirt_and_all_stay_in_the_scene(self) -> None:
        shown = 0
        for seed in range(200):
            window = look_window(np.random.default_rng(seed), self.owners, THINGS)
            part = self.owners[window]
            self.assertEqual(part.shape[0], part.shape[1])
            self.assertTrue(170 <= part.shape[0] <= 260, part.shape)
            shown += bool((part == 1).any())
        self.assertGreater(shown, 120)  # 63 % are made round it
        self.assertLess(shown, 200)


class OrderTest(unittest.TestCase):
    def test_a_pass_shows_every_scene_once(self) -> None:
        passed = [position_of(4, number, 10) for number in range(10, 20)]
        self.assertEqual(sorted(passed), list(range(10)))
        self.assertNotEqual(passed, [position_of(4, number, 10) for number in range(20, 30)])
