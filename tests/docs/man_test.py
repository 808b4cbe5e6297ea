"""Every program says what it is in the same way, and its manual page has all of it."""

import os
import re
import shutil
import subprocess
import sys
import unittest
from pathlib import Path

SOURCE = Path(os.environ["ESA_SOURCE"])
PROGRAMS = Path(os.environ["ESA_PROGRAMS"])
LIBRARY = os.environ["ESA_LIBRARY"]
VERSION = os.environ["ESA_VERSION"]

PAGES = {path.name.rsplit(".", 1)[0]: path for path in (SOURCE / "docs/man").glob("*.[18]")}
# The adapter takes a key and nothing else; esa-foreground is a script of the package.
WITHOUT_OPTIONS = {"esa", "esa-foreground"}
TOOLS = sorted(set(PAGES) - WITHOUT_OPTIONS)


def run(name, *arguments):
    environment = {**os.environ, "LD_LIBRARY_PATH": os.path.dirname(LIBRARY)}
    return subprocess.run([PROGRAMS / name, *arguments], capture_output=True, text=True, check=False, env=environment)


def commands(name):
    """Those of a program that has some, as it offers them to a shell."""
    offered = run(name, "--complete", "").stdout.splitlines() if name != "esafailsafe" else []
    return [line.split("\t")[0] for line in offered if not line.startswith((":", "-"))]


class ManTest(unittest.TestCase):
    def test_there_is_a_page_for_every_program(self):
        self.assertEqual(["encsim", "esactl", "esafailsafe", "esamon", "mpuparams", "msm"], TOOLS)

    def test_pages_have_their_sections(self):
        for name, path in PAGES.items():
            sections = re.findall(r"^\.SH (.*)$", path.read_text(encoding="utf-8"), re.M)
            self.assertLessEqual({"NAME", "SYNOPSIS", "DESCRIPTION", "ENVIRONMENT", "FILES", "EXIT STATUS", "SEE ALSO"},
                                 set(sections), name)
            self.assertEqual(len(set(sections)), len(sections), name)

    def test_pages_name_every_option(self):
        for name in TOOLS:
            text = PAGES[name].read_text(encoding="utf-8").replace("\\-", "-")
            for arguments in [[], *([command] for command in commands(name))]:
                options = set(re.findall(r"(?<![\w-])--[a-z-]+", run(name, *arguments, "--help").stdout))
                self.assertIn("--help", options, (name, arguments))
                self.assertEqual(set(), {option for option in options if option not in text}, (name, arguments))

    def test_pages_are_well_formed(self):
        mandoc = shutil.which("mandoc")
        if mandoc is None:
            self.skipTest("mandoc is not installed")
        for path in PAGES.values():
            # "style" would object to pages that groff's macros are right with.
            result = subprocess.run([mandoc, "-Tlint", "-Wwarning", path], capture_output=True, text=True, check=False)
            self.assertEqual("", re.sub(r".*missing date, using.*\n", "", result.stdout))

    def test_versions_have_one_form(self):
        for name in TOOLS:
            self.assertEqual((0, f"{name} {VERSION}\n"), (run(name, "--version").returncode, run(name, "--version").stdout))

    def test_a_shell_is_offered_every_option(self):
        text = run("esafailsafe", "--help").stdout
        for shell in ("bash", "fish", "zsh"):
            offered = (SOURCE / f"packaging/completion/esafailsafe.{shell}").read_text(encoding="utf-8")
            for option in set(re.findall(r"(?<![\w-])--([a-z]+)", text)):
                self.assertRegex(offered, rf"(--|-l ){option}\b", shell)

    def test_a_wrong_option_is_named_with_what_would_be_right(self):
        for name in TOOLS:
            for arguments in [[], *([command] for command in commands(name))]:
                result = run(name, *arguments, "--bogus")
                self.assertNotEqual(0, result.returncode)
                self.assertEqual("", result.stdout)
                self.assertRegex(result.stderr, rf"^{name}: .*'--bogus'.* {' '.join([name, *arguments])} --help\n$")


if __name__ == "__main__":
    if not PROGRAMS.joinpath("esamon").exists():
        sys.exit(77)
    unittest.main()
