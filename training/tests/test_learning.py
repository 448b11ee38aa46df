"""Boxes, assignment, losses and decoding, with numbers worked out by hand."""

import math
import unittest

import torch

from assign import assign
from boxes import ciou, contains, iou
from data import Batch
from losses import cell_loss, mask_loss, side_loss
from network import BINS, Raw, anchor_grid, corner_boxes, side_distances
from train import rate_at


def box(*corners: float) -> torch.Tensor:
    return torch.tensor(corners, dtype=torch.float32)


class BoxTest(unittest.TestCase):
    def test_iou_of_halves_that_meet(self) -> None:
        # Shared 2 x 2 of 8 + 8 - 4.
        self.assertAlmostEqual(float(iou(box(0, 0, 4, 2), box(2, 0, 6, 2))), 1 / 3, places=5)

    def test_iou_of_boxes_apart_is_zero(self) -> None:
        self.assertEqual(float(iou(box(0, 0, 1, 1), box(2, 2, 3, 3))), 0)

    def test_ciou_takes_off_for_distance(self) -> None:
        # 1/3 less 2^2 / (6^2 + 2^2); the ratios of the sides are the same.
        self.assertAlmostEqual(float(ciou(box(0, 0, 4, 2), box(2, 0, 6, 2))), 1 / 3 - 0.1, places=5)

    def test_ciou_takes_off_for_another_ratio(self) -> None:
        # IoU 1/2, centres 1 apart, diagonal^2 20, ratio term 4 / pi^2 (atan 2 - atan 1)^2.
        ratio = 4 / math.pi**2 * (math.atan(2) - math.atan(1)) ** 2
        expected = 0.5 - 1 / 20 - ratio**2 / (0.5 + ratio)
        self.assertAlmostEqual(float(ciou(box(0, 0, 2, 2), box(0, 0, 4, 2))), expected, places=5)

    def test_a_box_does_not_contain_its_border(self) -> None:
        inside = contains(
            box(0, 0, 10, 10)[None], torch.tensor([[5.0, 5.0], [10.0, 5.0], [11.0, 5.0]])
        )
        self.assertEqual(inside.tolist(), [[True, False, False]])


def assigned(scores, boxes, centres, labels, wanted):
    valid = torch.ones(1, len(labels), dtype=torch.bool)
    return assign(torch.tensor([scores]), torch.tensor([boxes]), torch.tensor(centres),
                  torch.tensor([labels]), torch.tensor([wanted]), valid)  # fmt: skip


class AssignmentTest(unittest.TestCase):
    def test_only_anchors_inside_answer(self) -> None:
        piece = [0.0, 0.0, 10.0, 10.0]
        centres = [[4.0, 4.0], [12.0, 4.0], [4.0, 12.0], [12.0, 12.0]]
        found = assigned([[0.5]] * 4, [piece] * 4, centres, [0], [piece])
        self.assertEqual(found.positive.tolist(), [[True, False, False, False]])
        # The best anchor has to reach the best IoU, here 1.
        torch.testing.assert_close(found.quality, torch.tensor([[1.0, 0, 0, 0]]))

    def test_the_worse_score_has_to_reach_less(self) -> None:
        piece = [0.0, 0.0, 10.0, 10.0]
        found = assigned([[0.64], [0.16]], [piece] * 2, [[4.0, 4.0], [5.0, 5.0]], [0], [piece])
        # Equal boxes: qualities are as the square roots of the scores, 0.8 to 0.4.
        torch.testing.assert_close(found.quality, torch.tensor([[1.0, 0.5]]))

    def test_ten_anchors_answer_at_most(self) -> None:
        piece = [0.0, 0.0, 100.0, 100.0]
        scores = [[0.1 + 0.05 * i] for i in range(13)]
        centres = [[7.0 * i + 1, 50.0] for i in range(13)]
        found = assigned(scores, [piece] * 13, centres, [0], [piece])
        self.assertEqual(found.positive.tolist(), [[False] * 3 + [True] * 10])

    def test_a_rival_anchor_takes_the_piece_that_its_box_fits(self) -> None:
        pieces = [[0.0, 0.0, 10.0, 10.0], [0.0, 0.0, 20.0, 20.0]]
        found = assigned([[0.5, 0.5]], [pieces[1]], [[5.0, 5.0]], [0, 1], pieces)
        self.assertEqual(found.piece.tolist(), [[1]])

    def test_nothing_is_positive_without_pieces(self) -> None:
        found = assign(torch.rand(1, 4, 2), torch.rand(1, 4, 4), torch.rand(4, 2),
                       torch.zeros(1, 1, dtype=torch.long), torch.zeros(1, 1, 4),
                       torch.zeros(1, 1, dtype=torch.bool))  # fmt: skip
        self.assertFalse(found.positive.any())
        self.assertEqual(float(found.quality.sum()), 0)


