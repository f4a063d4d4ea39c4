#!/usr/bin/env python3
# Copyright 2026 The Oxa Authors
# SPDX-License-Identifier: Apache-2.0
"""Puts one fault at a time into the sources, builds it beside the tree and runs the tests.

A fault is what a careless change would make: another comparison, a boundary moved by one, another
unit or constant, two statements in the wrong order, a call or a check left out. Which ones are made
depends on the files and the seed alone. Results are kept under build/mutants/, so that an
interrupted run goes on where it was.
"""

import argparse
import json
import os
import random
import re
import shutil
import subprocess
import sys
import time

LAYERS = {"library": "libs/", "platform": "platform/", "client": "tools/"}
# Which test folders reach a source folder soonest; the others follow.
NEAR = [
    ("libs/", ["library", "transcode", "play", "live"]),
    ("platform/codec/", ["platform/codec", "transcode", "play"]),
    ("platform/", ["{same}", "transcode", "play", "live", "cli"]),
    ("jobs/", ["jobs", "cli"]),
    ("tools/", ["cli"]),
]
BUILD_LIMIT_S = 900
TEST_LIMIT_S = 120


# ---- Faults ----------------------------------------------------------------------------------------

CODE = re.compile(r'//[^\n]*|/\*.*?\*/|R"\w*\(.*?\)\w*"|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])+\'|^\s*#[^\n]*(?:\\\n[^\n]*)*',
                  re.DOTALL | re.MULTILINE)


def blanked(text):
    """The text with comments, literals and preprocessor lines as blanks of the same length."""
    return CODE.sub(lambda m: re.sub(r"[^\n]", " ", m.group()), text)


def swaps(code, kind, pairs):
    """Faults that replace what a pattern finds."""
    for pattern, replacement in pairs:
        for match in re.finditer(pattern, code):
            yield kind, match.start(), match.end(), match.expand(replacement)


def comparisons(code):
    return swaps(code, "comparison", [
        (r"(?<= )==(?= )", "!="), (r"(?<= )!=(?= )", "=="),
        (r"(?<= )<(?= [\w(*&!-])", ">="), (r"(?<= )>(?= [\w(*&!-])", "<="),
        (r"(?<= )&&(?= )", "||"), (r"(?<= )\|\|(?= )", "&&"),
        (r"std::min\b", "std::max"), (r"std::max\b", "std::min")])


def boundaries(code):
    return swaps(code, "boundary", [
        (r"(?<= )<=(?= )", "<"), (r"(?<= )>=(?= )", ">"),
        (r"(?<= )<(?= [\w(*&!-])", "<="), (r"(?<= )>(?= [\w(*&!-])", ">="),
        (r"(?<=[ (])(\+|-) 1\b(?!\d|\.)", r"\1 0")])


def units(code):
    return swaps(code, "unit", [
        (r"\b1000000000(LL)?\b", r"1000000\1"), (r"\b1000000(LL)?\b", r"1000\1"),
        (r"\b1000\b", "1000000"), (r"\b1e6\b", "1e3"), (r"\b1e9\b", "1e6")])


def constants(code):
    for match in re.finditer(r"\bconstexpr [^;=\n]*= (-?\d+)(?=[;LU])", code):
        value = int(match.group(1))
        yield "constant", match.start(1), match.end(1), str(value * 10 if value else 1)
    yield from swaps(code, "constant", [(r"\btrue\b(?=[;,)])", "false"), (r"\bfalse\b(?=[;,)])", "true"),
                                        (r"(?<== )0;", "1;")])


ASSIGNMENT = re.compile(r"[\w.\[\]>-]+ [-+|&]?= ")
STATEMENT = r"^( +)([A-Za-z_][^;{}\n=]*(?:=[^;{}\n=][^;{}\n]*)?);\n"


def statements(code):
    """Simple statements that stand on a line of their own."""
    for match in re.finditer(STATEMENT, code, re.MULTILINE):
        text = match.group(2)
        if re.match(r"(return|break|continue|using|typedef|case|default|public|private|delete|if|for|"
                    r"while|else|goto|const|constexpr|static|auto|struct|class|enum|extern|friend)\b", text):
            continue
        declares = re.match(r"[\w:<>,*& ]+[ *&>]\w+( =|\(|$)", text) and not re.match(r"[\w.>-]+(\(| =)", text)
        # What is only logged, and setters in a row whose order nobody can see, are no faults.
        continues = not re.search(r"[;{}:]\s*$", code[:match.start()])
        if not declares and not continues and not re.match(r"ALOG|LOG|(\w+(->|\.))set\w+\(", text):
            yield match


