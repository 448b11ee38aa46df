"""Memory, threads, processes, and the interpreter's end."""

import gc
import os
import pickle
import resource
import subprocess
import sys
import textwrap
import threading
import weakref
from collections.abc import Iterator
from concurrent.futures import ThreadPoolExecutor

import numpy as np
import pytest
from conftest import (
    DEMO,
    GREEN,
    NETWORKS,
    PATCHES,
    RED,
    SMALL_NETWORKS,
    ByteArray,
    plain,
)

import dirty_seg


def run(script: str, **variables: str) -> subprocess.CompletedProcess[str]:
    """Runs a script in an interpreter of its own; it has NETWORK and PATCHES."""
    network = str(NETWORKS / "seg-b2-64.onnx")
    head = f"import dirty_seg, numpy as np\nNETWORK = {network!r}\nPATCHES = {PATCHES!r}\n"
    return subprocess.run(
        [sys.executable, "-c", head + textwrap.dedent(script)],
        capture_output=True,
        text=True,
        timeout=60,
        check=False,
        env={**os.environ, **variables},
    )


def test_arrays_keep_their_results_memory_alive(small: dirty_seg.Detector) -> None:
    result = small(plain(RED))
    boxes, mask, thing = result.boxes, result.label_masks[0], result.things[0]
    expected = boxes.copy(), mask.copy(), thing.mask.copy()
    del result
    gc.collect()
    small(plain(GREEN))  # which would take the memory over
    for array, copy in zip((boxes, mask, thing.mask), expected, strict=True):
        np.testing.assert_array_equal(array, copy)


def test_views_share_memory_and_are_read_only(small: dirty_seg.Detector) -> None:
    result = small(plain(RED))
    for first, second in (
        (result.boxes, result.boxes),
        (result.scores, result.scores),
        (result.labels, result.labels),
        (result.label_masks[0], result.label_masks[0]),
        (result.things[0].mask, result.things[0].mask),
    ):
        assert first.ctypes.data == second.ctypes.data
        assert not first.flags.writeable
        with pytest.raises(ValueError, match="read-only"):
            first[...] = 0


def test_a_result_keeps_its_picture_and_no_copy_of_it(
    small: dirty_seg.Detector,
) -> None:
    picture = plain(RED)
    count = sys.getrefcount(picture)
    result = small(picture)
    assert result.image is picture
    del result
    gc.collect()
    assert sys.getrefcount(picture) == count


def test_a_detector_and_its_results_are_freed() -> None:
    detector = dirty_seg.Detector(NETWORKS / "seg-b2-64.onnx", PATCHES)
    result = detector(plain(RED))
    references = [weakref.ref(detector), weakref.ref(result)]
    del detector, result
    gc.collect()
    assert [reference() for reference in references] == [None, None]


def test_memory_is_flat_over_many_frames(small: dirty_seg.Detector) -> None:
    frames = int(os.environ.get("DIRTY_SEG_LEAK_FRAMES", "400"))
    pictures = [plain(RED), plain(GREEN), plain(RED)[::-1], plain(RED, 100, 100)]

    def use(count: int) -> int:
        for i in range(count):
            result = small(pictures[i % len(pictures)])
            result.to_json()
            pickle.loads(pickle.dumps(result)).to_coco()
            try:
                small(pictures[0][:0])
            except ValueError:
                pass
        return resource.getrusage(resource.RUSAGE_SELF).ru_maxrss

    before = use(100)
    # A leak of one mask a frame, 2 MB, would be 800 MB.
    assert use(frames) - before < 40_000


def test_a_closed_detector_says_so(small: dirty_seg.Detector) -> None:
    result = small(plain(RED))
    small.close()
    small.close()
    with pytest.raises(dirty_seg.UsageError, match="^the detector is closed$"):
        small(plain(RED))
    assert len(result.boxes) == 2


def test_a_detector_cannot_be_pickled(small: dirty_seg.Detector) -> None:
    with pytest.raises(TypeError, match="make one in each process"):
        pickle.dumps(small)


