#!/usr/bin/python3
"""Mutation runs over the engine: one small fault at a time, to show which faults no test catches.

A site is one place in src/ or services/ where a fault is planted: a comparison flipped at its
boundary (`<` as `<=`, `==` as `!=`), `&&` as `||`, a `!` dropped, `+ 1` or `- 1` as `+ 0` or
`- 0`, `true` as `false`, or a statement removed. Each mutant is built in a scratch copy of the
repository (build-mutation/ by default, configured for quick compiles) and the fast tests run
against it, most likely killers first, stopping at the first failure.

    mutate.py list [PATH...]                 the sites, in the form the equivalent list uses
    mutate.py run [PATH...] [--sample N --seed S] [--rerun TABLE] [--table OUT] [--merge TABLE]
                  [--strict]
    mutate.py score [--table TABLE]          sites, killed, equivalent, survived
    mutate.py survivors [PATH...]            what no test kills and no entry explains
    mutate.py merge TABLE... [--into TABLE]  fold run tables into the committed one

PATH is a file or folder under src/ or services/ (default: both). A site is known by its file,
its mutant and the text of its line, not by its line number, so that the equivalent list
(tests/mutation-equivalent.txt) keeps matching while the code around it moves.
"""

import argparse
import fcntl
import hashlib
import json
import os
import re
import resource
import shutil
import signal
import subprocess
import sys
import time
from dataclasses import dataclass, field
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
ENGINE_DIRS = ("src", "services")
EQUIVALENT_LIST = ROOT / "tests" / "mutation-equivalent.txt"
RESULTS_TABLE = ROOT / "tests" / "mutation-results.tsv"
LIBRARY_GLOB = "libBrelonOnfEngine.so.*.*"
TABLE_COLUMNS = ("file", "line", "column", "mutant", "result", "seconds", "killed_by", "text")
REMOVED = "remove statement"

# ---- Sites ------------------------------------------------------------------------------------


@dataclass
class Site:
    file: str  # relative to the repository
    line: int  # 1-based
    column: int  # 1-based
    start: int  # offset of the replaced text in the file
    end: int
    original: str
    replacement: str
    text: str  # the site's line, blanks collapsed
    occurrence: int = 1  # among equal mutants of the same line
    repeat: int = 1  # among equal lines of the file with this mutant

    @property
    def mutant(self):
        if self.original == REMOVED:
            name = REMOVED
        else:
            name = f"`{self.original}` -> `{self.replacement}`"
        if self.occurrence > 1:
            name += f" #{self.occurrence}"
        if self.repeat > 1:
            name += f" @{self.repeat}"
        return name

    @property
    def key(self):
        return f"{self.file}: {self.mutant}: {self.text}"

    @property
    def where(self):
        return f"{self.file}:{self.line}:{self.column}"


def mask_code(text):
    """The text with comments, string and character literals and preprocessor lines blanked out,
    offsets and line breaks kept, so that operators are looked for in code only."""
    out = list(text)
    n = len(text)
    i = 0
    line_start = True

    def blank(a, b):
        for k in range(a, b):
            if out[k] != "\n":
                out[k] = " "

    while i < n:
        c = text[i]
        if c == "\n":
            line_start = True
            i += 1
            continue
        if line_start and c == "#":
            j = i
            while j < n and (text[j] != "\n" or text[j - 1] == "\\"):
                j += 1
            blank(i, j)
            i = j
            continue
        if not c.isspace():
            line_start = False
        if text.startswith("//", i):
            j = text.find("\n", i)
            j = n if j < 0 else j
            blank(i, j)
            i = j
        elif text.startswith("/*", i):
            j = text.find("*/", i + 2)
            j = n if j < 0 else j + 2
            blank(i, j)
            i = j
        elif c == "R" and text.startswith('R"', i) and not _ident_char(text, i - 1):
            open_paren = text.find("(", i)
            delimiter = ")" + text[i + 2 : open_paren] + '"'
            j = text.find(delimiter, open_paren)
            j = n if j < 0 else j + len(delimiter)
            blank(i + 1, j - 1)
            i = j
        elif c == '"' or (c == "'" and not text[i - 1 : i].isalnum()):
            j = i + 1
            while j < n and text[j] != c:
                j += 2 if text[j] == "\\" else 1
            blank(i + 1, j)
            i = j + 1
        else:
            i += 1
    return "".join(out)


def _ident_char(text, i):
    return i >= 0 and (text[i].isalnum() or text[i] == "_")


# Operators that a clang-formatted source always writes with a blank on each side; template
# brackets, `->`, `<<` and rvalue references never stand that way.
BINARY_MUTANTS = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "==",
                  "&&": "||", "||": "&&"}
BINARY_RE = re.compile(r"(?<= )(<=|>=|==|!=|&&|\|\||<|>)(?= )")
NOT_RE = re.compile(r"(?<![\w)\]!])!(?!=)")
ONE_RE = re.compile(r"(?<= )[+-] (1)(?=[uUlL]*(?![\w.']))")
BOOL_RE = re.compile(r"\b(true|false)\b")

