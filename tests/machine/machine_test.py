#!/usr/bin/env python3
"""The package for the product's processor in the product's kind of machine, on a real kernel's I2C bus.

The same life is lived by this machine's own build, over the serial bridge; what was to be seen of both is compared.
"""

import glob
import json
import os
import re
import subprocess
import tempfile
import time
import unittest

import life
import machine
import places

natives = {}


def native(chassis):
    if chassis not in natives:
        natives[chassis] = places.native(chassis)
    return natives[chassis]


def messages_of(transfer):
    """The messages that a transfer of the adapter is made of, as the simulator writes them, all acknowledged."""
    _, kind, address, register, _, data = re.fullmatch(r"(\d+) (read|write) (\S+) 0x(..) (\d+) \[(.*)\] ack",
                                                       transfer).groups()
    if kind == "write":
        return f"write {address} [{register} {data}] ack"
    return f"write {address} [{register}] ack, read {address} [{data}] ack"


def kind_of(message):
    """A word for a message of the adapter."""
    protocol, kind = message[12], messages.word(message, 12) & 0xFFFFFF
    if protocol == 8:
        return f"event {message[214] << 8 | message[215]}/{message[211]}"
    return {(12, 14): "led", (12, 16): "email", (13, 1): "shutdown", (12, 1): "init"}.get((protocol, kind), "reply")


def step(record, name):
    """The kinds of messages that the adapter sent in one step of its life."""
    kinds, inside = [], False
    for what, content in record.seen:
        if what == "step":
            inside = content == name.encode()
        elif inside and what == "from":
            kinds.append(kind_of(content))
    return kinds


class LifeTest(unittest.TestCase):
    maxDiff = 2000

    def same(self, here, there):
        self.assertEqual([text for text, _ in here.seen], [text for text, _ in there.seen])
        for at, (one, other) in enumerate(zip(here.seen, there.seen)):
            self.assertEqual((one[0], one[1].hex()), (other[0], other[1].hex()), f"message {at}")
        self.assertEqual(here.transfers(), there.transfers())
        self.assertEqual(here.events, there.events)
        self.assertEqual(here.trace.splitlines(), there.trace.splitlines())
        self.assertEqual(here.fail_safe, there.fail_safe)

    def lived(self, chassis, record):
        """What every chassis does in its life, said without a comparison."""
        self.assertEqual(["init", "reply"], step(record, "start"))
        self.assertEqual(["reply", "reply"], step(record, "healthy"))
        self.assertEqual(["event 7/2", "led", "email", "reply"], step(record, "a fan stalls"))
        self.assertEqual(["event 7/2", "led", "reply"], step(record, "the fan turns again"))
        self.assertIn("event 6/2", step(record, "a supply fails"))
        self.assertIn("event 6/1", step(record, "the supply is well again"))
        self.assertIn("event 8/2", step(record, "warm"))
        self.assertEqual(2, step(record, "too hot: shut down").count("shutdown"))
        self.assertIn("event 8/1", step(record, "cool again"))
        self.assertEqual(["event 5/2", "reply", "reply"], step(record, "LEDs of three drives"))
        self.assertIn("led", step(record, "the bus is back"))
        lit, off, sounding, muted = [content for what, content in record.seen if what == "world"]
        self.assertEqual(b"[] False" if chassis in ("chenbro", "w83782d") else b"[0, 3, 11] False", lit)  # two wire no LEDs
        self.assertEqual([b"[] False", b"[] True", b"[] False"], [off, sounding, muted])
        before, status, said, wrong, after = record.fail_safe
        self.assertLess(max(before), 100)
        self.assertEqual((0, b""), (status, wrong))
        self.assertRegex(said, rb"^every fan of \S+ is at full speed\n$")
        self.assertEqual([100] * len(before), after)

    def on_the_kernels_bus(self, chassis, queue=""):
        there = places.in_machine(chassis, queue=queue)
        self.same(native(chassis), there)
        self.lived(chassis, there)
        self.assertEqual(0, there.unaligned, "accesses that the kernel had to mend")
        print(f"\nstack that the adapter has touched on {chassis}: {there.stack} kB")
        self.assertLessEqual(there.stack, 16)
        failed = 0
        for line in there.log:
            transfer, messages = line.split(" = ")
            if transfer.endswith(" ack"):
                self.assertEqual(messages_of(transfer), messages)
            else:
                failed += 1
        self.assertGreater(failed, 2)
        middle = [line for line in there.log if re.search(r" = write \S+ \[..\] ack, read \S+ \[\] nack$", line)]
        self.assertEqual(1, len(middle), "a read that nobody acknowledged behind the repeated start")
        return there

    def test_vsc055_lives_on_the_kernels_bus_as_behind_the_bridge(self):
        self.on_the_kernels_bus("vsc055")

    def test_quadra_lives_on_the_kernels_bus_as_behind_the_bridge(self):
        self.on_the_kernels_bus("quadra")

    def test_xyratex_lives_on_the_kernels_bus_as_behind_the_bridge(self):
        there = self.on_the_kernels_bus("xyratex")
        self.assertIn("event 9/2", step(there, "the enclosure's own alarm"))
        self.assertIn("event 9/1", step(there, "the enclosure's alarm ends"))

    def test_chenbro_lives_on_the_kernels_bus_without_event_index_as_behind_the_bridge(self):
        self.on_the_kernels_bus("chenbro", ",event_idx=off")

    def test_w83782d_lives_on_the_kernels_bus_as_behind_the_bridge(self):
        self.on_the_kernels_bus("w83782d")

    def test_vsc055_lives_on_a_serial_port_as_on_a_pseudo_terminal(self):
        there = places.in_machine("vsc055", serial=True)
        self.same(native("vsc055"), there)
        self.lived("vsc055", there)


