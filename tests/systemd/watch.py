"""How long an enclosure was left alone, as the enclosure itself sees it."""

import dataclasses
import time

SAMPLE_SECONDS = 0.1
# A poll and a status page read more than this; the fail-safe program reads nothing.
READS_OF_A_POLL = 4
FULL_SPEED_LIMIT = 15
MANAGED_LIMIT = 60
GIVE_UP_SECONDS = 150


@dataclasses.dataclass
class Outcome:
    full_speed: float = None  # seconds until every fan had its full load
    managed: float = None  # seconds until an adapter had read the enclosure
    answers: float = None  # seconds until a peer was answered
    lost: int = 0  # records of the event log
    records: int = 0
    complaints: list = dataclasses.field(default_factory=list)

    @property
    def seconds(self):
        known = [value for value in (self.full_speed, self.managed) if value is not None]
        return min(known, default=None)

    @property
    def good(self):
        in_time = ((self.full_speed is not None and self.full_speed <= FULL_SPEED_LIMIT)
                   or (self.managed is not None and self.managed <= MANAGED_LIMIT))
        return in_time and self.lost == 0 and not self.complaints


def _reads(state):
    return state["transfers"]["reads"]


def _has_full_speed(state):
    return all(fan["dutyPercent"] >= 99.9 for fan in state["fans"])


def watch(machine, start, full_speed_only):
    """Looks until the enclosure is looked after again and a peer is answered; seconds count from `start`."""
    outcome = Outcome()
    base = _reads(machine.enclosure_state())
    asked = 0
    while time.monotonic() - start < GIVE_UP_SECONDS:
        state = machine.enclosure_state()
        passed = time.monotonic() - start
        if outcome.full_speed is None and _has_full_speed(state):
            outcome.full_speed = passed
        if outcome.managed is None and _reads(state) >= base + READS_OF_A_POLL:
            outcome.managed = passed
        if full_speed_only and outcome.full_speed is not None:
            return outcome
        if outcome.managed is not None and time.monotonic() - asked > 1:
            asked = time.monotonic()
            if machine.answers():
                outcome.answers = time.monotonic() - start
                return outcome
        time.sleep(SAMPLE_SECONDS)
    if outcome.managed is not None:
        outcome.complaints.append("no peer is answered")
    elif not full_speed_only:
        outcome.complaints.append("the enclosure is not managed again")
    return outcome
