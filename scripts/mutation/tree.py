# Copyright 2026 The Oxa Authors
# SPDX-License-Identifier: Apache-2.0
"""A copy of the sources with a build of its own, and its tests."""

import json
import os
import shutil
import subprocess

import processes

BUILD_LIMIT_S = 3600
TEST_LIMIT_S = 150


class Tree:
    """A copy of the sources with a build of its own."""

    def __init__(self, root, name="tree", options=()):
        self.path = os.path.join(root, "build", "mutants", name)
        self._options = list(options)
        os.makedirs(self.path, exist_ok=True)
        listed = subprocess.run(["git", "-C", root, "ls-files", "-co", "--exclude-standard", "-z"],
                                check=True, stdout=subprocess.PIPE).stdout.decode().split("\0")
        kept = {name for name in listed if name and os.path.isfile(os.path.join(root, name))}
        for name in sorted(kept):
            self._copy(os.path.join(root, name), os.path.join(self.path, name))
        for folder, folders, names in os.walk(self.path):
            folders[:] = [name for name in folders if os.path.join(folder, name) != self.built()]
            for name in names:
                path = os.path.relpath(os.path.join(folder, name), self.path)
                if path not in kept:
                    os.remove(os.path.join(self.path, path))

    def built(self, *names):
        return os.path.join(self.path, "build", *names)

    @staticmethod
    def _copy(source, target):
        """Only what differs, so that little is built again."""
        with open(source, "rb") as file:
            content = file.read()
        if os.path.exists(target):
            with open(target, "rb") as file:
                if file.read() == content:
                    return
        os.makedirs(os.path.dirname(target), exist_ok=True)
        shutil.copy(source, target)

    def write(self, name, text):
        with open(os.path.join(self.path, name), "w", encoding="utf-8") as file:
            file.write(text)

    def read(self, name):
        with open(os.path.join(self.path, name), encoding="utf-8") as file:
            return file.read()

    def build(self):
        """Whether it builds, and what that printed."""
        if not os.path.exists(self.built("release", "build.ninja")):
            # A program need not be linked again because a library that it loads has changed.
            code, text = processes.run(["cmake", "--preset", "release", "-DCMAKE_LINK_DEPENDS_NO_SHARED=ON",
                              "-DOXA_BUILD_BENCH=OFF", *self._options], BUILD_LIMIT_S, self.path)
            if code != 0:
                return False, text
        code, text = processes.run(["cmake", "--build", "--preset", "release"], BUILD_LIMIT_S, self.path)
        return code == 0, text

    def tests(self):
        """What ./test.sh would run."""
        text = processes.run(["ctest", "--preset", "release", "--show-only=json-v1"], TEST_LIMIT_S, self.path)[1]
        listing = json.loads(text[text.index("{"):])
        return [Test(entry, self.built("release", "tests")) for entry in listing["tests"]]


class Test:
    """An entry of ctest's, and how to run it."""

    def __init__(self, entry, built):
        properties = {one["name"]: one["value"] for one in entry.get("properties", [])}
        self.name = entry["name"]
        self.command = entry["command"]
        self.folder = properties.get("WORKING_DIRECTORY", built)
        self.place = os.path.relpath(self.folder, built)
        self.quick = "quick" in properties.get("LABELS", [])
        self.alone = properties.get("RUN_SERIAL", False)
        self.limit_s = min(properties.get("TIMEOUT", TEST_LIMIT_S), TEST_LIMIT_S)
        self.skip = properties.get("SKIP_RETURN_CODE")
        self.environment = dict(os.environ, GTEST_FAIL_FAST="1", GTEST_BRIEF="1")
        for pair in properties.get("ENVIRONMENT", []):
            self.environment.update([pair.split("=", 1)])

    def passes(self, **environment):
        code, _ = processes.run(self.command, self.limit_s, self.folder, {**self.environment, **environment})
        return code is not None and code in (0, self.skip)
