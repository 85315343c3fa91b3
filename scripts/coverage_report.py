#!/usr/bin/env python3
"""Reads the JSON of `llvm-cov export` and tells which lines, regions and branches of the library no test reaches.

A template or an inline function has a record of its own for each instance. What counts is the place in the source: it
is covered when any instance covers it. A marker, `// coverage: reason`, excludes what begins on its line; a marker
that excludes nothing which is uncovered is itself a fault.
"""

import json
import os
import re
import sys

FOLDERS = ("include/", "link_store/", "persistence/", "meta_3d/", "vocabulary/")
MARKER = re.compile(r"//\s*coverage:\s*(.*)$")
CODE_REGION = 0
KINDS = ("lines", "regions", "branches")


def source_path(name):
    """The path below the root, where this runs; None for what is not of the library."""
    path = os.path.relpath(name)
    return path if path.startswith(FOLDERS) else None


def line_counts(segments):
    """Line number to execution count, as llvm-cov shows lines: the largest count of what is on the line."""
    counts = {}
    open_count = None  # the count that reaches into the line from above; None where nothing is counted
    for position, (line, _column, count, has_count, is_entry, is_gap) in enumerate(segments):
        if has_count and is_entry and not is_gap:
            counts[line] = max(counts.get(line, 0), count)
        elif line not in counts and open_count is not None:
            counts[line] = open_count
        open_count = count if has_count and not is_gap else None
        following = segments[position + 1][0] if position + 1 < len(segments) else line
        if open_count is not None:
            for inside in range(line + 1, following):
                counts[inside] = max(counts.get(inside, 0), open_count)
    return counts


class Places:
    """Per file: place to whether it is covered, for each kind. A place begins with its line."""

    def __init__(self):
        self.files = {}

    def add(self, path, kind, place, covered):
        places = self.files.setdefault(path, {kind: {} for kind in KINDS})[kind]
        places[place] = places.get(place, False) or covered


def gather(export):
    places = Places()
    for function in export["functions"]:
        paths = [source_path(name) for name in function["filenames"]]
        for line, column, end_line, end_column, count, file_id, _, kind in function["regions"]:
            if paths[file_id] and kind == CODE_REGION:
                places.add(paths[file_id], "regions", (line, column, end_line, end_column), count > 0)
        for line, column, end_line, end_column, true_count, false_count, file_id, _, _ in function["branches"]:
            # 0 and 0 is a condition that the compiler folded, or one that is never reached: then its region tells.
            if paths[file_id] and (true_count or false_count):
                places.add(paths[file_id], "branches", (line, column, end_line, end_column, "true"), true_count > 0)
                places.add(paths[file_id], "branches", (line, column, end_line, end_column, "false"), false_count > 0)
    for file in export["files"]:
        path = source_path(file["filename"])
        if path:
            for line, count in line_counts(file["segments"]).items():
                places.add(path, "lines", (line,), count > 0)
    return places.files


def described(kind, place):
    if kind == "lines":
        return "line"
    where = f"column {place[1]} to {place[2]}:{place[3]}"
    return f"region, {where}" if kind == "regions" else f"branch never {place[4]}, {where}"


def main():
    with open(sys.argv[1], encoding="utf-8") as export:
        files = gather(json.load(export)["data"][0])
    faults, exclusions = [], []
    totals = {kind: [0, 0] for kind in KINDS}
    print(f"{'file':<48}" + "".join(f"{kind:>16}" for kind in KINDS))
    for path in sorted(files):
        with open(path, encoding="utf-8") as source:
            text = source.read().splitlines()
        row = ""
        markers = {number: found.group(1).strip() for number, line in enumerate(text, 1)
                   if (found := MARKER.search(line))}
        used = set()
        for kind in KINDS:
            covered = counted = 0
            for place, is_covered in sorted(files[path][kind].items()):
                if not is_covered and place[0] in markers:
                    used.add(place[0])
                    continue
                counted += 1
                covered += is_covered
                if not is_covered:
                    faults.append(f"{path}:{place[0]}: not covered: {described(kind, place)}: "
                                  f"{text[place[0] - 1].strip()}")
            totals[kind][0] += covered
            totals[kind][1] += counted
            row += f"{f'{covered} of {counted}':>16}"
        print(f"{path:<48}{row}")
        for number, reason in markers.items():
            exclusions.append(f"{path}:{number}: {reason}")
            if not reason:
                faults.append(f"{path}:{number}: a marker without a reason")
            if number not in used:
                faults.append(f"{path}:{number}: a marker that excludes nothing")
    print(f"{'all':<48}" + "".join(f"{f'{covered} of {counted}':>16}" for covered, counted in totals.values()))
    print(f"{'':<48}" + "".join(f"{100 * covered / counted if counted else 0:>14.2f} %"
                                for covered, counted in totals.values()))
    print(f"excluded by markers: {len(exclusions)}")
    for line in exclusions:
        print("  " + line)
    for line in faults:
        print(line)
    # Nothing counted means that nothing was measured.
    return 1 if faults or not all(counted for _, counted in totals.values()) else 0


if __name__ == "__main__":
    sys.exit(main())
