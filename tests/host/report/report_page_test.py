"""The report's page in headless Chromium: what a person sees, clicks and types.

    report_page_test.py DIRTY_SEG MODELS [unittest's arguments]

The results are what the program finds on the floor, with lines beside it that a run can
leave too: hostile names, a source that is gone, a frame that failed. Ends with 77, and says why,
where there is no browser to test with.
"""

import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path

import cv2
import numpy as np

try:
    from selenium import webdriver
    from selenium.webdriver.chrome.service import Service
    from selenium.webdriver.common.action_chains import ActionChains
    from selenium.webdriver.common.by import By
    from selenium.webdriver.common.keys import Keys
except ImportError:
    webdriver = None

SKIPPED = 77
HOSTILE = "\"'><img src=x onerror=alert(1)></script><script>alert(2)</script>&lt;"
HOSTILE_CLIP = "<img src=x onerror=alert(4)>.avi"
FLOOR, HOSTILE_FRAME, GONE, FAILED = range(4)
PLAIN_FRAMES = 26  # the frames after these


def run(*arguments: str | Path) -> None:
    done = subprocess.run([PROGRAM, *map(str, arguments)], capture_output=True, text=True)
    if done.returncode != 0:
        raise RuntimeError(f"{arguments}: {done.stderr}")


def detect_floor(folder: Path) -> dict:
    """The floor's line, its classifier's verdicts given where the program does not give them."""
    run("detect", "--model", MODELS / "dirt-seg.onnx", "--config", MODELS / "floor.yaml",
        "--fece-model", MODELS / "fece-check.onnx", "--fece-class-ids", "3",
        "--output", folder, MODELS / "floor.jpg")  # fmt: skip
    line = json.loads((folder / "results.jsonl").read_text())
    verdicts = {19: "confirmed", 3: "rejected"}
    line.setdefault("fece_candidates", [
        {"detection": i, "verdict": verdicts[label], "score": 0.9 if label == 19 else 0.1}
        for i, label in enumerate(line["labels"]) if label in verdicts
    ])  # fmt: skip
    return line


def plain_line(source: Path, index: int) -> dict:
    """A frame of 320 x 180 pixels with two boxes."""
    return {
        "source": str(source), "frame": 0, "success": True, "message": "success",
        "bboxes": [[20, 20, 120, 90], [150, 60, 300, 160]],
        "scores": [round(0.02 * index, 2), 0.75], "labels": [1, 50],
        "label_names": {"1": "stain", "50": HOSTILE},
        "label_masks": {}, "mask_pixel_counts": [], "image_size": [180, 320],
        "timing_ms": {"read": 2.0, "inference": 10.0 + index, "total": 20.0 + index * index % 17},
    }  # fmt: skip


def make_results(folder: Path) -> list[dict]:
    lines = [detect_floor(folder)]
    picture = np.full((180, 320, 3), (120, 160, 190), np.uint8)
    hostile = folder / '"><img src=x onerror=alert(3)>.png'
    cv2.imwrite(str(hostile), picture)
    cv2.imwrite(str(folder / "gone.overlay.jpg"), picture)
    lines.append(plain_line(hostile, 0))
    lines.append(plain_line(folder / ("gone" * 80 + ".png"), 0) | {"overlay": "gone.overlay.jpg"})
    lines.append(
        plain_line(folder / "dark.png", 0)
        | {"success": False, "message": HOSTILE, "bboxes": [], "scores": [], "labels": []}
    )
    lines += [plain_line(hostile, i + 1) for i in range(PLAIN_FRAMES)]
    (folder / "results.jsonl").write_text("".join(json.dumps(line) + "\n" for line in lines))
    (folder / "summary.json").write_text(
        json.dumps(
            {
                "schema_version": 1,
                "program": "dirty_seg 1.0.0",
                "model": "dirt-seg.onnx",
                "config": "floor.yaml",
                "fece_model": "fece-check.onnx",
                "interrupted": True,
            }
        )
    )
    return lines


def start_browser() -> "webdriver.Chrome":
    options = webdriver.ChromeOptions()
    # Root, as in a container, cannot have Chromium's sandbox.
    for argument in (
        "--headless=new",
        "--no-sandbox",
        "--disable-gpu",
        "--disable-dev-shm-usage",
        "--hide-scrollbars",
        "--force-color-profile=srgb",
    ):
        options.add_argument(argument)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
    return webdriver.Chrome(service=Service(shutil.which("chromedriver")), options=options)


def luminance(rgb: list[float]) -> float:
    linear = [c / 3294.6 if c <= 10.31 else ((c / 255 + 0.055) / 1.055) ** 2.4 for c in rgb]
    return 0.2126 * linear[0] + 0.7152 * linear[1] + 0.0722 * linear[2]


def contrast(first: list[float], second: list[float]) -> float:
    """As the Web Content Accessibility Guidelines 2 define it."""
    darker, lighter = sorted((luminance(first), luminance(second)))
    return (lighter + 0.05) / (darker + 0.05)


