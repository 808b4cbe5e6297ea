"""The cable between a machine's /dev/enc-0 and the simulated enclosure, which stays as it is while the cable goes.

The machine sees a pseudo-terminal of its own, readable and writable for the group esa, as its udev rule would make it.
"""

import contextlib
import fcntl
import os
import select
import struct
import threading
import tty

TIOCSPTLCK = 0x40045431
TIOCGPTN = 0x80045430


class Bridge:
    def __init__(self, enclosure_line):
        self.line = os.open(enclosure_line, os.O_RDWR | os.O_NOCTTY | os.O_NONBLOCK)
        self.near = self.held = -1
        self.link = None
        self.hung = False
        self.running = True
        self.lock = threading.Lock()
        self.thread = threading.Thread(target=self._carry, daemon=True)
        self.thread.start()

    def plug(self, root, group):
        """Makes the device in the machine whose root folder, as seen from here, is `root`."""
        near = os.open(f"{root}/dev/pts/ptmx", os.O_RDWR | os.O_NOCTTY | os.O_NONBLOCK)
        fcntl.ioctl(near, TIOCSPTLCK, struct.pack("i", 0))
        number = struct.unpack("i", fcntl.ioctl(near, TIOCGPTN, struct.pack("i", 0)))[0]
        device = f"{root}/dev/pts/{number}"
        held = os.open(device, os.O_RDWR | os.O_NOCTTY)
        tty.setraw(held)
        os.chown(device, 0, group)
        os.chmod(device, 0o660)
        with self.lock:
            self.near, self.held = near, held
        # The name comes last, as with udev: who sees it may open it.
        self.link = f"{root}/dev/enc-0"
        with contextlib.suppress(FileNotFoundError):
            os.unlink(self.link + ".new")
        os.symlink(f"/dev/pts/{number}", self.link + ".new")
        os.rename(self.link + ".new", self.link)

    def unplug(self):
        with contextlib.suppress(OSError, TypeError):
            os.unlink(self.link)
        with self.lock:
            for descriptor in (self.held, self.near):
                if descriptor >= 0:
                    os.close(descriptor)
            self.near = self.held = -1

    def close(self):
        self.running = False
        self.thread.join()
        self.unplug()
        os.close(self.line)

    def _carry(self):
        # Hardware does not wait for a busy processor.
        os.setpriority(os.PRIO_PROCESS, threading.get_native_id(), -15)
        while self.running:
            with self.lock:
                near = -1 if self.hung else self.near
                watched = [] if self.hung else [self.line] + ([near] if near >= 0 else [])
                ready = select.select(watched, [], [], 0)[0] if watched else []
                for source in ready:
                    self._move(source, near if source == self.line else self.line)
            if not ready:
                # Within this time a request waits; longer would make the line slower than a serial one.
                select.select([], [], [], 0.002 if watched else 0.05)

    @staticmethod
    def _move(source, target):
        with contextlib.suppress(OSError):
            data = os.read(source, 4096)
            if target >= 0:
                os.write(target, data)
