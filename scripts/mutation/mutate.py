#!/usr/bin/env python3
"""The mutation run: makes the mutated copy, builds it with the tests, and runs these for one mutant after the other."""

import argparse
import collections
import concurrent.futures
import hashlib
import json
import os
import pathlib
import random
import re
import resource
import shutil
import subprocess
import sys
import threading
import time

import generate

ROOT = pathlib.Path(__file__).resolve().parents[2]
WORK = ROOT / "build" / "mutation"
SOURCE, BUILD = WORK / "source", WORK / "build"
FOLDERS = ("include", "link_store", "persistence", "meta_3d", "vocabulary")
OTHERS = ("CMakeLists.txt", "cmake", "platform", "tests", "fuzz", "docs")
EQUIVALENT = ROOT / "scripts" / "mutation" / "equivalent.txt"

MOST_EQUIVALENT = 0.05
LEAST_KILLED = 0.97
FEWEST = 600
MEMORY_LIMIT = 6 << 30


def fail(message):
    print(message, file=sys.stderr)
    sys.exit(2)


def core_files():
    return {str(path.relative_to(ROOT)): path.read_text(encoding="utf-8")
            for folder in FOLDERS for path in sorted((ROOT / folder).rglob("*")) if path.suffix in (".h", ".cpp")}


def digest(paths):
    result = hashlib.sha256()
    for path in sorted(paths):
        result.update(str(path).encode() + b"\0" + path.read_bytes())
    return result.hexdigest()


def files_below(*folders):
    return [path for folder in folders for path in (ROOT / folder).rglob("*") if path.is_file()
            and "__pycache__" not in path.parts]


# The mutated copy.

def write_if_changed(path, text):
    """What stays the same keeps its time, and is not compiled again."""
    if not path.exists() or path.read_text(encoding="utf-8") != text:
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")


def copy_others():
    for name in OTHERS:
        for path in [ROOT / name] if (ROOT / name).is_file() else files_below(name):
            target = SOURCE / path.relative_to(ROOT)
            if not target.exists() or target.read_bytes() != path.read_bytes():
                target.parent.mkdir(parents=True, exist_ok=True)
                shutil.copyfile(path, target)
        wanted = {path.relative_to(ROOT) for path in files_below(name)}
        for path in (SOURCE / name).rglob("*"):
            if path.is_file() and path.relative_to(SOURCE) not in wanted:
                path.unlink()


def write_mutated(files, mutants):
    """Returns, for each file, its text and the pieces of its mutants."""
    by_file = collections.defaultdict(list)
    for mutant in mutants:
        by_file[mutant.file].append(mutant)
    written = {}
    for file, text in files.items():
        mutated, pieces, unplaced = generate.render(text, by_file[file])
        # Whoever includes the vocabulary needs no include directory but the root.
        header = '"include/qpd_mutant.h"' if file.startswith("vocabulary/") else "<qpd_mutant.h>"
        include = f"#include {header}\n" if by_file[file] else ""
        shift = len(include)
        mutated = include + mutated
        write_if_changed(SOURCE / file, mutated)
        written[file] = mutated, [(begin + shift, end + shift, mutant) for begin, end, mutant in pieces], unplaced
    write_if_changed(SOURCE / "include" / "qpd_mutant.h", (pathlib.Path(__file__).parent / "qpd_mutant.h").read_text())
    return written


def compiler_places(unit):
    """What the compiler objects to: for each error its places in the mutated sources, the innermost first."""
    command = ["g++", "-std=c++20", "-fsyntax-only", "-w", "-fmax-errors=0", "-fdiagnostics-plain-output",
               "-fdiagnostics-column-unit=byte", f"-I{SOURCE}", f"-I{SOURCE / 'include'}", f"-I{SOURCE / 'platform'}",
               "-x", "c++", str(unit)]
    output = subprocess.run(command, capture_output=True, text=True).stderr
    places, context = [], []
    for line in output.splitlines():
        found = re.match(r"(?:In file included from )?([^:\s][^:]*):(\d+):(\d+): +(.*)", line)
        if not found:
            continue
        file, message = os.path.relpath(found[1], SOURCE), found[4]
        place = (file, int(found[2]), int(found[3]))
        if message.startswith(("error", "fatal error")):
            places.append(([place] + context[::-1], message))
            context = []
        elif "required" in message:
            context.append(place)
        elif message.startswith("note"):
            context = []
    return [(tuple(place for place in chain if place[0].startswith(FOLDERS)), message) for chain, message in places]


