# SPDX-License-Identifier: MIT
"""Runs ztb_bench and writes the tables of docs/performance.md.

Each family of benchmarks runs in a process of its own, its repetitions in random order, so that
what else the machine does falls on all alike; the median counts. It is one of processor time, but
for threads and whole programs. bench/operations.txt says what the tables show; what stands around
them on the page stays as it is.
"""

import argparse
import collections
import datetime
import functools
import json
import os
import pathlib
import re
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
PROGRAM = ROOT / "build/bin/ztb_bench"
OPERATIONS = ROOT / "bench/operations.txt"
PAGE = ROOT / "docs/performance.md"
BEGIN = "<!-- scripts/bench writes from here -->\n"
END = "<!-- to here -->\n"
OURS = "ztbcpp31"
REPETITIONS = 7
PEERS = {
    "libc6": "glibc",
    "libqt5core5a": "Qt",
    "libglib2.0-0": "GLib",
    "libinih1": "inih",
    "liburiparser1": "uriparser",
    "libctemplate3": "ctemplate",
    "libsodium23": "libsodium",
    "libintelrdfpmath-dev": "Intel's decimal library",
    "libboost-dev": "Boost",
}

# A target holds our time of the operation against what `who` needs for `operation`.
Target = collections.namedtuple("Target", "operation who ratio")
Operation = collections.namedtuple("Operation", "name what targets")
Section = collections.namedtuple("Section", "title text operations")


def read_sections():
    sections = []
    for line in OPERATIONS.read_text().splitlines():
        if line.startswith("## "):
            sections.append(Section(line, [], []))
        elif sections and " | " in line:
            sections[-1].operations.append(read_operation(*line.split(" | ")))
        elif sections and line:
            sections[-1].text.append(line)
    return sections


def read_operation(name, what, targets=""):
    return Operation(name, what, [read_target(name, text) for text in targets.split("; ") if text])


def read_target(name, text):
    peer, ratio = text.split(" <= ")
    who, _, operation = peer.rpartition(" of ")
    if not who:
        operation, who = (peer, OURS) if "/" in peer else (name, peer)
    return Target(operation, who, float(ratio))


def benchmark_of(name):
    return name.partition(":")[0]


def list_benchmarks():
    listing = subprocess.run([PROGRAM, "--benchmark_list_tests"], stdout=subprocess.PIPE,
                             check=True, text=True).stdout
    return {"/".join(name.split("/")[:2]) for name in listing.splitlines()}


def check_complete(operations):
    """Every benchmark has its line, and every line its benchmark."""
    for name in list_benchmarks() ^ {benchmark_of(each.name) for each in operations}:
        sys.exit(f"bench: {name} is missing, in {OPERATIONS.name} or among the benchmarks")


def measure(operations, repetitions):
    """Seconds, or the values of counters, by the operation's name and by who does it."""
    results = collections.defaultdict(dict)
    families = collections.defaultdict(list)
    for each in operations:
        families[each.name.split("/")[0]].append(each.name)
    for family, names in families.items():
        began = time.monotonic()
        for run in run_benchmarks(family, {benchmark_of(name) for name in names}, repetitions):
            take(run, names, results)
        print(f"bench: {family}, {time.monotonic() - began:.0f} s", file=sys.stderr)
    return results


