"""The schemas of the files that users write, held against what the program says of them.

    written_files_test.py DIRTY_SEG REPOSITORY [unittest's arguments]

An editor that goes by a schema has to accept the files that the program takes, and no other. A
schema sees a file as YAML 1.2's core schema has it, the program as yaml-cpp reads it, and not all
that the program knows can be said in a schema. In these the two differ, and no file here has them:

- The program takes numbers in quotes, and in a host file `true` as text or as 1, and a list of one
  value for that value; the schemas do not: an editor would offer `true` for the name of a file. The
  program reads 010 as octal, and a fraction as a float, in which 1.00000001 is 1.
- The schemas take 640.0 and 1e2 for whole numbers, .nan as a fraction, and `<<`.
- A schema does not see a key that is there twice, one that is a list, most misspelt ones, and
  patches that are too thin for the network.
- A host file's value is looked at by the commands that have the option, and the options that
  exclude or need each other only where the command line is complete.
"""

import json
import os
import random
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
import urllib.parse
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import jsonschema
import yaml

# Of a plain scalar, in the order in which they are tried.
CORE_SCALARS = (
    (r"null|Null|NULL|~|", lambda text: None),
    (r"true|True|TRUE|false|False|FALSE", lambda text: text.lower() == "true"),
    (r"[-+]?[0-9]+", int),
    (r"0o[0-7]+", lambda text: int(text[2:], 8)),
    (r"0x[0-9a-fA-F]+", lambda text: int(text, 16)),
    (r"[-+]?(\.[0-9]+|[0-9]+(\.[0-9]*)?)([eE][-+]?[0-9]+)?", float),
    (r"[-+]?\.(inf|Inf|INF)", lambda text: float(text.replace(".", "", 1))),
)

SCHEMAS = ("config", "host")
PATCH = "patch: {enable: true, patches: [[0, 0, 640, 540]]}\n"


def as_editors_see_it(text: str) -> object:
    """The document by YAML 1.2's core schema; PyYAML's own is that of 1.1."""

    def value(node: yaml.Node) -> object:
        if isinstance(node, yaml.MappingNode):
            return {key.value: value(item) for key, item in node.value}
        if isinstance(node, yaml.SequenceNode):
            return [value(item) for item in node.value]
        if node.style is not None:  # in quotes, or a block
            return node.value
        for pattern, convert in CORE_SCALARS:
            if re.fullmatch(pattern, node.value):
                return convert(node.value)
        return node.value

    root = yaml.compose(text, Loader=yaml.BaseLoader)
    return None if root is None else value(root)


def schema_of(name: str) -> dict:
    return json.loads((REPOSITORY / "docs/schema" / f"{name}.schema.json").read_text())


def faults(schema: dict, text: str) -> list[str]:
    found = jsonschema.Draft7Validator(schema).iter_errors(as_editors_see_it(text))
    return [f"{'/'.join(map(str, fault.absolute_path))}: {fault.message}" for fault in found]


def run(*arguments: str | Path) -> subprocess.CompletedProcess:
    return subprocess.run([PROGRAM, *map(str, arguments)], capture_output=True, text=True)


class WrittenFiles(unittest.TestCase):
    def setUp(self) -> None:
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def write(self, name: str, text: str) -> Path:
        path = self.folder / name
        path.write_text(text)
        return path


