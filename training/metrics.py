"""Average precision with confidence intervals, from detections matched to the truth.

A unit is what the detector sees at once (a patch, or a whole frame). In each unit the detections of
a class, best first, each take the free piece that they overlap most, where that is at least the
threshold. One that takes none is false, unless it lies on a piece that is to be ignored.
"""

from dataclasses import dataclass, field

import numpy as np

THRESHOLDS = np.round(np.arange(0.5, 0.96, 0.05), 2)
RECALLS = np.linspace(0, 1, 101)
RESAMPLES = 300
Array = np.ndarray


@dataclass
class Tally:
    """What was found of one class: a row a detection, and pieces counted by unit."""

    scores: list[float] = field(default_factory=list)
    hits: list[Array] = field(default_factory=list)  # bool [thresholds]
    ignored: list[Array] = field(default_factory=list)  # bool [thresholds]
    sources: list[int] = field(default_factory=list)  # number of the frame
    pieces: dict[int, int] = field(default_factory=dict)  # by frame


def match(overlaps: Array, counts: Array) -> tuple[Array, Array]:
    """Hits and ignored ones, bool [detections, thresholds], of overlaps [detections, pieces] of
    detections in falling order of score; `counts` marks the pieces that are not to be ignored."""
    hits = np.zeros((len(overlaps), len(THRESHOLDS)), bool)
    ignored = np.zeros_like(hits)
    for column, threshold in enumerate(THRESHOLDS):
        free = counts.copy()
        for row, overlap in enumerate(overlaps):
            candidates = np.where(free, overlap, -1.0)
            best = int(candidates.argmax()) if len(candidates) else -1
            if best >= 0 and candidates[best] >= threshold:
                hits[row, column], free[best] = True, False
            else:
                ignored[row, column] = bool((overlap[~counts] >= threshold).any())
    return hits, ignored


def add(tally: Tally, frame: int, scores: Array, overlaps: Array, counts: Array,
        covered: Array) -> None:  # fmt: skip
    """One unit's detections of one class. `covered` are those that lie mostly on what is to be
    ignored, whatever their outline."""
    order = np.argsort(-scores, kind="stable")
    hits, ignored = match(overlaps[order], counts)
    ignored |= covered[order][:, None] & ~hits
    tally.scores += scores[order].tolist()
    tally.hits += list(hits)
    tally.ignored += list(ignored)
    tally.sources += [frame] * len(order)
    tally.pieces[frame] = tally.pieces.get(frame, 0) + int(counts.sum())


class Curve:
    """Average precision of one class under any weighting of the frames."""

    def __init__(self, tally: Tally) -> None:
        order = np.argsort(-np.array(tally.scores, float), kind="stable")
        shape = (-1, len(THRESHOLDS))
        self.hits = np.array(tally.hits, bool).reshape(shape)[order].astype(float)
        self.false = (1 - self.hits) * ~np.array(tally.ignored, bool).reshape(shape)[order]
        self.sources = np.array(tally.sources, int)[order]
        self.pieces = tally.pieces

    def precision(self, weights: Array) -> Array | None:
        """Average precision at each threshold; None when there is no piece."""
        total = sum(weights[frame] * count for frame, count in self.pieces.items())
        if total == 0:
            return None
        share = weights[self.sources][:, None]
        found = np.cumsum(self.hits * share, axis=0)
        wrong = np.cumsum(self.false * share, axis=0)
        precision = found / np.maximum(found + wrong, 1e-9)
        precision = np.maximum.accumulate(precision[::-1], axis=0)[::-1]
        result = []
        for column in range(len(THRESHOLDS)):
            places = np.searchsorted(found[:, column] / total, RECALLS - 1e-9)
            padded = np.append(precision[:, column], 0.0)
            result.append(padded[np.minimum(places, len(padded) - 1)].mean())
        return np.array(result)


def mean_precision(curves: dict[int, Curve], weights: Array) -> Array:
    values = [value for curve in curves.values() if (value := curve.precision(weights)) is not None]
    return np.mean(values, axis=0) if values else np.zeros(len(THRESHOLDS))


@dataclass
class Figure:
    """A measure with its 95 % confidence interval."""

    value: float
    low: float
    high: float

    def record(self) -> list[float]:
        return [round(self.value, 4), round(self.low, 4), round(self.high, 4)]

    def __str__(self) -> str:
        return f"{self.value:.3f} ({self.low:.3f} to {self.high:.3f})"


def interval(value: float, samples: Array) -> Figure:
    low, high = np.quantile(samples, [0.025, 0.975])
    return Figure(float(value), float(low), float(high))


def resampled(frames: int, seed: int = 0) -> Array:
    """How often each frame is drawn in each of the resamples, [RESAMPLES, frames]."""
    rng = np.random.default_rng(seed)
    return np.stack([np.bincount(rng.integers(0, frames, frames), minlength=frames)
                     for _ in range(RESAMPLES)]).astype(float)  # fmt: skip


def average_precisions(tallies: dict[int, Tally], frames: int) -> dict[str, Figure]:
    curves = {label: Curve(tally) for label, tally in tallies.items()}
    whole = mean_precision(curves, np.ones(frames))
    samples = np.stack([mean_precision(curves, weights) for weights in resampled(frames)])
    return {
        "mAP50": interval(whole[0], samples[:, 0]),
        "mAP50-95": interval(whole.mean(), samples.mean(axis=1)),
    }


def mean_with_interval(counts: Array) -> Figure:
    samples = resampled(len(counts)) @ counts / len(counts)
    return interval(float(np.mean(counts)), samples)


def ratio_with_interval(hits: Array, cases: Array) -> Figure:
    """Share of `hits` among `cases`, both counts by frame."""
    draws = resampled(len(cases))
    samples = (draws @ hits) / np.maximum(draws @ cases, 1e-9)
    return interval(float(hits.sum() / max(cases.sum(), 1e-9)), samples)
