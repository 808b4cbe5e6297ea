"""The installed tree and the Debian package: which files, and whether they work there."""

import contextlib
import glob
import gzip
import json
import os
import re
import subprocess
import sys
import tempfile
import unittest

ROOT = os.environ["ESA_ROOT"]
LIBDIR = os.environ["ESA_LIBDIR"]
BUILD = os.environ["ESA_BUILD"]
SOURCE = os.environ["ESA_SOURCE"]
VERSION = os.environ["ESA_VERSION"]

sys.path.insert(0, os.path.join(SOURCE, "tests", "support"))
import stage  # noqa: E402

FILES = """
/etc/default/esa
/etc/esa/mpu.conf
/usr/bin/encsim
/usr/bin/esactl
/usr/bin/mpuparams
/usr/include/esa/basetypes.h
/usr/include/esa/chassis_list.def
/usr/include/esa/emp_mesgs.h
/usr/include/esa/enclosure_bus.h
/usr/include/esa/esa_evl.h
/usr/include/esa/mmsg.h
/usr/include/esa/mpu_gbl.h
/usr/include/esa/nonxml.h
/usr/include/esa/osdep.h
/usr/include/esa/platform.h
/usr/include/esa/ses_commands.h
/usr/include/esa/ses_elements.h
/usr/include/esa/ses_mesgs.h
/usr/include/esa/ses_pages.h
/usr/include/esa/startup.h
/usr/include/esa/trace.h
/usr/include/esa/version.h
/usr/include/esa/wire.h
/usr/lib/modules-load.d/esa.conf
/usr/lib/systemd/system/esa-params.service
/usr/lib/systemd/system/esa.service
/usr/lib/systemd/system/msm.service
/usr/lib/sysusers.d/esa.conf
/usr/lib/tmpfiles.d/esa.conf
/usr/lib/udev/rules.d/60-esa.rules
/usr/libexec/esa/esa-prepare
/usr/sbin/esa
/usr/sbin/esa-foreground
/usr/sbin/esafailsafe
/usr/sbin/msm
/usr/share/bash-completion/completions/encsim
/usr/share/bash-completion/completions/esactl
/usr/share/bash-completion/completions/esafailsafe
/usr/share/bash-completion/completions/mpuparams
/usr/share/bash-completion/completions/msm
/usr/share/doc/esa/README.md
/usr/share/doc/esa/changelog.gz
/usr/share/doc/esa/copyright
/usr/share/doc/esa/docs/architecture.md
/usr/share/doc/esa/docs/esactl.md
/usr/share/doc/esa/docs/operations.md
/usr/share/doc/esa/docs/serial-i2c-bridge.md
/usr/share/doc/esa/docs/simulator.md
/usr/share/doc/esa/docs/wire-formats.md
/usr/share/doc/esa/examples/README.md
/usr/share/doc/esa/examples/none.conf
/usr/share/doc/esa/examples/quadra.conf
/usr/share/doc/esa/examples/xyratex.conf
/usr/share/fish/vendor_completions.d/encsim.fish
/usr/share/fish/vendor_completions.d/esactl.fish
/usr/share/fish/vendor_completions.d/esafailsafe.fish
/usr/share/fish/vendor_completions.d/mpuparams.fish
/usr/share/fish/vendor_completions.d/msm.fish
/usr/share/man/man1/encsim.1.gz
/usr/share/man/man1/esactl.1.gz
/usr/share/man/man8/esa-foreground.8.gz
/usr/share/man/man8/esa.8.gz
/usr/share/man/man8/esafailsafe.8.gz
/usr/share/man/man8/mpuparams.8.gz
/usr/share/man/man8/msm.8.gz
/usr/share/zsh/vendor-completions/_encsim
/usr/share/zsh/vendor-completions/_esactl
/usr/share/zsh/vendor-completions/_esafailsafe
/usr/share/zsh/vendor-completions/_mpuparams
/usr/share/zsh/vendor-completions/_msm
""".split() + [LIBDIR + name for name in ("/libMPU.a", "/libesaplatform.so", "/libesaplatform.so.1",
                                          "/libesaplatform.so.1.0.0", "/pkgconfig/esa.pc")]