class PackageTest(unittest.TestCase):
    """The files that scripts/product has made."""

    def test_deb_and_tar_file_hold_the_same(self):
        (deb,) = glob.glob(machine.package().replace(".tar.gz", ".deb"))
        fields = self.output("dpkg-deb", "-f", deb, "Package", "Architecture")
        self.assertEqual("Package: esa\nArchitecture: powerpc\n", fields)
        listed = [subprocess.run(words, capture_output=True, check=True).stdout for words in (
            ["dpkg-deb", "--fsys-tarfile", deb], ["gzip", "-dc", machine.package()])]
        names = [sorted(name.lstrip("./") for name in subprocess.run(["tar", "-t"], input=content, capture_output=True,
                 check=True).stdout.decode().split() if not name.endswith("/")) for content in listed]
        self.assertEqual(names[0], names[1])
        self.assertIn("usr/sbin/esa", names[1])

    def test_programs_are_hardened_and_stripped(self):
        with tempfile.TemporaryDirectory() as root:
            subprocess.run(["tar", "-xzf", machine.package(), "-C", root], check=True)
            programs = [os.path.join(root, "usr", name) for name in ("sbin/esa", "sbin/esafailsafe", "sbin/msm", "bin/esactl",
                                                                 "bin/mpuparams")]
            for program in [*programs, *glob.glob(os.path.join(root, "usr/lib/libesaplatform.so.1.*"))]:
                said = self.output("powerpc-linux-gnu-readelf", "--wide", "--file-header", "--segments", "--dynamic",
                                   "--dyn-syms", "--sections", program)
                self.assertRegex(said, r"Class:\s+ELF32")
                self.assertRegex(said, r"Data:\s+2's complement, big endian")
                self.assertRegex(said, r"Type:\s+DYN")
                self.assertRegex(said, "GNU_RELRO")
                self.assertRegex(said, r"\(FLAGS(_1)?\).*\bNOW\b")
                self.assertRegex(said, r"GNU_STACK.* RW ")
                self.assertRegex(said, "__stack_chk_fail")
                self.assertNotRegex(said, r"\.symtab|\.debug_info")

    @staticmethod
    def output(*words):
        return subprocess.run(words, capture_output=True, text=True, check=True).stdout


class ProductTest(unittest.TestCase):
    """The installed package, started by the machine's init, with its own switch and the operator's tool."""

    @staticmethod
    def esactl(run, words):
        status, out, err = run.do("run /usr/bin/esactl --timeout 60 " + words)
        return status, out.decode(), err.decode()

    def status(self, run):
        # The exit status tells the health of the enclosure, except for its lowest bits.
        status, out, err = self.esactl(run, "status --json")
        self.assertEqual(0, status & 7, err)
        return json.loads(out)

    def test_operator_lights_a_led_and_sees_a_fan_stall(self):
        with places.booted("vsc055", machine.SWITCH) as (run, simulator):
            self.status(run)
            self.assertEqual(0, self.esactl(run, "led 3 on")[0])
            lit = [drive["index"] for drive in json.loads(simulator("show --json"))["drives"] if drive["led"]]
            self.assertEqual([3], lit)
            simulator("fan 1 stall")
            states = [fan["state"] for fan in self.status(run)["fans"]]
            self.assertEqual(["ok", "ok"], [states[0], states[2]])
            self.assertNotEqual("ok", states[1])
            for name in ("esa", "msm"):
                status = run.read(f"/proc/{run.output('pid ' + name)}/status")
                resident = int(re.search(r"VmRSS:\s+(\d+) kB", status).group(1))
                print(f"\nresident memory of {name}: {resident} kB")
                self.assertLess(resident, 5000)

    def test_bus_that_answers_nothing_for_a_while_is_waited_for(self):
        with places.booted("vsc055", machine.SWITCH) as (run, simulator):
            before = self.status(run)
            simulator("line silent")
            simulator("transfers reset")
            time.sleep(3)
            self.assertEqual("total 0", simulator("transfers")[:7])
            simulator("line ok")
            after = self.status(run)
            self.assertEqual(before["fans"], after["fans"])
            self.assertNotEqual("0", run.output("pid esa"))


if __name__ == "__main__":
    unittest.main(verbosity=2)
