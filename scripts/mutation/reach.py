# Copyright 2026 The Oxa Authors
# SPDX-License-Identifier: Apache-2.0
"""Which tests run through which lines."""

import array
import concurrent.futures
import functools
import hashlib
import json
import math
import os
import re
import shutil
import subprocess
import sys
import time

from faults import LAYERS
from tree import Tree

NEIGHBOURS = 3  # so many lines away may stand what the compiler took a fault's line for


class Reach:
    """What is known of it; made once, and good for all sources that are still the same."""

    def __init__(self, path):
        self._known = {"files": {}, "tests": {}}
        if os.path.exists(path):
            with open(path, encoding="utf-8") as file:
                self._known = json.load(file)

    def __bool__(self):
        return bool(self._known["files"])

    def is_outdated(self, root):
        """Whether tests have changed since, which may run through other lines now."""
        return bool(self) and self._known.get("sources") != test_sources(root)

    def knows(self, test):
        return test in self._known["tests"]

    def seconds(self, test):
        """How long it took, with nothing to find."""
        return self._known["tests"].get(test, 0.0)

    def patience_s(self, test):
        """How long it may take before it is said to hang."""
        return 20 + 5 * self._known["tests"][test] if test in self._known["tests"] else math.inf

    def of(self, root, fault):
        """The names of the tests that run through a fault, of its file's tests where the line says
        nothing (a constant) or the file has changed; None when not even the file is known."""
        known = self._known["files"].get(fault["file"])
        if known is None:
            return None
        names = list(self._known["tests"])
        lines = {int(line): tests for line, tests in known["lines"].items()}
        everything = {names[test] for tests in lines.values() for test in tests}
        if known["digest"] != digest(os.path.join(root, fault["file"])) or fault["kind"] == "constant":
            near = everything
        else:
            first, last = fault["line"], fault["line"] + fault["old"].count("\n")
            near = {names[test] for line, tests in lines.items()
                    if first - NEIGHBOURS <= line <= last + NEIGHBOURS for test in tests} or everything
        programs = {program_of(name) for name in near}
        return {name for name in names if program_of(name) in programs}


def program_of(test):
    """The test, or the program that it is a shard of: a new test moves the others from one to the next."""
    return re.sub(r"_\d+$", "", test)


def test_sources(root):
    listed = subprocess.run(["git", "-C", root, "ls-files", "tests/*.cpp", "tests/*.h", "tests/*.txt"],
                            check=True, stdout=subprocess.PIPE, text=True)
    return {name: digest(os.path.join(root, name)) for name in listed.stdout.split()}


def digest(path):
    with open(path, "rb") as file:
        return hashlib.sha256(file.read()).hexdigest()


def measure(root, path, jobs):
    """Builds a tree that tells where it was, runs each test in it, and writes down what it has told."""
    folder = os.path.dirname(path)
    os.makedirs(folder, exist_ok=True)
    library = os.path.join(folder, "libreach.so")
    source = os.path.join(os.path.dirname(os.path.abspath(__file__)), "reach.c")
    subprocess.run(["cc", "-O2", "-shared", "-fPIC", "-o", library, source], check=True)
    tree = Tree(root, "reach", ["-DCMAKE_BUILD_TYPE=Reach", "-DCMAKE_CXX_FLAGS_REACH=-O0 -g1 -DNDEBUG",
                                "-DCMAKE_CXX_FLAGS=-fsanitize-coverage=trace-pc "
                                f"-Wl,--no-as-needed,{library}"])
    well, text = tree.build()
    if not well:
        sys.exit(f"mutate.sh: the tree that tells where it was does not build:\n{text[-2000:]}")
    sources = test_sources(root)
    tests = tree.tests()
    seconds, marks = run_all(tests, os.path.join(folder, "marks"), jobs)
    lines = lines_of(tree, marks)
    files = {}
    for number, found in enumerate(marks):
        for name, line in {lines[module][address] for module in found if module in lines
                           for address in found[module] if address in lines[module]}:
            file = files.setdefault(name, {"digest": digest(os.path.join(tree.path, name)), "lines": {}})
            file["lines"].setdefault(line, []).append(number)
    with open(path, "w", encoding="utf-8") as file:
        json.dump({"files": files, "tests": dict(zip((test.name for test in tests), seconds)),
                   "sources": sources}, file)


def run_all(tests, folder, jobs):
    """How long each took, and through which addresses it ran, by the module."""
    def one(test):
        place = os.path.join(folder, str(abs(hash(test.name))))
        os.makedirs(place)
        begin = time.monotonic()
        well = test.passes(OXA_REACH=place)
        passed_s = time.monotonic() - begin
        found = {module: array.array("I", marked(os.path.join(place, module)))
                 for module in os.listdir(place)}
        shutil.rmtree(place)
        count = sum(map(len, found.values()))
        print(f"{test.name}: {count} places{'' if well else ', FAILED'}", file=sys.stderr, flush=True)
        return passed_s, found

    shutil.rmtree(folder, ignore_errors=True)
    together = [test for test in tests if not test.alone]
    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        results = dict(zip((test.name for test in together), pool.map(one, together)))
    results.update((test.name, one(test)) for test in tests if test.alone)
    return [results[test.name][0] for test in tests], [results[test.name][1] for test in tests]


def marked(path):
    """The places of the bytes that are set; most of the file is holes."""
    with open(path, "rb") as file:
        content = file.read()
    at = content.find(1)
    while at >= 0:
        yield at
        at = content.find(1, at + 1)


def lines_of(tree, marks):
    """By module and address the source and line, for what is of a layer."""
    @functools.lru_cache(maxsize=None)
    def source(name):
        """As git names it; a compiler's cache may have it from another folder."""
        parts = os.path.realpath(name).split("/")
        for first in range(1, len(parts)):
            within = "/".join(parts[first:])
            if within.startswith(sum(LAYERS.values(), ())) and os.path.isfile(os.path.join(tree.path, within)):
                return within
        return None

    places = {}
    for folder, _, names in os.walk(tree.built("release")):
        places.update((name, os.path.join(folder, name)) for name in names)
    lines = {}
    for module in {module for found in marks for module in found} & set(places):
        addresses = sorted({address for found in marks for address in found.get(module, ())})
        # The mark is where the call returns to.
        asked = "".join(f"{address - 1:#x}\n" for address in addresses)
        text = subprocess.run(["addr2line", "-e", places[module]], input=asked, check=True,
                              stdout=subprocess.PIPE, text=True).stdout
        lines[module] = {}
        for address, answer in zip(addresses, text.splitlines()):
            name, _, line = answer.split(" ")[0].rpartition(":")
            if source(name) and line.isdigit():
                lines[module][address] = source(name), int(line)
    return lines
