# Copyright 2026 The Oxa Authors
# SPDX-License-Identifier: Apache-2.0
"""That a benchmark cannot flatter: what is measured, compared and marked."""

import os
import sys
import tempfile
import time
import unittest
from pathlib import Path

import measure
import report
import thread_times
from comparison import Runs, compare, difference
from measure import Usage

MIB = 1 << 20


def python(text):
    return [sys.executable, "-c", text]


def runs(*usages, name="", **work):
    made = {"frames": 30, "bytes": 1000, "picture": "h264 640x480", "sound": "aac 2 ch 48000 Hz",
            "sound_units": 47, **work}
    return Runs(name, [Usage(*usage) for usage in usages], [made])


class Gate:
    """Holds processes until samples of them have shown what is waited for."""

    def __init__(self, reached):
        self._reached = reached
        self._folder = tempfile.TemporaryDirectory()
        self._file = Path(self._folder.name) / "open"
        # A statement for the processes.
        self.wait = ("[__import__('time').sleep(0.01) for _ in iter("
                     f"lambda: __import__('os').path.exists('{self._file}'), True)]")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._folder.cleanup()

    def run(self, commands, sample):
        def look(pids):
            sample(pids)
            if self._reached():
                self._file.touch()
        return measure.run(commands, timeout_s=50, sample=look, interval_s=0.02)


class MeasureTest(unittest.TestCase):
    def test_counts_wall_and_cpu_time_apart(self):
        asleep = measure.run([python("import time; time.sleep(0.5)")])
        self.assertGreaterEqual(asleep.wall_s, 0.5)
        self.assertLess(asleep.cpu_s, 0.4)
        busy = measure.run([python("import time\nwhile time.process_time() < 0.6: pass")])
        self.assertGreaterEqual(busy.cpu_s, 0.6)

    def test_counts_grandchildren(self):
        busy = "import time\nwhile time.process_time() < 0.6: pass"
        usage = measure.run([python("import subprocess, sys\n"
                                    f"subprocess.run([sys.executable, '-c', {busy!r}])")])
        self.assertGreaterEqual(usage.cpu_s, 0.6)

    def test_memory_is_the_peak_not_the_end(self):
        usage = measure.run([python(f"held = b'x' * {100 * MIB}\ndel held")])
        self.assertGreaterEqual(usage.memory_mib, 100)
        self.assertLess(usage.memory_mib, 200)

    def test_runs_all_at_once_and_sums_up(self):
        peak = measure.PeakMemory()
        with Gate(lambda: peak.mib >= 100) as gate:
            hold = python(f"held = b'x' * {50 * MIB}\n{gate.wait}")
            usage = gate.run([hold, hold], peak)
        self.assertGreaterEqual(usage.memory_mib, 100)
        self.assertLess(peak.mib, usage.memory_mib)  # the interpreter's own pages are shared

    def test_failure_and_stall_are_errors_with_a_reason(self):
        with self.assertRaisesRegex(measure.RunFailed, "exit 3: broken"):
            measure.run([python("import sys; print('broken', file=sys.stderr); sys.exit(3)")])
        begin = time.monotonic()
        with self.assertRaisesRegex(measure.RunFailed, "too long"):
            measure.run([python("import time; time.sleep(60)")], timeout_s=0.3)
        self.assertLess(time.monotonic() - begin, 30)

    def test_threads_are_told_apart(self):
        times = thread_times.ThreadTimes()
        with Gate(lambda: self.has_worked_and_slept(times)) as gate:
            work = ("import threading, time\n"
                    "def work():\n"
                    "    open('/proc/thread-self/comm', 'w').write('V-EncodeCBLoope')\n"
                    "    while time.thread_time() < 0.5: pass\n"
                    f"    {gate.wait}\n"
                    "threading.Thread(target=work).start()\n")
            usage = gate.run([python(work)], times)
        seen = times.by_name()
        self.assertEqual(seen[0].name, "V-EncodeCBLoope")
        self.assertGreater(seen[0].voluntary, 0)
        self.assertEqual(len(seen), 2)
        # The kernel's two ways of counting round differently.
        self.assertLessEqual(sum(thread.cpu_s for thread in seen), usage.cpu_s + 0.05)

    @staticmethod
    def has_worked_and_slept(times):
        return any(thread_times.is_pipeline(thread.name) and thread.cpu_s >= 0.5
                   and thread.voluntary > 0 for thread in times.by_name())


class CompareTest(unittest.TestCase):
    def test_ratios_are_of_medians(self):
        ours = runs((9, 9, 900), (1, 2, 10), (2, 4, 30))  # medians 2, 4, 30
        theirs = runs((1, 1, 1), (4, 5, 60), (100, 100, 100))  # medians 4, 5, 60
        result = compare("case", "peer", ours, [theirs])
        self.assertEqual(result.ratios, {"wall_s": 0.5, "cpu_s": 0.8, "memory_mib": 0.5})
        self.assertEqual(result.misses(), [])

    def test_each_figure_meets_the_better_variant(self):
        ours = runs((2, 2, 20))
        result = compare("case", "peer", ours, [runs((1, 4, 40)), runs((4, 1, 10))])
        self.assertEqual(result.ratios, {"wall_s": 2, "cpu_s": 2, "memory_mib": 2})

    def test_misses_are_marked(self):
        theirs = [runs((100, 100, 100))]
        for ours, misses in (((100, 106, 100), []), ((101, 106, 100), ["wall_s"]),
                             ((100, 107, 100), ["cpu_s"]), ((100, 106, 101), ["memory_mib"])):
            with self.subTest(ours=ours):
                result = compare("case", "peer", runs(ours), theirs)
                self.assertEqual(result.misses(), misses)
                for markdown in (False, True):
                    self.assertEqual(report.table([result], markdown).count(report.MISSED),
                                     len(misses))

    def test_dropped_work_is_found(self):
        for key, other in (("frames", 29), ("picture", "h264 320x240"), ("sound", None),
                           ("sound_units", 30)):
            with self.subTest(key=key):
                result = compare("case", "peer", runs((1, 1, 1)),
                                 [runs((1, 1, 1)), runs((1, 1, 1), **{key: other})])
                self.assertIn(key.replace("_", " "), result.difference)
                self.assertIn("not comparable", report.table([result]))
        self.assertEqual(difference(runs().work, runs(sound_units=49, bytes=1100).work), "")
        self.assertNotEqual(difference(runs().work * 2, runs().work), "")


if __name__ == "__main__":
    os.chdir(os.path.dirname(os.path.abspath(__file__)))
    unittest.main()
