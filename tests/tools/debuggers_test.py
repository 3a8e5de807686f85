"""debuggers_test.py SOURCE LIBRARIES: what gdb and lldb show of tests/programs/debuggee.cpp, built by
the compilers that are there, beside libraries without debug information."""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

EXPECTED = {
    "empty": '""',
    "text": r'"view\n"',
    "view": '"ie"',
    "byte": "StringChar {index = 3, byte = 119}",
    "rep": 'StringRep (count 0, capacity 4) {text = "rep"}',
    "wide": 'L"grün"',
    "utf8": '"grün"',
    "fields": 'Vector of length 2, capacity 4 {"a", "b"}',
    "number": "Vorn::Ptr<int> (count 2) {object = 0x...}",
    "*number": "5",
    "clip->frames": "250",
    "none": "Vorn::Ptr<int> (null)",
    "lock": 'CriticalSection {name = "lock", owner = 1, depth = 1}',
    "guard": 'EasyCrit {name = "lock", owner = 1, depth = 1}',
    "line": '"key = value"',
    "changed": '"key=new"',
    "ini": 'VornIniFile with 2 sections {[A] key = "new", [V] key  = " value", [V] = "; comment"}',
    "section": 'SectionIterator on [A] {[A] key = "new"}',
    "end": "SectionIterator (not valid)",
    "settings": 'Settings {first = "", [V] width = "720", [V] height = "576"}',
    "unset": "Settings",
    "failure": 'RuntimeError {msg = "message", file = "file", line = 7}',
    "caught": 'RuntimeError {msg = "message", file = "file", line = 7}',
    "names": "NamedObjectsNamespace names with 1 keys {[N12_GLOBAL__N_14ClipE] clip = 0x...}",
    "pool": 'LoggingTraitsBase {name = "pool", inUse = 0, maxInUse = 0, allocsInInterval = 0, '
            "intervalStartMs = 0, peakRatePerMs = 0}",
    "stack": "Stack with 1 nodes {head = 0x...}",
    "released": "<error: released text>",
    "unreadable": "<error: Cannot access memory at address 0x1>",
    "torn": "<error: not a vector>",
    "dangling": "<error: Cannot access memory at address 0x0>",
    "wild": 'VornIniFile with 1 sections {error = "Cannot access memory at address 0x1"}',
}


def run(program, *command, **environment):
    return subprocess.run([*command, program], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, timeout=300,
                          env=dict(os.environ, LC_ALL="C.UTF-8", **environment)).stdout


def gdb(program):
    asked = [f"-ex={c}" for e in EXPECTED for c in (f"echo >{e}\\n", f"print {e}")]
    found = run(program, "gdb", "-nx", "-batch", f"-ex=source {printers}", "-ex=break stop", "-ex=run",
                "-ex=up", *asked)
    shown = dict(re.findall(r"^>(.*)\n\$\d+ = (.*)$", found, re.M))
    return {e: text.replace(" = {", " {") for e, text in shown.items()}


def lldb(program):
    # Debian's does not find its own module, and follows the PATH to its Python.
    prefix = pathlib.Path(shutil.which("lldb")).resolve().parent.parent
    modules = next(map(str, prefix.glob("lib/python3.*/dist-packages")), "")
    commands = [f"command script import {printers}", "breakpoint set -n stop", "run", "up"]
    commands += [f"frame variable {e}" for e in EXPECTED]
    found = run(program, "lldb", "--no-lldbinit", "--batch", *(a for c in commands for a in ("-o", c)),
                PYTHONPATH=modules, PATH=os.defpath)
    shown = dict(part.rstrip().split("\n", 1) for part in found.split("(lldb) frame variable ")[1:])
    for e, text in shown.items():
        text = re.sub(r"\n *\}", "}", re.sub(r"\{\n +", "{", text.split(f" {e} = ", 1)[-1]))
        text = re.sub(r"\n +", ", ", text).replace(": {", " {")
        shown[e] = re.sub(r"\[\d+\] = ", "", text)
    return shown


source, libraries = map(pathlib.Path, sys.argv[1:])
printers = source / "tools/debuggers/vorn.py"
debuggers = [debugger for debugger, batch in ((gdb, ["-batch", "-ex=run"]), (lldb, ["-b", "-o", "run"]))
             if shutil.which(debugger.__name__) and re.search(
                 "exited (normally|with status = 0)", run("/bin/true", debugger.__name__, *batch))]
if not debuggers:
    sys.exit(77)
failed = False
with tempfile.TemporaryDirectory() as folder:
    for library in libraries.glob("libvorn*.so*"):
        shutil.copy(library, folder, follow_symlinks=False)
        if not library.is_symlink():
            subprocess.run(["strip", "-g", f"{folder}/{library.name}"], check=True)
    for compiler in filter(shutil.which, ("g++", "clang++")):
        program = f"{folder}/{compiler}"
        subprocess.run([compiler, "-std=c++20", "-g", "-O0", f"-I{source}", "-o", program,
                        f"{source}/tests/programs/debuggee.cpp", f"-L{folder}", "-lvorn",
                        "-lvornplatform", f"-Wl,-rpath,{folder}"], check=True)
        for debugger in debuggers:
            found = debugger(program)
            for expression, expected in EXPECTED.items():
                text = re.sub(r"0x[0-9a-f]{3,}( <.*?>)?", "0x...", found.get(expression, "nothing"))
                if text.removeprefix("0x... ") != expected:
                    print(f"{compiler}, {debugger.__name__}: {expression} shows\n{text}\nnot\n{expected}")
                    failed = True
sys.exit(failed)
