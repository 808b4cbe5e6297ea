"""The installed tree: which files, and whether the programs work there."""

import contextlib
import glob
import gzip
import json
import os
import re
import subprocess
import tempfile
import unittest

from tree import LIBDIR, ROOT, VERSION, config, files_below, installed, output, programs, read, read_at, stage

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
# A page of the documentation may come or go without a change here.
OPTIONAL = re.compile(r"/usr/share/(doc/esa/(docs|examples)/|doc/esa-|lintian/)")


class PackageTest(unittest.TestCase):
    maxDiff = None

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
                stage.Enclosure(inner, programs(), work, config(work))
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
            here = programs(ESA_DEFAULTS=defaults, ESA_CONFIG=config(work), ESA_USER="")
            here.start(stack, os.path.join(work, "msm.out"), "msm", "--directory", "/run/esa")
            here.start(stack, os.path.join(work, "encsim.out"), "encsim", "--chassis", "vsc055")
            for name in ("msm.out", "encsim.out"):
                stage.wait_for_text(os.path.join(work, name), "ready")
            here.start(stack, os.path.join(work, "esa.out"), "esa-foreground")
            stack.callback(here.run, "mpuparams", "delete", "--key", "0x64")
            stage.wait_for(lambda: here.run("esactl", "--timeout", "5", "config").returncode == 0, "an answer")
            self.assertIn("chassisType", here.run("mpuparams", "show", "--key", "0x64").stdout)
            self.assertTrue(os.path.isdir(os.path.join(work, "log")))

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


if __name__ == "__main__":
    stage.main()
