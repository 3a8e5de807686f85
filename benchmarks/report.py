#!/usr/bin/env python3
"""Runs the benchmarks of a build folder and prints their figures beside the targets.

Usage: report.py BUILD_FOLDER [--quick] [--json OUT]

Figures are medians of CPU time, of wall time where threads contend. The repetitions of whatever is
compared are interleaved, so that a slow moment of the machine meets all of it.
"""
import argparse
import collections
import datetime
import json
import os
import pathlib
import platform
import re
import statistics
import subprocess
import tempfile

# The braces stand for who does the work: ours, then peers, of which the best one counts. "<=" bounds
# our time by theirs, ">=" our speed; "-" only informs. A floor is what the contract asks for at least:
# the same calls of the platform, made bare. "No slower" is 1.05, which two runs of the
# same code may differ by. Figures without a peer are bounded themselves.
TARGETS = """
build and drop, 100 B           | buildAndDrop<{}>/100        | String | std::string | <= 1.75
copy and drop, 10 B             | copyAndDrop<{}>/10          | String | QByteArray  | <= 3.0
copy and drop, 100 B            | copyAndDrop<{}>/100         | String | QByteArray  | <= 3.0
copy and drop, 100 B            | copyAndDrop<{}>/100         | String | std::string | -
copy and drop, 100 B            | {}                          | copyAndDrop<String>/100 | copyHandle<floor> | <= 1.15
copy and drop, 1 MB             | copyAndDrop<{}>/1000000     | String | QByteArray  | <= 3.0
copy and drop, 1 MB             | copyAndDrop<{}>/1000000     | String | std::string | <= 0.65
append a character              | appendCharacters<{}>/10000  | String | std::string | <= 1.7
append a character              | appendCharacters<{}>/10000  | String | QByteArray  | <= 1.0
append 16 B to 1 KB             | appendPieces<{}>/1000       | String | std::string | <= 2.2
append 16 B to 1 KB             | appendPieces<{}>/1000       | String | QByteArray  | <= 1.0
copy, write a character, 100 B  | copyAndWrite<{}>/100        | String | QByteArray  | <= 1.9
copy, write a character, 10 KB  | copyAndWrite<{}>/10000      | String | QByteArray  | <= 2.2
concatenate 2 x 100 B           | concatenate<{}>/100         | String | std::string | <= 1.25
find in 1 KB, rare letter       | find/rare_{}/1000           | String | strstr memmem | <= 1.05
find in 1 KB, frequent letter   | find/frequent_{}/1000       | String | strstr memmem | <= 1.05
find in 1 KB, repeated letter   | find/repeated_{}/1000       | String | strstr memmem | <= 1.05
substitute all, 1 KB            | substitute<{}>/1000         | String | std::string | <= 1.3
substitute all, 1 MB            | substitute<{}>/1000000      | String | std::string | <= 1.3
substitute all, 1 MB            | substitute<{}>/1000000      | String | Abseil      | -
substitute, 1 MB at once        | substitute<{}>/1000000      | String | 1000x1KB    | <= 1.3
split a 1 MB line               | split<{}>/1000000           | String | QByteArray  | <= 1.0
split a 1 MB line               | split<{}>/1000000           | String | Abseil      | -
Ptr copy                        | copyHandle<{}<int>>         | Vorn::Ptr | std::shared_ptr | <= 1.15
Ptr copy                        | {}                          | copyHandle<Vorn::Ptr<int>> | copyHandle<floor> | <= 1.15
Ptr construct                   | constructHandle<{}<int>>    | Vorn::Ptr | std::shared_ptr | <= 1.4
Ptr construct                   | {}                | constructHandle<Vorn::Ptr<int>> | constructHandle<floor> | <= 1.15
lock, free                      | lock<{}>                    | Ours | std::recursive_mutex | -
lock, free                      | lock<{}>                    | Ours | Floor | <= 1.15
lock, already held              | lockHeld<{}>                | Ours   | std::recursive_mutex | -
lock, already held              | lockHeld<{}>                | Ours   | HeldFloor | <= 1.15
lock, two threads contending    | lock<{}>/real_time/threads:2 | Ours | std::recursive_mutex | <= 1.2
new + delete, pair of 64 B      | {} pair/64                  | vorn   | glibc       | <= 1.25
new + delete, pair of 64 B      | {} pair/64                  | vorn   | mimalloc    | -
new + delete, churn             | {} churn                    | vorn   | glibc       | <= 0.6
new + delete, churn             | {} churn                    | vorn   | mimalloc    | -
new + delete, freed elsewhere   | {} freedElsewhere/process_time | vorn | glibc      | <= 1.25
new + delete, freed elsewhere   | {} freedElsewhere/process_time | vorn | mimalloc   | -
INI load, 10 MB                 | {} sample/10000000            | Ours@vorn | FULL     | >= 2.5
INI load, 10 MB                 | {} sample/10000000            | Ours@vorn | LAZY     | >= 8
INI load, 100 MB                | {} sample/100000000           | Ours@vorn | FULL     | >= 2.5
INI load, 100 MB                | {} sample/100000000           | Ours@vorn | LAZY     | >= 8
INI load and drop, 100 KB       | iniLoad<{}>/100000 | Ours   | PARSERS     | >= 2.5
INI load and drop, 1 KB         | iniLoad<{}>/1000   | Ours   | PARSERS     | >= 1.3
INI peak memory, B/B of 10 MB   | {} sample peak/10000000            | Ours@vorn |          | <= 4.2
INI peak memory, B/B of 100 MB  | {} sample peak/100000000           | Ours@vorn |          | <= 4.2
INI save, 10 MB                 | iniSave<{}>        | Ours   | GLib        | >= 3
INI save, 10 MB                 | iniSave<{}>        | Ours   | Boost       | >= 4
INI lookup, 10 MB               | iniFind<{}>        | Ours   | GLib        | <= 3
INI lookup, 10 MB               | iniFind<{}>        | Ours   | Qt          | <= 0.8
Settings load, 10 MB            | {} sample/10000000            | Settings@vorn | FULL | >= 8
Settings load and drop, 100 KB  | iniLoad<{}>/100000 | Settings | PARSERS   | -
Settings load and drop, 1 KB    | iniLoad<{}>/1000   | Settings | PARSERS   | >= 2
Settings peak memory, B/B       | {} sample peak/10000000            | Settings@vorn |      | <= 2.5
Settings lookup, 10 MB          | iniFind<{}>        | Settings | GLib      | <= 1
Settings save, 10 MB            | iniSave<{}>        | Settings | GLib      | -
Settings load, change, save     | iniChange<{}>      | Settings | GLib      | >= 4
registry, find among 10 keys    | findObject<{}>/10           | Ours   | Map         | -
registry, find among 10 keys    | findObject<{}>/10           | Ours   | Floor       | <= 1.15
registry, find among 1000       | findObject<{}>/1000         | Ours   | Map         | -
registry, find among 100,000    | findObject<{}>/100000       | Ours   | Map         | -
registry, the walk, ns a key    | findObject<{}>/walk         | Ours   |             | <= 2
CRC, 16 B                       | check/{}/16                 | block  | zlib        | <= 0.5
CRC, 1 KB                       | check/{}/1000               | block  | zlib        | >= 1.6
CRC, 1 MB                       | check/{}/1000000            | block  | zlib        | >= 1.2
pool pop and push, one thread   | {}/threads:1                | popAndPush | readClockTwice | -
pool pop and push, one thread   | {}/threads:1                | popAndPush | countAndReadClock | <= 1.15
pool pop and push, four threads | {}/threads:4                | popAndPush | countAndReadClock | <= 1.15
pools of four, beside one       | {}                          | popAndPush/threads:4 | popAndPush/threads:1 | <= 1.05
playout code lookup             | playout/{}                  | lookup | switch      | <= 1.05
"""
PARSERS = ["GLib", "Inih", "SimpleIni", "Boost"]
# A process of its own over each allocator, the C library's and the one that ours brings.
PROGRAMS = {name: [f"{name}@glibc", f"{name}@vorn"] for name in PARSERS + ["Qt"]}
GROUPS = {"PARSERS": PARSERS, "LAZY": PROGRAMS["Qt"],
          "FULL": [program for name in PARSERS for program in PROGRAMS[name]]}

