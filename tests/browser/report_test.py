"""Opens the report of a demo in a real browser, turns the cloud, and holds the page against the demo's own figures.

usage: report_test.py LUMORAD CHROMIUM [FOLDER for screenshots]
"""

import json
import pathlib
import re
import struct
import subprocess
import sys
import tempfile
import unittest

from PIL import ImageChops

from chromium import Browser

MICROMETRES = 1000.0  # in a millimetre
PERCENT = 100.0
WINDOW = (1100, 900)
SHIFT = 8  # the protocol's number of the key as a modifier
READY = "document.documentElement.dataset.ready"

PROGRAM = CHROMIUM = SCREENSHOTS = None


def differing(one, other):
    """The number of pixels that are not the same in both pictures."""
    changes = ImageChops.difference(one, other).convert("L", dither=None).point(lambda level: 255 if level else 0)
    return sum(changes.histogram()[255:])


def drawn(picture):
    """The share of the pixels that are not the background's, which is the most frequent colour."""
    colours = picture.getcolors(picture.width * picture.height)
    return 1.0 - max(colours)[0] / (picture.width * picture.height)


def read_ply(path):
    header, body = path.read_bytes().split(b"end_header\n", 1)
    count = int(re.search(rb"element vertex (\d+)", header).group(1))
    return [struct.unpack_from("<3f", body, 15 * vertex) for vertex in range(count)]


class Demo:
    """The files and figures of one run of the demo."""

    _shared = None

    def __init__(self):
        self._folder = tempfile.TemporaryDirectory(prefix="lxcvreport.")
        self.folder = pathlib.Path(self._folder.name)
        command = [PROGRAM, "demo", "--scene", "molar", "--out", str(self.folder), "--json"]
        self.figures = json.loads(subprocess.run(command, check=True, capture_output=True, timeout=100).stdout)
        self.page = (self.folder / "report.html").read_text(encoding="utf-8")

    @classmethod
    def shared(cls):
        cls._shared = cls._shared or cls()
        return cls._shared

    def data(self):
        return json.loads(re.search(r'<script type="application/json" id="scan">(.*?)</script>', self.page, re.S).group(1))

    def write_variant(self, name, data):
        """The page with other data."""
        text = json.dumps(data).replace("<", "\\u003c")
        begin, rest = self.page.split('id="scan">', 1)
        end = rest.split("</script>", 1)[1]
        path = self.folder / name
        path.write_text(begin + 'id="scan">' + text + "</script>" + end, encoding="utf-8")
        return path


