"""The Debian packages: what they hold, and what they do when they are installed."""

import contextlib
import glob
import os
import re
import subprocess
import tempfile
import unittest

from tree import BUILD, LIBDIR, ROOT, SOURCE, VERSION, files_below, output, read_at, stage

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


class PackageTest(unittest.TestCase):
    maxDiff = None

    @staticmethod
    def package():
        """The adapter's package; the others lie beside it."""
        (path,) = glob.glob(os.path.join(os.environ["ESA_DEBS"], "esa_*.deb"))
        return path

    @staticmethod
    def parts(deb):
        """The packages beside the adapter's own, without the monitor."""
        return [path for path in sorted(glob.glob(os.path.join(os.path.dirname(deb), "esa-*.deb"))) if "esa-monitor" not in path]

    @staticmethod
    def monitor(deb):
        (path,) = glob.glob(os.path.join(os.path.dirname(deb), "esa-monitor_*.deb"))
        return path

    def test_deb_control_fields(self):
        deb = self.package()
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
        deb = self.package()
        with tempfile.TemporaryDirectory() as root:
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
        deb = self.package()
        found = subprocess.run(["lintian", "--no-cfg", "--allow-root", deb, *self.parts(deb), self.monitor(deb)], text=True,
                               capture_output=True, check=False)
        self.assertEqual((0, ""), (found.returncode, found.stdout), found.stderr)

    def test_monitor_is_a_package_of_its_own(self):
        deb = self.package()
        with tempfile.TemporaryDirectory() as root:
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
        deb = self.package()
        with stage.prepared(), tempfile.TemporaryDirectory() as root:
            admin = os.path.join(root, "var/lib/dpkg")
            for folder in ("updates", "info", "triggers"):
                os.makedirs(os.path.join(admin, folder))
            for name in ("status", "available"):
                open(os.path.join(admin, name), "w", encoding="utf-8").close()
            dpkg = ["dpkg", "--root=" + root, "--log=/dev/null", "--force-depends", "--force-script-chrootless",
                    "--force-not-root", "--force-bad-path"]
            environment = self.stand_ins(root)
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
        with self.services() as (work, environment):
            script = os.path.join(SOURCE, "packaging", "debian", "adapter", "postinst")
            output("sh", script, "configure", env=environment)
            self.assertNotIn("systemctl try-restart msm.service esa.service", self.calls(work))
            output("sh", script, "configure", "1.2", env=environment)
            calls = self.calls(work)
            self.assertIn("systemctl try-restart msm.service esa.service", calls)
            self.assertLess(calls.index("systemctl daemon-reload"), calls.index("systemctl try-restart msm.service esa.service"))

    def test_deb_starts_what_is_enabled_when_it_is_installed_again(self):
        with self.services() as (work, environment):
            scripts = os.path.join(SOURCE, "packaging", "debian", "adapter")
            for words, starts in ((("install",), False), (("upgrade", "1.2"), False), (("install", "1.2"), True)):
                output("sh", os.path.join(scripts, "preinst"), *words, env=environment)
                output("sh", os.path.join(scripts, "postinst"), "configure", *words[1:], env=environment)
                calls = self.calls(work)
                self.assertEqual(starts, "systemctl start esa.service" in calls, words)
                self.assertEqual(starts, "systemctl start msm.service" in calls, words)
            output("sh", os.path.join(scripts, "postinst"), "configure", "1.2", env=environment)
            self.assertEqual(1, self.calls(work).count("systemctl start esa.service"), "once")

    @contextlib.contextmanager
    def services(self):
        """A place where services run, and the environment for scripts that change them."""
        with stage.prepared(), tempfile.TemporaryDirectory() as work:
            if not stage.is_own():
                self.skipTest("the services of this machine would be meant")
            os.makedirs("/run/systemd/system")
            yield work, self.stand_ins(work)

    @staticmethod
    def stand_ins(root):
        """An environment whose programs note their command line instead of changing the machine's users and units."""
        folder = os.path.join(root, "stand-ins")
        os.mkdir(folder)
        for name in ("systemd-sysusers", "systemd-tmpfiles", "systemctl", "udevadm", "useradd"):
            path = os.path.join(folder, name)
            with open(path, "w", encoding="utf-8") as file:
                file.write(f'#!/bin/sh\necho "{name} $*" >> "{root}/calls"\n')
            os.chmod(path, 0o755)
        return {**os.environ, "PATH": folder + ":" + os.environ["PATH"]}

    @staticmethod
    def calls(root):
        with open(os.path.join(root, "calls"), encoding="utf-8") as file:
            return file.read().splitlines()


if __name__ == "__main__":
    stage.main()