# Cost by size: nanoseconds a byte or a key.
GROWTH = ["buildAndDrop<String>", "buildAndDrop<std::string>", "copyAndDrop<String>",
          "copyAndDrop<std::string>", "appendCharacters<String>", "appendCharacters<std::string>",
          "substitute<String>", "substitute<std::string>", "split<String>", "split<QByteArray>",
          "iniLoad<Ours>", "Ours@vorn sample", "iniLoad<Settings>", "findObject<Ours>", "findObject<Map>"]
# Time by size: the worst growth from one size to its double.
SCALE = {"lineEnds": 1 << 24, "brackets": 1 << 24, "oneLine": 1 << 24, "randomBytes": 1 << 24,
         "settings": 1_000_000, "sections": 100_000}
GROWTH_TARGET = 2.3

samples = collections.defaultdict(list)


def run_benchmarks(program, repetitions, seconds, skip="", prefix=""):
    with tempfile.NamedTemporaryFile() as out:
        subprocess.run(
            [program, f"--benchmark_repetitions={repetitions}", f"--benchmark_min_time={seconds}",
             "--benchmark_enable_random_interleaving=true", f"--benchmark_out={out.name}"]
            + ([f"--benchmark_filter=-{skip}"] if skip else []),
            check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
            env=os.environ | {"XDG_STATE_HOME": "/nonexistent"})  # No pool is to be reported.
        for run in json.load(out)["benchmarks"]:
            if run["run_type"] != "iteration" or run.get("error_occurred"):
                continue
            clock = "real_time" if "/real_time" in run["name"] else "cpu_time"
            scale = {"ns": 1, "us": 1e3, "ms": 1e6}[run["time_unit"]]
            samples[prefix + run["name"]].append(run[clock] * scale)


