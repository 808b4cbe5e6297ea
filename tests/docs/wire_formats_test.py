"""The dumps in docs/wire-formats.md are what the adapter sends: compares them with messages taken off the switch.

With --update it writes today's messages into the page instead.
"""

import os
import re
import sys
import tempfile
import unittest

SOURCE = os.environ["ESA_SOURCE"]
PAGE = os.path.join(SOURCE, "docs", "wire-formats.md")

sys.path.insert(0, os.path.join(SOURCE, "tests", "support"))
import messages  # noqa: E402
import stage  # noqa: E402
from messages import RECEIVE_DIAGNOSTIC, SEND_DIAGNOSTIC, receive  # noqa: E402

BLOCK = re.compile(r"(<!-- dump (\S+) -->\n```\n)(.*?)(```\n)", re.DOTALL)
CONFIG = "Version = 15\nChassisType = Quadra\nMmsgDirectory = /run/esa\nLogDirectory = {}\n"

# Slot 3's fault LED on, all else as it is: lists and records that are not selected stay alone.
CONTROL_PAGE = ("02 00 007c 00000000"
                "00000080" + "00000000" * 3 + "80000004" + "00000000" * 12 +
                "00000000" + "00000000" * 2 +
                "00000000" + "00000004" * 3 +
                "00000000" + "00000000" * 3 +
                "00000000" + "00000000")


def request(kind, handle, payload):
    return messages.message(34, kind, bytes.fromhex(payload), handle, dest=33)


def dump(message):
    """Sixteen bytes a line. The list link is an address of the sender's, which means nothing to anybody else."""
    texts = [f"{byte:02x}" for byte in message]
    if any(message[:8]):
        texts[:8] = ["--"] * 8
    return "".join(f"{i:04x}  {' '.join(texts[i:i + 16])}\n" for i in range(0, len(texts), 16))


def until(peer, kind):
    while True:
        message = receive(peer)
        if message[12:16] == kind:
            return message


def capture(programs):
    """One message of each kind, by name, from the VSC055 enclosure with time standing still."""
    dumps = {}
    with stage.prepared(), tempfile.TemporaryDirectory() as work, stage.contextlib.ExitStack() as stack:
        stage.folder(stack, "/run/esa")
        config = os.path.join(work, "mpu.conf")
        with open(config, "w", encoding="utf-8") as file:
            file.write(CONFIG.format(work))
        enclosure = stage.Enclosure(stack, programs, work, config, simulator=["--frozen"], adapter=False)
        peer, events, startup = (stack.enter_context(enclosure.connect(name))
                                 for name in ("peer", "eventlog", "startup"))
        dumps["greeting"] = receive(peer)
        enclosure.start_adapter(stack)
        dumps["init-complete"] = receive(startup)

        def exchange(name, message):
            dumps[name + "-request"] = message
            peer.sendall(message)
            dumps[name + "-reply"] = receive(peer)

        exchange("page-1", request(RECEIVE_DIAGNOSTIC, 1, "1c 80 01 00 0fe0 00 00"))
        exchange("page-2", request(RECEIVE_DIAGNOSTIC, 2, "1c 80 02 00 0fe0 00 00"))
        exchange("control", request(SEND_DIAGNOSTIC, 3, "1d 08 00 00 0080 00 00" + CONTROL_PAGE))
        dumps["event"] = until(events, bytes.fromhex("08000001"))
        exchange("refused", request(SEND_DIAGNOSTIC, 4, "1d 08 00 00 0000 00 00"))

        for sensor in range(3):
            enclosure.simulator(f"sensor {sensor} set 61")
        # Every message hurries the next poll on by a second.
        for _ in range(12):
            exchange("hurry", request(RECEIVE_DIAGNOSTIC, 5, "1c 80 01 00 0fe0 00 00"))
        dumps["led"] = receive(startup)
        dumps["email"] = receive(startup)
        dumps["shutdown"] = receive(startup)
    return {name: dump(message) for name, message in dumps.items()}


class WireFormatsTest(unittest.TestCase):
    maxDiff = None

    def test_dumps_are_what_the_adapter_sends(self):
        with open(PAGE, encoding="utf-8") as file:
            shown = {name: text for _, name, text, _ in BLOCK.findall(file.read())}
        sent = capture(programs_of_the_build())
        self.assertGreaterEqual(set(shown), {"init-complete", "page-1-reply", "page-2-reply", "control-request", "event"})
        for name, text in shown.items():
            with self.subTest(name):
                self.assertEqual(text, sent.get(name))


def programs_of_the_build():
    return stage.Programs([os.environ["ESA_PROGRAMS"]], os.environ.get("ESA_TEST_EMULATOR", ""))


def update():
    sent = capture(programs_of_the_build())
    with open(PAGE, encoding="utf-8") as file:
        text = file.read()
    with open(PAGE, "w", encoding="utf-8") as file:
        file.write(BLOCK.sub(lambda match: match[1] + sent[match[2]] + match[4], text))


if __name__ == "__main__":
    if sys.argv[1:] == ["--update"]:
        stage.enter()
        update()
    else:
        stage.main()
