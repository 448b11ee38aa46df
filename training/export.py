#!/usr/bin/python3
"""Writes trained networks as ONNX files in the layout that the library reads.

    export.py segment  --weights out/training/segment/network.pt  --output dirt-seg.onnx
    export.py classify --weights out/training/classify/network.pt --output fece-check.onnx

Segmentation: images [6, 3, 320, 320] -> output0 [6, 4 + classes + 32, 2100], for each anchor centre
x, centre y, width, height in network pixels, class scores in 0..1, coefficients; output1
[6, 32, 80, 80], prototypes. Classifier: input [1, 3, 224, 224] -> output [1, 2], logits.
"""

import argparse
import io
import sys
from pathlib import Path
from pickle import UnpicklingError

import onnx
import torch
from torch import Tensor, nn

from data import CLASSES, CROP, SIDE
from network import Classifier, Segmenter, anchor_grid, corner_boxes
from onnx_graph import tidied
from options import present_file

BATCH = 6
OPSET = 17
VERDICTS = ("not faeces", "faeces")


class Deployed(nn.Module):
    """The segmentation network with its boxes and scores decoded."""

    def __init__(self, model: Segmenter, side: int = SIDE) -> None:
        super().__init__()
        self.model = model
        centres, strides = anchor_grid(side)
        self.register_buffer("centres", centres)
        self.register_buffer("strides", strides)

    def forward(self, images: Tensor) -> tuple[Tensor, Tensor]:
        raw = self.model(images)
        corners = corner_boxes(raw.sides, self.centres, self.strides)
        near, far = corners.split(2, dim=2)
        boxes = torch.cat([(near + far) / 2, far - near], dim=2).transpose(1, 2)
        return torch.cat([boxes, raw.classes.sigmoid(), raw.coefficients], dim=1), raw.prototypes


def to_onnx(model: nn.Module, example: Tensor, inputs: list[str], outputs: list[str],
            metadata: dict[str, str]) -> onnx.ModelProto:  # fmt: skip
    stream = io.BytesIO()
    torch.onnx.export(
        model.eval(), example, stream, opset_version=OPSET, input_names=inputs, output_names=outputs
    )
    exported = tidied(onnx.load_from_string(stream.getvalue()))
    onnx.helper.set_model_props(exported, metadata)
    onnx.checker.check_model(exported, full_check=True)
    return exported


def names_of(values: tuple[str, ...]) -> str:
    return str(dict(enumerate(values)))


def segmentation_model(weights: dict[str, Tensor]) -> onnx.ModelProto:
    model = Segmenter(len(CLASSES))
    model.load_state_dict(weights)
    metadata = {
        "names": names_of(CLASSES), "task": "segment", "stride": "32", "imgsz": str([SIDE, SIDE]),
    }  # fmt: skip
    example = torch.zeros(BATCH, 3, SIDE, SIDE)
    return to_onnx(Deployed(model), example, ["images"], ["output0", "output1"], metadata)


def classifier_model(weights: dict[str, Tensor]) -> onnx.ModelProto:
    model = Classifier()
    model.load_state_dict(weights)
    metadata = {"names": names_of(VERDICTS), "task": "classify"}
    return to_onnx(model, torch.zeros(1, 3, CROP, CROP), ["input"], ["output"], metadata)


MODELS = {"segment": segmentation_model, "classify": classifier_model}


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("task", choices=MODELS)
    parser.add_argument("--weights", type=present_file, required=True)
    parser.add_argument("--output", type=Path, required=True)
    options = parser.parse_args()
    try:
        exported = MODELS[options.task](torch.load(options.weights, map_location="cpu"))
    except (UnpicklingError, EOFError, RuntimeError, TypeError) as error:
        reason = str(error).partition("\n")[0]
        raise SystemExit(
            f"--weights: '{options.weights}' is no network.pt of train.py {options.task}: {reason}"
        ) from None
    options.output.parent.mkdir(parents=True, exist_ok=True)
    options.output.write_bytes(exported.SerializeToString(deterministic=True))
    print(f"{options.output}: {options.output.stat().st_size} bytes")
    return 0


if __name__ == "__main__":
    sys.exit(main())
