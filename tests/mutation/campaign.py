"""Tries the changes: each against the tests that come by it, until one notices."""

import collections
import hashlib
import json
import math
import shutil
import subprocess
import threading
from pathlib import Path

from mending import run
from tree import NUMBERS, ROOT
from workers import Worker, filter_of

# The first looks at a change: few of the random lives, most changes being noticed at once. How many, and the share of
# the time that all take.
QUICK_LOOKS = ((3, 0.05), (30, 0.3))
# Wall time allowed beside the processor time: tests that wait are no longer at it when the machine is busy.
PATIENCE = 8


def allowed(cpu, seconds):
    """Processor and wall seconds for tests: a multiple of what they take without a change."""
    return math.ceil(3 * cpu) + 1, 20 + PATIENCE * seconds


def seconds_of(group, which):
    return sum(test[which] * test.get("together", 0) if len(group) > 1 else test[which] for test in group)


class Campaign:
    """All changes of a tree, its tests, and what is known about both from earlier runs."""

    def __init__(self, tree, options, say):
        self.tree, self.options, self.say = tree, options, say
        self.results_file = tree.place / "results.jsonl"
        self.lock = threading.Lock()
        self.kills = collections.Counter()  # (path, test): how often it noticed a change of the source
        self.tries = collections.Counter()
        self.outcomes = {}

    # --- the tests without a change

    def learn(self):
        """Runs every test once: how long it takes, and which changes it comes by."""
        self.tests = self.tree.tests()
        digests, product = {}, self.tree.product_digest()
        for test in self.tests:
            program = test["command"][0]
            if program not in digests:
                digests[program] = self.tree.test_digest(program)
            test["digest"] = digests[program]
        saved = self.tree.place / "tests.json"
        known = json.loads(saved.read_text(encoding="utf-8")) if saved.exists() else {}
        numbering = hashlib.sha256(repr([(s.path, s.function_numbers) for s in self.tree.sources.values()]).encode())
        numbering = numbering.hexdigest()[:16] + product
        new = [test for test in self.tests if known.get(test["name"], {}).get("key") != test["digest"] + numbering
               or not known[test["name"]]["passes"]]  # fmt: skip
        self.say(f"{len(self.tests)} tests, {len(new)} of them to run without a change")
        self.in_parallel(new, lambda worker, test, index: self.learn_one(worker, test, index, known, numbering))
        saved.write_text(json.dumps({test["name"]: known[test["name"]] for test in self.tests}), encoding="utf-8")
        self.learn_together(known)
        saved.write_text(json.dumps({test["name"]: known[test["name"]] for test in self.tests}), encoding="utf-8")
        failing = [test["name"] for test in self.tests if not known[test["name"]]["passes"]]
        for name in failing:
            self.say(f"left out, for it fails without a change: {name}")
        self.tests = [test | known[test["name"]] for test in self.tests if known[test["name"]]["passes"]]
        self.by_name = {test["name"]: test for test in self.tests}
        self.reach = {}
        for test in self.tests:
            for number in numbers_of(test["reached"]):
                self.reach.setdefault(number, []).append(test)

    def learn_one(self, worker, test, index, known, numbering):
        file = self.tree.place / f"reach{index}"
        file.write_bytes(bytes(NUMBERS))
        answer = worker.test(test, {"ESA_MUTANT_REACH": str(file)}, 600, 600)
        reached = [number for number, byte in enumerate(file.read_bytes()) if byte]
        with self.lock:
            known[test["name"]] = {"key": test["digest"] + numbering, "passes": answer["outcome"] == "passed",
                                   "seconds": answer["seconds"], "cpu": answer["cpu"], "reached": ranges_of(reached)}  # fmt: skip

    def learn_together(self, known):
        """Which programs run all of their tests in one process as well: some tests leave their mark on it."""
        programs = collections.defaultdict(list)
        for test in self.tests:
            if known[test["name"]]["passes"] and filter_of(test) and known[test["name"]]["seconds"] <= self.options.slow:
                programs[test["command"][0]].append(test)
        new = [tests for tests in programs.values() if len(tests) > 1 and not all("together" in known[t["name"]] for t in tests)]

        def together(worker, tests, _index):
            answer = worker.several(tests, {}, 600, 600)
            single = sum(known[test["name"]]["cpu"] for test in tests)
            share = min(answer["cpu"] / max(single, 0.001), 1) if answer["outcome"] == "passed" else 0
            with self.lock:
                for test in tests:
                    known[test["name"]]["together"] = share

        self.in_parallel(new, together)

    # --- what is known

    def load(self):
        self.known = {}
        if self.results_file.exists():
            for line in self.results_file.read_text(encoding="utf-8").splitlines():
                entry = json.loads(line)
                self.known[entry["key"]] = entry

    def digest_of(self, tests):
        """What a change that survives these tests depends on."""
        text = " ".join([self.tree.product_digest(), *sorted({test["digest"] for test in tests})])
        return hashlib.sha256(text.encode()).hexdigest()[:16]

    def remembered(self, change, tests):
        """The outcome of an earlier run, where nothing that matters has changed since."""
        entry = self.known.get(change.id)
        if entry is None or self.options.again:
            return None
        if entry["outcome"] == "killed":
            test = self.by_name.get(entry["test"])
            return entry if test is not None and test["digest"] == entry["digest"] else None
        return entry if entry["digest"] == self.digest_of(tests) else None

    def record(self, change, outcome, tests, by=None):
        digest = self.by_name[by]["digest"] if by else self.digest_of(tests)
        entry = {"key": change.id, "outcome": outcome, "digest": digest, "test": by, "path": change.path,
                 "row": change.row, "kind": change.kind, "shown": change.shown[:200]}  # fmt: skip
        with self.lock:
            self.outcomes[change.id] = entry
            self.known[change.id] = entry
            with self.results_file.open("a", encoding="utf-8") as file:
                file.write(json.dumps(entry) + "\n")
            if outcome == "survived" and self.options.verbose:
                self.say(f"survived: {change.path}:{change.row} {change.kind}: {change.shown}")

    # --- choosing tests

    def tests_for(self, change):
        """Those that come by the change; the whole system, which mostly waits, only where nothing else does."""
        tests = self.reaching(change)
        return [test for test in tests if "system" not in test["labels"]] or tests

    def reaching(self, change):
        """Tests that come by the change; of one without a switch, those that come by its function, or its file."""
        if change.switched:
            return self.reach.get(change.number, [])
        source = self.tree.sources[change.path]
        if change.function >= 0:
            tests = self.reach.get(source.function_numbers[change.function], [])
            if tests or not source.functions[change.function][1]:
                return tests  # else it may run only while compiling, where no test can be seen to come by
        numbers = [other.number for other in source.changes] + list(source.function_numbers)
        found = {id(test): test for number in numbers for test in self.reach.get(number, [])}
        return list(found.values()) or self.tests

    def ordered(self, change, tests):
        """Groups of tests that run in one process: first who noticed before, then who is likely to for little time."""
        known = self.known.get(change.id)
        before = known["test"] if known else None
        groups = collections.defaultdict(list)
        for test in tests:
            if test["seconds"] <= self.options.slow:
                alone = test["name"] == before or not test.get("together")
                groups[test["name"] if alone else test["command"][0]].append(test)

        def cost(group):
            if group[0]["name"] == before:
                return -1
            key = (change.path, self.group_name(group))
            chance = (self.kills[key] + (1 if self.options.first in key[1] else 0.1)) / (self.tries[key] + 1)
            return (0.01 + seconds_of(group, "cpu")) / chance

        return sorted(groups.values(), key=cost)

    @staticmethod
    def group_name(group):
        return Path(group[0]["command"][0]).name

    # --- running

    def in_parallel(self, items, action, binds=None):
        """Calls action(worker, item, index of the worker) for every item; each worker in namespaces of its own."""
        waiting, errors = iter(items), []

        def work(index):
            worker = Worker(self.tree.place, binds[index] if binds else ())
            try:
                while True:
                    with self.lock:
                        item = next(waiting, None)
                    if item is None or errors:
                        return
                    action(worker, item, index)
            except Exception as error:  # the other workers have to end too
                errors.append(error)
            finally:
                worker.close()

        threads = [threading.Thread(target=work, args=(index,)) for index in range(self.options.jobs)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        if errors:
            raise errors[0]

    def noticed_by(self, worker, change, environment, tests, before=None):
        """The test that notices the change, or None."""
        groups = self.ordered(change, tests)
        lives = [[test for test in group if "RandomLives" in test["name"]] for group in groups]
        rounds = [(group, environment | {"ESA_LIVES": str(count)}, share) for count, share in QUICK_LOOKS
                  for group in lives if self.has_lives(group)]  # fmt: skip
        for group, variables, share in rounds + [(group, environment, 1) for group in groups]:
            if before is not None and not before(group[0]):
                return None
            noticed = self.group_notices(worker, variables, group, share)
            key = (change.path, self.group_name(group))
            with self.lock:
                self.tries[key] += 1
                self.kills[key] += noticed is not None
            if noticed:
                return noticed
        return None

    def has_lives(self, group):
        return len(group) > 1 and "lives" in self.group_name(group)

    def group_notices(self, worker, environment, group, share):
        """The test of the group that notices; one that failed among others has to fail alone as well."""
        if "lives" in self.group_name(group):
            environment = environment | {"ESA_SHRINK": "0"}  # whether a life differs is enough, its shortest form takes time
        if len(group) > 1:
            cpu, wall = allowed(share * seconds_of(group, "cpu"), share * seconds_of(group, "seconds"))
            answer = worker.several(group, environment, cpu, wall)
            if answer["outcome"] == "passed":
                return None
            group = sorted(group, key=lambda test: filter_of(test) != answer["suspect"])
            if self.has_lives(group) and answer["outcome"] == "failed":
                return group[0]["name"]  # nothing but the life decides
        for test in group:
            cpu, wall = allowed(test["cpu"], test["seconds"])
            answer = worker.test(test, environment, cpu, wall)
            if answer["outcome"] == "hung":  # once more, lest a busy machine be taken for a change that is noticed
                answer = worker.test(test, environment, cpu, 3 * wall)
            if answer["outcome"] != "passed":
                return test["name"]
        return None

    def attempt(self, worker, change, _index):
        tests = self.tests_for(change)
        noticed = self.noticed_by(worker, change, {"ESA_MUTANT": str(change.number)}, tests)
        self.finish(change, "killed" if noticed else "survived", tests, noticed)

    def finish(self, change, outcome, tests, by=None):
        self.record(change, outcome, tests, by)
        done = len(self.outcomes)
        if done % 250 == 0:
            self.say(f"{done} of {self.total}")

    def run(self, changes):
        """Tries the changes; the switched ones in one build, the others compiled one at a time."""
        self.total = len(changes)
        todo = []
        for change in changes:
            entry = self.remembered(change, self.tests_for(change))
            if entry:
                self.outcomes[change.id] = entry
            else:
                todo.append(change)
        switched = [change for change in todo if change.switched]
        compiled = [change for change in todo if not change.switched]
        self.say(f"{self.total} changes, {self.total - len(todo)} known, {len(switched)} to switch, {len(compiled)} to compile")
        self.in_parallel(switched, self.attempt)
        if compiled:
            self.compile_each(compiled)

    # --- changes that are compiled

    def compile_each(self, changes):
        """Every worker has a copy of the tree, bound to the place where it was configured."""
        copies = []
        for index in range(self.options.jobs):
            copy = self.tree.place.with_name(f"{self.tree.place.name}-copy{index}")
            copies.append(copy)
            subprocess.run(["rm", "-rf", str(copy)], check=True)
            subprocess.run(["cp", "-a", "--reflink=auto", str(self.tree.place), str(copy)], check=True)
        groups = {}
        for change in changes:
            groups.setdefault(change.path, []).append(change)
        binds = [[(copy, self.tree.place)] for copy in copies]
        # By source: what a change leaves compiled is compiled again only for the next source.
        pieces = [group[i : i + 20] for group in groups.values() for i in range(0, len(group), 20)]
        self.in_parallel(pieces, self.compile_group, binds)
        for copy in copies:
            shutil.rmtree(copy, ignore_errors=True)

    def compile_group(self, worker, changes, _index):
        source = self.tree.sources[changes[0].path]
        place = str(self.tree.source / source.path)
        for change in changes:
            worker.ask({"write": place, "text": self.tree.with_change(source, change)})
            tests = self.tests_for(change)
            built, invalid = set(), []

            def build(test):
                program = str(Path(test["command"][0]).relative_to(self.tree.build))
                if program not in built:
                    built.add(program)
                    answer = worker.ask({"build": ["ninja", "-C", str(self.tree.build), program]})
                    if answer["outcome"] != "passed":
                        invalid.append(answer["output"])
                        with self.lock, (self.tree.place.with_suffix(".invalid")).open("a", encoding="utf-8") as file:
                            file.write(f"{change.path}:{change.row} {change.shown}\n{answer['output']}\n")
                return not invalid

            noticed = self.noticed_by(worker, change, {}, tests, build)
            self.finish(change, "killed" if noticed else "invalid" if invalid else "survived", tests, noticed)
        worker.ask({"write": place, "text": self.tree.instrumented(source)})


def ranges_of(numbers):
    """[1, 2, 3, 7] as [[1, 3], [7, 7]]."""
    found = []
    for number in numbers:
        if found and found[-1][1] == number - 1:
            found[-1][1] = number
        else:
            found.append([number, number])
    return found


def numbers_of(ranges):
    for first, last in ranges:
        yield from range(first, last + 1)
