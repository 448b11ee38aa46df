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

from dirty_seg.fleet.again import again
from dirty_seg.fleet.needs import need
from dirty_seg.fleet.rows import Key, Row, key_of
from dirty_seg.fleet.schema import KEY, schema
from dirty_seg.fleet.sources.files import file_system, is_uri

#: Units that a scan opens at a time; their footers take 10 MB of memory.
SCANNED = 64
_RENEWED = 10.0  # seconds between two signs of life of an object store's driver
_DEAD = 60.0  # without one for so long
_SETTLED = 3.0  # seconds in which a driver that looked before has signed, too


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
        yield from self._scan(columns)

    def in_order(self, source: str | None = None) -> Iterator[Row]:
        """All rows, or those of a file; those of one unit are in memory at a time.

        Units come by their first frame, the frames of each in order of source, topic and ordinal.
        """
        firsts = []
        sources = None if source is None else [source]
        for unit in self.published():
            keys = [key_of(row) for row in self.unit_rows([unit], list(KEY), sources)]
            if keys:
                firsts.append((min(keys), unit))
        for _, unit in sorted(firsts):
            yield from sorted(self.unit_rows([unit], schema().names, sources), key=key_of)

    def unit_rows(
        self, units: list[str], columns: list[str], sources: list[str] | None = None
    ) -> list[Row]:
        """Rows of some units, or those of them that are of some files, in memory."""
        if not units:
            return []
        field = need("pyarrow.compute", "pyarrow").field
        chosen = None if sources is None else field("source").isin(sources)
        table = self._dataset(units).to_table(columns=columns, filter=chosen)
        rows: list[Row] = table.to_pylist()
        return rows

    def frames_by_source(self, units: list[str]) -> dict[str, int]:
        """How many frames these units have of each file."""
        if not units:
            return {}
        table = self._dataset(units).to_table(columns=["source"])
        counted = table.group_by("source").aggregate([([], "count_all")])
        return dict(
            zip(*(counted[name].to_pylist() for name in ("source", "count_all")), strict=True)
        )

    def rows_of(self, keys: Iterable[Key]) -> dict[Key, Row]:
        """Whole rows of some frames, by source, topic and ordinal."""
        wanted = set(keys)
        field = need("pyarrow.compute", "pyarrow").field
        chosen = field("source").isin(sorted({key[0] for key in wanted}))
        chosen &= field("ordinal").isin(sorted({key[2] for key in wanted}))
        found: dict[Key, Row] = {}
        for batch in self._scan(chosen=chosen):
            for row in batch.to_pylist():
                if key_of(row) in wanted:
                    found[key_of(row)] = row
        return found

    def _scan(self, columns: list[str] | None = None, chosen: Any = None) -> Iterator[Any]:
        """Record batches of all units; of a few at a time, since pyarrow keeps their footers."""
        units = sorted(self.published())
        for first in range(0, len(units), SCANNED):
            dataset = self._dataset(units[first : first + SCANNED])
            yield from dataset.to_batches(columns=columns, filter=chosen, batch_size=1000)

    def _dataset(self, units: list[str]) -> Any:
        dataset = need("pyarrow.dataset", "pyarrow")
        return dataset.dataset(
            [self._path(f"frames/{unit}.parquet") for unit in units],
            filesystem=self._system,
            format="parquet",
            schema=schema(),
        )

    # ---- Attempts -------------------------------------------------------------------------------

    def mark(self, unit: str, run: str) -> int:
        """Leaves a mark that the unit is begun; how many this run's driver had left before."""
        marks = map(os.path.basename, self._list(f"attempts/{unit}"))
        before = sum(mark.startswith(f"{run}-") for mark in marks)
        self._write(f"attempts/{unit}/{run}-{uuid.uuid4().hex}", b"")
        return before

    def clear_marks(self, unit: str) -> None:
        """Of a unit that is published."""
        with contextlib.suppress(OSError):  # they are only in the way
            self._system.delete_dir(self._path(f"attempts/{unit}"))

    # ---- Documents ------------------------------------------------------------------------------

    def read(self, name: str) -> dict[str, Any] | None:
        """A document, or None if there is none.

        Raises:
            OutputError: it is no JSON.
        """
        if not self._info(name).is_file:
            return None
        data = again(lambda: self._get(self._path(name)))
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
        self._refuse_lease(self.read("driver.json"))
        self._sign(mine)
        time.sleep(_SETTLED)  # of two that looked at the same time the last to sign has it
        lease = self.read("driver.json")
        if lease is None or lease.get("id") != mine:
            self._refuse_lease(lease)
        done = threading.Event()

        def renew() -> None:
            while not done.wait(_RENEWED):
                with contextlib.suppress(OSError):
                    self._sign(mine)

        thread = threading.Thread(target=renew, daemon=True)
        thread.start()
        try:
            yield
        finally:
            done.set()
            thread.join()
            with contextlib.suppress(OSError, OutputError):
                if (self.read("driver.json") or {}).get("id") == mine:
                    self._system.delete_file(self._path("driver.json"))

    def _sign(self, mine: str) -> None:
        self.write("driver.json", {"who": _who(), "time": time.time(), "id": mine})

    def _refuse_lease(self, lease: dict[str, Any] | None) -> None:
        if lease is not None and time.time() - float(lease.get("time", 0)) < _DEAD:
            raise OutputError(
                f"'{self.uri}' is in use by {lease.get('who')}; expected its end, another output, "
                f"or, if it was killed, to wait for {_DEAD:.0f} s"
            )

    # ---- Files ----------------------------------------------------------------------------------

    def _path(self, name: str) -> str:
        return f"{self._root}/{name}"

    def _info(self, name: str) -> Any:
        return again(lambda: self._system.get_file_info(self._path(name)))

    def _list(self, folder: str) -> list[str]:
        fs = need("pyarrow.fs", "pyarrow")
        selector = fs.FileSelector(self._path(folder), allow_not_found=True)
        found = again(lambda: self._system.get_file_info(selector))
        return [info.path for info in found if info.is_file]

    def _write(self, name: str, data: bytes) -> None:
        if self._is_local:
            _write_local(self._path(name), data)
            return
        again(lambda: self._put(self._path(name), data))

    def _get(self, path: str) -> bytes:
        with self._system.open_input_file(path) as file:
            data: bytes = file.read()
            return data

    def _put(self, path: str, data: bytes) -> None:
        # An exception within the stream would publish what was written by then.
        with self._system.open_output_stream(path) as file:
            file.write(data)


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
