"""From maps of things to what a network is asked for."""

import unittest

import numpy as np

from data import MASK_SIDE, areas_of, pieces_of, position_of, target_of
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
        target = target_of(owners, THINGS, areas_of(owners))
        np.testing.assert_array_equal(target.labels, [3])
        np.testing.assert_allclose(target.boxes, [[50, 55, 100, 105]])

    def test_a_mask_is_the_covered_share_of_each_cell(self) -> None:
        owners = owners_with(
            1, slice(62, 158), slice(100, 200)
        )  # network rows 56-103, columns 50-99
        mask = target_of(owners, THINGS, areas_of(owners)).masks[0]
        self.assertEqual(mask.shape, (MASK_SIDE, MASK_SIDE))
        self.assertEqual(mask[14, 13], 255)
        self.assertAlmostEqual(int(mask[14, 12]), 128, delta=1)  # columns 48-51, half of them
        self.assertEqual(mask[13, 13], 0)

    def test_what_is_no_dirt_is_not_asked_for(self) -> None:
        owners = owners_with(2, slice(60, 160), slice(100, 200))
        target = target_of(owners, THINGS, areas_of(owners))
        self.assertEqual((len(target.labels), len(target.ignored)), (0, 0))

    def test_a_scrap_is_to_be_ignored(self) -> None:
        owners = owners_with(1, slice(0, 9), slice(0, 100))
        target = target_of(owners, THINGS, areas_of(owners))
        self.assertEqual((len(target.labels), len(target.ignored)), (0, 1))

    def test_smallness_is_of_network_pixels(self) -> None:
        owners = owners_with(1, slice(0, 18), slice(0, 18))  # 324 pixels
        counts = [
            next(pieces_of(owners, THINGS, {1: 324}, scale)).counts for scale in (0.497, 0.4965)
        ]
        self.assertEqual(counts, [True, False])  # 80.03 and 79.87 network pixels

    def test_a_small_share_of_a_thing_is_to_be_ignored(self) -> None:
        owners = owners_with(1, slice(0, 20), slice(0, 100))
        pieces = list(pieces_of(owners, THINGS, {1: 10001, 2: 0}, 0.5))
        self.assertFalse(pieces[0].counts)
        pieces = list(pieces_of(owners, THINGS, {1: 10000, 2: 0}, 0.5))
        self.assertTrue(pieces[0].counts)


class OrderTest(unittest.TestCase):
    def test_a_pass_shows_every_scene_once(self) -> None:
        passed = [position_of(4, number, 10) for number in range(10, 20)]
        self.assertEqual(sorted(passed), list(range(10)))
        self.assertNotEqual(passed, [position_of(4, number, 10) for number in range(20, 30)])
