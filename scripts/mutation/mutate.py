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
import json
import os
import subprocess
import sys
import time

import processes
from faults import LAYERS, choose
from reach import Reach, measure
from tree import Tree

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
NOT_BUILT = "does not build"
SURVIVED = "SURVIVED"
UNNOTICED = "not noticed in"
REACH = "reach.json"


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
        processes.end(processes.family(os.getpid())[1:])
    processes.end_orphans()
    return failed


def near_folders(name):
    same = os.path.dirname(name)
    for prefix, folders in NEAR:
        if name.startswith(prefix):
            return [folder.replace("{same}", same) for folder in folders]
    return []


def in_order(tests, fault, former, reach, root):
    """Those that have noticed faults of this file before, those near it, the quick ones, the rest;
    not those that are known to run past it."""
    folders = near_folders(fault["file"])
    through = reach.of(root, fault)

    def key(test):
        near = folders.index(test.place) if test.place in folders else len(folders)
        seen = -former.get((fault["file"], test.name), 0)
        if through is not None:
            return seen, test.alone, reach.seconds(test.name), near
        return seen, near, not test.quick, test.alone
    return sorted((test for test in tests if through is None or test.name in through
                   or not reach.knows(test.name)), key=key)


def judge(tree, tests, fault, arguments, former, reach):
    """Who noticed the fault: the compiler, a test, or nobody."""
    text = tree.read(fault["file"])
    tree.write(fault["file"], text[:fault["begin"]] + fault["new"] + text[fault["end"]:])
    try:
        if not tree.build()[0]:
            return NOT_BUILT
        deadline = time.monotonic() + arguments.limit
        left = in_order(tests, fault, former, reach, arguments.root)
        while left:
            failed = first_that_fails(left, arguments.jobs, deadline)
            if failed is None:
                break
            # Once more, alone: a machine that is busy may have made it fail.
            if not failed.passes():
                return failed.name
            print(f"    {failed.name} failed once only", file=sys.stderr, flush=True)
            left = left[left.index(failed) + 1:]
        return SURVIVED if time.monotonic() < deadline else f"{UNNOTICED} {arguments.limit:.0f} s"
    finally:
        processes.end_orphans()
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
    parser.add_argument("--part", metavar="K/N", default="1/1",
                        help="every Nth fault from the Kth on, for as many folders or machines")
    parser.add_argument("--jobs", type=int, default=(os.cpu_count() or 1) + 2, help="tests at a time")
    parser.add_argument("--reach", action="store_true",
                        help="find out which tests run through which lines, and end; from then on a fault is "
                             "given only to the tests that run through it, the short ones first")
    parser.add_argument("--list", action="store_true", help="only print the faults")
    parser.add_argument("files", nargs="*", metavar="FILE", help="sources or folders; all of them by default")
    arguments = parser.parse_args()
    if arguments.limit is None:
        arguments.limit = 60 if arguments.changed else 3600
    if arguments.minutes is None:
        arguments.minutes = 10 if arguments.changed else 1e6
    return arguments


def judge_all(tree, tests, faults, known, record, arguments, begin, reach):
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
            noticed = judge(tree, tests, fault, arguments, former, reach)
            result = {"fault": fault, "noticed": noticed}
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
    first, step = (int(number) for number in arguments.part.split("/"))
    faults = faults[first - 1::step]
    if not faults:
        sys.exit("mutate.sh: no fault can be made there")
    if arguments.list:
        print("\n".join(describe(fault) for fault in faults))
        return
    processes.confine_tests()
    folder = os.path.join(root, "build", "mutants")
    if arguments.reach:
        measure(root, os.path.join(folder, REACH), arguments.jobs)
        return
    tree = Tree(root)
    record = os.path.join(folder, f"seed-{arguments.seed}.jsonl")
    well, text = tree.build()
    if not well:
        sys.exit(f"mutate.sh: the tree without a fault does not build:\n{text[-2000:]}")
    reach = Reach(os.path.join(folder, REACH))
    if reach.is_outdated(root):
        print("tests have changed since --reach: nobody may have asked those that notice a fault now",
              file=sys.stderr)
    tests = tree.tests()
    for test in tests:
        test.limit_s = min(test.limit_s, reach.patience_s(test.name))
    results = judge_all(tree, tests, faults, known_results(folder), record, arguments, begin, reach)
    useless = failing_anyway(tree, tests, results)
    report([result for result in results if result["noticed"] not in useless])
    for name in sorted(useless):
        print(f"{name} fails without a fault, too: what it noticed does not count")


if __name__ == "__main__":
    main()
