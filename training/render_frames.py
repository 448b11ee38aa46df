#!/usr/bin/python3
"""Renders whole frames of 1920 x 1080 with what is on them, to measure a detector on.

    /usr/bin/python3 training/render_frames.py --output out/training/frames --frames 500 --clean 100

FOLDER/frames/NUMBER.jpg are the frames; the last --clean ones show no dirt. FOLDER/truth/NUMBER.png
has the number of the thing that each pixel shows, FOLDER/truth/index.jsonl a line a frame. Floors
are of styles that training does not show, unless --styles asks for others. With --photographs
FOLDER, dirt is laid on the pictures of that folder instead, each scaled and cut to the frame.
"""

import argparse
import json
import multiprocessing
import sys
from functools import partial
from pathlib import Path

import cv2
import numpy as np

from options import folder_to_fill, not_negative, positive, present_folder
from render import floors, scene

FRAME = (1920, 1080)
# The camera of a robot is close to its floor: what is rendered is enlarged to the frame.
RENDERED = (1280, 720)
QUALITY = 95
STYLES = {
    "held-out": scene.held_out_styles(),
    "trained": floors.TRAINED,
    **{style: {style: 1.0} for style in floors.FLOORS},
}


class UnreadablePicture(Exception):
    """Of a worker, for the process that waits for it: SystemExit would end only the worker."""


def filling(photograph: np.ndarray) -> np.ndarray:
    """The middle of a picture, scaled to what is rendered."""
    scale = max(RENDERED[0] / photograph.shape[1], RENDERED[1] / photograph.shape[0])
    size = tuple(
        max(round(side * scale), least) for side, least in zip(photograph.shape[1::-1], RENDERED)
    )
    big = cv2.resize(
        photograph, size, interpolation=cv2.INTER_AREA if scale < 1 else cv2.INTER_CUBIC
    )
    left, top = (size[0] - RENDERED[0]) // 2, (size[1] - RENDERED[1]) // 2
    return big[top : top + RENDERED[1], left : left + RENDERED[0]]


def enlarged(made: scene.Scene) -> scene.Scene:
    picture = cv2.resize(made.picture, FRAME, interpolation=cv2.INTER_CUBIC)
    owners = cv2.resize(made.owners, FRAME, interpolation=cv2.INTER_NEAREST)
    return scene.Scene(picture, owners, made.things, made.style)


def make(options: argparse.Namespace, photographs: list[Path], number: int) -> scene.Scene:
    rng = np.random.default_rng([options.seed, number])
    clean = number >= options.frames
    content = scene.frame_content(rng, STYLES[options.styles], clean)
    if not photographs:
        return enlarged(scene.render(rng, RENDERED, content))
    path = photographs[number % len(photographs)]
    picture = cv2.imread(str(path), cv2.IMREAD_COLOR)
    if picture is None:
        raise UnreadablePicture(f"'{path}' is not a picture that can be read")
    return enlarged(scene.paste(rng, filling(cv2.cvtColor(picture, cv2.COLOR_BGR2RGB)), content))


def write(options: argparse.Namespace, photographs: list[Path], number: int) -> str:
    cv2.setNumThreads(1)
    made = make(options, photographs, number)
    picture = cv2.cvtColor(made.picture, cv2.COLOR_RGB2BGR)
    name = f"{number:04}"
    quality = [cv2.IMWRITE_JPEG_QUALITY, QUALITY]
    cv2.imwrite(str(options.output / "frames" / f"{name}.jpg"), picture, quality)
    cv2.imwrite(str(options.output / "truth" / f"{name}.png"), made.owners)
    things = [thing.record() for thing in made.things]
    return json.dumps(
        {
            "frame": f"{name}.jpg",
            "style": made.style,
            "clean": number >= options.frames,
            "things": things,
        }
    )


def parse() -> argparse.Namespace:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--output", type=folder_to_fill, required=True)
    parser.add_argument("--frames", type=not_negative, required=True, help="frames with dirt")
    parser.add_argument("--clean", type=not_negative, default=0, help="frames without, after those")
    parser.add_argument("--seed", type=int, default=1001)
    parser.add_argument(
        "--styles",
        choices=STYLES,
        default="held-out",
        metavar="held-out|trained|NAME",
        help=f"of the floors; NAME is one of {', '.join(floors.FLOORS)}",
    )
    parser.add_argument(
        "--photographs", type=present_folder, help="folder of pictures to lay dirt on"
    )
    parser.add_argument("--processes", type=positive, default=2)
    options = parser.parse_args()
    if options.frames + options.clean == 0:
        parser.error("--frames and --clean are both 0: there is nothing to render")
    return options


def main() -> int:
    options = parse()
    photographs = []
    if options.photographs:
        photographs = sorted(path for path in options.photographs.iterdir() if path.is_file())
        if not photographs:
            raise SystemExit(f"--photographs: '{options.photographs}' has no files")
    for folder in ("frames", "truth"):
        (options.output / folder).mkdir(parents=True, exist_ok=True)
    numbers = range(options.frames + options.clean)
    with multiprocessing.Pool(options.processes) as pool:
        try:
            lines = list(pool.imap(partial(write, options, photographs), numbers))
        except UnreadablePicture as error:
            raise SystemExit(f"--photographs: {error}") from None
    (options.output / "truth" / "index.jsonl").write_text("".join(line + "\n" for line in lines))
    print(f"{len(lines)} frames under {options.output}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
