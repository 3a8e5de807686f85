#!/usr/bin/env python3
"""The code blocks of documents, compiled and run, and what they lead to.

doc_blocks.py sources FOLDER DOCUMENT...: writes each cpp block to a file, and prints its name
doc_blocks.py follow FOLDER TOOLS DOCUMENT: does in FOLDER what the console blocks show, each command
    after "$ ". A block with a file's name is written, or compared where the file is there.
doc_blocks.py compare ROOT DOCUMENT: of the blocks with a file's name each is that file below ROOT.
doc_blocks.py names ROOT DOCUMENT...: each name of 17 letters or more, which is then one of ours, stands
    in the sources below ROOT, and each link leads somewhere."""
import os
import pathlib
import re
import shutil
import subprocess
import sys


def blocks(document):
    text = pathlib.Path(document).read_text(encoding="utf-8")
    return re.findall(r"^```(\w*) ?(.*)\n((?:.*\n)*?)```$", text, re.MULTILINE)


def sources(folder, *documents):
    for document in documents:
        for number, (language, _, text) in enumerate(blocks(document), 1):
            if language == "cpp":
                path = pathlib.Path(folder, f"doc_{pathlib.Path(document).stem}_{number}.cpp")
                if not path.exists() or path.read_text(encoding="utf-8") != text:
                    path.write_text(text, encoding="utf-8")
                print(path)


def expect(what, expected, found):
    if found != expected:
        sys.exit(f"{what}:\n{found}\nThe document shows:\n{expected}")


def compare(root, document):
    for _, name, text in blocks(document):
        if name:
            expect(name, text, pathlib.Path(root, name).read_text(encoding="utf-8"))


def follow(folder, tools, document):
    shutil.rmtree(folder, ignore_errors=True)
    os.makedirs(folder)
    os.environ["PATH"] = tools + os.pathsep + os.environ["PATH"]
    for language, name, text in blocks(document):
        path = pathlib.Path(folder, name)
        sessions = re.split(r"^\$ ", text, flags=re.MULTILINE)[1:] if language == "console" else []
        for session in sessions:
            command, _, shown = session.partition("\n")
            expect(command, shown, subprocess.run(command, shell=True, cwd=folder, text=True,
                                                  capture_output=True, check=True).stdout)
        if name and path.exists():
            expect(name, text, path.read_bytes().decode().replace("\r\n", "\n"))
        elif name:
            path.write_text(text, encoding="utf-8")


def anchors(document):
    headings = re.findall(r"^#+ (.*)$", document.read_text(encoding="utf-8"), re.MULTILINE)
    return {re.sub(r"[^\w -]", "", heading).lower().replace(" ", "-") for heading in headings}


def names(root, *documents):
    sources = "".join(path.read_text(encoding="utf-8") for folder in ("Vorn", "cmake", "platform", "tests")
                      for path in pathlib.Path(root, folder).rglob("*")
                      if path.suffix in (".cmake", ".cpp", ".h", ".py"))
    for document in map(pathlib.Path, documents):
        text = document.read_text(encoding="utf-8")
        for name in re.findall(r"`([A-Za-z]\w{16,})…?`", text):
            if name not in sources:
                sys.exit(f"{document}: nothing has the name {name}")
        for link, anchor in re.findall(r"\]\(([^)#:]*)(?:#([^)]*))?\)", text):
            target = document.parent / link if link else document
            if not target.exists() or (anchor and anchor not in anchors(target)):
                sys.exit(f"{document}: there is no {link}#{anchor}")


if sys.argv[1:] == ["--help"]:
    sys.exit(print(__doc__))
{"sources": sources, "follow": follow, "compare": compare, "names": names}[sys.argv[1]](*sys.argv[2:])
