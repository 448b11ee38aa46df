"""Which anchors answer for which piece of dirt (task-aligned assignment).

An anchor's alignment with a piece is score^ALPHA * IoU^BETA: score of the piece's class, IoU of the
anchor's present box with the piece's. The TOPK best aligned anchors whose centres lie in the
piece's box answer for it; an anchor wanted by several takes the one that its box fits best.
"""

from typing import NamedTuple

import torch
from torch import Tensor

from boxes import ciou, contains

ALPHA, BETA, TOPK = 0.5, 6.0, 10
TINY = 1e-9


class Assignment(NamedTuple):
    positive: Tensor  # bool [N, A]
    piece: Tensor  # int64 [N, A]: which of the image's pieces; 0 where not positive
    quality: Tensor  # [N, A]: the class score to reach; 0 where not positive


@torch.no_grad()
def assign(scores: Tensor, boxes: Tensor, centres: Tensor, labels: Tensor, wanted: Tensor,
           valid: Tensor) -> Assignment:  # fmt: skip
    """scores [N, A, C] in 0..1, boxes [N, A, 4], centres [A, 2]; of M pieces an image, labels
    [N, M], boxes `wanted` [N, M, 4] and which are `valid` [N, M]."""
    own = scores.transpose(1, 2).gather(1, labels[..., None].expand(-1, -1, scores.shape[1]))
    overlap = ciou(wanted[:, :, None], boxes[:, None]).clamp(min=0)
    allowed = contains(wanted, centres) & valid[..., None]
    alignment = own.pow(ALPHA) * overlap.pow(BETA) * allowed
    chosen = best_aligned(alignment) & allowed
    chosen = without_rivals(chosen, overlap)
    positive = chosen.any(dim=1)
    piece = chosen.float().argmax(dim=1)
    return Assignment(positive, piece, qualities(chosen, alignment, overlap))


def best_aligned(alignment: Tensor) -> Tensor:
    """The TOPK anchors of each piece: bool [N, M, A]."""
    best = alignment.topk(min(TOPK, alignment.shape[2]), dim=2).indices
    return torch.zeros_like(alignment, dtype=torch.bool).scatter_(2, best, True)


def without_rivals(chosen: Tensor, overlap: Tensor) -> Tensor:
    """Leaves an anchor to the one piece, of those that chose it, that its box fits best."""
    fits = torch.where(chosen, overlap, torch.full_like(overlap, -1.0))
    best = torch.zeros_like(chosen).scatter_(1, fits.argmax(dim=1, keepdim=True), True)
    return chosen & best


def qualities(chosen: Tensor, alignment: Tensor, overlap: Tensor) -> Tensor:
    """Alignment, scaled so that a piece's best anchor has to reach the best IoU among them."""
    alignment, overlap = alignment * chosen, overlap * chosen
    scale = overlap.amax(dim=2, keepdim=True) / (alignment.amax(dim=2, keepdim=True) + TINY)
    return (alignment * scale).amax(dim=1)