MONITOR_FILES = set("""
/etc/default/esamon
/usr/lib/systemd/system/esamon.service
/usr/lib/systemd/system/msm.service.d/esamon.conf
/usr/lib/sysusers.d/esamon.conf
/usr/lib/tmpfiles.d/esamon.conf
/usr/sbin/esamon
/usr/share/bash-completion/completions/esamon
/usr/share/doc/esa-monitor/changelog.gz
/usr/share/doc/esa-monitor/copyright
/usr/share/fish/vendor_completions.d/esamon.fish
/usr/share/man/man8/esamon.8.gz
/usr/share/zsh/vendor-completions/_esamon
""".split())
# A page of the documentation may come or go without a change here.
OPTIONAL = re.compile(r"/usr/share/(doc/esa/(docs|examples)/|doc/esa-|lintian/)")

UNITS = ("esa.service", "esa-params.service", "msm.service")


def files_below(root):
    found = set()
    for folder, _, names in os.walk(root):
        found.update("/" + os.path.relpath(os.path.join(folder, name), root) for name in names)
    return found


def installed(path):
    return os.path.join(ROOT, path.lstrip("/"))


def read(path):
    with open(installed(path), encoding="utf-8") as file:
        return file.read()


def read_at(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


def output(*command, **options):
    return subprocess.run(command, text=True, capture_output=True, check=True, **options).stdout


def programs(**environment):
    # The tree stands where no loader looks for a library.
    environment.setdefault("LD_LIBRARY_PATH", installed(LIBDIR))
    return stage.Programs([installed("/usr/bin"), installed("/usr/sbin")], environment=environment)


class PackageTest(unittest.TestCase):
    maxDiff = None

    # ------------------------------------------------------------------------------------------ the tree

    def test_installs_exactly_the_listed_files(self):
        required = {name for name in FILES if not OPTIONAL.match(name)}
        found = files_below(ROOT)
        self.assertEqual(sorted(required), sorted(name for name in found if not OPTIONAL.match(name)))
        self.assertLessEqual(set(FILES), found)

    def test_man_pages_are_compressed_and_name_their_program(self):
        for program in ("esa.8", "esa-foreground.8", "msm.8", "mpuparams.8", "esactl.1", "encsim.1"):
            name, section = program.split(".")
            with gzip.open(installed(f"/usr/share/man/man{section}/{program}.gz"), "rt", encoding="utf-8") as page:
                text = page.read()
            self.assertIn(f".TH {name.upper()} {section} \"\" \"esa {VERSION}\"", text)

    def test_links_of_the_documentation_lead_somewhere(self):
        pages = [path for path in glob.glob(installed("/usr/share/doc/esa/**/*"), recursive=True) if path.endswith(".md")]
        self.assertGreater(len(pages), 9)
        for page in pages:
            for link in re.findall(r"\]\(([^)#]+)[^)]*\)", read_at(page)):
                # How the promises are proved is in the source tree.
                if not link.startswith(("http", "../tests/")):
                    self.assertTrue(os.path.exists(os.path.join(os.path.dirname(page), link)), f"{page}: {link}")

    def test_units_name_the_installed_paths(self):
        for unit in UNITS:
            text = read("/usr/lib/systemd/system/" + unit)
            self.assertNotIn("@", text.replace("@system-service", "").replace("@privileged", "").replace(
                "@resources", ""))
            for path in re.findall(r"(?:Exec\w+=|EnvironmentFile=|exec |--config )-?(/\S+)", text):
                # The fail-safe program may be another product's, or none: the unit goes on without it.
                if not path.startswith("/bin/") and not path.endswith("/esafailsafe"):
                    self.assertTrue(os.path.exists(installed(path)), f"{unit} names {path}")

    # -------------------------------------------------------------------------------------- the programs

    def test_programs_print_help_and_version(self):
        for name in ("mpuparams", "esactl", "encsim", "msm"):
            help_text = programs().run(name, "--help")
            self.assertEqual(0, help_text.returncode, name)
            self.assertIn("--help", help_text.stdout)
        for name in ("mpuparams", "esactl", "encsim", "msm", "esafailsafe"):
            version = programs().run(name, "--version")
            self.assertEqual(0, version.returncode)
            self.assertEqual(f"{name} {VERSION}\n", version.stdout)

    def test_man_pages_have_their_sections(self):
        for path in glob.glob(installed("/usr/share/man/man*/*.gz")):
            with gzip.open(path, "rt", encoding="utf-8") as page:
                sections = set(re.findall(r"^\.SH (.*)$", page.read(), re.M))
            self.assertLessEqual({"NAME", "SYNOPSIS", "DESCRIPTION", "ENVIRONMENT", "FILES", "EXIT STATUS", "SEE ALSO"}, sections,
                                 path)

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

    def test_man_pages_name_every_option(self):
        commands = {"esactl": ("status", "config", "slots", "accept", "led", "locate", "fan", "psu", "alarm", "events", "watch",
                               "raw"),
                    "mpuparams": ("create", "check", "show", "set", "image", "delete"), "encsim": (), "msm": ()}
        for program, names in commands.items():
            (page,) = glob.glob(installed(f"/usr/share/man/man*/{program}.[18].gz"))
            with gzip.open(page, "rt", encoding="utf-8") as file:
                text = file.read().replace("\\-", "-")
            for arguments in [[], *([name] for name in names)]:
                options = set(re.findall(r"(?<![\w-])--[a-z-]+", programs().run(program, *arguments, "--help").stdout))
                self.assertIn("--help", options)
                self.assertEqual(set(), {option for option in options if option not in text}, program)

    def test_adapter_refuses_wrong_command_lines(self):
        nothing = programs().run("esa")
        self.assertEqual(1, nothing.returncode)
        self.assertEqual("main(): Start the Enclosure Services Adapter.main(): Arguments few than 2.\n", nothing.stdout)
        low = programs().run("esa", "99")
        self.assertEqual(2, low.returncode)
        self.assertEqual("main(): Start the Enclosure Services Adapter.main(): shared memory key less than 100.\n",
                         low.stdout)

    def test_block_is_created_shown_and_deleted(self):
        with stage.prepared():
            self.assertNotEqual(0, programs().run("mpuparams", "show", "--key", "0x64").returncode)
            created = programs().run("mpuparams", "create", "--key", "0x64", "--config", installed("/etc/esa/mpu.conf"))
            self.assertEqual((0, ""), (created.returncode, created.stderr))
            shown = json.loads(programs().run("mpuparams", "show", "--key", "0x64", "--json").stdout)
            self.assertEqual("/run/esa", shown["params"]["mmsgDirectory"])
            self.assertEqual("/var/log/esa", shown["params"]["logDirectory"])
            self.assertEqual(0, programs().run("mpuparams", "delete", "--key", "0x64").returncode)
            self.assertNotEqual(0, programs().run("mpuparams", "show", "--key", "0x64").returncode)

    def test_adapter_runs_from_the_installed_tree(self):
        with stage.prepared() as stack, tempfile.TemporaryDirectory() as work:
            with contextlib.ExitStack() as inner:
                stage.folder(inner, "/run/esa")
                stage.Enclosure(inner, programs(), work, self.config(work))
                status = json.loads(programs().run("esactl", "status", "--json").stdout)
                self.assertEqual(["fan0", "fan1", "fan2"], [fan["name"] for fan in status["fans"]])
                self.assertTrue(all(fan["rpm"] >= 2000 for fan in status["fans"]))
            del stack

    def test_foreground_script_makes_all_and_runs(self):
        with stage.prepared(), tempfile.TemporaryDirectory() as work, contextlib.ExitStack() as stack:
            stage.folder(stack, "/run/esa")
            defaults = os.path.join(work, "defaults")
            with open(defaults, "w", encoding="utf-8") as file:
                file.write(read("/etc/default/esa").replace("ESA_CHASSIS=\n", "ESA_CHASSIS=VSC055\n"))
            here = programs(ESA_DEFAULTS=defaults, ESA_CONFIG=self.config(work), ESA_USER="")
            here.start(stack, os.path.join(work, "msm.out"), "msm", "--directory", "/run/esa")
            here.start(stack, os.path.join(work, "encsim.out"), "encsim", "--chassis", "vsc055")
            for name in ("msm.out", "encsim.out"):
                stage.wait_for_text(os.path.join(work, name), "ready")
            here.start(stack, os.path.join(work, "esa.out"), "esa-foreground")
            stack.callback(here.run, "mpuparams", "delete", "--key", "0x64")
            stage.wait_for(lambda: here.run("esactl", "--timeout", "5", "config").returncode == 0, "an answer")
            self.assertIn("chassisType", here.run("mpuparams", "show", "--key", "0x64").stdout)
            self.assertTrue(os.path.isdir(os.path.join(work, "log")))

    @staticmethod
    def config(work):
        """The packaged settings, with the logs below `work`."""
        path = os.path.join(work, "mpu.conf")
        with open(path, "w", encoding="utf-8") as file:
            file.write(read("/etc/esa/mpu.conf").replace("/var/log/esa", os.path.join(work, "log")))
        return path

    def test_headers_and_library_build_a_program(self):
        source = """
            #include <esa/mmsg.h>
            #include <esa/mpu_gbl.h>
            #include <esa/platform.h>
            int main() { return MPU_getMpuParams(1) == nullptr && sizeof(MMCH_t) == 64 && &read_i2c_data != nullptr ? 0 : 1; }
        """
        with tempfile.TemporaryDirectory() as work:
            program = os.path.join(work, "peer")
            output(os.environ["CXX"], "-std=c++20", "-Wno-address", "-Wno-nonnull-compare", "-x", "c++", "-", "-x", "none",
                   "-I", installed("/usr/include"), "-L", installed(LIBDIR), "-lMPU", "-lesaplatform", "-pthread",
                   "-o", program, input=source)
            subprocess.run([program], check=True, env={"LD_LIBRARY_PATH": installed(LIBDIR)}, stderr=subprocess.DEVNULL)

    # ----------------------------------------------------------------------------------------- the units

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
            created = here.run("mpuparams", "create", "--key", "0x64", "--config", self.config(work))
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

    # ------------------------------------------------------------------------------ around the adapter's start

    @contextlib.contextmanager
    def prepare(self, chassis):
        """A function that runs esa-prepare with a block of the chassis, and the folder of the logs."""
        with stage.prepared(), tempfile.TemporaryDirectory() as work, contextlib.ExitStack() as stack:
            here = programs(ESA_KEY="0x64", ESA_BUS=os.path.join(work, "enc-0"))
            created = here.run("mpuparams", "create", "--key", "0x64", "--config", self.config(work))
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

    # ------------------------------------------------------------------------------------- the .deb file

    @contextlib.contextmanager
    def package(self):
        with tempfile.TemporaryDirectory() as work:
            output("cpack", "-G", "DEB", "-B", work, "--config", os.path.join(BUILD, "CPackConfig.cmake"), cwd=work)
            (path,) = glob.glob(os.path.join(work, "esa_*.deb"))
            yield path

    @staticmethod
    def parts(deb):
        """The packages beside the adapter's own, without the monitor."""
        return [path for path in sorted(glob.glob(os.path.join(os.path.dirname(deb), "esa-*.deb"))) if "esa-monitor" not in path]

    @staticmethod
    def monitor(deb):
        (path,) = glob.glob(os.path.join(os.path.dirname(deb), "esa-monitor_*.deb"))
        return path

    def test_deb_control_fields(self):
        with self.package() as deb:
            architecture = output("dpkg", "--print-architecture").strip()
            self.assertEqual(f"esa_{VERSION}_{architecture}.deb", os.path.basename(deb))
            fields = dict(line.split(": ", 1) for line in output("dpkg-deb", "-f", deb).splitlines()
                          if ": " in line and not line.startswith(" "))
            self.assertEqual("esa", fields["Package"])
            self.assertEqual(VERSION, fields["Version"])
            self.assertEqual(architecture, fields["Architecture"])
            self.assertEqual("admin", fields["Section"])
            self.assertRegex(fields["Depends"], r"libc6 \(>= 2\.")
            self.assertRegex(fields["Depends"], r"libstdc\+\+6 \(>= ")
            self.assertEqual("enclosure services adapter of a storage controller", fields["Description"])
            self.assertEqual(["esa-dev", "esa-simulator", "esa-tools"],
                             [os.path.basename(part).split("_")[0] for part in self.parts(deb)])
            with tempfile.TemporaryDirectory() as control:
                output("dpkg-deb", "-e", deb, control)
                with open(os.path.join(control, "conffiles"), encoding="utf-8") as file:
                    self.assertEqual(["/etc/default/esa", "/etc/esa/mpu.conf"], file.read().split())
                with open(os.path.join(control, "triggers"), encoding="utf-8") as file:
                    self.assertIn("activate-noawait ldconfig", file.read())
                with open(os.path.join(control, "shlibs"), encoding="utf-8") as file:
                    self.assertIn(f"libesaplatform 1 esa (>= {VERSION})", file.read())
                for script in ("preinst", "postinst", "prerm", "postrm"):
                    self.assertEqual(0o755, os.stat(os.path.join(control, script)).st_mode & 0o777)

    def test_deb_holds_what_is_installed(self):
        with self.package() as deb, tempfile.TemporaryDirectory() as root:
            seen = set()
            for part in (deb, *self.parts(deb)):
                with tempfile.TemporaryDirectory() as alone:
                    output("dpkg-deb", "-x", part, alone)
                    self.assertEqual(set(), seen & files_below(alone), "a file in two packages")
                    seen |= files_below(alone)
                output("dpkg-deb", "-x", part, root)
            self.assertEqual(files_below(ROOT), files_below(root))
            for name in ("/usr/sbin/esa", "/usr/bin/mpuparams"):
                dynamic = output("readelf", "-d", os.path.join(root, name.lstrip("/")))
                self.assertNotRegex(dynamic, "RPATH|RUNPATH", name)
            owners = {line.split()[1] for line in output("dpkg-deb", "-c", deb).splitlines()}
            self.assertEqual({"root/root"}, owners)
            library = os.path.join(root, LIBDIR.lstrip("/"))
            nothing = subprocess.run([os.path.join(root, "usr/sbin/esa")], env={"LD_LIBRARY_PATH": library}, text=True,
                                     capture_output=True, check=False)
            self.assertEqual(1, nothing.returncode)

    def test_deb_scripts_are_clean(self):
        scripts = glob.glob(os.path.join(SOURCE, "packaging", "debian", "*", "p*"))
        self.assertLessEqual(6, len(scripts))
        for script in [*scripts, *glob.glob(os.path.join(SOURCE, "packaging", "debian", "tests", "[a-z]*[a-z]"))]:
            if not script.endswith("control"):
                output("sh", "-n", script)

    def test_packages_have_nothing_that_lintian_warns_of(self):
        with self.package() as deb:
            found = subprocess.run(["lintian", "--no-cfg", "--allow-root", deb, *self.parts(deb), self.monitor(deb)], text=True,
                                   capture_output=True, check=False)
            self.assertEqual("", found.stdout)

    def test_monitor_is_a_package_of_its_own(self):
        with self.package() as deb, tempfile.TemporaryDirectory() as root:
            path = self.monitor(deb)
            depends = output("dpkg-deb", "-f", path, "Depends")
            for needed in (rf"esa-tools \(= {re.escape(VERSION)}\)", r"libmicrohttpd12 \(>= ", r"libsqlite3-0 \(>= "):
                self.assertRegex(depends, needed)
            output("dpkg-deb", "-R", path, root)
            self.assertEqual("/etc/default/esamon\n", read_at(os.path.join(root, "DEBIAN/conffiles")))
            self.assertIn("systemd-sysusers", read_at(os.path.join(root, "DEBIAN/postinst")))
            panel = "/usr/share/esa/panel/"
            found = {name for name in files_below(root) if not name.startswith(("/DEBIAN/", "/usr/share/lintian/"))}
            self.assertEqual(MONITOR_FILES, {name for name in found if not name.startswith(panel)})
            with open(os.path.join(BUILD, "CMakeCache.txt"), encoding="utf-8") as cache:
                has_panel = "ESA_PANEL:BOOL=ON\n" in cache
            self.assertEqual(has_panel, panel + "index.html" in found)

    def test_deb_configures_itself(self):
        """dpkg installs, removes and purges it in an empty root; the scripts run, edited settings stay until purged."""
        with stage.prepared(), self.package() as deb, tempfile.TemporaryDirectory() as root:
            admin = os.path.join(root, "var/lib/dpkg")
            for folder in ("updates", "info", "triggers"):
                os.makedirs(os.path.join(admin, folder))
            for name in ("status", "available"):
                open(os.path.join(admin, name), "w", encoding="utf-8").close()
            dpkg = ["dpkg", "--root=" + root, "--log=/dev/null", "--force-depends", "--force-script-chrootless",
                    "--force-not-root", "--force-bad-path"]
            environment = {**os.environ, "PATH": self.stand_ins(root) + ":" + os.environ["PATH"]}
            output(*dpkg, "-i", deb, *self.parts(deb), self.monitor(deb), env=environment)
            # Nothing that they depend on is there, so dpkg takes them in any order. The running system's services are left alone.
            self.assertEqual(sorted(f"{program} --root={root} {name}.conf" for name in ("esa", "esamon")
                                    for program in ("systemd-sysusers", "systemd-tmpfiles")),
                             sorted(call.replace(" --create", "") for call in self.calls(root)))
            settings = os.path.join(root, "etc/esa/mpu.conf")
            with open(settings, "a", encoding="utf-8") as file:
                file.write("# by hand\n")
            log = os.path.join(root, "var/log/esa/esa_01.log")
            os.makedirs(os.path.dirname(log))
            open(log, "w", encoding="utf-8").close()
            names = ("esa", "esa-tools", "esa-simulator", "esa-dev", "esa-monitor")
            output(*dpkg, "-r", *names, env=environment)
            self.assertFalse(os.path.exists(os.path.join(root, "usr/sbin/esa")))
            self.assertTrue(os.path.exists(settings))
            wants = os.path.join(root, "etc/systemd/system/multi-user.target.wants")
            os.makedirs(wants)
            for unit in ("esa.service", "esa-params.service", "msm.service", "esamon.service", "other.service"):
                os.symlink("/usr/lib/systemd/system/" + unit, os.path.join(wants, unit))
            output(*dpkg, "-P", *names, env=environment)
            self.assertEqual(["other.service"], os.listdir(wants), "no link is left to what is gone")
            self.assertFalse(os.path.exists(settings))
            self.assertTrue(os.path.exists(log))

    def test_deb_restarts_what_runs_after_an_upgrade(self):
        with stage.prepared(), tempfile.TemporaryDirectory() as work:
            if not stage.is_own():
                self.skipTest("the services of this machine would be meant")
            os.makedirs("/run/systemd/system")
            environment = {**os.environ, "PATH": self.stand_ins(work) + ":" + os.environ["PATH"]}
            script = os.path.join(SOURCE, "packaging", "debian", "adapter", "postinst")
            output("sh", script, "configure", env=environment)
            self.assertNotIn("systemctl try-restart msm.service esa.service", self.calls(work))
            output("sh", script, "configure", "1.2", env=environment)
            calls = self.calls(work)
            self.assertIn("systemctl try-restart msm.service esa.service", calls)
            self.assertLess(calls.index("systemctl daemon-reload"), calls.index("systemctl try-restart msm.service esa.service"))

    def test_deb_starts_what_is_enabled_when_it_is_installed_again(self):
        with stage.prepared(), tempfile.TemporaryDirectory() as work:
            if not stage.is_own():
                self.skipTest("the services of this machine would be meant")
            os.makedirs("/run/systemd/system")
            environment = {**os.environ, "PATH": self.stand_ins(work) + ":" + os.environ["PATH"]}
            scripts = os.path.join(SOURCE, "packaging", "debian", "adapter")
            for words, starts in ((("install",), False), (("upgrade", "1.2"), False), (("install", "1.2"), True)):
                output("sh", os.path.join(scripts, "preinst"), *words, env=environment)
                output("sh", os.path.join(scripts, "postinst"), "configure", *words[1:], env=environment)
                calls = self.calls(work)
                self.assertEqual(starts, "systemctl start esa.service" in calls, words)
                self.assertEqual(starts, "systemctl start msm.service" in calls, words)
            output("sh", os.path.join(scripts, "postinst"), "configure", "1.2", env=environment)
            self.assertEqual(1, self.calls(work).count("systemctl start esa.service"), "once")

    @staticmethod
    def stand_ins(root):
        """Programs that note their command line instead of changing the machine's users and units."""
        folder = os.path.join(root, "stand-ins")
        os.mkdir(folder)
        for name in ("systemd-sysusers", "systemd-tmpfiles", "systemctl", "udevadm", "useradd"):
            path = os.path.join(folder, name)
            with open(path, "w", encoding="utf-8") as file:
                file.write(f'#!/bin/sh\necho "{name} $*" >> "{root}/calls"\n')
            os.chmod(path, 0o755)
        return folder

    @staticmethod
    def calls(root):
        with open(os.path.join(root, "calls"), encoding="utf-8") as file:
            return file.read().splitlines()


if __name__ == "__main__":
    stage.main()
