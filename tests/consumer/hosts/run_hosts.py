#!/usr/bin/env python3
"""run_hosts.py [--only NAME] [--library FILE] BUILD

Builds a small host in each language and C++ runtime that is there, against the library of the build tree BUILD, and runs
each against an MQTT server on a free loopback port: start, feed, stop and exit; then the same but leaving main without a
stop. Every host has to end with exit code 0, within 10 s of saying that it ends. --library runs them with another build
of the library. Hosts whose language is missing are skipped with the reason.

One line for each run goes to standard error, the counts of passed, failed and skipped ones to standard output.
"""
import argparse
import os
import shutil
import subprocess
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
BINDINGS = os.path.join(HERE, "..", "..", "..", "bindings")
sys.path.insert(0, os.path.join(HERE, "..", "..", "lifetime"))
from broker_and_run import Broker, mosquitto_path, run_once  # noqa: E402

ENDINGS = ("stop", "return")
END_SECONDS = 10
# The system's own compilers first: others that a user has installed may fetch something before they work.
PATH = "/usr/bin:/bin:" + os.environ.get("PATH", "")


class Missing(Exception):
    """Why a host cannot be built here."""


class Broken(Exception):
    """What the tools said of a host that does not build."""


def need(tool):
    found = shutil.which(tool, path=PATH)
    if not found:
        raise Missing(f"{tool} is not installed")
    return found


def sh(command, **environment):
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False,
                          env={**os.environ, **environment})
    if done.returncode:
        raise Broken(f"{' '.join(command)}\n{done.stdout.decode(errors='replace')}")


class Hosts:
    def __init__(self, build):
        self.work = os.path.join(os.path.abspath(build), "hosts")
        self.prefix = os.path.join(self.work, "prefix")
        shutil.rmtree(self.prefix, ignore_errors=True)
        sh(["cmake", "--install", build, "--prefix", self.prefix])
        self.include = os.path.join(self.prefix, "include")
        self.library_folder = next(folder for folder, _, files in os.walk(self.prefix) if "libQoLiveReport.so" in files)
        self.library = os.path.join(self.library_folder, "libQoLiveReport.so.0")

    def out(self, name):
        return os.path.join(self.work, name)

    def compiled(self, name, source, compiler, *options, link=True):
        program = self.out(name)
        libraries = ["-L" + self.library_folder, "-lQoLiveReport", "-ljsoncpp"] if link else ["-ldl"]
        sh([need(compiler), "-I" + self.include, "-I/usr/include/jsoncpp", *options, os.path.join(HERE, source), "-o", program,
            "-pthread", *libraries])
        return [program]

    def cxx(self):
        return self.compiled("cxx", "host.cpp", "g++", "-std=c++17")

    def cxx_static(self):
        return self.compiled("cxx-static", "host.cpp", "g++", "-std=c++17", "-static-libgcc", "-static-libstdc++")

    def libcxx_options(self):
        need("clang++")
        probe = subprocess.run([need("clang++"), "-stdlib=libc++", "-x", "c++", "-", "-o", os.devnull], check=False,
                               input=b"#include <string>\nint main() { return std::string().size(); }",
                               stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        if probe.returncode:
            raise Missing("libc++ is not installed")
        return ["-x", "c++", "-std=c++17", "-stdlib=libc++"]

    def libcxx(self):
        return self.compiled("libcxx", "host.c", "clang++", *self.libcxx_options(), "-Xlinker", "--no-as-needed")

    def libcxx_dlopen(self):
        return self.compiled("libcxx-dlopen", "host.c", "clang++", *self.libcxx_options(), "-DLOAD_AT_RUN_TIME",
                             link=False)

    def static_dlopen(self):
        return self.compiled("static-dlopen", "host.c", "g++", "-x", "c++", "-std=c++17", "-DLOAD_AT_RUN_TIME",
                             "-static-libgcc", "-static-libstdc++", link=False)

    def c(self):
        return self.compiled("c", "host.c", "gcc", "-std=gnu11", "-Wall", "-Wextra", "-Werror")

    def csharp(self):
        mono = need("mono")
        program = self.out("Host.exe")
        sh([need("mcs"), "-out:" + program, os.path.join(HERE, "Host.cs"), os.path.join(BINDINGS, "QoLiveReport.cs")])
        return [mono, program]

    def java(self):
        javac, java = need("javac"), need("java")
        home = os.path.dirname(os.path.dirname(os.path.realpath(javac)))
        classes = self.out("java")
        sh([javac, "-d", classes, os.path.join(HERE, "Host.java")])
        sh([need("gcc"), "-shared", "-fPIC", "-I" + self.include, "-I" + home + "/include", "-I" + home + "/include/linux",
            os.path.join(HERE, "host_jni.c"), "-o", os.path.join(classes, "libhost_jni.so"), "-L" + self.library_folder,
            "-lQoLiveReport"])
        return [java, "-Xcheck:jni", "-Djava.library.path=" + classes, "-cp", classes, "Host"]

    def python(self):
        return [sys.executable, os.path.join(HERE, "host.py")]

    def go(self):
        program = self.out("go-host")
        sh([need("go"), "build", "-o", program, os.path.join(HERE, "host.go")], GO111MODULE="off", CGO_ENABLED="1",
           PKG_CONFIG_PATH=os.path.join(self.library_folder, "pkgconfig"), GOFLAGS="", GOCACHE=self.out("go-cache"))
        return [program]

    def rust(self):
        program = self.out("rust-host")
        sh([need("rustc"), "-o", program, os.path.join(HERE, "host.rs"), "-L", "native=" + self.library_folder])
        return [program]

    def all(self):
        return {"C++": self.cxx, "C++, static runtime": self.cxx_static, "C++, static runtime, dlopen": self.static_dlopen,
                "libc++": self.libcxx, "libc++, dlopen": self.libcxx_dlopen, "C": self.c, "C#": self.csharp,
                "Java": self.java, "Python": self.python, "Go": self.go, "Rust": self.rust}


class Counts:
    def __init__(self):
        self.passed = self.failed = self.skipped = 0

    def say(self, kind, text):
        setattr(self, kind, getattr(self, kind) + 1)
        print({"passed": "ok      ", "failed": "FAILED  ", "skipped": "skipped "}[kind], text, file=sys.stderr, flush=True)


def run_host(name, command, port, library, counts):
    for ending in ENDINGS:
        trouble = run_once([*command, str(port), ending, library], END_SECONDS)
        counts.say("failed" if trouble else "passed", f"host {name}, {ending}" + (f": {trouble}" if trouble else ""))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--only")
    parser.add_argument("--library")
    parser.add_argument("build")
    arguments = parser.parse_args()
    counts = Counts()
    program = mosquitto_path()
    hosts = Hosts(arguments.build)
    library = os.path.abspath(arguments.library) if arguments.library else hosts.library
    os.environ["LD_LIBRARY_PATH"] = os.path.dirname(library)
    broker = Broker(program) if program else None
    try:
        for name, make in hosts.all().items():
            if arguments.only not in (None, name):
                continue
            try:
                if not broker:
                    raise Missing("mosquitto is not installed")
                run_host(name, make(), broker.port, library, counts)
            except Missing as missing:
                counts.say("skipped", f"host {name}: {missing}")
            except Broken as broken:
                counts.say("failed", f"host {name} does not build: {broken}")
    finally:
        if broker:
            broker.stop()
    print(counts.passed, counts.failed, counts.skipped)


main()