def test_a_frame_that_fails_leaves_the_detector_working() -> None:
    with dirty_seg.Detector(SMALL_NETWORKS / "seg-fails-on-red.onnx", PATCHES) as detector:
        for _ in range(3):
            with pytest.raises(dirty_seg.FrameError, match="inference status is 5"):
                detector(plain(RED))
            assert detector(plain(GREEN)).labels.tolist() == [1, 1]


def test_threads_take_turns_on_one_detector(small: dirty_seg.Detector) -> None:
    pictures = [plain(RED), plain(GREEN), plain((0, 0, 0))]
    expected = [small(picture).to_json().split("timing")[0] for picture in pictures]
    with ThreadPoolExecutor(8) as pool:
        found = list(pool.map(lambda i: small(pictures[i % 3]).to_json(), range(120)))
    assert [line.split("timing")[0] for line in found] == [expected[i % 3] for i in range(120)]


def test_detectors_work_side_by_side(floor: ByteArray) -> None:
    def lines(_: int) -> list[str]:
        with dirty_seg.Detector(**DEMO, threads=1) as detector:
            return [detector(floor).to_json().split("timing")[0] for _ in range(3)]

    with ThreadPoolExecutor(3) as pool:
        found = list(pool.map(lines, range(3)))
    assert len({line for each in found for line in each}) == 1


def test_other_threads_run_during_a_call(demo: dirty_seg.Detector, floor: ByteArray) -> None:
    counted = 0
    is_over = threading.Event()

    def count() -> None:
        nonlocal counted
        while not is_over.is_set():
            counted += 1

    thread = threading.Thread(target=count)
    thread.start()
    try:
        demo(floor)
        before = counted
        demo(floor)
        during = counted - before
    finally:
        is_over.set()
        thread.join()
    assert during > 1000


def test_closing_waits_for_the_calls_of_others(floor: ByteArray) -> None:
    detector = dirty_seg.Detector(**DEMO)
    outcomes: list[object] = []

    def use() -> None:
        try:
            while True:
                outcomes.append(detector(floor))
        except dirty_seg.UsageError as error:
            outcomes.append(error)

    threads = [threading.Thread(target=use) for _ in range(2)]
    for thread in threads:
        thread.start()
    while len(outcomes) < 2:
        pass
    detector.close()
    for thread in threads:
        thread.join()
    assert sum(isinstance(outcome, dirty_seg.UsageError) for outcome in outcomes) == 2


def test_a_stream_yields_results_in_order(small: dirty_seg.Detector) -> None:
    pictures = [plain(RED), plain(GREEN), plain((0, 0, 0))] * 3
    labels = [result.labels.tolist() for result in small.stream(pictures)]
    assert labels == [[0, 0], [1, 1], []] * 3
    assert list(small.stream([])) == []


def test_a_stream_reads_one_frame_ahead_and_keeps_no_result(
    small: dirty_seg.Detector,
) -> None:
    taken = 0
    kept: list[weakref.ref[dirty_seg.Result]] = []

    def pictures() -> Iterator[ByteArray]:
        nonlocal taken
        for _ in range(6):
            taken += 1
            yield plain(RED)

    for result in small.stream(pictures()):
        assert taken <= len(kept) + 2
        kept.append(weakref.ref(result))
        del result
        gc.collect()
        assert kept[-1]() is None
    assert taken == 6


def test_a_streams_failure_is_raised_in_its_turn() -> None:
    with dirty_seg.Detector(SMALL_NETWORKS / "seg-fails-on-red.onnx", PATCHES) as detector:
        stream = detector.stream([plain(GREEN), plain(RED), plain(GREEN)])
        assert next(stream).labels.tolist() == [1, 1]
        with pytest.raises(dirty_seg.FrameError):
            next(stream)
        assert list(stream) == []


def test_a_stream_that_is_left_ends_its_thread(small: dirty_seg.Detector) -> None:
    before = threading.active_count()
    stream = small.stream(plain(RED) for _ in range(100))
    next(stream)
    stream.close()  # type: ignore[attr-defined]
    assert threading.active_count() == before
    assert len(small(plain(RED))) == 2


