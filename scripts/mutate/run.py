"""Makes mutants, builds and tests them, and reports those that survive."""
import argparse
import hashlib
import re
import resource
import shutil
import signal
import subprocess
import sys
import time
from collections import Counter
from dataclasses import dataclass
from pathlib import Path

from rules import Mutant, mutants_of

REPOSITORY = Path(__file__).resolve().parents[2]
TREE = REPOSITORY / "build/mutate/tree"
BUILD = REPOSITORY / "build/mutate/build"
RESULTS = REPOSITORY / "build/mutate/results.tsv"
SLOW_MS = 1000  # tests that take longer are left out, unless all are asked for
MEMORY_LIMIT = 16 << 30  # a mutant may ask for more than the machine has


@dataclass(frozen=True)
class Suite:
    """A test program and its place in the build."""

    target: str
    program: str


ALL = GEOMETRY, NETWORK, DECODE, ENGINE, DETECTOR = tuple(
    Suite(f"{name}_tests", f"bin/{name}_tests")
    for name in ("geometry", "network", "decode", "engine", "detector")
)
SUITES = {
    "src/dirty_seg_detector/": (DETECTOR,),
    "src/logger/": (DETECTOR,),
    "src/decode/": (DECODE,),
    "src/engine/": (ENGINE,),
    "src/network/": (NETWORK, DECODE, ENGINE),
    "src/geometry/": (GEOMETRY, DECODE, DETECTOR),
    "src/common/": (DECODE, ENGINE, DETECTOR),
}


def suites_of(file: str) -> tuple[Suite, ...]:
    """Those whose programs hold the file."""
    return next((suites for folder, suites in SUITES.items() if file.startswith(folder)), ALL)


def run(command: list[str], **options) -> subprocess.CompletedProcess[str]:
    return subprocess.run(command, text=True, errors="replace", check=False, **options)


def git(*arguments: str) -> list[str]:
    listed = run(["git", *arguments, "-z"], cwd=REPOSITORY, stdout=subprocess.PIPE)
    return [name for name in listed.stdout.split("\0") if name]


def copy_tree() -> None:
    """Brings the copy up to date; what did not change keeps its time and its objects."""
    wanted = set(git("ls-files", "--cached", "--others", "--exclude-standard"))
    for name in wanted:
        source, target = REPOSITORY / name, TREE / name
        if source.is_symlink() or not source.is_file():
            continue
        if target.is_file() and target.read_bytes() == source.read_bytes():
            if name.startswith("src/") and name.endswith(".cpp"):  # may have a mutant's object
                target.touch()
            continue
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(source, target)
    for target in TREE.rglob("*"):
        if target.is_file() and str(target.relative_to(TREE)) not in wanted:
            if "node_modules" not in target.parts:
                target.unlink()
    for modules in ("third_party/onnxruntime/node_modules", "third_party/web/node_modules"):
        if not (TREE / modules).is_symlink():
            (TREE / modules).symlink_to(REPOSITORY / modules)


def build(targets: list[str]) -> bool:
    return run(["ninja", "-C", str(BUILD), *targets], stdout=subprocess.DEVNULL,
               stderr=subprocess.DEVNULL).returncode == 0  # fmt: skip


def configure() -> None:
    command = [
        "cmake", "-S", str(TREE), "-B", str(BUILD), "-G", "Ninja", "-DDIRTY_SEG_DEVELOPER=ON",
        "-DCMAKE_CXX_COMPILER=clang++", "-DCMAKE_CXX_COMPILER_LAUNCHER=",
        "-DCMAKE_BUILD_TYPE=Debug", "-DCMAKE_CXX_FLAGS=-w", "-DCMAKE_CXX_FLAGS_DEBUG=-O1",
        "-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=lld",
        "-DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST",
        f"-DCMAKE_PROJECT_dirty_seg_detector_INCLUDE={TREE}/scripts/mutate/build.cmake",
    ]  # fmt: skip
    result = run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    if result.returncode != 0:
        sys.exit(f"mutate: configuring failed:\n{result.stdout}")


def limit_memory() -> None:
    resource.setrlimit(resource.RLIMIT_AS, (MEMORY_LIMIT, MEMORY_LIMIT))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


def run_tests(suite: Suite, seconds: float, tests: str) -> tuple[str | None, str]:
    """Runs tests until one fails; returns its name, or what else ended the program, and the
    output."""
    command = ["timeout", "--signal=KILL", f"{seconds:.0f}", str(BUILD / suite.program),
               "--gtest_fail_fast", f"--gtest_filter={tests}"]  # fmt: skip
    result = run(command, cwd=BUILD, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                 stderr=subprocess.STDOUT, preexec_fn=limit_memory)  # fmt: skip
    if result.returncode == 0:
        return None, result.stdout
    started = re.findall(r"^\[ RUN      \] (\S+)$", result.stdout, re.MULTILINE)
    failed = re.findall(r"^\[  FAILED  \] ([^\s,]+)", result.stdout, re.MULTILINE)
    return (failed or started[-1:] or ["the start of the program"])[0], result.stdout


