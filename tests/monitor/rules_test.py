"""The example rules and dashboard, by Prometheus' own tool."""

import json
import os
import re
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path

EXAMPLES = Path(os.environ["ESA_SOURCE"]) / "examples/prometheus"
PROMTOOL = shutil.which("promtool")

LABELS = 'job="esa", instance="a"'
# An enclosure for the dashboard: what it gives every minute, and what each query then says after an hour.
SERIES = {
    f"esa_up{{{LABELS}}}": "1x70",
    f'esa_enclosure_state{{{LABELS}, state="fault"}}': "1x70",
    f'esa_enclosure_state{{{LABELS}, state="warning"}}': "0x70",
    f'esa_temperature_celsius{{{LABELS}, sensor="temp0"}}': "20+0.5x70",
    f'esa_temperature_limit_celsius{{{LABELS}, sensor="temp0", limit="high_failure"}}': "60x70",
    f'esa_fan_speed_rpm{{{LABELS}, fan="fan0"}}': "8000x70",
    f'esa_fan_speed_minimum_rpm{{{LABELS}, fan="fan0"}}': "2000x70",
    f'esa_fan_healthy{{{LABELS}, fan="fan0"}}': "0x70",
    f'esa_power_supply_healthy{{{LABELS}, supply="psu0"}}': "1x70",
    f'esa_events_total{{{LABELS}, type="information"}}': "0+1x70",
    f'esa_drive_fault_led_on{{{LABELS}, slot="slot05"}}': "1x70",
    f"esa_answer_age_seconds{{{LABELS}}}": "7x70",
    f"esa_polls_total{{{LABELS}}}": "0+6x70",
    f"esa_polls_failed_total{{{LABELS}}}": "0+3x70",
}
EXPECTED = {
    "count(esa_up)": [("{}", 1)],
    "count(esa_up == 0) or vector(0)": [("{}", 0)],
    'count(esa_enclosure_state{state="fault"} == 1) or vector(0)': [("{}", 1)],
    'count(esa_enclosure_state{state="warning"} == 1) or vector(0)': [("{}", 0)],
    'ALERTS{alertname=~"Esa.*", alertstate="firing"}':
        [(f'ALERTS{{alertname="EsaFanFault", alertstate="firing", severity="critical", fan="fan0", {LABELS}}}', 1),
         (f'ALERTS{{alertname="EsaUnprotected", alertstate="firing", severity="critical", {LABELS}}}', 1)],
    'esa_temperature_celsius{instance=~"$instance"}': [(f'esa_temperature_celsius{{{LABELS}, sensor="temp0"}}', 50)],
    'max by (limit) (esa_temperature_limit_celsius{instance=~"$instance", limit=~"high_.*"})': [('{limit="high_failure"}', 60)],
    'esa:temperature_celsius:in_10m{instance=~"$instance"}': [(f'esa:temperature_celsius:in_10m{{{LABELS}, sensor="temp0"}}', 55)],
    'esa_fan_speed_rpm{instance=~"$instance"}': [(f'esa_fan_speed_rpm{{{LABELS}, fan="fan0"}}', 8000)],
    'max(esa_fan_speed_minimum_rpm{instance=~"$instance"})': [("{}", 2000)],
    'esa:fan_speed_rpm:share_of_siblings{instance=~"$instance"}':
        [(f'esa:fan_speed_rpm:share_of_siblings{{{LABELS}, fan="fan0"}}', 1)],
    'esa_power_supply_healthy{instance=~"$instance"}': [(f'esa_power_supply_healthy{{{LABELS}, supply="psu0"}}', 1)],
    'sum by (type) (increase(esa_events_total{instance=~"$instance"}[1h]))': [('{type="information"}', 60)],
    'esa_drive_fault_led_on{instance=~"$instance"} == 1': [(f'esa_drive_fault_led_on{{{LABELS}, slot="slot05"}}', 1)],
    'esa_answer_age_seconds{instance=~"$instance"}': [(f"esa_answer_age_seconds{{{LABELS}}}", 7)],
    'esa:polls_failed:ratio5m{instance=~"$instance"}': [(f"esa:polls_failed:ratio5m{{{LABELS}}}", 0.5)],
}


def promtool(*arguments):
    result = subprocess.run([PROMTOOL, *arguments], capture_output=True, text=True, check=False, cwd=EXAMPLES)
    return result.returncode, result.stdout + result.stderr


@unittest.skipUnless(PROMTOOL, "promtool is not installed (scripts/promtool)")
class RulesTest(unittest.TestCase):
    def test_every_rule_does_what_its_test_says(self):
        names = ("rules_test.yml", "rules_day_test.yml")
        for arguments in (("check", "config", "prometheus.yml"), ("test", "rules", *names)):
            status, text = promtool(*arguments)
            self.assertEqual(status, 0, text)
        tests = "".join((EXAMPLES / name).read_text(encoding="utf-8") for name in names)
        rules = re.findall(r"- (?:alert|record): (\S+)", (EXAMPLES / "rules.yml").read_text(encoding="utf-8"))
        self.assertEqual([rule for rule in rules if f"alertname: {rule}\n" not in tests and f"expr: {rule}" not in tests], [])

    def test_every_query_of_the_dashboard_gives_what_it_should(self):
        dashboard = json.loads((EXAMPLES / "dashboard.json").read_text(encoding="utf-8"))
        queries = [target["expr"] for panel in dashboard["panels"] for target in panel["targets"]]
        self.assertEqual(set(queries), set(EXPECTED))
        document = {"rule_files": [str(EXAMPLES / "rules.yml")], "evaluation_interval": "1m",
                    "group_eval_order": ["esa-records", "esa-alerts"], "tests": [{
            "interval": "1m",
            "input_series": [{"series": name, "values": values} for name, values in SERIES.items()],
            "promql_expr_test": [{"expr": query.replace("$instance", ".*"), "eval_time": "60m",
                                  "exp_samples": [{"labels": labels, "value": value} for labels, value in EXPECTED[query]]}
                                 for query in queries]}]}
        with tempfile.NamedTemporaryFile("w", suffix=".yml", encoding="utf-8") as file:
            json.dump(document, file)  # JSON is YAML
            file.flush()
            status, text = promtool("test", "rules", file.name)
        self.assertEqual(status, 0, text)


if __name__ == "__main__":
    result = unittest.main(verbosity=2, exit=False).result
    raise SystemExit(1 if not result.wasSuccessful() else 77 if result.skipped else 0)
