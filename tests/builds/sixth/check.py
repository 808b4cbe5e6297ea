"""check.py BUILD: whether every tool of a build knows the invented chassis, in its words and in what it does."""

import contextlib
import json
import os
import sys
import tempfile

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "..", "support"))
import stage  # noqa: E402

CONFIG = """Version = 15
CmapTracingEnabled
ChassisType = None
MmsgDirectory = /run/esa
LogDirectory = {work}
"""


def require(condition, what):
    if not condition:
        sys.exit("sixth chassis: " + what)


def main():
    build = os.path.abspath(sys.argv[1])
    stage.enter()
    with stage.prepared() as stack:
        work = stack.enter_context(tempfile.TemporaryDirectory(prefix="esa-sixth."))
        config = os.path.join(work, "mpu.conf")
        with open(config, "w", encoding="utf-8") as file:
            file.write(CONFIG.format(work=work))
        stage.folder(stack, "/run/esa")
        programs = stage.Programs([os.path.join(build, "bin")])
        with contextlib.ExitStack() as running:
            check(stage.Enclosure(running, programs, work, config, chassis="lantern", switch=["--log"]), programs)


def check(enclosure, programs):
    block = programs.run("mpuparams", "show", "--key", enclosure.KEY).stdout
    require("7 (lantern)" in block, "mpuparams shows\n" + block)

    status = json.loads(programs.run("esactl", "status", "--json").stdout)
    found = [len(status[name]) for name in ("drives", "power_supplies", "fans", "temperatures")]
    require(found == [6, 1, 1, 1], f"esactl sees {found} drives, supplies, fans and sensors")
    require(status["fans"][0]["rpm"] > 4000, f"esactl sees the fan at {status['fans'][0]['rpm']} RPM")

    programs.run("esactl", "led", "4", "on")
    enclosure.simulator("psu 0 fail")
    stage.wait_for(lambda: world(enclosure)["alarm"]["sounding"], "the alarm")
    require(world(enclosure)["drives"][4]["led"], "the drive's LED is dark")
    # The switch's log tells of the event in words.
    stage.wait_for_text(enclosure.path("msm.out"), "Lantern 1U6 (7)")


def world(enclosure):
    return json.loads(enclosure.simulator("show --json").splitlines()[0])


main()