class Judge:
    """Asks the tests, those that killed most of a file's mutants first."""

    def __init__(self, all_tests: bool) -> None:
        self.all_tests = all_tests
        self.tests: dict[Suite, str] = {}
        self.seconds: dict[Suite, float] = {}
        self.digests: dict[Suite, str] = {}
        self.kills: dict[str, Counter[str]] = {}

    def digest(self, suite: Suite) -> str:
        return hashlib.sha256((BUILD / suite.program).read_bytes()).hexdigest()

    def prepare(self, suites: set[Suite]) -> None:
        """Builds what is not changed and measures it."""
        if not build([suite.target for suite in suites]):
            sys.exit(f"mutate: the unchanged sources do not build; try: ninja -C {BUILD}")
        for suite in suites:
            failed, output = run_tests(suite, 600, "*")
            if failed:
                sys.exit(f"mutate: {failed} fails without any change")
            times = re.findall(r"^\[       OK \] (\S+) \((\d+) ms\)$", output, re.MULTILINE)
            slow = [] if self.all_tests else [test for test, ms in times if int(ms) > SLOW_MS]
            self.tests[suite] = "*-" + ":".join(slow)
            self.seconds[suite] = sum(int(ms) for test, ms in times if test not in slow) / 1000
            self.digests[suite] = self.digest(suite)
            print(f"mutate: {suite.target} takes {self.seconds[suite]:.1f} s", *slow, flush=True)

    def verdict(self, file: str) -> tuple[str, str]:
        """Of the mutant that the tree now holds: what became of it, and who killed it."""
        suites = suites_of(file)
        if not build([suite.target for suite in suites]):
            return "no code", ""
        changed = [suite for suite in suites if self.digest(suite) != self.digests[suite]]
        if not changed:
            return "same code", ""
        kills = self.kills.setdefault(file, Counter())
        likely = ":".join(test for test, _ in kills.most_common(20))
        for suite in changed:
            killer = run_tests(suite, 20, likely)[0] if likely else None
            if not killer:
                killer, _ = run_tests(suite, 3 * self.seconds[suite] + 10, self.tests[suite])
            if killer:
                kills[killer] += 1
                return "killed", killer
        return "survived", ""


def describe(file: str, source: str, mutant: Mutant) -> str:
    """`FILE:LINE:COLUMN: OLD -> NEW`, which also names a mutant in the results."""
    line = source.count("\n", 0, mutant.start) + 1
    column = mutant.start - source.rfind("\n", 0, mutant.start)
    old = " ".join(source[mutant.start : mutant.end].split())
    return f"{file}:{line}:{column}: {old} -> {' '.join(mutant.text.split()) or 'nothing'}"


def read_results() -> dict[str, str]:
    if not RESULTS.exists():
        return {}
    rows = (line.split("\t") for line in RESULTS.read_text().splitlines())
    return {row[1]: row[0] for row in rows}


def chosen(options: argparse.Namespace) -> list[tuple[str, Mutant, str]]:
    """File, mutant and name of those to try."""
    files = options.files or [
        name for name in git("ls-files", *SUITES) if name.endswith((".cpp", ".h"))
    ]
    found = []
    for file in files:
        source = (REPOSITORY / file).read_text()
        found += [(file, mutant, describe(file, source, mutant)) for mutant in mutants_of(source)]
    found = [entry for i, entry in enumerate(found) if i % options.every == options.start]
    known = read_results()
    if options.resume:
        found = [entry for entry in found if entry[2] not in known]
    if options.survivors:
        found = [entry for entry in found if known.get(entry[2]) == "survived"]
    return found


def try_mutant(judge: Judge, file: str, mutant: Mutant) -> tuple[str, str]:
    place = TREE / file
    source = place.read_text()
    place.write_text(source[: mutant.start] + mutant.text + source[mutant.end :])
    try:
        return judge.verdict(file)
    finally:
        place.write_text(source)


def report(outcomes: Counter[str], survivors: list[str]) -> None:
    tried = outcomes["killed"] + outcomes["survived"]
    for name in survivors:
        print(f"survived: {name}")
    print(
        f"mutate: {tried} mutants, {outcomes['killed']} killed, {outcomes['survived']} survived"
        f" ({100 * outcomes['killed'] / max(tried, 1):.1f} % killed); not counted:"
        f" {outcomes['no code']} that do not compile, {outcomes['same code']} of the same code"
    )


def parse_options() -> argparse.Namespace:
    parser = argparse.ArgumentParser(prog="scripts/mutate.sh", description=__doc__)
    parser.add_argument("files", nargs="*", metavar="FILE", help="sources; all of both libraries")
    parser.add_argument("--every", type=int, default=1, metavar="N", help="try only every n-th")
    parser.add_argument("--start", type=int, default=0, metavar="K", help="begin with the k-th")
    parser.add_argument("--resume", action="store_true", help="skip those that have a result")
    parser.add_argument("--survivors", action="store_true", help="only those that survived so far")
    parser.add_argument("--all-tests", action="store_true", help="those over a second, too")
    parser.add_argument("--list", action="store_true", help="name the mutants, try none")
    return parser.parse_args()


def main() -> None:
    options = parse_options()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit("mutate: stopped; go on with --resume"))
    entries = chosen(options)
    if options.list:
        print("\n".join(name for _, _, name in entries))
        return
    copy_tree()
    configure()
    judge = Judge(options.all_tests)
    judge.prepare({suite for file, _, _ in entries for suite in suites_of(file)})
    outcomes: Counter[str] = Counter()
    survivors = []
    with RESULTS.open("a") as results:
        for number, (file, mutant, name) in enumerate(entries, 1):
            start = time.monotonic()
            outcome, killer = try_mutant(judge, file, mutant)
            outcomes[outcome] += 1
            survivors += [name] if outcome == "survived" else []
            seconds = f"{time.monotonic() - start:.1f}"
            print(outcome, name, killer, seconds, sep="\t", file=results, flush=True)
            print(f"{number}/{len(entries)} {seconds} s {outcome} {name} {killer}", flush=True)
    report(outcomes, survivors)


if __name__ == "__main__":
    main()
