"""What can go wrong, one row each: a name, what a person would call it, and what is done to the machine.

An action returns the moment from which the seconds are counted, the end of what no program can mend: a bus that is away
cannot be driven by anybody. It may leave something to undo, which is undone when the enclosure is looked after again.
"""

import contextlib
import dataclasses
import os
import pathlib
import time
import typing

import parts

STARTS_WITHIN = 30  # seconds


@dataclasses.dataclass
class Calamity:
    name: str
    what: str
    action: typing.Callable
    at_random: bool = True
    full_speed_only: bool = False  # nobody is left who could manage: full speed is what counts
    undo: typing.Callable = None


def now():
    return time.monotonic()


def strike(machine, unit, signal):
    """A signal that reached nobody is no calamity that was survived; a unit that is being started has no process yet."""
    end = now() + STARTS_WITHIN
    while not machine.signal(unit, signal):
        if now() > end:
            machine.complain(f"{unit} did not run and got no SIG{signal}")
            return
        time.sleep(0.1)


def hits(unit, signal):
    def action(machine, rng):
        strike(machine, unit, signal)
        return now()
    return action


def hung_for(unit, least, most):
    def action(machine, rng):
        process = machine.pid(unit)
        machine.run("kill", "-s", "STOP", str(process))
        start = now()
        time.sleep(rng.uniform(least, most))
        machine.run("kill", "-s", "CONT", str(process))
        return start
    return action


def restart(unit):
    def action(machine, rng):
        start = now()
        machine.run("systemctl", "restart", unit, check=True)
        return start
    return action


def bus_away(machine, rng):
    machine.bridge.unplug()
    time.sleep(rng.uniform(1, 12))
    machine.plug()
    return now()


def bus_hung(least, most, killed=False):
    """A bus without an answer; with the adapter killed, the fail-safe program finds it so, and the next adapter starts with
    it: one that has no answer then never asks again by itself."""
    def action(machine, rng):
        machine.bridge.hung = True
        if killed:
            strike(machine, "esa", "KILL")
        time.sleep(rng.uniform(least, most))
        machine.bridge.hung = False
        return now()
    return action


def bus_late_at_boot(machine, rng):
    machine.halt()
    machine.boot(bus=False)
    time.sleep(rng.uniform(1, 25))
    machine.plug()
    return now()


def power_failure(machine, rng):
    machine.halt()
    start = now()
    machine.boot()
    return start


def switch_absent_at_boot(machine, rng):
    machine.run("systemctl", "disable", "msm", check=True)
    machine.shell("sync")
    machine.halt()
    start = now()
    machine.boot()
    return start


def switch_back(machine):
    machine.run("systemctl", "enable", "--now", "msm", check=True)


def block_removed(machine, rng):
    machine.run("mpuparams", "delete", "--key", "0x64")
    strike(machine, "esa", "KILL")
    return now()


def block_foreign(machine, rng):
    machine.run("mpuparams", "delete", "--key", "0x64")
    machine.run("setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", "mpuparams", "create", "--key", "0x64",
                "--config", "/usr/share/doc/esa/examples/quadra.conf", check=True)
    strike(machine, "esa", "KILL")
    return now()


def block_given_back(machine):
    machine.run("mpuparams", "delete", "--key", "0x64")


def block_half_made(machine, rng):
    """The unit that makes the block is killed while it does: the adapter must not find half a block for ever."""
    machine.run("mpuparams", "delete", "--key", "0x64")
    folder = pathlib.Path(f"{machine.inside}/run/systemd/system/esa-params.service.d")
    folder.mkdir(parents=True, exist_ok=True)
    # After the block is there, and before it is complete, the unit's next command kills itself.
    (folder / "harm.conf").write_text("[Service]\nExecStart=\nExecStart=/bin/touch ${RUNTIME_DIRECTORY}/making\n"
                                      "ExecStart=/usr/bin/mpuparams create --key ${ESA_KEY} --config /etc/esa/mpu.conf\n"
                                      "ExecStart=/bin/sh -c 'kill -9 $$$$'\n", encoding="utf-8")
    machine.run("systemctl", "daemon-reload", check=True)
    strike(machine, "esa", "KILL")
    time.sleep(rng.uniform(4, 6))
    (folder / "harm.conf").unlink()
    machine.run("systemctl", "daemon-reload", check=True)
    return now()


def own_block_is_kept(machine, rng):
    """Where another start-up makes the block, the unit that would is disabled, and stays out."""
    machine.run("systemctl", "disable", "esa-params", check=True)
    machine.run("mpuparams", "delete", "--key", "0x64")
    machine.shell("setpriv --reuid=esa --regid=esa --init-groups sh -c 'mpuparams create --key 0x64 --config "
                  f"/etc/esa/mpu.conf && mpuparams set --key 0x64 chassisType={machine.chassis} flags+=RcpComplete "
                  "flags+=CmapTracingEnabled'", check=True)
    before = machine.run("mpuparams", "show", "--key", "0x64", check=True).stdout
    strike(machine, "esa", "KILL")
    time.sleep(6)
    if machine.run("mpuparams", "show", "--key", "0x64").stdout != before:
        machine.complain("the controller's own block was changed")
    return now()


def params_enabled(machine):
    machine.run("systemctl", "enable", "esa-params", check=True)


def disk_full(machine, rng):
    with contextlib.suppress(OSError), open(machine.work / "log/filler", "wb", buffering=0) as filler:
        while True:
            filler.write(bytes(1 << 16))
    with contextlib.suppress(OSError), open(machine.work / "log/filler", "ab", buffering=0) as filler:
        while True:
            filler.write(b"\0")
    # An adapter that finds no switch has something to record, which the disk does not take.
    machine.shell("mv /run/esa/esadapter /run/esa/hidden")
    start = now()
    strike(machine, "esa", "KILL")
    time.sleep(rng.uniform(6, 12))
    machine.shell("mv /run/esa/hidden /run/esa/esadapter")
    return start


