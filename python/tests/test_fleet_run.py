"""Runs of the fleet: every frame exactly once, whatever is killed."""

from __future__ import annotations

import contextlib
import http.client
import http.server
import json
import os
import random
import signal
import subprocess
import sys
import threading
import time
from collections.abc import Callable, Iterator
from pathlib import Path
from typing import Any

import cv2
import pytest
from conftest import NETWORKS, ByteArray
from logs import camera, plain, png, write_mcap

import dirty_seg
from dirty_seg.fleet import dataset, run
from dirty_seg.fleet.dataset import Output
from dirty_seg.fleet.rows import row_of
from dirty_seg.fleet.settings import Settings
from dirty_seg.fleet.sources import Frame, Stream, find_streams, read_frames
from dirty_seg.fleet.sources.stream import Times
from dirty_seg.fleet.units import Part, Unit, cut, usual_frames

HOOKS = Path(__file__).resolve().parent / "hooks"
MODEL = NETWORKS / "seg-b2-64.onnx"
CONFIG = "patch:\n  enable: true\n  patches: [[0, 0, 64, 64], [64, 0, 64, 64]]\n"
ROUNDS = int(os.environ.get("DIRTY_SEG_KILLS", "1"))
ORDER = ["red", "green", "red", "green", "green"]


@pytest.fixture(scope="module")
def inputs(tmp_path_factory: pytest.TempPathFactory) -> Path:
    """20 pictures, one of which is none, and a log of ten that is cut short."""
    folder = tmp_path_factory.mktemp("inputs")
    (folder / "config.yaml").write_text(CONFIG)
    (folder / "frames").mkdir()
    for number in range(20):
        data = png(ORDER[number % 5]) if number != 7 else b"no picture"
        (folder / "frames" / f"{number:02}.png").write_bytes(data)
    log = write_mcap(folder / "frames" / "log.mcap", camera(ORDER * 2), chunk_size=100)
    log.write_bytes(log.read_bytes()[:-4])
    return folder


Start = Callable[..., "subprocess.Popen[str]"]


@pytest.fixture
def start(inputs: Path) -> Iterator[Start]:
    """Starts a run in a process group of its own."""
    running: list[subprocess.Popen[str]] = []

    def begin(
        output: Path | str, *more: object, seconds: float = 0.0,
        given: Path | None = None, model: Path = MODEL, **environment: str,
    ) -> subprocess.Popen[str]:  # fmt: skip
        # Ray's workers otherwise stand behind all else that the machine does.
        hooks = {"FLEET_TEST_SECONDS": str(seconds), "RAY_worker_niceness": "0", **environment}
        path = os.pathsep.join([str(HOOKS), os.environ["PYTHONPATH"]])
        command = [
            sys.executable, "-m", "dirty_seg.fleet", "detect", given or inputs / "frames",
            "--model", model, "--config", inputs / "config.yaml", "--output", output,
            "--unit-frames", 5, *(more or ("--workers", 2)),
        ]  # fmt: skip
        process = subprocess.Popen(
            [str(part) for part in command],
            env={**os.environ, **hooks, "PYTHONPATH": path},
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, start_new_session=True,
        )  # fmt: skip
        running.append(process)
        return process

    yield begin
    for process in running:
        process.kill()
        process.communicate()


def ended(process: subprocess.Popen[str]) -> tuple[int, str]:
    """Exit status and messages."""
    _, errors = process.communicate(timeout=240)
    return process.returncode, errors


def rows_of(output: Path | str) -> list[dict[str, Any]]:
    rows = list(Output(str(output)).in_order())
    for row in rows:
        del row["stage_ms"]
    return rows


def ray_processes() -> set[int]:
    found = set()
    for entry in Path("/proc").iterdir():
        if entry.name.isdigit():
            try:
                command = (entry / "cmdline").read_bytes()
            except OSError:
                continue
            if command.startswith(b"ray::") or b"/ray/" in command.split(b"\0")[0]:
                found.add(int(entry.name))
    return found


