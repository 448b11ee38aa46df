"""What bare_root_test.sh runs where nothing but the wheel is installed."""

from pathlib import Path

import cv2

import dirty_seg

detector = dirty_seg.Detector(
    "models/dirt-seg.onnx",
    "models/demo.yaml",
    fece_model="models/fece-check.onnx",
    fece_class_ids=[5],
)
result = detector(cv2.imread("models/frames/tiles.jpg"))
for box, score, name in zip(result.boxes, result.scores, result.names, strict=True):
    print(f"{name} {score:.3f} {box}")
assert "faeces" in result.names
with open("results.jsonl", "w") as lines:
    for path in sorted(Path("frames/frames").glob("*.jpg")):
        lines.write(detector(cv2.imread(str(path))).to_json(str(path)) + "\n")
