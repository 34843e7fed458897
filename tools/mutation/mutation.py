#!/usr/bin/env python3
"""How much of what could go wrong in the library's sources do its tests notice?

    tools/mutation/mutation.py [COUNT [SEED]] [--jobs N] [--again]

Draws COUNT single changes of src/ by SEED, builds each in a copy and runs the tests that execute the changed
statement, until one fails. What is done is kept in the work folder: the same call goes on where it stopped, and
--again tries those once more that survived. Needs a built dev preset.
"""
import argparse
import json
import re
import threading
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from changes import code_only, draw
from testbed import NotCompiling, Place, Testbed

CAUGHT, SURVIVED, SAME, BROKEN = "caught", "survived", "same object code", "not compiling"


def statement_lines(lines, line):
    """The lines, from 1, of the statement that holds `line`."""
    first = last = line
    while first > 1 and lines[first - 2].strip() and not re.search(r"[;{}:]\s*$", lines[first - 2]):
        first -= 1
    while last < len(lines) and not re.search(r"[;{}]\s*$", lines[last - 1]):
        last += 1
    return range(first, last + 1)


class Chooser:
    """The tests for a change, those first that are the most likely to notice it."""

    def __init__(self, bed):
        self.bed = bed
        self.code = {}  # path -> lines
        for path in (p for p in (bed.root / "src").rglob("*") if p.suffix in (".cpp", ".h")):
            self.code[str(path.relative_to(bed.root))] = code_only(path.read_text()).split("\n")
        self.size = {t: sum(map(len, c["lines"].values())) for t, c in bed.coverage.items()}
        self.caught = {}  # (path, test) -> changes

    def covering(self, places):
        """Tests that run one of the lines: places is path -> lines."""
        return {t for t, c in self.bed.coverage.items()
                if any(not lines.isdisjoint(c["lines"].get(path, ())) for path, lines in places.items())}

    def users(self, path, line):
        """Tests that run a line with the name that the constant or record at `line` has."""
        lines, at = self.code[path], line
        while at > 1 and not re.match(r"\w", lines[at - 1]):
            at -= 1
        names = re.findall(r"(\w+)(?:\[\w*\])*(?=\s*(?:=|\{|\())", "\n".join(lines[at - 1 : line])) or [""]
        word = re.compile(rf"\b(?:{'|'.join(n for n in names if len(n) > 2) or '$^'})\b")
        places = {p: {n for i, text in enumerate(code, 1) if word.search(text) for n in statement_lines(code, i)}
                  for p, code in self.code.items()}
        return self.covering(places)

    def tests(self, change, differing):
        statement = set(statement_lines(self.code[change.path], change.line))
        chosen = self.covering({change.path: statement})
        rest = set()
        if not chosen:  # computed by the compiler: whoever runs the objects that differ
            chosen = self.users(change.path, change.line)
            files = {f: set(range(1, len(self.code[f]) + 1))
                     for f in (str(Path(s).relative_to(self.bed.root)) for s in differing)}
            rest = self.covering(files) - chosen
        def weight(test):
            return test in chosen, self.caught.get((change.path, test), 0), -self.size[test]
        programs = {}
        for test in sorted(chosen | rest, key=weight, reverse=True):
            programs.setdefault(self.bed.tests[test], []).append(test)
        # those first that run the statement, and of these the ones that need not be compiled anew
        def cost(program):
            return programs[program][0] not in chosen, self.bed.compiles_anew(program, change.path)
        return {p: programs[p] for p in sorted(programs, key=cost)}


def try_change(bed, place, chooser, change):
    differing, ran = [], 0
    try:
        try:
            differing = place.put_in(change)
        except NotCompiling:
            return {"state": BROKEN}
        if not differing:
            return {"state": SAME}
        for name, tests in chooser.tests(change, differing).items():
            try:
                program = place.program(name, change)
            except NotCompiling:
                return {"state": BROKEN}
            for test in tests:
                ran += 1
                limit = 2 + 10 * bed.coverage[test]["cpu"]
                passed, by_time, _ = bed.run_test(test, program, place.folder / "tmp", limit)
                if not passed:
                    chooser.caught[change.path, test] = chooser.caught.get((change.path, test), 0) + 1
                    return {"state": CAUGHT, "by": test, "time": by_time, "ran": ran}
        return {"state": SURVIVED, "ran": ran}
    finally:
        place.take_out(change, differing)


def report(drawn, lines, results):
    states = [CAUGHT, SURVIVED, SAME, BROKEN]
    rows = []
    for folder in sorted(lines):
        found = [results[c.name()] for c in drawn if c.path.split("/")[1] == folder and c.name() in results]
        rows.append((folder, lines[folder], len(found), *(sum(r["state"] == s for r in found) for s in states)))
    rows.append(("all", *(sum(r[i] for r in rows) for i in range(1, 7))))
    print("| Folder | Lines of code | Changes | Caught | Survived | Same object code | Not compiling | Share caught |")
    print("|---|---|---|---|---|---|---|---|")
    for row in rows:
        share = f"{100 * row[3] / (row[3] + row[4]):.1f} %" if row[3] + row[4] else ""
        print("| " + " | ".join(map(str, row)) + f" | {share} |")
    found = [results[c.name()] for c in drawn if c.name() in results]
    print(f"\nCaught by their time: {sum(r.get('time', False) for r in found)}. Survived:")
    for change in drawn:
        result = results.get(change.name(), {})
        if result.get("state") == SURVIVED:
            print(f"  {change.name()}  ({result['ran']} tests)")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("count", nargs="?", type=int, default=400)
    parser.add_argument("seed", nargs="?", type=int, default=1)
    parser.add_argument("--jobs", type=int, default=2)
    parser.add_argument("--again", action="store_true", help="try the survivors of an earlier run once more")
    parser.add_argument("--report", action="store_true", help="only tell what is done")
    options = parser.parse_args()
    root = Path(__file__).resolve().parents[2]
    work = root / "build" / "mutation"
    work.mkdir(parents=True, exist_ok=True)

    drawn, lines = draw(root, options.count, options.seed)
    log = work / f"results-{options.count}-{options.seed}.jsonl"
    results = {}
    for line in log.read_text().splitlines() if log.exists() else []:
        results.update([json.loads(line)])
    todo = [c for c in drawn if c.name() not in results or
            (options.again and results[c.name()]["state"] == SURVIVED)]
    if todo and not options.report:
        bed = Testbed(root, root / "build" / "dev", work, options.jobs)
        bed.prepare()
        failing = bed.measure()
        print(f"mutation: {len(bed.coverage)} tests; left out, as they fail without a change: {failing or 'none'}")
        chooser = Chooser(bed)
        files = {}
        for change in todo:
            files.setdefault(change.path, []).append(change)
        queue = sorted(files.values(), key=lambda f: f[0].path.endswith(".h"))  # headers cost the most: last
        lock, idle = threading.Lock(), [Place(bed, f"place{i}") for i in range(options.jobs)]

        def work_on(changes):
            with lock:
                place = idle.pop()
            for change in changes:
                result = try_change(bed, place, chooser, change)
                with lock, log.open("a") as out:
                    results[change.name()] = result
                    out.write(json.dumps([change.name(), result]) + "\n")
                    print(f"[{len(results)}/{len(drawn)}] {result['state']:>16}  {change.name()}", flush=True)
            with lock:
                idle.append(place)

        with ThreadPoolExecutor(options.jobs) as pool:
            list(pool.map(work_on, queue))
    report(drawn, lines, results)


if __name__ == "__main__":
    main()
