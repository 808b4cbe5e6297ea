"""The figures of a run: printed, kept in build/systemd, and put into docs/quality.md."""

import collections
import json
import statistics

import base

PAGE = base.ROOT / "docs/quality.md"
END = "<!-- end -->"


def seconds(value):
    return "-" if value is None else f"{value:.1f}"


def line(what, outcome):
    verdict = "ok" if outcome.good else "FAILED: " + ("; ".join(outcome.complaints) or "too late")
    if outcome.lost:
        verdict = f"FAILED: {outcome.lost} records lost; {verdict}"
    return (f"{what:<62} full speed {seconds(outcome.full_speed):>5} s, managed {seconds(outcome.managed):>5} s, "
            f"answered {seconds(outcome.answers):>5} s, {outcome.records} records  {verdict}")


def _write_page(name, text):
    begin = f"<!-- systemd {name}: written by ./test --systemd -->"
    page = PAGE.read_text(encoding="utf-8")
    if begin in page:
        head, _, rest = page.partition(begin)
        PAGE.write_text(f"{head}{begin}\n{text}\n{END}{rest.partition(END)[2]}", encoding="utf-8")


def _keep(name, text, options):
    (base.BUILD / f"{name}.txt").write_text(text + "\n", encoding="utf-8")
    if not options.no_page and not options.names:
        _write_page(name, text)


def _keep_rows(name, rows):
    kept = [{"calamity": calamity.name, "fullSpeed": outcome.full_speed, "managed": outcome.managed,
             "answers": outcome.answers, "lost": outcome.lost, "records": outcome.records,
             "complaints": outcome.complaints} for calamity, outcome in rows]
    (base.BUILD / f"{name}.json").write_text(json.dumps(kept, indent=1) + "\n", encoding="utf-8")


def table(rows, rated, most_exposed, options):
    """Returns whether every limit held."""
    text = ["| Calamity | fans at full speed after | managed after | a peer answered after | records lost |",
            "|---|---|---|---|---|"]
    text += [f"| {calamity.what} | {seconds(outcome.full_speed)} s | {seconds(outcome.managed)} s | "
             f"{seconds(outcome.answers)} s | {outcome.lost}{'' if outcome.good else ', FAILED'} |".replace("- s", "-")
             for calamity, outcome in rows]
    text += ["", "Exposure of the units, by `systemd-analyze security` in that system: "
             + ", ".join(f"{unit} {value}" for unit, value in rated.items()) + "."]
    _keep_rows("table", rows)
    _keep("table", "\n".join(text), options)
    print("\n".join(text))
    exposed = {unit: value for unit, value in rated.items() if value > most_exposed}
    failed = [calamity.name for calamity, outcome in rows if not outcome.good]
    print(f"{len(rows) - len(failed)} passed, {len(failed)} failed" + "".join(f"; {name}" for name in failed)
          + "".join(f"; {unit} is exposed by {value}" for unit, value in exposed.items()))
    return not failed and not exposed and bool(rows)


def randomly(rows, options):
    good = sum(outcome.good for _, outcome in rows)
    text = [f"{options.random} random calamities on `{options.chassis}`, seed {options.seed}, {options.machines} "
            f"system{'s' if options.machines > 1 else ''}: {good} of {len(rows)} within the limits, "
            f"{sum(outcome.lost for _, outcome in rows)} records of the event log lost.", "",
            "| Calamity | times | until full speed or managed: median | longest | managed: longest |",
            "|---|---|---|---|---|"]
    groups = collections.defaultdict(list)
    for calamity, outcome in rows:
        groups[calamity.what].append(outcome)
    for what, outcomes in groups.items():
        least = [outcome.seconds for outcome in outcomes if outcome.seconds is not None]
        managed = [outcome.managed for outcome in outcomes if outcome.managed is not None]
        text.append(f"| {what} | {len(outcomes)} | {seconds(statistics.median(least) if least else None)} s | "
                    f"{seconds(max(least, default=None))} s | {seconds(max(managed, default=None))} s |".replace("- s", "-"))
    _keep_rows("random", rows)
    _keep("random", "\n".join(text), options)
    print("\n".join(text))
    return good == len(rows)
