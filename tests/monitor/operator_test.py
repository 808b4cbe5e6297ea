"""esactl's words of the past, its bundle, its decoder; and its standard pages as Debian's own decoder reads them."""

import json
import os
import re
import subprocess
import sys
import tarfile
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent))
from place import EnclosureTest, stage
from client import validated

TOKEN = "0123456789abcdef-token"
ELEMENT_TYPES = {"Device slot": "drives", "Power supply": "power_supplies", "Cooling": "fans",
                 "Temperature sensor": "temperatures", "Audible alarm": "alarms"}


def elements(text):
    """What sg_ses prints of every element: by our name of the list, its fields as a dictionary."""
    lists = {}
    for line in text.splitlines():
        if found := re.match(r"    Element type: (.*?), ", line):
            current = lists.setdefault(ELEMENT_TYPES[found[1]], [])
        elif line.startswith("      Element "):
            current.append({})
        elif line.startswith("        ") and lists and current:
            for part in line.strip().split(", "):
                key, _, value = part.partition("=") if "=" in part else part.partition(": ")
                current[-1][key] = value or True
    return lists


class OperatorTest(EnclosureTest):
    def test_the_past_in_words_and_in_one_file(self):
        self.start_enclosure()
        tokens = self.write("tokens", f"anna {TOKEN}\n")
        os.chmod(tokens, 0o600)
        self.start_monitor("--token-file", tokens)
        self.wait_answer()
        self.enclosure.simulator("fan 1 stall")
        stage.wait_for(lambda: self.client.events("?type=fan-fault-status"), "the fan's event")
        past = self.esactl("events", "--since", "1h", "--element", "fan1")
        self.assertRegex(past.stdout, r"\A\S+Z error       fan1 .*\n\S+Z warning     fan1 marked faulty, under the limit of 2000 RPM\n\Z")
        self.assertIn("from the history of the monitor", past.stderr)
        for line in self.esactl("events", "--since", "1h", "--json").stdout.splitlines():
            validated(json.loads(line))
        table = self.esactl("history", "temp0", "--since", "10m").stdout.splitlines()
        self.assertRegex(table[0], r"^time +min +mean +max$")
        self.assertRegex(table[1], r"Z +\d+ +\d+ +\d+$")
        validated(json.loads(self.esactl("history", "temp0", "--json").stdout))
        curve = self.esactl("history", "temp0", "--plot").stdout.splitlines()
        self.assertEqual(len(curve), 13)
        self.assertTrue(any("*" in line for line in curve) and all(len(line) <= 80 for line in curve))
        self.assertEqual(self.esactl("history", "temp0", "--since", "yesterday").returncode, 1)
        bundle = self.path("bundle.tar")
        self.assertEqual(self.esactl("bundle", "--output", bundle).returncode, 0)
        with tarfile.open(bundle) as archive:
            names = {Path(name).name for name in archive.getnames()}
            self.assertLessEqual({"versions.txt", "status.json", "events.json", "readings.json", "units.txt",
                                  "parameters.json"}, names)
            events = json.load(archive.extractfile("esa-bundle/events.json"))
            self.assertIn("fan-fault-status", {entry["name"] for entry in validated(events)["events"]})
            for member in archive.getmembers():
                self.assertNotIn(TOKEN.encode(), archive.extractfile(member).read(), member.name)

    def test_without_a_monitor_it_says_so(self):
        self.start_enclosure()
        past = self.esactl("events", "--since", "1h")
        self.assertEqual((past.returncode, past.stdout), (2, ""))
        self.assertIn("only it knows the past", past.stderr)
        now = self.esactl("history", "temp0")
        self.assertRegex(now.stdout, r"\A\S+Z  \d+ C\n\Z")
        self.assertIn("this is the reading of now, from the adapter", now.stderr)

    def test_logs_are_decoded(self):
        error = (b"apps/esa/core/outgoing.cpp".ljust(64, b"\0") + b"esaSendMmsg".ljust(64, b"\0") +
                 (217).to_bytes(4, "big") + b"Socket error: send failed".ljust(64, b"\0"))
        led = (bytes.fromhex("0000000000000000 0e01012c 08000001 21000000 0800000000000000").ljust(64, b"\0") +
               bytes(147) + bytes.fromhex("02030100050500000000000010") + bytes(16) + bytes.fromhex("00000008") + bytes(56))
        log = self.write("altevents.jsonl", "\n".join(
            json.dumps({"time": 1795228391, "evId": number, "evSource": 33, "body": body.hex()})
            for number, body in ((1, error), (4, led))) + """
rubbish
{"time": 1, "evId": 1, "body": 5}
{"time": "now", "evId": 1, "body": "00"}
{"time": 9223372036854775807, "evId": 1, "body": "00"}
{"time": 1, "evId": 1, "body": "0"}
""")
        self.assertEqual(self.esactl("decode", log).stdout, """\
2026-11-21T02:33:11.000Z critical error in esaSendMmsg (apps/esa/core/outgoing.cpp:217)
    message: Socket error: send failed
2026-11-21T02:33:11.000Z what was being built:
      message of 300 bytes from esadapter(33): eventmgr log
      warning: drive fault LED on: slot03
a line that is cut or damaged
a line that is no record of the event log
a line that is no record of the event log
a line that is no record of the event log
a line that is no record of the event log
""")
        dump = "".join(f"0x{0x50000000 + at:08x}: {led[at:at + 16].hex()}\n" for at in range(0, len(led), 16))
        trace = self.write("esa_01.log", "Nov 21 02:33:11  esaReceive:1:  esaMMSG =\n" + dump + "and on\n")
        self.assertEqual(self.esactl("decode", trace).stdout, """\
Nov 21 02:33:11  esaReceive:1:  esaMMSG =
    message of 300 bytes from esadapter(33): eventmgr log
    warning: drive fault LED on: slot03
and on
""")
        for name, text, wrong in (("none", None, "cannot read "), ("empty", "", "holds no line of a trace log"),
                                  ("letter", "Dear all,\nNov 21 is the day.\n", "holds no line of a trace log"),
                                  ("bytes", "\0\1\2" * 1000, "holds no line of a trace log"),
                                  ("other.jsonl", '{"time": 1}\n{"colour": "red"}\n', "holds no record of an event log")):
            refused = self.esactl("decode", self.path(name) if text is None else self.write(name, text))
            self.assertEqual((refused.returncode, refused.stdout, refused.stderr.count("\n")), (1, "", 1), name)
            self.assertIn(wrong, refused.stderr)
            self.assertIn("; give an event log (altevents.jsonl) or a trace log (esa_01.log)", refused.stderr)

    def standard_and_own(self):
        """The elements as sg_ses reads them, and as esactl does, at one moment."""
        self.enclosure.simulator("freeze")
        pages = "".join(self.esactl("page", page, "--standard").stdout for page in "12")
        own = json.loads(self.esactl("status", "--json").stdout)
        decoded = subprocess.run(["sg_ses", "--status", "--page=2", "--inhex=" + self.write("pages", pages)],
                                 capture_output=True, text=True, check=True).stdout
        self.enclosure.simulator("thaw")
        return decoded, elements(decoded), own

    def compare(self):
        decoded, standard, own = self.standard_and_own()
        bits = {"ok": "CRIT=0", "warning": "NON-CRIT=1", "fault": "CRIT=1"}
        self.assertRegex(decoded, r"\b" + bits[own["state"]] + r"\b")
        for kind in ("drives", "power_supplies", "fans", "temperatures", "alarms"):
            self.assertEqual(len(standard.get(kind, [])), len(own[kind]), kind)
        words = {"ok": "OK", "absent": "Not installed", "fault": "Critical", "warning": "Noncritical"}
        for theirs, ours in zip(standard["drives"], own["drives"]):
            self.assertEqual(theirs, {**theirs, "status": words[ours["state"]], "Slot address": str(ours["slot"]),
                                      "Fault requested": str(int(ours["fault_led"])), "Device off": "0"})
        for theirs, ours in zip(standard["power_supplies"], own["power_supplies"]):
            self.assertEqual(theirs, {**theirs, "status": words[ours["state"]], "Fail": str(int(ours["fail"])),
                                      "AC fail": str(int(ours["ac_fail"])), "Requested on": str(int(ours["requested_on"]))})
        for theirs, ours in zip(standard["fans"], own["fans"]):
            self.assertEqual(theirs, {**theirs, "status": words[ours["state"]], "Actual speed": f"{ours['rpm'] or 0} rpm",
                                      "Fail": str(int(ours["state"] == "fault")), "Requested on": str(int(ours["requested_on"]))})
        for theirs, ours in zip(standard["temperatures"], own["temperatures"]):
            if ours["celsius"] is None:
                self.assertEqual(theirs["status"], "Unknown")
                continue
            limits = ours["limits"]
            over = [ours["celsius"] > limits["high_failure"], ours["celsius"] > limits["high_warning"]]
            self.assertEqual(theirs, {**theirs, "status": words[ours["state"]], "Temperature": f"{ours['celsius']} C",
                                      "OT failure": str(int(over[0])), "OT warning": str(int(over[1]))})
        for theirs in standard["alarms"]:
            self.assertEqual(theirs["status"], "Unknown")  # the adapter's reply ends before the alarm's byte
        return own

    def check_chassis(self, chassis):
        self.start_enclosure(chassis)
        stage.wait_for(lambda: not json.loads(self.esactl("status", "--json").stdout)["problems"], "a healthy enclosure")
        self.compare()
        for command in ("fan 1 stall", "psu 0 fail", "drive 2 pull", "sensor 0 set 57", "sensor 1 set 63"):
            self.enclosure.simulator(command)
        self.esactl("led", "1", "on")
        stage.wait_for(lambda: "fan1" in self.esactl("status", "--json").stdout.partition("drives")[0], "the faults")
        own = self.compare()
        self.assertEqual(own["state"], "fault")
        states = [sensor["state"] for sensor in own["temperatures"][:2]]
        # That chassis has no second sensor.
        self.assertEqual(states, ["warning", "absent" if chassis == "w83782d" else "fault"])


for _chassis in ("vsc055", "quadra", "xyratex", "chenbro", "w83782d"):
    setattr(OperatorTest, f"test_sg_ses_reads_the_standard_pages_of_{_chassis}",
            lambda self, chassis=_chassis: self.check_chassis(chassis))

if __name__ == "__main__":
    stage.main()
