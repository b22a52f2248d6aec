#!/usr/bin/env python3
"""Holds messages seen on the wire against the schemas in docs/schema.

usage: check_wire.py FILE [FILE ...]

A FILE holds what `qolive-collector --json` (or --record) wrote, or what
`mosquitto_sub -V 5 -q 1 -t 'qolive/#' -F %j` wrote. Prints how many messages of each kind hold; exit status 1, and one line
per fault, when one does not or when there was none.
"""

import collections
import json
import pathlib
import re
import sys

import jsonschema

SCHEMAS = pathlib.Path(__file__).resolve().parents[1] / "docs" / "schema"
TOPIC = re.compile(r"qolive/[A-Za-z0-9_-]+/[0-9a-f]{8}/(presence|(up|down)/([0-9]+))")
STREAM_RECORDS = {1: "stream-record", 2: "stream-quality", 4: "stream-first-frame"}
# What the collector remarks itself; everything else in its lines is a message.
NOTICES = {"joined", "silent", "back", "dark", "asked", "answered", "lost", "no-answer", "too-much", "crowded", "remark", "summary"}

Message = collections.namedtuple("Message", "topic body head content_type response_topic qos retained")


def load_schema(name):
    schema = json.loads((SCHEMAS / f"{name}.json").read_text())
    jsonschema.Draft202012Validator.check_schema(schema)
    return jsonschema.Draft202012Validator(schema)


class Schemas:
    """The schemas by name, each read when it is first needed."""

    def __init__(self):
        self._loaded = {}

    def faults(self, name, value):
        if name not in self._loaded:
            self._loaded[name] = load_schema(name)
        return [f"{name}: {error.json_path}: {error.message[:300]}" for error in self._loaded[name].iter_errors(value)]


def schema_names(message):
    """The schema of the body and, where there must be one, of the head; None where anything goes."""
    kind = TOPIC.fullmatch(message.topic)
    if not kind:
        raise ValueError(f"topic {message.topic!r} is none of ours")
    if kind[1] == "presence":
        return "presence", None
    route = (kind[2], int(kind[3]))
    if route == ("up", 5):
        head_type = message.head.get("type") if isinstance(message.head, dict) else None
        return STREAM_RECORDS.get(head_type), "stream-head"
    names = {("up", 2): "heartbeat", ("up", 4): "command", ("down", 2): "heartbeat-request", ("down", 5): "stream-answer"}
    if route not in names:
        raise ValueError(f"nothing is sent on {message.topic!r}")
    return names[route], None


def property_faults(message):
    expected = {"retained": (message.retained, [False])}
    if message.topic.endswith("/presence"):
        # A connection that says goodbye does not wait for an answer any more.
        expected["qos"] = (message.qos, [0, 1])
        expected["content type"] = (message.content_type, [None])
        expected["response topic"] = (message.response_topic, [None])
    else:
        down_topic = message.topic.replace("/up/", "/down/") if "/up/" in message.topic else None
        expected["qos"] = (message.qos, [1] if down_topic else [0, 1])
        expected["content type"] = (message.content_type, ["application/json"])
        expected["response topic"] = (message.response_topic, [down_topic])
    return [f"{name} is {seen!r}, not {' or '.join(map(repr, wanted))}"
            for name, (seen, wanted) in expected.items() if seen not in wanted]


def faults(message, schemas):
    try:
        body_schema, head_schema = schema_names(message)
    except ValueError as error:
        return [str(error)]
    found = property_faults(message)
    if body_schema:
        found += schemas.faults(body_schema, message.body)
    if head_schema:
        found += schemas.faults(head_schema, message.head)
    elif message.head is not None:
        found.append("a head where there must be none")
    return found


def kind_of(message):
    body_schema, head_schema = schema_names(message)
    if body_schema == "heartbeat":
        return "full heartbeat" if message.body.get("type") == 1 else "keep-alive heartbeat"
    return body_schema or ("stream-event" if head_schema else "unknown")


def from_collector(line):
    if line["kind"] in NOTICES:
        return None
    if line["kind"] == "malformed":
        raise ValueError(f"malformed: {line['reason']}: {line['excerpt']}")
    return Message(line["topic"], line["body"], line.get("head"), line.get("contentType"), line.get("responseTopic"), line["qos"], line["retained"])


def from_mosquitto_sub(line):
    properties = line.get("properties", {})
    head = properties.get("user-properties", {}).get("head")
    return Message(line["topic"], json.loads(line["payload"]), json.loads(head) if head is not None else None,
                   properties.get("content-type"), properties.get("response-topic"), line["qos"], bool(line["retain"]))


def read(text):
    """Yields (line, message or None, fault or None)."""
    for line in text.splitlines():
        if not line.strip():
            continue
        try:
            value = json.loads(line)
            message = from_collector(value) if "kind" in value else from_mosquitto_sub(value)
            yield line, message, None
        except (ValueError, KeyError, TypeError) as error:
            yield line, None, f"cannot be read: {error}"


def check(text, schemas=None):
    """The number of messages of each kind, and the faults."""
    schemas = schemas or Schemas()
    counts, found = collections.Counter(), []
    for line, message, fault in read(text):
        if message is None and fault is None:
            continue
        wrong = [fault] if fault else faults(message, schemas)
        found += [f"{reason}\n    in {line[:400]}" for reason in wrong]
        if not wrong:
            counts[kind_of(message)] += 1
    return counts, found


def main(paths):
    if not paths or paths[0] in ("-h", "--help"):
        print(__doc__.strip())
        return 0 if paths else 2
    counts, found = check("\n".join(pathlib.Path(path).read_text() for path in paths))
    for fault in found:
        print(fault, file=sys.stderr)
    print(f"{sum(counts.values())} messages hold: " + ", ".join(f"{kind} {count}" for kind, count in sorted(counts.items())))
    return 1 if found or not counts else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
