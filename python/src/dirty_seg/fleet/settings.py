"""What a run's detectors are made from."""

from __future__ import annotations

import dataclasses
import hashlib
import json
from typing import Any

from dirty_seg import Detector, __version__
from dirty_seg.fleet.sources import decoder_version


class SettingsError(Exception):
    """Networks or configuration are not those of the run."""


@dataclasses.dataclass(frozen=True)
class Settings:
    """Paths, which every worker can read, and options; as those of ``Detector``."""

    model: str
    config: str
    fece_model: str | None = None
    fece_class_ids: tuple[int, ...] = ()
    fece_score_threshold: float = 0.5
    fece_area_threshold: float = 400.0
    score_threshold: float | None = None
    iou_threshold: float | None = None
    max_detections: int | None = None
    mask_threshold: float | None = None
    classes: tuple[int, ...] = ()
    names: str | None = None
    fit: str = "scale"
    #: Of each worker. Results do not depend on it.
    threads: int = 1

    def identity(self) -> dict[str, Any]:
        """What results depend on: options, SHA-256 of the files' bytes, versions.

        Raises:
            OSError: a file cannot be read.
        """
        options = dataclasses.asdict(self)
        del options["threads"]
        files = {name: options.pop(name) for name in ("model", "config", "fece_model", "names")}
        sums = {f"{name}_sha256": _checksum(path) for name, path in files.items() if path}
        versions = {"dirty_seg": __version__, "decoder": decoder_version()}
        return {**sums, **json.loads(json.dumps(options)), **versions}

    def detector(self) -> Detector:
        """Raises:
        SetupError: networks or configuration cannot be used.
        """
        options = dataclasses.asdict(self)
        return Detector(options.pop("model"), options.pop("config"), **options)

    def to_json(self) -> str:
        """One line."""
        return json.dumps(dataclasses.asdict(self))

    @staticmethod
    def from_json(text: str) -> Settings:
        """What ``to_json`` gave."""
        content = json.loads(text)
        for name in ("fece_class_ids", "classes"):
            content[name] = tuple(content[name])
        return Settings(**content)


def differences(one: dict[str, Any], other: dict[str, Any]) -> list[str]:
    """What two identities differ in, in words."""
    return [
        f"{name} {_short(one.get(name))}, not {_short(other.get(name))}"
        for name in sorted(one.keys() | other.keys())
        if one.get(name) != other.get(name)
    ]


def _short(value: Any) -> str:
    text = json.dumps(value)
    return text if len(text) <= 20 else text[:12] + '..."'


def _checksum(path: str) -> str:
    with open(path, "rb") as file:
        return hashlib.file_digest(file, "sha256").hexdigest()
