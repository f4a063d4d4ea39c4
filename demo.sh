#!/usr/bin/env bash
# Copyright 2026 The Oxa Authors
# SPDX-License-Identifier: Apache-2.0
#
# ./demo.sh [INPUT [OUTPUT]]: builds the client and transcodes a file with it; without INPUT the
# clip in samples/, without OUTPUT into build/demo/.

set -euo pipefail
# shellcheck source=scripts/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/scripts/lib.sh"

if (($# > 2)) || [[ "${1:-}" == -* ]]; then
    printf 'usage: ./demo.sh [INPUT [OUTPUT]]\n' >&2
    exit 2
fi
input="${1:-$root/samples/flower_540p_h264_aac.mp4}"
options=()
if (($# == 2)); then
    output="$2"
else
    name="$(basename "$input")"
    output="$root/build/demo/${name%.*}.mp4"
    mkdir -p "$root/build/demo"
    options=(--force)
fi
if (($# == 0)); then
    options+=(--size 640x360)
fi

"$root/scripts/install-deps.sh"
say "Building"
build_release oxaplayer
player="$root/build/release/bin/oxaplayer"

say "Transcoding $input"
"$player" transcode "$input" -o "$output" "${options[@]}"

say "What came out"
"$player" probe "$output"
say "The client is $player; oxaplayer --help and docs/cli.md tell more"