# Statements whose removal still compiles: calls, assignments, increments, jumps and throws.
KEYWORDS = r"(?!(?:if|for|while|switch|do|else|case|default|return|sizeof|new|delete|co_\w+)\b)"
PATH = KEYWORDS + r"(?:::)?[A-Za-z_]\w*(?:(?:::|\.|->)~?[A-Za-z_]\w*|\[[^\]]*\]|<[\w:, *&<>]*>)*"
STATEMENT_RE = re.compile(
    r"^(?:(?:break|continue|return)\s*;|throw\b.*|(?:\+\+|--)\s*\*?" + PATH + r".*"
    r"|\*?" + PATH + r"\s*(?:\(|(?:=|\+=|-=|\*=|/=|%=|\|=|&=|\^=|<<=|>>=)(?!=)|\+\+|--).*)$",
    re.S)
# Reserving capacity changes speed, never results: such calls are no sites.
CAPACITY_ONLY_RE = re.compile(r"^[\w.\->\[\]]*(?:\.|->)(?:reserve|shrink_to_fit)\(")
CONTROL_PREFIX_RE = re.compile(r"^(?:else|(?:case\b.*|default)\s*:|(?:else\s+)?(?:if|for|while)\b.*\))$", re.S)


def brace_kind(prefix, in_code):
    """What a `{` opens, judged by the code before it: "code" for a function body or a block of
    statements, "decl" for a class or namespace, "init" for a braced initialiser."""
    p = prefix.strip()
    head = p.split("(", 1)[0]
    if re.search(r"\b(class|struct|union|enum|namespace)\b", head) or p.startswith("extern"):
        return "decl"
    if in_code:
        if p == "" or re.search(r"(\)|\]|\belse|\bdo|\btry|\bmutable|:)$", p):
            return "code"
        return "init"
    if re.search(r"(\)|\bconst|\boverride|\bnoexcept|\bfinal)$", p):
        return "code"
    return "init"


def statement_end(masked, start):
    """Offset just past the `;` ending the statement at `start`, or None."""
    depth = 0
    for k in range(start, len(masked)):
        ch = masked[k]
        if ch in "([{":
            depth += 1
        elif ch in ")]}":
            depth -= 1
            if depth < 0:
                return None
        elif ch == ";" and depth == 0:
            return k + 1
    return None


def statement_starts(masked):
    """Offsets where a statement begins inside a function body, each at the start of a line."""
    stack = []  # (kind, paren depth outside the brace)
    paren = 0
    last_sep = -1
    starts = []
    at_line_start = True
    for i, ch in enumerate(masked):
        if ch == "\n":
            at_line_start = True
            continue
        if ch.isspace():
            continue
        if at_line_start:
            at_line_start = False
            in_code = bool(stack) and stack[-1][0] == "code"
            prefix = masked[last_sep + 1 : i].strip()
            if in_code and paren == 0 and (prefix == "" or CONTROL_PREFIX_RE.match(prefix)):
                starts.append(i)
        if ch == "(":
            paren += 1
        elif ch == ")":
            paren = max(paren - 1, 0)
        elif ch == "{":
            in_code = bool(stack) and stack[-1][0] == "code"
            stack.append((brace_kind(masked[last_sep + 1 : i], in_code), paren))
            paren = 0
            last_sep = i
        elif ch == "}":
            paren = stack.pop()[1] if stack else 0
            last_sep = i
        elif ch == ";" and paren == 0:
            last_sep = i
    return starts


def find_sites(path):
    rel = path.relative_to(ROOT).as_posix()
    text = path.read_text(encoding="utf-8", errors="surrogateescape")
    masked = mask_code(text)
    line_offsets = [0] + [m.end() for m in re.finditer("\n", text)]
    lines = text.split("\n")
    found = []

    def add(start, end, original, replacement):
        line = _line_of(line_offsets, start)
        found.append(Site(rel, line + 1, start - line_offsets[line] + 1, start, end, original,
                          replacement, " ".join(lines[line].split())))

    for m in BINARY_RE.finditer(masked):
        add(m.start(), m.end(), m.group(1), BINARY_MUTANTS[m.group(1)])
    for m in NOT_RE.finditer(masked):
        add(m.start(), m.end(), "!", "")
    for m in ONE_RE.finditer(masked):
        add(m.start(1), m.end(1), "1", "0")
    for m in BOOL_RE.finditer(masked):
        add(m.start(), m.end(), m.group(1), "false" if m.group(1) == "true" else "true")
    capacity_only = []
    for start in statement_starts(masked):
        end = statement_end(masked, start)
        statement = " ".join(masked[start:end].split()) if end is not None else ""
        if CAPACITY_ONLY_RE.match(statement):
            capacity_only.append((start, end))
        elif STATEMENT_RE.match(statement):
            add(start, end, REMOVED, "{}" + "\n" * text.count("\n", start, end))
    found = [s for s in found if not any(a <= s.start < b for a, b in capacity_only)]
    found.sort(key=lambda s: (s.start, s.original))
    _number_sites(found)
    return found


def _line_of(offsets, pos):
    lo, hi = 0, len(offsets) - 1
    while lo < hi:
        mid = (lo + hi + 1) // 2
        if offsets[mid] <= pos:
            lo = mid
        else:
            hi = mid - 1
    return lo


def _number_sites(sites):
    """Tells apart equal mutants on one line (#k) and equal lines of one file (@k)."""
    per_line = {}
    for s in sites:
        k = (s.line, s.original)
        per_line[k] = per_line.get(k, 0) + 1
        s.occurrence = per_line[k]
    per_key = {}
    for s in sites:
        per_key[s.key] = per_key.get(s.key, 0) + 1
        s.repeat = per_key[s.key]


