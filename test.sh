#!/usr/bin/env bash
# Copyright 2026 The Oxa Authors
# SPDX-License-Identifier: Apache-2.0
#
# ./test.sh: builds everything and runs the tests that belong to every change.

set -euo pipefail
# shellcheck source=scripts/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/scripts/lib.sh"

if (($# > 0)); then
    printf 'usage: ./test.sh\n' >&2
    exit 2
fi
"$root/scripts/install-deps.sh"
say "Building"
build_release all
say "Testing"
cd "$root"
# More than there are processors: many tests wait most of their time.
ctest --preset release --parallel "$(($(nproc) + 2))"
