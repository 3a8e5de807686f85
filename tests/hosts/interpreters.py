"""Threads, a process and interpreters that come and go: what the preloaded library must not change."""

import ctypes
import json
import re
import sqlite3
import subprocess
import sys
import threading
import zlib

import _xxsubinterpreters

results = {}


def work(number):
    text = json.dumps([{"number": number, "text": "x" * (i % 97)} for i in range(2000)])
    results[number] = zlib.crc32(zlib.compress(re.sub(r"x{50,}", "y", text).encode()))


threads = [threading.Thread(target=work, args=(number,)) for number in range(8)]
for thread in threads:
    thread.start()
for thread in threads:
    thread.join()
print(sorted(results.items()))

for round in range(5):
    interpreter = _xxsubinterpreters.create()
    _xxsubinterpreters.run_string(interpreter, "import fractions; print(fractions.Fraction(2, 6))")
    _xxsubinterpreters.destroy(interpreter)

table = sqlite3.connect(":memory:")
table.execute("create table numbers (number)")
table.executemany("insert into numbers values (?)", ((i,) for i in range(10_000)))
print(table.execute("select sum(number) from numbers").fetchone())

print(subprocess.run([sys.executable, "-c", "print(len('child' * 1000))"], capture_output=True).stdout)
ctypes.CDLL("libstdc++.so.6")
