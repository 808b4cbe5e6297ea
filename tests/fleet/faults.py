"""What goes wrong in an enclosure of the fleet, which alerts it has to raise, and whether it did."""

import random
from dataclasses import dataclass, field

INTERVAL = 15  # seconds between scrapes, of examples/prometheus/prometheus.yml
LIMIT = 2 * INTERVAL
PARALLEL_BUS = ("vsc055", "quadra", "xyratex")  # a pulled supply shows: redundancy has a line of its own

# The fifth one's tachometers end at 4700 RPM: there a worn fan is a failed one.
COUNTED_SLOWLY = ("vsc055", "quadra", "w83782d", "chenbro")
# Where there is but one sensor its reading is the average, and a shutdown is asked for as well.
SEVERAL_SENSORS = ("vsc055", "quadra", "xyratex", "chenbro")


@dataclass
class Kind:
    """Commands with {n}, of `element` (fan, psu, sensor) or none; alerts as (name, element it is labelled with)."""

    what: str
    begin: tuple
    end: tuple
    alerts: tuple
    element: str = ""
    waits: int = 0  # seconds for which the rule itself wants to see it
    chassis: tuple = ()  # all, when empty


# Cold at once: on its way down it would pass where the warning is all that is true.
COLD = ("sensor {n} set 30", "sensor {n} ok")
ALL_COLD = ("sensor {all} set 30", "sensor {all} ok")

KINDS = [
    Kind("fan stalls", ("fan {n} stall",), ("fan {n} ok",), (("EsaFanFault", "fan{n}"),), "fan"),
    Kind("fan taken out", ("fan {n} remove",), ("fan {n} ok",), (("EsaFanFault", "fan{n}"),), "fan"),
    Kind("fan worn to 70 %", ("fan {n} worn 70",), ("fan {n} ok",), (("EsaFanSlow", "fan{n}"),), "fan", waits=120,
         chassis=COUNTED_SLOWLY),
    Kind("supply fails", ("psu {n} fail",), ("psu {n} ok",), (("EsaSupplyLost", ""),), "psu"),
    Kind("supply pulled", ("psu {n} pull",), ("psu {n} insert",), (("EsaSupplyLost", ""),), "psu", chassis=PARALLEL_BUS),
    Kind("sensor at 58 C", ("sensor {n} set 58",), COLD, (("EsaHot", "temp{n}"),), "sensor"),
    Kind("sensor at 65 C", ("sensor {n} set 65",), COLD, (("EsaOverheated", "temp{n}"),), "sensor",
         chassis=SEVERAL_SENSORS),
    Kind("all sensors at 65 C", ("sensor {all} set 65",), ALL_COLD,
         (("EsaOverheated", "temp{all}"), ("EsaShutdownRequested", "orderly-shutdown"))),
    # The other chassis have no line that tells.
    Kind("drive pulled", ("drive {n} pull",), ("drive {n} insert",), (("EsaDriveGone", "slot{n:02}"),), "drive",
         chassis=("xyratex",)),
    Kind("adapter killed", ("kill esa",), ("start esa",), (("EsaNoAnswer", ""),)),
    Kind("monitor killed", ("kill esamon",), ("start esamon",), (("EsaMonitorDown", ""),)),
]  # fmt: skip


@dataclass
class Fault:
    kind: Kind
    number: int
    sensors: int
    begun: float
    until: float
    ended: float = 0
    seen: dict = field(default_factory=dict)
    gone: dict = field(default_factory=dict)

    def __post_init__(self):
        self.alerts = {(name, text) for name, element in self.kind.alerts for text in self._each(element)}

    def _each(self, text):
        numbers = range(self.sensors) if "{all}" in text else [self.number]
        return [text.replace("{all}", "{n}").format(n=number) for number in numbers]

    def commands(self, end):
        return [line for text in (self.kind.end if end else self.kind.begin) for line in self._each(text)]

    def delays(self):
        """Seconds until each alert that came."""
        return [at - self.begun - self.kind.waits for at in self.seen.values()]

    def resolved_after(self):
        return max(self.gone.values()) - self.ended

    def complaints(self):
        late = {key: at - self.begun for key, at in self.seen.items() if at - self.begun > LIMIT + self.kind.waits}
        return ([f"{name} {element} did not come" for name, element in sorted(self.alerts - set(self.seen))]
                + [f"{key[0]} {key[1]} came after {after:.0f} s" for key, after in late.items()]
                + [f"{name} {element} did not resolve" for name, element in sorted(set(self.seen) - set(self.gone))])


class Life:
    """What happens to one enclosure: one fault at a time, the next when all alerts of the last have gone."""

    def __init__(self, handle, seed, begin, end):
        self.handle, self.begin, self.end = handle, begin, end
        self.random = random.Random(f"{seed}/{handle.name}")
        self.next = begin + self.random.uniform(1, 60)
        self.fault, self.faults, self.false = None, [], {}
        # Each kind once before any comes again; three kills in a quarter of an hour would rightly be a restart loop.
        self.deck = []

    def _throw(self, now):
        of = self.handle
        count = {"fan": of.fans, "psu": of.supplies, "sensor": of.sensors, "drive": 12, "": 1}
        if not self.deck:
            self.deck = [kind for kind in KINDS if not kind.chassis or of.chassis in kind.chassis]
            self.random.shuffle(self.deck)
        kind = self.deck.pop()
        # Held for longer than its alerts may take.
        until = now + LIMIT + kind.waits + self.random.uniform(5, 40)
        self.fault = Fault(kind, self.random.randrange(count[kind.element]), of.sensors, now, until)
        self.faults.append(self.fault)
        self._tell(False)

    def _tell(self, end):
        for line in self.fault.commands(end):
            self.handle.tell(line)

    def _watch(self, now, firing):
        fault = self.fault
        wanted = fault.alerts - set(fault.gone) if fault else set()
        for key in firing & wanted:
            fault.seen.setdefault(key, now)
        for key in firing - wanted:
            self.false.setdefault((*key, self.faults[-1].kind.what if self.faults else "nothing"), now - self.begin)
        if fault and fault.ended:
            fault.gone.update({key: now for key in set(fault.seen) - firing - set(fault.gone)})

    def step(self, now, firing):
        """One look at the alerts that fire, as (name, element)."""
        self._watch(now, firing)
        fault = self.fault
        if fault and not fault.ended and now >= fault.until:
            self._tell(True)
            fault.ended = now
        elif fault and fault.ended and set(fault.seen) == set(fault.gone) and now >= fault.ended + INTERVAL:
            self.fault, self.next = None, now + self.random.uniform(10, 60)
        elif not fault and self.next <= now < self.end:
            self._throw(now)
