"""Whether what is written down about the monitor's HTTP side and the textfile collector's units is so."""

import re
import shutil
import subprocess
import sys
import unittest
from pathlib import Path

import yaml

sys.path.insert(0, str(Path(__file__).resolve().parent))
from place import SOURCE, EnclosureTest, stage
from client import KINDS

API = yaml.safe_load((SOURCE / "docs/api/openapi.yaml").read_text(encoding="utf-8"))
UNIT = (SOURCE / "examples/prometheus/esa-textfile.service").read_text(encoding="utf-8")
PROMTOOL = shutil.which("promtool")
EXAMPLES = {"integer": ("1", "x"), "string": ("1h", None)}


def schema_of(answer):
    """The file in the tree that a successful answer follows, by the page."""
    content = answer["content"].get("application/json", {}).get("schema", {})
    return Path(content.get("$ref", "")).name


class DocumentsTest(EnclosureTest):
    def test_the_openapi_page_names_what_there_is(self):
        """Every path, every parameter, every status and document, and no path that is not there."""
        self.start_enclosure()
        self.start_monitor()
        self.wait_answer()
        served = set(re.findall(r'"(/api/v1/\w+|/metrics|/healthz)"', (SOURCE / "apps/esamon/api.cpp").read_text(encoding="utf-8")))
        actions = {"/api/v1/leds", "/api/v1/alarm", "/api/v1/fans"}
        self.assertEqual(set(API["paths"]) - {"/{file}"}, served | actions)
        for path, methods in API["paths"].items():
            for method, operation in methods.items():
                with self.subTest(path=path, method=method):
                    self.compare(path, method, operation)

    def compare(self, path, method, operation):
        if method == "post":  # nothing can be changed here
            self.assertEqual(self.client.ask(path, "POST", {}, {"Content-Type": "application/json"}).status, 404)
            self.assertIn("404", operation["responses"])
            return
        if path in ("/api/v1/stream", "/{file}"):  # the one never ends, the other depends on the panel
            return
        answer = self.client.ask(path)
        self.assertEqual(answer.status, 200)
        content = operation["responses"]["200"]["content"]
        self.assertIn(answer.headers["Content-Type"].partition(";")[0], content)
        if "application/json" in content:
            self.assertEqual(KINDS[answer.json["schema"]], schema_of(operation["responses"]["200"]))
        for parameter in operation.get("parameters", []):
            schema = parameter["schema"]
            good, wrong = EXAMPLES[schema.get("type", "string")]
            if parameter["name"] == "element":
                good, wrong = "fan1", None
            good, wrong = (good, "yesterday") if "$ref" in schema else (good, wrong)
            answer = self.client.ask(f"{path}?{parameter['name']}={good}")
            self.assertIn(answer.status, (200, 404) if parameter["name"] == "at" else (200,), parameter["name"])
            self.assertIn(str(answer.status), operation["responses"])
            if wrong:
                self.assertEqual(self.client.ask(f"{path}?{parameter['name']}={wrong}").status, 400, parameter["name"])
                self.assertIn("400", operation["responses"])
        if path.startswith("/api/"):
            known = self.client.ask(f"{path}?colour=red")
            self.assertIn(str(known.status), operation["responses"])

    @unittest.skipUnless(PROMTOOL, "promtool is not installed (scripts/promtool)")
    def test_a_fault_is_no_failed_unit_of_the_textfile_collector(self):
        """The unit's command, with a healthy enclosure, a faulty one, no adapter and no switch: a good file each time."""
        command = re.search(r"^ExecStart=/usr/bin/esactl (.*) --output (\S+)$", UNIT, re.M)
        successes = {0, *map(int, re.search(r"^SuccessExitStatus=(.*)$", UNIT, re.M)[1].split())}
        folder = Path(command[2]).parent
        self.assertIn(f"ReadWritePaths={folder}\n", UNIT)
        file = Path(self.path("esa.prom"))

        def collect():
            result = self.esactl(*command[1].split(), "--output", str(file))
            self.assertIn(result.returncode, successes)
            text = file.read_text(encoding="utf-8")
            checked = subprocess.run([PROMTOOL, "check", "metrics"], input=text, capture_output=True, text=True, check=False)
            self.assertEqual(checked.returncode, 0, checked.stdout + checked.stderr)
            return result.returncode, text

        self.assertEqual(collect()[1].splitlines()[-1], "esa_up 0")  # no switch
        self.start_enclosure()
        stage.wait_for(lambda: collect()[0] == 0, "a healthy enclosure")
        self.enclosure.simulator("fan 1 stall")
        self.enclosure.simulator("sensor 0 set 57")
        stage.wait_for(lambda: collect()[0] == 24, "fault and warning")
        text = collect()[1]
        self.assertIn('\nesa_fan_healthy{fan="fan1"} 0\n', text)
        self.enclosure.adapter.kill()
        self.enclosure.adapter.wait()
        self.assertEqual(collect()[1].splitlines()[-1], "esa_up 0")
        # A file that cannot be written is one.
        file.unlink()
        file.mkdir()
        self.assertNotIn(self.esactl(*command[1].split(), "--output", str(file)).returncode, successes)


if __name__ == "__main__":
    stage.main()
