#!/usr/bin/python3
"""Renders the training scenes: dirt and other things on floors, with the map of what is where.

    /usr/bin/python3 training/render_data.py --output out/training/data --scenes 3000

Each scene has 576 x 576 pixels. pictures.npy holds them, bytes [scenes, 576, 576, 3] (B, G, R), and
owners.npy the number of the thing that each pixel shows, bytes [scenes, 576, 576]; index.jsonl has
one line a scene: its number, style and things. Scenes that the index has are not rendered again;
the same seed gives the same scenes in any order.
"""

import argparse
import json
import multiprocessing
import sys
import time
from functools import partial
from pathlib import Path

import cv2
import numpy as np

from options import folder_to_fill, positive
from render import camera, scene

SIDE = 576
QUALITY = 93  # of the camera's own compression


def make_room(folder: Path, scenes: int, is_begun: bool) -> None:
    """Arrays on disk, so that training reads windows of scenes without decoding any."""
    for name, shape in (("pictures", (SIDE, SIDE, 3)), ("owners", (SIDE, SIDE))):
        path = folder / f"{name}.npy"
        if not path.is_file():
            if is_begun:
                raise SystemExit(f"'{path}' is missing beside its index; remove '{folder}' first")
            np.lib.format.open_memmap(path, "w+", np.uint8, (scenes, *shape))
        there = len(np.load(path, mmap_mode="r"))
        if there != scenes:
            raise SystemExit(
                f"'{path}' is for {there} scenes, not {scenes}; remove '{folder}' first"
            )


def render_one(folder: Path, seed: int, number: int) -> str:
    """Writes one scene; returns its line of the index."""
    cv2.setNumThreads(1)
    rng = np.random.default_rng([seed, number])
    made = scene.render(rng, (SIDE, SIDE), scene.training_content(rng))
    picture = cv2.cvtColor(made.picture, cv2.COLOR_RGB2BGR)
    np.load(folder / "pictures.npy", mmap_mode="r+")[number] = camera.compressed(picture, QUALITY)
    np.load(folder / "owners.npy", mmap_mode="r+")[number] = made.owners
    things = [thing.record() for thing in made.things]
    return json.dumps({"scene": number, "style": made.style, "things": things})


def finished(index: Path) -> set[int]:
    if not index.is_file():
        return set()
    return {json.loads(line)["scene"] for line in index.read_text().splitlines()}


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--output", type=folder_to_fill, required=True)
    parser.add_argument("--scenes", type=positive, required=True)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--processes", type=positive, default=2)
    options = parser.parse_args()
    options.output.mkdir(parents=True, exist_ok=True)
    index = options.output / "index.jsonl"
    done = finished(index)
    make_room(options.output, options.scenes, bool(done))
    todo = [number for number in range(options.scenes) if number not in done]
    started = time.monotonic()
    render_scene = partial(render_one, options.output, options.seed)
    with multiprocessing.Pool(options.processes) as pool, index.open("a") as lines:
        for line in pool.imap(render_scene, todo, chunksize=4):
            lines.write(line + "\n")
            lines.flush()
    seconds = time.monotonic() - started
    print(f"{len(todo)} scenes in {seconds:.0f} s, {len(done)} were there already")
    return 0


if __name__ == "__main__":
    sys.exit(main())
