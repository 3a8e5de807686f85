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
    "lock": 'CriticalSection {name = "lock", owner = 1, depth = 2}',
    "guard": 'EasyCrit {name = "lock", owner = 1, depth = 2}',
    "line": '"key = value"',
    "changed": '"key=new"',
    "ini": 'VornIniFile with 2 sections '
           '{[Audio] key = "new", [Video] key  = " value", [Video] = "; comment"}',
    "section": 'SectionIterator on [Audio] {[Audio] key = "new"}',
    "end": "SectionIterator (not valid)",
    "settings": 'Settings {first = "1", [Video] width = "720", [Video] height = "576"}',
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


def output(*command, **environment):
    return subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, timeout=300,
                          env=dict(os.environ, LC_ALL="C.UTF-8", **environment)).stdout


def gdb(program, *commands):
    return output("gdb", "-nx", "-batch", *(f"-ex={c}" for c in commands), program)


def lldb(program, *commands):
    # Debian's does not find its own module, and follows the PATH to its Python.
    prefix = pathlib.Path(shutil.which("lldb")).resolve().parent.parent
    modules = next(map(str, prefix.glob("lib/python3.*/dist-packages")), "")
    arguments = (argument for c in commands for argument in ("-o", c))
    return output("lldb", "--no-lldbinit", "--batch", *arguments, program, PYTHONPATH=modules, PATH=os.defpath)


def seen_by_gdb(printers, program):
    commands = [c for e in EXPECTED for c in (f"echo >{e}\\n", f"print {e}")]
    found = gdb(program, f"source {printers}", "break stop", "run", "up", *commands)
    shown = dict(re.findall(r"^>(.*)\n\$\d+ = (.*)$", found, re.M))
    return {e: text.replace(" = {", " {") for e, text in shown.items()}


def seen_by_lldb(printers, program):
    found = lldb(program, f"command script import {printers}", "breakpoint set -n stop", "run", "up",
                 *(f"frame variable {e}" for e in EXPECTED))
    shown = {}
    for part in found.split("(lldb) frame variable ")[1:]:
        expression, text = part.rstrip().split("\n", 1)
        text = text.split(f" {expression} = ", 1)[-1]
        text = re.sub(r"\n *\}", "}", re.sub(r"\{\n +", "{", text))
        shown[expression] = re.sub(r"\[\d+\] = ", "", re.sub(r"\n +", ", ", text).replace(": {", " {"))
    return shown


source, libraries = map(pathlib.Path, sys.argv[1:])
debuggers = [seen for seen, run, command, end in (
    (seen_by_gdb, gdb, "run", "exited normally"), (seen_by_lldb, lldb, "run", "exited with status = 0"),
) if shutil.which(run.__name__) and end in run("/bin/true", command)]
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
        for seen in debuggers:
            found = seen(source / "tools/debuggers/vorn.py", program)
            for expression, expected in EXPECTED.items():
                text = re.sub(r"0x[0-9a-f]{3,}( <.*?>)?", "0x...", found.get(expression, "nothing"))
                if text.removeprefix("0x... ") != expected:
                    print(f"{compiler}, {seen.__name__}: {expression} shows\n{text}\nnot\n{expected}")
                    failed = True
sys.exit(failed)