def wait_until(is_true: Callable[[], object], seconds: float = 60) -> None:
    end = time.monotonic() + seconds
    while not is_true():
        assert time.monotonic() < end, "nothing came of it"
        time.sleep(0.1)


@pytest.fixture(scope="module", autouse=True)
def no_process_is_left() -> Iterator[None]:
    before = ray_processes()
    yield
    wait_until(lambda: ray_processes() <= before, 120)  # Ray's agents miss a driver for a minute


@pytest.fixture(scope="module")
def undisturbed(inputs: Path, tmp_path_factory: pytest.TempPathFactory) -> list[dict[str, Any]]:
    """Rows of one run of one worker, and what holds of them."""
    output = tmp_path_factory.mktemp("undisturbed") / "run"
    before = ray_processes()
    done = subprocess.run(
        [
            sys.executable, "-m", "dirty_seg.fleet", "detect", str(inputs / "frames"), "--model",
            str(MODEL), "--config", str(inputs / "config.yaml"), "--output", str(output),
            "--unit-frames", "5", "--workers", "1",
        ],
        capture_output=True, text=True, check=False,
    )  # fmt: skip
    assert done.returncode == 1, done.stderr  # a picture and the log's end failed
    assert "31 frames, 2 of which failed" in done.stderr
    wait_until(lambda: ray_processes() <= before)
    summary = json.loads((output / "summary.json").read_text())
    assert (summary["frames"], summary["failed"], summary["is_complete"]) == (31, 2, True)
    return rows_of(output)


def test_each_frame_is_a_row_with_what_the_detector_finds(
    inputs: Path, undisturbed: list[dict[str, Any]]
) -> None:
    keys = [(row["source"], row["topic"], row["ordinal"]) for row in undisturbed]
    frames = inputs / "frames"
    log = str(frames / "log.mcap")
    pictures: list[tuple[str, str, int]] = [(str(frames / f"{i:02}.png"), "", 0) for i in range(20)]
    assert keys == pictures + [(log, "/camera", i) for i in range(11)]
    with dirty_seg.Detector(MODEL, inputs / "config.yaml") as detector:
        for row, (name, _, ordinal) in zip(undisturbed, keys, strict=True):
            if row["error"]:
                continue
            picture: ByteArray = plain(ORDER[ordinal % 5])
            if name.endswith(".png"):
                read = cv2.imread(name)
                assert read is not None
                picture = read
            line = json.loads(detector(picture).to_json())
            assert row["boxes"] == line["bboxes"]
            assert row["scores"] == line["scores"]
            assert [thing["run_lengths"] for thing in row["things"]] == [
                thing["rle"] for thing in line["things"]
            ]
            assert (row["height"], row["width"]) == (32, 48)
    failed = {row["source"]: row["error"] for row in undisturbed if row["error"]}
    assert "07.png' is no picture" in failed[str(frames / "07.png")]
    assert "log.mcap' topic '/camera' after message 10: " in failed[log]
    assert undisturbed[20]["log_time"] == 100
    assert undisturbed[20]["header_time"] == 5_000_000_007


def test_without_an_address_ray_is_started_though_another_is_told_of(
    start: Start, tmp_path: Path
) -> None:
    (tmp_path / "a.png").write_bytes(png("red"))
    process = start(tmp_path / "run", given=tmp_path / "a.png", RAY_ADDRESS="127.0.0.1:1")
    status, errors = ended(process)
    assert status == 0
    assert errors.endswith("dirty_seg.fleet: 1 frame\n")


@pytest.mark.parametrize("number", range(ROUNDS))
def test_workers_that_are_killed_change_nothing(
    number: int, start: Start, tmp_path: Path, undisturbed: list[dict[str, Any]]
) -> None:
    rng = seeded(number)
    before = ray_processes()
    output = tmp_path / "run"
    process = start(output, seconds=0.3)
    wait_until(lambda: (output / "attempts").exists(), 120)
    killed = 0
    while process.poll() is None and killed < 3:
        time.sleep(rng.uniform(0.1, 2.0))
        workers = [pid for pid in ray_processes() - before if is_worker(pid)]
        if workers:
            os.kill(rng.choice(workers), signal.SIGKILL)
            killed += 1
    assert killed > 0
    print(f"killed {killed} workers")
    status, errors = ended(process)
    assert status == 1, errors
    assert rows_of(output) == undisturbed
    wait_until(lambda: ray_processes() <= before)


