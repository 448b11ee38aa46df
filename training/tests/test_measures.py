"""Average precision, worked out by hand."""

import unittest

import numpy as np

import metrics


def tally_of(scores, hits, pieces) -> metrics.Tally:
    tally = metrics.Tally()
    for number, (score, hit) in enumerate(zip(scores, hits)):
        tally.scores.append(score)
        tally.hits.append(np.full(10, hit))
        tally.ignored.append(np.zeros(10, bool))
        tally.sources.append(number % 2)
    tally.pieces = pieces
    return tally


class CurveTest(unittest.TestCase):
    def test_a_false_one_between_two_right_ones(self) -> None:
        curve = metrics.Curve(tally_of([0.7, 0.9, 0.8], [True, True, False], {0: 2}))
        # 51 recalls up to 0.5 at precision 1, 50 beyond at 2/3.
        expected = (51 + 50 * 2 / 3) / 101
        self.assertAlmostEqual(curve.precision(np.ones(2))[0], expected)

    def test_what_is_never_found_counts_zero(self) -> None:
        curve = metrics.Curve(tally_of([0.9], [True], {0: 4}))
        self.assertAlmostEqual(curve.precision(np.ones(2))[0], 26 / 101)

    def test_a_class_without_pieces_has_no_precision(self) -> None:
        self.assertIsNone(metrics.Curve(tally_of([0.9], [False], {})).precision(np.ones(2)))

    def test_a_frame_drawn_twice_counts_twice(self) -> None:
        curve = metrics.Curve(tally_of([0.9, 0.8], [False, True], {1: 1}))
        # One false (frame 0, drawn once) before two right ones (frame 1, drawn twice).
        self.assertAlmostEqual(curve.precision(np.array([1.0, 2.0]))[0], 2 / 3)


class MatchTest(unittest.TestCase):
    def test_a_piece_is_found_once(self) -> None:
        hits, ignored = metrics.match(np.array([[0.9], [0.8]]), np.array([True]))
        self.assertEqual(hits[:, 0].tolist(), [True, False])
        self.assertFalse(ignored.any())

    def test_higher_thresholds_need_more(self) -> None:
        hits, _ = metrics.match(np.array([[0.72]]), np.array([True]))
        self.assertEqual(hits[0].tolist(), [True] * 5 + [False] * 5)

    def test_on_a_scrap_nothing_is_false(self) -> None:
        hits, ignored = metrics.match(np.array([[0.6]]), np.array([False]))
        self.assertFalse(hits.any())
        self.assertTrue(ignored[0, 0])

    def test_nothing_to_find(self) -> None:
        hits, ignored = metrics.match(np.zeros((1, 0)), np.zeros(0, bool))
        self.assertFalse(hits.any() or ignored.any())


class IntervalTest(unittest.TestCase):
    def test_equal_frames_leave_no_doubt(self) -> None:
        figure = metrics.mean_with_interval(np.full(20, 3.0))
        self.assertEqual((figure.value, figure.low, figure.high), (3.0, 3.0, 3.0))

    def test_different_frames_leave_some(self) -> None:
        figure = metrics.mean_with_interval(np.arange(20.0))
        self.assertLess(figure.low, 9.5)
        self.assertGreater(figure.high, 9.5)
