# Copyright 2026 The Oxa Authors
# SPDX-License-Identifier: Apache-2.0
#
# shellcheck shell=bash
#
# Shared by the checks of this folder; to be sourced with BIN, the folder of the client, as $1.

set -euo pipefail
bin="$1"
export PATH="$bin:$PATH:/usr/sbin"
work="$(mktemp -d)"
finish=()

end_all() {
    local status=$?
    trap - EXIT
    for command in "${finish[@]}"; do $command || true; done
    ((status == 0 || status == 77)) || tail -n 20 "$work"/*.log >&2 || true
    rm -rf "$work"
    exit "$status"
}
trap end_all EXIT

skip() {
    printf 'skipped: %s\n' "$*"
    exit 77
}

fail() {
    printf 'failed: %s\n' "$*" >&2
    exit 1
}

# needs PROGRAM...
needs() {
    local program
    for program in "$@"; do
        command -v "$program" >/dev/null || skip "there is no $program"
    done
}

# Until the command succeeds, for at most so many seconds.
wait_for() {
    local limit=$((SECONDS + $1))
    shift
    until "$@"; do
        ((SECONDS < limit)) || fail "waited in vain for: $*"
        sleep 0.1
    done
}

# A process of ours and all that came from it.
kill_tree() {
    local child
    kill -STOP "$1" 2>/dev/null || return 0
    for child in $(ps -o pid= --ppid "$1"); do kill_tree "$child"; done
    kill -KILL "$1" 2>/dev/null || true
    wait "$1" 2>/dev/null || true
}

# Of which "$work/plan" says how it is made in four parts; "$work/single.mp4" is made at once.
make_film() {
    ffmpeg -v error -f lavfi -i testsrc2=size=640x360:rate=25 -f lavfi -i sine -t 60 \
        -c:v libx264 -preset ultrafast -g 50 -c:a aac "$work/film.mkv"
    oxaplayer transcode "$work/film.mkv" -o "$work/single.mp4" --preset slow --quiet
    oxaplayer plan "$work/film.mkv" -o "$work/out.mp4" --preset slow --parts 4 --quiet >"$work/plan"
    (($(wc -l <"$work/plan") == 6)) || fail "a plan of 4 parts: $(cat "$work/plan")"
}

# The times of all pictures, and the sound as it is.
signature() {
    ffprobe -v error -select_streams v -show_entries packet=pts_time -of csv=p=0 "$1"
    ffmpeg -v error -i "$1" -map 0:a -c copy -f framemd5 - | grep -v '^#software'
}

check_film() {
    cmp <(signature "$work/single.mp4") <(signature "$work/out.mp4") || fail "it is another film"
}
