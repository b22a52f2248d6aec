"""What runs host programs one after the other: an MQTT server, and a process with a limit to its end."""
import os
import pathlib
import re
import select
import shutil
import socket
import subprocess
import sys
import tempfile
import time

from stacks import stacks_of

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "tools"))
from processes import eventually, free_port  # noqa: E402

WORK_SECONDS = 60
LATE_SECONDS = 60
LOG_SECONDS = 10


def mosquitto_path():
    return shutil.which("mosquitto", path=os.environ.get("PATH", "") + ":/usr/sbin:/usr/local/sbin")


def answers(port):
    with socket.socket() as probe:
        probe.settimeout(1)
        return probe.connect_ex(("127.0.0.1", port)) == 0


class Broker:
    """mosquitto, open to everybody, on a free port of this machine; `log` is what it logs."""

    def __init__(self, program, log="all"):
        self.folder = tempfile.TemporaryDirectory()
        self.log_type = log
        self.log = os.path.join(self.folder.name, "mosquitto.log")
        self.log_read = 0
        for _ in range(5):
            self.port = free_port()
            if self._start(program):
                return
        sys.exit("mosquitto does not start")

    def _start(self, program):
        configuration = os.path.join(self.folder.name, "mosquitto.conf")
        with open(configuration, "w", encoding="utf-8") as file:
            file.write(f"listener {self.port} 127.0.0.1\nallow_anonymous true\nlog_type {self.log_type}\nlog_dest stderr\n")
        with open(self.log, "wb") as log:
            self.process = subprocess.Popen([program, "-c", configuration], stdout=subprocess.DEVNULL, stderr=log)
        eventually(lambda: self.process.poll() is not None or answers(self.port))
        if self.process.poll() is None and answers(self.port):
            return True
        self.stop()
        return False

    def lost_connections(self):
        """None when every connection since the last call, at least one, has said goodbye, else what the server saw."""
        deadline = time.monotonic() + LOG_SECONDS
        while True:
            with open(self.log, encoding="utf-8", errors="replace") as file:
                seen = file.read()[self.log_read:]
            made = sorted(re.findall(r"New client connected from \S+ as (\S+)", seen))
            ended = sorted(re.findall(r"Received DISCONNECT from (\S+)", seen))
            if made and made == ended:
                self.log_read += len(seen)
                return None
            if time.monotonic() > deadline:
                return f"connections {made}, goodbyes {ended}; the server says:\n{seen}"
            time.sleep(0.02)

    def stop(self):
        self.process.kill()
        self.process.wait()


class Run:
    """One process. It says "ending" when its work is done and its end begins."""

    def __init__(self, command):
        self.process = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        self.output = b""

    def read_until(self, text, seconds):
        """False when that takes too long; the end of the output ends it as well."""
        deadline = time.monotonic() + seconds
        pipe = self.process.stdout.fileno()
        while text is None or text not in self.output:
            if not select.select([pipe], [], [], max(0, deadline - time.monotonic()))[0]:
                return False
            part = os.read(pipe, 65536)
            if not part:
                return True
            self.output += part
        return True

    def outcome(self, seconds):
        """None when all went well, else what happened."""
        if not self.read_until(b"ending", WORK_SECONDS):
            return f"still at work after {WORK_SECONDS} s\n{stacks_of(self.process.pid)}"
        started = time.monotonic()
        try:
            self.read_until(None, seconds)
            code = self.process.wait(max(0.1, seconds - (time.monotonic() - started)))
        except subprocess.TimeoutExpired:
            return f"has not ended within {seconds} s, {self.whether_late()}"
        return f"exit code {code}" if code else None

    def whether_late(self):
        started = time.monotonic()
        stacks = stacks_of(self.process.pid)
        load = " ".join(f"{figure:.1f}" for figure in os.getloadavg())
        try:
            self.process.wait(LATE_SECONDS)
            late = f"but {time.monotonic() - started:.1f} s later"
        except subprocess.TimeoutExpired:
            late = f"nor {LATE_SECONDS} s later; then:\n{stacks_of(self.process.pid)}"
        return f"{late} (load {load}); what it did after the limit:\n{stacks}"

    def close(self):
        self.process.kill()
        self.process.wait()
        self.process.stdout.close()


def run_once(command, seconds):
    run = Run(command)
    try:
        trouble = run.outcome(seconds)
        return trouble and f"{trouble}\n{run.output.decode(errors='replace')}"
    finally:
        run.close()
