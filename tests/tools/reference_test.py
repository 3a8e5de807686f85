"""Looks at the pages that tools/reference made, in a browser. Usage: reference_test.py HTML_FOLDER"""
import html
import pathlib
import re
import sys
import unittest

import browser

PAGES = pathlib.Path(sys.argv.pop(1)).resolve()
# What the page is called, whether its pictures are there, what the tree beside it has, and what a
# reader finds who types the word.
PROBE = """<script>addEventListener('load', () => setTimeout(() => {
    const field = document.getElementById('MSearchField');
    searchBox.OnSearchFieldFocus(true);
    field.value = '%s';
    searchBox.Search();
    setTimeout(() => {
        const results = document.getElementById('MSearchResults');
        const texts = [document.title, ...[...document.images].map(x => x.naturalWidth > 0),
            document.getElementById('nav-tree').innerText,
            (results.contentDocument?.body || results).innerText];
        document.body.textContent = texts.join('|');
    }, 2000);
}, 2000))</script>"""


class Reference(unittest.TestCase):
    def test_links_lead_somewhere(self):
        pages = {path.name: path.read_text("utf-8") for path in PAGES.glob("*.html")}
        for name, text in pages.items():
            for link in set(re.findall(r'(?:href|src)="([^":]*)"', text)):
                file, _, anchor = html.unescape(link).partition("#")
                self.assertTrue((PAGES / file).exists(), f"{name} links to {link}")
                if anchor and (file or name) in pages:
                    self.assertRegex(pages[file or name], f'(id|name)="{re.escape(anchor)}"',
                                     f"{name} links to {link}")

    @browser.needed
    def test_pages_show_and_searching_finds(self):
        for page, title, word, found in [
                ("index", "Vorn", "guide", "Guide"),
                ("md_docs_guide", "Guide", "getSec", "getSection"),
                ("md_docs_pool_report", "The pool report", "makeP", "makePtr")]:
            probe = PAGES / f"probe_{page}.html"
            probe.write_text((PAGES / f"{page}.html").read_text("utf-8") + PROBE % word, "utf-8")
            self.addCleanup(probe.unlink)
            shown = browser.body_of(probe, "--allow-file-access-from-files", "--virtual-time-budget=20000")
            self.assertIn(title, shown.split("|")[0], page)
            self.assertNotIn("false", shown.split("|"), f"a picture of {page} is missing")
            self.assertIn("The INI format", shown.split("|")[-2], page)
            self.assertIn(found, shown.split("|")[-1], f"{page}, searching {word}")


unittest.main()
