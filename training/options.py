"""Types of command line options: what cannot be is refused by name, before any work."""

import argparse
from pathlib import Path


def whole(text: str, least: int) -> int:
    try:
        value = int(text)
    except ValueError:
        value = least - 1
    if value < least:
        raise argparse.ArgumentTypeError(f"'{text}' is not a whole number from {least} on")
    return value


def positive(text: str) -> int:
    return whole(text, 1)


def not_negative(text: str) -> int:
    return whole(text, 0)


def present_file(text: str) -> Path:
    if not Path(text).is_file():
        raise argparse.ArgumentTypeError(f"there is no file '{text}'")
    return Path(text)


def present_folder(text: str) -> Path:
    if not Path(text).is_dir():
        raise argparse.ArgumentTypeError(f"there is not a folder '{text}'")
    return Path(text)


def folder_to_fill(text: str) -> Path:
    """It need not exist yet."""
    if Path(text).exists() and not Path(text).is_dir():
        raise argparse.ArgumentTypeError(f"'{text}' is not a folder")
    return Path(text)
