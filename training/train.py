#!/usr/bin/python3
"""Trains a network on rendered scenes.

    train.py segment  --data out/training/data --output out/training/segment
    train.py classify --data out/training/data --output out/training/classify

Writes under the output folder: log.jsonl, a line every few steps; checkpoint.pt, from which
--resume goes on exactly where it was written; at the end network.pt, the averaged weights that are
exported. The same options and seed give the same samples in the same order.
"""

import argparse
import json
import math
import sys
import time
from collections.abc import Callable, Iterator
from dataclasses import dataclass
from pathlib import Path

import numpy as np
import torch
from torch import Tensor, nn
from torch.nn import functional
from torch.utils.data import DataLoader, Dataset

import data
import losses
import network
from options import folder_to_fill, positive

WARM_UP = 0.03  # share of the steps over which the rate rises
LAST_RATE = 0.02  # of the full rate, at the end
WEIGHT_DECAY = 0.02
GRADIENT_NORM = 10.0
AVERAGE_DECAY, AVERAGE_RAMP = 0.9985, 300  # of the averaged weights; steps to reach most of it
LABEL_SMOOTHING = 0.05
LOOKS = 0.8  # share of the segmentation network's samples that are looks at things
CHECKPOINT_SECONDS = 120


@dataclass(frozen=True)
class Task:
    """How one of the two networks is trained; the defaults fit the two-core budget."""

    make_network: Callable[[], nn.Module]
    make_samples: Callable[[data.Scenes, int, int, int], Dataset]  # of seed, images, batch
    collate: Callable | None
    step_loss: Callable[[nn.Module, object, torch.device], losses.Losses]
    images: int
    batch: int
    rate: float


def segment_samples(scenes: data.Scenes, seed: int, images: int, batch: int) -> Dataset:
    first_patch = int(LOOKS * images) // batch * batch  # a batch has one size of pictures
    return data.SegmentationSamples(scenes, seed, images, first_patch)


def segment_loss(model: nn.Module, batch: data.Batch, device: torch.device) -> losses.Losses:
    batch = data.Batch(*(part.to(device) for part in batch))
    return losses.segmentation_loss(model(data.to_planes(batch.images)), batch)


def classify_loss(model: nn.Module, batch: list[Tensor], device: torch.device) -> losses.Losses:
    crops, verdicts = (part.to(device) for part in batch)
    logits = model(crops)
    total = functional.cross_entropy(logits, verdicts, label_smoothing=LABEL_SMOOTHING)
    wrong = (logits.argmax(dim=1) != verdicts).float().mean()
    return losses.Losses(total, {"cross entropy": float(total.detach()), "wrong": float(wrong)})


TASKS = {
    "segment": Task(
        lambda: network.Segmenter(len(data.CLASSES)), segment_samples, data.collate,
        segment_loss, images=150000, batch=16, rate=3e-3,
    ),
    "classify": Task(
        network.Classifier, lambda scenes, seed, images, _: data.CropSamples(scenes, seed, images),
        None, classify_loss,
        images=128000, batch=32, rate=3e-3,
    ),
}  # fmt: skip


class AveragedWeights:
    """An exponential moving average of a network's parameters and statistics."""

    def __init__(self, model: nn.Module) -> None:
        self.state = {name: value.detach().clone() for name, value in model.state_dict().items()}

    @torch.no_grad()
    def update(self, model: nn.Module, step: int) -> None:
        decay = AVERAGE_DECAY * (1 - math.exp(-step / AVERAGE_RAMP))
        for name, value in model.state_dict().items():
            if value.dtype.is_floating_point:
                self.state[name].lerp_(value, 1 - decay)
            else:
                self.state[name].copy_(value)


def rate_at(step: int, steps: int) -> float:
    """Share of the full learning rate: a short rise, then half a cosine."""
    warm = max(1, int(WARM_UP * steps))
    if step < warm:
        return (step + 1) / warm
    progress = (step - warm) / max(1, steps - warm)
    return LAST_RATE + (1 - LAST_RATE) * 0.5 * (1 + math.cos(math.pi * progress))


def make_optimiser(model: nn.Module, rate: float) -> torch.optim.Optimizer:
    """Weights of convolutions decay; biases and normalisation do not."""
    decayed = [value for value in model.parameters() if value.dim() > 1]
    others = [value for value in model.parameters() if value.dim() <= 1]
    groups = [
        {"params": decayed, "weight_decay": WEIGHT_DECAY},
        {"params": others, "weight_decay": 0},
    ]
    return torch.optim.AdamW(groups, lr=rate, betas=(0.9, 0.99))


