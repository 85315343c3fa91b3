#!/usr/bin/env python3
"""bench_report.py RESULTS JSON [DOCS]: takes together what scripts/bench has measured.

Reads the files in the folder RESULTS, writes all of it to JSON, prints the goals and the table of ratios and, where
DOCS is given, writes performance.md and performance.svg there. What people have to say stands in
docs/performance_notes.md and is taken into performance.md as it is.

Whether a goal is met is computed here from what was measured, and nowhere else. Why one is missed stands in the notes,
in a table of which the first column names the goal; a goal that is missed or not measured and has no reason there makes
the status 1 where DOCS is given.
"""

import datetime
import json
import math
import os
import pathlib
import re
import statistics
import sys
from dataclasses import dataclass

STORE_CONTENDERS = ("library", "floor", "bimap", "multimaps", "graphnodes", "sqlite")
RIVALS = ("bimap", "multimaps", "graphnodes", "sqlite")
COLOURS = {"library": "#c1121f", "floor": "#333333", "bimap": "#2a6f97", "multimaps": "#e09f3e",
           "graphnodes": "#6a4c93", "sqlite": "#588157", "calls": "#00a6a6", "walk": "#9b5de5", "memcpy": "#8d6e63",
           "host": "#f15bb5"}
NOTES = pathlib.Path(__file__).parents[1] / "docs" / "performance_notes.md"
OPERATIONS = ("AddLink", "GetGeometryObjects", "GetMetaObjectKey", "GetMetaObjectKeys", "HasLink", "RemoveLink",
              "SetLinkValidater", "ReplaceMetaObjectKey", "ReplaceGeometryObject", "ReplaceComponentPath",
              "RegenerateMetaObjectKeys", "WriteMetaObjectsLinks", "ReadMetaObjectsLinks", "SetPositionsMetaLinks",
              "GetPositionValues", "OpenDocument", "SaveDocument")
LOOK_UPS = ("GetGeometryObjects", "GetMetaObjectKey", "GetMetaObjectKeys", "HasLink")
MILLION = 1_000_000
GIB = 2**30

CONTENDERS_TEXT = """\
| contender | what it is | what it leaves out |
|---|---|---|
| library | the store through its virtual table | |
| floor | the store's own containers, driven directly by the fewest steps that give the same result; for reading, the \
same parsing, then plain insertions without hints into two temporary sets and from these into the store | what makes the \
store safe to call: arguments that refer into it, copies cut short for lack of memory, overlapping branches, a \
replacement by what is equivalent |
| bimap | Boost.Bimap, set to set and multiset to multiset with an ordered collection of the pairs; copies a link to ask \
the validator about it, since it holds none | `ReplaceComponentPath`, `RegenerateMetaObjectKeys` |
| multimaps | two `std::multimap` for each set | that a pair is in the validated set once; `ReplaceComponentPath`, \
`RegenerateMetaObjectKeys`; in the hostile shape all changes, since a link is found only by going through those of its \
key |
| graphnodes | Open CASCADE's `XCAFDoc_GraphNode` on labels, with a `std::map` from key and from geometry object to \
label | that a pair is in the validated set once; all changes but removals; in the hostile shape these as well, for \
the same reason |
| sqlite | SQLite in memory, prepared statements, two indexes for each set, one transaction for each workload | the \
order of entry |
"""


# ---- reading what was measured


@dataclass(frozen=True)
class Case:
    mode: str
    shape: str
    keys: str
    size: int


@dataclass
class Timing:
    """The median of all repetitions, their standard deviation by their mean, and the median of each program's."""
    nanoseconds: float
    variation: float
    repetitions: int
    programs: dict


def read_timings(folder):
    """Case to workload to contender to Timing, and the context of the runs."""
    repetitions, context = {}, {}
    for path in sorted(folder.glob("*.json")):
        content = json.loads(path.read_text())
        if not isinstance(content, dict) or "benchmarks" not in content:
            continue
        context = content["context"]
        case = Case(context["mode"], context["shape"], context["keys"], int(context["size"]))
        of_case = repetitions.setdefault(case, {})
        for run in content["benchmarks"]:
            if run["run_type"] == "iteration":
                workload, rest = run["name"].split("|")
                programs = of_case.setdefault(workload, {}).setdefault(rest.split("/")[0], {})
                programs.setdefault(path.stem, []).append(1e9 / run["items_per_second"])
    # The order of the files is that of the runs, which is random.
    timings = {case: {workload: {contender: timing_of(programs) for contender, programs in contenders.items()}
                      for workload, contenders in sorted(workloads.items(), key=lambda item: place_of(item[0]))}
               for case, workloads in repetitions.items()}
    return timings, context


