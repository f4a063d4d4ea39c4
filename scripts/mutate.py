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
import concurrent.futures
import ctypes
import json
import os
import random
import re
import resource
import shutil
import signal
import subprocess
import sys
import tempfile
import time

LAYERS = {"library": ("libs/",), "platform": ("platform/",), "client": ("tools/", "jobs/")}
# Which test folders reach a source folder soonest; the others follow.
NEAR = [
    ("libs/", ["library", "files", "play", "live"]),
    ("platform/codec/", ["platform/codec", "files", "play"]),
    ("platform/ffmpeg/", ["platform/codec", "platform/container", "files"]),
    ("platform/writer/", ["platform/container", "files", "live", "faults"]),
    ("platform/extractor/", ["platform/container", "files", "transcode"]),
    ("platform/display/", ["platform/graphics", "play"]),
    ("platform/modules/", ["platform/graphics", "platform/live", "platform/codec"]),
    ("platform/hdmi/", ["platform/camera", "platform/hidl", "live"]),
    ("platform/", ["{same}", "files", "play", "live", "cli"]),
    ("jobs/", ["jobs", "files", "cli"]),
    ("tools/", ["cli"]),
]
BUILD_LIMIT_S = 3600
TEST_LIMIT_S = 150

NOT_BUILT = "does not build"
SURVIVED = "SURVIVED"
UNNOTICED = "not noticed in"


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
        continues = not re.search(r"[;{}:]\s*$", code[:match.start()]) or re.search(r"= (delete|default)$", text)
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
    for layer, prefixes in LAYERS.items():
        rng = random.Random(f"{seed} {layer}")
        kinds = {}
        for name in files:
            if name.startswith(prefixes):
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
            code, text = run(["cmake", "--preset", "release", "-DCMAKE_LINK_DEPENDS_NO_SHARED=ON",
                              "-DOXA_BUILD_BENCH=OFF"], BUILD_LIMIT_S, self.path)
            if code != 0:
                return False, text
        code, text = run(["cmake", "--build", "--preset", "release"], BUILD_LIMIT_S, self.path)
        return code == 0, text

    def tests(self):
        """What ./test.sh would run."""
        text = run(["ctest", "--preset", "release", "--show-only=json-v1"], TEST_LIMIT_S, self.path)[1]
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

    def passes(self):
        return run(self.command, self.limit_s, self.folder, self.environment)[0] in (0, self.skip)


# ---- Processes -------------------------------------------------------------------------------------

def confine_tests():
    """What a test leaves running becomes a child of this process, which can end it."""
    ctypes.CDLL(None).prctl(36, 1, 0, 0, 0)  # PR_SET_CHILD_SUBREAPER
    # Nor may a fault fill the disk.
    resource.setrlimit(resource.RLIMIT_FSIZE, (4 << 30, 4 << 30))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


def family(pid):
    """A process and all that it has started and not lost."""
    members = [pid]
    for parent in members:
        try:
            for task in os.listdir(f"/proc/{parent}/task"):
                with open(f"/proc/{parent}/task/{task}/children", encoding="ascii") as file:
                    members += [int(child) for child in file.read().split()]
        except OSError:
            pass
    return members


def end(pids):
    for pid in pids:
        try:
            os.kill(pid, signal.SIGKILL)
        except OSError:
            pass


def run(command, limit_s, folder, environment=None):
    """Exit code, None when it took too long; and what it printed."""
    with tempfile.TemporaryFile() as output:
        process = subprocess.Popen(command, cwd=folder, env=environment, stdin=subprocess.DEVNULL,
                                   stdout=output, stderr=subprocess.STDOUT, start_new_session=True)
        try:
            code = process.wait(limit_s)
        except subprocess.TimeoutExpired:
            code = None
        except BaseException:
            end(family(process.pid))
            raise
        if code is None:
            end(family(process.pid))
            process.wait()
        output.seek(0)
        return code, output.read().decode(errors="replace")


def end_orphans():
    end(family(os.getpid())[1:])
    try:
        while os.waitpid(-1, os.WNOHANG)[0] > 0:
            pass
    except ChildProcessError:
        pass


