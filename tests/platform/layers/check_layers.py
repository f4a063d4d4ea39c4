#!/usr/bin/env python3
# Copyright 2026 The Oxa Authors
# SPDX-License-Identifier: Apache-2.0
"""Compares what the folders of platform/ use with what their CMakeLists.txt state.

    check_layers.py PLATFORM LAYERS.JSON

LAYERS.JSON comes from CMake: for each folder what it states to use, what it links, and its objects.
A folder uses another by its headers, or by a function that an Android header declares and the other
folder defines. Every use must be stated, every statement used, and the uses must not go in circles.
"""

import graphlib
import json
import os
import re
import subprocess
import sys

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)', re.MULTILINE)
# Headers of libraries, and which of the linked targets give them.
LIBRARIES = [
    (re.compile(r"lib(av|sw)\w+/"), re.compile(r"FFMPEG|AVFILTER|AVDEVICE")),
    (re.compile(r"SDL"), re.compile(r"SDL2")),
]
# Below them are what clients see, not layers.
HEADERS_ONLY = ("include", "host")


def sources(platform):
    """Of each folder: its files."""
    found = {}
    for folder, _, names in os.walk(platform):
        name = os.path.relpath(folder, platform)
        files = [os.path.join(folder, n) for n in sorted(names) if n.endswith((".cpp", ".h"))]
        if files and name.split(os.sep)[0] not in HEADERS_ONLY:
            found[name] = files
    return found


def included(folder, path, links, problems):
    """The folders whose headers a file includes."""
    with open(path, encoding="utf-8") as file:
        text = file.read()
    for bracket, header in INCLUDE.findall(text):
        if bracket == '"':
            yield os.path.dirname(header)
            continue
        for pattern, target in LIBRARIES:
            if pattern.match(header) and not target.search(links):
                problems.append(f"{path}: {folder}/ does not see <{header}>")


def symbols(objects):
    """What objects define, and what they take from elsewhere."""
    listed = subprocess.run(["nm", "-P", *objects], check=True, stdout=subprocess.PIPE, text=True)
    defined, undefined = set(), set()
    for line in listed.stdout.splitlines():
        fields = line.split()
        if len(fields) >= 2 and fields[1] in "TBDR":
            defined.add(fields[0])
        elif len(fields) >= 2 and fields[1] == "U":
            undefined.add(fields[0])
    return defined, undefined


def circle(uses):
    """Folders that use each other, the first one again at the end; empty when there are none."""
    try:
        graphlib.TopologicalSorter(uses).prepare()
    except graphlib.CycleError as error:
        return error.args[1][::-1]
    return []


def check(platform, layers):
    problems = []
    uses = {folder: {} for folder in layers}  # of each folder: the folders, and an example
    found = sources(platform)
    for folder in sorted(set(found) ^ set(layers)):
        problems.append(f"platform/{folder}: sources and CMake do not agree that it is there")
    for folder in sorted(set(found) & set(layers)):
        for path in found[folder]:
            for lower in included(folder, path, layers[folder]["links"], problems):
                uses[folder].setdefault(lower, path)
    tables = {folder: symbols(layer["objects"].split()) for folder, layer in layers.items()}
    owner = {name: folder for folder, (defined, _) in tables.items() for name in defined}
    for folder, (_, undefined) in tables.items():
        for name in sorted(undefined):
            uses[folder].setdefault(owner.get(name, folder), f"the symbol {name}")
    for folder, lowers in uses.items():
        lowers.pop(folder, None)
        stated = set(layers[folder]["uses"].split())
        for lower in sorted(set(lowers) - stated):
            problems.append(f"platform/{folder} does not state that it uses '{lower}': {lowers[lower]}")
        for lower in sorted(stated - set(lowers)):
            problems.append(f"platform/{folder} states that it uses {lower} and does not")
    way = circle(uses)
    if way:
        problems.append("a circle: " + " -> ".join(way))
    return problems


def main():
    with open(sys.argv[2], encoding="utf-8") as file:
        layers = json.load(file)
    problems = check(sys.argv[1], layers)
    for problem in problems:
        print(problem)
    print(f"{len(layers)} folders, {len(problems)} problems")
    return 1 if problems or not layers else 0


if __name__ == "__main__":
    sys.exit(main())
