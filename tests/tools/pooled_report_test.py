# Tests of the pool report tool. Usage: pooled_report_test.py POOLED-REPORT
import pathlib
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree as ElementTree

TOOL = sys.argv.pop(1)
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
        self.lines = run(TOOL, self.report, "--html", self.page).stdout.splitlines()

    def test_shows_the_last_block_and_a_bar_for_each(self):
        self.assertEqual(self.lines[0], DATES[-1])
        self.assertEqual(self.lines[3].split()[:4], ["Two↵lines", "3", "5.00", "0.62"])
        self.assertEqual(self.lines[3][-24:], DATES[-1])
        self.assertEqual(self.lines[4].replace(FRAMES, "").split()[:3], ["16", "80.00", "10.00"])
        page = ElementTree.parse(self.page)
        self.assertEqual([tag.text for tag in page.iterfind(".//tbody//th")], [FRAMES, "Two↵lines"])
        self.assertEqual(page.find(".//g/title").text, f"{DATES[0]}: 8")
        bars = [list(map(float, (bar.get("y"), bar.get("height"), chart.get("viewBox").split()[3])))
                for chart in page.iter("svg") for bar in chart.iter("rect")]
        self.assertEqual([height / top for _, height, top in bars], BARS)
        self.assertTrue(all(y + height == top for y, height, top in bars))

    def test_failures_name_the_file_and_the_reason(self):
        other = self.folder / "other.log"
        self.assertIn(f"{other}: No such file", run(TOOL, other).stderr)
        for text, reason in ("", "empty"), ("Frames\n" + block(DATES[0], []), "no pool report"):
            other.write_text(text)
            self.assertEqual(run(TOOL, other).stderr, f"pooled-report: {other}: is {reason}\n")
        for code, *arguments in (1, other), (1, self.report, "--html", self.report), (2,):
            self.assertEqual(run(TOOL, *arguments).returncode, code, arguments)


unittest.main()