def piece_at(written, place, whole_statement):
    """The mutant whose piece is at the place; failing that, if asked for, the next one behind it."""
    file, line, column = place
    text, pieces, _ = written[file]
    starts = [0] + [found.end() for found in re.finditer("\n", text)] + [len(text)]
    begin, end = starts[line - 1], starts[line]
    position = begin + len(text[begin:end].encode()[:column - 1].decode(errors="ignore"))
    if not whole_statement:
        around = [piece for piece in pieces if piece[0] <= position < piece[1]]
        return min(around, key=lambda piece: piece[1] - piece[0])[2] if around else None
    end = starts[min(line + 3, len(starts) - 1)]  # a statement may have some lines
    near = [piece for piece in pieces if piece[0] < end and piece[1] > begin]
    following = [piece for piece in near if piece[0] >= position]
    return min(following or near)[2] if near else None


def without_what_does_not_compile(files, mutants, rejected):
    """Compiles, drops the mutants that the compiler objects to, and again until it objects to none. `rejected` are the
    identities of those that it objected to the last time, which need not be tried again."""
    dropped = {mutant.number for mutant in mutants if mutant.identity in rejected}
    units = [SOURCE / file for file in files if file.endswith(".cpp")] + [SOURCE / "vocabulary" / "PropertyNames.h"]
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        while True:
            remaining = [mutant for mutant in mutants if mutant.number not in dropped]
            written = write_mutated(files, remaining)
            now = {mutant.number for _, _, unplaced in written.values() for mutant in unplaced}
            objections = {objection for found in pool.map(compiler_places, units) for objection in found}
            for places, _ in objections:
                # A place outside all pieces: an original that is of another kind by standing beside a mutant.
                found = [piece_at(written, place, whole_statement)
                         for whole_statement in (False, True) for place in places]
                now.update([mutant.number for mutant in found if mutant is not None][:1])
            # What the compiler says about other people's headers alone follows from what it says about these.
            if objections and not now:
                fail(f"the mutated sources do not compile: {min(objections)}")
            print(f"  {len(remaining)} mutants, the compiler objects to {len(now)}", flush=True)
            if not now:
                return remaining
            dropped |= now


def generated():
    """The mutants that compile. Which these are is remembered for the same sources and generator."""
    files = core_files()
    mutants = generate.mutants_of(files)
    memory = WORK / "compiling.json"
    key = digest(files_below(*FOLDERS, "platform") + [pathlib.Path(generate.__file__)])
    copy_others()
    remembered = json.loads(memory.read_text()) if memory.exists() else {}
    if remembered.get("key") == key:
        good = set(remembered["numbers"])
        mutants = [mutant for mutant in mutants if mutant.number in good]
        write_mutated(files, mutants)
        return mutants
    compiling = without_what_does_not_compile(files, mutants, set(remembered.get("rejected", ())))
    numbers = [mutant.number for mutant in compiling]
    rejected = sorted({mutant.identity for mutant in mutants} - {mutant.identity for mutant in compiling})
    memory.write_text(json.dumps({"key": key, "numbers": numbers, "rejected": rejected}))
    return compiling


def build(jobs):
    log_name = (WORK / "build.log").relative_to(ROOT)
    print(f"building the mutated library and its tests (output in {log_name})", flush=True)
    with open(WORK / "build.log", "w", encoding="utf-8") as log:
        # Assertions stay on; warnings are about mutants.
        for command in (["cmake", "-S", SOURCE, "-B", BUILD, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release",
                         "-DQPD_BUILD_HOST=OFF", "-DCMAKE_CXX_FLAGS=-w", "-DCMAKE_CXX_FLAGS_RELEASE=-O1"],
                        ["cmake", "--build", BUILD, "-j", str(jobs)]):
            if subprocess.run(command, stdout=log, stderr=subprocess.STDOUT).returncode != 0:
                log.flush()
                print("\n".join((WORK / "build.log").read_text().splitlines()[-30:]), file=sys.stderr)
                fail("the build failed")


# Running.