def engine_files(paths):
    roots = [ROOT / p for p in (paths or ENGINE_DIRS)]
    files = []
    for r in roots:
        r = r.resolve()
        if r.is_file():
            files.append(r)
        elif r.is_dir():
            files += [f for f in r.rglob("*") if f.suffix in (".cpp", ".h")]
        else:
            sys.exit(f"mutate.py: no such file or folder: {r}")
    for f in files:
        if not any(f.is_relative_to(ROOT / d) for d in ENGINE_DIRS):
            sys.exit(f"mutate.py: {f} lies outside {' and '.join(ENGINE_DIRS)}")
    return sorted(set(files))


def all_sites(paths=None):
    sites = []
    for f in engine_files(paths):
        sites += find_sites(f)
    return sites


# ---- The equivalent list ----------------------------------------------------------------------


class EquivalentList(dict):
    """Key -> (section, reason), where a key may stand for many sites: a file of `*` matches
    every file, and a mutant ending in ` @*` every repeat of its line in a file. Such an entry
    covers an idiom that recurs through the engine and is equivalent wherever it stands."""

    @staticmethod
    def general(key):
        file, mutant, text = key.split(": ", 2)
        return f"*: {re.sub(r' @[0-9*]+$', ' @*', mutant)}: {text}"

    def lookup(self, key):
        if dict.__contains__(self, key):
            return key
        if key.count(": ") < 2:
            return None
        file, mutant, text = key.split(": ", 2)
        general = self.general(key)
        for candidate in (general, f"{file}: {general.split(': ', 2)[1]}: {text}",
                          f"*: {mutant}: {text}"):
            if dict.__contains__(self, candidate):
                return candidate
        return None

    def __contains__(self, key):
        return self.lookup(key) is not None

    def get(self, key, default=None):
        found = self.lookup(key)
        return default if found is None else self[found]


def read_equivalent(path=EQUIVALENT_LIST):
    """The equivalent list: key -> (section, reason). An entry is a site's key on a line of its
    own, followed by indented lines giving the reason. Entries under "[equivalent]" cannot change
    what the engine does; those under "[untested]" can, but only where no test can reasonably go
    (gigabytes of input, say): they count as survivors, yet do not fail a strict run."""
    entries = EquivalentList()
    if not path.exists():
        return entries
    key = None
    section = None
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        if not line.strip() or line.startswith("#"):
            continue
        if line.strip() in ("[equivalent]", "[untested]"):
            section, key = line.strip()[1:-1], None
        elif line[0].isspace():
            if key is None:
                sys.exit(f"{path}:{number}: a reason before any site")
            entries[key] = (section, (entries[key][1] + " " + line.strip()).strip())
        elif section is None:
            sys.exit(f"{path}:{number}: an entry before [equivalent] or [untested]")
        else:
            key = " ".join(line.split())
            entries[key] = (section, "")
    for key, (_, reason) in entries.items():
        if not reason:
            sys.exit(f"{path}: no reason given for {key}")
    return entries


# ---- The scratch build ------------------------------------------------------------------------


def run_quiet(cmd, **kwargs):
    return subprocess.run(cmd, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          errors="replace", **kwargs)