def timing_of(programs):
    values = [value for of_program in programs.values() for value in of_program]
    variation = statistics.stdev(values) / statistics.mean(values) if len(values) > 1 else 0
    return Timing(statistics.median(values), variation, len(values),
                  {program: statistics.median(of_program) for program, of_program in programs.items()})


def ratio(over, under):
    """Of two counts, or of two timings: the median of the ratios within each program, so that both were measured in the
    same run."""
    if isinstance(over, Timing):
        return statistics.median(program_ratios(over, under))
    return over / under


def program_ratios(over, under):
    return [over.programs[program] / under.programs[program] for program in over.programs if program in under.programs]


def place_of(workload):
    return OPERATIONS.index(operation(workload)), workload


def operation(workload):
    return workload.split("/")[0]


def read_instructions(folder):
    """Links to workload to contender to instructions for an operation."""
    result = {}
    for counted in sorted(folder.glob("instructions_*")):
        of_size = result.setdefault(int(counted.name.split("_")[1]), {})
        for path in counted.glob("out.*"):
            text = path.read_text(errors="replace")
            trigger = re.search(r"^desc: Trigger: Client Request: (.*)$", text, re.MULTILINE)
            total = re.search(r"^(?:totals|summary): (\d+)", text, re.MULTILINE)
            if trigger and total:
                workload, contender, items = trigger[1].split("|")
                of_size.setdefault(workload, {})[contender] = int(total[1]) / int(items)
    return result


def read_memory(folder):
    """The stores of all files, and the most that a look-up allocated."""
    files = [json.loads(path.read_text()) for path in sorted(folder.glob("memory_*.json"))]
    if not files:
        return None
    return {"stores": [store for file in files for store in file["stores"]],
            "extraAllocations": max(file["extraAllocations"] for file in files)}


def read_optional(path):
    return json.loads(path.read_text()) if path.exists() else None


def first_match(path, pattern, otherwise):
    found = re.search(pattern, pathlib.Path(path).read_text(), re.MULTILINE)
    return found[1].strip() if found else otherwise


def describe_machine(context):
    system = first_match("/etc/os-release", r'^PRETTY_NAME="?([^"]*)', "unknown")
    kib = int(first_match("/proc/meminfo", r"^MemTotal:\s*(\d+) kB", "0"))
    return {
        "processor": first_match("/proc/cpuinfo", r"^model name\s*:\s*(.*)$", "unknown"),
        "processors": os.cpu_count(),
        "memoryGiB": round(kib / 2**20, 1),
        "system": system,
        "compiler": context.get("compiler", "unknown"),
        "date": datetime.date.today().isoformat(),
    }


@dataclass
class Measured:
    timings: dict
    instructions: dict
    memory: dict
    host: list
    machine: dict

    def case(self, mode, size, shape="realistic", keys="15"):
        return self.timings.get(Case(mode, shape, keys, size), {})

    def sizes(self, mode, shape="realistic", keys="15"):
        return sorted(c.size for c in self.timings if (c.mode, c.shape, c.keys) == (mode, shape, keys))

    def verb(self, name, largest=True):
        found = sorted((r for r in self.host or [] if r["name"] == name), key=lambda r: r["size"])
        return found[-1 if largest else 0] if found else None


def to_json(measured):
    return {
        "machine": measured.machine,
        "timings": [{**vars(case), "workload": workload, "contender": contender, **vars(timing)}
                    for case, workloads in sorted(measured.timings.items(), key=lambda i: str(i[0]))
                    for workload, contenders in workloads.items() for contender, timing in contenders.items()],
        "instructions": [{"size": size, "workload": workload, **counts}
                         for size, workloads in measured.instructions.items() for workload, counts in workloads.items()],
        "memory": measured.memory,
        "host": measured.host,
    }


