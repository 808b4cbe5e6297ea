"""A copy of the source tree in which every change can be switched on, and its build."""

import concurrent.futures
import hashlib
import json
import pickle
import re
import shlex
from pathlib import Path

from clang import cindex

from changes import SWITCH, Insertion, around, weave
from finder import Finder
from mending import BuildError, Mending, run

HERE = Path(__file__).resolve().parent
ROOT = HERE.parents[1]
# A broken change shows as a warning or as nothing: only what cannot be compiled at all is left out.
FLAGS = "-w -fpermissive -Wno-narrowing"
NUMBERS = 1 << 16
# What decides which changes there are, and what they do.
TOOLS = {f"tests/mutation/{name}" for name in
         ("changes.py", "effects.py", "expressions.py", "finder.py", "kinds.py", "statements.py", "switch.h", "texts.py")}


def files_of_project():
    listed = run(["git", "-C", str(ROOT), "ls-files", "-co", "--exclude-standard", "-z"]).stdout
    return [name for name in listed.split("\0") if name and (ROOT / name).is_file()]


def write_if_changed(path, data):
    if not path.exists() or path.read_bytes() != data:
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(data)


def find_in(arguments):
    """What a translation unit holds below the wanted folders, headers included."""
    file, command, folders = arguments
    prefixes = tuple(f"{ROOT}/{folder}/" for folder in folders)
    sources = {}
    finder = Finder(sources, lambda path: (ROOT / path).read_text(encoding="utf-8"))
    unit = cindex.Index.create().parse(file, args=command)
    errors = [str(message) for message in unit.diagnostics if message.severity >= cindex.Diagnostic.Error]
    if errors:
        raise BuildError(f"{file} is not understood: {errors[0]}")
    finder.walk_unit(unit, lambda name: str(Path(name).relative_to(ROOT)) if name.startswith(prefixes) else None)
    names = {str(Path(inclusion.include.name).resolve()) for inclusion in unit.get_includes()} | {file}
    return sources, sorted(name.removeprefix(f"{ROOT}/") for name in names if name.startswith(f"{ROOT}/"))


