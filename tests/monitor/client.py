"""Asks the monitor as a program would, and holds every document that it gets against the schemas in the tree."""

import http.client
import json
import os
import socket
import time
from pathlib import Path

import jsonschema

SCHEMAS = {path.name: json.loads(path.read_text(encoding="utf-8"))
           for path in (Path(os.environ["ESA_SOURCE"]) / "docs/api/schemas").glob("*.json")}
# The one reference between them, resolved here: how a validator is told of files differs between its versions.
SCHEMAS["events.json"]["properties"]["events"]["items"] = SCHEMAS["event.json"]
KINDS = {"esactl.status": "status.json", "esactl.config": "config.json", "esactl.error": "error.json",
         "esactl.command": "command.json", "esactl.event": "event.json", "esactl.startup": "event.json",
         "esamon.change": "event.json", "esamon.action": "event.json", "esamon.monitor": "event.json",
         "esamon.events": "events.json", "esamon.readings": "readings.json", "esamon.alive": "alive.json"}


def validated(document):
    """The document; a failure when it is not as its schema says."""
    schema = SCHEMAS[KINDS[document["schema"]]]
    jsonschema.Draft202012Validator(schema).validate(document)
    return document


class Connection(http.client.HTTPConnection):
    """HTTP over a UNIX socket."""

    def __init__(self, path):
        super().__init__("localhost", timeout=30)
        self.path = path

    def connect(self):
        self.sock = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.sock.settimeout(self.timeout)
        self.sock.connect(self.path)


class Reply:
    def __init__(self, response):
        self.status = response.status
        self.headers = response.headers
        self.body = response.read()
        if response.headers["Content-Type"] == "application/json" and self.body:
            self.json = json.loads(self.body)
            # What the simulator says of itself is the one document without a schema.
            if set(self.json) != {"reply"}:
                validated(self.json)


class Client:
    def __init__(self, place):
        self.place = place

    def connection(self):
        return Connection(self.place) if self.place.startswith("/") else http.client.HTTPConnection(self.place, timeout=30)

    def ask(self, path, method="GET", body=None, headers=None):
        connection = self.connection()
        try:
            connection.request(method, path, None if body is None else json.dumps(body), headers or {})
            return Reply(connection.getresponse())
        finally:
            connection.close()

    def get(self, path):
        reply = self.ask(path)
        if reply.status != 200:
            raise AssertionError(f"{path}: {reply.status} {reply.body}")
        return reply.json

    def events(self, query=""):
        return self.get("/api/v1/events" + query)["events"]


class Stream:
    """The live stream; each message is (event, id, document)."""

    def __init__(self, client, headers=None, path="/api/v1/stream"):
        self.connection = client.connection()
        self.connection.request("GET", path, headers=headers or {})
        self.response = self.connection.getresponse()

    def message(self):
        fields = {}
        while True:
            line = self.response.readline().decode()
            if not line:
                raise EOFError("the stream has ended")
            if line != "\n":
                name, _, value = line.rstrip("\n").partition(": ")
                fields[name] = value
            elif "data" in fields:
                return fields["event"], int(fields.get("id", 0)), validated(json.loads(fields["data"]))
            else:
                fields = {}

    def until(self, event, matches=lambda document: True, seconds=30):
        """The first such message, and how long it took."""
        begin = time.monotonic()
        while time.monotonic() - begin < seconds:
            found, number, document = self.message()
            if found == event and matches(document):
                return number, document
        raise TimeoutError(f"no {event} in {seconds} seconds")

    def close(self):
        self.connection.close()