def dropped(code):
    for match in statements(code):
        text = match.group(2)
        if ASSIGNMENT.match(text):
            yield "dropped assignment", match.start(2), match.end(), "\n"
        elif "(" in text:
            yield "dropped call", match.start(2), match.end(), "\n"
    for match in re.finditer(r"^ +if \([^{}\n;]*\) (?:return|continue|break)\b[^;\n]*;\n", code, re.MULTILINE):
        yield "dropped check", match.start(), match.end(), "\n"


def reordered(code):
    former = None
    for match in statements(code):
        together = former is not None and former.end() == match.start() and former.group(1) == match.group(1)
        if together and not (ASSIGNMENT.match(former.group(2)) and ASSIGNMENT.match(match.group(2))):
            yield "order", former.start(), match.end(), (former, match)
        former = match


def faults_of(root, name):
    with open(os.path.join(root, name), encoding="utf-8") as source:
        text = source.read()
    code = blanked(text)
    for make in (comparisons, boundaries, units, constants, dropped, reordered):
        for kind, begin, end, new in make(code):
            if isinstance(new, tuple):
                new = text[new[1].start():new[1].end()] + text[new[0].start():new[0].end()]
            if new != text[begin:end]:
                yield {"file": name, "kind": kind, "begin": begin, "end": end, "new": new,
                       "line": text.count("\n", 0, begin) + 1, "old": text[begin:end]}


def choose(root, files, count, seed):
    """So many faults of each layer that has any; each kind of fault is as likely as the others."""
    chosen = []
    for prefix in LAYERS.values():
        rng = random.Random(f"{seed} {prefix}")
        kinds = {}
        for name in files:
            if name.startswith(prefix):
                for fault in faults_of(root, name):
                    kinds.setdefault(fault["kind"], []).append(fault)
        for faults in kinds.values():
            rng.shuffle(faults)
        for _ in range(count):
            left = sorted(kind for kind in kinds if kinds[kind])
            if left:
                chosen.append(kinds[rng.choice(left)].pop())
    return chosen


# ---- The tree beside the tree ----------------------------------------------------------------------

class Tree:
    """A copy of the sources with a build of its own."""

    def __init__(self, root):
        self.path = os.path.join(root, "build", "mutants", "tree")
        os.makedirs(self.path, exist_ok=True)
        listed = subprocess.run(["git", "-C", root, "ls-files", "-co", "--exclude-standard", "-z"],
                                check=True, stdout=subprocess.PIPE).stdout.decode().split("\0")
        kept = {name for name in listed if name and os.path.isfile(os.path.join(root, name))}
        for name in sorted(kept):
            self._copy(os.path.join(root, name), os.path.join(self.path, name))
        for folder, _, names in os.walk(self.path):
            if os.path.relpath(folder, self.path).split(os.sep)[0] == "build":
                continue
            for name in names:
                path = os.path.relpath(os.path.join(folder, name), self.path)
                if path not in kept:
                    os.remove(os.path.join(self.path, path))

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

    def run(self, command, limit_s):
        """True when it ended well in time; what it printed."""
        try:
            done = subprocess.run(command, cwd=self.path, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                  timeout=limit_s, errors="replace")
            return done.returncode == 0, done.stdout
        except subprocess.TimeoutExpired as late:
            return False, (late.stdout or b"").decode(errors="replace") + "\ntoo late"

    def build(self):
        if not os.path.exists(os.path.join(self.path, "build", "release", "build.ninja")):
            well, text = self.run(["cmake", "--preset", "release"], BUILD_LIMIT_S)
            if not well:
                return False, text
        return self.run(["cmake", "--build", "--preset", "release"], BUILD_LIMIT_S)

    def tests(self):
        """Index of each test and the folder under tests/ that it is in."""
        text = self.run(["ctest", "--preset", "release", "--show-only=json-v1"], TEST_LIMIT_S)[1]
        listing = json.loads(text[text.index("{"):])
        built = os.path.join(self.path, "build", "release", "tests")
        tests = {}
        for index, test in enumerate(listing["tests"], start=1):
            folder = next((prop["value"] for prop in test.get("properties", [])
                           if prop["name"] == "WORKING_DIRECTORY"), built)
            tests[index] = (test["name"], os.path.relpath(folder, built))
        return tests

    def failing(self, indexes, jobs, limit_s):
        """The first test of these that fails, or None."""
        picked = ",".join(str(index) for index in sorted(indexes))
        well, text = self.run(["ctest", "--preset", "release", "-I", f"0,0,,{picked}", "--parallel", str(jobs),
                               "--stop-on-failure", "--timeout", str(TEST_LIMIT_S)], limit_s)
        if well:
            return None
        match = re.search(r"Test +#\d+: (\S+) [.*]+ *(?:\*\*\*)?(?:Failed|Timeout|Exception|Subprocess)", text)
        return match.group(1) if match else "a test that did not end"