def load_files(folder, kind, size, programs, rounds):
    """Each load in a process of its own, the programs one after the other in each round.

    A first run of each is not counted: a virtual machine gives free memory back to its host, and who
    comes next would pay for getting it again.
    """
    with tempfile.NamedTemporaryFile(dir="/dev/shm") as file:
        subprocess.run([folder / "ini_load_vorn", kind, file.name, str(size)], check=True)
        for program in programs * rounds:
            parser, allocator = program.split("@")
            for _ in range(2):
                run = subprocess.run([folder / f"ini_load_{allocator}", parser, file.name],
                                     stdout=subprocess.PIPE, check=False)
            if run.returncode == 0:
                seconds, peak = map(float, run.stdout.split())
                samples[f"{program} {kind}/{size}"].append(seconds * 1e9)
                samples[f"{program} {kind} peak/{size}"].append(peak / size)


def shown(figure, name):
    if figure is None:
        return "-"
    if re.search("peak|walk", name):
        return f"{figure:.2f}"
    for unit, factor in (("s", 1e9), ("ms", 1e6), ("us", 1e3)):
        if figure >= factor:
            return f"{figure / factor:.3g} {unit}"
    return f"{figure:.3g} ns"


def compare(work, ours_name, peer_names, target, medians):
    """One line of the table, or nothing where a figure is missing."""
    ours = medians.get(work.format(ours_name))
    peers = [name for group in peer_names.split() for name in GROUPS.get(group, [group])]
    known = [(medians[work.format(peer)], peer) for peer in peers if work.format(peer) in medians]
    if ours is None or (peers and not known):
        return None
    theirs, peer = min(known, default=(None, "-"))
    relation, _, factor = target.partition(" ")
    ratio = theirs / ours if relation == ">=" else ours / (theirs or 1.0)
    ratio = round(ratio, 2 if ratio >= 0.1 else 5)  # What is shown is what counts.
    verdict = "" if not factor else "met" if (
        ratio >= float(factor) if relation == ">=" else ratio <= float(factor)) else "MISSED"
    return [shown(ours, work), peer, shown(theirs, work), f"{ratio:g}", target, verdict]


def add_derived(medians):
    if "substitute<String>/1000" in medians:
        medians["substitute<1000x1KB>/1000000"] = 1000 * medians["substitute<String>/1000"]
    few, many = (medians.get(f"findObject<Ours>/{keys}") for keys in (10, 1000))
    if few and many:
        medians["findObject<Ours>/walk"] = (many - few) / 990