def seeded(number: int) -> random.Random:
    """Another one each time; the seed is printed."""
    seed = random.randrange(2**32)
    print(f"round {number}: seed {seed}")
    return random.Random(seed)


def is_worker(pid: int) -> bool:
    try:
        return b"MapWorker" in Path(f"/proc/{pid}/cmdline").read_bytes()
    except OSError:
        return False


@pytest.mark.parametrize("number", range(ROUNDS))
def test_a_driver_that_is_killed_goes_on_and_leaves_no_process(
    number: int, start: Start, tmp_path: Path, undisturbed: list[dict[str, Any]]
) -> None:
    rng = seeded(number)
    before = ray_processes()
    output = tmp_path / "run"
    process = start(output, seconds=0.3)
    wait_until(lambda: Output(str(output)).published(), 120)
    time.sleep(rng.uniform(0.0, 1.5))
    process.send_signal(signal.SIGKILL)
    process.communicate()
    assert 0 < len(Output(str(output)).published()) < 7
    status, errors = ended(start(output))
    assert status == 1, errors
    assert rows_of(output) == undisturbed
    wait_until(lambda: all(is_agent(pid) for pid in ray_processes() - before))


def is_agent(pid: int) -> bool:
    """One of those that miss a killed driver for a minute; or gone by now."""
    try:
        return b"agent" in Path(f"/proc/{pid}/cmdline").read_bytes().lower()
    except OSError:
        return True


def test_an_interrupt_ends_in_order_and_the_same_command_goes_on(
    start: Start, tmp_path: Path, undisturbed: list[dict[str, Any]]
) -> None:
    before = ray_processes()
    output = tmp_path / "run"
    process = start(output, seconds=0.3)
    wait_until(lambda: Output(str(output)).published(), 120)
    other = start(output)
    status, errors = ended(other)
    assert status == 2
    assert f"'{output}' is in use by process {process.pid} on " in errors
    process.send_signal(signal.SIGINT)
    status, errors = ended(process)
    assert status == 130
    assert "interrupted: the same command goes on" in errors
    assert json.loads((output / "summary.json").read_text())["is_complete"] is False
    wait_until(lambda: ray_processes() <= before)
    assert ended(start(output))[0] == 1
    assert rows_of(output) == undisturbed


@pytest.fixture
def with_blue(tmp_path: Path) -> Path:
    """Pictures and a log, each with one blue frame at some place."""
    folder = tmp_path / "frames"
    folder.mkdir()
    for number, colour in enumerate(["red", "blue", "green"]):
        (folder / f"{number}.png").write_bytes(png(colour))
    write_mcap(folder / "log.mcap", camera(["red", "red", "red", "blue"]))
    return folder


def failures(output: Path) -> list[tuple[str, int, str]]:
    """Of seven frames, all others of which have things."""
    rows = rows_of(output)
    assert len(rows) == 7
    assert all(row["labels"] for row in rows if not row["error"])
    return [
        (Path(row["source"]).name, row["ordinal"], row["error"]) for row in rows if row["error"]
    ]


@pytest.mark.parametrize("number", range(ROUNDS))
def test_a_frame_that_kills_its_worker_becomes_a_row_that_says_so(
    number: int, start: Start, with_blue: Path, tmp_path: Path
) -> None:
    status, errors = ended(start(tmp_path / "run", given=with_blue, FLEET_TEST_DEADLY="1"))
    assert status == 1, errors
    error = "ended the detector's process by SIGKILL"
    assert failures(tmp_path / "run") == [("1.png", 0, error), ("log.mcap", 3, error)]