class ConfigTest(WrittenFiles):
    def setUp(self) -> None:
        super().setUp()
        self.schema = schema_of("config")

    def errors(self, name: str, text: str) -> list[str]:
        """What `check` calls errors."""
        done = run("check", "--json", self.write(f"{name}.yaml", text))
        found = [
            finding["message"]
            for finding in json.loads(done.stdout)["findings"]
            if finding["kind"] == "error"
        ]
        self.assertEqual(done.returncode, 2 if found else 0, done.stderr)
        return found

    def assert_both(self, takes: bool, text: str) -> None:
        by_schema, by_check = faults(self.schema, text), self.errors("c", text)
        self.assertEqual(by_schema == [], takes, f"schema: {by_schema}\n{text}")
        self.assertEqual(by_check == [], takes, f"check: {by_check}\n{text}")

    def test_is_itself_a_schema(self) -> None:
        jsonschema.Draft7Validator.check_schema(self.schema)

    def test_both_take_right_files(self) -> None:
        for name, text in {
            "the least": PATCH,
            "block style": "patch:\n  enable: true\n  patches:\n    - [0, 0, 640, 540]\n"
            "    -\n      - 640\n      - 0\n      - 640\n      - 540\n",
            "more than four numbers": "patch: {enable: true, patches: [[0, 0, 9, 9, 7, x, []]]}",
            "the frame's last pixel": "patch: {enable: true, patches: [[1919, 1079, 1, 1]]}",
            "over the edge": "patch: {enable: true, patches: [[5, 5, 2147483647, 2147483647]]}",
            "hexadecimal and signs": "patch: {enable: true, patches: [[0x10, +5, 0x280, +540]]}",
            "the same patch twice": "patch: {enable: true, patches: [&a [0, 0, 64, 64], *a]}",
            "a switch in capitals": "patch: {enable: TRUE, patches: [[0, 0, 640, 540]]}",
            "a word for a switch": "patch: {enable: yes, patches: [[0, 0, 640, 540]]}",
            "a switch in quotes": 'patch: {enable: "On", patches: [[0, 0, 640, 540]]}',
            "no postprocess": PATCH + "postprocess:\n",
            "an empty postprocess": PATCH + "postprocess: {}\n",
            "the score's least": PATCH + "postprocess: {score_threshold: 0}\n",
            "the score's most": PATCH + "postprocess: {score_threshold: 1}\n",
            "the overlap's least": PATCH + "postprocess: {iou_threshold: 0.0}\n",
            "the overlap's most": PATCH + "postprocess: {iou_threshold: 1.0}\n",
            "the mask's least": PATCH + "postprocess: {mask_threshold: 0}\n",
            "the mask's most": PATCH + "postprocess: {mask_threshold: 1e0}\n",
            "a fraction without a nought": PATCH + "postprocess: {mask_threshold: .5}\n",
            "the count's least": PATCH + "postprocess: {max_detections: 1}\n",
            "the count's most": PATCH + "postprocess: {max_detections: 100000}\n",
            "class_agnostic": PATCH + "postprocess: {class_agnostic: True}\n",
            "no class_agnostic": PATCH + "postprocess: {class_agnostic: n}\n",
            "a class's threshold": PATCH + "postprocess: {score_thresholds: {3: 0.4, 0: 1}}\n",
            "no class's threshold": PATCH + "postprocess: {score_thresholds: {}}\n",
            "classes": PATCH + "postprocess: {classes: [0, 3]}\n",
            "another program's key": PATCH + "camera: {exposure: [1, 2]}\n",
            "another program's number": PATCH + "7: seven\n",
        }.items():
            with self.subTest(name):
                self.assert_both(True, text)

    def test_both_refuse_wrong_files(self) -> None:
        for name, text in {
            "an empty file": "",
            "a class's threshold above 1": PATCH + "postprocess: {score_thresholds: {3: 1.5}}\n",
            "a word for its threshold": PATCH + "postprocess: {score_thresholds: {3: high}}\n",
            "a word for a class": PATCH + "postprocess: {score_thresholds: {hair: 0.4}}\n",
            "a class below 0": PATCH + "postprocess: {score_thresholds: {-1: 0.4}}\n",
            "thresholds in a list": PATCH + "postprocess: {score_thresholds: [0.4]}\n",
            "no class at all": PATCH + "postprocess: {classes: []}\n",
            "a class alone": PATCH + "postprocess: {classes: 3}\n",
            "a class by name": PATCH + "postprocess: {classes: [hair]}\n",
            "a class to keep below 0": PATCH + "postprocess: {classes: [-1]}\n",
            "a comment alone": "# patch\n",
            "a word": "patch\n",
            "a list": "- patch\n",
            "a list of lists": "[[0, 0, 640, 540]]\n",
            "no patch": "postprocess: {score_threshold: 0.5}\n",
            "an empty patch": "patch:\n",
            "patch without a key": "patch: {}\n",
            "patch as a word": "patch: true\n",
            "patch as a list": "patch: [[0, 0, 640, 540]]\n",
            "no enable": "patch: {patches: [[0, 0, 640, 540]]}\n",
            "disabled": "patch: {enable: false, patches: [[0, 0, 640, 540]]}\n",
            "disabled by a word": "patch: {enable: Off, patches: [[0, 0, 640, 540]]}\n",
            "an empty enable": "patch: {enable: , patches: [[0, 0, 640, 540]]}\n",
            "enable as a number": "patch: {enable: 1, patches: [[0, 0, 640, 540]]}\n",
            "enable as a list": "patch: {enable: [true], patches: [[0, 0, 640, 540]]}\n",
            "enable in mixed letters": "patch: {enable: tRUE, patches: [[0, 0, 640, 540]]}\n",
            "no patches": "patch: {enable: true}\n",
            "empty patches": "patch: {enable: true, patches: }\n",
            "patches without an entry": "patch: {enable: true, patches: []}\n",
            "patches as a number": "patch: {enable: true, patches: 6}\n",
            "patches as a mapping": "patch: {enable: true, patches: {x: 0}}\n",
            "one patch, not in a list": "patch: {enable: true, patches: [0, 0, 640, 540]}\n",
            "three numbers": "patch: {enable: true, patches: [[0, 0, 640]]}\n",
            "a patch without a number": "patch: {enable: true, patches: [[]]}\n",
            "an empty entry": "patch: {enable: true, patches: [[0, 0, 640, 540], ~]}\n",
            "an entry as a mapping": "patch: {enable: true, patches: [{x: 0, y: 0, w: 9, h: 9}]}\n",
            "a word in a patch": "patch: {enable: true, patches: [[0, 0, wide, 540]]}\n",
            "no value in a patch": "patch: {enable: true, patches: [[0, 0, ~, 540]]}\n",
            "half a pixel": "patch: {enable: true, patches: [[0.5, 0, 640, 540]]}\n",
            "a list in a patch": "patch: {enable: true, patches: [[0, 0, [640], 540]]}\n",
            "left of the frame": "patch: {enable: true, patches: [[-1, 0, 640, 540]]}\n",
            "above the frame": "patch: {enable: true, patches: [[0, -1, 640, 540]]}\n",
            "right of the frame": "patch: {enable: true, patches: [[1920, 0, 640, 540]]}\n",
            "below the frame": "patch: {enable: true, patches: [[0, 1080, 640, 540]]}\n",
            "no width": "patch: {enable: true, patches: [[0, 0, 0, 540]]}\n",
            "no height": "patch: {enable: true, patches: [[0, 0, 640, 0]]}\n",
            "a negative width": "patch: {enable: true, patches: [[0, 0, -640, 540]]}\n",
            "too wide for an int": "patch: {enable: true, patches: [[0, 0, 2147483648, 9]]}",
            "too high for one": "patch: {enable: true, patches: [[0, 0, 9, 2147483648]]}\n",
            "the second patch": "patch: {enable: true, patches: [[0, 0, 64, 64], [0, 0, 64]]}\n",
            "an unknown key of patch": "patch: {enable: true, size: 6, patches: [[0, 0, 9, 9]]}\n",
            "a misspelt key of patch": "patch: {enabled: true, patches: [[0, 0, 640, 540]]}\n",
            "postprocess as a number": PATCH + "postprocess: 0.5\n",
            "postprocess as a list": PATCH + "postprocess: [score_threshold]\n",
            "an unknown key of postprocess": PATCH + "postprocess: {colour: red}\n",
            "a misspelt key of postprocess": PATCH + "postprocess: {iou: 0.5}\n",
            "a key without a value": PATCH + "postprocess: {score_threshold: }\n",
            "a score below 0": PATCH + "postprocess: {score_threshold: -0.01}\n",
            "a score above 1": PATCH + "postprocess: {score_threshold: 1.01}\n",
            "a score in words": PATCH + "postprocess: {score_threshold: high}\n",
            "a score as a switch": PATCH + "postprocess: {score_threshold: true}\n",
            "a list of scores": PATCH + "postprocess: {score_threshold: [0.5]}\n",
            "an overlap below 0": PATCH + "postprocess: {iou_threshold: -1}\n",
            "an overlap in per cent": PATCH + "postprocess: {iou_threshold: 70}\n",
            "an endless overlap": PATCH + "postprocess: {iou_threshold: .inf}\n",
            "a mask below 0": PATCH + "postprocess: {mask_threshold: -0.01}\n",
            "a mask above 1": PATCH + "postprocess: {mask_threshold: 1.5}\n",
            "a mask as a mapping": PATCH + "postprocess: {mask_threshold: {}}\n",
            "no detection": PATCH + "postprocess: {max_detections: 0}\n",
            "a detection too many": PATCH + "postprocess: {max_detections: 100001}\n",
            "half a detection": PATCH + "postprocess: {max_detections: 0.5}\n",
            "detections in words": PATCH + "postprocess: {max_detections: all}\n",
            "class_agnostic as a number": PATCH + "postprocess: {class_agnostic: 0}\n",
            "class_agnostic in words": PATCH + "postprocess: {class_agnostic: maybe}\n",
        }.items():
            with self.subTest(name):
                self.assert_both(False, text)

    def test_the_misspelt_keys_that_it_names_are_errors_to_check_too(self) -> None:
        (pattern,) = self.schema["patternProperties"]
        words = re.fullmatch(r"\^\((.*)\)\$", pattern)[1].split("|")
        self.assertGreater(len(words), 5)
        for word in words:
            with self.subTest(word):
                self.assert_both(False, PATCH + f"{word}: 1\n")

    def test_both_say_the_same_of_generated_files(self) -> None:
        texts = {seed: generated_config(random.Random(seed)) for seed in range(1, 201)}
        with ThreadPoolExecutor(os.cpu_count()) as pool:
            verdicts = pool.map(lambda item: self.errors(*map(str, item)), texts.items())
        taken = 0
        for (seed, text), by_check in zip(texts.items(), verdicts, strict=True):
            with self.subTest(seed=seed):
                by_schema = faults(self.schema, text)
                self.assertEqual(
                    by_schema == [], by_check == [], f"{by_schema}\n{by_check}\n{text}"
                )
            taken += by_check == []
        # Of each kind enough to say something.
        self.assertGreater(taken, 60)
        self.assertLess(taken, 140)

    def test_takes_the_files_of_the_project(self) -> None:
        for name in ("models/demo.yaml", "packaging/sample.yaml", "tests/floor/floor.yaml"):
            with self.subTest(name):
                self.assert_both(True, (REPOSITORY / name).read_text())

    def test_has_the_defaults_that_init_writes(self) -> None:
        init = run("init", NETWORK, "--output", self.folder)
        self.assertEqual(init.returncode, 0, init.stderr)
        config = (self.folder / "config.yaml").read_text()
        self.assert_both(True, config)
        keys = self.schema["properties"]["postprocess"]["properties"]
        self.assertEqual(
            {name: key["default"] for name, key in keys.items() if "default" in key},
            as_editors_see_it(config)["postprocess"],
        )
        self.assertEqual(faults(schema_of("host"), (self.folder / "host.yaml").read_text()), [])


