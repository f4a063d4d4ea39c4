#!/usr/bin/env bash
# Copyright 2026 The Oxa Authors
# SPDX-License-Identifier: Apache-2.0
#
# install-deps.sh [--all | --farm]
#
# Installs what the build and the tests need on Debian 12; with --all also what maintainers use:
# fuzzing, clang's checks, coverage, API reference, packages; with --farm what the tests of several machines need
# (tests/farm). With everything there it needs neither the network nor root.
#
# With DEB_HOST_ARCH (such as arm64) in the environment: the libraries of that architecture, and the compiler for
# it (DEB_HOST_GNU_TYPE, such as aarch64-linux-gnu); see cmake/Cross.cmake.

set -euo pipefail
# shellcheck source=scripts/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

# What is linked.
libraries=(
    # the platform's base libraries
    android-libutils-dev android-libcutils-dev android-liblog-dev
    # media
    libavcodec-dev libavdevice-dev libavformat-dev libavfilter-dev libavutil-dev libswresample-dev
    libswscale-dev libspeexdsp-dev libsdl2-dev
    # command line client
    libpng-dev
    # tests
    libgtest-dev libgmock-dev librapidcheck-dev
)
packages=(
    # build
    g++ cmake ninja-build ccache pkg-config
    # libraries of headers
    android-platform-system-core-headers libcli11-dev nlohmann-json3-dev
    # tests
    ffmpeg xvfb xauth xdotool openbox hidl-gen bsdutils python3
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
        mmdebstrap qemu-user-static binfmt-support      # scripts/in-root.sh
    )
elif [[ "${1:-}" == --farm ]]; then
    packages+=(parallel openssh-server slurm-wlm)
elif (($# > 0)); then
    printf 'usage: install-deps.sh [--all | --farm]\n' >&2
    exit 2
fi

arch=${DEB_HOST_ARCH:-}
if [[ -n "$arch" ]]; then
    # The base libraries link to p7zip's library, but are content with the package of any architecture.
    libraries+=(p7zip-full)
    packages+=("g++-${DEB_HOST_GNU_TYPE:?is to be set with DEB_HOST_ARCH}" "${libraries[@]/%/:$arch}")
else
    packages+=("${libraries[@]}")
fi

is_installed() {
    [[ "$(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null)" == installed* ]]
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
[[ -z "$arch" ]] || "${as_root[@]}" dpkg --add-architecture "$arch"
"${as_root[@]}" apt-get update -q
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -q -y --no-install-recommends "${missing[@]}"
