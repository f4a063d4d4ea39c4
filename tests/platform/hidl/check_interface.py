#!/usr/bin/env python3
# Copyright 2026 The Oxa Authors
# SPDX-License-Identifier: Apache-2.0
"""Checks the .hal files of the HDMI audio service, and that the headers written after them declare
what the generator makes of them: the same calls, in the same order, with the same types.

check_interface.py HAL_ROOT BASE_ROOT INCLUDE_DIR; exit 77: skipped, the generator is missing."""

import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

PACKAGE = "vendor.oxa.audioutil@1.0"
HEADERS = {
    "vendor/oxa/audioutil/1.0/IAudioUtil.h": 6,
    "vendor/oxa/audioutil/1.0/IAudioUtilCallback.h": 1,
}
SKIPPED = 77


def declarations(path):
    """The pure virtual calls and the types of their answers, in order."""
    text = re.sub(r"/\*.*?\*/|//[^\n]*", " ", path.read_text(), flags=re.S)
    found = re.findall(r"(virtual [^;{}]*?= 0;|using \w+_cb\s*=[^;]*;)", text)
    base = re.compile(r"using (interfaceChain|interfaceDescriptor|getHashChain|getDebugInfo)_cb")
    return [re.sub(r"\s+", "", one) for one in found if not base.match(one)]


def main(hal_root, base_root, include_dir):
    generator = shutil.which("hidl-gen")
    if generator is None:
        print("skipped: hidl-gen is not installed")
        return SKIPPED
    roots = ["-R", "-r", f"vendor.oxa:{hal_root}", "-r", f"android.hidl:{base_root}"]
    subprocess.run([generator, "-L", "check", *roots, PACKAGE], check=True)
    failed = False
    with tempfile.TemporaryDirectory() as made:
        subprocess.run([generator, "-o", made, "-L", "c++-headers", *roots, PACKAGE], check=True)
        for header, calls in HEADERS.items():
            expected = declarations(pathlib.Path(made, header))
            written = declarations(pathlib.Path(include_dir, header))
            generated_calls = sum(one.startswith("virtual") for one in expected)
            if expected == written and generated_calls == calls:
                continue
            failed = True
            print(f"{header}: {calls} calls expected\n generated: {expected}\n written: {written}")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