# ---- goals


@dataclass
class Goal:
    # Names it in the notes.
    name: str
    text: str
    # What was found, and where; empty where nothing was measured.
    found: str
    is_met: bool


@dataclass
class Value:
    """One measured figure of a goal, and between which figures of single programs it is the median."""
    name: str
    value: float
    spread: tuple = ()

    def text(self, unit):
        between = f"; {self.spread[0]:.3g} to {self.spread[1]:.3g}" if self.spread else ""
        return f"{self.value:.3g}{unit} ({self.name}{between})"


def most(name, text, limit, values, unit="x"):
    """All values may be `limit` at most."""
    return judge(name, text, values, lambda v: v <= limit, max, unit)


def least(name, text, limit, values, unit="x"):
    return judge(name, text, values, lambda v: v >= limit, min, unit)


def judge(name, text, values, is_within, worst_of, unit):
    values = list(values)
    if not values:
        return Goal(name, text, "", False)
    worst = worst_of(values, key=lambda v: v.value)
    met = sum(1 for v in values if is_within(v.value))
    found = worst.text(unit)
    if len(values) > 1:
        found += f"; {met} of {len(values)} within"
    return Goal(name, text, found, met == len(values))


def ratios(workloads, over, under, choose=lambda name: True, name="{}"):
    """Value for each workload: the time, or count, of `over` by that of `under`."""
    for workload, contenders in workloads.items():
        if over in contenders and under in contenders and choose(workload):
            yield Value(name.format(workload), ratio(contenders[over], contenders[under]),
                        spread_of(contenders[over], contenders[under]))


def spread_of(over, under):
    found = program_ratios(over, under) if isinstance(over, Timing) else []
    return (min(found), max(found)) if len(found) > 1 else ()


def is_insertion(workload):
    return operation(workload) == "AddLink"


def is_look_up(workload):
    return operation(workload) in LOOK_UPS


def is_unique(workload):
    return "/unique" in workload


def is_stream(workload):
    return operation(workload) in ("WriteMetaObjectsLinks", "ReadMetaObjectsLinks")


def floor_goals(m):
    yield most("floor-instructions",
               f"Every store operation takes at most 1.05 times the floor's instructions, with "
               f"{sizes_text(m.instructions)} links", 1.05,
               (v for size, w in m.instructions.items()
                for v in ratios(w, "library", "floor", lambda n: not is_stream(n), f"{{}}, {size:,}")))
    yield most("floor-time",
               f"Every store operation takes at most 1.15 times the floor's time, with {sizes_text(m.sizes('stores'))} "
               "links", 1.15,
               (v for size in m.sizes("stores")
                for v in ratios(m.case("stores", size), "library", "floor", name=f"{{}}, {size:,}")))
    extra = [Value("blocks in the worst call", m.memory["extraAllocations"])] if m.memory else []
    yield most("look-up-allocations", "Look-ups and HasLink allocate nothing beyond what they return", 0, extra, "")


def sizes_text(sizes):
    texts = [f"{size:,}" for size in sorted(sizes)]
    return " and ".join(filter(None, (", ".join(texts[:-1]), *texts[-1:])))


def rival_goals(m):
    for size, insertion, look_up in ((10_000, 2.5, 4), (MILLION, 1.3, 1.5)):
        workloads = m.case("stores", size)
        yield least(f"sqlite-insertion-{size}", f"With {size:,} links insertion is at least {insertion} times as fast as SQLite's", insertion,
                    ratios(workloads, "sqlite", "library", is_insertion))
        yield least(f"sqlite-look-up-{size}", f"With {size:,} links look-ups are at least {look_up} times as fast as SQLite's", look_up,
                    ratios(workloads, "sqlite", "library", is_look_up))
    # In the unique set all of them keep the rules.
    for rival, choose, where in (("bimap", lambda n: True, ""), ("multimaps", is_unique, " in the unique set"),
                                 ("graphnodes", is_unique, " in the unique set")):
        sizes = [size for size in m.sizes("stores") if any(rival in w for w in m.case("stores", size).values())]
        yield least(f"ahead-of-{rival}",
                    f"Ahead of {rival}{where}, where it keeps the rules, with {sizes_text(sizes)} links", 1,
                    (v for size in sizes
                     for v in ratios(m.case("stores", size), rival, "library", choose, f"{{}}, {size:,}")))


