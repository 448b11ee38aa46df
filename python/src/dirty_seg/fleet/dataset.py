"""A run's output: what is published in it, whole or not at all.

    OUTPUT/run.json            what the run is of; another one is refused
    OUTPUT/frames/*.parquet    a file a unit, named after it
    OUTPUT/attempts/           marks of units that were begun
    OUTPUT/summary.json        counts and rates of the newest end
"""

from __future__ import annotations

import contextlib
import fcntl
import io
import json
import os
import socket
import threading
import time
import uuid
from collections.abc import Iterable, Iterator, Mapping
from typing import Any

from dirty_seg.fleet.needs import need
from dirty_seg.fleet.rows import Row
from dirty_seg.fleet.schema import KEY, schema
from dirty_seg.fleet.sources.files import file_system, is_uri

_RENEWED = 10.0  # seconds between two signs of life of an object store's driver
_DEAD = 60.0  # without one for so long
_DELAYS = (1.0, 2.0, 4.0, 8.0)  # seconds before an object store is asked again


class OutputError(Exception):
    """The output is another run's, in use, or cannot be written."""


class Output:
    """A folder, or a prefix of an object store."""

    def __init__(self, uri: str) -> None:
        """Raises:
        SourceError: the URI cannot be reached.
        """
        self.uri = uri
        self._system, self._root = file_system(uri)
        self._is_local = not is_uri(uri)

    # ---- Units ----------------------------------------------------------------------------------

    def publish(self, unit: str, rows: list[Row]) -> int:
        """Writes the unit's file, whole or not at all; again, if need be. Its size in bytes."""
        pa, parquet = need("pyarrow"), need("pyarrow.parquet", "pyarrow")
        buffer = io.BytesIO()
        table = pa.Table.from_pylist(rows, schema=schema())
        parquet.write_table(table, buffer, compression="zstd")
        self._write(f"frames/{unit}.parquet", buffer.getvalue())
        return buffer.tell()

    def published(self) -> set[str]:
        """Names of the units that are there."""
        return {
            os.path.basename(path)[: -len(".parquet")]
            for path in self._list("frames")
            if path.endswith(".parquet") and not os.path.basename(path).startswith(".")
        }

    def is_published(self, unit: str) -> bool:
        """Whether this one is."""
        return bool(self._info(f"frames/{unit}.parquet").is_file)

    def batches(self, columns: list[str] | None = None) -> Iterator[Any]:
        """pyarrow's record batches of all frames, in no order, few in memory at a time."""
        if self.published():
            yield from self._dataset().to_batches(columns=columns, batch_size=1000)

    def rows(self, columns: list[str] | None = None) -> Any:
        """pyarrow's table of all frames, in the order of source, topic and ordinal."""
        if not self.published():
            return need("pyarrow").Table.from_pylist([], schema=schema())
        order = [(name, "ascending") for name in KEY]
        return self._dataset().to_table(columns=columns).sort_by(order)

    def unit_rows(self, units: list[str], columns: list[str]) -> list[Row]:
        """Rows of some units, in memory."""
        if not units:
            return []
        paths = [self._path(f"frames/{unit}.parquet") for unit in units]
        rows: list[Row] = self._dataset(paths).to_table(columns=columns).to_pylist()
        return rows

    def of_source(self, source: str, columns: list[str]) -> list[Row]:
        """These columns of all frames of a file."""
        if not self.published():
            return []
        chosen = need("pyarrow.compute", "pyarrow").field("source") == source
        rows: list[Row] = self._dataset().to_table(columns=columns, filter=chosen).to_pylist()
        return rows

    def rows_of(self, keys: Iterable[tuple[str, str, int]]) -> dict[tuple[str, str, int], Row]:
        """Whole rows of some frames, by source, topic and ordinal."""
        wanted = set(keys)
        field = need("pyarrow.compute", "pyarrow").field
        chosen = field("source").isin(sorted({key[0] for key in wanted}))
        chosen &= field("ordinal").isin(sorted({key[2] for key in wanted}))
        found: dict[tuple[str, str, int], Row] = {}
        for batch in self._dataset().to_batches(filter=chosen):
            for row in batch.to_pylist():
                key = (row["source"], row["topic"], row["ordinal"])
                if key in wanted:
                    found[key] = row
        return found

    def _dataset(self, paths: list[str] | None = None) -> Any:
        dataset = need("pyarrow.dataset", "pyarrow")
        return dataset.dataset(
            paths or self._path("frames"),
            filesystem=self._system,
            format="parquet",
            schema=schema(),
        )

    # ---- Attempts -------------------------------------------------------------------------------

    def mark(self, unit: str) -> int:
        """Leaves a mark that the unit is begun; how many there were before."""
        before = len(self._list(f"attempts/{unit}"))
        self._write(f"attempts/{unit}/{uuid.uuid4().hex}", b"")
        return before

    # ---- Documents ------------------------------------------------------------------------------

    def read(self, name: str) -> dict[str, Any] | None:
        """A document, or None if there is none.

        Raises:
            OutputError: it is no JSON.
        """
        if not self._info(name).is_file:
            return None
        with self._system.open_input_file(self._path(name)) as file:
            data = file.read()
        try:
            content = json.loads(data)
        except ValueError as error:
            raise OutputError(f"'{self.uri}/{name}' is not valid JSON: {error}") from error
        if not isinstance(content, dict):
            raise OutputError(f"'{self.uri}/{name}' has no object; expected what a run writes")
        return content

    def write(self, name: str, content: Mapping[str, Any]) -> None:
        """A document, whole or not at all."""
        self._write(name, (json.dumps(content, indent=1) + "\n").encode())

    # ---- The driver -----------------------------------------------------------------------------

    @contextlib.contextmanager
    def driven(self) -> Iterator[None]:
        """While it lasts no second driver gets the output.

        Raises:
            OutputError: another one has it.
        """
        with self._locked() if self._is_local else self._leased():
            yield

    @contextlib.contextmanager
    def _locked(self) -> Iterator[None]:
        os.makedirs(self._root, exist_ok=True)
        with open(self._path("driver.lock"), "a+") as file:
            try:
                fcntl.flock(file, fcntl.LOCK_EX | fcntl.LOCK_NB)
            except BlockingIOError as error:
                file.seek(0)
                raise OutputError(
                    f"'{self.uri}' is in use by {file.read().strip() or 'another run'}; expected "
                    "its end, or another output"
                ) from error
            file.truncate(0)
            file.write(_who())
            file.flush()
            yield  # the lock goes with the process, however it ends

    @contextlib.contextmanager
    def _leased(self) -> Iterator[None]:
        """An object store has no locks: the driver tells every few seconds that it lives."""
        mine = uuid.uuid4().hex
        lease = self.read("driver.json")
        if lease is not None and time.time() - float(lease.get("time", 0)) < _DEAD:
            raise OutputError(
                f"'{self.uri}' is in use by {lease.get('who')}; expected its end, another output, "
                f"or, if it was killed, to wait for {_DEAD:.0f} s"
            )
        done = threading.Event()

        def renew() -> None:
            while True:
                with contextlib.suppress(OSError):
                    self.write("driver.json", {"who": _who(), "time": time.time(), "id": mine})
                if done.wait(_RENEWED):
                    return

        thread = threading.Thread(target=renew, daemon=True)
        thread.start()
        try:
            yield
        finally:
            done.set()
            thread.join()
            with contextlib.suppress(OSError):
                self._system.delete_file(self._path("driver.json"))

    # ---- Files ----------------------------------------------------------------------------------

    def _path(self, name: str) -> str:
        return f"{self._root}/{name}"

    def _info(self, name: str) -> Any:
        return self._system.get_file_info(self._path(name))

    def _list(self, folder: str) -> list[str]:
        fs = need("pyarrow.fs", "pyarrow")
        selector = fs.FileSelector(self._path(folder), allow_not_found=True)
        return [info.path for info in self._system.get_file_info(selector) if info.is_file]

    def _write(self, name: str, data: bytes) -> None:
        if self._is_local:
            _write_local(self._path(name), data)
            return
        for delay in (*_DELAYS, None):
            try:
                # An exception within the stream would publish what was written by then.
                with self._system.open_output_stream(self._path(name)) as file:
                    file.write(data)
                return
            except OSError:
                if delay is None:
                    raise
                time.sleep(delay)


def _write_local(path: str, data: bytes) -> None:
    folder = os.path.dirname(path)
    os.makedirs(folder, exist_ok=True)
    scratch = os.path.join(folder, f".{os.path.basename(path)}.{uuid.uuid4().hex}")
    try:
        with open(scratch, "xb") as file:
            file.write(data)
            file.flush()
            os.fsync(file.fileno())
        os.replace(scratch, path)
    except BaseException:
        with contextlib.suppress(OSError):
            os.unlink(scratch)
        raise
    directory = os.open(folder, os.O_RDONLY | os.O_DIRECTORY)
    try:
        os.fsync(directory)
    finally:
        os.close(directory)


def _who() -> str:
    return f"process {os.getpid()} on {socket.gethostname()}"
