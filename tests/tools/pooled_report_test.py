# Tests of the pool report tool. Usage: pooled_report_test.py POOLED-REPORT
import pathlib
import random
import shutil
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree as ElementTree

TOOL = sys.argv.pop(1)
BROWSER = shutil.which("chromium") or shutil.which("chromium-browser")
FLAGS = """--headless --no-sandbox --disable-gpu --disable-quic --no-first-run --disable-sync
    --disable-background-networking --disable-component-update --dump-dom""".split()
# The page holds no script, so one around it tells what the browser made of it: how many scripts,
# and how high a bar stands in its chart, as the mean of its height and its upper edge.
PROBE = """<body><iframe width="1200" srcdoc="%s" onload="
    const page = contentDocument, box = part => part.getBoundingClientRect();
    const high = (bar, c) => (bar.width > 5) * (bar.height + c.bottom - bar.top) / c.height / 2;
    const bars = [...page.querySelectorAll('rect')].map(x => high(box(x), box(x.closest('svg'))));
    document.body.textContent = [page.scripts.length, ...bars].join(' ')"></iframe>"""

DATES = [f"Thu Jan {day:2} 08:05:03 2026" for day in range(1, 13)]
MARKS = str.maketrans("\n\x1b\x9f\udcff", "↵\ufffd\ufffd\ufffd")
NAMES = ["Gone", "\nTwo\nlines\n", "Größe: <script>alert(1)</script> & 'x'", "\x1b\x9f\udcff",
         "Frames", ": maxInUse 1 Peak Demand 2.00 allocs/sec @ 3.00 " + DATES[0]]
# In a block a pool can be missing or have several lines. The last block misses the first pool.
PICK = random.Random(5)
BLOCKS = [[(name, PICK.randrange(99999), PICK.choice([0, 0.4, 77.5, 5e5]))
           for name in PICK.choices(NAMES[i // 11:], k=9)] for i in range(12)]


def block(date, lines):
    return "\n" + "-" * 59 + f" {date}\n\n" + "".join(
        f"{name}: maxInUse {used} Peak Demand {peak:.2f} allocs/sec @ {peak / 8:.2f} {date}\n"
        for name, used, peak in lines)


# The highest value in each block that has the pool: of the sorted values the last one stays.
def bars(name, field):
    return dict(sorted((i, line[field]) for i in range(12) for line in BLOCKS[i] if name in line))


NEWEST_FIRST = sorted(NAMES, key=lambda name: -[*bars(name, 1).values()][-1])
CHARTS = [(bars(name, k + 1), f".{2 * k}f") for name in NEWEST_FIRST for k in (0, 1)]


def run(*command):
    return subprocess.run(command, capture_output=True, encoding="utf-8", timeout=120)


class PooledReportTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.report, self.page = self.folder / "<Größe> & co.log", self.folder / "page.html"
        # Some processes wrote decimal commas, and crashes left zero bytes and half a line.
        text = "\0\0Cut: maxInUse 9 Pea".join(map(block, DATES, BLOCKS)).replace("7.50", "7,50")
        self.report.write_bytes(text.replace("Fra", "Fra\0").encode("utf-8", "surrogateescape"))
        self.table = run(TOOL, self.report, "--html", self.page).stdout

    def test_table_shows_the_last_block(self):
        w = max(len(name) for name, used, peak in BLOCKS[-1])
        lines = [DATES[-1], "", f"{'pool':<{w}}    maxInUse   peak allocs/s         at [ms]  date"]
        for name, used, peak in BLOCKS[-1]:
            lines.append(f"{name.translate(MARKS):<{w}}{used:>12}{peak:>16.2f}")
            lines[-1] += f"{peak / 8:>16.2f}  {DATES[-1]}" if peak else ""
        self.assertEqual(self.table.split("\n"), [*lines, ""])

    def test_failures_name_the_file_and_the_reason(self):
        other = self.folder / "other.log"
        self.assertIn(f"{other}: No such file", run(TOOL, other).stderr)
        for text, reason in ("", "empty"), ("Frames\n" + block(DATES[0], []), "no pool report"):
            other.write_text(text)
            self.assertEqual(run(TOOL, other).stderr, f"pooled-report: {other}: is {reason}\n")
        pages = [(1, self.report, "--html", out) for out in (self.report, self.folder)]
        for code, *arguments in [(1, other), (1, self.folder), (2,), (2, other, other), *pages]:
            self.assertEqual(run(TOOL, *arguments).returncode, code, arguments)

    def test_page_has_a_bar_for_each_block_of_a_pool(self):
        self.assertNotRegex(self.page.read_text("utf-8"), r"(?i)<script|src=|href=|url\(|@import")
        page = ElementTree.parse(self.page)
        self.assertEqual([tag.text for tag in (page.find(".//p"), *page.iterfind(".//tbody//th"))],
                         [str(self.report), *(name.translate(MARKS) for name in NEWEST_FIRST)])
        cells = page.findall(".//td")
        for chart, newest, (values, form) in zip(cells[::2], cells[1::2], CHARTS, strict=True):
            texts = {i: format(value, form) for i, value in values.items()}
            top = format(max(1, *values.values()), form)
            self.assertEqual((chart.find(".//span").text, newest.text), (top, texts[max(texts)]))
            self.assertEqual("older" in newest.get("class"), 11 not in texts)
            self.assertEqual([(bar[0].text, bar[2].get("x")) for bar in chart.iter("g")],
                             [(f"{DATES[i]}: {texts[i]}", f"{10 * i + 1}") for i in texts])

    @unittest.skipUnless(BROWSER, "no chromium or chromium-browser on the PATH to show the page in")
    def test_browser_draws_bars_as_high_as_their_values(self):
        page = self.page.read_text("utf-8").replace("&", "&amp;").replace('"', "&quot;")
        self.page.write_text(PROBE % page, "utf-8")
        dom = run(BROWSER, *FLAGS, f"--user-data-dir={self.folder}/user", self.page.as_uri()).stdout
        heights = map(float, dom.split("<body>")[1].split("<")[0].split())
        expected = [value / max(1, *bar.values()) for bar, form in CHARTS for value in bar.values()]
        for height, value in zip(heights, [0, *expected], strict=True):
            self.assertAlmostEqual(height, value, delta=0.002)


unittest.main()
