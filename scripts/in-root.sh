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
#   scripts/in-root.sh bookworm arm64 ./demo.sh     # built on this processor, run under qemu-user
#
# RELEASE: bookworm or trixie (Debian), noble (Ubuntu). ARCH: amd64 or arm64; of another than this
# machine's are the libraries and what is built (cmake/Cross.cmake), the rest of the system is this
# machine's. The bare system is made once by mmdebstrap and kept as an archive in OXA_ROOTS (default:
# ~/.cache/oxa-roots); each run unpacks it afresh and takes it away afterwards. With --keep it stays in
# OXA_ROOTS and the next run with --keep goes on in it. --with puts a file that is not among the sources
# into /with. Compiler results are shared through ccache if it is there. Needs root, for chroot and
# mounts; the mounts are seen by the command alone.

set -euo pipefail
# shellcheck source=scripts/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

debian=http://deb.debian.org/debian

# Debian 12 has no package of Ubuntu's keys, Debian 13 has. apt reads them without root's rights.
fetch_ubuntu_keyring() {
    mmdebstrap --quiet --variant=extract --include=ubuntu-keyring --format=tar trixie - "$debian" |
        tar -xO ./usr/share/keyrings/ubuntu-archive-keyring.gpg >"$1"
    chmod a+r "$1"
}

# Of the sources' names those that are not the same there. They get the present time in the copy: what was
# edited while the last run was building would otherwise look older than what that built.
changed_in() {
    local name
    while IFS= read -r -d '' name; do
        cmp -s -- "$root/$name" "$1/$name" || printf '%s\0' "$name"
    done
}

keep='' with=() temporary=()
trap 'rm -rf --one-file-system -- ${temporary[@]+"${temporary[@]}"}' EXIT
while [[ "${1:-}" == --* ]]; do
    case "$1" in
        --keep) keep=1 ;;
        --with) with+=("${2:?--with needs a file}"); shift ;;
        *) die "unknown option '$1'" ;;
    esac
    shift
done
(($# >= 2)) || die "usage: in-root.sh [--keep] [--with FILE]... RELEASE [ARCH] COMMAND..."
release=$1 arch=$(dpkg --print-architecture) target=()
name=$release-$arch
shift
case "$1" in
    "$arch") shift ;;
    amd64 | arm64)
        gnu=aarch64-linux-gnu
        [[ "$1" == arm64 ]] || gnu=x86_64-linux-gnu
        name+=-$1
        target=(DEB_HOST_ARCH="$1" DEB_HOST_GNU_TYPE="$gnu"
            CMAKE_TOOLCHAIN_FILE=/src/cmake/Cross.cmake)
        [[ -e /proc/sys/fs/binfmt_misc/qemu-${gnu%%-*} ]] ||
            die "needs qemu-user-static and binfmt-support to run what is built for $1"
        shift ;;
esac
(($# >= 1)) || die "no command to run in $release"

case "$release" in
    bookworm | trixie)
        mirror=$debian components=main
        keyring=/usr/share/keyrings/debian-archive-keyring.gpg ;;
    noble)
        mirror=http://archive.ubuntu.com/ubuntu components=main,universe
        [[ "$arch" == amd64 ]] || mirror=http://ports.ubuntu.com/ubuntu-ports
        ((${#target[@]} == 0)) || die "noble has its architectures on different mirrors: $arch alone"
        keyring=/usr/share/keyrings/ubuntu-archive-keyring.gpg ;;
    *) die "unknown release '$release': bookworm, trixie or noble" ;;
esac
((EUID == 0)) || die "needs root"
command -v mmdebstrap >/dev/null || die "needs mmdebstrap"

roots=${OXA_ROOTS:-${XDG_CACHE_HOME:-$HOME/.cache}/oxa-roots}
archive=$roots/$release-$arch.tar
mkdir -p "$roots"
if [[ ! -e "$archive" ]]; then
    if [[ "$release" == noble && ! -e "$keyring" ]]; then
        keyring=$(mktemp --suffix=.gpg)
        temporary+=("$keyring")
        fetch_ubuntu_keyring "$keyring"
    fi
    [[ -e "$keyring" ]] || die "needs $keyring, by which $release's packages are known to be genuine"
    say "Making the bare system $release $arch"
    mmdebstrap --quiet --variant=minbase --architectures="$arch" --components="$components" \
        --keyring="$keyring" --include=apt,ca-certificates --format=tar "$release" "$archive.part" "$mirror"
    mv "$archive.part" "$archive"
fi

if [[ -n "$keep" ]]; then
    system=$roots/$name
else
    system=$(mktemp -d "$roots/$name.XXXXXX")
    temporary+=("$system")
fi
if [[ ! -e "$system/.is-whole" ]]; then
    mkdir -p "$system"
    tar -C "$system" --exclude='./dev/*' -xf "$archive"
    touch "$system/.is-whole"
fi
mkdir -p "$system/src" "$system/ccache" "$system/with"
((${#with[@]} == 0)) || cp -- "${with[@]}" "$system/with"
git -C "$root" ls-files -z --cached --others --exclude-standard | changed_in "$system/src" |
    tar -C "$root" --null --ignore-failed-read -T - -c 2>/dev/null | tar -C "$system/src" -xm
cp -L /etc/resolv.conf "$system/etc/resolv.conf"
cache=$(ccache --get-config cache_dir 2>/dev/null || true)
cache_size=$(ccache --get-config max_size 2>/dev/null || true)

say "Running $* in $name"
# shellcheck disable=SC2016  # these are the inner shell's
unshare --mount --fork bash -ec '
    system=$1 cache=$2 cache_size=$3
    shift 3
    mount --make-rprivate /
    mount -t proc proc "$system/proc"
    mount --rbind /dev "$system/dev"
    [[ ! -d "$cache" ]] || mount --bind "$cache" "$system/ccache"
    exec chroot "$system" /usr/bin/env -i HOME=/root USER=root LANG=C.UTF-8 TERM="${TERM:-dumb}" \
        CCACHE_DIR=/ccache CCACHE_BASEDIR=/src CCACHE_NOHASHDIR=1 \
        CCACHE_MAXSIZE="${cache_size:-5G}" PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
        "$@"
' bash "$system" "$cache" "$cache_size" ${target[@]+"${target[@]}"} bash -c 'cd /src && exec "$@"' bash "$@"
