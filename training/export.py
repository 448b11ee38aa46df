#!/usr/bin/python3
"""Writes trained networks as ONNX files in the layout that the library reads.

    export.py segment  --weights out/training/segment/network.pt  --output dirt-seg.onnx
    export.py classify --weights out/training/classify/network.pt --output fece-check.onnx

Segmentation: images [1, 3, 320, 320] -> output0 [1, 4 + classes + 32, 2100], for each anchor centre
x, centre y, width, height in network pixels, class scores in 0..1, coefficients; output1
[1, 32, 80, 80], prototypes. Classifier: input [1, 3, 224, 224] -> output [1, 2], logits.
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

BATCH = 1  # the library runs it once for each patch
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


def segmentation_model(model: Segmenter) -> onnx.ModelProto:
    metadata = {
        "names": names_of(CLASSES), "task": "segment", "stride": "32", "imgsz": str([SIDE, SIDE]),
    }  # fmt: skip
    example = torch.zeros(BATCH, 3, SIDE, SIDE)
    return to_onnx(Deployed(model), example, ["images"], ["output0", "output1"], metadata)


def classifier_model(model: Classifier) -> onnx.ModelProto:
    metadata = {"names": names_of(VERDICTS), "task": "classify"}
    return to_onnx(model, torch.zeros(1, 3, CROP, CROP), ["input"], ["output"], metadata)


def trained(model: nn.Module, weights: Path, task: str) -> nn.Module:
    try:
        model.load_state_dict(torch.load(weights, map_location="cpu"))
    except (UnpicklingError, EOFError, RuntimeError, TypeError) as error:
        reason = str(error).partition("\n")[0]
        raise SystemExit(
            f"--weights: '{weights}' is not a network.pt of train.py {task}: {reason}"
        ) from None
    return model


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("task", choices=("segment", "classify"))
    parser.add_argument("--weights", type=present_file, required=True)
    parser.add_argument("--output", type=Path, required=True)
    options = parser.parse_args()
    if options.task == "segment":
        model = trained(Segmenter(len(CLASSES)), options.weights, options.task)
        exported = segmentation_model(model)
    else:
        exported = classifier_model(trained(Classifier(), options.weights, options.task))
    options.output.parent.mkdir(parents=True, exist_ok=True)
    options.output.write_bytes(exported.SerializeToString(deterministic=True))
    print(f"{options.output}: {options.output.stat().st_size} bytes")
    return 0


if __name__ == "__main__":
    sys.exit(main())
