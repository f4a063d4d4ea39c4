#!/usr/bin/env bash
# Copyright 2026 The Oxa Authors
# SPDX-License-Identifier: Apache-2.0
#
# in-root.sh [--keep] [--with FILE]... RELEASE [ARCH] COMMAND...
#
# Runs a command on a copy of these sources in a clean system of another release, such as
#
#   scripts/in-root.sh trixie ./demo.sh
#   scripts/in-root.sh trixie ./test.sh
#   scripts/in-root.sh bookworm arm64 ./demo.sh     # runs under qemu-user, ten times slower
#
# RELEASE: bookworm or trixie (Debian), noble (Ubuntu). The bare system is made once by mmdebstrap and
# kept as an archive in OXA_ROOTS (default: ~/.cache/oxa-roots); each run unpacks it afresh and takes
# it away afterwards. With --keep it stays in OXA_ROOTS/RELEASE-ARCH and the next run with --keep goes on
# in it. --with puts a file that is not among the sources into /with. Compiler results are shared
# through ccache if it is there. Needs root, for chroot and mounts; the mounts are seen by the command
# alone.

set -euo pipefail
# shellcheck source=scripts/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

keep='' with=()
while [[ "${1:-}" == --* ]]; do
    case "$1" in
        --keep) keep=1 ;;
        --with) with+=("${2:?--with needs a file}"); shift ;;
        *) die "unknown option '$1'" ;;
    esac
    shift
done
(($# >= 2)) || die "usage: in-root.sh [--keep] [--with FILE]... RELEASE [ARCH] COMMAND..."
release=$1 arch=$(dpkg --print-architecture)
shift
case "$1" in
    amd64 | arm64) arch=$1; shift ;;
esac
(($# >= 1)) || die "no command to run in $release"

case "$release" in
    bookworm | trixie)
        mirror=http://deb.debian.org/debian components=main
        keyring=/usr/share/keyrings/debian-archive-keyring.gpg ;;
    noble)
        mirror=http://archive.ubuntu.com/ubuntu components=main,universe
        [[ "$arch" == amd64 ]] || mirror=http://ports.ubuntu.com/ubuntu-ports
        keyring=/usr/share/keyrings/ubuntu-archive-keyring.gpg ;;
    *) die "unknown release '$release': bookworm, trixie or noble" ;;
esac
((EUID == 0)) || die "needs root"
command -v mmdebstrap >/dev/null || die "needs mmdebstrap"
[[ -e "$keyring" ]] || die "needs $keyring, by which $release's packages are known to be genuine"
if [[ "$arch" != "$(dpkg --print-architecture)" && ! -e /proc/sys/fs/binfmt_misc/qemu-aarch64 ]]; then
    die "needs qemu-user-static and binfmt-support to run $arch"
fi

roots=${OXA_ROOTS:-${XDG_CACHE_HOME:-$HOME/.cache}/oxa-roots}
archive=$roots/$release-$arch.tar
mkdir -p "$roots"
if [[ ! -e "$archive" ]]; then
    say "Making the bare system $release $arch"
    mmdebstrap --quiet --variant=minbase --architectures="$arch" --components="$components" \
        --keyring="$keyring" --include=ca-certificates --format=tar "$release" "$archive.part" "$mirror"
    mv "$archive.part" "$archive"
fi

if [[ -n "$keep" ]]; then
    system=$roots/$release-$arch
else
    system=$(mktemp -d "$roots/$release-$arch.XXXXXX")
    trap 'rm -rf --one-file-system "$system"' EXIT
fi
if [[ ! -e "$system/etc" ]]; then
    mkdir -p "$system"
    tar -C "$system" --exclude='./dev/*' -xf "$archive"
fi
mkdir -p "$system/src" "$system/ccache" "$system/with"
((${#with[@]} == 0)) || cp -- "${with[@]}" "$system/with"
git -C "$root" ls-files -z --cached --others --exclude-standard |
    tar -C "$root" --null --ignore-failed-read -T - -c 2>/dev/null | tar -C "$system/src" -x
cp -L /etc/resolv.conf "$system/etc/resolv.conf"
cache=$(ccache --get-config cache_dir 2>/dev/null || true)

say "Running $* in $release $arch"
# shellcheck disable=SC2016  # these are the inner shell's
unshare --mount --fork bash -ec '
    system=$1 cache=$2
    shift 2
    mount --make-rprivate /
    mount -t proc proc "$system/proc"
    mount --rbind /dev "$system/dev"
    [[ ! -d "$cache" ]] || mount --bind "$cache" "$system/ccache"
    exec chroot "$system" /usr/bin/env -i HOME=/root USER=root LANG=C.UTF-8 TERM="${TERM:-dumb}" \
        CCACHE_DIR=/ccache PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
        bash -c "cd /src && exec \"\$@\"" bash "$@"
' bash "$system" "$cache" "$@"
