"""bench/table.py on measurements made up here."""

import json
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

TABLE = Path(__file__).resolve().parents[2] / "bench" / "table.py"

# Nanoseconds, each within its bound. One of 300 objects costs (3000 - 0) / 300 = 10.
TIMES = {
    "PopulateData/ours": 10, "PopulateData/memcpy": 10, "PopulateData/blob_from_image": 200,
    "Patches_640x640/ours": 10, "Patches_640x640/memcpy": 10, "Patches_640x640/opencv": 80,
    "Patches_960x540/ours": 10, "Patches_960x540/memcpy": 10, "Patches_960x540/opencv": 80,
    "PreProcessFece_600x800/ours": 10, "PreProcessFece_600x800/resize_only": 10,
    "PreProcessFece_224x224/ours": 10, "PreProcessFece_224x224/opencv": 40,
    "Decode_50/ours": 3000, "Decode_50/generic": 60000,
    "Decode_0/ours": 0, "Decode_0/read_scores": 10, "Decode_mask/memcpy": 10,
    "Convert_50/ours": 10, "Convert_50/or_and_count": 10,
    "Frame_1threads/detector": 10, "Frame_1threads/network": 10,
    "Frame_2threads/detector/real_time": 10, "Frame_2threads/network/real_time": 10,
    "Frame_batch6/ours/real_time": 10, "Frame_batch6/default_session/real_time": 10,
    "Frame_batch6/usual_way/real_time": 13,
    "Frame_batch1/ours/real_time": 10, "Frame_batch1/one_thread/real_time": 19,
    "Frame_batch1/default_session_of_batch6/real_time": 11,
    "Idle/batch6/iterations:1/manual_time": 1, "Idle/batch1/iterations:1/manual_time": 1,
    "Idle/clock/iterations:1/manual_time": 1000,
    "DetectOutput/ours/real_time": 10, "DetectOutput/networks/real_time": 10,
    "DetectOutput/ours_processor/real_time": 10, "DetectOutput/networks_processor/real_time": 10,
    "DetectLines/ours/real_time": 10, "DetectLines/networks/real_time": 10,
    "Start_demo/ours/real_time": 10, "Start_demo/bare_sessions/real_time": 10,
    "Start_large/ours/real_time": 10, "Start_large/bare_sessions/real_time": 10,
    "FirstFrame/first/iterations:1/manual_time": 10,
    "FirstFrame/later/iterations:1/manual_time": 10,
    "GrowthPatches_1/crop": 5, "GrowthPatches_2/crop": 8,
    "GrowthObjects_0/decode": 5, "GrowthObjects_10/decode": 8,
    "GrowthLabels_1/convert": 5, "GrowthLabels_2/convert": 8,
    "GrowthCandidates_1050/apart": 5, "GrowthCandidates_2100/apart": 8,
    "Forms/folder/real_time": 17e6, "Forms/coco/real_time": 25e5,
}  # fmt: skip


def runs(name: str, time: float, repetitions: int) -> list[dict]:
    """A benchmark's entries: one a repetition, then mean and median, which alone is `time`."""
    entry = {"run_name": name, "run_type": "iteration", "repetitions": repetitions,
             "real_time": time, "cpu_time": time, "time_unit": "ns"}  # fmt: skip
    if name.startswith("FirstFrame/later"):
        entry["peak_resident_MiB"] = 634.0
    if repetitions == 1:
        return [entry]
    wrong = {**entry, "real_time": 99 * time, "cpu_time": 99 * time}
    aggregate = {"run_type": "aggregate"}
    return [wrong] * repetitions + [
        {**entry, **aggregate, "aggregate_name": "median"},
        {**wrong, **aggregate, "aggregate_name": "mean"},
    ]


class BenchTable(unittest.TestCase):
    def table(
        self, times: dict, *options: str, repetitions: int = 2
    ) -> subprocess.CompletedProcess:
        with tempfile.TemporaryDirectory() as folder:
            entries = [run for name in times for run in runs(name, times[name], repetitions)]
            (Path(folder) / "all.json").write_text(json.dumps({"benchmarks": entries}))
            return subprocess.run(
                [sys.executable, str(TABLE), *options, folder],
                capture_output=True, text=True, check=False,
            )  # fmt: skip

    def row(self, done: subprocess.CompletedProcess, name: str) -> str:
        return next(line for line in done.stdout.splitlines() if line.startswith(name))

    def test_every_bound_holds(self) -> None:
        done = self.table(TIMES)
        self.assertEqual(0, done.returncode, done.stderr)
        self.assertRegex(self.row(done, "Decode_mask"), r"10 ns +memcpy 10 ns +1 x .* yes$")
        self.assertRegex(self.row(done, "crop"), r"5 ns +8 ns +3 ns per patch$")
        self.assertRegex(self.row(done, "coco"), r" 2.5 ms$")
        self.assertIn("634 MiB", done.stdout)

    def test_a_bound_that_does_not_hold_ends_with_1(self) -> None:
        done = self.table({**TIMES, "Convert_50/or_and_count": 8})  # 1.25 against 1.15
        self.assertEqual(1, done.returncode)
        self.assertTrue(self.row(done, "Convert_50").endswith("NO"))

    def test_smoke_takes_single_measurements_and_judges_none(self) -> None:
        times = {**TIMES, "Convert_50/or_and_count": 8}
        done = self.table(times, "--smoke", repetitions=1)
        self.assertEqual(0, done.returncode, done.stderr)
        self.assertTrue(self.row(done, "Convert_50").endswith("at most 1.15 x"))

    def test_any_missing_measurement_ends_with_2_and_its_name(self) -> None:
        subjects = (
            *(
                "PopulateData/memcpy",
                "Decode_50",
                "Frame_batch1",
                "Idle",
                "DetectLines",
                "Start_demo",
                "FirstFrame/later",
            ),
            *("GrowthPatches", "GrowthObjects", "GrowthLabels", "GrowthCandidates", "Forms"),
        )
        for subject in subjects:
            with self.subTest(subject):
                rest = {name: TIMES[name] for name in TIMES if not name.startswith(subject)}
                done = self.table(rest, "--smoke")
                self.assertEqual(2, done.returncode)
                self.assertIn(subject, done.stderr)


if __name__ == "__main__":
    unittest.main()