class Tree(Mending):
    """The instrumented copy for one target in `place`."""

    def __init__(self, place, folders, testers, jobs):
        self.place, self.folders, self.testers, self.jobs = place, folders, testers, jobs
        self.source, self.build = place / "source", place / "build"
        self.sources = {}
        self.kept_constants = set()  # (path, start) of constants that have to stay constexpr
        self.project = files_of_project()
        self.digests = {name: hashlib.sha256((ROOT / name).read_bytes()).hexdigest() for name in self.project}

    def digest(self, wanted):
        """Of all files whose name `wanted` takes."""
        text = "".join(f"{name} {self.digests[name]}\n" for name in sorted(self.project) if wanted(name))
        return hashlib.sha256(text.encode()).hexdigest()[:24]

    def is_product(self, name):
        return name.startswith(("apps/", "libs/", "sim/", "include/", "cmake/")) or name == "CMakeLists.txt"

    # --- making the tree

    def prepare(self, say):
        self.copy()
        say("configuring")
        self.configure()
        say("looking for changes")
        self.find()
        say(f"{sum(len(source.changes) for source in self.sources.values())} changes of {len(self.sources)} sources")
        self.compile(say)

    def copy(self):
        kept = set()
        for name in self.project:
            target = self.source / name
            kept.add(target)
            if not self.is_instrumented(name):
                write_if_changed(target, (ROOT / name).read_bytes())
                target.chmod((ROOT / name).stat().st_mode)
            elif not target.exists():
                write_if_changed(target, (ROOT / name).read_bytes())
        for path in self.source.rglob("*"):
            if path.is_file() and path not in kept:
                path.unlink()

    def is_instrumented(self, name):
        return name.startswith(tuple(f"{folder}/" for folder in self.folders)) and name.endswith((".cpp", ".h"))

    def configure(self):
        # Not hardened: a switch makes sizes and flags unknown, and the C library's checked calls, which then come, have
        # other names than those that tests put themselves in front of.
        result = run(["cmake", "-S", str(self.source), "-B", str(self.build), "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release",
                      "-DCMAKE_CXX_FLAGS_RELEASE=-O1 -DNDEBUG", f"-DCMAKE_CXX_FLAGS={FLAGS}", "-DESA_QUICKLY=tests",
                      "-DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON", "-DESA_HARDENING=OFF"])  # fmt: skip
        if result.returncode != 0:
            raise BuildError(f"the instrumented tree cannot be configured:\n{result.stderr[-2000:]}")
        self.commands = json.loads((self.build / "compile_commands.json").read_text(encoding="utf-8"))

    def find(self):
        """Every change, from a file of an earlier run when no source has changed since."""
        self.tools = self.digest(lambda name: name in TOOLS)
        digest = self.digest(self.is_product) + self.tools
        saved = self.place / "changes.pickle"
        if saved.exists():
            known, sources, constants = pickle.loads(saved.read_bytes())
            if known == digest:
                self.sources, self.kept_constants, self.found = sources, constants, digest
                self.included = {name: unit[1] for name, unit in
                                 pickle.loads((self.place / "units.pickle").read_bytes()).items()}  # fmt: skip
                self.strip_constants()
                self.number()
                return
        units = {}
        for entry in self.commands:
            name = entry["file"].removeprefix(f"{self.source}/")
            if self.is_instrumented(name):
                words = [word.replace(str(self.source), str(ROOT)) for word in shlex.split(entry["command"])]
                units[name] = (str(ROOT / name), [w for w in words if w.startswith(("-I", "-D", "-std"))]
                               + [part for i, w in enumerate(words) if w == "-isystem" for part in words[i : i + 2]],
                               self.folders)  # fmt: skip
        for sources in self.found_in(units):
            for path, source in sources.items():
                self.sources.setdefault(path, source)
        self.found = digest
        self.recall()
        self.number()
        self.save()

    def found_in(self, units):
        """What each unit holds; as an earlier run found it, where nothing that the unit includes has changed."""
        saved = self.place / "units.pickle"
        known = pickle.loads(saved.read_bytes()) if saved.exists() else {}

        def key(unit, names):
            wanted = set(names)
            return repr(unit) + self.tools + self.digest(lambda name: name in wanted)

        new = [name for name, unit in units.items() if name not in known or known[name][0] != key(unit, known[name][1])]
        with concurrent.futures.ProcessPoolExecutor(self.jobs) as pool:
            for name, (sources, names) in zip(new, pool.map(find_in, [units[name] for name in new])):
                known[name] = (key(units[name], names), names, sources)
        saved.write_bytes(pickle.dumps({name: known[name] for name in units}))
        self.included = {name: known[name][1] for name in units}
        # Not the objects that are kept: switches are taken out of those that are returned.
        return [pickle.loads(pickle.dumps(known[name][2])) for name in units]

    def recall(self):
        """What an earlier run has learned about sources that have not changed since."""
        file = self.place / "fixed.json"
        if not file.exists():
            return
        fixed = json.loads(file.read_text(encoding="utf-8"))
        switches, constants = set(fixed["switches"]), set(fixed["constants"])
        for source in self.sources.values():
            digest = hashlib.sha256(source.text.encode()).hexdigest()
            for change in source.changes:
                if change.edits and change.key(digest) in switches:
                    change.edits = []
            self.kept_constants |= {(source.path, constant.start) for constant in source.constants
                                    if f"{digest[:24]} {constant.start}" in constants}  # fmt: skip
        self.strip_constants()

    def strip_constants(self):
        """Takes the switches out of what stays constant."""
        for source in self.sources.values():
            for constant in source.constants:
                if (source.path, constant.start) in self.kept_constants:
                    self.strip(source, constant)

    @staticmethod
    def strip(source, constant):
        for change in source.changes:
            if constant.start <= change.start and change.end <= constant.stop:
                change.edits = []

    def save(self):
        """What was found, and what of it has turned out not to compile as a switch."""
        found = pickle.dumps((self.found, self.sources, self.kept_constants))
        (self.place / "changes.pickle").write_bytes(found)
        fixed = {"switches": [], "constants": []}
        for source in self.sources.values():
            digest = hashlib.sha256(source.text.encode()).hexdigest()
            fixed["switches"] += [change.key(digest) for change in source.changes if not change.edits and change.leader is None]
            fixed["constants"] += [f"{digest[:24]} {constant.start}" for constant in source.constants
                                   if (source.path, constant.start) in self.kept_constants]  # fmt: skip
        (self.place / "fixed.json").write_text(json.dumps(fixed), encoding="utf-8")

    def number(self):
        """Every source keeps its numbers from one run to the next while they suffice: only what changed is compiled."""
        file = self.place / "numbers.json"
        known = json.loads(file.read_text(encoding="utf-8")) if file.exists() else {}
        if not self.take_numbers(known):
            known = {}
            if not self.take_numbers(known):
                raise BuildError("there are more changes than the switch can tell apart")
        file.write_text(json.dumps(known), encoding="utf-8")

    def take_numbers(self, known):
        """Gives each source its numbers, new ones behind all others; False when there are not enough."""
        top = max((first + count for first, count in known.values()), default=1)
        for path in sorted(self.sources):
            source = self.sources[path]
            count = len(source.changes) + len(source.functions)
            if path not in known or known[path][1] < count:
                known[path] = [top, count]
                top += count
            first = known[path][0]
            for number, change in enumerate(source.changes, first):
                change.number = number
            source.function_numbers = range(first + len(source.changes), first + count)
        return top <= NUMBERS

    # --- instrumenting

    def instrumented(self, source):
        insertions = []
        for change in source.changes:
            for edit in change.edits:
                text = edit.text.replace(SWITCH, str(change.number))
                insertions.append(Insertion(edit.at, text, edit.open, edit.reach))
        for (at, constant), number in zip(source.functions, source.function_numbers):
            insertions.append(Insertion(at, f"(void){'ESA_MC' if constant else 'ESA_M'}({number});", True, 1 << 40))
        for constant in source.constants:
            if (source.path, constant.start) not in self.kept_constants:
                insertions += around(constant.start, constant.end, f"{constant.words}/*", "*/")
        return f'#include "{HERE}/switch.h"\n#line 1\n' + weave(source.text, insertions)

    def with_change(self, source, change):
        """The source with one change and no switch; constants as in the other sources, which go by their headers."""
        grown = len(change.text) - (change.end - change.start)
        insertions = []
        for constant in source.constants:
            if (source.path, constant.start) in self.kept_constants:
                continue
            if constant.end <= change.start or constant.start >= change.end:
                shift = grown if constant.start >= change.end else 0
                insertions += around(constant.start + shift, constant.end + shift, f"{constant.words}/*", "*/")
        return weave(change.apply(source.text), insertions)

    def write(self):
        """Writes what has changed; its names."""
        changed = set()
        for source in self.sources.values():
            target, data = self.source / source.path, self.instrumented(source).encode()
            if not target.exists() or target.read_bytes() != data:
                write_if_changed(target, data)
                changed.add(source.path)
        return changed

    # --- what is built

    def programs(self):
        """Test programs that hold, or start what holds, an instrumented source."""
        wanted = [str(self.source / name) for name in self.project if self.is_instrumented(name)]
        listed = run(["ninja", "-C", str(self.build), "-t", "targets", "all"]).stdout
        linked = re.findall(r"^(\S+): CXX_EXECUTABLE_LINKER", listed, re.M)
        folders = self.folders_of_programs()
        linked = [program for program in linked
                  if folders.get(Path(program).name, "").startswith(tuple(self.testers) or "tests/")]  # fmt: skip
        found = []
        for program in linked:
            inputs = set(run(["ninja", "-C", str(self.build), "-t", "inputs", program]).stdout.split("\n"))
            if program.startswith("tests/") and not inputs.isdisjoint(wanted):
                found.append(program)
        return found

    def folders_of_programs(self):
        """Where the sources of each program of the tests are."""
        places = (re.match(r"(tests/\S+)/CMakeFiles/(\S+?)\.dir/", re.search(r" -o (\S+)", entry["command"]).group(1))
                  for entry in self.commands)  # fmt: skip
        return {place.group(2): place.group(1) for place in places if place}

    def tests(self):
        """The tests of the built programs: name, command, directory, environment, seconds allowed."""
        listed = run(["ctest", "--test-dir", str(self.build), "--show-only=json-v1"])
        if listed.returncode != 0:
            raise BuildError(f"the tests cannot be listed:\n{listed.stderr[-1000:]}")
        found = []
        built = set(self.programs())
        for test in json.loads(listed.stdout)["tests"]:
            properties = {item["name"]: item["value"] for item in test.get("properties", [])}
            command = test.get("command", [])
            # What needs something of the machine for itself cannot run beside others: the documents, the package.
            if "RESOURCE_LOCK" in properties or "FIXTURES_REQUIRED" in properties or "FIXTURES_SETUP" in properties:
                continue
            if command and command[0].removeprefix(f"{self.build}/") in built:
                found.append({"name": test["name"], "command": command, "labels": properties.get("LABELS", []),
                              "directory": properties.get("WORKING_DIRECTORY", str(self.build)),
                              "environment": dict(item.split("=", 1) for item in properties.get("ENVIRONMENT", []))})  # fmt: skip
        return found

    def test_digest(self, program):
        """Changes when what the test program is made of does, but for the product."""
        folder = self.folders_of_programs()[Path(program).name]
        return self.digest(lambda file: file.startswith((f"{folder}/", "tests/support/")))

    def product_digest(self):
        """Of what is changed, and the headers below it."""
        return self.digest(lambda name: name.startswith((*(f"{folder}/" for folder in self.folders), "include/")))
