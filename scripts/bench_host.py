#!/usr/bin/env python3
"""bench_host.py BIN OUT [--quick]: times qlinks and opening documents, in programs of their own, with their peak memory.

BIN is the folder with qlinks, qlinks-step-reader, qprod_bench and make_step; OUT the JSON file to write. A file of few
bytes stands for up to 111,150 occurrences; another has as many different parts as large files have.
"""

import json
import os
import pathlib
import sys
import tempfile
import time

# Uses of each of four levels.
SMALL_TREE = 10
LARGE_TREE = 18
PARTS = 150


def occurrences_of(uses):
    return sum(uses**level for level in range(1, 5))


class Timer:
    def __init__(self, programs, folder, repetitions):
        self.programs = programs
        self.folder = folder
        self.repetitions = repetitions
        self.results = []

    def run(self, *command):
        """Seconds on the clock and the greatest resident set, in bytes, of the program or one that it started."""
        program = self.programs / command[0]
        begin = time.perf_counter()
        process = os.fork()
        if process == 0:
            os.chdir(self.folder)
            nothing = os.open(os.devnull, os.O_RDWR)
            os.dup2(nothing, 1)
            os.dup2(nothing, 2)
            os.execv(program, [str(program), *command[1:]])
        _, status, usage = os.wait4(process, 0)
        seconds = time.perf_counter() - begin
        code = os.waitstatus_to_exitcode(status)
        # 1: done, and something was found.
        if code not in (0, 1):
            sys.exit(f"{' '.join(command)} ended with {code}")
        return seconds, usage.ru_maxrss * 1024

    def time(self, name, size, *command):
        runs = [self.run(*command) for _ in range(self.repetitions)]
        self.results.append({
            "name": name,
            "size": size,
            "seconds": [seconds for seconds, _ in runs],
            "peakBytes": max(peak for _, peak in runs),
        })


def time_tree(timer, uses):
    size = occurrences_of(uses)
    timer.run("make_step", "tree", str(uses), "1", "tree.step")
    timer.run("make_step", "tree", str(uses), "2", "revised.step")
    timer.time("import", size, "qlinks", "import", "tree.step", "-o", "tree.qdoc")
    timer.time("positions", size, "qlinks", "positions", "tree.qdoc")
    timer.time("check", size, "qlinks", "check", "tree.qdoc")
    timer.time("update", size, "qlinks", "update", "tree.qdoc", "revised.step", "-o", "revised.qdoc")


def time_parts(timer):
    timer.run("make_step", "parts", str(PARTS), "parts.step")
    timer.time("import of parts", PARTS, "qlinks", "import", "parts.step", "-o", "parts.qdoc")
    timer.time("reader of parts", PARTS, "qlinks-step-reader", "1", "", "parts.step")


def time_opening(timer, links):
    timer.run("qprod_bench", "make", f"--size={links}", "--out=links.qdoc")
    timer.time("open", links, "qprod_bench", "open", "--in=links.qdoc")


def main(arguments):
    is_quick = "--quick" in arguments
    programs, out = (argument for argument in arguments if argument != "--quick")
    with tempfile.TemporaryDirectory(prefix="qprod_bench_") as folder:
        timer = Timer(pathlib.Path(programs).resolve(), folder, 1 if is_quick else 3)
        time_tree(timer, SMALL_TREE)
        if not is_quick:
            time_tree(timer, LARGE_TREE)
            time_parts(timer)
        time_opening(timer, 10_000 if is_quick else 100_000)
        if not is_quick:
            time_opening(timer, 1_000_000)
    pathlib.Path(out).write_text(json.dumps(timer.results, indent=1) + "\n")


if __name__ == "__main__":
    main(sys.argv[1:])
