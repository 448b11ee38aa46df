"""How well boxes agree. Boxes are corners x1, y1, x2, y2; leading dimensions broadcast."""

import math

import torch
from torch import Tensor

TINY = 1e-7


def iou(one: Tensor, other: Tensor) -> Tensor:
    """Intersection over union, 0..1."""
    low = torch.maximum(one[..., :2], other[..., :2])
    high = torch.minimum(one[..., 2:], other[..., 2:])
    shared = (high - low).clamp(min=0).prod(dim=-1)
    areas = (one[..., 2:] - one[..., :2]).prod(-1) + (other[..., 2:] - other[..., :2]).prod(-1)
    return shared / (areas - shared + TINY)


def ciou(one: Tensor, other: Tensor) -> Tensor:
    """Complete IoU: less for distant centres and for another ratio of the sides; at most 1."""
    overlap = iou(one, other)
    low = torch.minimum(one[..., :2], other[..., :2])
    high = torch.maximum(one[..., 2:], other[..., 2:])
    diagonal = (high - low).square().sum(-1) + TINY
    apart = ((one[..., :2] + one[..., 2:] - other[..., :2] - other[..., 2:]) / 2).square().sum(-1)
    sides, other_sides = one[..., 2:] - one[..., :2], other[..., 2:] - other[..., :2]
    angle = torch.atan(sides[..., 0] / (sides[..., 1] + TINY))
    other_angle = torch.atan(other_sides[..., 0] / (other_sides[..., 1] + TINY))
    ratio = (4 / math.pi**2) * (other_angle - angle).square()
    with torch.no_grad():
        weight = ratio / (1 - overlap + ratio + TINY)
    return overlap - apart / diagonal - weight * ratio


def contains(boxes: Tensor, points: Tensor) -> Tensor:
    """Whether boxes [..., M, 4] hold the points [A, 2] in their inside: [..., M, A]."""
    points = points.view(*[1] * (boxes.dim() - 1), -1, 2)
    near = points - boxes[..., None, :2]
    far = boxes[..., None, 2:] - points
    return torch.cat([near, far], dim=-1).amin(dim=-1) > 0
