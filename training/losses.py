"""What the segmentation network is punished for.

class   binary cross entropy of every anchor's class scores against the assignment's qualities;
        anchors in boxes that are to be ignored count only where they are positive
box     1 - CIoU of the positive anchors, weighted by quality
sides   cross entropy of each side's distribution with the two bins around the true distance
mask    binary cross entropy of the positive anchors' masks, within the piece's box, by its area
cells   binary cross entropy of what each cell of the finest grid shows, by the cells that show
        dirt: no anchor reads it, but every pixel teaches the layers below
"""

from typing import NamedTuple

import torch
from torch import Tensor
from torch.nn import functional

from assign import Assignment, assign
from boxes import ciou, contains
from data import Batch
from network import BINS, Raw, anchor_grid, corner_boxes

WEIGHTS = {"class": 1.0, "box": 7.5, "sides": 1.5, "mask": 5.0, "cells": 1.0}
MOST_MASKS = 400  # positive anchors whose masks a batch looks at


class Losses(NamedTuple):
    total: Tensor  # to be minimised
    parts: dict[str, float]  # unweighted


def side_loss(logits: Tensor, distances: Tensor) -> Tensor:
    """[P]: of P boxes' side logits [P, 4 * BINS] and true distances in strides [P, 4]."""
    distances = distances.clamp(0, BINS - 1.01)
    low = distances.floor()
    share = distances - low
    logs = logits.view(-1, 4, BINS).log_softmax(dim=2)
    near = logs.gather(2, low.long()[..., None])[..., 0]
    far = logs.gather(2, low.long()[..., None] + 1)[..., 0]
    return -((1 - share) * near + share * far).mean(dim=1)


def mask_loss(coefficients: Tensor, prototypes: Tensor, masks: Tensor, boxes: Tensor) -> Tensor:
    """[P]: of P anchors of one image; masks [P, h, w] in 0..1, boxes [P, 4] in prototype cells."""
    planes, height, width = prototypes.shape
    logits = (coefficients @ prototypes.reshape(planes, -1)).view(-1, height, width)
    errors = functional.binary_cross_entropy_with_logits(logits, masks, reduction="none")
    x = torch.arange(width, device=boxes.device) + 0.5
    y = torch.arange(height, device=boxes.device)[:, None] + 0.5
    left, top, right, bottom = boxes[:, :, None, None].unbind(1)
    inside = (x > left - 1) & (x < right + 1) & (y > top - 1) & (y < bottom + 1)
    area = ((right - left) * (bottom - top))[:, 0, 0].clamp(min=1)
    return (errors * inside).sum(dim=(1, 2)) / area


def all_masks(raw: Raw, batch: Batch, found: Assignment) -> Tensor:
    """Mean over the positive anchors, or over an even choice of them where there are many."""
    rows, anchors = found.positive.nonzero(as_tuple=True)
    if len(rows) > MOST_MASKS:
        kept = torch.linspace(0, len(rows) - 1, MOST_MASKS).long()
        rows, anchors = rows[kept], anchors[kept]
    scale = raw.prototypes.shape[-1] / batch.images.shape[1]
    total = raw.prototypes.sum() * 0
    for image in rows.unique().tolist():
        own = anchors[rows == image]
        piece = found.piece[image, own]
        total = (
            total
            + mask_loss(
                raw.coefficients[image][:, own].t(),
                raw.prototypes[image],
                batch.masks[image, piece].float() / 255,
                batch.boxes[image, piece] * scale,
            ).sum()
        )
    return total / max(len(rows), 1)


def class_loss(raw: Raw, batch: Batch, found: Assignment, ignored: Tensor) -> Tensor:
    """Sum over the anchors, not divided yet; `ignored` [N, A] are those in boxes to be ignored."""
    wanted = torch.zeros_like(raw.classes)
    labels = batch.labels.gather(1, found.piece)
    wanted.scatter_(1, labels[:, None], (found.quality * found.positive)[:, None])
    errors = functional.binary_cross_entropy_with_logits(raw.classes, wanted, reduction="none")
    return (errors * ~(ignored & ~found.positive)[:, None]).sum()


def cell_loss(raw: Raw, batch: Batch, ignored: Tensor) -> Tensor:
    """The cells are where the first anchors are; `ignored` as above."""
    side = raw.cells.shape[2]
    shares = functional.avg_pool2d(batch.masks.float() / 255, batch.masks.shape[2] // side)
    wanted = torch.zeros_like(raw.cells)
    labels = batch.labels[:, :, None, None].expand_as(shares)
    wanted.scatter_add_(1, labels, shares * batch.valid[:, :, None, None]).clamp_(max=1)
    errors = functional.binary_cross_entropy_with_logits(raw.cells, wanted, reduction="none")
    ignored = ignored[:, : side * side].view(-1, 1, side, side)
    is_floor = wanted.sum(dim=1, keepdim=True) == 0
    return (errors * ~(ignored & is_floor)).sum() / wanted.sum().clamp(min=1)


def segmentation_loss(raw: Raw, batch: Batch) -> Losses:
    centres, strides = (part.to(raw.classes.device) for part in anchor_grid(batch.images.shape[1]))
    boxes = corner_boxes(raw.sides, centres, strides)
    scores = raw.classes.detach().sigmoid().transpose(1, 2)
    found = assign(scores, boxes.detach(), centres, batch.labels, batch.boxes, batch.valid)
    ignored = contains(batch.ignored, centres).any(dim=1)
    weight = found.quality[found.positive]
    total_weight = found.quality.sum().clamp(min=1)
    rows, anchors = found.positive.nonzero(as_tuple=True)
    wanted = batch.boxes[rows, found.piece[rows, anchors]]
    centre, stride = centres[anchors], strides[anchors]
    distances = torch.cat([centre - wanted[:, :2], wanted[:, 2:] - centre], dim=1) / stride
    parts = {
        "class": class_loss(raw, batch, found, ignored) / total_weight,
        "box": ((1 - ciou(boxes[rows, anchors], wanted)) * weight).sum() / total_weight,
        "sides": (side_loss(raw.sides[rows, :, anchors], distances) * weight).sum() / total_weight,
        "mask": all_masks(raw, batch, found),
        "cells": cell_loss(raw, batch, ignored),
    }
    total = sum(WEIGHTS[name] * part for name, part in parts.items())
    return Losses(total, {name: float(part.detach()) for name, part in parts.items()})