def writing_ratios(m):
    for size in m.sizes("streams"):
        times = m.case("streams", size).get("WriteMetaObjectsLinks", {})
        if {"library", "calls", "walk"} <= times.keys():
            library, calls, walk = (times[c].programs for c in ("library", "calls", "walk"))
            found = [library[p] / (calls[p] + walk[p]) for p in library]
            yield Value(f"{size:,}", statistics.median(found), (min(found), max(found)) if len(found) > 1 else ())


def reading_ratios(m):
    for size in m.sizes("streams"):
        yield from ratios(m.case("streams", size), "library", "floor", name=f"{{}}, {size:,}")


def stream_goals(m):
    yield most("writing", "WriteMetaObjectsLinks takes at most 1.15 times as long as the same calls of the writer and a bare walk "
               "of the sets", 1.15, writing_ratios(m))
    yield most("reading", "ReadMetaObjectsLinks takes at most 1.10 times as long as the floor", 1.1, reading_ratios(m))
    yield most("reading-stretch", "ReadMetaObjectsLinks takes at most 0.8 times as long as the floor (stretch)", 0.8, reading_ratios(m))


def memory_goals(m):
    stores = m.memory["stores"] if m.memory else []
    yield most("link-allocations", "At most one allocation for a stored link", 1,
               (Value(f"{s['set']} set, {s['links']:,}", round(s["allocations"], 3)) for s in stores
                if s["contender"] == "library" and s["keys"] == 15), "")
    opened = m.verb("open")
    yield most("opening-memory", "A document of 1,000,000 links opens in less than 1.2 GiB", 1.2,
               [Value("peak", opened["peakBytes"] / GIB)] if opened and opened["size"] == MILLION else [], " GiB")


def growth(m, contender, workload, shape, start, end):
    first = m.case("stores", start, shape).get(workload, {}).get(contender)
    last = m.case("stores", end, shape).get(workload, {}).get(contender)
    return last.nanoseconds / first.nanoseconds if first and last else None


def growth_values(m, start, end):
    """The library's growth by the floor's: what is beyond the logarithm and the caches, which both have. Each is
    compared with the floor in its own run, since runs differ more than they do."""
    before = {v.name: v.value for v in ratios(m.case("stores", start), "library", "floor")}
    for value in ratios(m.case("stores", end), "library", "floor"):
        if value.name in before:
            yield Value(value.name, value.value / before[value.name])


def growth_goals(m):
    start, end = 10_000, MILLION
    yield most("growth", "From 10,000 to 1,000,000 links the time of an operation grows at most 1.15 times as much as the floor's, "
               "which grows by the logarithm and the caches", 1.15, growth_values(m, start, end))
    # Up to this size all links are at the one key and the one geometry object.
    start, end = 1000, 100_000
    hostile = ((w, growth(m, "library", w, "hostile", start, end)) for w in m.case("stores", end, "hostile"))
    yield most("hostile-growth",
               "In the hostile shape nothing is superlinear: with 100 times the links, 100,000 instead of 1,000, half of "
               "them at one key and half at one geometry object, an operation takes at most 30 times as long, by the "
               "logarithm and the caches; going through the links of one would take 100 times and more", 30,
               (Value(w, g) for w, g in hostile if g))


def seconds_of(result):
    return statistics.median(result["seconds"])


def host_goals(m):
    yield most("opening", "Opening a document of 1,000,000 links takes at most twice as long as ReadMetaObjectsLinks alone", 2,
               ratios({w: c for w, c in m.case("documents", MILLION).items() if w == "OpenDocument"}, "host", "library"))
    yield least("import", "An import of more than 3 s spends at least 95 % of its time in Open CASCADE", 95,
                reading_shares(m), " %")
    large = [(name, m.verb(name)) for name in ("positions", "check", "update")]
    yield most("verbs", "positions, check and update of 100,000 occurrences take seconds: less than 10", 10,
               (Value(f"{name}, {r['size']:,}", seconds_of(r)) for name, r in large if r and r["size"] >= 100_000), " s")
    yield most("verbs-memory", "Their memory is linear: with ten times the occurrences at most twelve times as much", 12,
               memory_growths(m, large))