class InstalledTest(WrittenFiles):
    """What `init` writes for editors, by a program with the schemas beside it or without."""

    def first_lines(self, program: Path) -> dict[str, str]:
        made = self.folder / "made"
        arguments = [program, "init", NETWORK, "--overwrite", "--output", made]
        subprocess.run(arguments, check=True, capture_output=True)
        return {name: (made / f"{name}.yaml").read_text().split("\n")[0] for name in SCHEMAS}

    def test_names_the_schemas_beside_the_program(self) -> None:
        root = self.folder / "a tree, m\xf6ved"
        (root / "bin").mkdir(parents=True)
        program = shutil.copy(PROGRAM, root / "bin")
        shutil.copytree(REPOSITORY / "docs/schema", root / "share/dirty_seg/schema")
        self.folder.joinpath("link").symlink_to(program)
        for started in (program, self.folder / "link"):
            for name, line in self.first_lines(started).items():
                with self.subTest(name, started=started):
                    match = re.fullmatch(r"# yaml-language-server: \$schema=file://(\S+)", line)
                    self.assertIsNotNone(match, line)
                    path = Path(urllib.parse.unquote(match[1]))
                    self.assertEqual(path, root / f"share/dirty_seg/schema/{name}.schema.json")

    def test_names_none_where_they_are_not_installed(self) -> None:
        for line in self.first_lines(PROGRAM).values():
            self.assertNotIn("schema", line)


