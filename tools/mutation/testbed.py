"""Compiles changed sources of the library, links them into the tests of a configured build, and runs those.

Nothing in the sources or in the build is touched: objects of tests, host and test support come from the build
(preset dev), everything else goes to the work folder.
"""
import json
import os
import shlex
import shutil
import subprocess
import time
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

# Fast to compile. Undefined behavior traps, as it would stop the tests in their checked build.
CHANGED = "-O1 -w -fsanitize=undefined,float-cast-overflow -fsanitize-undefined-trap-on-error".split()
COVERED = "-O0 -w --coverage -fprofile-abs-path".split()
LINKED = ["-fuse-ld=lld", "-Wl,--strip-debug"]
MEMORY = 4 << 30  # bytes of address space that a test may take


class NotCompiling(Exception):
    pass


def run(command, **options):
    return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False, **options)


class Testbed:
    def __init__(self, root, build, work, jobs):
        self.root, self.build, self.work, self.jobs = root, build, work, jobs
        (work / "base").mkdir(parents=True, exist_ok=True)
        (work / "covered").mkdir(exist_ok=True)
        entries = json.loads((build / "compile_commands.json").read_text())
        self.compile = {e["file"]: shlex.split(e["command"]) for e in entries if "/sim/" not in e["file"]}
        self.sources = sorted(f for f in self.compile if f.startswith(str(root / "src") + "/"))
        self.includes = self._read_deps()
        self.tests = {}  # name -> program
        self.link = {}  # program -> command
        self._read_tests()
        self.coverage = {}  # test -> {"cpu", "lines": {path: [line]}}
        self.counted = {}  # path -> lines that have code

    def _read_deps(self):
        """Object of the build -> the library's headers and source it is made of, relative to the root."""
        deps, key = {}, None
        for line in run(["ninja", "-C", str(self.build), "-t", "deps"]).stdout.decode().splitlines():
            if line.startswith("    "):
                path = os.path.normpath(self.build / line.strip())
                if path.startswith(str(self.root / "src") + "/"):
                    deps[key].add(os.path.relpath(path, self.root))
            elif ": #deps" in line:
                key = line.split(":")[0]
                deps[key] = set()
        return deps

    def _read_tests(self):
        listed = json.loads(run(["ctest", "--show-only=json-v1"], cwd=self.build).stdout)
        for test in listed["tests"]:
            command = test.get("command", [])
            if len(command) < 2 or not command[1].startswith("--gtest_filter="):
                continue
            program = os.path.relpath(command[0], self.build)
            if program not in self.link:
                text = run(["ninja", "-C", str(self.build), "-t", "commands", program]).stdout.decode()
                text = text.strip().splitlines()[-1].removeprefix(": && ").split(" && ")[0]
                self.link[program] = shlex.split(text)
            # the others load the library as it ships: the simulator's, and the guard on the shared object
            if "src/libtarnforce_static.a" in self.link[program]:
                self.tests[command[1].removeprefix("--gtest_filter=")] = program

    @staticmethod
    def member(source):  # one name for an object, whatever its folder
        return source.split("/src/")[1].replace("/", "__") + ".o"

    def build_object(self, source, flags, out, tree=None, cwd=None):
        command = list(self.compile[source])
        if tree:  # the changed copy instead of the sources
            src, copy = str(self.root / "src"), str(tree / "src")
            command = [a.replace(src + "/", copy + "/") if src + "/" in a else copy if a == src else
                       "-I" + copy if a == "-I" + src else a for a in command]
        command = [a for a in command if not a.startswith("-W") and a not in ("-g", "-O2")]
        command[command.index("-o") + 1] = str(out)
        done = run(command + flags, cwd=cwd or self.build, env={**os.environ, "CCACHE_DISABLE": "1"})
        if done.returncode:
            raise NotCompiling(done.stdout.decode(errors="replace"))

    def prepare(self):
        """The unchanged library, once to change and once to count lines."""
        def one(task):
            folder, source, flags = task
            out = self.work / folder / self.member(source)
            made = out.stat().st_mtime if out.exists() else 0
            entry = next(k for k in self.includes if k.startswith("src/") and k.endswith("/" + source.split("/src/")[1] + ".o"))
            if made < max((self.root / h).stat().st_mtime for h in self.includes[entry]):
                self.build_object(source, flags, out)
            return out
        tasks = [(f, s, flags) for f, flags in (("base", CHANGED), ("covered", COVERED)) for s in self.sources]
        with ThreadPoolExecutor(self.jobs) as pool:
            built = list(pool.map(one, tasks))
        for folder in ("base", "covered"):
            archive = self.work / folder / "lib.a"
            members = [o for o in built if o.parent.name == folder]
            if not archive.exists() or archive.stat().st_mtime < max(o.stat().st_mtime for o in members):
                archive.unlink(missing_ok=True)
                run(["ar", "rcsD", str(archive), *map(str, members)])

    def link_program(self, program, archive, out, extra=(), replaced=None):
        command = [str(archive) if a == "src/libtarnforce_static.a" else (replaced or {}).get(a, a)
                   for a in self.link[program] if a != "-g"]
        command[command.index("-o") + 1] = str(out)
        done = run(command + LINKED + list(extra), cwd=self.build)
        if done.returncode:
            raise NotCompiling(done.stdout.decode(errors="replace"))

    def compiles_anew(self, program, path):
        return any(path in self.includes.get(part, ()) for part in self.link[program])

    def run_test(self, test, program, place, cpu_limit, env=None):
        """(passed, by time, processor seconds)"""
        place.mkdir(parents=True, exist_ok=True)
        command = ["prlimit", f"--cpu={int(cpu_limit) + 1}", f"--as={MEMORY}", "--core=0", str(program),
                   f"--gtest_filter={test}", "--gtest_also_run_disabled_tests", "--gtest_brief=1"]
        child = subprocess.Popen(command, cwd=place, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                 env={**os.environ, "TEST_TMPDIR": str(place) + "/", **(env or {})})
        deadline = time.monotonic() + 60 + 20 * cpu_limit  # for one that sleeps; a busy machine is no reason
        while True:
            pid, status, usage = os.wait4(child.pid, os.WNOHANG)
            if pid:
                break
            if time.monotonic() > deadline:
                child.kill()
            time.sleep(0.002)
        child.returncode = status
        cpu = usage.ru_utime + usage.ru_stime
        return status == 0, cpu >= cpu_limit or time.monotonic() > deadline, cpu

    # ---- which test runs which line

    def measure(self):
        """Runs every test once on the unchanged library, and once counting lines. Kept for tests whose program
        and library are the same as last time."""
        store = self.work / "coverage.json"
        kept = json.loads(store.read_text()) if store.exists() else {}
        library = [(self.work / f / "lib.a").stat().st_mtime for f in ("base", "covered")]
        def stamp(program):
            parts = [self.build / a for a in self.link[program] if a.endswith((".o", ".a", ".so")) and "tarnforce" not in a]
            return library + [p.stat().st_mtime for p in parts if p.exists()]
        by_program = {}
        for test, program in self.tests.items():
            by_program.setdefault(program, []).append(test)
        stale = [p for p in by_program if kept.get(p, {}).get("stamp") != stamp(p)]

        def one(program):
            place = self.work / "measure" / Path(program).name
            counts = place / "counts"
            shutil.rmtree(place, ignore_errors=True)
            counts.mkdir(parents=True)
            for note in (self.work / "covered").glob("*.gcno"):
                (counts / note.name).symlink_to(note)
            self.link_program(program, self.work / "base" / "lib.a", place / "plain")
            self.link_program(program, self.work / "covered" / "lib.a", place / "counting", ["--coverage"])
            tests = {}
            for test in by_program[program]:
                passed, _, cpu = self.run_test(test, place / "plain", place / "tmp", 300)
                for old in counts.glob("*.gcda"):
                    old.unlink()
                self.run_test(test, place / "counting", place / "tmp", 600,
                              {"GCOV_PREFIX": str(counts), "GCOV_PREFIX_STRIP": "99"})
                lines, counted = self._lines(counts)
                tests[test] = {"passed": passed, "cpu": cpu, "lines": lines}
                for path, numbers in counted.items():
                    self.counted.setdefault(path, set()).update(numbers)
            shutil.rmtree(place)
            return program, {"stamp": stamp(program), "tests": tests}

        with ThreadPoolExecutor(self.jobs) as pool:
            for done, (program, found) in enumerate(pool.map(one, stale), 1):
                kept[program] = found
                print(f"mutation: lines of {program} ({done} of {len(stale)})", flush=True)
                kept["counted"] = {p: sorted(n | set(kept.get("counted", {}).get(p, ()))) for p, n in self.counted.items()}
                store.write_text(json.dumps(kept))
        self.counted = {p: set(n) for p, n in kept["counted"].items()}
        failing = [t for p in by_program for t, found in kept[p]["tests"].items() if not found["passed"]]
        self.coverage = {t: f for p in by_program for t, f in kept[p]["tests"].items() if f["passed"]}
        for found in self.coverage.values():
            found["lines"] = {p: set(n) for p, n in found["lines"].items()}
        return failing

    def _lines(self, counts):
        files = [f.name for f in counts.glob("*.gcda")]
        executed, counted = {}, {}
        if files:
            text = run(["gcov", "--json-format", "--stdout", *files], cwd=counts).stdout.decode(errors="replace")
            for report in (json.loads(line) for line in text.splitlines() if line.startswith("{")):
                for file in report["files"]:
                    if not file["file"].startswith(str(self.root / "src") + "/"):
                        continue
                    path = os.path.relpath(file["file"], self.root)
                    for line in file["lines"]:
                        counted.setdefault(path, set()).add(line["line_number"])
                        if line["count"]:
                            executed.setdefault(path, set()).add(line["line_number"])
        return {p: sorted(n) for p, n in executed.items()}, counted