@pytest.mark.parametrize("number", range(ROUNDS))
def test_workers_that_are_ended_for_lack_of_memory_cost_only_the_frame_that_takes_it(
    number: int, start: Start, with_blue: Path, tmp_path: Path
) -> None:
    if used_memory() + 6 * 2**30 > whole_memory():
        pytest.skip("takes 6 GiB of free memory")
    (with_blue / "log.mcap").unlink()
    for name in ("3.png", "4.png", "5.png", "6.png"):
        (with_blue / name).write_bytes(png("red"))
    room = {
        "FLEET_TEST_HUNGRY": str(4 * 2**30),
        "RAY_memory_usage_threshold": str((used_memory() + 3 * 2**30) / whole_memory()),
        "RAY_memory_monitor_refresh_ms": "100",
    }
    status, errors = ended(start(tmp_path / "run", given=with_blue, **room))
    assert status == 1, errors
    error = "ended the worker's process even by itself: memory may be lacking"
    assert failures(tmp_path / "run") == [("1.png", 0, error)]


def whole_memory() -> int:
    """Bytes, as Ray counts them."""
    from ray._common.utils import get_system_memory

    return int(get_system_memory())


def used_memory() -> int:
    from ray._private.utils import get_used_memory

    return int(get_used_memory())


def test_another_network_configuration_or_input_is_refused(
    start: Start, inputs: Path, tmp_path: Path
) -> None:
    folder = tmp_path / "frames"
    folder.mkdir()
    (folder / "a.png").write_bytes(png("red"))
    output = tmp_path / "run"
    assert ended(start(output, given=folder))[0] == 0
    status, errors = ended(start(output, given=folder, model=NETWORKS / "seg-b1-64.onnx"))
    assert status == 2
    assert f"'{output}' is another run's: this one has model_sha256 " in errors
    status, errors = ended(start(output, "--conf", 0.9, given=folder))
    assert status == 2
    assert "this one has score_threshold 0.9, not null; expected the same command" in errors
    (folder / "b.png").write_bytes(png("red"))
    status, errors = ended(start(output, given=folder))
    assert status == 2
    assert "this one has inputs " in errors


