#!/usr/bin/env bash
# Copyright 2026 The Oxa Authors
# SPDX-License-Identifier: Apache-2.0
#
# check_packages.sh BUILD: makes the Debian packages of a build and installs them in a clean system of
# the same release, where the client and a program that was built with nothing else must run. 77:
# something is missing.

set -euo pipefail
source_dir="$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)"
clip=tests/media/bear_161x121_vp9.webm

fail() {
    printf 'check_packages: %s\n' "$*" >&2
    exit 1
}

expect_pictures() {
    oxaplayer probe --json "$1" | grep -q "\"video/avc\".*\"width\":$2" ||
        fail "$1 is not as it should be"
}

# In the clean system.
inside() {
    export DEBIAN_FRONTEND=noninteractive
    apt-get update -qq
    apt-get install -y -qq --no-install-recommends \
        /with/oxaplayer_*.deb /with/liboxamediacodecplayer0_*.deb
    oxaplayer transcode "$clip" -o /tmp/client.mp4 --verify
    expect_pictures /tmp/client.mp4 160
    oxaplayer record --usb lavfi:testsrc2=s=320x180 -o /tmp/record.ts --duration 1
    expect_pictures /tmp/record.ts 320
    apt-get install -y -qq --no-install-recommends g++ cmake ninja-build pkg-config \
        /with/liboxamediacodecplayer-dev_*.deb
    cmake -G Ninja -S examples -B /tmp/examples
    cmake --build /tmp/examples
    /tmp/examples/oxa_example_convert "$clip" /tmp/example.mp4
    expect_pictures /tmp/example.mp4 160
    apt-get purge -y -qq oxaplayer liboxamediacodecplayer0 liboxamediacodecplayer-dev
    [[ -z "$(find /usr -iname '*oxa*' -not -path '/usr/share/doc/*')" ]] || fail "something stays behind"
}

if [[ "$1" == --inside ]]; then
    cd "$source_dir"
    inside
    exit
fi

for command in mmdebstrap cpack dpkg-shlibdeps; do
    command -v "$command" >/dev/null || { echo "needs $command" && exit 77; }
done
((EUID == 0)) || { echo "a clean system needs root" && exit 77; }
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
(cd "$1" && cpack -B "$work" >"$work/log") || { cat "$work/log" && exit 1; }
with=()
for package in "$work"/*.deb; do
    with+=(--with "$package")
done
# shellcheck source=/dev/null
release="$(. /etc/os-release && echo "$VERSION_CODENAME")"
"$source_dir/scripts/in-root.sh" "${with[@]}" "$release" tests/install/check_packages.sh --inside
