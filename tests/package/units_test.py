"""The units of the installed tree, and what runs around the adapter's start."""

import contextlib
import glob
import os
import re
import subprocess
import tempfile
import unittest

from tree import LIBDIR, UNITS, VERSION, config, installed, output, programs, read, read_at, stage


class PackageTest(unittest.TestCase):
    maxDiff = None

    def test_units_name_the_installed_paths(self):
        for unit in UNITS:
            text = read("/usr/lib/systemd/system/" + unit)
            self.assertNotIn("@", text.replace("@system-service", "").replace("@privileged", "").replace(
                "@resources", ""))
            for path in re.findall(r"(?:Exec\w+=|EnvironmentFile=|exec |--config )-?(/\S+)", text):
                # The fail-safe program may be another product's, or none: the unit goes on without it.
                if not path.startswith("/bin/") and not path.endswith("/esafailsafe"):
                    self.assertTrue(os.path.exists(installed(path)), f"{unit} names {path}")

    def test_unit_rating_is_at_most_1_5(self):
        for unit in UNITS:
            text = output("systemd-analyze", "security", "--offline=true", "--threshold=15", "--no-pager",
                          installed("/usr/lib/systemd/system/" + unit))
            rating = re.search(rf"Overall exposure level for {unit}: ([0-9.]+)", text)
            self.assertIsNotNone(rating, text)
            self.assertLessEqual(float(rating.group(1)), 1.5, unit)

    def test_units_hold_together(self):
        def settings(unit):
            return read("/usr/lib/systemd/system/" + unit).splitlines()

        adapter = settings("esa.service")
        for line in ("PartOf=msm.service", "StartLimitIntervalSec=0", "Restart=always", "NotifyAccess=main",
                     "OOMScoreAdjust=-900", "ExecStopPost=-/usr/sbin/esafailsafe ${ESA_KEY}",
                     "WantedBy=multi-user.target msm.service", "RestartPreventExitStatus=1 2"):
            self.assertIn(line, adapter)
        asked = [line for line in adapter if re.match("(Wants|Requires|BindsTo|Upholds|WatchdogSec)=", line)]
        self.assertEqual([], asked, "what is disabled stays out, and an adapter without a bus is left alone")
        self.assertIn("WantedBy=multi-user.target esa.service", settings("esa-params.service"))
        self.assertFalse([line for line in settings("esa-params.service") if line.startswith(("ExecStop=", "RemainAfter"))])
        self.assertIn("Restart=always", settings("msm.service"))
        self.assertNotIn("PrivateUsers=yes", settings("msm.service"), "the switch tells its users apart")

    def test_block_that_is_not_finished_is_taken_away(self):
        """The last step of esa-params.service: what it has begun and not finished must not be kept for ever."""
        unit = read("/usr/lib/systemd/system/esa-params.service")
        script = re.search(r"^ExecStopPost=-/bin/sh -c '(.*)'$", unit, re.M).group(1)
        script = script.replace("/usr/bin/", installed("/usr/bin/"))
        self.assertLess(unit.index("ExecStart=/bin/touch ${RUNTIME_DIRECTORY}/making\n"), unit.index("/mpuparams create"))
        with stage.prepared() as stack, tempfile.TemporaryDirectory() as work:
            here = programs(ESA_KEY="0x64", RUNTIME_DIRECTORY=work)
            created = here.run("mpuparams", "create", "--key", "0x64", "--config", config(work))
            self.assertEqual(0, created.returncode, created.stderr)
            stack.callback(here.run, "mpuparams", "delete", "--key", "0x64")
            for result, making, stays in (("success", False, True), ("exec-condition", False, True),
                                          ("signal", False, True), ("success", True, True), ("signal", True, False)):
                if making:
                    open(os.path.join(work, "making"), "w", encoding="utf-8").close()
                subprocess.run(["/bin/sh", "-c", script], env={**here.environment, "SERVICE_RESULT": result}, check=False)
                there = here.run("mpuparams", "show", "--key", "0x64").returncode == 0
                self.assertEqual(stays, there, (result, making))

    def test_block_that_is_there_is_kept(self):
        """The condition of esa-params.service: 0 lets it create the block, 1 does not."""
        command = re.search(r"^ExecCondition=/bin/sh -c '(.*)'$", read("/usr/lib/systemd/system/esa-params.service"), re.M)
        script = command.group(1).replace("/usr/bin/", installed("/usr/bin/"))
        environment = {**os.environ, "ESA_KEY": "0x64", "LD_LIBRARY_PATH": installed(LIBDIR)}

        def condition():
            return subprocess.run(["/bin/sh", "-c", script], env=environment, check=False).returncode

        with stage.prepared() as stack:
            self.assertEqual(0, condition())
            created = programs().run("mpuparams", "create", "--key", "0x64", "--config", installed("/etc/esa/mpu.conf"))
            stack.callback(programs().run, "mpuparams", "delete", "--key", "0x64")
            self.assertEqual(0, created.returncode, created.stderr)
            self.assertEqual(1, condition())

    def test_wrong_chassis_ends_the_service_before_a_block_is_made(self):
        unit = read("/usr/lib/systemd/system/esa-params.service").replace("$$", "$")
        scripts = re.findall(r"^Exec(?:StartPre|Start)=/bin/sh -c '(.*)'$", unit, re.M)
        self.assertEqual(2, len(scripts))
        with stage.prepared() as stack:
            stack.callback(programs().run, "mpuparams", "delete", "--key", "0x64")
            for chassis, status in (("quadar", 1), ("", 0), ("Chenbro3U16ATX", 0)):
                environment = {**os.environ, "ESA_KEY": "0x64", "ESA_CHASSIS": chassis, "ESA_RCP_COMPLETE": "yes",
                               "LD_LIBRARY_PATH": installed(LIBDIR)}
                for script in scripts:
                    moved = re.sub(r"/(usr/bin|etc/esa)/", lambda found: installed(found.group(0)) + "/", script)
                    result = subprocess.run(["/bin/sh", "-c", moved], env=environment, check=False)
                    self.assertEqual(status, result.returncode, moved)
            self.assertIn("4 (chenbro)", programs().run("mpuparams", "show", "--key", "0x64").stdout)

    def test_prepare_tells_chassis_and_version_beside_the_switch(self):
        with self.prepare("quadra") as (run, work), contextlib.ExitStack() as stack:
            stage.folder(stack, "/run/esa")
            run("start", ESA_BUS_SECONDS="0")
            self.assertEqual(f"chassis=quadra\nversion={VERSION}\n", read_at("/run/esa/adapter"))
            self.assertFalse(os.path.exists("/run/esa-ask"))
            stage.folder(stack, "/run/esa-ask")
            run("start", ESA_BUS_SECONDS="0")
            self.assertEqual(f"chassis=quadra\nversion={VERSION}\n", read_at("/run/esa-ask/adapter"))
            self.assertTrue(os.path.isdir(work))

    @contextlib.contextmanager
    def prepare(self, chassis):
        """A function that runs esa-prepare with a block of the chassis, and the folder of the logs."""
        with stage.prepared(), tempfile.TemporaryDirectory() as work, contextlib.ExitStack() as stack:
            here = programs(ESA_KEY="0x64", ESA_BUS=os.path.join(work, "enc-0"))
            created = here.run("mpuparams", "create", "--key", "0x64", "--config", config(work))
            self.assertEqual(0, created.returncode, created.stderr)
            stack.callback(here.run, "mpuparams", "delete", "--key", "0x64")
            here.run("mpuparams", "set", "--key", "0x64", "chassisType=" + chassis)
            os.mkdir(os.path.join(work, "log"))

            def run(*arguments, **environment):
                return subprocess.run([installed("/usr/libexec/esa/esa-prepare"), *arguments], text=True, capture_output=True,
                                      check=True, env={**here.environment, **environment}).stdout

            yield run, work

    def test_prepare_keeps_the_logs_of_the_last_ten_lives(self):
        with self.prepare("None") as (run, work):
            log = os.path.join(work, "log", "esa_01.log")
            for life in range(12):
                with open(log, "w", encoding="utf-8") as file:
                    file.write(f"life {life}\n")
                run("start")
                self.assertFalse(os.path.exists(log))
                for kept in glob.glob(os.path.join(work, "log", "before-2*")):
                    # As if a day had passed: names go by the second.
                    os.rename(kept, kept.replace("before-2", f"before-1{life:02}"))
            kept = sorted(glob.glob(os.path.join(work, "log", "before-*-esa_01.log")))
            self.assertLessEqual(len(kept), 11)
            texts = [open(name, encoding="utf-8").read() for name in kept]
            self.assertEqual([f"life {life}\n" for life in range(12)][-len(kept):], texts)
            run("start")
            self.assertEqual(10, len(glob.glob(os.path.join(work, "log", "before-*"))))

    def test_prepare_leaves_empty_logs_links_and_the_event_log_alone(self):
        with self.prepare("None") as (run, work):
            logs = os.path.join(work, "log")
            open(os.path.join(logs, "esa_01.log"), "w", encoding="utf-8").close()
            os.symlink("/etc/passwd", os.path.join(logs, "esa_02.log"))
            with open(os.path.join(logs, "altevents.jsonl"), "w", encoding="utf-8") as file:
                file.write("{}\n")
            run("start")
            self.assertEqual(["altevents.jsonl", "esa_01.log", "esa_02.log"], sorted(os.listdir(logs)))

    def test_prepare_keeps_the_end_of_a_long_log(self):
        with self.prepare("None") as (run, work):
            with open(os.path.join(work, "log", "esa_01.log"), "wb") as file:
                file.truncate(20 * 1024 * 1024)
                file.seek(0, os.SEEK_END)
                file.write(b"the end\n")
            run("start")
            (kept,) = glob.glob(os.path.join(work, "log", "before-*"))
            self.assertEqual(16 * 1024 * 1024, os.path.getsize(kept))
            with open(kept, "rb") as file:
                file.seek(-8, os.SEEK_END)
                self.assertEqual(b"the end\n", file.read())

    def test_prepare_waits_for_the_bus_and_not_for_ever(self):
        with self.prepare("VSC055") as (run, work):
            self.assertIn("is not there: the adapter starts without an enclosure", run("start", ESA_BUS_SECONDS="1"))
            open(os.path.join(work, "enc-0"), "w", encoding="utf-8").close()
            self.assertEqual("", run("start"))
        with self.prepare("None") as (run, work):
            self.assertEqual("", run("start"), "there is no bus to wait for")

    def test_prepare_ends_an_adapter_whose_bus_comes_late(self):
        with self.prepare("VSC055") as (run, work):
            adapter = subprocess.Popen(["sleep", "60"])
            try:
                # The one that watches must not hold the start up: it gets no pipe of ours.
                subprocess.run(["sh", "-c", '"$0" watch "$1" >"$2"', installed("/usr/libexec/esa/esa-prepare"),
                                str(adapter.pid), os.path.join(work, "said")], check=True, timeout=20,
                               env={**programs(ESA_KEY="0x64").environment, "ESA_BUS": os.path.join(work, "enc-0")})
                self.assertIsNone(adapter.poll())
                open(os.path.join(work, "enc-0"), "w", encoding="utf-8").close()
                self.assertEqual(-15, adapter.wait(20))
            finally:
                adapter.kill()
                adapter.wait()

    def test_foreground_drops_root(self):
        with tempfile.TemporaryDirectory() as work:
            stand_ins = os.path.join(work, "bin")
            os.mkdir(stand_ins)
            for name, text in (("id", 'case "$*" in -u) echo 0 ;; "-g esa") echo 987 ;; esa) ;; *) exit 1 ;; esac'),
                               ("chown", f'echo "chown $*" >>{work}/calls'),
                               ("setpriv", f'echo "setpriv $* as [$ESA_USER]" >>{work}/calls')):
                path = os.path.join(stand_ins, name)
                with open(path, "w", encoding="utf-8") as file:
                    file.write("#!/bin/sh\n" + text + "\n")
                os.chmod(path, 0o755)
            config = os.path.join(work, "mpu.conf")
            with open(config, "w", encoding="utf-8") as file:
                file.write(f"Version = 15\nMmsgDirectory = {work}/run\nLogDirectory = {work}/log\n")
            script = installed("/usr/sbin/esa-foreground")
            environment = {**os.environ, "PATH": stand_ins + ":" + os.environ["PATH"], "ESA_CONFIG": config,
                           "ESA_DEFAULTS": "/nonexistent"}
            output(script, env=environment)
            with open(os.path.join(work, "calls"), encoding="utf-8") as file:
                self.assertEqual([f"chown esa: {work}/run", f"chown esa: {work}/log",
                                  "setpriv --reuid=esa --regid=987 --init-groups --no-new-privs --inh-caps=-all "
                                  f"--bounding-set=-all {script} as []"], file.read().splitlines())
            refused = subprocess.run([script], env={**environment, "ESA_USER": "nobody-of-that-name"}, text=True,
                                     capture_output=True, check=False)
            self.assertEqual(1, refused.returncode)
            self.assertIn("there is no user nobody-of-that-name to run as", refused.stderr)

    def test_units_are_well_formed(self):
        paths = [installed("/usr/lib/systemd/system/" + unit) for unit in UNITS]
        result = subprocess.run(["systemd-analyze", "verify", "--man=no", *paths], text=True, capture_output=True,
                                check=False)
        # The tree stands elsewhere than the programs are named.
        elsewhere = re.compile(r"Command /usr/\S+ is not executable|Failed to (create|get) .*(message|bus|cgroup)")
        lines = [line for line in result.stderr.splitlines() if not elsewhere.search(line)]
        self.assertEqual([], [line for line in lines if any(unit in line for unit in UNITS)])


if __name__ == "__main__":
    stage.main()
