"""Local files and objects of S3, alike, through pyarrow's file systems."""

from __future__ import annotations

import dataclasses
import fnmatch
import functools
import glob
import io
import os
import stat
from collections.abc import Iterator, Sequence
from pathlib import PurePosixPath
from typing import IO, Any, cast
from urllib.parse import quote, unquote, urlsplit

from dirty_seg.fleet.again import again, is_of_store
from dirty_seg.fleet.needs import need
from dirty_seg.fleet.sources.stream import SourceError

_WILD = "*?["


def is_uri(name: str) -> bool:
    """Whether it is one of an object store, and no path."""
    return "://" in name


def file_system(name: str) -> tuple[Any, str]:
    """pyarrow's file system of a path or URI, and the path in it.

    Raises:
        SourceError: the URI is of no kind that is known, or has a password in it.
    """
    fs = need("pyarrow.fs", "pyarrow")
    if not is_uri(name):
        return fs.LocalFileSystem(), os.path.abspath(name)
    parts = urlsplit(name)
    if "@" in parts.netloc:
        raise SourceError(
            f"'{parts.scheme}://...@...' has a key in it, which results would tell; "
            "expected AWS_ACCESS_KEY_ID and AWS_SECRET_ACCESS_KEY in the environment"
        )
    try:
        if parts.scheme == "s3":
            path = unquote(parts.netloc + parts.path).rstrip("/")
            return _bucket(parts.netloc, parts.query), path
        return cast("tuple[Any, str]", fs.FileSystem.from_uri(name))
    except (ValueError, OSError) as error:
        raise SourceError(
            f"'{name}' cannot be reached: {error}; expected a path or s3://"
        ) from error


@functools.lru_cache(maxsize=64)
def _bucket(name: str, query: str) -> Any:
    """One file system of each, which keeps its connections; small objects are put by one request.

    By its URI alone, for pyarrow asks the bucket for its region if the query has none.
    """
    fs = need("pyarrow.fs", "pyarrow")
    options = "&".join(filter(None, [query, "allow_delayed_open=true"]))
    return fs.FileSystem.from_uri(f"s3://{name}?{options}")[0]


@dataclasses.dataclass(frozen=True)
class File:
    """One file of a source."""

    name: str
    size: int
    #: Size and modification time.
    version: str

    @property
    def suffix(self) -> str:
        """Of its name, in lower case, with the dot."""
        return PurePosixPath(_path(self.name)).suffix.lower()

    def open(self, buffer: int = 2**20) -> IO[bytes]:
        """To be read from its beginning; it can be sought in. Each ``buffer`` bytes of an object
        are a request.

        Raises:
            SourceError: it cannot be opened.
            OSError: an object store does not answer.
        """
        try:
            if not is_uri(self.name):  # whose name need not be UTF-8, as pyarrow's have to
                return open(self.name, "rb", buffering=buffer)
            system, path = file_system(self.name)
            return io.BufferedReader(again(lambda: system.open_input_file(path)), buffer)
        except OSError as error:
            if is_of_store(error):
                raise
            raise SourceError(f"'{self.name}' cannot be opened: {_cause(error)}") from error

    def local(self) -> str:
        """Its path.

        Raises:
            SourceError: it is an object, which its reader cannot read.
        """
        if is_uri(self.name):
            raise SourceError(
                f"'{self.name}' is read from local files only, videos and bags are; expected a path"
            )
        return self.name


def file_of(name: str) -> File:
    """One that is there.

    Raises:
        SourceError: it is not, or is no file.
        OSError: an object store does not answer.
    """
    if not is_uri(name):
        return _local_file(name)
    system, path = file_system(name)
    info = again(lambda: system.get_file_info(path))
    if not info.is_file:
        raise SourceError(f"there is no file '{name}'")
    return _object(name, info)


def _object(name: str, info: Any) -> File:
    return File(name, info.size, f"{info.size}-{info.mtime_ns}")


def _local_file(name: str) -> File:
    try:
        info = os.stat(name)
    except OSError as error:
        raise SourceError(f"there is no file '{name}': {_cause(error)}") from error
    if not stat.S_ISREG(info.st_mode):
        raise SourceError(f"there is no file '{name}'; expected a regular one")
    return File(name, info.st_size, f"{info.st_size}-{info.st_mtime_ns}")


def expand(inputs: Sequence[str]) -> tuple[dict[str, File | None], list[SourceError]]:
    """Names of files, and of folders that are bags, in the order of the inputs, each once; with
    what a store told when it listed them, so that it is not asked for each.

    A folder or prefix gives what lies in it at any depth, in order of names; a pattern such as
    ``logs/*.mcap`` what matches it.
    """
    names: dict[str, File | None] = {}
    errors = []
    for given in inputs:
        try:
            found = list(_expand(given))
            if not found:
                raise SourceError(f"'{given}' has no files; expected pictures, videos or logs")
            names |= dict(found)
        except SourceError as error:
            errors.append(error)
    return names, errors


def _expand(given: str) -> Iterator[tuple[str, File | None]]:
    if is_uri(given):
        yield from _expand_uri(given)
    else:
        yield from ((name, None) for name in _expand_path(given))


def _expand_path(given: str) -> Iterator[str]:
    if any(sign in given for sign in _WILD) and not os.path.exists(given):
        for match in sorted(glob.glob(given, recursive=True)):
            yield from _walk(match)
        return
    if not os.path.exists(given):
        raise SourceError(f"there is no '{given}'; expected a file, a folder, a pattern or s3://")
    yield from _walk(given)


def _walk(path: str) -> Iterator[str]:
    if not os.path.isdir(path):
        yield path
        return
    if os.path.isfile(os.path.join(path, "metadata.yaml")):
        yield path  # a bag of ROS 2
        return
    for name in sorted(os.listdir(path)):
        if not name.startswith("."):
            yield from _walk(os.path.join(path, name))


def _expand_uri(given: str) -> Iterator[tuple[str, File]]:
    fs = need("pyarrow.fs", "pyarrow")
    system, path = file_system(given)
    parts = urlsplit(given)
    query = f"?{parts.query}" if parts.query else ""
    is_wild = any(sign in path for sign in "*[")
    base = path if not is_wild else os.path.dirname(path[: min(map(_place(path), "*["))])
    try:
        info = again(lambda: system.get_file_info(base))
        if info.is_file:
            yield given, _object(given, info)
            return
        selector = fs.FileSelector(base, recursive=True, allow_not_found=True)
        listed = again(lambda: system.get_file_info(selector))
        found = sorted((entry.path, entry) for entry in listed if entry.is_file)
    except OSError as error:
        raise SourceError(f"'{given}' cannot be listed: {_cause(error)}") from error
    for key, info in found:
        if not is_wild or fnmatch.fnmatchcase(key, path):
            name = f"{parts.scheme}://{quote(key)}{query}"
            yield name, _object(name, info)


def _place(text: str) -> Any:
    return lambda sign: text.find(sign) if sign in text else len(text)


def _path(name: str) -> str:
    return urlsplit(name).path if is_uri(name) else name


def _cause(error: OSError) -> str:
    return error.strerror or str(error)