def reading_shares(m):
    """Of each import, the part that Open CASCADE takes to read the same file by itself, in per cent."""
    for result in m.host or []:
        if "readingSeconds" in result and seconds_of(result) > 3:
            share = statistics.median(100 * reading / whole
                                      for reading, whole in zip(result["readingSeconds"], result["seconds"]))
            yield Value(f"{result['name']}, {result['size']:,}, {seconds_of(result):.1f} s in all", share)


def memory_growths(m, verbs):
    for name, large in verbs:
        small = m.verb(name, largest=False)
        if large and small and large["size"] > small["size"]:
            yield Value(name, large["peakBytes"] / small["peakBytes"])


def all_goals(m):
    return [*floor_goals(m), *rival_goals(m), *stream_goals(m), *memory_goals(m), *growth_goals(m), *host_goals(m)]


# ---- the text


def goal_table(goals):
    lines = ["| | goal | measured: the worst | |", "|---|---|---|---|"]
    for goal in goals:
        verdict = "not measured" if not goal.found else "met" if goal.is_met else "**missed**"
        lines.append(f"| `{goal.name}` | {goal.text} | {goal.found} | {verdict} |")
    return "\n".join(lines)


def reasons_in(notes):
    """Goal to the reason that the notes give for missing it."""
    return {found[1]: found[2].strip() for found in re.finditer(r"^\| `([a-z0-9-]+)` \|(.*)\|$", notes, re.MULTILINE)}


def ratio_cell(times, over, under):
    return f"{ratio(times[over], times[under]):.2f}" if over in times and under in times else "-"


def store_table(workloads):
    """Times of the library, then how many times as long the others take."""
    rivals = [r for r in RIVALS if any(r in times for times in workloads.values())]
    lines = ["| operation | library, ns | library / floor | " + " | ".join(f"{r} / library" for r in rivals) + " |",
             "|---|--:|--:|" + "--:|" * len(rivals)]
    for workload, times in workloads.items():
        if "library" in times:
            cells = [workload.replace("/", ", "), f"{times['library'].nanoseconds:,.0f}",
                     ratio_cell(times, "library", "floor"), *(ratio_cell(times, rival, "library") for rival in rivals)]
            lines.append("| " + " | ".join(cells) + " |")
    return "\n".join(lines)


def plain_times_table(m, mode, keys):
    """Nanoseconds of each contender at each size."""
    sizes = m.sizes(mode, keys=keys)
    lines = ["| | " + " | ".join(f"{size:,}" for size in sizes) + " |", "|---|" + "--:|" * len(sizes)]
    rows = {(workload, contender) for size in sizes
            for workload, times in m.case(mode, size, keys=keys).items() for contender in times}
    for workload, contender in sorted(rows, key=lambda row: (place_of(row[0]), row[1])):
        cells = []
        for size in sizes:
            timing = m.case(mode, size, keys=keys).get(workload, {}).get(contender)
            cells.append(f"{timing.nanoseconds:,.1f}" if timing else "-")
        lines.append(f"| {workload.replace('/', ', ')}: {contender} | " + " | ".join(cells) + " |")
    return "\n".join(lines)


def instruction_table(instructions):
    sizes = sorted(instructions)
    lines = ["| operation | " + " | ".join(f"library, {s:,} | library / floor" for s in sizes) + " |",
             "|---|" + "--:|--:|" * len(sizes)]
    for workload in sorted({w for s in sizes for w in instructions[s]}, key=place_of):
        cells = []
        for size in sizes:
            counts = instructions[size].get(workload, {})
            if "library" in counts:
                ratio = f"{counts['library'] / counts['floor']:.3f}" if "floor" in counts else "-"
                cells += [f"{counts['library']:,.0f}", ratio]
            else:
                cells += ["-", "-"]
        lines.append(f"| {workload.replace('/', ', ')} | " + " | ".join(cells) + " |")
    return "\n".join(lines)


