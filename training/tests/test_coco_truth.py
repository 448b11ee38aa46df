"""The truth of rendered frames as COCO's ground truth, worked out by hand."""

import unittest

import numpy as np

from coco_truth import annotations_of, run_lengths


class RunLengthsTest(unittest.TestCase):
    def test_columns_from_top_to_bottom_beginning_with_zeros(self) -> None:
        mask = np.array([[0, 1, 1], [0, 1, 0]], bool)
        self.assertEqual(run_lengths(mask), {"size": [2, 3], "counts": [2, 3, 1]})

    def test_one_whose_first_pixel_is_set(self) -> None:
        self.assertEqual(run_lengths(np.ones((2, 2), bool))["counts"], [0, 4])

    def test_one_without_a_pixel(self) -> None:
        self.assertEqual(run_lengths(np.zeros((2, 2), bool))["counts"], [4])


class AnnotationsTest(unittest.TestCase):
    def setUp(self) -> None:
        owners = np.zeros((1080, 1920), np.uint8)
        owners[100:200, 300:350] = 1
        owners[500:504, 700:704] = 2
        things = [
            {"number": 1, "label": 4, "kind": "mud track"},
            {"number": 2, "label": 0, "kind": "liquid spill"},
        ]
        self.annotations = annotations_of(owners, things)

    def test_a_piece_has_its_box_and_its_mask(self) -> None:
        piece = self.annotations[0]
        self.assertEqual(piece["category_id"], 4)
        self.assertEqual(piece["bbox"], [300.0, 100.0, 50.0, 100.0])
        self.assertEqual((piece["area"], piece["iscrowd"]), (5000, 0))
        counts = piece["segmentation"]["counts"]
        self.assertEqual(counts[:3], [300 * 1080 + 100, 100, 980])
        self.assertEqual((len(counts), sum(counts)), (101, 1080 * 1920))

    def test_a_scrap_is_a_crowd(self) -> None:
        scrap = self.annotations[1]
        self.assertEqual((scrap["bbox"], scrap["iscrowd"]), ([700.0, 500.0, 4.0, 4.0], 1))