def generated_config(source: random.Random) -> str:
    """A configuration file with as many faults as come: in about half of the files none."""

    def one_of(right: list[str], wrong: list[str], share: float = 0.04) -> str:
        return source.choice(wrong if source.random() < share else right)

    def mapping(entries: list[tuple[str, str]], depth: int) -> str:
        source.shuffle(entries)
        if not entries or source.random() < 0.4:
            return " {" + ", ".join(f"{key}: {value}" for key, value in entries) + "}\n"
        return "\n" + "".join(f"{'  ' * depth}{key}: {value}\n" for key, value in entries)

    def number(least: int, most: int, wrong: list[str]) -> str:
        return one_of([str(source.randint(least, most)), str(least)], wrong, 0.012)

    # Nowhere thin: at least 20 pixels of each lie in the frame.
    def patch() -> str:
        words = ["-1", "0.5", "wide", "~", "[]", "true", "4000000000"]
        sides = [number(0, 1900, ["1920", *words]), number(0, 1060, ["1080", *words])]
        sides += [number(20, 3000, ["0", *words]), number(20, 3000, ["0", *words])]
        sides += ["9"] * source.choice([0, 0, 0, 1])
        if source.random() < 0.02:
            sides = sides[: source.randint(0, 3)]
        return one_of([f"[{', '.join(sides)}]"], ["7", "~", "{x: 1}", "word"], 0.015)

    def fraction() -> str:
        right = [f"{source.random():.3f}", "0", "1", "1.0", ".5", "5e-1", "+0.25", "0."]
        return one_of(
            right, ["-0.1", "1.01", "2", "high", "true", "~", "[0.5]", "{}", "''", ".inf"]
        )

    count = one_of(
        [str(source.randint(1, 100000)), "1", "0x10"], ["0", "-3", "100001", "2.5", "all", "~"]
    )
    switch = ["true", "false", "yes", "Off", "'on'", "N"]
    patches = ", ".join(patch() for _ in range(source.randint(1, 5)))
    patch_keys = [
        (
            "enable",
            one_of(["true", "True", "yes", "'ON'"], ["false", "no", "1", "~", "tRuE", "[]"]),
        ),
        ("patches", one_of([f"[{patches}]"], ["[]", "~", "4", "{}", "all"])),
    ]
    if source.random() < 0.03:
        del patch_keys[source.randrange(2)]
    if source.random() < 0.03:
        patch_keys.append((source.choice(["enabled", "size", "patch"]), "1"))
    postprocess = [
        (name, value)
        for name, value in {
            "score_threshold": fraction(),
            "iou_threshold": fraction(),
            "max_detections": count,
            "class_agnostic": one_of(switch, ["0", "~", "maybe", "[true]"]),
            "mask_threshold": fraction(),
            "score_thresholds": one_of([f"{{3: {fraction()}}}", "{}"], ["0.5", "[1]", "{x: 1}"]),
            "classes": one_of(["[0]", "[3, 0x2]"], ["[]", "3", "[-1]", "[a]", "{0: 1}"]),
        }.items()
        if source.random() < 0.7
    ]
    if source.random() < 0.04:
        postprocess.append((source.choice(["conf", "max_det", "score_threshold_s"]), "0.5"))
    root = [("patch", mapping(patch_keys, 1))]
    if source.random() < 0.03:
        root = [("patch", source.choice([" true\n", "\n", " [[0, 0, 64, 64]]\n"]))]
    if source.random() < 0.02:
        root = []
    if source.random() < 0.8:
        wrong = [" 5\n", " [1]\n", " soft\n"]
        root.append(("postprocess", one_of([mapping(postprocess, 1), " ~\n"], wrong, 0.03)))
    if source.random() < 0.3:
        root.append((source.choice(["camera", "robot_arm", "7", "version"]), " {a: 1}\n"))
    source.shuffle(root)
    return "".join(f"{key}:{value}" for key, value in root)