def memory_table(memory):
    lines = ["| links | contender | set | length of keys | bytes | allocations |", "|--:|---|---|--:|--:|--:|"]
    for s in sorted(memory["stores"],
                    key=lambda s: (s["links"], s["keys"], s["set"], STORE_CONTENDERS.index(s["contender"]))):
        # SQLite has an allocator of its own, which is not counted.
        allocations = "-" if s["contender"] == "sqlite" else f"{s['allocations']:.2f}"
        lines.append(f"| {s['links']:,} | {s['contender']} | {s['set']} | {s['keys']} | {s['bytes']:.0f} | {allocations} |")
    return "\n".join(lines)


def growth_table(m):
    lines = ["| operation | library | floor | sqlite |", "|---|--:|--:|--:|"]
    for workload in m.case("stores", MILLION):
        cells = []
        for contender in ("library", "floor", "sqlite"):
            value = growth(m, contender, workload, "realistic", 10_000, MILLION)
            cells.append(f"{value:.2f}" if value else "-")
        lines.append(f"| {workload.replace('/', ', ')} | " + " | ".join(cells) + " |")
    return "\n".join(lines)


def host_table(host):
    lines = ["| | occurrences, parts or links | seconds | Open CASCADE alone | peak, MiB |", "|---|--:|--:|--:|--:|"]
    for result in host:
        reading = f"{statistics.median(result['readingSeconds']):.2f}" if "readingSeconds" in result else ""
        lines.append(f"| {result['name']} | {result['size']:,} | {seconds_of(result):.2f} | {reading} | "
                     f"{result['peakBytes'] / 2**20:.0f} |")
    return "\n".join(lines)


def noise_text(m):
    lines = ["| | links | shape | length of keys | programs | median | largest |", "|---|--:|---|--:|--:|--:|--:|"]
    for case in sorted(m.timings, key=lambda c: (c.mode, c.shape, c.keys, c.size)):
        timings = [t for times in m.timings[case].values() for t in times.values()]
        variations = [t.variation for t in timings]
        lines.append(f"| {case.mode} | {case.size:,} | {case.shape} | {case.keys} | "
                     f"{max(len(t.programs) for t in timings)} | {100 * statistics.median(variations):.1f} % | "
                     f"{100 * max(variations):.0f} % |")
    return "\n".join(lines)


def machine_text(machine):
    return (f"{machine['processor']}, {machine['processors']} processors, {machine['memoryGiB']} GiB; "
            f"{machine['system']}; {machine['compiler']}, -O3 with higher limits for inlining "
            f"(`QPD_INLINE_SEARCHES`); {machine['date']}.")


def sections(m, notes):
    yield "# Performance\n"
    yield ("Written by `scripts/bench`, which measures all of it anew. The times are medians of repetitions, with all "
           "contenders of a case in one program and in random order. Where several programs measure a case, a ratio is "
           "the median of those within each, and what stands behind a semicolon is the least and the greatest. Before "
           "anything is timed, every contender does every workload once and has to come to the same result, with 10,000 "
           "links for cases of more than 100,000; while it is timed, to the same number of answers. Times of stores and "
           "streams are the processor's, those of documents and of qlinks are the clock's.\n")
    yield f"Measured on: {machine_text(m.machine)}\n"
    yield "## Goals\n\n" + goal_table(all_goals(m)) + "\n"
    yield "## What was tried\n\n" + notes.strip() + "\n"
    yield "## The contenders\n\n" + CONTENDERS_TEXT
    yield ("The realistic shape: components one to five levels deep; in the unique set an occurrence and its component, "
           "in the validated set the 1 to 50 bodies of a component, each with the keys of its occurrence and its line. "
           "The hostile shape has one key with 100,000 geometry objects and one geometry object with 100,000 keys (half "
           "of the links each where there are fewer). Keys have 15 characters, or 36 as a variant. Links are added in "
           "random order, all of them; look-ups and changes of single links are made for 50,000 at most, drawn at "
           "random.\n")
    yield "![Time of an operation against the number of links](performance.svg)\n"
    yield from store_sections(m)
    yield ("## Streams\n\nNanoseconds for a link, half of the links in each set. `calls` makes the same calls of the same "
           "writer or reader without a store, `walk` goes through the containers, `memcpy` copies the bytes.\n\n"
           + plain_times_table(m, "streams", "15") + "\n")
    if m.sizes("streams", keys="36"):
        yield "With keys of 36 characters:\n\n" + plain_times_table(m, "streams", "36") + "\n"
    if m.instructions:
        yield ("## Instructions\n\nOf an operation, counted by callgrind, with the number of links in each set; for streams in both together.\n\n"
               + instruction_table(m.instructions) + "\n")
    if m.memory:
        yield ("## Memory\n\nFor a link, in a store of so many in one set, with what the allocator adds. Allocations are "
               "those made while the links are added.\n\n" + memory_table(m.memory) + "\n")
    if MILLION in m.sizes("stores"):
        yield ("## Growth\n\nHow many times as long an operation takes with 1,000,000 links as with 10,000, by the medians of "
               "all programs; the goal compares library and floor within each program.\n\n"
               + growth_table(m) + "\n")
    yield ("## Documents\n\nNanoseconds for a link, or for a body, by the links of the document, of which each body has "
           "two and each occurrence one.\n\n" + plain_times_table(m, "documents", "15") + "\n")
    if m.host:
        yield ("## qlinks\n\nThe tree nests four levels of equal assemblies; the file of parts has a different part for "
               "each use. `Open CASCADE alone` is its reading and transfer of the same file in a program of its own, by "
               "the same calls and in turn with the imports.\n\n"
               + host_table(m.host) + "\n")
    yield ("## Noise\n\nThe standard deviation of the repetitions by their mean, over all workloads and contenders.\n\n"
           + noise_text(m) + "\n")


