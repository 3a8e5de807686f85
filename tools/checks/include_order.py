#!/usr/bin/env python3
"""Checks that includes in Vorn/ and platform/ never go upwards.

A file may include what stands in a lower layer, or further left in its own. A source stands where its
header does, and a source without one at the top. Usage: include_order.py REPOSITORY
"""
import pathlib
import re
import sys

LAYERS = [  # From the bottom up; within a layer from left to right.
    "platform/Export platform/OS platform/iMemoryServices platform/iAtomicServices"
    " platform/iSystemInfo platform/iReclaimable platform/iFile platform/iCriticalSection"
    " Vorn/CRC Vorn/PlayoutFCC",
    "Vorn/StdAllocator Vorn/WString Vorn/Ptr Vorn/Memory Vorn/Vector Vorn/Version Vorn/Exception",
    "platform/iTextServices platform/iFileServices platform/iThreadServices platform/iPathServices",
    "Vorn/Time Vorn/CPUInfo Vorn/Reclaimable",
    "Vorn/StringRep Vorn/SplitFlags Vorn/SplitPrivate Vorn/WStringUtils Vorn/LogTimed"
    " Vorn/LockFreeStack Vorn/Check Vorn/PathsLite",
    "Vorn/String Vorn/SubString",
    "Vorn/CriticalSection Vorn/StringManip Vorn/IniLinesPrivate Vorn/AttribValuePair",
    "Vorn/VornNamedObjects Vorn/VornIniFile Vorn/Settings",
    "Vorn/PooledObjectDebug",
]
PLACES = {name: (layer, place) for layer, names in enumerate(LAYERS)
          for place, name in enumerate(names.split())}
TOP = (len(LAYERS), 0)
COLLECTIONS = {"Vorn/Vorn", "platform/platform"}


def faults(root, path):
    name = str(path.relative_to(root).with_suffix(""))
    if name not in PLACES and path.suffix == ".h" and name not in COLLECTIONS:
        yield f"{name} has no place in any layer"
    # Sources see both halves of a layer: the order is about what headers drag along.
    own = PLACES.get(name, TOP)
    limit = own if path.suffix == ".h" else (own[0], len(PLACES))
    for included in re.findall(r'^#include "(.+)\.h"', path.read_text(), re.MULTILINE):
        if included == name:
            continue
        if not included.startswith(("Vorn/", "platform/")):
            yield f"{path.name} includes {included}.h, not spelled from the root"
        elif PLACES.get(included, TOP) >= limit:
            yield f"{path.name} includes {included}.h, which stands above it"


def main():
    root = pathlib.Path(sys.argv[1]).resolve()
    paths = sorted(p for folder in ("Vorn", "platform") for p in (root / folder).glob("*.*")
                   if p.suffix in (".h", ".cpp"))
    found = [fault for path in paths for fault in faults(root, path)]
    print("\n".join(found) or f"{len(paths)} files, no include goes upwards")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(print(__doc__) if sys.argv[1:] == ["--help"] else main())