def near_folders(name):
    same = os.path.dirname(name)
    for prefix, folders in NEAR:
        if name.startswith(prefix):
            return [folder.replace("{same}", same) for folder in folders]
    return []


def judge(tree, tests, fault, jobs):
    """Who noticed the fault: the compiler, a test, or nobody."""
    text = tree.read(fault["file"])
    tree.write(fault["file"], text[:fault["begin"]] + fault["new"] + text[fault["end"]:])
    try:
        if not tree.build()[0]:
            return "does not build"
        left = dict(tests)
        for folder in near_folders(fault["file"]):
            group = [index for index in left if left[index][1] == folder]
            for index in group:
                del left[index]
            noticed = tree.failing(group, jobs, 3600) if group else None
            if noticed:
                return noticed
        return (tree.failing(left, jobs, 3600) if left else None) or "SURVIVED"
    finally:
        tree.write(fault["file"], text)


# ---- Command ---------------------------------------------------------------------------------------

def sources(root, names, base):
    listed = subprocess.run(["git", "-C", root, "diff", "--name-only", "--diff-filter=d", base] if base else
                            ["git", "-C", root, "ls-files"], check=True, stdout=subprocess.PIPE, text=True)
    prefixes = tuple(LAYERS.values())
    found = [name for name in listed.stdout.split()
             if name.startswith(prefixes) and name.endswith((".cpp", ".h")) and "/include/" not in name]
    if names:
        wanted = [os.path.relpath(os.path.abspath(name), root) for name in names]
        found = [name for name in found if any(name == one or name.startswith(one + "/") for one in wanted)]
    return sorted(found)


def layer_of(name):
    return next(layer for layer, prefix in LAYERS.items() if name.startswith(prefix))


def describe(fault):
    old = " ".join(fault["old"].split())
    new = " ".join(fault["new"].split())
    return f'{fault["file"]}:{fault["line"]}  {fault["kind"]}: {old[:50]} -> {new[:50] or "(nothing)"}'


def report(results):
    for result in results:
        print(f'{result["noticed"]:44.44}  {describe(result["fault"])}')
    print()
    for layer in LAYERS:
        judged = [result for result in results if layer_of(result["fault"]["file"]) == layer
                  and result["noticed"] != "does not build"]
        noticed = sum(result["noticed"] != "SURVIVED" for result in judged)
        if judged:
            print(f"{layer}: {noticed} of {len(judged)} noticed ({100 * noticed // len(judged)} %)")


def main():
    parser = argparse.ArgumentParser(prog="mutate.sh", description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--root", required=True, help=argparse.SUPPRESS)
    parser.add_argument("--count", type=int, default=10, help="faults of each layer (10)")
    parser.add_argument("--seed", default="1", help="another one makes other faults (1)")
    parser.add_argument("--changed", metavar="BASE", help="only files that differ from that commit")
    parser.add_argument("--minutes", type=float, help="begin no fault after that; go on with another run")
    parser.add_argument("--jobs", type=int, default=(os.cpu_count() or 1) + 2, help="tests at a time")
    parser.add_argument("--list", action="store_true", help="only print the faults")
    parser.add_argument("files", nargs="*", metavar="FILE", help="sources or folders; all of them by default")
    arguments = parser.parse_args()

    root = os.path.realpath(arguments.root)
    begin = time.monotonic()
    faults = choose(root, sources(root, arguments.files, arguments.changed), arguments.count, arguments.seed)
    if not faults:
        sys.exit("mutate.sh: no fault can be made there")
    if arguments.list:
        print("\n".join(describe(fault) for fault in faults))
        return
    record = os.path.join(root, "build", "mutants", f"seed-{arguments.seed}.jsonl")
    tree = Tree(root)
    known = []
    if os.path.exists(record):
        with open(record, encoding="utf-8") as file:
            known = [json.loads(line) for line in file]
    well, text = tree.build()
    if not well:
        sys.exit(f"mutate.sh: the tree without a fault does not build:\n{text[-2000:]}")
    tests = tree.tests()
    results = []
    for number, fault in enumerate(faults, start=1):
        result = next((one for one in known if one["fault"] == fault), None)
        if result is None:
            if arguments.minutes and time.monotonic() - begin > 60 * arguments.minutes:
                print(f"{len(faults) - number + 1} faults are left for another run", file=sys.stderr)
                break
            print(f"[{number}/{len(faults)}] {describe(fault)}", file=sys.stderr, flush=True)
            result = {"fault": fault, "noticed": judge(tree, tests, fault, arguments.jobs)}
            print(f'    {result["noticed"]}', file=sys.stderr, flush=True)
            with open(record, "a", encoding="utf-8") as file:
                file.write(json.dumps(result) + "\n")
        results.append(result)
    report(results)


if __name__ == "__main__":
    main()