def test_a_fork_is_told_and_ends() -> None:
    result = run(
        """
        import os, sys
        detector = dirty_seg.Detector(NETWORK, PATCHES, threads=2)
        picture = np.zeros((1080, 1920, 3), np.uint8)
        detector(picture)
        child = os.fork()
        if child == 0:
            try:
                detector(picture)
            except dirty_seg.UsageError as error:
                print(error)
            detector.close()
            del detector
            own = dirty_seg.Detector(NETWORK, PATCHES, threads=2)
            print(len(own(picture)))
            sys.exit(7)
        print("child", os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]))
        detector(picture)
        """
    )
    assert result.returncode == 0, result.stderr
    assert "the detector was made in another process" in result.stdout
    assert "0\n" in result.stdout and "child 7" in result.stdout


def test_the_interpreter_ends_in_order_during_calls_of_other_threads() -> None:
    for _ in range(5):
        result = run(
            """
            import threading, time
            detector = dirty_seg.Detector(NETWORK, PATCHES)
            picture = np.zeros((3000, 4000, 3), np.uint8)
            def use():
                while True:
                    detector(picture)
            for _ in range(3):
                threading.Thread(target=use, daemon=True).start()
            time.sleep(0.2)
            print("end")
            """
        )
        assert (result.returncode, result.stdout) == (0, "end\n"), result.stderr


@pytest.mark.parametrize("first", ["cv2", "dirty_seg"])
def test_it_works_beside_opencvs_own_package(first: str) -> None:
    result = run(
        f"""
        import sys
        for name in {("cv2", "dirty_seg") if first == "cv2" else ("dirty_seg", "cv2")!r}:
            __import__(name)
        import cv2
        picture = cv2.resize(np.full((10, 10, 3), 255, np.uint8), (1920, 1080))
        detector = dirty_seg.Detector(NETWORK, PATCHES)
        print(detector(picture).labels.tolist())
        print(cv2.resize(picture, (5, 5)).sum())
        """.replace(
            "import dirty_seg, numpy", "import numpy"
        )
    )
    assert (result.returncode, result.stdout) == (0, "[0, 0]\n19125\n"), result.stderr


def test_nothing_is_printed_unless_asked() -> None:
    script = """
        detector = dirty_seg.Detector(NETWORK, PATCHES)
        detector(np.zeros((1080, 1920, 3), np.uint8))
        try:
            dirty_seg.Detector("missing.onnx", PATCHES)
        except dirty_seg.SetupError:
            pass
        """
    result = run(script)
    assert (result.returncode, result.stdout, result.stderr) == (0, "", "")
    asked = run(script, SPDLOG_STDOUT="true")
    assert "[INFO]" in asked.stdout


def test_the_log_goes_to_pythons_logger() -> None:
    result = run(
        """
        import logging, sys
        form = "%(levelname)s %(name)s %(message)s"
        logging.basicConfig(level=logging.INFO, stream=sys.stdout, format=form)
        dirty_seg.Detector(NETWORK, PATCHES)(np.zeros((1080, 1920, 3), np.uint8))
        """
    )
    lines = result.stdout.splitlines()
    assert result.stderr == "" and lines
    assert all(line.startswith("INFO dirty_seg ") for line in lines)
    assert any("inference" in line for line in lines)


def test_the_journal_is_told_not_to_be_had() -> None:
    result = run("dirty_seg.Detector(NETWORK, PATCHES)", SPDLOG_SYSTEMD="true")
    assert result.returncode == 0
    assert "SetupWarning: SPDLOG_SYSTEMD is true, but this package cannot write" in result.stderr


@pytest.mark.parametrize("level", ["trace", "critical", "off", "nonsense", ""])
def test_no_log_level_costs_stage_times(level: str) -> None:
    result = run(
        """
        detector = dirty_seg.Detector(NETWORK, PATCHES)
        print(list(detector(np.zeros((1080, 1920, 3), np.uint8)).timing_ms))
        """,
        SPDLOG_LEVEL=level,
    )
    stages = ["preprocess", "inference", "postprocess", "convert", "total"]
    assert (result.stdout, result.stderr) == (f"{stages}\n", "")


def test_importing_loads_neither_the_measures_nor_the_drawers() -> None:
    result = run(
        """
        import sys
        names = ("pycocotools", "supervision", "cv2", "matplotlib")
        print([name for name in names if name in sys.modules])
        """
    )
    assert result.stdout == "[]\n"
