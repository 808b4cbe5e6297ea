"""The product's kind of machine: its root from the package, its start, and what goes on inside it."""

import glob
import os
import select
import shutil
import socket
import subprocess
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
SOURCE = os.path.dirname(os.path.dirname(HERE))
WORK = os.path.join(SOURCE, "build", "machine")
CROSS = "/usr/powerpc-linux-gnu/lib"
LIBRARIES = ("ld.so.1", "libc.so.6", "libm.so.6", "libgcc_s.so.1", "libstdc++.so.6")
PATIENCE = 120


def package():
    """The tar file of the package, as scripts/product has built it."""
    (path,) = glob.glob(os.path.join(SOURCE, "build", "product", "esa_*_powerpc.tar.gz"))
    return path


def _archive(folder, path):
    with open(path, "wb") as out:
        names = subprocess.run(["find", ".", "-print0"], cwd=folder, capture_output=True, check=True).stdout
        cpio = subprocess.run(["cpio", "--null", "--create", "--format=newc", "--quiet", "--owner=0:0"], cwd=folder,
                              input=names, capture_output=True, check=True).stdout
        subprocess.run(["gzip", "-1"], input=cpio, stdout=out, check=True)


def make_root(path):
    """The initial ram disk: the package unpacked at the root, the C and C++ libraries, and the first process."""
    with tempfile.TemporaryDirectory() as root:
        for name in ("dev", "proc", "sys", "lib", "tmp", "run"):
            os.mkdir(os.path.join(root, name))
        subprocess.run(["tar", "-xzf", package(), "--no-same-owner", "-C", root,
                        "--exclude=*/share/*", "--exclude=*/include/*", "--exclude=*.a"], check=True)
        for name in LIBRARIES:
            shutil.copy(os.path.realpath(os.path.join(CROSS, name)), os.path.join(root, "lib", name))
        shutil.copy(os.path.join(WORK, "init"), os.path.join(root, "init"))
        _archive(root, path)


def make_overlay(path, files):
    """A second archive, unpacked over the first: `files` by their paths, without the leading slash."""
    with tempfile.TemporaryDirectory() as root:
        for name, text in files.items():
            os.makedirs(os.path.dirname(os.path.join(root, name)), exist_ok=True)
            with open(os.path.join(root, name), "w", encoding="utf-8") as file:
                file.write(text)
        _archive(root, path)


def table(chassis, switch, device, key=0x64):
    """What the machine's init does at start: the line to the bus, the parameter block, the switch, the adapter."""
    lines = [
        f"link {device} /dev/enc-0",
        f"run /usr/bin/mpuparams create --key {key} --config /etc/esa/mpu.conf",
        f"run /usr/bin/mpuparams set --key {key} chassisType={chassis} flags+=RcpComplete",
        switch,
        "wait /run/esa/esadapter",
        f"keep esa /usr/sbin/esa {key}",
    ]
    return "\n".join(([f"raw {device}"] if "tty" in device else []) + lines) + "\n"


RELAY = "relay /run/esa/esadapter"
SWITCH = "keep msm /usr/sbin/msm --directory /run/esa"
CONFIG = """Version = 15
ChassisType = None
MmsgDirectory = /run/esa
LogDirectory = /var/log/esa
CmapTracingEnabled
"""


def ramdisk(work, chassis, switch, device="/dev/i2c-1", more=""):
    """The archives of one machine, one behind the other; their path. `more` is added to the table of its init."""
    path = os.path.join(work, "ramdisk")
    overlay = os.path.join(work, "overlay")
    make_overlay(overlay, {"etc/machine.tab": table(chassis, switch, device) + more,
                           "etc/esa/mpu.conf": CONFIG})
    with open(path, "wb") as out:
        for part in (os.path.join(WORK, "root.gz"), overlay):
            with open(part, "rb") as file:
                out.write(file.read())
                out.write(bytes(-out.tell() % 4))
    return path


def command(work, disk, bus, serial=None, console="file", ports=("agent", "switch"), queue=""):
    """The emulator's command line. `bus` is the simulator's socket, None for none; `serial` a line of the host; `queue`
    says more of the bus' device."""
    with open(os.path.join(WORK, "kernel.path"), encoding="utf-8") as file:
        kernel = os.path.join(SOURCE, file.read().strip())
    words = ["nice", "qemu-system-ppc", "-M", "ppce500" + (",memory-backend=mem" if bus else ""), "-cpu", "e500mc",
             "-m", "256", "-display", "none", "-monitor", "none", "-nic", "none", "-no-reboot",
             "-kernel", kernel, "-initrd", disk, "-append", "console=ttyS0 quiet",
             "-serial", "stdio" if console == "stdio" else "chardev:console"]
    if console == "file":
        words += ["-chardev", f"file,id=console,append=on,path={os.path.join(work, 'console')}"]
    if serial:
        words += ["-chardev", f"serial,path={serial},id=line", "-serial", "chardev:line"]
    words += ["-device", "virtio-serial-pci"]
    for name in ports:
        words += ["-chardev", f"socket,path={os.path.join(work, name)},id={name}",
                  "-device", f"virtserialport,chardev={name},name={name}"]
    if bus:
        words += ["-object", "memory-backend-memfd,id=mem,size=256M,share=on",
                  "-chardev", f"socket,path={bus},id=bus", "-device", "vhost-user-i2c-pci,chardev=bus" + queue]
    return words


def listener(path):
    server = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
    server.bind(path)
    server.listen(1)
    server.settimeout(PATIENCE)
    return server


class Machine:
    """A running machine. Leaves nothing behind when the stack is left."""

    def __init__(self, stack, work, disk, bus=None, serial=None, queue=""):
        self.console = os.path.join(work, "console")
        servers = [listener(os.path.join(work, name)) for name in ("agent", "switch")]
        # What the emulator has to say goes where the machine's console goes.
        with open(self.console, "ab") as out:
            self.process = subprocess.Popen(command(work, disk, bus, serial, queue=queue), stdin=subprocess.DEVNULL, stdout=out,
                                            stderr=out)
        stack.callback(self.stop)
        self.agent, self.switch = (server.accept()[0] for server in servers)
        for server in servers:
            server.close()
        stack.callback(self.agent.close)
        stack.callback(self.switch.close)
        self.pending = b""

    def stop(self):
        self.process.kill()
        self.process.wait()

    def _take(self, enough):
        end = time.monotonic() + PATIENCE
        while not enough():
            if not select.select([self.agent], [], [], max(0, end - time.monotonic()))[0]:
                raise TimeoutError("the machine does not answer:\n" + self.said())
            got = self.agent.recv(65536)
            if not got:
                raise EOFError("the machine is gone:\n" + self.said())
            self.pending += got

    def said(self):
        with open(self.console, encoding="utf-8", errors="replace") as file:
            return file.read()

    def do(self, line):
        """Gives init a command; status, standard output, standard error."""
        self.agent.sendall(line.encode() + b"\n")
        self._take(lambda: b"\n" in self.pending)
        head, self.pending = self.pending.split(b"\n", 1)
        status, out, err = (int(word) for word in head.split())
        self._take(lambda: len(self.pending) >= out + err)
        texts = self.pending[:out], self.pending[out:out + err]
        self.pending = self.pending[out + err:]
        return status, *texts

    def output(self, line):
        status, out, err = self.do(line)
        if status != 0:
            raise RuntimeError(f"{line}: status {status}: {err.decode()}")
        return out.decode()

    def read(self, path):
        return self.output("read " + path)