def by_size(name, medians):
    pattern = re.compile(re.escape(name) + r"/(\d+)$")
    return sorted((int(found[1]), figure) for key, figure in medians.items()
                  if (found := pattern.match(key)))


def print_table(header, lines):
    widths = [max(map(len, column)) for column in zip(header, *lines)]
    for line in [header, ["-" * width for width in widths], *lines]:
        print(" | ".join(cell.ljust(width) for cell, width in zip(line, widths)).rstrip())
    print()


def print_report(medians):
    lines = []
    for row in TARGETS.strip().splitlines():
        title, *rest = (cell.strip() for cell in row.split("|"))
        cells = compare(*rest, medians)
        if cells:
            lines.append([title] + cells)
        else:
            print(f"Not measured: {title} ({rest[2]})")
    print_table(["work", "ours", "peer", "peer's", "ratio", "target", ""], lines)

    sizes = [10 ** n for n in range(1, 9)]
    print_table(["ns a byte or key, by size"] + [f"10^{n}" for n in range(1, 9)],
                [[name] + [f"{known[size] / size:.3g}" if size in known else "" for size in sizes]
                 for name in GROWTH if (known := dict(by_size(name, medians)))])

    lines = []
    for name in [f"{ours}@vorn {kind}" for kind in SCALE for ours in ("Ours", "Settings")
                 ] + ["findObject<Ours>"]:
        known = [pair for pair in by_size(name, medians) if pair[0] > 20_000]
        if len(known) < 3:
            continue
        growth = max(after / before for (_, before), (_, after) in zip(known, known[1:]))
        lines.append([name, *(shown(figure, name) for _, figure in known), f"{known[-1][0]:,}",
                      f"{growth:.2f}", "met" if growth <= GROWTH_TARGET else "MISSED"])
    print_table(["time by size", "a quarter", "a half", "whole", "of", f"<= {GROWTH_TARGET}", ""],
                lines)


def machine(folder, quick):
    cpu = re.search(r"model name\s*: (.*)", pathlib.Path("/proc/cpuinfo").read_text())
    compiler = re.search(r"CMAKE_CXX_COMPILER:\w+=(.*)", (folder / "CMakeCache.txt").read_text())[1]
    version = subprocess.run([compiler, "--version"], capture_output=True, text=True, check=True)
    return {"cpu": cpu[1] if cpu else platform.machine(), "cores": os.cpu_count(),
            "system": f"{platform.system()} {platform.release()}",
            "compiler": version.stdout.splitlines()[0],
            "date": datetime.datetime.now().isoformat(" ", "minutes"),
            "load": os.getloadavg()[0], "quick": quick}


def main():
    options = argparse.ArgumentParser()
    options.add_argument("folder", type=pathlib.Path)
    options.add_argument("--quick", action="store_true")
    options.add_argument("--json")
    args = options.parse_args()
    about = machine(args.folder, args.quick)
    print("".join(f"{name}: {value}\n" for name, value in about.items()))

    programs = args.folder / "bin"
    rounds, seconds = (3, 0.03) if args.quick else (5, 0.1)
    run_benchmarks(programs / "vorn_benchmarks", rounds, seconds,
                   "findObject.*(25|50|100)000$" if args.quick else "")
    for program in sorted(programs.glob("memory_*")) * rounds:
        run_benchmarks(program, 1, seconds, prefix=program.name.partition("_")[2] + " ")
    everyone = ["Ours@vorn", "Settings@vorn"] + [program for both in PROGRAMS.values() for program in both]
    load_files(programs, "sample", 10_000_000, everyone, rounds)
    if not args.quick:
        load_files(programs, "sample", 100_000_000, everyone, 3)
    for kind, size in SCALE.items():
        for part in 4, 2, 1:
            load_files(programs, kind, size // part, ["Ours@vorn", "Settings@vorn"], rounds)

    medians = {name: statistics.median(figures) for name, figures in samples.items()}
    add_derived(medians)
    print_report(medians)
    if args.json:
        with open(args.json, "w") as out:
            json.dump({"machine": about, "samples": samples}, out, indent=1)


if __name__ == "__main__":
    main()
