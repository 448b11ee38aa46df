"""Writes generated files with their checksums, or checks that the files on disk are those."""

import argparse
import hashlib
import sys
from pathlib import Path

SUMS = "SHA256SUMS"  # in the form that `sha256sum -c` reads


def read_sums(folder: Path) -> dict[str, str]:
    path = folder / SUMS
    lines = path.read_text().splitlines() if path.is_file() else []
    return {name: digest for digest, name in (line.split("  ", 1) for line in lines)}


def differing(folder: Path, files: dict[str, bytes]) -> list[str]:
    """Names of the files, and of the checksum list's entries, that are not as generated."""
    sums = read_sums(folder)
    names = []
    for name, data in files.items():
        path = folder / name
        if not path.is_file() or path.read_bytes() != data:
            names.append(name)
        if sums.get(name) != hashlib.sha256(data).hexdigest():
            names.append(f"{SUMS}: {name}")
    return names


def write(folder: Path, files: dict[str, bytes]) -> None:
    """Writes the files; entries of the checksum list for other files stay."""
    sums = read_sums(folder)
    for name, data in files.items():
        (folder / name).write_bytes(data)
        sums[name] = hashlib.sha256(data).hexdigest()
    lines = (f"{sums[name]}  {name}\n" for name in sorted(sums) if (folder / name).is_file())
    (folder / SUMS).write_text("".join(lines))


def run(description: str, folder: Path, files: dict[str, bytes]) -> int:
    """The command line of a generator: exit status 1 when --check finds a difference."""
    parser = argparse.ArgumentParser(description=description)
    parser.add_argument(
        "--check", action="store_true", help="compare with the files on disk, write nothing"
    )
    if not parser.parse_args().check:
        write(folder, files)
        return 0
    names = differing(folder, files)
    for name in names:
        print(f"differs: {name}", file=sys.stderr)
    return 1 if names else 0
