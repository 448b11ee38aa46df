"""Bad input ends a command with one line that names it."""

import subprocess
import tempfile
import unittest
from argparse import ArgumentTypeError
from pathlib import Path

import torch

import options

TRAINING = Path(__file__).resolve().parent.parent


class NumberTest(unittest.TestCase):
    def test_numbers_begin_where_they_have_to(self) -> None:
        self.assertEqual((options.positive("1"), options.not_negative("0")), (1, 0))
        for read, text in (
            (options.positive, "0"),
            (options.not_negative, "-1"),
            (options.positive, "2.5"),
        ):
            with self.assertRaisesRegex(ArgumentTypeError, f"'{text}' is not a whole number from"):
                read(text)


class CommandTest(unittest.TestCase):
    def setUp(self) -> None:
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.folder = Path(scratch.name)

    def assert_refused(self, reason: str, script: str, *arguments: object) -> None:
        """The last line has the reason; what hangs fails."""
        done = subprocess.run(
            ["/usr/bin/python3", TRAINING / script, *map(str, arguments)],
            capture_output=True, text=True, check=False, timeout=60,
        )  # fmt: skip
        self.assertNotEqual(done.returncode, 0)
        self.assertNotIn("Traceback", done.stderr)
        self.assertIn(reason, done.stderr.splitlines()[-1])

    def written(self, name: str, content: bytes) -> Path:
        path = self.folder / name
        path.parent.mkdir(exist_ok=True)
        path.write_bytes(content)
        return path

    def test_a_picture_that_cannot_be_read_does_not_hang(self) -> None:
        broken = self.written("pictures/broken.jpg", b"no picture")
        self.assert_refused(
            f"'{broken}' is not a picture that can be read", "render_frames.py", "--frames", 2,
            "--output", self.folder / "out", "--photographs", broken.parent,
        )  # fmt: skip

    def test_no_frame_is_nothing_to_render(self) -> None:
        self.assert_refused(
            "there is nothing to render", "render_frames.py", "--frames", 0, "--output", self.folder
        )

    def test_an_output_that_is_a_file(self) -> None:
        file = self.written("file", b"")
        self.assert_refused(
            f"'{file}' is not a folder", "render_data.py", "--scenes", 1, "--output", file
        )

    def test_data_without_scenes(self) -> None:
        for name in ("index.jsonl", "pictures.npy", "owners.npy"):
            self.written(name, b"")
        self.assert_refused(
            "has no scenes", "train.py", "segment", "--data", self.folder,
            "--output", self.folder / "out",
        )  # fmt: skip

    def test_weights_that_are_none(self) -> None:
        output = self.folder / "x.onnx"
        torch.save({"other": torch.zeros(1)}, self.folder / "other.pt")
        for weights in (self.written("text.pt", b"text"), self.folder / "other.pt"):
            self.assert_refused(
                f"'{weights}' is not a network.pt of train.py classify", "export.py", "classify",
                "--weights", weights, "--output", output,
            )  # fmt: skip
        self.assertFalse(output.exists())

    def test_a_model_that_is_none(self) -> None:
        text = self.written("text.onnx", b"text")
        self.assert_refused(
            f"'{text}' is not an ONNX file", "quantise.py", "float16", "--model", text,
            "--output", self.folder / "x.onnx",
        )  # fmt: skip

    def test_frames_that_the_index_does_not_know(self) -> None:
        self.written("truth/index.jsonl", b'{"frame": "0000.jpg"}\n')
        self.written("frames/0000.jpg", b"")
        self.written("frames/0001.jpg", b"")
        model = self.written("x.onnx", b"")
        self.assert_refused(
            "'0001.jpg' is not both in", "evaluate.py", "segment", "--frames", self.folder,
            "--model", model,
        )  # fmt: skip


if __name__ == "__main__":
    unittest.main()
