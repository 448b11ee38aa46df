"""Kills `detect` at random moments and goes on with --resume until the run ends.

    resume_test.py DIRTY_SEG NETWORKS [--kills N] [--seed N]

What is left has to equal what an unbroken run leaves, byte for byte but for times.
"""

import argparse
import json
import random
import signal
import subprocess
import sys
import tempfile
import time
from pathlib import Path

import cv2
import numpy as np

WIDTH, HEIGHT = 1920, 1080
# To the exit status. An interrupt ends the run in order unless it comes while networks load.
SIGNALS = {signal.SIGKILL: (-signal.SIGKILL,), signal.SIGINT: (-signal.SIGINT, 130)}
COLOURS = {"red": (0, 0, 255), "green": (0, 255, 0), "magenta": (255, 0, 255)}
# The second patch overlaps the first, so that parts of things meet.
CONFIG = "patch:\n  enable: true\n  patches: [[0, 0, 64, 64], [20, 10, 64, 64]]\n"
FORMS = "--merge --coco --yolo --polygons --crops --video".split()


def write_video(path: Path, frames: int, keep: float = 1.0) -> None:
    """Motion JPEG; with `keep`, cut short."""
    writer = cv2.VideoWriter(str(path), cv2.VideoWriter_fourcc(*"MJPG"), 10.0, (WIDTH, HEIGHT))
    for number in range(frames):
        picture = np.full((HEIGHT, WIDTH, 3), COLOURS["red"], np.uint8)
        cv2.putText(picture, str(number), (900, 500), 0, 9.0, (255, 255, 255), 9)
        writer.write(picture)
    writer.release()
    data = path.read_bytes()
    path.write_bytes(data[: int(len(data) * keep)])


def write_inputs(folder: Path) -> list[str]:
    """Pictures, two of one name, what cannot be read, and videos."""
    inputs = []
    for number, (name, colour) in enumerate(list(COLOURS.items()) * 3):
        sub = folder / f"sub{number}"
        sub.mkdir()
        size = (HEIGHT, WIDTH, 3) if number % 2 else (HEIGHT // 2, WIDTH // 2, 3)
        cv2.imwrite(str(sub / f"{name}.png"), np.full(size, colour, np.uint8))
        inputs.append(str(sub / f"{name}.png"))
    (folder / "broken.png").write_bytes(b"no picture")
    write_video(folder / "clip.avi", 14)
    write_video(folder / "cut.avi", 14, keep=0.6)
    inputs[2:2] = [str(folder / "missing.png"), str(folder / "cut.avi")]
    inputs[5:5] = [str(folder / "clip.avi"), str(folder / "broken.png")]
    return [*inputs, inputs[0], str(folder / "clip.avi"), str(folder / "clip.avi")]


def without_times(name: str, data: bytes) -> object:
    if name == "results.jsonl":
        rows = [json.loads(line) for line in data.splitlines()]
        for row in rows:
            del row["timing_ms"]
        return rows
    if name == "summary.json":
        summary = json.loads(data)
        summary["timing_ms"] = list(summary["timing_ms"])
        return summary
    return data


def contents(folder: Path) -> dict[str, object]:
    files = (path for path in sorted(folder.rglob("*")) if path.is_file())
    names = {str(path.relative_to(folder)): path for path in files}
    return {name: without_times(name, path.read_bytes()) for name, path in names.items()}


def count_lines(folder: Path) -> int:
    results = folder / "results.jsonl"
    return results.read_bytes().count(b"\n") if results.exists() else 0


def run_and_kill(command: list[str], folder: Path, chance: random.Random) -> bool:
    """Kills within the next frames. Returns whether that came before the run's own end."""
    kind = chance.choice([signal.SIGKILL, signal.SIGKILL, signal.SIGINT])
    begun = count_lines(folder)
    frames = chance.randrange(1, 6)
    delay = chance.uniform(0.0, 0.05)
    with subprocess.Popen(command, stderr=subprocess.PIPE, text=True) as process:
        # Less than what is there: the lines that were cut count as new ones, and a run that
        # only reads them again has none.
        deadline = time.monotonic() + chance.uniform(0.0, 2.0)
        while process.poll() is None:
            if count_lines(folder) >= begun + frames or time.monotonic() > deadline:
                time.sleep(delay)
                process.send_signal(kind)
                break
            time.sleep(0.002)
        errors = process.communicate()[1]
    if process.returncode not in (*SIGNALS[kind], 1):
        sys.exit(f"status {process.returncode}: {errors}")
    return process.returncode in SIGNALS[kind]


def differences(whole: dict[str, object], resumed: dict[str, object]) -> list[str]:
    found = [f"only unbroken: {name}" for name in whole.keys() - resumed.keys()]
    found += [f"only resumed: {name}" for name in resumed.keys() - whole.keys()]
    common = whole.keys() & resumed.keys()
    return found + [f"differs: {name}" for name in sorted(common) if whole[name] != resumed[name]]


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("program")
    parser.add_argument("networks", type=Path)
    parser.add_argument("--kills", type=int, default=8)
    parser.add_argument("--seed", type=int, default=time.time_ns() % 1000000)
    options = parser.parse_args()
    chance = random.Random(options.seed)
    print(f"seed {options.seed}")
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        (folder / "config.yaml").write_text(CONFIG)
        command = [
            options.program,
            *("detect", "--model", str(options.networks / "seg-b2-64.onnx")),
            *("--config", str(folder / "config.yaml")),
            *("--fece-model", str(options.networks / "classifier-224.onnx")),
            *("--fece-class-ids", "0", *FORMS),
        ]
        inputs = write_inputs(folder)
        whole = folder / "whole"
        unbroken = subprocess.run(
            [*command, "--output", str(whole), *inputs], capture_output=True, text=True
        )
        if unbroken.returncode != 1:  # two inputs cannot be read, one only in part
            sys.exit(f"status {unbroken.returncode}: {unbroken.stderr}")
        expected = contents(whole)
        kills = 0
        for run in range(1, 1000):
            resumed = folder / f"resumed{run}"
            again = [*command, "--output", str(resumed), "--resume", *inputs]
            while kills < options.kills and run_and_kill(again, resumed, chance):
                kills += 1
            last = subprocess.run(again, capture_output=True, text=True)
            found = differences(expected, contents(resumed))
            if last.returncode != 1 or found:
                print(last.stderr, *found, sep="\n")
                return 1
            if kills >= options.kills:
                break
        print(f"{kills} kills in {run} runs: each folder equals the unbroken run's")
    return 0


if __name__ == "__main__":
    sys.exit(main())
