#!/usr/bin/env bash
# Copyright 2026 The Oxa Authors
# SPDX-License-Identifier: Apache-2.0
#
# scripts/fuzz.sh [MINUTES] [TARGET...]: builds the fuzzers and runs each for so long (15 minutes).
# One line a target tells what was seen; exit code 1 when there are findings. The corpus grows from
# run to run in build/fuzz/corpus, findings are in build/fuzz/findings. FUZZ_BUILD_DIR is another
# place than build/fuzz.

set -euo pipefail
# shellcheck source=scripts/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

build="${FUZZ_BUILD_DIR:-$root/build/fuzz}"
inputs="$root/tests/fuzz"
longest_input_sec=30
memory_mib=3072

minutes=15
if (($# > 0)) && [[ "$1" =~ ^[0-9]+$ ]]; then
    minutes="$1"
    shift
fi
targets=("$@")
((${#targets[@]} > 0)) || targets=(media receiver arguments)
for target in "${targets[@]}"; do
    [[ -d "$inputs/seeds/$target" ]] || die "there is no target '$target'"
done
command -v clang++ >/dev/null || die "clang++ is needed (Debian: clang libclang-rt-14-dev llvm)"

build_fuzzers() {
    cmake --preset fuzz -S "$root" -B "$build" >/dev/null
    cmake --build "$build" --target "${targets[@]/#/fuzz_}"
}

# The beginnings of the clips, and short streams of each clip in containers of other kinds.
make_media_corpus() {
    local corpus="$1" clip name kind
    for clip in "$root"/tests/media/*.{mp4,ts,webm,avi,mp3}; do
        name="$(basename "$clip")"
        head -c 32768 "$clip" >"$corpus/$name"
        for kind in mp4 mpegts matroska avi flv; do
            # Not every container takes every codec: what cannot be made is left out.
            ffmpeg -v quiet -y -i "$clip" -c copy -t 0.2 -f "$kind" "$corpus/$name.$kind" \
                </dev/null || rm -f "$corpus/$name.$kind"
        done
    done
    find "$corpus" -type f \( -size 0 -o -size +64k \) -delete
}

# run_fuzzer TARGET: prints its line; false with findings.
run_fuzzer() {
    local target="$1" corpus="$build/corpus/$1" findings="$build/findings/$1"
    local log="$build/fuzz_$1.log" options=() folders=("$corpus" "$inputs/seeds/$1") found=0
    mkdir -p "$findings"
    if [[ ! -d "$corpus" ]]; then
        mkdir -p "$corpus"
        [[ "$target" == media ]] && make_media_corpus "$corpus"
    fi
    [[ -d "$inputs/regressions/$target" ]] && folders+=("$inputs/regressions/$target")
    [[ -f "$inputs/dictionaries/$target.dict" ]] &&
        options+=("-dict=$inputs/dictionaries/$target.dict")
    ASAN_OPTIONS="detect_stack_use_after_return=1:strict_string_checks=1" \
        UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1" \
        LSAN_OPTIONS="suppressions=$root/tests/support/lsan.supp:print_suppressions=0" \
        "$build/bin/fuzz_$target" -max_total_time=$((minutes * 60)) \
        -timeout="$longest_input_sec" -rss_limit_mb="$memory_mib" -print_final_stats=1 \
        -artifact_prefix="$findings/" "${options[@]}" "${folders[@]}" \
        >"$log" 2>&1 || found=1
    local runs coverage
    runs="$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")"
    coverage="$(grep -o 'cov: [0-9]*' "$log" | tail -n 1)"
    printf '%s: %s runs, %s, findings: %d\n' \
        "$target" "${runs:-no}" "${coverage:-cov: none}" "$found"
    if ((found)); then
        grep -m 1 -E 'ERROR: |runtime error: |not true: |ALARM' "$log" || tail -n 5 "$log"
        sed -n 's/.*Test unit written to /  input: /p' "$log"
        printf '  log: %s\n' "$log"
        return 1
    fi
}

build_fuzzers
status=0
for target in "${targets[@]}"; do
    run_fuzzer "$target" || status=1
done
exit "$status"