# ---- Judging ---------------------------------------------------------------------------------------

def first_that_fails(tests, jobs, deadline):
    """Runs them in this order, some at a time, until one fails or the time is over."""
    waiting = list(tests)
    running = {}
    failed = None
    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        while (waiting or running) and failed is None and time.monotonic() < deadline:
            while waiting and len(running) < jobs:
                if running and (waiting[0].alone or any(test.alone for test in running.values())):
                    break
                test = waiting.pop(0)
                running[pool.submit(test.passes)] = test
            done, _ = concurrent.futures.wait(running, deadline - time.monotonic(),
                                              concurrent.futures.FIRST_COMPLETED)
            for one in done:
                test = running.pop(one)
                if failed is None and not one.result():
                    failed = test
        end(family(os.getpid())[1:])
    end_orphans()
    return failed


def near_folders(name):
    same = os.path.dirname(name)
    for prefix, folders in NEAR:
        if name.startswith(prefix):
            return [folder.replace("{same}", same) for folder in folders]
    return []


def in_order(tests, name, former):
    """Those that have noticed faults of this file before, those near it, the quick ones, the rest."""
    folders = near_folders(name)

    def key(test):
        near = folders.index(test.place) if test.place in folders else len(folders)
        return -former.get((name, test.name), 0), near, not test.quick, test.alone
    return sorted(tests, key=key)


def judge(tree, tests, fault, arguments, former):
    """Who noticed the fault: the compiler, a test, or nobody."""
    text = tree.read(fault["file"])
    tree.write(fault["file"], text[:fault["begin"]] + fault["new"] + text[fault["end"]:])
    try:
        if not tree.build()[0]:
            return NOT_BUILT
        deadline = time.monotonic() + arguments.limit
        left = in_order(tests, fault["file"], former)
        while left:
            failed = first_that_fails(left, arguments.jobs, deadline)
            if failed is None:
                break
            # Once more, alone: a machine that is busy may have made it fail.
            if not failed.passes():
                return failed.name
            left = left[left.index(failed) + 1:]
        return SURVIVED if time.monotonic() < deadline else f"{UNNOTICED} {arguments.limit:.0f} s"
    finally:
        end_orphans()
        tree.write(fault["file"], text)


def failing_anyway(tree, tests, results):
    """Of the tests that noticed something those that fail without a fault as well."""
    well, text = tree.build()
    if not well:
        sys.exit(f"mutate.sh: the tree without a fault does not build any more:\n{text[-2000:]}")
    names = {result["noticed"] for result in results}
    return {test.name for test in tests if test.name in names and not test.passes()}


# ---- Command ---------------------------------------------------------------------------------------

def sources(root, names, base):
    listed = subprocess.run(["git", "-C", root, "diff", "--name-only", "--diff-filter=d", base] if base else
                            ["git", "-C", root, "ls-files"], check=True, stdout=subprocess.PIPE, text=True)
    prefixes = sum(LAYERS.values(), ())
    found = [name for name in listed.stdout.split()
             if name.startswith(prefixes) and name.endswith((".cpp", ".h")) and "/include/" not in name]
    if names:
        wanted = [os.path.relpath(os.path.abspath(name), root) for name in names]
        found = [name for name in found if any(name == one or name.startswith(one + "/") for one in wanted)]
    return sorted(found)


def layer_of(name):
    return next(layer for layer, prefixes in LAYERS.items() if name.startswith(prefixes))


def describe(fault):
    old = " ".join(fault["old"].split())
    new = " ".join(fault["new"].split())
    return f'{fault["file"]}:{fault["line"]}  {fault["kind"]}: {old[:50]} -> {new[:50] or "(nothing)"}'


def was_noticed(result):
    return result["noticed"] != SURVIVED and not result["noticed"].startswith(UNNOTICED)


