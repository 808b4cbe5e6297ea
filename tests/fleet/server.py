"""The real Prometheus, with the configuration and the rules of examples/prometheus."""

import http.client
import json
import shutil
import subprocess
import time
from pathlib import Path

EXAMPLES = Path(__file__).resolve().parents[2] / "examples/prometheus"
ELEMENT_LABELS = ("sensor", "fan", "slot", "type", "supply")


class Server:
    def __init__(self, stack, work, port, targets):
        self.address, self.data = f"127.0.0.1:{port}", work / "data"
        for name in ("prometheus.yml", "rules.yml"):
            shutil.copy(EXAMPLES / name, work)
        (work / "enclosures.json").write_text(json.dumps([{"targets": targets}]), encoding="utf-8")
        with (work / "prometheus.out").open("w", encoding="utf-8") as log:
            self.process = subprocess.Popen(
                ["prometheus", f"--config.file={work / 'prometheus.yml'}", f"--storage.tsdb.path={self.data}",
                 f"--web.listen-address={self.address}", "--web.enable-admin-api"],
                stdin=subprocess.DEVNULL, stdout=log, stderr=subprocess.STDOUT)  # fmt: skip
        stack.callback(self._stop)
        end = time.monotonic() + 60
        while not self._is_ready():
            if time.monotonic() > end or self.process.poll() is not None:
                raise RuntimeError((work / "prometheus.out").read_text(encoding="utf-8")[-2000:])
            time.sleep(0.2)
        self.empty_bytes = self.own("process_resident_memory_bytes")

    def _stop(self):
        self.process.terminate()
        try:
            self.process.wait(30)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()

    def _ask(self, path, method="GET"):
        connection = http.client.HTTPConnection(self.address, timeout=30)
        try:
            connection.request(method, path)
            response = connection.getresponse()
            return response.status, response.read().decode()
        finally:
            connection.close()

    def _is_ready(self):
        try:
            return self._ask("/-/ready")[0] == 200
        except OSError:
            return False

    def reached(self):
        """How many enclosures the latest scrapes have reached."""
        active = json.loads(self._ask("/api/v1/targets?state=active")[1])["data"]["activeTargets"]
        return sum(target["health"] == "up" for target in active)

    def firing(self):
        """By instance: the alerts that fire, as (name, element)."""
        found = {}
        for alert in json.loads(self._ask("/api/v1/alerts")[1])["data"]["alerts"]:
            labels = alert["labels"]
            if alert["state"] == "firing":
                element = next((labels[name] for name in ELEMENT_LABELS if name in labels), "")
                found.setdefault(labels["instance"], set()).add((labels["alertname"], element))
        return found

    def own(self, name):
        """The sum of one of the server's own metrics."""
        lines = self._ask("/metrics")[1].splitlines()
        return sum(float(line.rpartition(" ")[2]) for line in lines if line.startswith((name + " ", name + "{")))

    def bytes_a_sample(self):
        """What a sample takes on the disk, without the index, in a block such as the server makes every two hours."""
        name = json.loads(self._ask("/api/v1/admin/tsdb/snapshot", "POST")[1])["data"]["name"]
        blocks = list((self.data / "snapshots" / name).glob("*/meta.json"))
        samples = sum(json.loads(meta.read_text(encoding="utf-8"))["stats"]["numSamples"] for meta in blocks)
        return sum(file.stat().st_size for meta in blocks for file in meta.parent.glob("chunks/*")) / samples