class Scratch:
    """A copy of the repository and a build of it that mutants are planted in."""

    def __init__(self, folder, jobs, sanitize):
        self.folder = Path(folder).resolve()
        self.tree = self.folder / "tree"
        self.build = self.folder / ("build-sanitize" if sanitize else "build")
        self.jobs = jobs
        self.sanitize = sanitize
        self.saved_objects = {}  # tree file -> bytes of its object built from the original
        self.targets = []  # what a build makes; none named: everything
        self.folder.mkdir(parents=True, exist_ok=True)
        self.lock = open(self.folder / "lock", "w")
        try:
            fcntl.flock(self.lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except OSError:
            sys.exit(f"mutate.py: another run uses {self.folder}; give this one --scratch")

    def sync(self):
        """Makes the tree equal to the repository's files; a changed file gets a fresh time so
        that whatever was built from an earlier mutant of it is built again."""
        listed = run_quiet(["git", "-C", str(ROOT), "ls-files", "--cached", "--others",
                            "--exclude-standard"], check=True).stdout.split("\n")
        wanted = {f for f in listed if f and (ROOT / f).is_file()}
        digest = hashlib.sha256()
        for f in sorted(wanted):
            src, dst = ROOT / f, self.tree / f
            data = src.read_bytes()
            digest.update(f.encode() + b"\0" + data)
            if not dst.exists() or dst.read_bytes() != data:
                dst.parent.mkdir(parents=True, exist_ok=True)
                dst.write_bytes(data)
                shutil.copymode(src, dst)
        self.fingerprint = digest.hexdigest()
        if self.tree.exists():
            for f in self.tree.rglob("*"):
                if f.is_file() and f.relative_to(self.tree).as_posix() not in wanted:
                    f.unlink()

    def configure(self, build=None, extra=()):
        build = build or self.build
        if (build / "build.ninja").exists():
            return
        # Quick compiles: no debug information, light optimisation, assertions as in a release.
        # A build type of its own, so that no flags of a standard one are added.
        flags = "-O1 -g0 -DNDEBUG"
        result = run_quiet(["cmake", "-S", str(self.tree), "-B", str(build), "-G", "Ninja",
                            "-DCMAKE_BUILD_TYPE=Mutation", f"-DCMAKE_CXX_FLAGS={flags}",
                            "-DONF_BUILD_BENCH=OFF", "-DONF_BUILD_FUZZ=OFF", "-DONF_WERROR=OFF",
                            f"-DONF_SANITIZE={'ON' if self.sanitize else 'OFF'}",
                            "-DCMAKE_LINK_DEPENDS_NO_SHARED=ON", *extra])
        if result.returncode != 0:
            sys.exit("mutate.py: configuring the scratch build failed:\n" + result.stdout)

    def make(self, build=None):
        """Builds; answers (succeeded, targets whose objects were compiled, the log)."""
        build = build or self.build
        targets = ["--target", *self.targets] if self.targets and build == self.build else []
        result = run_quiet(["cmake", "--build", str(build), "-j", str(self.jobs), *targets])
        compiled = set(re.findall(r"Building CXX object CMakeFiles/([^/]+)\.dir/", result.stdout))
        return result.returncode == 0, compiled, result.stdout

    def library_digest(self):
        libs = [p for p in self.build.glob(LIBRARY_GLOB) if not p.is_symlink()]
        return hashlib.sha256(libs[0].read_bytes()).hexdigest() if libs else None

    def object_of(self, rel):
        return self.build / "CMakeFiles" / "BrelonOnfEngine.dir" / (rel + ".o")

    def plant(self, site, original_text):
        """Writes the mutant into the tree, keeping the original's object to restore later."""
        obj = self.object_of(site.file)
        if site.file not in self.saved_objects and site.file.endswith(".cpp") and obj.exists():
            self.saved_objects[site.file] = obj.read_bytes()
        mutated = original_text[: site.start] + site.replacement + original_text[site.end :]
        (self.tree / site.file).write_text(mutated, encoding="utf-8", errors="surrogateescape")

    def restore(self, rel, original_text, original_mtime):
        """Puts a file back as it was. When its original object is at hand, that object goes back
        too, stamped with the time the build log holds for it, so that the file is not compiled
        again; the library is removed so that the next build links it anew."""
        path = self.tree / rel
        path.write_text(original_text, encoding="utf-8", errors="surrogateescape")
        obj = self.object_of(rel)
        saved = self.saved_objects.pop(rel, None)
        if saved is not None and obj.exists():
            stamp = obj.stat().st_mtime_ns
            os.utime(path, ns=(original_mtime, original_mtime))
            obj.write_bytes(saved)
            os.utime(obj, ns=(stamp, stamp))
            for lib in self.build.glob(LIBRARY_GLOB):
                if not lib.is_symlink():
                    lib.unlink()


# ---- Tests ------------------------------------------------------------------------------------


def heap_checks(sanitize):
    """What the tests run with. Under the sanitizers, the options of CI's sanitizer run. Else the
    C library's own cheap heap checks, so that a mutant that writes past a block or reads freed
    or unset memory is more likely to fail as it would under the sanitizers: fresh and freed
    blocks are filled with a pattern, and blocks carry guard bytes checked when freed."""
    if sanitize:
        return {"ASAN_OPTIONS": "halt_on_error=1:detect_leaks=1:abort_on_error=1",
                "UBSAN_OPTIONS": "halt_on_error=1"}
    env = {"MALLOC_PERTURB_": "165"}
    found = run_quiet(["/sbin/ldconfig", "-p"]).stdout if Path("/sbin/ldconfig").exists() else ""
    if "libc_malloc_debug.so.0" in found:
        env.update(LD_PRELOAD="libc_malloc_debug.so.0", MALLOC_CHECK_="3")
    return env


HEAP_CHECKS = {}


@dataclass
class TestProgram:
    name: str
    command: list
    cwd: str
    env: dict = field(default_factory=dict)
    skip_code: int = None
    seconds: float = 0.0
    native: bool = False  # a program of the build itself, not a script run by an interpreter

    def start(self):
        env = dict(os.environ, **HEAP_CHECKS, **self.env)
        cpu_limit = int(self.timeout()) + 1

        def limit_cpu():
            # A mutant that loops must end even when this run is stopped before its deadline:
            # the kernel ends the program once it has used the time its deadline allows.
            resource.setrlimit(resource.RLIMIT_CPU, (cpu_limit, cpu_limit + 5))

        return subprocess.Popen(self.command, cwd=self.cwd, env=env, start_new_session=True,
                                stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                preexec_fn=limit_cpu)

    def passes(self, returncode):
        return returncode == 0 or returncode == self.skip_code

    def timeout(self):
        return max(10.0, 5 * self.seconds) if self.seconds else 600.0


def first_failure(programs, jobs):
    """Runs the programs in their order, `jobs` at a time, until one fails (a failure, crash or
    timeout); answers that program, or None when all pass."""
    pending = list(programs)
    running = []
    try:
        while pending or running:
            while pending and len(running) < jobs:
                program = pending.pop(0)
                running.append((program, program.start(), time.monotonic() + program.timeout()))
            time.sleep(0.005)
            for entry in list(running):
                program, process, deadline = entry
                code = process.poll()
                if code is None and time.monotonic() < deadline:
                    continue
                running.remove(entry)
                if code is None or not program.passes(code):
                    return program
        return None
    finally:
        for _, process, _ in running:
            os.killpg(process.pid, signal.SIGKILL)
            process.wait()


def ctest_listing(build):
    shown = run_quiet(["ctest", "--test-dir", str(build), "--show-only=json-v1", "-LE", "fuzz"])
    return json.loads(shown.stdout)["tests"]


def native_targets(build):
    """The targets of the test programs built with the library. Before they are built, CTest
    lists the cases of a GoogleTest program as one entry named after it with "_NOT_BUILT", and
    another program of the build under its own name without a command."""
    targets = set()
    for test in ctest_listing(build):
        if test["name"].endswith("_NOT_BUILT"):
            targets.add(test["name"][: -len("_NOT_BUILT")])
        elif "command" not in test:
            targets.add(test["name"])
        elif Path(test["command"][0]).parent == Path(build):
            targets.add(Path(test["command"][0]).name)
    return sorted(targets)


def test_programs(build):
    """The fast tests of the build, a GoogleTest program run whole (stopping at its first
    failure) rather than one CTest entry a test case."""
    programs = {}
    for test in ctest_listing(build):
        props = {p["name"]: p["value"] for p in test.get("properties", [])}
        command = test.get("command")
        if not command:
            continue  # not built
        cwd = props.get("WORKING_DIRECTORY", str(build))
        env = dict(e.split("=", 1) for e in props.get("ENVIRONMENT", []))
        skip = props.get("SKIP_RETURN_CODE")
        native = Path(command[0]).parent == Path(build)
        if any(a.startswith("--gtest_filter=") for a in command):
            name = Path(command[0]).name
            if name not in programs:
                programs[name] = TestProgram(name, [command[0], "--gtest_fail_fast",
                                                    "--gtest_brief=1"], cwd, env, skip,
                                             native=native)
        else:
            programs[test["name"]] = TestProgram(test["name"], command, cwd, env, skip,
                                                 native=native)
    return list(programs.values())


def component_tests():
    """Source file -> the test programs its CMake component registers."""
    tests_of = {}
    for cmake in sorted((ROOT / "cmake" / "components").glob("*.cmake")):
        text = cmake.read_text(encoding="utf-8")
        sources = re.findall(r"\b((?:src|services)/[\w/.]+\.(?:cpp|h))", text)
        for folder in re.findall(r"onf_add_engine_folder\((\w+)\)", text):
            sources += [f.relative_to(ROOT).as_posix() for f in (ROOT / "src" / folder).rglob("*")
                        if f.suffix in (".cpp", ".h")]
        tests = re.findall(r"onf_add_test\((\w+)", text)
        for s in sources:
            tests_of.setdefault(s, [])
            tests_of[s] += [t for t in tests if t not in tests_of[s]]
    return tests_of


def likely_killers(rel, tests_of, history):
    """Test programs to run first for a mutant of `rel`: those of its component (for a header,
    that of the sources beside it whose names share the most with it), then those that killed
    mutants of the same file before."""
    first = list(tests_of.get(rel, []))
    if not first:
        folder, stem = rel.rsplit("/", 1)[0], Path(rel).stem
        best = 0
        for source, tests in tests_of.items():
            if source.rsplit("/", 1)[0] == folder:
                common = len(os.path.commonprefix([Path(source).stem, stem]))
                if common > best:
                    best, first = common, list(tests)
    ranked = sorted(history.get(rel, {}).items(), key=lambda kv: -kv[1])
    return first + [name for name, _ in ranked if name not in first]


# ---- Coverage ---------------------------------------------------------------------------------


def measure_coverage(scratch, names):
    """Which test programs execute each line of the engine: (file, line) -> program names, from a
    build with --coverage in which each program runs alone. A mutant is tried only against the
    programs that reach it; one that none reaches survives without being built. Kept in the
    scratch folder for as long as the tree stays the same."""
    cache = scratch.folder / "coverage.json"
    if cache.exists():
        saved = json.loads(cache.read_text())
        if saved["tree"] == scratch.fingerprint and "instrumented" in saved:
            return Coverage(saved)
    build = scratch.folder / "build-coverage"
    scratch.configure(build, ["-DCMAKE_CXX_FLAGS=-O0 -g0 -DNDEBUG --coverage",
                              "-DCMAKE_EXE_LINKER_FLAGS=--coverage",
                              "-DCMAKE_SHARED_LINKER_FLAGS=--coverage"])
    built, _, log = scratch.make(build)
    if not built:
        sys.exit("mutate.py: the coverage build fails:\n" + log[-4000:])
    objects = build / "CMakeFiles" / "BrelonOnfEngine.dir"
    lines = {}
    instrumented = {}
    for program in test_programs(build):
        if program.name not in names:
            continue
        for data in objects.rglob("*.gcda"):
            data.unlink()
        process = program.start()
        process.wait()
        found = sorted(str(d) for d in objects.rglob("*.gcda"))
        report = run_quiet(["gcov", "-t", "-j", *found], cwd=build).stdout if found else ""
        for document in report.splitlines():
            if not document.startswith("{"):
                continue
            for entry in json.loads(document)["files"]:
                path = (build / entry["file"]).resolve()
                if not path.is_relative_to(scratch.tree):
                    continue
                rel = path.relative_to(scratch.tree).as_posix()
                known = instrumented.setdefault(rel, set())
                for line in entry["lines"]:
                    known.add(line["line_number"])
                    if line["count"] > 0:
                        lines.setdefault(rel, {}).setdefault(line["line_number"], set()).add(
                            program.name)
    if not lines:
        sys.exit("mutate.py: the coverage build reports no line of the engine run")
    saved = {"tree": scratch.fingerprint,
             "lines": {f: {n: sorted(p) for n, p in per.items()} for f, per in lines.items()},
             "instrumented": {f: sorted(known) for f, known in instrumented.items()}}
    cache.write_text(json.dumps(saved))
    return Coverage(json.loads(json.dumps(saved)))


class Coverage:
    """Lines of the engine that hold code of their own, and the programs that run each."""

    def __init__(self, saved):
        self.lines = {(f, int(n)): set(p) for f, per in saved["lines"].items()
                      for n, p in per.items()}
        self.instrumented = {(f, n) for f, known in saved["instrumented"].items() for n in known}

    def reaching(self, site):
        """The programs that run the site's line or the two lines above it (a condition broken
        over lines may be counted on its first line)."""
        names = set()
        for line in range(site.line - 2, site.line + 1):
            names |= self.lines.get((site.file, line), set())
        return names

    def never_run(self, site):
        """True when the site's line holds code that no program runs. A line without code of its
        own (one evaluated while compiling, say) is not known to be out of reach."""
        return (site.file, site.line) in self.instrumented and not self.reaching(site)


# ---- Runs -------------------------------------------------------------------------------------


def read_table(path):
    rows = {}
    if not path or not Path(path).exists():
        return rows
    lines = Path(path).read_text(encoding="utf-8").splitlines()
    for line in lines[1:]:
        values = line.split("\t")
        if len(values) == len(TABLE_COLUMNS):
            row = dict(zip(TABLE_COLUMNS, values))
            rows[f"{row['file']}: {row['mutant']}: {row['text']}"] = row
    return rows


def write_table(path, rows):
    ordered = sorted(rows.values(), key=lambda r: (r["file"], int(r["line"]), int(r["column"]),
                                                  r["mutant"]))
    with open(path, "w", encoding="utf-8") as out:
        out.write("\t".join(TABLE_COLUMNS) + "\n")
        for r in ordered:
            out.write("\t".join(str(r[c]).replace("\t", " ") for c in TABLE_COLUMNS) + "\n")


def classify(result, key, equivalent):
    """A survivor counts as equivalent when the list says so under [equivalent]."""
    if result in ("survived", "equivalent"):
        listed = equivalent.get(key, (None, ""))[0]
        return "equivalent" if listed == "equivalent" else "survived"
    return result


SANITIZER_MARK = " (sanitizers)"
NOT_REACHED = "(no test reaches it)"
LISTED = "(listed, not tried)"


def explained(row, key, equivalent, committed, programs):
    """Whether a survivor needs no new test: the equivalent list names it, or the committed table
    records that a test kills it which this run left out, or that kills it under the sanitizers
    (as CI's sanitizer run would)."""
    if key in equivalent:
        return True
    known = committed.get(key)
    if not (known and known["result"] == "killed"):
        return False
    killer = known["killed_by"]
    return killer.endswith(SANITIZER_MARK) or killer not in programs


def choose_sites(args, equivalent):
    sites = all_sites(args.paths)
    if args.rerun:
        wanted = {k for k, r in read_table(Path(args.rerun)).items()
                  if classify(r["result"], k, equivalent) == "survived"}
        sites = [s for s in sites if s.key in wanted]
    if args.sample is not None:
        sites = sorted(sites, key=lambda s: sample_rank(args.seed, s))[: args.sample]
    return sorted(sites, key=lambda s: (s.file, s.start))


def sample_rank(seed, site):
    """A site's place in the draw of a seed: a digest of the seed and the site's key. A change
    to the engine moves the sample only where a site that ranks among the drawn comes or goes, so
    that CI's sample stays the same while the code it draws from does."""
    return hashlib.sha256(f"{seed}\0{site.key}".encode("utf-8", "surrogateescape")).digest()


def kill_history(rows):
    history = {}
    for r in rows.values():
        if r["result"] == "killed" and r["killed_by"]:
            per = history.setdefault(r["file"], {})
            per[r["killed_by"]] = per.get(r["killed_by"], 0) + 1
    return history


class Runner:
    def __init__(self, scratch, programs, history):
        self.scratch = scratch
        self.programs = {p.name: p for p in programs}
        self.by_speed = sorted(programs, key=lambda p: p.seconds)
        self.tests_of = component_tests()
        self.history = history
        self.baseline_digest = scratch.library_digest()
        self.verbose = False
        self.jobs = scratch.jobs
        self.coverage = None

    def candidates(self, site):
        """The likely killers of the site's mutant, then the other programs, quickest first; with
        coverage, only those that reach the site."""
        likely, rest = self.order(site.file)
        if self.coverage is None:
            return likely, rest
        reach = self.coverage.reaching(site)
        if not reach:
            return likely, rest
        return [p for p in likely if p.name in reach], [p for p in rest if p.name in reach]

    def order(self, rel):
        """The likely killers of a mutant of `rel`, then the other programs, quickest first."""
        first = [self.programs[n] for n in likely_killers(rel, self.tests_of, self.history)
                 if n in self.programs]
        return first, [p for p in self.by_speed if p not in first]

    def try_mutant(self, site, original_text):
        """Plants one mutant, builds and tests it: answers (result, killing test)."""
        if self.coverage is not None and self.coverage.never_run(site):
            return "survived", NOT_REACHED
        likely, rest = self.candidates(site)
        self.scratch.plant(site, original_text)
        built, compiled, log = self.scratch.make()
        if self.verbose:
            print("".join(re.findall(r"^\[\d+/\d+\] .*\n", log, re.M)), end="")
        if not built:
            return "no compile", ""
        if compiled <= {"BrelonOnfEngine"} and self.scratch.library_digest() == self.baseline_digest:
            return "same code", ""
        # The likely killers one at a time (they mostly fail within a second), the rest in
        # parallel.
        killer = first_failure(likely, 1) or first_failure(rest, self.jobs)
        if killer is None:
            return "survived", ""
        per = self.history.setdefault(site.file, {})
        per[killer.name] = per.get(killer.name, 0) + 1
        return "killed", killer.name


def baseline(scratch, slowest, native_only=False):
    """Builds the unmutated tree and times every test program, which must pass. Programs that
    take longer than `slowest` seconds (rendering pictures, say) are left out: they test how
    the engine's results are shown, and the engine's own tests meet the same code faster. With
    `native_only`, only the library and the test programs built with it are made and run, not
    the command and the Python extension that the scripted tests need."""
    HEAP_CHECKS.update(heap_checks(scratch.sanitize))
    scratch.sync()
    scratch.configure()
    if native_only:
        scratch.targets = ["BrelonOnfEngine"] + native_targets(scratch.build)
    built, _, log = scratch.make()
    if not built:
        sys.exit("mutate.py: the unmutated scratch build fails:\n" + log[-4000:])
    programs = [p for p in test_programs(scratch.build) if p.native or not native_only]
    for p in programs:
        start = time.monotonic()
        if first_failure([p], 1):
            sys.exit(f"mutate.py: {p.name} fails without any mutant; fix that first")
        p.seconds = time.monotonic() - start
    slow = [p for p in programs if p.seconds > slowest]
    if slow:
        print("left out as slow: " + ", ".join(f"{p.name} ({p.seconds:.0f} s)" for p in slow))
    return [p for p in programs if p.seconds <= slowest]


def run_sites(scratch, runner, sites, equivalent, table_path, rows):
    """Tries each site's mutant in turn, adding to `rows` (the table by key) and writing it out
    after each mutant."""
    originals = {}
    current = None
    try:
        for n, site in enumerate(sites, 1):
            if site.file not in originals:
                path = scratch.tree / site.file
                originals[site.file] = (path.read_text(encoding="utf-8", errors="surrogateescape"),
                                        path.stat().st_mtime_ns)
            if current and current != site.file:
                scratch.restore(current, *originals[current])
            current = site.file
            t0 = time.monotonic()
            result, killer = runner.try_mutant(site, originals[site.file][0])
            seconds = time.monotonic() - t0
            if killer and scratch.sanitize:
                killer += SANITIZER_MARK
            shown = classify(result, site.key, equivalent)
            rows[site.key] = dict(file=site.file, line=site.line, column=site.column,
                                  mutant=site.mutant, result=shown, seconds=f"{seconds:.1f}",
                                  killed_by=killer, text=site.text)
            print(f"[{n}/{len(sites)}] {site.where} {site.mutant}: {shown}"
                  f"{' by ' + killer if killer else ''} ({seconds:.1f} s)", flush=True)
            if table_path:
                write_table(table_path, rows)
    finally:
        if current:
            scratch.restore(current, *originals[current])
    return rows


def command_run(args):
    equivalent = read_equivalent()
    sites = choose_sites(args, equivalent)
    rows = read_table(Path(args.table)) if args.resume else {}
    sites = [s for s in sites if s.key not in rows]
    if args.strict:
        # A listed mutant is explained whatever it does: a strict run spends its time on the rest.
        for s in [s for s in sites if s.key in equivalent]:
            rows[s.key] = dict(file=s.file, line=s.line, column=s.column, mutant=s.mutant,
                               result=classify("survived", s.key, equivalent), seconds="0.0",
                               killed_by=LISTED, text=s.text)
        sites = [s for s in sites if s.key not in equivalent]
    scratch = Scratch(args.scratch, args.jobs, args.sanitize)
    started = time.monotonic()
    programs = baseline(scratch, args.slowest, args.native_only)
    print(f"baseline: {len(programs)} test programs, {time.monotonic() - started:.0f} s "
          f"including the build; {len(sites)} sites", flush=True)
    committed = read_table(RESULTS_TABLE)
    runner = Runner(scratch, programs, kill_history(committed))
    runner.verbose = args.verbose
    if args.coverage:
        runner.coverage = measure_coverage(scratch, {p.name for p in programs})
        print(f"coverage: {len(runner.coverage.lines)} lines reached; "
              f"{time.monotonic() - started:.0f} s so far", flush=True)
    run_sites(scratch, runner, sites, equivalent, args.table, rows)
    if args.merge:
        merge_into(Path(args.merge), rows)
    counts = tally(rows.values())
    print(f"{len(rows)} mutants: " + ", ".join(f"{v} {k}" for k, v in counts.items())
          + f"; {time.monotonic() - started:.0f} s in all", flush=True)
    unexplained = 0
    for key, r in rows.items():
        if r["result"] != "survived":
            continue
        known = explained(r, key, equivalent, committed, {p.name for p in programs})
        unexplained += 0 if known else 1
        print(f"survived{'' if known else ' (unexplained)'}: {r['file']}:{r['line']}:"
              f"{r['column']} {r['mutant']}: {r['text']}")
    return 1 if args.strict and unexplained else 0


def merge_into(path, rows):
    """Folds a run's rows into a table, dropping rows of sites that no longer exist. A kill under
    the sanitizers stays when a run without them sees the mutant survive."""
    table = read_table(path)
    for key, row in rows.items():
        old = table.get(key)
        if not (old and old["killed_by"].endswith(SANITIZER_MARK) and row["result"] == "survived"):
            table[key] = row
    current = {s.key: s for s in all_sites()}
    kept = {}
    for key, row in table.items():
        if key in current:
            row["line"], row["column"] = current[key].line, current[key].column
            kept[key] = row
    write_table(path, kept)


RESULTS = ("killed", "survived", "equivalent", "same code", "no compile")


def tally(rows):
    counts = {r: 0 for r in RESULTS}
    for r in rows:
        counts[r["result"]] = counts.get(r["result"], 0) + 1
    return counts


def command_score(args):
    equivalent = read_equivalent()
    table = read_table(Path(args.table))
    sites = {s.key for s in all_sites()}
    rows = [dict(r, result=classify(r["result"], k, equivalent)) for k, r in table.items()
            if k in sites]
    counts = tally(rows)
    judged = counts["killed"] + counts["survived"]
    print(f"sites: {len(sites)}, run: {len(rows)}, not run: {len(sites) - len(rows)}")
    for name in RESULTS:
        print(f"{name}: {counts[name]}")
    untested = sum(1 for k, r in table.items() if k in sites and r["result"] == "survived"
                   and equivalent.get(k, ("",))[0] == "untested")
    sanitizers = sum(1 for r in rows if r["killed_by"].endswith(SANITIZER_MARK))
    print(f"of the killed, under the sanitizers only: {sanitizers}; "
          f"of the survived, listed as untested: {untested}")
    if judged:
        print(f"killed of the non-equivalent mutants: {100.0 * counts['killed'] / judged:.1f}%")
    matched = {equivalent.lookup(k) for k in sites}
    stale = [k for k in equivalent if k not in matched]
    for k in stale:
        print(f"equivalent list entry matches no site: {k}")
    return 1 if stale else 0


def command_survivors(args):
    """The survivors of a table that the equivalent list does not explain, by file and line, as
    a list of what is left to test."""
    equivalent = read_equivalent()
    table = read_table(Path(args.table))
    current = {s.key: s for s in all_sites(args.paths)}
    left = [(current[k], r) for k, r in table.items()
            if k in current and classify(r["result"], k, equivalent) == "survived"
            and k not in equivalent]
    for site, row in sorted(left, key=lambda sr: (sr[0].file, sr[0].line, sr[0].column)):
        note = f" {row['killed_by']}" if row["killed_by"] else ""
        print(f"{site.where}\t{site.mutant}\t{site.text}{note}")
    return 0


def command_merge(args):
    for table in args.tables:
        merge_into(Path(args.into), read_table(Path(table)))
    return 0


def command_list(args):
    for s in all_sites(args.paths):
        print(f"{s.where}\t{s.key}")
    return 0


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    sub = parser.add_subparsers(dest="command", required=True)
    p_list = sub.add_parser("list", help="print the mutation sites")
    p_list.add_argument("paths", nargs="*")
    p_run = sub.add_parser("run", help="build and test mutants")
    p_run.add_argument("paths", nargs="*")
    p_run.add_argument("--sample", type=int, help="this many sites drawn at random")
    p_run.add_argument("--seed", type=int, default=1, help="seed of the draw (default 1)")
    p_run.add_argument("--rerun", metavar="TABLE", help="only the survivors of this table")
    p_run.add_argument("--table", metavar="OUT", help="write this run's table here")
    p_run.add_argument("--resume", action="store_true",
                       help="keep the rows the --table file holds and try only the other sites")
    p_run.add_argument("--merge", metavar="TABLE", help="fold this run into this table")
    p_run.add_argument("--strict", action="store_true",
                       help="fail on a survivor the equivalent list does not explain; listed sites "
                            "are not tried")
    p_run.add_argument("--native-only", action="store_true",
                       help="build and run only the test programs built with the library, not "
                            "the scripted tests (a survivor that the committed table records "
                            "as killed by one of those is explained)")
    p_run.add_argument("--scratch", default=str(ROOT / "build-mutation"))
    p_run.add_argument("--jobs", type=int, default=2)
    p_run.add_argument("--slowest", type=float, default=5.0, metavar="SECONDS",
                       help="leave out test programs that take longer (default 5)")
    p_run.add_argument("--verbose", action="store_true", help="show what each mutant rebuilds")
    p_run.add_argument("--coverage", action="store_true",
                       help="try each mutant only against the tests that reach its line "
                            "(measured first in a coverage build)")
    p_run.add_argument("--sanitize", action="store_true",
                       help="build and test under AddressSanitizer and UndefinedBehaviorSanitizer")
    p_score = sub.add_parser("score", help="count the results of a table")
    p_score.add_argument("--table", default=str(RESULTS_TABLE))
    p_merge = sub.add_parser("merge", help="fold tables of runs into one, dropping sites gone")
    p_merge.add_argument("tables", nargs="+")
    p_merge.add_argument("--into", default=str(RESULTS_TABLE))
    p_left = sub.add_parser("survivors", help="survivors that no test kills and no entry explains")
    p_left.add_argument("paths", nargs="*")
    p_left.add_argument("--table", default=str(RESULTS_TABLE))
    args = parser.parse_args()
    if getattr(args, "resume", False) and not args.table:
        parser.error("--resume needs --table")
    commands = {"list": command_list, "run": command_run, "score": command_score,
                "survivors": command_survivors, "merge": command_merge}
    return commands[args.command](args)


def stop_on_signal(signum, _frame):
    # Unwinds like an error, so that running tests are ended and the planted file is restored.
    raise SystemExit(128 + signum)


if __name__ == "__main__":
    for stop in (signal.SIGTERM, signal.SIGHUP, signal.SIGINT):
        signal.signal(stop, stop_on_signal)
    sys.exit(main())