class PageTest(unittest.TestCase):
    """The demo's report in a window of fixed size, opened once for the tests of a class. Every test leaves it as it was.

    Most tests do without WebGL, which a processor draws slowly.
    """

    FLAGS = ("--disable-3d-apis",)
    _browsers = {}

    @classmethod
    def setUpClass(cls):
        cls.demo = Demo.shared()
        if cls.FLAGS not in cls._browsers:
            browser = Browser(CHROMIUM, *WINDOW, cls.FLAGS)
            cls._browsers[cls.FLAGS] = browser
            unittest.addModuleCleanup(browser.__exit__)
        cls.browser = cls._browsers[cls.FLAGS]
        cls.show(cls.demo.folder / "report.html")

    @classmethod
    def show(cls, path):
        cls.browser.open(path.as_uri())
        cls.browser.wait_for(READY)

    def setUp(self):
        self.addCleanup(self.reset)

    def reset(self):
        self.browser.evaluate("document.querySelector('#reset').click()")

    def middle(self):
        return self.browser.evaluate(
            "(() => { const box = document.querySelector('#cloud').getBoundingClientRect();"
            "return [box.x + box.width / 2, box.y + box.height / 2]; })()")

    def cloud(self, name=None):
        picture = self.browser.screenshot("#cloud")
        if name and SCREENSHOTS:
            picture.save(pathlib.Path(SCREENSHOTS) / f"{name}.png")
        return picture

    def assert_changed(self, before, after, what):
        self.assertGreater(differing(before, after), before.width * before.height // 50, f"{what} changes nothing")

    def choose(self, colouring):
        self.browser.evaluate(f"document.querySelector('#colouring input[value={colouring}]').click()")

    def assert_no_complaint(self):
        self.assertEqual(self.browser.complaints, [])


class DrawnCloud:
    """What holds for either way of drawing."""

    def test_cloud_is_drawn_by_the_expected_renderer(self):
        self.assertEqual(self.browser.evaluate(READY), self.RENDERER)
        self.assertGreater(drawn(self.cloud(self.RENDERER)), 0.15)
        self.assert_no_complaint()

    def test_drag_turns_the_cloud_and_reset_brings_it_back(self):
        x, y = self.middle()
        before = self.cloud()
        self.browser.drag((x - 60, y), (x + 60, y + 40))
        turned = self.cloud(self.RENDERER + "-turned")
        self.assert_changed(before, turned, "a drag")
        self.assertGreater(drawn(turned), 0.05)
        self.reset()
        self.assertEqual(differing(before, self.cloud()), 0, "a reset does not bring the first view back")
        self.assert_no_complaint()

    def test_moving_shifts_the_picture_by_what_the_mouse_moved(self):
        before = self.cloud()
        x, y = self.middle()
        self.browser.drag((x, y), (x + 50, y - 30), modifiers=SHIFT)
        after = self.cloud()
        # A window in the middle, away from what is drawn over the canvas at its lower corners.
        box = (200, 100, before.width - 250, before.height - 150)
        moved = (box[0] + 50, box[1] - 30, box[2] + 50, box[3] - 30)
        self.assertLess(differing(before.crop(box), after.crop(moved)), 50)

    def test_each_colouring_looks_different(self):
        pictures = {}
        for colouring in ("error", "camera", "depth"):
            self.choose(colouring)
            pictures[colouring] = self.cloud(f"{self.RENDERER}-{colouring}")
        self.assert_changed(pictures["depth"], pictures["error"], "the colouring by error")
        self.assert_changed(pictures["depth"], pictures["camera"], "the camera's colouring")
        self.assert_changed(pictures["error"], pictures["camera"], "the camera's colouring")
        self.assert_no_complaint()


class CloudWithWebGl(DrawnCloud, PageTest):
    RENDERER = "webgl"
    FLAGS = ("--use-angle=swiftshader", "--enable-unsafe-swiftshader")


class CloudWithoutWebGl(DrawnCloud, PageTest):
    RENDERER = "pixels"


class Handling(PageTest):
    """Mouse and keys beyond the plain drag."""

    def check(self, what, act):
        before = self.cloud()
        act()
        self.assert_changed(before, self.cloud(), what)

    def test_right_drag_and_shifted_drag_move_the_cloud_alike(self):
        x, y = self.middle()
        self.check("a right drag", lambda: self.browser.drag((x, y), (x + 50, y - 30), button="right"))
        moved = self.cloud()
        self.reset()
        self.browser.drag((x, y), (x + 50, y - 30), modifiers=SHIFT)
        self.assertEqual(differing(moved, self.cloud()), 0)

    def test_wheel_enlarges_and_double_click_resets(self):
        x, y = self.middle()
        before = self.cloud()
        self.browser.mouse("mouseWheel", x, y, deltaX=0, deltaY=-400)
        enlarged = self.cloud()
        self.assertGreater(drawn(enlarged), 1.2 * drawn(before))
        for count in (1, 2):
            self.browser.mouse("mousePressed", x, y, button="left", buttons=1, clickCount=count)
            self.browser.mouse("mouseReleased", x, y, button="left", buttons=0, clickCount=count)
        self.assertEqual(differing(before, self.cloud()), 0)

    def test_keys_turn_move_enlarge_and_reset(self):
        self.browser.evaluate("document.querySelector('#cloud').focus()")
        self.browser.press("Home")  # from now on the focus is drawn
        before = self.cloud()
        for key, modifiers in (("ArrowLeft", 0), ("ArrowUp", 0), ("ArrowDown", SHIFT), ("+", 0), ("-", 0)):
            self.check(f"the key {key}", lambda: self.browser.press(key, modifiers))
        self.browser.press("Home")
        self.assertEqual(differing(before, self.cloud()), 0)

    def test_what_is_in_front_follows_the_mouse(self):
        turned = self.browser.evaluate(
            "(() => { const camera = new CloudCamera([0, 0, 0], 1);"
            "const before = camera.rotation.slice(); camera.turn(0.1, 0);"
            # The point that was in front of the middle: the third row of the rotation, seen by the new one.
            "return camera.rotation.slice(0, 3).reduce((sum, value, i) => sum + value * before[6 + i], 0); })()")
        self.assertAlmostEqual(turned, 0.0998334, places=6)  # sin 0.1 to the right

    def test_many_turns_keep_the_cloud_rigid(self):
        lengths = self.browser.evaluate(
            "(() => { const camera = new CloudCamera([0, 0, 0], 1);"
            "for (let i = 0; i < 100000; ++i) { camera.turn(0.013, -0.007); }"
            "const r = camera.rotation;"
            "return [0, 3, 6].map((row) => Math.hypot(r[row], r[row + 1], r[row + 2])"
            " + r[row] * r[(row + 3) % 9] + r[row + 1] * r[(row + 4) % 9] + r[row + 2] * r[(row + 5) % 9]); })()")
        for length in lengths:
            self.assertAlmostEqual(length, 1.0, places=12)

    def test_point_under_the_mouse_is_read_out(self):
        x, y = self.middle()
        self.browser.mouse("mouseMoved", x, y)
        text = self.browser.evaluate("document.querySelector('#readout').textContent").replace("\u2212", "-")
        match = re.fullmatch(r"x (\S+) {3}y (\S+) {3}z (\S+) mm {3}error (\S+) \u00b5m", text)
        self.assertIsNotNone(match, text)
        position = tuple(float(number) for number in match.groups()[:3])
        nearest = min(max(abs(a - b) for a, b in zip(position, point))
                      for point in read_ply(self.demo.folder / "cloud.ply"))
        self.assertLess(nearest, 0.001)  # mm: rounding of the page's positions and of the text


class Content(PageTest):
    """What the page tells."""

    def test_nothing_is_fetched_and_nothing_complained_of(self):
        fetched = [address for address in self.browser.requests if not address.startswith("data:image/png;base64,")]
        self.assertEqual(fetched, [(self.demo.folder / "report.html").as_uri()])
        self.assert_no_complaint()

    def test_figures_are_those_of_the_json_report(self):
        shown = self.browser.evaluate(
            "Object.fromEntries(Array.from(document.querySelectorAll('#figures tr'), (row) => [row.querySelector('data').id,"
            "[row.querySelector('data').value, row.querySelector('data').textContent, row.cells[2].textContent]]))")
        factors = {"": 1.0, "%": PERCENT, "\u00b5m": MICROMETRES}
        expected = ["points", "crossings", "coverage", "wrong_code_fraction", "mean_mm", "rms_mm", "rms_right_code_mm",
                    "p95_mm", "table_largest_mm", "table_rms_mm"]
        self.assertEqual(sorted(shown), sorted("figure-" + key for key in expected))
        for key in expected:
            value, text, unit = shown["figure-" + key]
            exact = self.demo.figures[key] * factors[unit]
            self.assertAlmostEqual(float(value), exact, delta=1e-9 * abs(exact), msg=key)
            decimals = len(text.partition(".")[2])
            self.assertAlmostEqual(float(text), exact, delta=0.5000001 * 10 ** -decimals, msg=key)

    def test_cloud_is_that_of_the_ply_file(self):
        cloud = self.browser.evaluate("(() => { const cloud = readCloud(scan.cloud);"
                                      "return [cloud.count, Array.from(cloud.positions)]; })()")
        points = read_ply(self.demo.folder / "cloud.ply")
        self.assertEqual(cloud[0], len(points))
        self.assertEqual(cloud[0], self.demo.figures["points"])
        flat = [value for point in points for value in point]
        worst = max(abs(a - b) for a, b in zip(cloud[1], flat))
        self.assertLess(worst, 0.0003)  # mm: half of a 65534th of some 20 mm, and of a float's last bit

    def test_errors_of_the_points_give_the_figures(self):
        errors = self.browser.evaluate("Array.from(readCloud(scan.cloud).errors).filter((error) => !Number.isNaN(error))")
        rms = (sum(error * error for error in errors) / len(errors)) ** 0.5
        self.assertAlmostEqual(rms, MICROMETRES * self.demo.figures["rms_mm"], delta=0.01)
        histogram = self.demo.data()["histogram"]
        self.assertEqual(sum(histogram["counts"]) + histogram["beyond"], len(errors))
        bars = self.browser.evaluate("document.querySelectorAll('#histogram rect').length")
        self.assertEqual(bars, len(histogram["counts"]) + 1)

    def test_stages_and_images_are_shown(self):
        stages = self.browser.evaluate("Array.from(document.querySelectorAll('#stages th'), (cell) => cell.textContent)")
        self.assertEqual(sorted(set(stages) - {"together"}), sorted(set(self.demo.figures["stages_ms"]) - {"write report"}))
        sizes = self.browser.evaluate("Array.from(document.querySelectorAll('#images img'),"
                                      "(image) => [image.naturalWidth, image.naturalHeight, image.alt.length > 0])")
        self.assertEqual(sizes, [[658, 494, True], [658, 494, True]])

    def test_page_fits_a_narrow_window(self):
        self.browser.resize(400, 800)
        self.addCleanup(self.browser.resize, *WINDOW)
        picture = self.browser.screenshot()
        if SCREENSHOTS:
            picture.save(pathlib.Path(SCREENSHOTS) / "narrow.png")
        self.assertLessEqual(self.browser.evaluate("document.documentElement.scrollWidth"), 400)
        self.assertLessEqual(self.browser.evaluate("document.querySelector('#histogram svg').clientWidth"), 400)

    def test_text_is_readable_on_light_and_dark_paper(self):
        backgrounds = []
        for scheme in ("light", "dark"):
            self.browser.call("Emulation.setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": scheme}])
            if SCREENSHOTS:
                self.browser.screenshot().save(pathlib.Path(SCREENSHOTS) / f"{scheme}.png")
            for selector, background in (("h1", "body"), ("#figures td", "section"), ("#figures th", "section"), ("#help", "section")):
                ink, paper = (self.luminance(selector, "color"), self.luminance(background, "backgroundColor"))
                contrast = (max(ink, paper) + 0.05) / (min(ink, paper) + 0.05)
                self.assertGreater(contrast, 4.5, f"{selector} on {scheme} paper")
            backgrounds.append(self.luminance("body", "backgroundColor"))
        self.browser.call("Emulation.setEmulatedMedia", features=[])
        self.assertGreater(backgrounds[0], 0.8)
        self.assertLess(backgrounds[1], 0.1)

    def luminance(self, selector, style):
        colour = self.browser.evaluate(f"getComputedStyle(document.querySelector('{selector}')).{style}")
        linear = [(level / 255 / 12.92 if level <= 10 else ((level / 255 + 0.055) / 1.055) ** 2.4)
                  for level in map(int, re.findall(r"\d+", colour)[:3])]
        return 0.2126 * linear[0] + 0.7152 * linear[1] + 0.0722 * linear[2]

    def test_controls_have_names(self):
        unnamed = self.browser.evaluate(
            "Array.from(document.querySelectorAll('input, button, canvas:not([aria-hidden]), svg:not([aria-hidden])'))"
            ".filter((element) => !(element.textContent.trim() || element.getAttribute('aria-label')"
            " || element.labels?.[0]?.textContent.trim())).length")
        self.assertEqual(unnamed, 0)


