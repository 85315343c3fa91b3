#!/usr/bin/env python3
"""bench_host.py BIN OUT [--quick]: times qlinks and opening documents, in programs of their own, with their peak memory.

BIN is the folder with qlinks, qprod_bench, make_step and read_step; OUT the JSON file to write. A file of few bytes
stands for up to 111,150 occurrences; another has as many different parts as large files have. What a program prints is
looked at: one that did something else than it was asked for ends the run.
"""

import json
import os
import pathlib
import re
import sys
import tempfile
import time

# Uses of each of four levels.
SMALL_TREE = 10
LARGE_TREE = 18
PARTS = 160


def occurrences_of(uses):
    return sum(uses**level for level in range(1, 5))


class Timer:
    def __init__(self, programs, folder, repetitions):
        self.programs = programs
        self.folder = folder
        self.repetitions = repetitions
        self.results = []

    def run(self, *command, says=""):
        """Seconds on the clock, the greatest resident set, in bytes, of the program or one that it started, and what it
        printed, which has to match the pattern `says`."""
        program = self.programs / command[0]
        with tempfile.TemporaryFile() as out:
            begin = time.perf_counter()
            process = os.fork()
            if process == 0:
                try:
                    os.chdir(self.folder)
                    os.dup2(out.fileno(), 1)
                    os.execv(program, [str(program), *command[1:]])
                finally:
                    os._exit(127)
            _, status, usage = os.wait4(process, 0)
            seconds = time.perf_counter() - begin
            out.seek(0)
            text = out.read().decode()
        code = os.waitstatus_to_exitcode(status)
        if code != 0:
            sys.exit(f"{' '.join(command)} ended with {code}")
        if not re.search(says, text, re.MULTILINE):
            sys.exit(f"{' '.join(command)} printed nothing like {says}, but {text[-200:]}")
        return seconds, usage.ru_maxrss * 1024, text

    def time(self, name, size, *command, says):
        runs = [self.run(*command, says=says) for _ in range(self.repetitions)]
        self.keep(name, size, [seconds for seconds, _, _ in runs], max(peak for _, peak, _ in runs))

    def keep(self, name, size, seconds, peak, **others):
        self.results.append({"name": name, "size": size, "seconds": seconds, "peakBytes": peak, **others})

    def time_import(self, name, size, file, document, says):
        """Interleaved with Open CASCADE's reading of the same file by itself."""
        seconds, reading, peak = [], [], 0
        for _ in range(self.repetitions):
            taken, highest, _ = self.run("qlinks", "import", file, "-o", document, says=says)
            seconds.append(taken)
            peak = max(peak, highest)
            reading.append(float(self.run("read_step", file, says=r"^\d+\.\d+$")[2]))
        self.keep(name, size, seconds, peak, readingSeconds=reading)


def time_tree(timer, uses):
    size = occurrences_of(uses)
    timer.run("make_step", "tree", str(uses), "1", "tree.step")
    timer.run("make_step", "tree", str(uses), "2", "revised.step")
    timer.time_import("import", size, "tree.step", "tree.qdoc", says=f"^{size} occurrences, ")
    timer.time("positions", size, "qlinks", "positions", "tree.qdoc", says="^ *POS +MARKING")
    timer.time("check", size, "qlinks", "check", "tree.qdoc", says="^nothing found$")
    timer.time("update", size, "qlinks", "update", "tree.qdoc", "revised.step", "-o", "revised.qdoc",
               says=r"^kept \d{4,}, added 0, ")


def time_parts(timer):
    timer.run("make_step", "parts", str(PARTS), "parts.step")
    timer.time_import("import of parts", PARTS, "parts.step", "parts.qdoc", says=f"^{PARTS} occurrences, ")


def time_opening(timer, links):
    timer.run("qprod_bench", "make", f"--size={links}", "--out=links.qdoc")
    timer.time("open", links, "qprod_bench", "open", "--in=links.qdoc", says=r"^\d{5,}$")


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