class Program:
    def __init__(self, path):
        self.path, self.name = path, os.path.basename(path)
        self.seconds = 0.0
        self.reached = b""

    def run(self, number, cpu_seconds, reached=None):
        """How it ended: passed, failed, died or timeout."""
        environment = dict(os.environ, QPD_MUTANT=str(number), RC_PARAMS="seed=1 noshrink=1")
        environment.pop("QPD_MUTANT_REACHED", None)
        if reached:
            environment["QPD_MUTANT_REACHED"] = reached

        process = subprocess.Popen([self.path, "--gtest_fail_fast", "--gtest_brief=1"], env=environment, cwd=WORK,
                                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, start_new_session=True)
        # Processor time, so that a busy machine kills nobody.
        resource.prlimit(process.pid, resource.RLIMIT_CPU, (cpu_seconds, cpu_seconds + 1))
        resource.prlimit(process.pid, resource.RLIMIT_AS, (MEMORY_LIMIT, MEMORY_LIMIT))
        resource.prlimit(process.pid, resource.RLIMIT_CORE, (0, 0))
        try:
            code = process.wait(timeout=60 + 20 * cpu_seconds)
        except subprocess.TimeoutExpired:
            code = None
        finally:
            try:
                os.killpg(process.pid, 9)  # its children, where it left some
            except ProcessLookupError:
                pass
            process.wait()
        if code == 0:
            return "passed"
        return "timeout" if code in (None, -24, -9) else "failed" if code == 1 else "died"

    @property
    def limit(self):
        return int(3 + 6 * self.seconds)


def test_programs(count):
    listing = json.loads(subprocess.run(["ctest", "--test-dir", BUILD, "--show-only=json-v1"], check=True,
                                        capture_output=True, text=True).stdout)
    paths = {test["command"][0] for test in listing["tests"]
             if any(part.startswith("--gtest_filter") for part in test.get("command", []))}
    programs = []
    for path in sorted(paths):
        program = Program(path)
        before = resource.getrusage(resource.RUSAGE_CHILDREN)
        marks = WORK / "reached"
        marks.write_bytes(bytes(count + 1))
        result = program.run(0, 600, str(marks))
        after = resource.getrusage(resource.RUSAGE_CHILDREN)
        program.seconds = after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime
        program.reached = marks.read_bytes()
        if result != "passed":
            fail(f"{program.name} does not pass without a mutant: {result}")
        if any(program.reached):
            programs.append(program)
            print(f"  {program.name:<32}{program.seconds:6.2f} s, reaches {sum(program.reached)} mutants", flush=True)
    return sorted(programs, key=lambda program: program.seconds)


def judge(mutant, programs):
    reaching = [program for program in programs if program.reached[mutant.number]]
    for program in reaching:
        result = program.run(mutant.number, program.limit)
        if result != "passed":
            return {"status": "killed", "by": program.name, "how": result}
    return {"status": "survived", "by": "", "how": "tested" if reaching else "not reached by any test"}


class Results:
    """One line for each judged mutant, so that a run that was stopped goes on where it was."""

    def __init__(self, core_key, tests_key, fresh):
        self.path, self.lock = WORK / "results.jsonl", threading.Lock()
        self.core_key, self.tests_key, self.known = core_key, tests_key, {}
        if self.path.exists() and not fresh:
            for line in self.path.read_text(encoding="utf-8").splitlines():
                entry = json.loads(line)
                # Tests that were added let no mutant live that others have killed.
                if entry["core"] == core_key and (entry["status"] == "killed" or entry["tests"] == tests_key):
                    self.known[entry["identity"]] = entry
        self.path.write_text("".join(json.dumps(entry) + "\n" for entry in self.known.values()), encoding="utf-8")

    def add(self, mutant, result):
        entry = dict(result, identity=mutant.identity, core=self.core_key, tests=self.tests_key)
        with self.lock:
            self.known[mutant.identity] = entry
            with open(self.path, "a", encoding="utf-8") as file:
                file.write(json.dumps(entry) + "\n")


def read_equivalent():
    """Identity to reason: a line with the mutant as it is printed, then one that begins with `reason:`."""
    entries, mutant = {}, None
    if EQUIVALENT.exists():
        for line in EQUIVALENT.read_text(encoding="utf-8").splitlines():
            line = line.strip()
            if not line or line.startswith("#"):
                continue
            if line.startswith("reason:"):
                entries[mutant] = line.removeprefix("reason:").strip()
                mutant = None
                continue
            if mutant is not None:
                fail(f"{EQUIVALENT.name}: no reason: {mutant}")
            mutant = line
    if mutant is not None or not all(entries.values()):
        fail(f"{EQUIVALENT.name}: no reason: {mutant}")
    return entries


