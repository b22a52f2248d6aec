"""A broker, what watches it, and the two applications, as processes that end with the test."""

import json
import os
import pathlib
import shlex
import signal
import socket
import subprocess
import time


def free_port():
    with socket.socket() as listener:
        listener.bind(("127.0.0.1", 0))
        return listener.getsockname()[1]


def eventually(condition, seconds=10):
    """The first true result of `condition` within so long, else its last result."""
    deadline = time.monotonic() + seconds
    while True:
        result = condition()
        if result or time.monotonic() > deadline:
            return result
        time.sleep(0.05)


def host_program():
    """The command that starts the host, which may begin with a program that runs it."""
    return shlex.split(os.environ["QOLIVE_HOST"])


class Process:
    def __init__(self, command, output, **options):
        self.output = pathlib.Path(output)
        with open(output, "ab") as out:
            self.popen = subprocess.Popen(command, stdout=out, stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL, **options)

    def send(self, number):
        self.popen.send_signal(number)

    def end(self, number=signal.SIGTERM):
        """The exit status, after at most 10 s."""
        if self.popen.poll() is None:
            self.popen.send_signal(number)
        try:
            return self.popen.wait(10)
        except subprocess.TimeoutExpired:
            self.popen.kill()
            return self.popen.wait()

    def text(self):
        return self.output.read_text(errors="replace")


class Stage:
    """A folder with a broker, mosquitto_sub, and any number of collectors and hosts. The broker asks for a password and
    confines each broadcaster to its own topics."""

    token = "token-that-nobody-may-see"

    def __init__(self, folder):
        self.folder = pathlib.Path(folder)
        self.port = free_port()
        self.processes = []
        self.start_broker()
        self.watch_file = self.folder / "watch.jsonl"
        self.run(["mosquitto_sub", "-V", "5", "-q", "1", "-p", str(self.port), "-u", "watch", "-P", "watch", "-t", "qolive/#",
                  "-F", "%j"], self.watch_file)
        eventually(lambda: "SUBSCRIBE" in self.broker.text())

    def start_broker(self):
        (self.folder / "passwords").write_text(f"watch:watch\ncollector:{self.token}\nreader:{self.token}\nshow:{self.token}\nother:{self.token}\n")
        subprocess.run(["mosquitto_passwd", "-U", self.folder / "passwords"], check=True)
        (self.folder / "acl").write_text("user watch\ntopic readwrite qolive/#\n"
                                         "user collector\ntopic read qolive/+/+/up/+\ntopic read qolive/+/+/presence\n"
                                         "topic write qolive/+/+/down/+\n"
                                         "user reader\ntopic read qolive/#\n"
                                         "pattern readwrite qolive/%u/#\n")
        (self.folder / "token").write_text(self.token + "\n")
        user = subprocess.run(["id", "-un"], check=True, capture_output=True, text=True).stdout.strip()
        (self.folder / "mosquitto.conf").write_text(
            f"listener {self.port} 127.0.0.1\nallow_anonymous false\nuser {user}\nlog_type all\n"
            f"password_file {self.folder}/passwords\nacl_file {self.folder}/acl\n")
        self.broker = self.run(["mosquitto", "-c", self.folder / "mosquitto.conf"], self.folder / "broker.log")
        eventually(lambda: " running" in self.broker.text())

    def run(self, command, output, **options):
        process = Process(command, output, **options)
        self.processes.append(process)
        return process

    def collector(self, *arguments, name="collector"):
        process = self.run([os.environ["QOLIVE_COLLECTOR"], "--broker", f"127.0.0.1:{self.port}", "--user", "collector",
                            "--token-file", self.folder / "token", "--summary", "--record", self.folder / f"{name}.jsonl",
                            *arguments], self.folder / f"{name}.txt")
        process.record = self.folder / f"{name}.jsonl"
        eventually(lambda: "listening" in process.text())
        return process

    def host(self, script, *arguments, client="show"):
        (self.folder / f"{client}.script").write_text(script)
        return self.run([*host_program(), "--main", f"127.0.0.1:{self.port}", "--client", client, "--script",
                         self.folder / f"{client}.script", *arguments], self.folder / f"{client}.log",
                        env={**os.environ, "QOLIVE_TOKEN": self.token})

    def publish(self, topic, payload):
        subprocess.run(["mosquitto_pub", "-V", "5", "-q", "1", "-p", str(self.port), "-u", "watch", "-P", "watch", "-t", topic,
                        "-s" if payload else "-n"], input=payload.encode(), check=True)

    def watched(self):
        """Every message that mosquitto_sub has seen, payloads and heads parsed."""
        return parsed(self.watch_file)

    def close(self):
        for process in reversed(self.processes):
            process.send(signal.SIGCONT)
            process.end()


def parsed(path):
    path = pathlib.Path(path)
    text = path.read_text() if path.exists() else ""
    # The last line may still be on its way.
    return [json.loads(line) for line in text[:text.rfind("\n") + 1].splitlines()]