class OtherData(PageTest):
    """Pages of scans that are unlike the demo's."""

    def setUp(self):
        super().setUp()
        self.data = self.demo.data()

    def open_variant(self):
        self.show(self.demo.write_variant(self.id() + ".html", self.data))

    def hidden(self, selector):
        return self.browser.evaluate(f"document.querySelector('{selector}').offsetParent === null")

    def test_scan_without_truth_shows_no_error(self):
        del self.data["histogram"], self.data["cloud"]["errors"]
        self.open_variant()
        for selector in ("#errors", "#error-choice"):
            self.assertTrue(self.hidden(selector), selector)
        x, y = self.middle()
        self.browser.mouse("mouseMoved", x, y)
        readout = self.browser.evaluate("document.querySelector('#readout').textContent")
        self.assertRegex(readout, r"^x \S+ {3}y \S+ {3}z \S+ mm$")
        self.assert_no_complaint()

    def test_scan_without_anything_is_still_a_page(self):
        self.data.update(figures=[], images=[], stages=[],
                         cloud={"count": 0, "origin_mm": [0, 0, 0], "step_mm": [0, 0, 0], "positions": "", "colours": "",
                                "depth_range_mm": [0, 0]})
        del self.data["histogram"]
        self.open_variant()
        for selector in ("#errors", "#stages", ".images", "#figures-heading"):
            self.assertTrue(self.hidden(selector), selector)
        x, y = self.middle()
        self.browser.drag((x, y), (x + 40, y))
        self.choose("camera")
        self.assertEqual(drawn(self.cloud().crop((200, 100, 500, 300))), 0.0)
        self.assert_no_complaint()

    def test_hostile_texts_are_shown_as_text(self):
        hostile = "</script><script>window.broken = 1</script><img src=x onerror=\"window.broken = 1\">'\"\n\u2028&lt;"
        self.data["title"] = self.data["subtitle"] = hostile
        self.data["figures"][0].update(label=hostile, unit=hostile, key=hostile)
        self.data["figures"][1].update(value=hostile)
        self.data["images"][0]["title"] = hostile
        self.data["stages"][0]["title"] = self.data["stages"][0]["stages"][0]["name"] = hostile
        self.open_variant()
        self.assertIsNone(self.browser.evaluate("window.broken"))
        for selector in ("#title", "#subtitle", "#figures th", "#figures td.unit", "#figures tr:nth-child(2) td", "figcaption",
                         "#stages h3", "#stages th"):
            self.assertEqual(self.browser.evaluate(f"document.querySelector('{selector}').textContent"), hostile, selector)
        self.assert_no_complaint()

    def test_figure_that_is_no_number_is_a_dash(self):
        self.data["figures"][0]["value"] = None
        self.open_variant()
        self.assertEqual(self.browser.evaluate("document.querySelector('#figures data').textContent"), "\u2013")
        self.assert_no_complaint()

    def test_page_may_not_fetch_and_a_broken_script_is_noticed(self):
        self.open_variant()
        self.browser.evaluate("setTimeout(() => { new Image().src = 'https://example.invalid/a.png';"
                              "fetch('https://example.invalid/b').catch(() => { window.refused = true; });"
                              "nowhere(); })")
        self.browser.wait_for("window.refused", despite_complaints=True)
        complaints = "\n".join(self.browser.complaints)
        self.assertIn("nowhere is not defined", complaints)
        self.assertIn("Content Security Policy", complaints)


if __name__ == "__main__":
    PROGRAM, CHROMIUM = sys.argv[1:3]
    SCREENSHOTS = sys.argv[3] if len(sys.argv) > 3 and not sys.argv[3].startswith("-") else None
    unittest.main(argv=sys.argv[:1] + sys.argv[4 if SCREENSHOTS else 3:])