class HostTest(WrittenFiles):
    def setUp(self) -> None:
        super().setUp()
        self.schema = schema_of("host")
        self.options = options_by_command()

    def refusals(self, path: Path, commands: list[str]) -> list[str]:
        """What the program says of the file, as options of `commands`, which end for want of the
        arguments that no file has.

        A grid is looked at by the command itself.
        """
        said = []
        for command in commands:
            arguments = ["none.onnx"] if command == "init" else []
            first = run(command, "--host", path, *arguments).stderr.partition("\n")[0]
            if first.startswith((f"dirty_seg: error: '{path}'", "dirty_seg: error: --grid ")):
                said.append(f"{command}: {first}")
        return said

    def assert_both(self, takes: bool | None, text: str, commands: list[str]) -> None:
        """Both take the text, or neither does; with None, whichever it is."""
        path = self.write(f"{abs(hash(text))}.yaml", text)
        by_schema, by_program = faults(self.schema, text), self.refusals(path, commands)
        if takes is None:
            takes = by_program == []
        self.assertEqual(by_schema == [], takes, f"schema: {by_schema}\n{by_program}\n{text}")
        self.assertEqual(by_program == [], takes, f"program: {by_program}\n{text}")

    def assert_table(self, takes: bool, table: dict[str, str]) -> None:
        commands = [command for command, options in self.options.items() if options]
        for name, text in table.items():
            with self.subTest(name):
                self.assert_both(takes, text, commands)

    def test_is_itself_a_schema(self) -> None:
        jsonschema.Draft7Validator.check_schema(self.schema)

    def test_has_every_option_of_every_command(self) -> None:
        self.assertGreater(len(self.options), 5)
        found = self.schema["properties"]
        for command, options in self.options.items():
            with self.subTest(command):
                self.assertEqual(set(found[command].get("properties", {})), options)
        every = set().union(*self.options.values())
        self.assertEqual(set(found) - set(self.options), every)

    def test_both_take_right_files(self) -> None:
        self.assert_table(
            True,
            {
                "an empty file": "",
                "a comment alone": "# model: seg.onnx\n",
                "the usual": "model: seg.onnx\nconfig: config.yaml\nthreads: 2\n",
                "a section": "detect:\n  output: found\n  fece-class-ids: [1, 2]\n",
                "a section of comments": "detect:\n# output: found\n",
                "an empty section": "detect: {}\ncompletion: {}\nhelp:\n",
                "a number as a name": "model: 7\ntitle: 2024\n",
                "one class": "fece-class-ids: 3\n",
                "classes on a line": "fece-class-ids: 0, 3,1000000\n",
                "words for switches": "recursive: Yes\nquiet: 'off'\n",
                "the least grid": "grid: 1x1\n",
                "the largest grid": "grid: 64x64\n",
                "opposites, which the command line may part": "save: true\noutput: found\n",
                "a level that is a switch elsewhere": "log-level: off\n",
                "hexadecimal": "threads: 0x10\n",
            },
        )

    def test_both_refuse_wrong_files(self) -> None:
        self.assert_table(
            False,
            {
                "a word": "model\n",
                "a list": "[model, config]\n",
                "an unknown key": "modle: seg.onnx\n",
                "an unknown command": "detcet: {threads: 1}\n",
                "another command's option": "env: {model: seg.onnx}\n",
                "an option of a command without any": "help: {threads: 1}\n",
                "a configuration": PATCH,
                "its thresholds": "postprocess: {score_threshold: 0.5}\n",
                "one of its thresholds": "score_threshold: 0.5\n",
                "the file itself": "host: other.yaml\n",
                "help": "help: true\n",
                "a short flag": "q: true\n",
                "an option without a value": "threads:\n",
                "one in a section": "detect: {threads: ~}\n",
                "an option with options": "threads: {most: 2}\n",
                "an empty list": "fece-class-ids: []\n",
                "a list in a list": "fece-class-ids: [[0], [1]]\n",
                "nothing in a list": "fece-class-ids: [0, ~]\n",
                "two networks": "model: [a.onnx, b.onnx]\n",
                "half a thread": "threads: 1.5\n",
                "threads in words": "threads: all\n",
                "a negative class": "fece-class-ids: [-1]\n",
                "a class too many": "fece-class-ids: 1000001\n",
                "classes apart by blanks": "fece-class-ids: 0 3\n",
                "a switch as a number": "save: 1\n",
                "a switch in words": "strict: perhaps\n",
                "a fit that is none": "fit: crop\n",
                "a level that is none": "log-level: loud\n",
                "a format that is none": "format: xml\n",
                "a grid of one side": "grid: 3\n",
                "a grid without a patch": "grid: 0x3\n",
                "a grid that is too large": "grid: 65x1\n",
                "frames for the report alone": "max-frames: 0\n",
                "frames for bench alone": "max-frames: 100001\n",
            },
        )

    def test_both_refuse_a_command_without_options_below_it(self) -> None:
        self.assert_table(False, {name: f"{name}: 3\n" for name in self.options})
        self.assert_table(False, {name: f"{name}: [threads]\n" for name in self.options})

    # Each command by itself, so that its own bounds are seen.
    def test_both_say_the_same_of_every_option(self) -> None:
        cases = [
            (command, f"{command}: {{{option}: {value}}}\n")
            for command, options in self.options.items()
            for option in sorted(options)
            for value in self.values(command, option)
        ]
        self.assertGreater(len(cases), 500)
        with ThreadPoolExecutor(os.cpu_count()) as pool:
            futures = [
                pool.submit(self.assert_both, None, text, [command]) for command, text in cases
            ]
        for (_, text), future in zip(cases, futures, strict=True):
            with self.subTest(text):
                future.result()

    def definition(self, command: str, option: str) -> dict:
        schema = self.schema["properties"][command]["properties"][option]
        while "$ref" in schema:
            schema = self.schema["definitions"][schema["$ref"].rpartition("/")[2]]
        return schema

    def values(self, command: str, option: str) -> list[str]:
        """Both sides of each bound, or else a value of each kind."""
        schema = self.definition(command, option)
        values = ["word", "[a, b]", "-1", "10000000000"]
        bounds = [schema[name] for name in ("minimum", "maximum") if name in schema]
        for bound in bounds:
            # Within a float's rounding, a fraction would be the bound itself.
            step = 1 if schema["type"] == "integer" else max(0.01, bound / 100)
            values += [str(bound - step), str(bound), str(bound + step)]
        return values + ([] if bounds else ["yes", *schema.get("enum", [])])

    def test_has_the_defaults_of_the_help(self) -> None:
        compared = 0
        for command, options in self.options.items():
            # An option, or several that share their words, with the lines up to the next.
            for words in re.split(r"^(?=  -)", run(command, "--help").stdout, flags=re.MULTILINE):
                named = options.intersection(re.findall(r"(?:^ |, |  )--([a-z-]+)", words))
                said = re.findall(r"[Dd]efault (\d+(?:\.\d+)?|scale|text)", words)
                known = [self.definition(command, option) for option in named]
                defaults = [str(each["default"]) for each in known if "default" in each]
                if len(named) == 1 or said:
                    with self.subTest(command, options=named):
                        self.assertEqual(sorted(defaults), sorted(said))
                    compared += len(said)
        self.assertGreater(compared, 10)

    def test_descriptions_name_the_bounds_and_the_default(self) -> None:
        definitions = [*self.schema["definitions"].values()]
        definitions += [
            option
            for command in self.schema["properties"].values()
            for option in command.get("properties", {}).values()
        ]
        bounded = [each for each in definitions if "minimum" in each]
        self.assertGreater(len(bounded), 15)
        for each in bounded:
            with self.subTest(each["description"]):
                self.assertIn(f"from {each['minimum']}", each["description"])
                if "maximum" in each:
                    self.assertIn(f"to {each['maximum']}", each["description"])
        for each in definitions:
            if "default" in each:
                self.assertIn(f"Default {each['default']}", each["description"])


def options_by_command() -> dict[str, set[str]]:
    """What a host file may say, from the words that the shell completes."""
    script = run("completion", "bash").stdout
    commands = re.findall(r"^    ([a-z-]+)\)\n(.*?)^      fi ;;$", script, re.MULTILINE | re.DOTALL)
    return {
        command: set(re.findall(r"(?<= --)[a-z-]+", re.search(r"'(-h[^']*)'", body)[1]))
        - {"help", "host"}
        for command, body in commands
    }


if __name__ == "__main__":
    PROGRAM, REPOSITORY = Path(sys.argv[1]).resolve(), Path(sys.argv[2])
    NETWORK = REPOSITORY / "tests/networks/seg-dynamic.onnx"
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
