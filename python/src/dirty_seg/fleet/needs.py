"""The packages of the extra ``fleet``, asked for only where they are used."""

import importlib
from typing import Any


def need(module: str, package: str | None = None) -> Any:
    """The module.

    Raises:
        ImportError: it is not there; the text says how to install it.
    """
    try:
        return importlib.import_module(module)
    except ImportError as error:
        name = package or module.partition(".")[0]
        raise ImportError(f"dirty_seg.fleet needs {name}: pip install dirty-seg[fleet]") from error