class Place:
    """A copy of the library's sources and its objects, for one change at a time."""

    def __init__(self, bed, name):
        self.bed, self.folder = bed, bed.work / name
        shutil.rmtree(self.folder, ignore_errors=True)
        shutil.copytree(bed.root / "src", self.folder / "src")
        shutil.copy2(bed.work / "base" / "lib.a", self.folder / "lib.a")
        self.text = ""

    def put_in(self, change):
        """Builds the library with the change. Sources whose objects differ by it."""
        file = self.folder / change.path
        self.text = file.read_text()
        file.write_text(change.apply(self.text))
        differing = []
        for source in self.bed.sources:
            entry = next(k for k in self.bed.includes
                         if k.startswith("src/") and k.endswith("/" + source.split("/src/")[1] + ".o"))
            if change.path in self.bed.includes[entry]:
                out = self.folder / self.bed.member(source)
                self.bed.build_object(source, CHANGED, out, self.folder)
                if out.read_bytes() != (self.bed.work / "base" / out.name).read_bytes():
                    differing.append(source)
        if differing:
            run(["ar", "rD", str(self.folder / "lib.a"), *(str(self.folder / self.bed.member(s)) for s in differing)])
        return differing

    def program(self, name, change):
        """The test program on the changed library; its own objects anew where they include what changed."""
        replaced = {}
        for part in self.bed.link[name]:
            if change.path in self.bed.includes.get(part, ()):
                source = next(f for f, c in self.bed.compile.items() if part in c)
                replaced[part] = str(self.folder / part.replace("/", "__"))
                self.bed.build_object(source, ["-O0", "-w"], replaced[part], self.folder)
        out = self.folder / "program"
        self.bed.link_program(name, self.folder / "lib.a", out, replaced=replaced)
        return out

    def take_out(self, change, differing):
        (self.folder / change.path).write_text(self.text)
        if differing:
            run(["ar", "rD", str(self.folder / "lib.a"),
                 *(str(self.bed.work / "base" / self.bed.member(s)) for s in differing)])