def store_sections(m):
    titles = {("realistic", "15"): "Stores", ("hostile", "15"): "Stores in the hostile shape",
              ("realistic", "36"): "Stores with keys of 36 characters"}
    for (shape, keys), title in titles.items():
        for size in m.sizes("stores", shape, keys):
            yield f"## {title}: {size:,} links in each set\n\n" + store_table(m.case("stores", size, shape, keys)) + "\n"


# ---- the plot


PANEL_WIDTH, PANEL_HEIGHT, PANEL_COLUMNS = 300, 210, 4
LEFT, TOP, RIGHT, BOTTOM = 46, 26, 10, 24


class Panel:
    """One workload: time against size, both logarithmic."""

    def __init__(self, title, lines, position):
        self.title, self.lines = title, lines
        self.x = position % PANEL_COLUMNS * PANEL_WIDTH
        self.y = position // PANEL_COLUMNS * PANEL_HEIGHT
        points = [point for line in lines.values() for point in line]
        self.sizes = self.decades(size for size, _ in points)
        self.times = self.decades(time for _, time in points)

    @staticmethod
    def decades(values):
        logs = [math.log10(value) for value in values]
        low, high = math.floor(min(logs)), math.ceil(max(logs))
        return low, max(high, low + 1)

    def place(self, size, time):
        width, height = PANEL_WIDTH - LEFT - RIGHT, PANEL_HEIGHT - TOP - BOTTOM
        across = (math.log10(size) - self.sizes[0]) / (self.sizes[1] - self.sizes[0])
        up = (math.log10(time) - self.times[0]) / (self.times[1] - self.times[0])
        return self.x + LEFT + across * width, self.y + TOP + (1 - up) * height

    def draw(self):
        yield f'<text x="{self.x + LEFT}" y="{self.y + 16}" font-weight="bold">{self.title}</text>'
        yield from self.grid()
        for contender, line in self.lines.items():
            points = " ".join("{:.1f},{:.1f}".format(*self.place(*point)) for point in sorted(line))
            yield (f'<polyline points="{points}" fill="none" stroke="{COLOURS[contender]}" '
                   f'stroke-width="{2 if contender == "library" else 1.2}"/>')

    def grid(self):
        low, high = (10**exponent for exponent in self.sizes)
        for exponent in range(self.times[0], self.times[1] + 1):
            (x1, y), (x2, _) = self.place(low, 10**exponent), self.place(high, 10**exponent)
            yield f'<line x1="{x1:.0f}" y1="{y:.1f}" x2="{x2:.0f}" y2="{y:.1f}" stroke="#ddd"/>'
            yield f'<text x="{x1 - 4:.0f}" y="{y + 3:.1f}" text-anchor="end">{time_text(exponent)}</text>'
        for exponent in range(self.sizes[0], self.sizes[1] + 1):
            x, y = self.place(10**exponent, 10**self.times[0])
            _, top = self.place(10**exponent, 10**self.times[1])
            yield f'<line x1="{x:.1f}" y1="{top:.1f}" x2="{x:.1f}" y2="{y:.1f}" stroke="#eee"/>'
            yield f'<text x="{x:.1f}" y="{y + 13:.1f}" text-anchor="middle">{size_text(exponent)}</text>'


