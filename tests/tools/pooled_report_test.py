# Tests of the pool report tool. Usage: pooled_report_test.py POOLED-REPORT
import contextlib
import os
import pathlib
import pty
import signal
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree as ElementTree

import browser

TOOL = sys.argv.pop(1)
# The page holds no script, so one around it tells what the browser made of it: how many scripts, how
# far it is too wide, and how high a bar stands in its chart, as the mean of its height and its upper edge.
PROBE = """<body><iframe width="%d" srcdoc="%s" onload="
    const page = contentDocument, box = part => part.getBoundingClientRect();
    const high = (bar, c) => (bar.width > 5) * (bar.height + c.bottom - bar.top) / c.height / 2;
    const bars = [...page.querySelectorAll('rect')].map(x => high(box(x), box(x.closest('svg'))));
    const wide = page.documentElement;
    document.body.textContent = [page.scripts.length, wide.scrollWidth - wide.clientWidth, ...bars].join(' ')
    "></iframe>"""

DATES = [f"Thu Jan {day:2} 08:05:03 2026" for day in (1, 2, 3)]
FRAMES = "Größe: <script> & 'x': maxInUse 1 Peak Demand 2.00 allocs/sec @ 3.00 " + DATES[0]
LINES = "Two\nlines"
# Pool, maxInUse and peak: the highest of a block counts, and the pool with most in use comes first.
BLOCKS = [[(FRAMES, 8, 40)], [(FRAMES, 2, 10), (LINES, 6, 0), (FRAMES, 4, 5)],
          [(LINES, 3, 5), (FRAMES, 16, 80)]]
BARS = [8 / 16, 4 / 16, 1, 40 / 80, 10 / 80, 1, 1, 3 / 6, 0, 1]


def block(date, lines):
    return "\n" + "-" * 59 + f" {date}\n\n" + "".join(
        f"{name}: maxInUse {used} Peak Demand {peak:.2f} allocs/sec @ {peak / 8:.2f} {date}\n"
        for name, used, peak in lines)


def run(*command):
    return subprocess.run(command, capture_output=True, encoding="utf-8", timeout=120)


class PooledReportTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.report, self.page = self.folder / "report.log", self.folder / "page.html"
        self.report.write_text("".join(map(block, DATES, BLOCKS)), "utf-8")
        self.table = run(TOOL, self.report, "--html", self.page).stdout

    def test_shows_all_blocks_or_the_last_and_how_large_to_make_the_pools(self):
        lines = self.table.splitlines()
        self.assertEqual([line for line in lines if line in DATES], DATES)
        self.assertEqual([line.split()[-1] for line in lines[-2:]], ["20", "8"])
        self.report.rename(self.folder / "PooledObjects.log")
        lines = run(TOOL, self.folder, "--last").stdout.splitlines()
        self.assertEqual(lines[0], DATES[-1])
        self.assertEqual(lines[3].split(), ["Two↵lines", "3", "5.00", "0.62", *DATES[-1].split()])
        self.assertEqual(lines[4].replace(FRAMES, "").split(), ["16", "80.00", "10.00", *DATES[-1].split()])
        page = ElementTree.parse(self.page)
        dates = "figure//div[@class='dates']/span"
        for place, texts in [
                ("h2", [FRAMES, "Two↵lines"]),
                ("p/b", ["20", "8"]),
                (dates, ["Jan  1 08:05", "Jan  3 08:05"] * 4)]:
            found = [tag.text for tag in page.iterfind(f".//article/{place}")]
            self.assertEqual(found, texts, place)

    def test_follows_what_is_reported(self):
        for at_terminal in False, True:
            self.report.unlink(missing_ok=True)
            ours, its = pty.openpty() if at_terminal else os.pipe()
            shown = os.fdopen(ours, "rb", buffering=0)
            running = subprocess.Popen([TOOL, "--follow", self.report], stdout=its, stderr=its)
            os.close(its)
            output = b""

            def read_up_to(text):
                nonlocal output
                while text.encode() not in output:
                    more = shown.read(4096)
                    self.assertTrue(more, f"ended before {text}, after {output}")
                    output += more

            read_up_to("report.log: No such file or directory")
            for date in DATES:
                with self.report.open("a") as report:
                    report.write(block(date, [("Frames", 1, 2)]))
                read_up_to(date)
                self.assertEqual(output.count(b"\033[?1049h"), at_terminal)
            running.send_signal(signal.SIGINT)
            with contextlib.suppress(OSError):  # A terminal that is closed ends with an error.
                while more := shown.read(4096):
                    output += more
            self.assertEqual((running.wait(), output.endswith(b"\033[?1049l")), (0, at_terminal))
            shown.close()

    def test_failures_name_the_file_and_the_reason(self):
        other = self.folder / "other.log"
        none = self.folder / "none" / "PooledObjects.log"
        for code, reason, *arguments in [
                (1, f"{other}: No such file or directory", other),
                (1, f"{none.parent}: no such folder", none),
                (1, f"{self.folder}/PooledObjects.log: No such file", self.folder),
                (1, f"{self.report}: is the report itself", self.report, "--html", self.report),
                (1, f"{other.parent}/no/p: No such", self.report, "--html", other.parent / "no" / "p"),
                (2, "--folow", "--folow")]:
            done = run(TOOL, *arguments)
            self.assertEqual(done.returncode, code, arguments)
            self.assertIn(reason, done.stderr)
        other.write_text("Frames\n" + block(DATES[0], []))
        self.assertEqual(run(TOOL, other).stderr, f"pooled-report: {other}: is not a pool report\n")

    @browser.needed
    def test_browser_draws_bars_as_high_as_their_values(self):
        page = self.page.read_text("utf-8").replace("&", "&amp;").replace('"', "&quot;")
        for width in 1200, 500:
            self.page.write_text(PROBE % (width, page), "utf-8")
            heights = map(float, browser.body_of(self.page).split("<")[0].split())
            for height, value in zip(heights, [0, 0, *BARS], strict=True):
                self.assertAlmostEqual(height, value, delta=0.002, msg=f"{width} px wide")


unittest.main()