class SideTest(unittest.TestCase):
    def test_an_even_distribution_costs_the_logarithm_of_its_bins(self) -> None:
        loss = side_loss(torch.zeros(1, 4 * BINS), torch.full((1, 4), 2.25))
        self.assertAlmostEqual(float(loss), math.log(16), places=5)

    def test_the_best_distribution_costs_its_entropy(self) -> None:
        logits = torch.full((1, 4, BINS), -50.0)
        logits[..., 2], logits[..., 3] = math.log(0.75), math.log(0.25)
        expected = -(0.75 * math.log(0.75) + 0.25 * math.log(0.25))
        loss = side_loss(logits.view(1, -1), torch.full((1, 4), 2.25))
        self.assertAlmostEqual(float(loss), expected, places=5)

    def test_expected_distances(self) -> None:
        logits = torch.full((1, 4, BINS, 1), -50.0)
        logits[0, 0, 3] = 50.0
        logits[0, 1, 2] = logits[0, 1, 4] = 50.0
        logits[0, 2, 0] = 50.0
        logits[0, 3, 15] = 50.0
        distances = side_distances(logits.view(1, -1, 1))[0, :, 0]
        torch.testing.assert_close(distances, torch.tensor([3.0, 3.0, 0.0, 15.0]))

    def test_boxes_lie_round_their_anchors(self) -> None:
        logits = torch.full((1, 4, BINS, 1), -50.0)
        for side, distance in enumerate((1, 2, 3, 0)):
            logits[0, side, distance] = 50.0
        boxes = corner_boxes(
            logits.view(1, -1, 1), torch.tensor([[12.0, 20.0]]), torch.tensor([[8.0]])
        )
        torch.testing.assert_close(boxes, torch.tensor([[[4.0, 4.0, 36.0, 20.0]]]))

    def test_anchors_of_three_grids_in_order(self) -> None:
        centres, strides = anchor_grid(64)
        self.assertEqual(len(centres), 64 + 16 + 4)
        self.assertEqual(centres[1].tolist(), [12, 4])
        self.assertEqual((centres[64].tolist(), float(strides[64])), ([8, 8], 16))
        self.assertEqual((centres[-1].tolist(), float(strides[-1])), ([48, 48], 32))


class MaskTest(unittest.TestCase):
    def test_undecided_masks_cost_the_logarithm_of_two_in_their_box(self) -> None:
        boxes = torch.tensor([[2.0, 2.0, 6.0, 6.0]])
        loss = mask_loss(torch.zeros(1, 32), torch.zeros(32, 8, 8), torch.ones(1, 8, 8), boxes)
        # One cell round the box counts too: 6 x 6 cells by an area of 4 x 4.
        self.assertAlmostEqual(float(loss), math.log(2) * 36 / 16, places=5)


class CellTest(unittest.TestCase):
    def loss(self, ignored: list[float]) -> float:
        """Of undecided cells, 4 x 4 of two classes, one of which shows a piece of the second."""
        masks = torch.zeros(1, 1, 8, 8, dtype=torch.uint8)
        masks[0, 0, 2:4, :2] = 255
        batch = Batch(
            torch.zeros(1, 32, 32, 3, dtype=torch.uint8), torch.tensor([[1]]),
            torch.tensor([[[0.0, 8.0, 8.0, 16.0]]]), masks, torch.tensor([[True]]),
            torch.tensor([[ignored]]),
        )  # fmt: skip
        nothing = torch.zeros(1, 1, 1)
        raw = Raw(nothing, nothing, nothing, nothing, torch.zeros(1, 2, 4, 4))
        return float(cell_loss(raw, batch, contains(batch.ignored, anchor_grid(32)[0]).any(dim=1)))

    def test_undecided_cells_cost_the_logarithm_of_two_each(self) -> None:
        self.assertAlmostEqual(self.loss([0.0] * 4), 32 * math.log(2), places=4)

    def test_ignored_cells_count_where_they_show_something(self) -> None:
        # The left half: 8 cells, but for the one with the piece.
        self.assertAlmostEqual(self.loss([0.0, 0.0, 16.0, 32.0]), 18 * math.log(2), places=4)


class RateTest(unittest.TestCase):
    def test_the_rate_rises_then_falls(self) -> None:
        self.assertAlmostEqual(rate_at(0, 1000), 1 / 30)
        self.assertAlmostEqual(rate_at(30, 1000), 1.0)
        self.assertLess(rate_at(999, 1000), 0.021)