def test_a_run_that_ray_gives_up_is_told(
    inputs: Path, tmp_path: Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    import ray
    from ray.data.exceptions import ExecutionTimeoutError

    def give_up(*_: object) -> Iterator[Any]:
        raise ExecutionTimeoutError("no progress\nfor long")
        yield

    monkeypatch.setattr(run, "_ray", lambda _: contextlib.nullcontext(ray))
    monkeypatch.setattr(run, "_receipts", give_up)
    settings = Settings(str(MODEL), str(inputs / "config.yaml"))
    plan = run.Plan((str(inputs / "frames"),), (), str(tmp_path / "run"), settings)
    with pytest.raises(run.RunError, match="Ray failed: for long; what is published stays"):
        run.detect(plan)


def test_what_cannot_be_is_told_before_anything_starts(start: Start, tmp_path: Path) -> None:
    output = tmp_path / "run"
    status, errors = ended(start(output, model=tmp_path / "none.onnx"))
    assert (status, output.exists()) == (2, False)
    assert f"dirty_seg.fleet: error: '{tmp_path}/none.onnx': cannot be used" in errors
    status, errors = ended(start(output, given=tmp_path / "nothing"))
    assert status == 2
    assert "no input can be read" in errors
    status, errors = ended(start(output, "--address", "ray://host:1"))
    assert status == 2
    assert "expected auto or HOST:PORT" in errors


def stream(name: str, frames: int) -> Stream:
    return Stream(name, "video", "", "", "", "1", frames)


def test_a_scan_gives_each_frame_once_however_many_units_there_are(tmp_path: Path) -> None:
    output = Output(str(tmp_path / "run"))
    assert list(output.batches()) == []
    for number in range(2 * dataset.SCANNED + 1):
        row = row_of(stream("a", 1), Frame(number, Times(), None), None, "none")
        output.publish(f"unit{number}", [row])
    batches = list(output.batches(["ordinal"]))
    found = [value for batch in batches for value in batch["ordinal"].to_pylist()]
    assert sorted(found) == list(range(2 * dataset.SCANNED + 1))
    keys = [("a", "", number) for number in (0, dataset.SCANNED, 2 * dataset.SCANNED)]
    assert sorted(output.rows_of(keys)) == keys


def test_units_are_cut_alike_and_named_by_what_they_are_of() -> None:
    streams = [stream("a", 1), stream("b", 3), stream("c", 2), stream("d", 11)]
    units = cut(streams, 4)
    a, b, c, d = streams
    assert units == [
        Unit((Part(a, 0, None), Part(b, 0, None))),
        Unit((Part(c, 0, None),)),
        Unit((Part(d, 0, 4),)),
        Unit((Part(d, 4, 4),)),
        Unit((Part(d, 8, None),)),
    ]
    assert [unit.expected for unit in units] == [4, 2, 4, 4, 3]
    assert [Unit.from_json(unit.to_json()) for unit in units] == units
    assert len({unit.name for unit in units}) == 5
    changed = cut([Stream("a", "video", "", "", "", "2", 1)], 4)
    assert changed[0].name != cut([a], 4)[0].name


@pytest.mark.parametrize(
    ("frames", "expected"),
    [(1, 25), (831, 25), (832, 26), (3200, 100), (8031, 250), (10**6, 250)],
)
def test_units_are_by_default_as_large_as_the_inputs_make_them(frames: int, expected: int) -> None:
    half = frames // 2
    assert usual_frames([stream("a", half), stream("b", frames - half)]) == expected


def test_exported_lines_are_those_of_the_package(
    inputs: Path, tmp_path: Path, program: Path, start: Start
) -> None:
    output, lines = tmp_path / "run", tmp_path / "results.jsonl"
    assert ended(start(output))[0] == 1
    for form, path in (("--jsonl", lines), ("--coco", tmp_path / "coco.json")):
        subprocess.run(
            [sys.executable, "-m", "dirty_seg.fleet", "export", str(output), form, str(path)],
            check=True,
        )
    records = [json.loads(line) for line in lines.read_text().splitlines()]
    assert len(records) == 31
    with dirty_seg.Detector(MODEL, inputs / "config.yaml") as detector:
        expected = json.loads(detector(plain("red")).to_json(records[0]["source"]))
    for record in (expected, records[0]):
        del record["timing_ms"]
    assert records[0] == expected
    assert (records[7]["success"], "is no picture" in records[7]["message"]) == (False, True)
    assert records[20]["source"] == f"{inputs / 'frames' / 'log.mcap'} /camera"
    made = subprocess.run(
        [str(program), "report", str(lines), "--output", str(tmp_path / "page.html")],
        capture_output=True, text=True, check=False,
    )  # fmt: skip
    assert made.returncode == 0, made.stderr
    content = json.loads((tmp_path / "coco.json").read_text())
    assert len(content["images"]) == 31
    assert {entry["name"] for entry in content["categories"]} == {"red", "green"}
    found = sum(len(record["things"]) for record in records)
    assert len(content["annotations"]) == found > 20


@pytest.mark.parametrize("number", range(ROUNDS))
def test_a_full_disk_is_told_and_the_same_command_goes_on(
    number: int, start: Start, tmp_path: Path
) -> None:
    folder, disk = tmp_path / "frames", tmp_path / "disk"
    folder.mkdir()
    disk.mkdir()
    for number in range(10):
        (folder / f"{number}.png").write_bytes(png("red"))
    mounted = subprocess.run(
        ["mount", "-t", "tmpfs", "-o", "size=256k", "none", str(disk)], check=False
    )
    if mounted.returncode != 0:
        pytest.skip("nothing can be mounted here, which takes root")
    try:
        filler = disk / "filler"
        filler.write_bytes(bytes(225 * 1024))
        status, errors = ended(start(disk / "run", given=folder))
        assert status == 2
        assert "error: a worker failed: OSError: [Errno 28] No space left on device" in errors
        filler.unlink()
        assert ended(start(disk / "run", given=folder))[0] == 0
        rows = rows_of(disk / "run")
        assert [(row["source"], row["error"]) for row in rows] == [
            (str(folder / f"{number}.png"), "") for number in range(10)
        ]
    finally:
        subprocess.run(["umount", "--lazy", str(disk)], check=True)


@pytest.fixture
def store(monkeypatch: pytest.MonkeyPatch) -> Iterator[str]:
    """An S3 server on the loopback; what follows a key in a URI."""
    from moto.server import ThreadedMotoServer

    for name in ("AWS_ACCESS_KEY_ID", "AWS_SECRET_ACCESS_KEY"):
        monkeypatch.setenv(name, "testing")
    server = ThreadedMotoServer("127.0.0.1", 0, verbose=False)
    server.start()
    _, port = server.get_host_and_port()
    yield f"?scheme=http&endpoint_override=127.0.0.1:{port}&region=us-east-1"
    server.stop()


def put(folder: Path, store: str, prefix: str = "drive") -> str:
    """Puts a folder's files into the store; their prefix."""
    from pyarrow.fs import FileSystem

    system, _ = FileSystem.from_uri(f"s3://logs/a{store}&allow_bucket_creation=true")
    system.create_dir("logs")
    for path in sorted(folder.iterdir()):
        with system.open_output_stream(f"logs/{prefix}/{path.name}") as file:
            file.write(path.read_bytes())
    return f"s3://logs/{prefix}{store}"


def test_an_object_store_gives_and_takes_as_a_folder_does(
    start: Start, inputs: Path, undisturbed: list[dict[str, Any]], store: str
) -> None:
    output = f"s3://logs/out/run{store}"
    given = put(inputs / "frames", store)
    status, errors = ended(start(output, given=given))  # type: ignore[arg-type]
    assert status == 1, errors
    rows = rows_of(output)
    assert [row["source"] for row in rows] == [
        f"s3://logs/drive/{Path(row['source']).name}{store}" for row in undisturbed
    ]
    for row, expected in zip(rows, undisturbed, strict=True):
        same = row.keys() - {"source", "error"}
        assert {key: row[key] for key in same} == {key: expected[key] for key in same}
        assert bool(row["error"]) == bool(expected["error"])
    with Output(output).driven():
        status, errors = ended(start(output, given=given))  # type: ignore[arg-type]
        assert status == 2
        assert "is in use by process " in errors
    status, errors = ended(start(output, given=given))  # type: ignore[arg-type]
    assert (status, "0 frames\n" in errors) == (1, True)  # nothing is left to do


def test_keys_of_objects_may_have_any_signs(store: str, tmp_path: Path) -> None:
    key = "a b%20c#d?e\u00fc.png"
    (tmp_path / key).write_bytes(png("red"))
    for given in (put(tmp_path, store, "signs"), f"s3://logs/signs/*.png{store}"):
        streams, errors = find_streams([given])
        assert errors == []
        assert [one.source for one in streams] == [
            f"s3://logs/signs/a%20b%2520c%23d%3Fe%C3%BC.png{store}"
        ]
        (frame,) = read_frames(streams[0])
        assert frame.picture is not None and frame.picture.shape == (32, 48, 3)


@pytest.fixture
def unsteady(store: str) -> Iterator[str]:
    """Before the server: one that answers one of ten requests by 500, one of 20 late."""
    _, _, address = store.partition("endpoint_override=")
    host, port = address.split("&")[0].split(":")
    rng = seeded(0)

    class Handler(http.server.BaseHTTPRequestHandler):
        protocol_version = "HTTP/1.1"

        def forward(self) -> None:
            body = self.body()
            if rng.random() < 0.05:
                time.sleep(0.5)
            if rng.random() < 0.1:
                self.send_response(500)
                self.send_header("Content-Length", "0")
                self.end_headers()
                return
            connection = http.client.HTTPConnection(host, int(port))
            headers = {k: v for k, v in self.headers.items() if k.lower() != "transfer-encoding"}
            headers["Content-Length"] = str(len(body))
            connection.request(self.command, self.path, body, headers)
            answer = connection.getresponse()
            data = answer.read()
            self.send_response(answer.status)
            for name, value in answer.getheaders():
                if name.lower() not in ("connection", "content-length", "date", "server"):
                    self.send_header(name, value)
            length = answer.getheader("Content-Length") or "0"
            self.send_header("Content-Length", length if self.command == "HEAD" else str(len(data)))
            self.end_headers()
            self.wfile.write(data)
            connection.close()

        def body(self) -> bytes:
            if self.headers.get("Transfer-Encoding") != "chunked":
                return self.rfile.read(int(self.headers.get("Content-Length", 0)))
            data = b""
            while length := int(self.rfile.readline(), 16):
                data += self.rfile.read(length)
                self.rfile.readline()
            self.rfile.readline()
            return data

        do_GET = do_PUT = do_POST = do_HEAD = do_DELETE = forward

        def log_message(self, *_: object) -> None:
            pass

    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
    threading.Thread(target=server.serve_forever, daemon=True).start()
    yield store.replace(f"{host}:{port}", f"127.0.0.1:{server.server_port}")
    server.shutdown()
    server.server_close()


@pytest.mark.parametrize("number", range(ROUNDS))
def test_a_store_that_often_fails_or_is_slow_changes_nothing(
    number: int,
    start: Start,
    inputs: Path,
    undisturbed: list[dict[str, Any]],
    store: str,
    unsteady: str,
) -> None:
    put(inputs / "frames", store)
    output = f"s3://logs/unsteady/run{unsteady}"
    given: Any = f"s3://logs/drive{unsteady}"
    status, errors = ended(start(output, given=given))
    while status == 2:  # it refused more often than it is asked again
        print(errors)
        status, errors = ended(start(output, given=given))
    assert status == 1, errors
    rows = rows_of(f"s3://logs/unsteady/run{store}")
    assert len(rows) == len(undisturbed)
    for row, expected in zip(rows, undisturbed, strict=True):
        same = row.keys() - {"source", "error"}
        assert {key: row[key] for key in same} == {key: expected[key] for key in same}
        assert bool(row["error"]) == bool(expected["error"])


CLUSTER = """
import sys
from ray.cluster_utils import Cluster
cluster = Cluster(initialize_head=True, head_node_args={"num_cpus": 0, "include_dashboard": False})
nodes = [cluster.add_node(num_cpus=1, object_store_memory=100 * 2**20) for _ in range(2)]
print(cluster.address, flush=True)
sys.stdin.readline()
cluster.remove_node(nodes[0], allow_graceful=False)
print("removed", flush=True)
sys.stdin.readline()
cluster.shutdown()
"""


@pytest.mark.parametrize("number", range(ROUNDS))
def test_a_node_that_is_killed_changes_nothing(
    number: int, start: Start, tmp_path: Path, undisturbed: list[dict[str, Any]]
) -> None:
    rng = seeded(number)
    before = ray_processes()
    path = os.pathsep.join([str(HOOKS), os.environ["PYTHONPATH"]])
    with subprocess.Popen(
        [sys.executable, "-c", CLUSTER],
        env={**os.environ, "PYTHONPATH": path, "FLEET_TEST_SECONDS": "1.0",
             "RAY_USAGE_STATS_ENABLED": "0", "RAY_worker_niceness": "0"},
        stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True,
        start_new_session=True,
    ) as cluster:  # fmt: skip
        try:
            assert cluster.stdin is not None and cluster.stdout is not None
            address = cluster.stdout.readline().strip()
            output = tmp_path / "run"
            process = start(output, "--workers", 2, "--address", address)
            wait_until(lambda: (output / "attempts").exists(), 120)
            time.sleep(rng.uniform(0.1, 2.0))
            assert process.poll() is None
            print("", file=cluster.stdin, flush=True)
            assert cluster.stdout.readline() == "removed\n"
            status, errors = ended(process)
            assert status == 1, errors
            assert rows_of(output) == undisturbed
            print("", file=cluster.stdin, flush=True)
            cluster.wait(60)
        finally:
            cluster.kill()
    wait_until(lambda: ray_processes() <= before, 120)