class Page(unittest.TestCase):
    @classmethod
    def setUpClass(cls) -> None:
        cls.folder = Path(tempfile.mkdtemp(prefix="dirty_seg_page_"))
        cls.addClassCleanup(shutil.rmtree, cls.folder)
        cls.lines = make_results(cls.folder)
        run("report", cls.folder)
        cls.browser = start_browser()
        cls.addClassCleanup(cls.browser.quit)

    def setUp(self) -> None:
        self.open(self.folder / "report.html")

    def tearDown(self) -> None:
        self.assertEqual(self.complaints(), [])

    # ---- Tools ----------------------------------------------------------------------------------

    def open(self, page: Path, width: int = 1280, height: int = 900, scheme: str = "light") -> None:
        self.browser.execute_cdp_cmd(
            "Emulation.setDeviceMetricsOverride",
            {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": width < 500},
        )
        self.browser.execute_cdp_cmd(
            "Emulation.setEmulatedMedia",
            {"features": [{"name": "prefers-color-scheme", "value": scheme}]},
        )
        self.browser.get(page.as_uri())
        self.assertEqual(self.js("return document.documentElement.dataset.ready"), "yes")

    def js(self, script: str, *arguments):
        return self.browser.execute_script(script, *arguments)

    def settle(self) -> None:
        """Waits until the page has drawn what was asked of it."""
        self.browser.execute_async_script(
            "const done = arguments[0];"
            "requestAnimationFrame(() => requestAnimationFrame(() => setTimeout(done, 0)))"
        )

    def complaints(self) -> list[str]:
        return [
            entry["message"]
            for entry in self.browser.get_log("browser")
            if entry["level"] == "SEVERE"
        ]

    def find(self, selector: str):
        return self.browser.find_element(By.CSS_SELECTOR, selector)

    def all(self, selector: str) -> list:
        return self.browser.find_elements(By.CSS_SELECTOR, selector)

    def texts(self, selector: str) -> list[str]:
        return self.js(
            "return [...document.querySelectorAll(arguments[0])].map("
            "(element) => element.textContent)",
            selector,
        )

    def click(self, selector: str) -> None:
        element = self.find(selector)
        self.js("arguments[0].scrollIntoView({block: 'center', behavior: 'instant'})", element)
        element.click()
        self.settle()

    def press(self, *keys: str) -> None:
        for key in keys:
            self.browser.switch_to.active_element.send_keys(key)
            self.settle()

    def set_score(self, score: float) -> None:
        self.js(
            "const slider = document.getElementById('score'); slider.value = arguments[0];"
            "slider.dispatchEvent(new Event('input'))",
            score,
        )
        self.settle()

    def open_frame(self, index: int) -> None:
        self.js("openViewer(arguments[0])", index)
        self.settle()

    def count_of(self, label: int) -> list[int]:
        """Shown, of, frames."""
        cells = self.texts(f"#counts tr[data-label='{label}'] td.number")
        return [int(cell) for cell in cells]

    def expected_count(self, label: int, least: float) -> list[int]:
        lists = [
            [score for score, of in zip(line["scores"], line["labels"]) if of == label]
            for line in self.lines
        ]
        kept = [[score for score in scores if score >= least] for scores in lists]
        return [sum(map(len, kept)), sum(map(len, lists)), sum(1 for scores in kept if scores)]

    def shown_boxes(self) -> int:
        return len(self.all("#picture svg rect.line"))

    def shown_masks(self) -> list[str]:
        return self.js(
            "return [...document.querySelectorAll('#picture canvas')]"
            ".filter((canvas) => getComputedStyle(canvas).display !== 'none')"
            ".map((canvas) => canvas.dataset.label)"
        )

    # ---- Loading --------------------------------------------------------------------------------

    def test_loads_nothing_but_itself(self) -> None:
        self.browser.get_log("performance")
        self.open(self.folder / "report.html")
        self.open_frame(FLOOR)
        self.click("#viewer-close")
        self.click("#about summary")
        urls = []
        for entry in self.browser.get_log("performance"):
            message = json.loads(entry["message"])["message"]
            if message["method"] == "Network.requestWillBeSent":
                urls.append(message["params"]["request"]["url"])
        page = (self.folder / "report.html").as_uri()
        self.assertIn(page, urls)
        self.assertEqual([url for url in urls if url != page and not url.startswith("data:")], [])

    def test_policy_stops_what_is_not_its_own(self) -> None:
        self.js(
            "const image = new Image(); image.src = 'https://example.invalid/a.png';"
            "document.body.append(image);"
            "const script = document.createElement('script');"
            "script.append('window.wasRun = true');"
        )
        blocked = self.browser.execute_async_script(
            "const done = arguments[0];"
            "document.addEventListener('securitypolicyviolation',"
            "  (event) => done(event.effectiveDirective));"
            "const image = new Image(); image.src = 'https://example.invalid/b.png'"
        )
        self.assertEqual(blocked, "img-src")
        self.assertIsNone(self.js("return window.wasRun"))
        # These are what the policy says to the console.
        self.assertTrue(all("violates" in text for text in self.complaints()))

    def test_keeps_hostile_text_as_text(self) -> None:
        self.assertEqual(self.all("img[src='x']"), [])
        self.assertIn(HOSTILE, self.texts("#labels .name"))
        self.assertIn(HOSTILE, self.texts("#counts th")[-1])
        self.assertIn("dark.png: " + HOSTILE, self.texts("#failed li"))
        self.open_frame(HOSTILE_FRAME)
        self.assertEqual(self.texts("#viewer-name"), ['"><img src=x onerror=alert(3)>.png'])
        self.assertEqual(self.texts("#viewer-path"), [self.lines[HOSTILE_FRAME]["source"]])

    def test_tells_what_became_of_the_run(self) -> None:
        notes = "\n".join(self.texts("#notes p"))
        self.assertIn("The run was interrupted.", notes)
        self.assertIn("1 frame of 30 failed", notes)
        self.assertIn("The source of 1 picture is gone", notes)
        self.assertIn("network dirt-seg.onnx", self.find("#summary").text)

    # ---- Slider and switches --------------------------------------------------------------------

    def test_counts_follow_the_slider(self) -> None:
        for least in (0.0, 0.33, 0.5, 0.76, 1.0):
            self.set_score(least)
            self.assertEqual(self.find("#score-value").text, f"{least:.2f}")
            for label in (0, 1, 19, 50):
                self.assertEqual(
                    self.count_of(label), self.expected_count(label, least), (label, least)
                )

    def test_boxes_and_masks_follow_slider_and_switches(self) -> None:
        self.open_frame(FLOOR)
        line = self.lines[FLOOR]
        labels = {str(label) for label in line["labels"]}
        self.assertEqual(self.shown_boxes(), len(line["labels"]))
        self.assertEqual(set(self.shown_masks()), labels)

        self.set_score(0.95)
        kept = [label for label, score in zip(line["labels"], line["scores"]) if score >= 0.95]
        self.assertLess(len(kept), len(line["labels"]))
        self.assertEqual(self.shown_boxes(), len(kept))
        self.assertEqual(len(self.all("#viewer-list li")), len(kept))

        self.set_score(0)
        self.click("input[data-label='19']")
        self.assertEqual(self.shown_boxes(), len(line["labels"]) - line["labels"].count(19))
        self.assertEqual(set(self.shown_masks()), labels - {"19"})
        self.click("#no-labels")
        self.assertEqual((self.shown_boxes(), self.shown_masks()), (0, []))
        self.click("#all-labels")
        self.assertEqual(self.shown_boxes(), len(line["labels"]))

        self.click("#show-masks")
        self.assertEqual(self.shown_masks(), [])
        self.click("#show-boxes")
        self.assertEqual(self.shown_boxes(), 0)
        self.assertEqual(len(self.all("#picture svg text")), len(line["labels"]))
        self.click("#show-names")
        self.assertEqual(len(self.all("#picture svg text")), 0)

    def test_a_mask_goes_with_the_last_box_of_its_label(self) -> None:
        self.open_frame(FLOOR)
        self.assertIn("2", self.shown_masks())
        best = max(
            score
            for score, label in zip(self.lines[FLOOR]["scores"], self.lines[FLOOR]["labels"])
            if label == 2
        )
        self.set_score(int(best * 100) / 100)
        self.assertIn("2", self.shown_masks())
        self.set_score(1)
        self.assertEqual(self.shown_masks(), [])

    # Of 4 rows and 16 columns, column by column: 9 zeros, 2 ones, 2, 2, 2, 2, 17, 12 and 16; from
    # the fourth on less the one two before: 0, 0, 0, 15, 10, -1. So columns 2 to 4 have two pixels
    # each, in the first box; columns 9 to 11 are all ones, the second box.
    TWO_AREAS = {"pixels": 18, "rle": {"size": [4, 16], "counts": "922000?:O"}}

    def two_areas_line(self, label: int) -> dict:
        picture = self.folder / "small.png"
        cv2.imwrite(str(picture), np.zeros((4, 16, 3), np.uint8))
        return plain_line(picture, 0) | {
            "image_size": [4, 16], "bboxes": [[2.4, 1, 4.6, 3], [9, 0, 12, 4]],
            "scores": [0.9, 0.3], "labels": [label] * 2,
            "label_masks": {str(label): self.TWO_AREAS}}  # fmt: skip

    def inked_columns(self, label: int) -> list[int]:
        return self.js(
            """
            const canvas = document.querySelector(`#picture canvas[data-label='${arguments[0]}']`);
            if (getComputedStyle(canvas).display === 'none') return [];
            const {width, height} = canvas;
            const data = canvas.getContext('2d').getImageData(0, 0, width, height).data;
            const columns = new Set();
            for (let i = 3; i < data.length; i += 4) {
              if (data[i] > 0) columns.add((i - 3) / 4 % width);
            }
            return [...columns].sort((a, b) => a - b);""",
            label,
        )

    def test_the_mask_of_a_hidden_detection_goes_and_comes_back(self) -> None:
        self.open(self.report_of("areas", [self.two_areas_line(7)]))
        self.open_frame(0)
        self.assertEqual(self.inked_columns(7), [2, 3, 4, 9, 10, 11])
        for least, columns in (
            (0.5, [2, 3, 4]),
            (0.95, []),
            (0.5, [2, 3, 4]),
            (0.0, [2, 3, 4, 9, 10, 11]),
        ):
            self.set_score(least)
            self.assertEqual(self.inked_columns(7), columns, least)
        self.click("input[data-label='7']")
        self.assertEqual(self.inked_columns(7), [])
        self.click("input[data-label='7']")
        self.assertEqual(self.inked_columns(7), [2, 3, 4, 9, 10, 11])

    # Both areas again, each with a mask of its own: 9 zeros, 10 ones in runs of 2, 45 zeros; 36
    # zeros, 12 ones, 16 zeros. Each box holds the other's pixels too.
    def test_things_follow_the_slider_with_masks_of_their_own(self) -> None:
        box = [0, 0, 16, 4]
        things = [
            {"bbox": box, "score": score, "label": 7, "pixels": pixels, "members": [member],
             "rle": {"size": [4, 16], "counts": counts}}
            for member, (score, pixels, counts) in enumerate(
                ((0.9, 6, "922000[1"), (0.3, 12, "T1<`0")))
        ]  # fmt: skip
        self.open(self.report_of("things", [self.two_areas_line(7) | {"things": things}]))
        self.assertIn("2 things", self.texts("header p")[0])
        self.open_frame(0)
        for least, columns in ((0.0, [2, 3, 4, 9, 10, 11]), (0.5, [2, 3, 4]), (0.95, [])):
            self.set_score(least)
            self.assertEqual(self.inked_columns(7), columns, least)
        self.set_score(0)
        self.assertEqual(self.inked_columns(7), [2, 3, 4, 9, 10, 11])

    def test_tells_a_native_class_19_from_what_was_confirmed(self) -> None:
        line = self.two_areas_line(19) | {"label_names": {"19": "cow"}, "confirmed": [False, True]}
        self.open(self.report_of("cows", [line]))
        self.assertEqual(self.texts("#labels .name"), ["cow", "faeces"])
        self.assertEqual([self.count_of(label) for label in (19, 20)], [[1, 1, 1]] * 2)
        self.open_frame(0)
        self.assertEqual(self.texts("#viewer-list .name"), ["cow", "faeces"])
        self.assertEqual(self.inked_columns(19), [2, 3, 4])
        self.assertEqual(self.inked_columns(20), [9, 10, 11])
        self.click("input[data-label='19']")
        self.assertEqual(self.shown_boxes(), 1)
        self.assertEqual((self.inked_columns(19), self.inked_columns(20)), ([], [9, 10, 11]))

    def test_masks_are_those_of_the_pictures(self) -> None:
        self.open_frame(FLOOR)
        for label, mask in self.lines[FLOOR]["label_masks"].items():
            expected = cv2.imread(str(self.folder / mask["file"]), cv2.IMREAD_GRAYSCALE)
            runs = self.js(
                """
                const label = `[data-label='${arguments[0]}']`;
                const canvas = document.querySelector('#picture canvas' + label);
                const {width, height} = canvas;
                const data = canvas.getContext('2d').getImageData(0, 0, width, height).data;
                const edges = [];
                for (let i = 3, last = 0; i < data.length; i += 4) {
                  if (data[i] !== last) edges.push((i - 3) / 4);
                  last = data[i];
                }
                return {width, height, edges};""",
                label,
            )
            self.assertEqual((runs["height"], runs["width"]), expected.shape)
            flat = np.concatenate(([0], (expected.reshape(-1) > 0).astype(int)))
            self.assertEqual(runs["edges"], np.flatnonzero(np.diff(flat)).tolist(), label)

    def test_boxes_lie_where_the_data_says(self) -> None:
        self.open_frame(FLOOR)
        place = self.js(
            """
            const to = document.getElementById('picture').getBoundingClientRect();
            const scale = to.width / 1920;
            return [...document.querySelectorAll('#picture g.box')].map((group) => {
              const box = group.querySelector('rect.line').getBBox();
              const on = group.querySelector('rect.line').getBoundingClientRect();
              return {detection: Number(group.dataset.detection),
                      box: [box.x, box.y, box.x + box.width, box.y + box.height],
                      off: Math.abs((on.left + on.right) / 2 - to.left
                                    - (box.x + box.width / 2) * scale)};
            });"""
        )
        for entry in place:
            expected = self.lines[FLOOR]["bboxes"][entry["detection"]]
            np.testing.assert_allclose(entry["box"], expected, atol=0.06)
            self.assertLess(entry["off"], 1.5)

    # ---- Thumbnails and the viewer --------------------------------------------------------------

    def test_thumbnails_show_their_frames(self) -> None:
        self.assertEqual(len(self.all(".card")), len(self.lines) - 1)
        self.js("document.querySelector('.card').scrollIntoView()")
        self.settle()
        self.assertGreater(self.js("return document.querySelector('.card img').naturalWidth"), 300)
        self.assertGreater(len(self.all(".card[data-frame='0'] svg path")), 3)
        self.assertEqual(
            self.find(".card[data-frame='0'] .facts").text,
            f"{len(self.lines[FLOOR]['labels'])} detections",
        )
        self.set_score(1.0)
        self.assertEqual(self.find(".card[data-frame='1'] .facts").text, "0 detections")

    def test_viewer_says_what_a_picture_is_not(self) -> None:
        self.open_frame(GONE)
        self.assertIn("burned in", self.find("#viewer-facts").text)
        self.open_frame_again(FAILED)
        self.assertIn("This frame failed: " + HOSTILE, self.find("#picture").text)

    def open_frame_again(self, index: int) -> None:
        self.js("document.getElementById('viewer').close()")
        self.open_frame(index)

    def test_full_size_is_the_pictures_own(self) -> None:
        self.open_frame(FLOOR)
        width = "return document.getElementById('picture').clientWidth"
        self.assertLess(self.js(width), 1280)
        self.click("#viewer-zoom")
        self.assertEqual(self.js(width), 1920)
        self.assertEqual(self.find("#viewer-zoom").get_attribute("aria-pressed"), "true")

    def test_works_by_keyboard_alone(self) -> None:
        self.js("document.querySelector('.card[data-frame=\"0\"]').focus()")
        outline = self.js("return getComputedStyle(document.activeElement).outlineStyle")
        self.press(Keys.ENTER)
        self.assertTrue(self.js("return document.getElementById('viewer').open"))
        self.press(Keys.ARROW_RIGHT, Keys.ARROW_RIGHT)
        self.assertIn("Frame 3 of 30", self.find("#viewer-facts").text)
        self.press(Keys.ARROW_RIGHT)  # over the one that failed
        self.assertIn("Frame 5 of 30", self.find("#viewer-facts").text)
        self.press(Keys.END)
        self.assertIn("Frame 30 of 30", self.find("#viewer-facts").text)
        self.press(Keys.HOME, Keys.ARROW_LEFT)
        self.assertIn("Frame 1 of 30", self.find("#viewer-facts").text)
        self.press("m")
        self.assertEqual(self.shown_masks(), [])
        self.js("document.getElementById('score').focus()")
        self.press(Keys.ARROW_RIGHT, Keys.ARROW_RIGHT)
        self.assertIn("Frame 1 of 30", self.find("#viewer-facts").text)
        self.assertEqual(self.find("#score-value").text, "0.02")
        self.press(Keys.ESCAPE)
        self.assertFalse(self.js("return document.getElementById('viewer').open"))
        self.assertEqual(self.js("return document.activeElement.dataset.frame"), "0")
        self.assertEqual(outline, "solid")
        self.assertTrue(
            self.js(
                "return document.getElementById('filters-place').contains("
                "document.getElementById('filters'))"
            )
        )

    def scrolled(self) -> list[int]:
        return self.js(
            "const stage = document.getElementById('stage');"
            "return [stage.scrollLeft, stage.scrollTop]"
        )

    def test_arrow_keys_move_a_picture_larger_than_its_place(self) -> None:
        self.open_frame(FLOOR)
        self.press("z")
        before = self.scrolled()
        self.press(Keys.ARROW_RIGHT, Keys.ARROW_DOWN)
        right, down = self.scrolled()
        self.assertGreater(right, before[0] + 20)
        self.assertGreater(down, before[1] + 20)
        self.press(Keys.ARROW_LEFT, Keys.ARROW_UP)
        self.assertEqual(self.scrolled(), before)
        for _ in range(20):
            self.press(Keys.ARROW_LEFT)
        self.assertEqual(self.scrolled()[0], 0)
        self.assertIn("Frame 1 of 30", self.find("#viewer-facts").text)
        self.press(".")
        self.assertIn("Frame 2 of 30", self.find("#viewer-facts").text)
        self.press(",")
        self.assertIn("Frame 1 of 30", self.find("#viewer-facts").text)
        self.press("z", Keys.ARROW_RIGHT)
        self.assertIn("Frame 2 of 30", self.find("#viewer-facts").text)
        self.assertIn("arrow keys move a picture", self.find(".keys").text)

    def test_dragging_moves_the_picture_and_a_click_marks(self) -> None:
        self.open_frame(FLOOR)
        self.press("z")
        before = self.scrolled()
        stage = self.find("#stage")
        ActionChains(self.browser).move_to_element(stage).click_and_hold().move_by_offset(
            -60, -40
        ).release().perform()
        self.assertEqual(self.scrolled(), [before[0] + 60, before[1] + 40])
        self.assertEqual(self.all("#viewer-list button[aria-pressed='true']"), [])
        self.press("z")
        box = self.lines[FLOOR]["bboxes"][5]
        picture = self.find("#picture")
        scale = picture.size["width"] / 1920
        centre = [
            (box[i] + box[i + 2]) / 2 * scale - picture.size[side] / 2
            for i, side in ((0, "width"), (1, "height"))
        ]
        ActionChains(self.browser).move_to_element_with_offset(
            picture, *map(int, centre)
        ).click().perform()
        pressed = self.find("#viewer-list li:has(button[aria-pressed='true'])")
        self.assertEqual(pressed.get_attribute("data-detection"), "5")

    # ---- Zoom -----------------------------------------------------------------------------------

    def zoom(self) -> float:
        """Of the picture that is seen, times the size at which all of it is."""
        return self.js("return view.scale / wholeScale()")

    def centre_of(self, selector: str) -> list[float]:
        box = self.place(selector)
        return [(box["left"] + box["right"]) / 2, (box["top"] + box["bottom"]) / 2]

    def wheel(self, notches: int, x: float, y: float) -> None:
        for _ in range(abs(notches)):
            self.browser.execute_cdp_cmd(
                "Input.dispatchMouseEvent",
                {"type": "mouseWheel", "x": x, "y": y, "deltaX": 0,
                 "deltaY": -120 if notches > 0 else 120},
            )  # fmt: skip
        self.settle()

    def touch(self, kind: str, *points: tuple[float, float]) -> None:
        touches = [{"x": x, "y": y, "id": i} for i, (x, y) in enumerate(points)]
        self.browser.execute_cdp_cmd(
            "Input.dispatchTouchEvent", {"type": "touch" + kind, "touchPoints": touches}
        )
        self.settle()

    def test_wheel_zooms_towards_the_pointer(self) -> None:
        self.open_frame(FLOOR)
        self.assertEqual((self.zoom(), self.find("#zoom-level").text), (1, "1.0\u00d7"))
        # One in the middle: a picture does not move off the edges of its place.
        boxes = np.array(self.lines[FLOOR]["bboxes"])
        off = np.abs(boxes[:, :2] + boxes[:, 2:] - [1920, 1080]).max(axis=1)
        box = f"#picture g.box[data-detection='{off.argmin()}'] rect.line"
        x, y = self.centre_of(box)
        self.assertGreater(np.abs(np.array([x, y]) - self.centre_of("#stage")).max(), 20)
        width = self.place(box)["width"]
        self.wheel(6, x, y)
        # exp(6 * 120 * 0.0015)
        self.assertAlmostEqual(self.zoom(), 2.945, delta=0.01)
        self.assertEqual(self.find("#zoom-level").text, "2.9\u00d7")
        np.testing.assert_allclose(self.centre_of(box), [x, y], atol=3)
        self.assertAlmostEqual(self.place(box)["width"] / width, 2.945, delta=0.05)
        self.wheel(4, x, y)
        np.testing.assert_allclose(self.centre_of(box), [x, y], atol=3)
        self.wheel(-4, x, y)
        np.testing.assert_allclose(self.centre_of(box), [x, y], atol=3)

    def test_zoom_has_its_limits(self) -> None:
        self.open_frame(FLOOR)
        middle = self.centre_of("#stage")
        self.wheel(20, *middle)
        self.assertAlmostEqual(self.zoom(), 16)
        self.wheel(-40, *middle)
        self.assertAlmostEqual(self.zoom(), 1)
        self.assertEqual(self.scrolled(), [0, 0])

    def test_all_that_is_drawn_stays_on_a_zoomed_picture(self) -> None:
        self.open_frame(FLOOR)
        self.wheel(8, *self.centre_of("#stage"))
        picture = self.place("#picture")
        for layer in ("img", "svg", "canvas"):
            place = self.place("#picture " + layer)
            self.assertEqual([place[edge] for edge in picture], list(picture.values()), layer)
        scale = picture["width"] / 1920
        for detection, box in enumerate(self.lines[FLOOR]["bboxes"]):
            place = self.place(f"#picture g.box[data-detection='{detection}'] rect.line")
            self.assertAlmostEqual(place["left"], picture["left"] + box[0] * scale, delta=2)
            self.assertAlmostEqual(place["bottom"], picture["top"] + box[3] * scale, delta=2)
        size = self.js("return document.querySelector('#picture text').getBoundingClientRect()")
        self.assertLess(size["height"], 30)  # of the screen: letters do not grow

    def test_keys_zoom_and_show_the_whole_again(self) -> None:
        self.open_frame(FLOOR)
        self.press("+", "=")
        self.assertAlmostEqual(self.zoom(), 1.25 * 1.25)
        self.press("-")
        self.assertAlmostEqual(self.zoom(), 1.25)
        before = self.scrolled()
        self.press(Keys.ARROW_RIGHT)
        self.assertGreater(self.scrolled()[0], before[0])
        self.press("0")
        self.assertAlmostEqual(self.zoom(), 1)
        self.press("z", "0")
        self.assertEqual(self.find("#viewer-zoom").get_attribute("aria-pressed"), "false")
        self.assertAlmostEqual(self.zoom(), 1)
        self.assertIn("+ and - to zoom", self.find(".keys").text)

    def test_a_double_click_shows_the_whole_again(self) -> None:
        self.open_frame(FLOOR)
        self.press("+", "+")
        ActionChains(self.browser).double_click(self.find("#stage")).perform()
        self.settle()
        self.assertAlmostEqual(self.zoom(), 1)

    def test_zoom_stays_for_the_next_frame_and_goes_with_the_viewer(self) -> None:
        self.open_frame(HOSTILE_FRAME)
        self.press("+", ".")
        self.assertAlmostEqual(self.zoom(), 1.25)
        self.open_frame_again(FLOOR)
        self.assertAlmostEqual(self.zoom(), 1)

    def test_two_fingers_zoom_and_one_moves(self) -> None:
        self.open_frame(FLOOR)
        x, y = self.centre_of("#stage")
        share = self.js("return shareAt(arguments[0])", [x, y])
        self.touch("Start", (x - 50, y), (x + 50, y))
        self.touch("Move", (x - 100, y), (x + 100, y))
        self.touch("Move", (x - 150, y), (x + 150, y))
        self.touch("End")
        self.assertAlmostEqual(self.zoom(), 3, delta=0.01)
        np.testing.assert_allclose(
            self.js("return shareAt(arguments[0])", [x, y]), share, atol=0.002
        )
        before = self.scrolled()
        self.touch("Start", (x, y))
        self.touch("Move", (x - 30, y - 20))
        self.touch("End")
        np.testing.assert_allclose(self.scrolled(), [before[0] + 30, before[1] + 20], atol=1)
        self.assertEqual(self.all("#viewer-list button[aria-pressed='true']"), [])

    # ---- Over time ------------------------------------------------------------------------------

    # Of label 1 as many in a frame, and after them one of label 50 with score 0.2.
    CLIP_COUNTS = (1, 3, 0, 2, 4, 0, 0, 2)
    CLIP_FAILED = 5

    def clip_lines(self) -> list[dict]:
        lines = [plain_line(self.folder / "still.png", 0)]
        for number, count in enumerate(self.CLIP_COUNTS):
            line = plain_line(self.folder / HOSTILE_CLIP, 0) | {
                "frame": number, "bboxes": [[20, 20, 120, 90]] * (count + 1),
                "scores": [0.9] * count + [0.2], "labels": [1] * count + [50]}  # fmt: skip
            if number == self.CLIP_FAILED:
                line |= {
                    "success": False,
                    "message": "no",
                    "bboxes": [],
                    "scores": [],
                    "labels": [],
                }
            lines.append(line)
        return lines

    def bars(self, label: int) -> dict[int, tuple[float, float]]:
        """By number of the frame: where the label's part of its bar begins, and its height."""
        d = self.js(
            "return document.querySelector("
            "`#over-time-bars path[data-label='${arguments[0]}']`)?.getAttribute('d') ?? ''",
            label,
        )
        parts = re.findall(r"M(\d+) (\d+)v-(\d+)h1v(\d+)z", d)
        return {int(x): (int(top), int(height)) for x, top, height, _ in parts}

    def at_frame(self, number: int) -> tuple[int, int]:
        """The middle of that frame's bar."""
        place = self.place("#over-time-bars svg")
        x = place["left"] + place["width"] * (number + 0.5) / len(self.CLIP_COUNTS)
        return round(x), round((place["top"] + place["bottom"]) / 2)

    def mouse(self, kind: str, x: int, y: int) -> None:
        held = 0 if kind == "Released" else 1
        self.browser.execute_cdp_cmd(
            "Input.dispatchMouseEvent",
            {"type": "mouse" + kind, "x": x, "y": y, "button": "left", "buttons": held,
             "clickCount": 1},
        )  # fmt: skip
        self.settle()

    def open_clip(self) -> None:
        page = self.folder / "clip" / "report.html"
        self.open(page if page.exists() else self.report_of("clip", self.clip_lines()))

    def test_a_chart_shows_what_a_video_has_over_its_frames(self) -> None:
        self.open_clip()
        self.open_frame(1)
        self.assertTrue(self.find("#over-time").is_displayed())
        self.assertEqual(self.find("#over-time-most").text, "5 detections at most")
        ones = {i: (5, count) for i, count in enumerate(self.CLIP_COUNTS) if count > 0}
        self.assertEqual(self.bars(1), ones)
        last = {i: (5 - count, 1) for i, count in enumerate(self.CLIP_COUNTS) if i != 5}
        self.assertEqual(self.bars(50), last)
        failed = self.find("#over-time-bars .failed").get_attribute("d")
        self.assertEqual(failed, "M5 0v5h1v-5z")
        self.assertEqual(
            self.texts("#over-time-reading"), [f"Frame 0: 2 detections (stain 1, {HOSTILE} 1)"]
        )

    def test_the_chart_over_time_follows_slider_and_switches(self) -> None:
        self.open_clip()
        self.open_frame(2)
        self.set_score(0.5)
        self.assertEqual((self.bars(50), len(self.bars(1))), ({}, 5))
        self.assertEqual(self.texts("#over-time-reading"), ["Frame 1: 3 detections (stain 3)"])
        self.assertEqual(self.find("#over-time-most").text, "4 detections at most")
        self.set_score(0)
        self.click("input[data-label='1']")
        self.assertEqual((len(self.bars(50)), self.bars(1)), (7, {}))

    def test_the_chart_over_time_goes_to_what_is_pointed_at(self) -> None:
        self.open_clip()
        self.open_frame(1)
        self.mouse("Moved", *self.at_frame(4))
        self.assertTrue(self.texts("#over-time-reading")[0].startswith("Frame 4: 5 detections"))
        self.mouse("Pressed", *self.at_frame(4))
        self.assertIn("Frame 6 of 9", self.find("#viewer-facts").text)
        self.mouse("Moved", *self.at_frame(7))
        self.assertIn("Frame 9 of 9", self.find("#viewer-facts").text)
        self.mouse("Moved", *self.at_frame(5))
        self.assertIn("This frame failed", self.find("#picture").text)
        self.mouse("Released", *self.at_frame(5))
        self.browser.execute_cdp_cmd(
            "Input.dispatchMouseEvent",
            dict(zip(("type", "x", "y"), ("mouseMoved", *self.at_frame(2)))),
        )
        self.assertIn("Frame 7 of 9", self.find("#viewer-facts").text)
        here = self.centre_of("#over-time-here")[0]
        self.assertAlmostEqual(here, self.at_frame(5)[0], delta=1.5)

    def test_the_chart_over_time_is_a_slider_for_keys(self) -> None:
        self.open_clip()
        self.open_frame(1)
        self.press("+", "+")  # where the arrow keys move the picture elsewhere
        before = self.scrolled()
        chart = self.find("#over-time-chart")
        self.js("arguments[0].focus()", chart)
        for key, number in (
            (Keys.ARROW_RIGHT, 1), (Keys.END, 7), (Keys.ARROW_RIGHT, 7), (Keys.PAGE_DOWN, 6),
            (Keys.ARROW_LEFT, 5), (Keys.HOME, 0), (Keys.ARROW_LEFT, 0),
        ):  # fmt: skip
            self.press(key)
            if key == Keys.ARROW_RIGHT:
                self.assertEqual(self.scrolled(), before)
            self.assertEqual(chart.get_attribute("aria-valuenow"), str(number + 1))
            self.assertIn(f"Frame {number + 2} of 9", self.find("#viewer-facts").text)
        self.assertEqual(chart.get_attribute("aria-valuemax"), "8")
        self.assertTrue(chart.get_attribute("aria-valuetext").startswith("Frame 0: 2 detections"))

    def test_pictures_have_no_chart_over_time(self) -> None:
        self.open_frame(HOSTILE_FRAME)  # whose file several lines have
        self.assertFalse(self.find("#over-time").is_displayed())
        self.open_clip()
        self.open_frame(1)
        self.press(Keys.HOME)
        self.open_frame_again(0)
        self.assertFalse(self.find("#over-time").is_displayed())

    def test_a_long_video_has_the_fullest_frame_of_each_bar(self) -> None:
        lines = []
        for number in range(1500):
            count = 7 if number == 1001 else 1
            lines.append(
                plain_line(Path("gone.avi"), 0) | {
                    "frame": number, "bboxes": [[0, 0, 9, 9]] * count, "scores": [0.5] * count,
                    "labels": [1] * count})  # fmt: skip
        self.open(self.report_of("long", lines))
        self.open_frame(0)
        bars = self.bars(1)
        # 2.5 frames a bar: frame 1001 is within the 400th, from 0.
        self.assertEqual((len(bars), bars[400], bars[399]), (600, (7, 7), (7, 1)))

    def test_keys_work_wherever_the_focus_was(self) -> None:
        self.open_frame(FLOOR)
        self.js("document.querySelector('#viewer-list li:nth-child(3) button').focus()")
        marked = self.js("return document.activeElement.parentElement.dataset.detection")
        self.press("m")
        self.assertEqual(
            self.js("return document.activeElement.parentElement.dataset.detection"), marked
        )
        self.press("m")
        self.assertNotEqual(self.shown_masks(), [])
        self.open_frame_again(PLAIN_FRAMES + 2)
        self.click("#viewer-after")  # to the last, after which there is none
        self.press(Keys.ARROW_LEFT)
        self.assertIn(f"Frame {PLAIN_FRAMES + 3} of 30", self.find("#viewer-facts").text)

    def test_tab_reaches_everything_in_order(self) -> None:
        self.js("document.activeElement.blur()")
        reached = []
        for _ in range(21):
            self.press(Keys.TAB)
            reached.append(
                self.js(
                    "const e = document.activeElement;"
                    "return e.id || e.dataset.frame || e.dataset.label ||"
                    "  (e.matches('nav a') ? 'link' : e.className)"
                )
            )
        labels = sorted({label for line in self.lines for label in line["labels"]})
        self.assertEqual(
            reached,
            [
                "skip",
                "theme",
                *["link"] * 6,
                "score",
                "show-boxes",
                "show-names",
                "show-masks",
                "all-labels",
                "no-labels",
                *map(str, labels),
                "0",
            ],
        )

    def test_every_control_has_a_name(self) -> None:
        self.open_frame(FLOOR)
        nameless = self.js(
            """
            return [...document.querySelectorAll('button, input, select, [tabindex]')].filter((e) =>
              !(e.textContent.trim() || e.getAttribute('aria-label') ||
                e.getAttribute('aria-labelledby') || (e.labels && e.labels.length > 0)))
              .map((e) => e.outerHTML)"""
        )
        self.assertEqual(nameless, [])

    # ---- Numbers --------------------------------------------------------------------------------

    def test_chart_and_tails_are_there(self) -> None:
        self.assertEqual(len(self.all("#chart canvas")), 1)
        inked = self.js(
            """
            const canvas = document.querySelector('#chart canvas');
            const {width, height} = canvas;
            const data = canvas.getContext('2d').getImageData(0, 0, width, height).data;
            return data.filter((value, i) => i % 4 === 3 && value > 0).length"""
        )
        self.assertGreater(inked, 1000)
        rows = self.texts("#stages tbody tr")
        self.assertTrue(any(row.startswith("inference") for row in rows))
        self.click("#stages input[data-stage='inference']")
        self.click("#stages tbody tr:nth-child(2) button")
        self.assertTrue(self.js("return document.getElementById('viewer').open"))

    def column(self, number: int) -> list[str]:
        return self.texts(f"#detections tbody td:nth-child({number})")

    def test_table_sorts(self) -> None:
        scores = sorted(score for line in self.lines for score in line["scores"])
        self.click("button[data-column='score']")
        self.assertEqual(self.column(4), [f"{score:.2f}" for score in scores[:25]])
        self.assertEqual(
            self.find("th:has(button[data-column='score'])").get_attribute("aria-sort"), "ascending"
        )
        self.click("button[data-column='score']")
        self.assertEqual(self.column(4), [f"{score:.2f}" for score in scores[::-1][:25]])
        self.click("#page-after")
        self.assertEqual(self.column(4), [f"{score:.2f}" for score in scores[::-1][25:50]])
        self.assertIn("Page 2 of", self.find("#page-number").text)

    def test_a_score_that_is_no_number_is_below_all(self) -> None:
        folder = self.folder / "scoreless"
        folder.mkdir()
        picture = folder / "a.png"
        cv2.imwrite(str(picture), np.zeros((180, 320, 3), np.uint8))
        line = plain_line(picture, 0) | {"scores": [None, 0.75]}
        (folder / "results.jsonl").write_text(json.dumps(line) + "\n")
        run("report", folder)
        self.open(folder / "report.html")
        for _ in range(2):  # as they come, and ascending
            self.assertEqual(self.column(4), ["no score", "0.75"])
            self.click("button[data-column='score']")
        self.open_frame(0)
        self.assertEqual(self.shown_boxes(), 2)
        self.assertIn("no score", self.find("#viewer-list").text)
        self.set_score(0.01)
        self.assertEqual(self.shown_boxes(), 1)

    def test_table_filters(self) -> None:
        total = sum(len(line["labels"]) for line in self.lines)
        self.assertEqual(self.find("#table-count").text, f"{total} of {total} detections")
        self.find("#find").send_keys("FLOOR")
        self.settle()
        self.assertEqual(set(self.column(2)), {"floor.jpg"})
        self.js("document.getElementById('find').value = ''")
        self.find("#find").send_keys("stain")
        self.settle()
        self.assertEqual(set(text.strip() for text in self.column(3)), {"stain"})
        self.js(
            "document.getElementById('find').value = '';"
            "const verdict = document.getElementById('verdict'); verdict.value = 'rejected';"
            "verdict.dispatchEvent(new Event('change'))"
        )
        self.settle()
        rejected = [
            candidate
            for candidate in self.lines[FLOOR]["fece_candidates"]
            if candidate["verdict"] == "rejected"
        ]
        self.assertEqual(len(self.column(2)), len(rejected))
        self.set_score(1)
        self.assertEqual(self.find("#table-count").text, f"0 of {total} detections")

    def test_a_row_opens_its_detection(self) -> None:
        self.click("#detections tbody tr:nth-child(2) button")
        self.assertEqual(self.texts("#viewer-name"), ["floor.jpg"])
        pressed = self.find("#viewer-list button[aria-pressed='true']")
        self.assertEqual(pressed.find_element(By.XPATH, "..").get_attribute("data-detection"), "1")

    def test_shows_what_the_classifier_rejected(self) -> None:
        rejected = [
            candidate
            for candidate in self.lines[FLOOR]["fece_candidates"]
            if candidate["verdict"] == "rejected"
        ]
        self.assertGreater(len(rejected), 0)
        crops = self.all("#crops li")
        self.assertEqual(
            [crop.get_attribute("data-detection") for crop in crops],
            [str(candidate["detection"]) for candidate in rejected],
        )
        self.js("arguments[0].scrollIntoView()", crops[0])
        self.browser.execute_async_script(
            "document.querySelector('#crops img').decode().then(arguments[0])"
        )
        self.assertGreater(self.js("return document.querySelector('#crops img').naturalWidth"), 50)
        self.click("#crops li button")
        self.assertEqual(self.texts("#viewer-name"), ["floor.jpg"])

    # ---- Looks ----------------------------------------------------------------------------------

    def colours(self, selector: str) -> tuple[list[float], list[float]]:
        """The text's colour and the one that it stands on, as the browser paints them."""
        return self.js(
            """
            const options = {willReadFrequently: true};
            const canvas = document.createElement('canvas').getContext('2d', options);
            const bytes = (colour) => {
              canvas.clearRect(0, 0, 1, 1);
              canvas.fillStyle = colour;
              canvas.fillRect(0, 0, 1, 1);
              return [...canvas.getImageData(0, 0, 1, 1).data];
            };
            let element = document.querySelector(arguments[0]);
            const text = bytes(getComputedStyle(element).color);
            let back = [0, 0, 0, 0];
            for (; element && back[3] === 0; element = element.parentElement) {
              back = bytes(getComputedStyle(element).backgroundColor);
            }
            return [text.slice(0, 3), back.slice(0, 3)]""",
            selector,
        )

    def check_contrast(self) -> None:
        for selector in (
            "h1",
            "#summary",
            "#notes .warning",
            "#theme",
            ".hint",
            "#labels .amount",
            ".card .file",
            ".card .facts",
            "#counts th",
            "#detections td",
            "#detections td button",
            "#detections thead button",
            "footer summary",
            "#failed li",
            "#stages td button",
            "#detections .order",
            "#detections th .order",
            "main > nav a",
            "#table-count",
            ".bar",
        ):
            text, back = self.colours(selector)
            least = 3 if selector == ".bar" else 4.5
            if selector == ".bar":
                text, back = back, self.colours("#counts tbody")[1]
            self.assertGreaterEqual(contrast(text, back), least, selector)

    def test_contrast_is_enough_in_both_schemes(self) -> None:
        backs = {}
        for scheme in ("light", "dark"):
            self.open(self.folder / "report.html", scheme=scheme)
            self.check_contrast()
            backs[scheme] = self.colours("body")[1]
        self.assertGreater(luminance(backs["light"]), 0.8)
        self.assertLess(luminance(backs["dark"]), 0.05)

    def test_theme_button_goes_before_the_system(self) -> None:
        self.click("#theme")
        self.click("#theme")
        self.assertEqual(self.find("#theme").text, "Theme: dark")
        self.assertLess(luminance(self.colours("body")[1]), 0.05)
        self.check_contrast()

    def place(self, selector: str) -> dict:
        return self.js(
            "const box = document.querySelector(arguments[0]).getBoundingClientRect();"
            "return {left: box.left, right: box.right, top: box.top, bottom: box.bottom,"
            "        width: box.width, height: box.height}",
            selector,
        )

    def test_label_switches_have_a_row_of_their_own(self) -> None:
        tops = self.js(
            "return [...document.querySelectorAll('#labels .switch')]"
            ".map((e) => Math.round(e.getBoundingClientRect().top))"
        )
        self.assertEqual(len(tops), 6)
        self.assertEqual(len(set(tops)), 1)
        row, score = self.place("#labels"), self.place(".score")
        self.assertGreaterEqual(row["top"], score["bottom"])
        self.assertGreater(row["width"], 1000)

    def test_summary_is_as_wide_as_a_narrow_screen(self) -> None:
        self.open(self.folder / "report.html", 390, 844)
        self.assertGreater(self.place("#summary")["width"], 360)

    def test_buttons_of_the_viewer_keep_their_height(self) -> None:
        height = self.place("#theme")["height"]
        self.open_frame(FLOOR)
        heights = self.js(
            "return [...document.querySelectorAll('dialog header button')]"
            ".map((e) => e.getBoundingClientRect().height)"
        )
        self.assertEqual(heights, [height] * 4)

    def test_a_jump_ends_beside_the_filters_not_under_them(self) -> None:
        self.js("document.documentElement.style.scrollBehavior = 'auto'")
        self.click("nav a[href='#rejected']")
        self.assertGreaterEqual(
            self.place("#rejected")["top"], self.place("#filters-place")["bottom"]
        )

    def test_head_of_the_table_stays(self) -> None:
        self.js("document.querySelector('#table-section .scroll').scrollTop = 150")
        self.settle()
        self.assertAlmostEqual(
            self.place("#detections th")["top"],
            self.place("#table-section .scroll")["top"],
            delta=1,
        )
        self.assertLess(
            self.place("#detections tbody tr")["top"], self.place("#detections th")["top"]
        )

    def test_ends_of_long_names_are_seen(self) -> None:
        tail = self.place(".card[data-frame='2'] .tail")
        self.assertGreater(tail["width"], 50)
        self.assertLess(tail["right"], self.place(".card[data-frame='2']")["right"])
        self.assertEqual(self.texts(".card[data-frame='2'] .file"), ["gone" * 80 + ".png"])

    def test_side_panel_holds_long_names_without_scrolling_sideways(self) -> None:
        names = {
            str(i): name
            for i, name in enumerate(
                ("dried coffee stain on laminate near the skirting board", "x" * 90, "cable")
            )
        }
        picture = self.folder / ("kitchen_floor_camera_front_left_" * 6 + ".png")
        cv2.imwrite(str(picture), np.zeros((180, 320, 3), np.uint8))
        line = plain_line(picture, 0) | {
            "bboxes": [[20, 20 * i, 60, 20 * i + 15] for i in range(3)],
            "scores": [0.5] * 3,
            "labels": [0, 1, 2],
            "label_names": names,
        }
        page = self.report_of("names", [line])
        for width in (1280, 1024):
            self.open(page, width, 800)
            self.open_frame(0)
            # What a scroll bar takes, which this browser hides.
            self.js("document.querySelector('.viewer-side').style.paddingRight = '27px'")
            wide = self.js(
                """
                const pieces =
                  ['.viewer-side', '#viewer-filters', '#filters', '#labels', '#viewer-list'];
                return pieces.filter((piece) => {
                  const {scrollWidth, clientWidth} = document.querySelector(piece);
                  return scrollWidth > clientWidth;
                });"""
            )
            self.assertEqual(wide, [], width)
            for names_of in ("#labels .name", "#viewer-list .name"):
                self.assertEqual(
                    self.js(
                        "return [...document.querySelectorAll(arguments[0])].map((e) => e.title)",
                        names_of,
                    ),
                    list(names.values()),
                )
            heights = self.js(
                "return [...document.querySelectorAll('#viewer-list li')]"
                ".map((e) => e.getBoundingClientRect().height)"
            )
            self.assertEqual(len(set(heights)), 1)

    def test_nothing_reaches_beyond_a_narrow_screen(self) -> None:
        self.open(self.folder / "report.html", 390, 844)
        self.assertEqual(self.js("return document.documentElement.scrollWidth"), 390)
        self.open_frame(FLOOR)
        outside = self.js(
            """
            return [...document.querySelectorAll('dialog button, dialog input, #picture')]
              .filter((e) => {
                const box = e.getBoundingClientRect();
                return box.width > 0 && (box.left < 0 || box.right > 390.5);
              }).map((e) => e.outerHTML)"""
        )
        self.assertEqual(outside, [])

    # ---- Against another run --------------------------------------------------------------------

    def changed_page(self) -> Path:
        """The page of six frames, made once: the same, one of each change, and a new one."""
        page = self.folder / "changes" / "report.html"
        if page.exists():
            return page
        names = {"1": "stain", "50": "paint", "7": "oil"}
        here = []
        for i in range(6):
            picture = self.folder / f"plain{i}.png"
            cv2.imwrite(str(picture), np.full((180, 320, 3), 120, np.uint8))
            here.append(plain_line(picture, 9) | {"label_names": names})
        there = [dict(line) for line in here[:5]] + [here[5] | {"source": "gone.png"}]
        there[1] |= {"bboxes": [here[1]["bboxes"][0], [160, 70, 310, 170]]}  # by 10 pixels
        there[2] |= {"bboxes": [[200, 10, 230, 40], here[2]["bboxes"][1]], "labels": [7, 50]}
        there[3] |= {"labels": [7, 50], "scores": [0.18, 0.5]}
        there[4] |= {"success": False, "bboxes": [], "scores": [], "labels": []}
        return self.report_of("changes", here, self.results_of("before", there))

    def dashed(self) -> list[int]:
        return self.js(
            "return [...document.querySelectorAll('#picture g.other-box')]"
            ".map((group) => Number(group.dataset.other))"
        )

    def shown_cards(self) -> list[str]:
        return self.js(
            "return [...document.querySelectorAll('.card')].filter((e) => !e.hidden)"
            ".map((e) => e.dataset.frame)"
        )

    def test_tells_what_changed_in_each_frame(self) -> None:
        self.open(self.changed_page())
        notes = self.texts("#notes p")
        self.assertRegex(notes[1], "'.*/before': 5 of 6 frames changed, 1 of which only this run")
        self.assertRegex(notes[2], "The other run has 1 frame that this one has not: 'gone.png'")
        changes = [
            self.texts(f".card[data-frame='{i}'] .changes") for i in range(len(self.all(".card")))
        ]
        self.assertEqual(
            changes,
            [[], ["1 moved"], ["1 appeared \u00b7 1 vanished"],
             ["1 label changed \u00b7 1 score changed"],
             ["failed only in the other run \u00b7 2 appeared"], ["only in this run"]],
        )  # fmt: skip
        self.open_frame(3)
        self.assertIn("1 label changed", self.find("#viewer-facts").text)
        self.assertEqual(self.texts("#viewer-list .verdict"), ["score was 0.5000", "was oil"])

    def test_lists_the_most_changed_frame_first(self) -> None:
        self.open(self.changed_page())
        files = self.texts("#changed tbody td.file")
        self.assertEqual(files, [f"plain{i}.png" for i in (4, 5, 2, 3, 1)])
        row = self.texts("#changed tbody tr:last-child td.number")
        self.assertEqual(row, ["", "", "", "", "1, 10 px", "", ""])
        self.click("#changed tbody tr:last-child button")
        self.assertEqual(self.texts("#viewer-name"), ["plain1.png"])

    def test_changed_frames_alone(self) -> None:
        self.open(self.changed_page())
        self.assertEqual(self.shown_cards(), ["0", "1", "2", "3", "4", "5"])
        self.assertEqual(self.count_of(1), [6, 6, 6])
        self.click("#changed-only")
        self.assertEqual(self.shown_cards(), ["1", "2", "3", "4", "5"])
        self.assertEqual(self.count_of(1), [5, 5, 5])
        self.assertEqual(self.find("#table-count").text, "10 of 12 detections")
        self.open_frame(1)
        self.press(Keys.HOME)
        self.assertEqual(self.texts("#viewer-name"), ["plain1.png"])
        self.assertFalse(self.find("#viewer-before").is_enabled())
        self.press("c")
        self.assertTrue(self.find("#viewer-before").is_enabled())
        self.press(Keys.ARROW_LEFT)
        self.assertEqual(self.texts("#viewer-name"), ["plain0.png"])

    def test_table_tells_and_sorts_changes(self) -> None:
        self.open(self.changed_page())
        cells = self.texts("#detections td.change")
        self.assertEqual(
            cells,
            ["", "", "", "moved 10 px", "appeared", "", "was oil", "score was 0.5000",
             "appeared", "appeared", "", ""],
        )  # fmt: skip
        self.click("#detections th [data-column='change']")
        self.click("#detections th [data-column='change']")
        self.assertEqual(self.texts("#detections td.change")[0], "was oil")

    def test_draws_the_other_runs_boxes_dashed(self) -> None:
        self.open(self.changed_page())
        self.open_frame(2)
        self.assertEqual((self.shown_boxes(), self.dashed()), (2, [0, 1]))
        dashes = self.js(
            "const box = document.querySelector('g.other-box[data-other=\"0\"] rect.dashes');"
            "const {x, y, width, height} = box.getBBox();"
            "const {strokeDasharray, stroke} = getComputedStyle(box);"
            "return {place: [x, y, x + width, y + height], strokeDasharray,"
            "        isColour: stroke === getComputedStyle("
            "          document.querySelector('#labels [data-label=\"7\"] ~ .swatch')).color}"
        )
        self.assertEqual(dashes["place"], [200, 10, 230, 40])
        self.assertNotEqual(dashes["strokeDasharray"], "none")
        self.assertTrue(dashes["isColour"])
        # Below this run's, which hide those that are the same.
        kinds = self.js(
            "return [...document.querySelectorAll('#picture svg > g')].map((e) => e.classList[0])"
        )
        self.assertEqual(kinds, ["other-box"] * 2 + ["box"] * 2)
        names = self.texts("#picture svg text")
        self.assertEqual(names, ["paint 0.75", "stain 0.18", "oil 0.18"])
        self.assertEqual(self.texts("#vanished-list .name"), ["oil"])
        self.press("o")
        self.assertEqual((self.shown_boxes(), self.dashed()), (2, []))
        self.press("o")
        self.set_score(0.5)
        self.assertEqual(self.dashed(), [1])
        self.assertFalse(self.find("#vanished").is_displayed())
        self.set_score(0)
        self.click("input[data-label='7']")
        self.assertEqual(self.dashed(), [1])
        self.click("#viewer-close")
        self.open_frame(0)
        self.assertEqual(self.texts("#picture svg text"), ["paint 0.75", "stain 0.18"])
        self.assertFalse(self.find("#vanished").is_displayed())

    def test_thumbnails_show_the_others_boxes_that_lie_apart(self) -> None:
        self.open(self.changed_page())
        counts = [len(self.all(f".card[data-frame='{i}'] path.other")) for i in range(6)]
        self.assertEqual(counts, [0, 1, 1, 1, 0, 0])
        self.click("#show-others")
        self.assertEqual(len(self.all(".card path.other")), 0)

    def test_rejected_and_failed_ones_of_changed_frames(self) -> None:
        rejected = [{"detection": 0, "verdict": "rejected", "score": 0.1}]
        here = [
            plain_line(self.folder / f"hall{i}.png", 0) | {"fece_candidates": rejected}
            for i in range(3)
        ]
        there = [here[0], here[1] | {"scores": [0.9, 0.75]}, here[2]]
        here[2] = self.lines[FAILED] | {"source": here[2]["source"]}
        self.open(self.report_of("hall", here, self.results_of("hall-before", there)))
        self.assertEqual(len(self.all("#crops li")), 2)
        self.click("#changed-only")
        crops = self.js(
            "return [...document.querySelectorAll('#crops li')].map((e) => e.dataset.frame)"
        )
        self.assertEqual(crops, ["1"])
        self.assertEqual(
            self.texts("#failed li"), [f"hall2.png: {HOSTILE} (failed only in this run)"]
        )

    def test_the_same_run_has_no_changed_frame(self) -> None:
        line = self.lines[HOSTILE_FRAME]
        self.open(self.report_of("same", [line], self.results_of("same-before", [line])))
        self.assertIn("none of 1 frame changed", "\n".join(self.texts("#notes p")))
        self.assertIn("Nothing changed against", self.find("#changes .hint").text)
        self.assertEqual(self.shown_ids("changed"), [])
        self.click("#changed-only")
        self.assertEqual(self.shown_cards(), [])
        self.assertEqual(self.find("#frames-hint").text, "No frame changed.")

    def test_another_run_with_hostile_names(self) -> None:
        line = self.lines[HOSTILE_FRAME]
        there = line | {"labels": [1, 7], "label_names": {"7": HOSTILE}}
        self.open(self.report_of("hostile", [line], self.results_of("<img src=x>", [there])))
        self.assertEqual(self.all("img[src='x']"), [])
        self.assertIn("<img src=x>': 1 of 1 frame", self.texts("#notes p")[1])
        self.assertIn("<img src=x>'", self.find("#changes .hint").text)

    def test_fits_a_narrow_screen_with_another_run(self) -> None:
        self.open(self.changed_page(), 390, 844)
        self.assertEqual(self.js("return document.documentElement.scrollWidth"), 390)

    def test_has_nothing_of_another_run_without_one(self) -> None:
        ids = "changes", "changed-only", "show-others", "vanished"
        found = [name for name in ids if self.all("#" + name)]
        self.assertEqual(found + self.all("td.change, .changes, nav a[href='#changes']"), [])
        self.open_frame(FLOOR)
        self.press("o", "c")
        self.assertEqual(self.dashed(), [])
        self.assertNotIn("other run", self.find(".keys").text)

    # ---- Little and much ------------------------------------------------------------------------

    def results_of(self, name: str, lines: list[dict]) -> Path:
        folder = self.folder / name
        folder.mkdir()
        (folder / "results.jsonl").write_text("".join(json.dumps(line) + "\n" for line in lines))
        return folder

    def report_of(self, name: str, lines: list[dict], other: Path | None = None) -> Path:
        folder = self.results_of(name, lines)
        run("report", folder, *(["--against", other] if other else []))
        return folder / "report.html"

    def shown_ids(self, *ids: str) -> list[str]:
        return [name for name in ids if self.find("#" + name).is_displayed()]

    def test_no_frame(self) -> None:
        self.open(self.report_of("none", []))
        self.assertEqual(self.find("#frames-hint").text, "There is no frame.")
        self.assertEqual(self.find("#counts-hint").text, "Nothing was found.")
        self.assertEqual(self.find("#table-hint").text, "Nothing was found.")
        self.assertEqual(self.shown_ids("filters", "counts", "detections", "times"), [])

    def test_a_frame_without_detections(self) -> None:
        clean = self.lines[HOSTILE_FRAME] | {"bboxes": [], "scores": [], "labels": []}
        self.open(self.report_of("clean", [clean]))
        self.assertEqual(self.texts(".card .facts"), ["0 detections"])
        self.assertEqual(self.shown_ids("filters", "times"), ["times"])
        self.open_frame(0)
        self.assertEqual(self.find("#viewer-hint").text, "Nothing was found in this frame.")

    def test_failed_frames_alone(self) -> None:
        self.open(self.report_of("dark", [self.lines[FAILED]]))
        self.assertEqual(self.find("#frames-hint").text, "No frame went through.")
        self.assertEqual(self.shown_ids("failed", "filters"), ["failed"])

    def test_names_of_many_objects_leave_each_other_alone(self) -> None:
        boxes = [
            [7 * i % 300, 11 * i % 160, 7 * i % 300 + 20, 11 * i % 160 + 20] for i in range(300)
        ]
        crowd = self.lines[HOSTILE_FRAME] | {
            "bboxes": boxes,
            "scores": [i / 300 for i in range(300)],
            "label_names": {},
            "labels": [i % 40 for i in range(300)],
        }
        self.open(self.report_of("crowd", [crowd]))
        self.open_frame(0)
        self.assertEqual(self.shown_boxes(), 300)
        names = self.js(
            "return [...document.querySelectorAll('#picture text')].map((e) => {"
            "  const box = e.getBBox(); return [box.x, box.y, box.width, box.height]; })"
        )
        self.assertGreater(len(names), 20)
        for i, (x, y, width, height) in enumerate(names):
            for other in names[:i]:
                self.assertFalse(
                    x < other[0] + other[2]
                    and other[0] < x + width
                    and y + 0.25 * height < other[1] + 0.75 * other[3]
                    and other[1] + 0.25 * other[3] < y + 0.75 * height,
                    (i, names[i]),
                )
        self.assertIn(
            f"{300 - len(names)} names would lie on others", self.find("#viewer-hint").text
        )
        self.js("document.querySelector('#viewer-list li:last-child button').click()")
        self.settle()
        self.assertEqual(len(self.all("#picture text[data-detection='0']")), 1)

    def test_tells_when_filters_leave_nothing(self) -> None:
        self.click("#no-labels")
        self.assertIn("No detection is left", self.find("#table-hint").text)
        self.open_frame(FLOOR)
        self.assertEqual(
            self.find("#viewer-hint").text, "None is left by the slider and the switches."
        )

    def test_thousands_of_frames_stay_usable(self) -> None:
        folder = self.folder / "many"
        folder.mkdir()
        with open(folder / "results.jsonl", "w") as file:
            for i in range(5000):
                line = plain_line(Path("gone.png"), i)
                line["bboxes"], line["scores"], line["labels"] = (
                    line["bboxes"] * 5,
                    [i % 100 / 100] * 10,
                    [1, 50] * 5,
                )
                file.write(json.dumps(line) + "\n")
        run("report", folder)
        started = time.monotonic()
        self.open(folder / "report.html")
        self.assertLess(time.monotonic() - started, 20)
        self.assertIn("200 frames of 5000", "\n".join(self.texts("#notes p")))
        started = time.monotonic()
        self.set_score(0.5)
        self.assertLess(time.monotonic() - started, 10)
        self.assertEqual(self.find("#table-count").text, "25000 of 50000 detections")


if __name__ == "__main__":
    PROGRAM, MODELS = sys.argv[1], Path(sys.argv[2])
    missing = [name for name in ("chromium", "chromedriver") if shutil.which(name) is None]
    if webdriver is None or missing:
        print(
            f"skipped: {', '.join(missing) or 'python3-selenium'} is not installed; "
            "scripts/setup.sh installs it"
        )
        sys.exit(SKIPPED)
    os.environ.setdefault("HOME", tempfile.gettempdir())
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
