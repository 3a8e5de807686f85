"""Threads, a process and interpreters that come and go: what the preloaded library must not change."""

import ctypes
import json
import re
import subprocess
import sys
import zlib
from concurrent.futures import ThreadPoolExecutor

import _xxsubinterpreters


def work(number):
    text = json.dumps([{"number": number, "text": "x" * (i % 97)} for i in range(2000)])
    return zlib.crc32(zlib.compress(re.sub(r"x{50,}", "y", text).encode()))


with ThreadPoolExecutor(8) as threads:
    print(list(threads.map(work, range(8))))

for round in range(5):
    interpreter = _xxsubinterpreters.create()
    _xxsubinterpreters.run_string(interpreter, "import fractions; print(fractions.Fraction(2, 6))")
    _xxsubinterpreters.destroy(interpreter)

print(subprocess.run([sys.executable, "-c", "print(len('child' * 1000))"], capture_output=True).stdout)
ctypes.CDLL("libstdc++.so.6")
