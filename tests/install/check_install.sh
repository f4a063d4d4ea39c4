#!/usr/bin/env bash
# Copyright 2026 The Oxa Authors
# SPDX-License-Identifier: Apache-2.0
#
# check_install.sh SOURCE BUILD CMAKE COMPILER: installs a build, moves what was installed, and
# builds and runs clients with nothing else, found by CMake and by pkg-config.

set -euo pipefail
source_dir="$1"
build_dir="$2"
cmake="$3"
compiler="$4"
unset LD_LIBRARY_PATH

work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT

fail() {
    printf 'check_install: %s\n' "$*" >&2
    exit 1
}

"$cmake" --install "$build_dir" --prefix "$work/first" >"$work/install.log"
root="$work/moved"
mv "$work/first" "$root"
libraries="$(dirname "$(find "$root" -name 'libOxaMediaCodecPlayer.so')")"

# Nothing that was installed leads back to where it was built.
for file in "$root"/bin/oxaplayer "$libraries"/lib*.so.*.*.*; do
    if readelf -d "$file" | grep -E 'R(UN)?PATH' | grep -qF -e "$build_dir" -e "$source_dir"; then
        fail "$file looks for libraries where it was built"
    fi
    ldd "$file" | grep -F libOxa | grep -vF "$root" && fail "$file does not use what is beside it"
done
if grep -rIlF -e "$build_dir" -e "$source_dir" "$root"; then
    fail "these files name the place where they were built"
fi

clip="$source_dir/tests/media/bear_161x121_vp9.webm"
probe() {
    "$root/bin/oxaplayer" probe --json "$1"
}
probe "$clip" | grep -q '"video/x-vnd.on2.vp9"' || fail "the installed oxaplayer does not work"

# A client that finds the package with CMake.
"$cmake" -G Ninja -S "$source_dir/examples" -B "$work/client" -DCMAKE_CXX_COMPILER="$compiler" \
    -DCMAKE_PREFIX_PATH="$root" >"$work/configure.log" || { cat "$work/configure.log" && exit 1; }
"$cmake" --build "$work/client" --target oxa_example_transcode oxa_example_convert
"$work/client/oxa_example_transcode" "$clip" "$work/out.mp4"
probe "$work/out.mp4" | grep -q '"video/avc".*"width":640,"height":360' ||
    fail "what the client wrote is not what it asked for"

"$work/client/oxa_example_convert" "$clip" "$work/jobs.mp4" || fail "a job does not work"
probe "$work/jobs.mp4" | grep -q '"video/avc".*"width":160,"height":120' ||
    fail "what the job wrote is not as the source"

# One that finds it with pkg-config; and every header can be included from outside.
PKG_CONFIG_PATH="$libraries/pkgconfig"
export PKG_CONFIG_PATH
read -ra compile_flags <<<"$(pkg-config --cflags oxa-mediacodecplayer)"
read -ra link_flags <<<"$(pkg-config --libs oxa-mediacodecplayer)"
"$compiler" -std=gnu++17 -Wall -Wextra -Werror "${compile_flags[@]}" \
    "$source_dir/examples/listen.cpp" "${link_flags[@]}" -Wl,-rpath,"$libraries" -o "$work/listen"
"$work/listen" "$clip" | grep -q '^the end after [1-9]' ||
    fail "the client that pkg-config built does not work"
read -ra compile_flags_jobs <<<"$(pkg-config --cflags oxa-jobs)"
read -ra link_flags_jobs <<<"$(pkg-config --libs oxa-jobs)"
"$compiler" -std=gnu++17 -Wall -Wextra -Werror "${compile_flags_jobs[@]}" \
    "$source_dir/examples/convert.cpp" "${link_flags_jobs[@]}" -Wl,-rpath,"$libraries" \
    -o "$work/convert"
refuses() {
    local code=0
    "$work/convert" "$1" "$2" 2>"$work/error" || code=$?
    [ "$code" = 1 ] && grep -qF "'$3'" "$work/error" || fail "no error value for $1 as $2"
}
touch "$work/empty"
for input in /nope /etc/passwd "$work" "$work/empty"; do
    refuses "$input" "$work/none.mp4" "$input"
done
[ ! -e "$work/none.mp4" ] || fail "a job that was refused left its output"
"$work/convert" "$source_dir/tests/media/roar.mp3" "$work/sound.mp4" ||
    fail "sound alone does not work"
probe "$work/sound.mp4" | grep -q '"kind":"audio"' || fail "what the job wrote has no sound"
cp "$work/sound.mp4" "$work/before.mp4"
refuses "$clip" "$work/sound.mp4" "$work/sound.mp4"
cmp -s "$work/before.mp4" "$work/sound.mp4" || fail "a job touched a file that was there"
(cd "$root/include/oxa-mediacodecplayer" && find . -name '*.h' -printf '#include <%P>\n') \
    >"$work/all.cpp"
"$compiler" -std=gnu++17 -fsyntax-only "${compile_flags[@]}" "$work/all.cpp"
