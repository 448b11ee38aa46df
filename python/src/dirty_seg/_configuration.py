"""From what callers give for a configuration to what the compiled part takes."""

import json
import os
from collections.abc import Mapping, Sequence
from typing import Any, Union

Path = Union[str, bytes, "os.PathLike[str]", "os.PathLike[bytes]"]
Configuration = Union[str, "os.PathLike[str]", Mapping[str, Any]]


def path_text(name: str, path: Path) -> str:
    """The path of the argument ``name``, as Python has file names."""
    text = os.fsdecode(path)
    if "\0" in text:
        raise ValueError(f"{name} is {text!r}; expected a path, which has no null character")
    return text


def _scalar(value: Any) -> str:
    if hasattr(value, "item"):  # a NumPy scalar
        value = value.item()
    if value is None or isinstance(value, (bool, int, float, str)):
        return json.dumps(value)
    raise TypeError(
        f"the configuration has a value of type {type(value).__name__}; "
        "expected mappings, lists, numbers, texts, True, False and None"
    )


def to_yaml(value: Any) -> str:
    """The value as YAML on one line; keys that are numbers stay numbers."""
    if isinstance(value, Mapping):
        items = (f"{_scalar(key)}: {to_yaml(entry)}" for key, entry in value.items())
        return "{" + ", ".join(items) + "}"
    is_array = hasattr(value, "tolist") and not hasattr(value, "items") and value.ndim > 0
    if is_array:
        value = value.tolist()
    if isinstance(value, Sequence) and not isinstance(value, (str, bytes)):
        return "[" + ", ".join(to_yaml(entry) for entry in value) + "]"
    return _scalar(value)


def name_and_text(configuration: Configuration) -> tuple[str, str | None]:
    """What messages call the configuration, and its text unless it is a file's.

    A string with a line break in it, or an empty one, is YAML; any other is a path.
    """
    if isinstance(configuration, Mapping):
        return "configuration", to_yaml(configuration)
    if isinstance(configuration, str) and (not configuration or "\n" in configuration):
        return "configuration", configuration
    if isinstance(configuration, (str, os.PathLike)):
        return path_text("config", configuration), None
    raise TypeError(
        f"the configuration is of type {type(configuration).__name__}; "
        "expected a path, a mapping, or YAML of several lines"
    )
