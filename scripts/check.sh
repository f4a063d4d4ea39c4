#!/usr/bin/env bash
# Copyright 2026 The Oxa Authors
# SPDX-License-Identifier: Apache-2.0
#
# scripts/check.sh [format] [threads] [tidy [FILE...]]: what tools find in the sources without running
# them. Without arguments all three; exit code 1, and a last line with their names, when some fail.
#   format   every source as clang-format 14 writes it
#   threads  everything built with clang, whose warnings are errors: the locks that the sources state
#            (GUARDED_BY, REQUIRES) are held where they are needed
#   tidy     clang-tidy with .clang-tidy, over the FILEs or all sources, which takes an hour
# CHECK_BUILD_DIR is another place than build/check.

set -euo pipefail
# shellcheck source=scripts/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

build="${CHECK_BUILD_DIR:-$root/build/check}"
cd "$root"

sources() {
    find bench examples jobs libs platform tests tools -name '*.cpp' -o -name '*.h'
}

# need COMMAND PACKAGE
need() {
    command -v "$1" >/dev/null || die "$1 is needed (Debian: $2)"
}

check_format() {
    need clang-format-14 clang-format
    sources | xargs clang-format-14 --dry-run --Werror
}

configure() {
    need clang++ clang
    cmake --preset check -B "$build" >/dev/null
}

check_threads() {
    configure
    cmake --build "$build" -- -k 0
}

check_tidy() {
    need clang-tidy-14 clang-tidy
    configure
    local files=("$@")
    if ((${#files[@]} == 0)); then
        mapfile -t files < <(sources | grep -E '^(libs|platform|jobs|tools|examples)/.*\.cpp$')
    fi
    printf '%s\n' "${files[@]}" |
        xargs -P "$(nproc)" -n 1 clang-tidy-14 -p "$build" --quiet
}

checks=()
files=()
while (($# > 0)); do
    case "$1" in
        format | threads) checks+=("$1") ;;
        tidy)
            checks+=(tidy)
            shift
            files=("$@")
            break
            ;;
        *) die "usage: scripts/check.sh [format] [threads] [tidy [FILE...]]" ;;
    esac
    shift
done
((${#checks[@]} > 0)) || checks=(format threads tidy)

failed=()
for check in "${checks[@]}"; do
    say "Checking: $check"
    # Not in a condition, where the shell would go on after an error inside.
    set +e
    (
        set -e
        "check_$check" ${files[@]+"${files[@]}"}
    )
    result=$?
    set -e
    ((result == 0)) || failed+=("$check")
done
((${#failed[@]} == 0)) || die "failed: ${failed[*]}"
say "Nothing found"
