# shellcheck shell=bash
# Copyright 2026 The Oxa Authors
# SPDX-License-Identifier: Apache-2.0
#
# What the commands in the root share; to be sourced.

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
export root

say() {
    printf '== %s\n' "$*" >&2
}

die() {
    printf '%s: %s\n' "$(basename "$0")" "$*" >&2
    exit 1
}

# build_release TARGET...: into build/release.
build_release() {
    (
        cd "$root" || exit
        cmake --preset release >/dev/null
        cmake --build --preset release --target "$@"
    )
}
