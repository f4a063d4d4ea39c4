#!/usr/bin/env bash
# Copyright 2026 The Oxa Authors
# SPDX-License-Identifier: Apache-2.0
#
# install-deps.sh [--all | --farm]
#
# Installs what the build and the tests need on Debian 12; with --all also what maintainers use:
# fuzzing, clang's checks, coverage, API reference, packages; with --farm what the tests of several machines need
# (tests/farm). With everything there it needs neither the network nor root.

set -euo pipefail
# shellcheck source=scripts/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

packages=(
    # build
    g++ cmake ninja-build ccache pkg-config
    # the platform's base libraries
    android-libutils-dev android-libcutils-dev android-liblog-dev
    android-platform-system-core-headers
    # media
    libavcodec-dev libavdevice-dev libavformat-dev libavfilter-dev libavutil-dev libswresample-dev
    libswscale-dev libspeexdsp-dev libsdl2-dev
    # command line client
    libcli11-dev nlohmann-json3-dev libpng-dev
    # tests
    libgtest-dev libgmock-dev librapidcheck-dev ffmpeg xvfb xdotool openbox hidl-gen bsdutils python3
    # scripts/check.sh format
    clang-format
)
if [[ "${1:-}" == --all ]]; then
    packages+=(
        clang libclang-rt-14-dev llvm   # scripts/fuzz.sh, scripts/check.sh
        gcovr                           # coverage
        clang-tidy doxygen
        dpkg-dev file lintian           # cpack
        parallel
        mmdebstrap                      # scripts/in-root.sh
    )
elif [[ "${1:-}" == --farm ]]; then
    packages+=(parallel openssh-server slurm-wlm)
elif (($# > 0)); then
    printf 'usage: install-deps.sh [--all | --farm]\n' >&2
    exit 2
fi

is_installed() {
    [[ "$(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null)" == installed ]]
}

if ! command -v dpkg-query >/dev/null; then
    say "Not a Debian system; the build needs what these packages hold: ${packages[*]}"
    exit 0
fi

missing=()
for package in "${packages[@]}"; do
    is_installed "$package" || missing+=("$package")
done
if ((${#missing[@]} == 0)); then
    exit 0
fi

as_root=()
if ((EUID != 0)); then
    command -v sudo >/dev/null ||
        die "needs root to install: ${missing[*]}"
    as_root=(sudo)
fi
say "Installing ${missing[*]}"
"${as_root[@]}" apt-get update -q
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -q -y --no-install-recommends "${missing[@]}"
