"""One replay in a process of its own: what it took, as JSON on standard output.

    measure.py INPUT OUTPUT WORKERS UNIT_FRAMES ADDRESS       0: the usual unit; "": no address
"""

from __future__ import annotations

import json
import os
import resource
import sys
import threading
import time
from pathlib import Path

from dirty_seg.fleet.run import Plan, detect
from dirty_seg.fleet.settings import Settings

ROOT = Path(__file__).resolve().parents[2]
_TICKS = os.sysconf("SC_CLK_TCK")
_KIB = 1024


class Watch:
    """Looks at Ray's processes a few times a second, since they are gone at the end."""

    def __init__(self) -> None:
        #: Seconds of processor time of gcs_server and raylets, by process.
        self.services: dict[int, float] = {}
        #: Peak resident bytes of workers, by process.
        self.workers: dict[int, int] = {}
        #: Resident bytes of the driver each time.
        self.driver: list[int] = []
        self._is_done = threading.Event()
        self._thread = threading.Thread(target=self._run, daemon=True)

    def __enter__(self) -> Watch:
        self._thread.start()
        return self

    def __exit__(self, *_: object) -> None:
        self._is_done.set()
        self._thread.join()

    def _run(self) -> None:
        while not self._is_done.wait(0.25):
            self.driver.append(_status("self", "VmRSS"))
            for entry in Path("/proc").iterdir():
                if entry.name.isdigit():
                    try:
                        self._look(int(entry.name))
                    except (OSError, ValueError, IndexError):
                        continue  # it is gone

    def _look(self, pid: int) -> None:
        command = Path(f"/proc/{pid}/cmdline").read_bytes()
        name = os.path.basename(command.split(b"\0")[0])
        if name in (b"gcs_server", b"raylet"):
            fields = Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()
            self.services[pid] = (int(fields[11]) + int(fields[12])) / _TICKS
        elif command.startswith(b"ray::MapWorker"):
            self.workers[pid] = _status(str(pid), "VmHWM")


def _status(pid: str, name: str) -> int:
    for line in Path(f"/proc/{pid}/status").read_text().splitlines():
        if line.startswith(f"{name}:"):
            return int(line.split()[1]) * _KIB
    return 0


def _processor() -> float:
    usage = resource.getrusage(resource.RUSAGE_SELF)
    return usage.ru_utime + usage.ru_stime


def _busy() -> float:
    """Seconds that all cores were not idle since the machine's start."""
    fields = [int(field) for field in Path("/proc/stat").read_text().splitlines()[0].split()[1:]]
    return (sum(fields[:8]) - fields[3] - fields[4]) / _TICKS


def main(given: str, output: str, workers: str, unit_frames: str, address: str) -> None:
    settings = Settings(str(ROOT / "models/dirt-seg.onnx"), str(ROOT / "models/demo.yaml"))
    plan = Plan(
        (given,), (), output, settings, address or None, int(workers), int(unit_frames) or None
    )
    begin, processor, busy = time.monotonic(), _processor(), _busy()
    with Watch() as watch:
        summary = detect(plan, open(os.devnull, "w"))
    if summary.failed or not summary.is_complete:
        sys.exit(f"measure.py: {summary}")
    files = sorted(path.stat() for path in Path(output, "frames").iterdir())
    ends = sorted(file.st_mtime for file in files)
    json.dump(
        {
            "frames": summary.frames,
            "units": len(files),
            "bytes": sum(file.st_size for file in files),
            "seconds": summary.seconds,
            "start_seconds": summary.start_seconds,
            # From the end of each worker's first unit on.
            "steady_seconds": ends[-1] - ends[min(int(workers), len(ends)) - 1],
            "steady_units": len(ends) - int(workers),
            "driver_processor": _processor() - processor,
            "services_processor": sum(watch.services.values()),
            "busy": (_busy() - busy) / (time.monotonic() - begin) / (os.cpu_count() or 1),
            "driver_peak": max(watch.driver),
            "driver_begin": watch.driver[0],
            "worker_peak": max(watch.workers.values(), default=0),
        },
        sys.stdout,
    )


if __name__ == "__main__":
    main(*sys.argv[1:])
