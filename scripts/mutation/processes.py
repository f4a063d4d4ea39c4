# Copyright 2026 The Oxa Authors
# SPDX-License-Identifier: Apache-2.0
"""Programs that may hang, and what they leave running."""

import ctypes
import os
import resource
import signal
import subprocess
import tempfile


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