def time_text(exponent):
    units = ("ns", "µs", "ms", "s")
    unit = min(max(exponent, 0) // 3, 3)
    return f"{10.0 ** (exponent - 3 * unit):g} {units[unit]}"


def size_text(exponent):
    return f"{10**exponent}" if exponent < 3 else f"{10 ** (exponent - 3)}k" if exponent < 6 else f"{10 ** (exponent - 6)}M"


def lines_of(m, mode, shape):
    """Workload to contender to points."""
    result = {}
    for size in m.sizes(mode, shape):
        for workload, times in m.case(mode, size, shape).items():
            for contender, timing in sorted(times.items()):
                result.setdefault(workload, {}).setdefault(contender, []).append((size, timing.nanoseconds))
    return result


def plot(m):
    panels = []
    for mode, shape, suffix in (("stores", "realistic", ""), ("streams", "realistic", ""),
                                ("documents", "realistic", ""), ("stores", "hostile", " (hostile)")):
        for workload, lines in lines_of(m, mode, shape).items():
            panels.append(Panel(workload.replace("/", ", ") + suffix, lines, len(panels)))
    rows = math.ceil(len(panels) / PANEL_COLUMNS)
    width, height = PANEL_COLUMNS * PANEL_WIDTH, rows * PANEL_HEIGHT + 30
    yield (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" width="{width}" height="{height}" '
           'font-family="sans-serif" font-size="10">')
    yield f'<rect width="{width}" height="{height}" fill="white"/>'
    for panel in panels:
        yield from panel.draw()
    shown = [c for c in COLOURS if any(c in panel.lines for panel in panels)]
    for position, contender in enumerate(shown):
        x, y = LEFT + position * 110, rows * PANEL_HEIGHT + 15
        yield f'<line x1="{x}" y1="{y}" x2="{x + 20}" y2="{y}" stroke="{COLOURS[contender]}" stroke-width="3"/>'
        yield f'<text x="{x + 26}" y="{y + 4}">{contender}</text>'
    yield "</svg>"


def print_summary(m, reasons):
    """Returns the names of the goals that were not reached and have no reason."""
    unexplained = []
    for goal in all_goals(m):
        verdict = "----" if not goal.found else "met " if goal.is_met else "MISS"
        print(f"{verdict}  {goal.name}. {goal.text}: {goal.found or 'not measured'}")
        if not goal.is_met and goal.name in reasons:
            print(f"      {reasons[goal.name]}")
        elif not goal.is_met:
            unexplained.append(goal.name)
    for size in m.sizes("stores"):
        print(f"\n{size:,} links\n" + store_table(m.case("stores", size)))
    for title, mode in (("streams, ns for a link", "streams"), ("documents, ns for a link or a body", "documents")):
        print(f"\n{title}\n" + plain_times_table(m, mode, "15"))
    if m.memory:
        print("\nmemory for a link\n" + memory_table(m.memory))
    if m.host:
        print("\nqlinks\n" + host_table(m.host))
    return unexplained


def main(arguments):
    folder, out = pathlib.Path(arguments[0]), pathlib.Path(arguments[1])
    timings, context = read_timings(folder)
    measured = Measured(timings, read_instructions(folder), read_memory(folder),
                        read_optional(folder / "host.json"), describe_machine(context))
    out.write_text(json.dumps(to_json(measured), indent=1) + "\n")
    notes = NOTES.read_text()
    unexplained = print_summary(measured, reasons_in(notes))
    if len(arguments) > 2:
        docs = pathlib.Path(arguments[2])
        (docs / "performance.md").write_text("\n".join(sections(measured, notes)))
        (docs / "performance.svg").write_text("\n".join(plot(measured)) + "\n")
        if unexplained:
            sys.exit(f"no reason in {NOTES.name} for what is missed or not measured: {', '.join(unexplained)}")


if __name__ == "__main__":
    main(sys.argv[1:])