def disk_emptied(machine):
    with contextlib.suppress(FileNotFoundError):
        os.unlink(machine.work / "log/filler")


def clock(least, most):
    def action(machine, rng):
        machine.set_clock(rng.randint(least, most))
        return now()
    return action


def upgrade(machine, rng):
    machine.version += 1
    package = machine.package(machine.version)
    start = now()
    machine.install(package)
    return start


def remove(machine, rng):
    start = now()
    machine.run("dpkg", "--remove", "esa", check=True)
    return start


def reinstall(machine, rng):
    start = now()
    machine.install(machine.package(machine.version))
    return start


def purge(machine, rng):
    start = now()
    machine.run("dpkg", "--purge", "esa", check=True)
    left = machine.shell("find /etc /usr/lib/systemd /run/systemd -xtype l -name '*esa*' -o -xtype l -name 'msm*'; "
                         "ls -d /etc/esa /etc/default/esa 2>/dev/null").stdout
    if left:
        machine.complain(f"left behind by purge: {left.split()}")
    return start


def install_afresh(machine, rng):
    start = now()
    machine.install(machine.package(machine.version))
    machine.configure()
    return start


def without_package(machine, rng):
    """The way that docs/operations.md gives where there is no package manager."""
    machine.run("dpkg", "--purge", "esa", check=True)
    machine.install_tree()
    start = now()
    machine.shell("ldconfig && systemd-sysusers esa.conf && systemd-tmpfiles --create esa.conf && systemctl daemon-reload",
                  check=True)
    machine.configure()
    return start


def in_parts(machine, rng):
    """The packages' own tests bring their enclosure along; afterwards everything is as it was."""
    machine.bridge.unplug()
    machine.run("dpkg", "--purge", "esa", check=True)
    parts.test_all(machine)
    start = now()
    machine.install(machine.package(machine.version))
    machine.plug()
    machine.configure()
    return start


def foreground(machine, rng):
    machine.run("systemctl", "stop", "esa", check=True)
    start = now()
    machine.shell("setsid esa-foreground >/root/foreground.txt 2>&1 &")
    time.sleep(3)
    users = machine.run("ps", "-C", "esa", "-o", "user=").stdout.split()
    if users != ["esa"]:
        machine.complain(f"in the foreground the adapter runs as {users}")
    return start


def foreground_ended(machine):
    machine.shell("kill $(ps -C esa -o pid=)")
    machine.run("systemctl", "start", "esa", check=True)


TABLE = [
    Calamity("killed", "adapter killed", hits("esa", "KILL")),
    Calamity("stopped", "adapter stopped (SIGSTOP)", hits("esa", "STOP")),
    Calamity("terminated", "adapter sent SIGTERM", hits("esa", "TERM")),
    Calamity("hung-up", "adapter sent SIGHUP", hits("esa", "HUP")),
    Calamity("interrupted", "adapter sent SIGINT", hits("esa", "INT")),
    Calamity("aborted", "adapter aborts", hits("esa", "ABRT")),
    Calamity("faulted", "adapter sent SIGSEGV", hits("esa", "SEGV")),
    Calamity("restarted", "adapter restarted", restart("esa")),
    Calamity("switch-restarted", "switch restarted", restart("msm")),
    Calamity("switch-killed", "switch killed", hits("msm", "KILL")),
    Calamity("switch-hung", "switch hangs for a while", hung_for("msm", 5, 30)),
    Calamity("switch-absent", "switch absent at boot", switch_absent_at_boot, full_speed_only=True, undo=switch_back),
    Calamity("power", "power failure of the controller", power_failure),
    Calamity("bus-away", "bridge unplugged and plugged in", bus_away),
    Calamity("bus-hung", "bridge hangs for a while", bus_hung(1, 20)),
    Calamity("bus-hung-killed", "bridge hangs, adapter killed", bus_hung(1, 8, killed=True)),
    Calamity("bus-dead-start", "bridge hangs while the adapter starts", bus_hung(30, 45, killed=True)),
    Calamity("bus-late", "bridge late at boot", bus_late_at_boot),
    Calamity("block-removed", "block removed, adapter killed", block_removed),
    Calamity("block-foreign", "block replaced by a stranger's, adapter killed", block_foreign, full_speed_only=True,
             undo=block_given_back),
    Calamity("block-half-made", "unit that makes the block killed half-way", block_half_made),
    Calamity("block-own", "block of the controller's own start-up, adapter killed", own_block_is_kept, at_random=False,
             undo=params_enabled),
    Calamity("disk-full", "disk full, adapter killed, its switch out of reach", disk_full, undo=disk_emptied),
    Calamity("clock-forth", "clock set forward by up to a year", clock(3600, 31_536_000)),
    Calamity("clock-back", "clock set back by up to a year", clock(-31_536_000, -3600)),
    Calamity("upgrade", "package upgraded", upgrade),
    Calamity("remove", "package removed", remove, at_random=False, full_speed_only=True),
    Calamity("reinstall", "package installed again", reinstall, at_random=False),
    Calamity("purge", "package purged", purge, at_random=False, full_speed_only=True),
    Calamity("install", "package installed afresh", install_afresh, at_random=False),
    Calamity("parts", "packages in parts and their own tests, then this package again", in_parts, at_random=False),
    Calamity("foreground", "esa-foreground instead of the unit", foreground, at_random=False, undo=foreground_ended),
    Calamity("tree", "cmake --install instead of the package", without_package, at_random=False),
]
# What belongs together: the second needs what the first leaves.
NEEDS = {"reinstall": "remove", "install": "purge"}