class Training:
    """All that a checkpoint holds, and the steps in between."""

    def __init__(self, task: Task, options: argparse.Namespace) -> None:
        torch.manual_seed(options.seed)
        self.task, self.options = task, options
        self.device = torch.device("cuda" if torch.cuda.is_available() else "cpu")
        self.model = task.make_network().to(self.device)
        self.optimiser = make_optimiser(self.model, options.rate)
        self.average = AveragedWeights(self.model)
        self.step = 0
        self.steps = max(1, options.images // options.batch)
        self.folder = options.output

    def settings(self) -> dict:
        names = ("task", "images", "batch", "rate", "seed")
        return {name: getattr(self.options, name) for name in names}

    def save(self) -> None:
        content = {
            "settings": self.settings(), "step": self.step, "model": self.model.state_dict(),
            "average": self.average.state, "optimiser": self.optimiser.state_dict(),
            "random": torch.get_rng_state(),
        }  # fmt: skip
        part = self.folder / "checkpoint.part"
        torch.save(content, part)
        part.replace(self.folder / "checkpoint.pt")

    def load(self) -> None:
        path = self.folder / "checkpoint.pt"
        if not path.is_file():
            raise SystemExit(f"--resume: '{path}' is missing; start without --resume")
        content = torch.load(path, map_location=self.device)
        if content["settings"] != self.settings():
            raise SystemExit(
                f"--resume: '{path}' was trained with {content['settings']}, not {self.settings()}"
            )
        self.step = content["step"]
        self.model.load_state_dict(content["model"])
        self.average.state = content["average"]
        self.optimiser.load_state_dict(content["optimiser"])
        torch.set_rng_state(content["random"].cpu())

    def batches(self) -> Iterator:
        """The batches from the present step on; workers prepare them ahead."""
        scenes = data.Scenes(self.options.data)
        batch = self.options.batch
        samples = self.task.make_samples(scenes, self.options.seed, self.steps * batch, batch)
        order = range(self.step * batch, len(samples))
        return iter(DataLoader(
            samples, batch, sampler=order, num_workers=self.options.workers,
            collate_fn=self.task.collate, generator=torch.Generator(),
        ))  # fmt: skip

    def one_step(self, batch: object) -> losses.Losses:
        for group in self.optimiser.param_groups:
            group["lr"] = self.options.rate * rate_at(self.step, self.steps)
        result = self.task.step_loss(self.model, batch, self.device)
        if not torch.isfinite(result.total):
            raise SystemExit(f"step {self.step}: the loss is {float(result.total)}")
        self.optimiser.zero_grad(set_to_none=True)
        result.total.backward()
        nn.utils.clip_grad_norm_(self.model.parameters(), GRADIENT_NORM)
        self.optimiser.step()
        self.step += 1
        self.average.update(self.model, self.step)
        return result

    def run(self) -> None:
        self.model.train()
        started = saved = time.monotonic()
        recent: list[dict[str, float]] = []
        with (self.folder / "log.jsonl").open("a" if self.step else "w") as log:
            for batch in self.batches():
                if self.step == self.options.stop_after:
                    break
                result = self.one_step(batch)
                recent.append({"loss": float(result.total.detach()), **result.parts})
                now = time.monotonic()
                if self.step % self.options.log_every == 0 or self.step == self.steps:
                    line = self.summary(
                        recent, (now - started) / (len(recent) * self.options.batch)
                    )
                    log.write(line + "\n")
                    log.flush()
                    print(line, flush=True)
                    recent, started = [], now
                if now - saved > CHECKPOINT_SECONDS:
                    self.save()
                    saved = now
        self.save()
        if self.step == self.steps:
            torch.save(self.average.state, self.folder / "network.pt")

    def summary(self, recent: list[dict[str, float]], seconds: float) -> str:
        means = {
            name: round(float(np.mean([row[name] for row in recent])), 4) for name in recent[0]
        }
        return json.dumps({"step": self.step, "of": self.steps, **means,
                           "seconds per image": round(seconds, 4)})  # fmt: skip


def parse(arguments: list[str]) -> argparse.Namespace:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("task", choices=TASKS)
    parser.add_argument("--data", type=Path, required=True)
    parser.add_argument("--output", type=folder_to_fill, required=True)
    parser.add_argument("--images", type=positive, help="samples to pass, all in all")
    parser.add_argument("--batch", type=positive)
    parser.add_argument("--rate", type=float)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--threads", type=positive, default=2)
    parser.add_argument("--workers", type=int, default=1, help="processes that prepare samples")
    parser.add_argument("--log-every", type=positive, default=25, metavar="STEPS")
    parser.add_argument("--stop-after", type=int, metavar="STEP", help="write a checkpoint and end")
    parser.add_argument("--resume", action="store_true", help="go on from the last checkpoint")
    options = parser.parse_args(arguments)
    for name in ("images", "batch", "rate"):
        if getattr(options, name) is None:
            setattr(options, name, getattr(TASKS[options.task], name))
    return options


def main(arguments: list[str]) -> int:
    options = parse(arguments)
    torch.set_num_threads(options.threads)
    options.output.mkdir(parents=True, exist_ok=True)
    training = Training(TASKS[options.task], options)
    print(
        f"{network.parameter_count(training.model)} parameters, {training.steps} steps", flush=True
    )
    if options.resume:
        training.load()
    training.run()
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
