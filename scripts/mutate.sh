#!/usr/bin/env bash
# Copyright 2026 The Oxa Authors
# SPDX-License-Identifier: Apache-2.0
#
# mutate.sh [options] [FILE...]: how many single faults the tests notice; --help tells more.

set -euo pipefail
# shellcheck source=scripts/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
"$root/scripts/install-deps.sh"
exec python3 "$root/scripts/mutation/mutate.py" --root "$root" "$@"