def run_benchmarks(family, benchmarks, repetitions):
    output = ROOT / f"build/bench-{family}.json"
    run = subprocess.run([PROGRAM, f"--benchmark_filter=^({'|'.join(sorted(benchmarks))})/",
                          f"--benchmark_repetitions={repetitions}", "--benchmark_min_time=0.05",
                          "--benchmark_enable_random_interleaving=true",
                          f"--benchmark_out={output}"],
                         stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
    if run.returncode != 0:
        sys.exit(f"{run.stderr}bench: the benchmarks of {family} ended with {run.returncode}")
    return json.loads(output.read_text())["benchmarks"]


def take(run, names, results):
    family, operation, who, *flags = run["run_name"].split("/")
    if run.get("error_occurred"):
        print(f"bench: {run['run_name']}: {run['error_message']}", file=sys.stderr)
    if run.get("aggregate_name") != "median":
        return
    clock = "real_time" if {"real_time", "manual_time"} & set(flags) else "cpu_time"
    for name in names:
        benchmark, _, counter = name.partition(":")
        if benchmark == f"{family}/{operation}":
            unit = 1 if counter else {"ns": 1e-9, "us": 1e-6, "ms": 1e-3}[run["time_unit"]]
            results[name][who] = run[counter or clock] * unit


def quantity(name, value):
    if name.endswith("_kB"):
        return f"{value / 1000:.1f} MB"
    for unit, factor in (("ns", 1e9), ("µs", 1e6), ("ms", 1e3), ("s", 1)):
        if value * factor < 999.5:
            break
    return f"{value * factor:.3g} {unit}"


def ratio(value):
    return format(value, ".0f" if value >= 9.95 else ".2f" if value >= 0.0995 else ".2g")


def is_missed(each, results):
    """None if a peer that a target speaks of isn't there."""
    if any(target.who not in results[target.operation] for target in each.targets):
        return None
    return any(results[each.name][OURS] > target.ratio * results[target.operation][target.who]
               for target in each.targets)


def show_peer(each, target):
    other = "" if target.operation == each.name else f" of `{target.operation}`"
    return f"{'ours' if target.who == OURS else target.who}{other}"


def show_ratios(each, results):
    """Peers that targets name come first."""
    ours, held_to = results[each.name][OURS], [target.who for target in each.targets]
    peers = sorted(results[each.name].items(), key=lambda peer: (peer[0] not in held_to, peer[0]))
    shown = [f"{ratio(ours / theirs)} × {who}" for who, theirs in peers if who != OURS]
    shown += [f"{ratio(ours / results[target.operation][target.who])} × {show_peer(each, target)}"
              for target in each.targets
              if target.operation != each.name and target.who in results[target.operation]]
    return ", ".join(shown)


def make_row(each, results, note):
    targets = ", ".join(f"≤ {target.ratio:g} × {show_peer(each, target)}"
                        for target in each.targets)
    verdict = {True: "**missed**", False: "met", None: "no peer"}[is_missed(each, results)]
    return (f"| `{each.name}` | {each.what} | {quantity(each.name, results[each.name][OURS])}{note}"
            f" | {show_ratios(each, results)} | {targets} | {verdict if targets else ''} |")


def make_tables(sections, rows):
    for section in sections:
        shown = [rows[each.name] for each in section.operations if each.name in rows]
        if shown:
            head = [section.title.replace("## ", "### "), ""] + section.text
            head += [""] * bool(section.text)
            head += ["| operation | what | ours | ratios | target | |",
                     "| --- | --- | ---: | --- | --- | --- |"]
            yield "\n".join(head + shown) + "\n"


def command(*arguments):
    return subprocess.run(arguments, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                          text=True).stdout.strip()


def describe_machine():
    cpu = re.search(r"model name\s*: (.*)", pathlib.Path("/proc/cpuinfo").read_text())
    system = re.search(r'PRETTY_NAME="(.*)"', pathlib.Path("/etc/os-release").read_text())
    versions = dict(line.split() for line in command(
        "dpkg-query", "-W", "-f", "${Package} ${source:Upstream-Version}\n", *PEERS).splitlines())
    peers = ", ".join(f"{PEERS[name]} {versions[name].partition('+')[0]}"
                      for name in PEERS if name in versions)
    return (f"{os.cpu_count()} cores of {cpu.group(1) if cpu else 'an unknown make'}, "
            f"{system.group(1)}, GCC {command('g++', '-dumpfullversion')}. Peers: {peers}.")


def read_rows(tables):
    return {row.group(1): row.group(0)
            for row in re.finditer(r"^\| `(.*?)` \|.*$", tables, re.MULTILINE)}


def write_page(sections, fresh, is_whole, is_busy):
    """Puts the fresh rows into the page; they carry their date if the others are older."""
    before, _, rest = PAGE.read_text().partition(BEGIN)
    old, _, after = rest.partition(END)
    measured = re.search(r"^Measured on ([\d-]+).*", old, re.MULTILINE)
    today = str(datetime.date.today())
    if is_whole or not measured:
        beside = ", beside other work" if is_busy else ""
        rows, note, head = {}, "", f"Measured on {today}{beside}: {describe_machine()}"
    else:
        rows, head = read_rows(old), measured.group(0)
        note = "" if measured.group(1) == today else f" ({today})"
    rows.update({name: make(note) for name, make in fresh.items()})
    tables = "\n".join(make_tables(sections, rows))
    missed, met = tables.count("| **missed** |"), tables.count("| met |")
    PAGE.write_text(f"{before}{BEGIN}\n{head}\n\n{met} of {met + missed} targets are met.\n\n"
                    f"{tables}\n{END}{after}")
    warn_of_unexplained(read_rows(tables), before + after)


def warn_of_unexplained(rows, text):
    for name, row in rows.items():
        if row.endswith("| **missed** |") and f"`{name}`" not in text:
            print(f"bench: {name} misses its target, and the page doesn't say why", file=sys.stderr)


def read_ticks():
    """Those of all processors, and those in which they had nothing to do."""
    first_line = pathlib.Path("/proc/stat").read_text().partition("\n")[0]
    ticks = [int(each) for each in first_line.split()[1:9]]
    return sum(ticks), ticks[3]


def is_machine_busy():
    before, idle_before = read_ticks()
    time.sleep(2)
    after, idle_after = read_ticks()
    return idle_after - idle_before < 0.9 * (after - before)


def parse_arguments():
    parser = argparse.ArgumentParser(
        prog="scripts/bench", description="Runs the benchmarks beside their peers and writes the "
        "tables of docs/performance.md.")
    parser.add_argument("--filter", default="", metavar="REGEX",
                        help="only operations whose name has a match; their rows are written anew")
    parser.add_argument("--repetitions", type=int, default=REPETITIONS, metavar="N",
                        help=f"runs of each, of which the median counts ({REPETITIONS})")
    parser.add_argument("--dry-run", action="store_true", help="leave the page as it is")
    return parser.parse_args()


def main():
    arguments = parse_arguments()
    sections = read_sections()
    operations = [each for section in sections for each in section.operations]
    check_complete(operations)
    wanted = [each for each in operations if re.search(arguments.filter, each.name)]
    if not wanted:
        sys.exit(f"bench: no operation matches {arguments.filter}")
    others = {target.operation for each in wanted for target in each.targets}
    is_busy = is_machine_busy()
    if is_busy:
        print("bench: others use this machine; don't take the ratios for good", file=sys.stderr)
    results = measure([each for each in operations if each in wanted or each.name in others],
                      arguments.repetitions)
    rows = {each.name: functools.partial(make_row, each, results)
            for each in wanted if OURS in results[each.name]}
    for make in rows.values():
        print(make(""))
    if not arguments.dry_run:
        write_page(sections, rows, len(wanted) == len(operations), is_busy)


main()