def report(results):
    for result in results:
        print(f'{result["noticed"]:44.44}  {describe(result["fault"])}')
    print()
    for layer in LAYERS:
        judged = [result for result in results if layer_of(result["fault"]["file"]) == layer
                  and result["noticed"] != NOT_BUILT]
        noticed = sum(was_noticed(result) for result in judged)
        if judged:
            print(f"{layer}: {noticed} of {len(judged)} noticed ({100 * noticed // len(judged)} %)")


def known_results(folder):
    """All that was found out so far, by its record."""
    known = {}
    for name in sorted(os.listdir(folder)):
        if name.startswith("seed-"):
            with open(os.path.join(folder, name), encoding="utf-8") as file:
                known[name] = [json.loads(line) for line in file]
    return known


def parse_arguments():
    parser = argparse.ArgumentParser(prog="mutate.sh", description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--root", required=True, help=argparse.SUPPRESS)
    parser.add_argument("--count", type=int, default=10, help="faults of each layer (10)")
    parser.add_argument("--seed", default="1", help="another one makes other faults (1)")
    parser.add_argument("--changed", metavar="BASE",
                        help="only files that differ from that commit, within --minutes 10 and --limit 60")
    parser.add_argument("--minutes", type=float, help="end then; another run goes on")
    parser.add_argument("--limit", type=float, help="seconds of tests for each fault (3600)")
    parser.add_argument("--again", action="store_true", help="judge those once more that nobody noticed")
    parser.add_argument("--jobs", type=int, default=(os.cpu_count() or 1) + 2, help="tests at a time")
    parser.add_argument("--list", action="store_true", help="only print the faults")
    parser.add_argument("files", nargs="*", metavar="FILE", help="sources or folders; all of them by default")
    arguments = parser.parse_args()
    if arguments.limit is None:
        arguments.limit = 60 if arguments.changed else 3600
    if arguments.minutes is None:
        arguments.minutes = 10 if arguments.changed else 1e6
    return arguments


def judge_all(tree, tests, faults, known, record, arguments, begin):
    """The results of all that there was time for; the new ones are in the record, too."""
    former = {}
    for results in known.values():
        for result in results:
            key = result["fault"]["file"], result["noticed"]
            former[key] = former.get(key, 0) + 1
    results = []
    for number, fault in enumerate(faults, start=1):
        result = next((one for one in reversed(known.get(os.path.basename(record), []))
                       if one["fault"] == fault and (was_noticed(one) or not arguments.again)), None)
        if result is None:
            # The build and what follows the last fault take a part of the time as well.
            left_s = 60 * arguments.minutes - (time.monotonic() - begin)
            if left_s < min(arguments.limit, 60) + 60:
                print(f"{len(faults) - number + 1} faults are left for another run", file=sys.stderr)
                break
            print(f"[{number}/{len(faults)}] {describe(fault)}", file=sys.stderr, flush=True)
            result = {"fault": fault, "noticed": judge(tree, tests, fault, arguments, former)}
            print(f'    {result["noticed"]}', file=sys.stderr, flush=True)
            with open(record, "a", encoding="utf-8") as file:
                file.write(json.dumps(result) + "\n")
        results.append(result)
    return results


def main():
    arguments = parse_arguments()
    root = os.path.realpath(arguments.root)
    begin = time.monotonic()
    faults = choose(root, sources(root, arguments.files, arguments.changed), arguments.count, arguments.seed)
    if not faults:
        sys.exit("mutate.sh: no fault can be made there")
    if arguments.list:
        print("\n".join(describe(fault) for fault in faults))
        return
    confine_tests()
    tree = Tree(root)
    folder = os.path.dirname(tree.path)
    record = os.path.join(folder, f"seed-{arguments.seed}.jsonl")
    well, text = tree.build()
    if not well:
        sys.exit(f"mutate.sh: the tree without a fault does not build:\n{text[-2000:]}")
    tests = tree.tests()
    results = judge_all(tree, tests, faults, known_results(folder), record, arguments, begin)
    useless = failing_anyway(tree, tests, results)
    report([result for result in results if result["noticed"] not in useless])
    for name in sorted(useless):
        print(f"{name} fails without a fault, too: what it noticed does not count")


if __name__ == "__main__":
    main()
