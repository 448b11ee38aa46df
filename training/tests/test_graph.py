"""Exported graphs give what the networks give."""

import unittest

import onnx
import torch

from data import CLASSES
from export import Deployed, classifier_model, segmentation_model
from network import Classifier, Segmenter
from onnx_graph import CONVOLUTIONS, body_of, initializers, run
from quantise import ranges_of, to_float16, to_static

TOLERANCE = 2e-4  # of single precision over some seventy layers, normalisation folded into weights


def shaken(model: torch.nn.Module) -> torch.nn.Module:
    """Statistics of normalisation away from 0 and 1, so that folding them matters."""
    torch.manual_seed(3)
    for part in model.modules():
        if isinstance(part, torch.nn.BatchNorm2d):
            torch.nn.init.uniform_(part.running_mean, -0.3, 0.3)
            torch.nn.init.uniform_(part.running_var, 0.5, 1.5)
            torch.nn.init.uniform_(part.bias, -0.2, 0.2)
    return model.eval()


class SegmentationGraphTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls) -> None:
        cls.model = shaken(Segmenter(len(CLASSES)))
        cls.exported = segmentation_model(cls.model)
        cls.pictures = torch.rand(1, 3, 320, 320, generator=torch.Generator().manual_seed(1))

    def copied(self) -> onnx.ModelProto:
        return onnx.ModelProto.FromString(self.exported.SerializeToString())

    def test_the_graph_has_the_layout_and_the_answers_of_the_network(self) -> None:
        graph = self.exported.graph
        values = run(list(graph.node), initializers(graph), {"images": self.pictures})
        with torch.no_grad():
            predictions, prototypes = Deployed(self.model)(self.pictures)
        self.assertEqual(tuple(values["output0"].shape), (1, 4 + 6 + 32, 2100))
        self.assertEqual(tuple(values["output1"].shape), (1, 32, 80, 80))
        torch.testing.assert_close(values["output0"], predictions, rtol=TOLERANCE, atol=0.02)
        torch.testing.assert_close(values["output1"], prototypes, rtol=TOLERANCE, atol=TOLERANCE)

    def test_half_precision_keeps_inputs_and_outputs(self) -> None:
        halved = to_float16(self.copied())
        onnx.checker.check_model(halved, full_check=True)
        for before, after in zip(self.exported.graph.output, halved.graph.output):
            self.assertEqual(before, after)
        self.assertLess(halved.ByteSize(), 0.6 * self.exported.ByteSize())

    def test_every_convolution_reads_eight_bits(self) -> None:
        ranges = ranges_of(self.exported, [self.pictures])
        quantised = to_static(self.copied(), [self.pictures])
        onnx.checker.check_model(quantised, full_check=True)
        maker = {name: node.op_type for node in quantised.graph.node for name in node.output}
        for node in quantised.graph.node:
            if node.op_type in CONVOLUTIONS:
                self.assertEqual(maker[node.input[0]], "DequantizeLinear", node.name)
        body = body_of(self.exported.graph)
        self.assertLessEqual({name for node in body for name in node.output}, set(ranges))
        self.assertLess(quantised.ByteSize(), 0.45 * self.exported.ByteSize())


class ClassifierGraphTest(unittest.TestCase):
    def test_the_graph_has_the_answers_of_the_network(self) -> None:
        model = shaken(Classifier())
        graph = classifier_model(model).graph
        picture = torch.randn(1, 3, 224, 224, generator=torch.Generator().manual_seed(2))
        values = run(list(graph.node), initializers(graph), {"input": picture})
        with torch.no_grad():
            expected = model(picture)
        torch.testing.assert_close(values["output"], expected, rtol=TOLERANCE, atol=TOLERANCE)