def report(mutants, results, equivalent, is_whole):
    judged = [mutant for mutant in mutants if mutant.identity in results.known]
    status = {mutant.identity: results.known[mutant.identity]["status"] for mutant in judged}
    print(f"\n{'':<24}{'mutants':>9}{'killed':>9}{'no change':>11}{'survived':>10}")
    for title, key in (("folder", lambda m: m.folder), ("kind", lambda m: m.kind), ("all", lambda m: "all")):
        for name in sorted({key(mutant) for mutant in judged}):
            group = [mutant for mutant in judged if key(mutant) == name]
            killed = sum(status[mutant.identity] == "killed" for mutant in group)
            explained = sum(status[mutant.identity] != "killed" and mutant.identity in equivalent for mutant in group)
            print(f"{name:<24}{len(group):>9}{killed:>9}{explained:>11}{len(group) - killed - explained:>10}")
        print()
    how = collections.Counter(results.known[mutant.identity]["how"] for mutant in judged
                              if status[mutant.identity] == "killed")
    print("killed by a test that failed, a program that died, time: " +
          ", ".join(str(how[name]) for name in ("failed", "died", "timeout")))
    faults = []
    survivors = [m for m in judged if status[m.identity] == "survived" and m.identity not in equivalent]
    for mutant in survivors:
        print(f"survived: {mutant.file}:{mutant.line}: {results.known[mutant.identity]['how']}\n  {mutant.identity}")
    if not is_whole:
        return 0
    identities = {mutant.identity for mutant in mutants}
    for identity in equivalent:
        if identity not in identities:
            faults.append(f"{EQUIVALENT.name}: no such mutant: {identity}")
        elif status.get(identity) == "killed":
            faults.append(f"{EQUIVALENT.name}: changes behaviour, a test kills it: {identity}")
    explained = sum(m.identity in equivalent for m in judged)
    rest = len(judged) - explained
    killed = sum(status[m.identity] == "killed" and m.identity not in equivalent for m in judged)
    print(f"\n{len(judged)} mutants; {explained} change nothing ({100 * explained / len(judged):.1f} %, at most "
          f"{100 * MOST_EQUIVALENT:.0f} %); of the other {rest} the tests kill {killed} "
          f"({100 * killed / rest:.1f} %, at least {100 * LEAST_KILLED:.0f} %)")
    if len(judged) < FEWEST:
        faults.append(f"fewer than {FEWEST} mutants")
    if explained > MOST_EQUIVALENT * len(judged):
        faults.append("too many mutants are said to change nothing")
    if killed < LEAST_KILLED * rest:
        faults.append("too many mutants survive")
    for fault in faults:
        print(fault)
    return 1 if faults else 0


def main():
    options = argparse.ArgumentParser(prog="scripts/mutate", description=__doc__)
    options.add_argument("--sample", type=int, metavar="N", help="judge N mutants, drawn at random")
    options.add_argument("--seed", type=int, default=1, help="of the draw")
    options.add_argument("--only", metavar="TEXT", help="judge the mutants whose printed form contains the text")
    options.add_argument("--list", action="store_true", help="print the mutants and judge none")
    options.add_argument("--fresh", action="store_true", help="judge again what was judged before")
    options.add_argument("--jobs", type=int, default=min(2, os.cpu_count() or 1), help="programs that run at once")
    given = options.parse_args()

    start = time.monotonic()
    WORK.mkdir(parents=True, exist_ok=True)
    equivalent = read_equivalent()
    print("making mutants", flush=True)
    mutants = generated()
    print(f"{len(mutants)} mutants compile")
    chosen = [mutant for mutant in mutants if not given.only or given.only in f"{mutant.identity}"]
    if given.sample and given.sample < len(chosen):
        chosen = random.Random(given.seed).sample(chosen, given.sample)
    if given.list:
        print("\n".join(f"{mutant.number}: {mutant.file}:{mutant.line}: {mutant.identity}" for mutant in chosen))
        return 0
    build(given.jobs)
    programs = test_programs(max(mutant.number for mutant in mutants))
    results = Results(digest(files_below(*FOLDERS, "platform")), digest(files_below("tests")), given.fresh)
    waiting = [mutant for mutant in chosen if mutant.identity not in results.known]
    print(f"judging {len(waiting)} mutants, {len(chosen) - len(waiting)} are known", flush=True)
    done = 0
    with concurrent.futures.ThreadPoolExecutor(given.jobs) as pool:
        judging = {pool.submit(judge, mutant, programs): mutant for mutant in waiting}
        for future in concurrent.futures.as_completed(judging):
            results.add(judging[future], future.result())
            done += 1
            if done % 100 == 0:
                print(f"  {done} of {len(waiting)}, {time.monotonic() - start:.0f} s", flush=True)
    code = report(chosen, results, equivalent, len(chosen) == len(mutants))
    print(f"{time.monotonic() - start:.0f} s")
    return code


if __name__ == "__main__":
    sys.exit(main())
