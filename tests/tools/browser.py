"""What a browser makes of a page."""
import re
import shutil
import subprocess
import tempfile
import unittest

BROWSER = shutil.which("chromium") or shutil.which("chromium-browser")
FLAGS = """--headless --no-sandbox --disable-gpu --disable-quic --no-first-run --disable-sync
    --disable-background-networking --disable-component-update --dump-dom""".split()

needed = unittest.skipUnless(BROWSER, "no chromium or chromium-browser on the PATH to show the page in")


def body_of(page, *flags):
    """What the page has between <body> and </body> when its scripts are done."""
    with tempfile.TemporaryDirectory() as user:
        command = [BROWSER, *FLAGS, *flags, f"--user-data-dir={user}", page.as_uri()]
        shown = subprocess.run(command, capture_output=True, encoding="utf-8", timeout=120).stdout
    return re.sub(r"(?s).*<body.*?>|</body>.*", "", shown)
