#!/usr/bin/env bash
# Copyright 2026 The Oxa Authors
# SPDX-License-Identifier: Apache-2.0
#
# check_ssh.sh BIN: one film in parts by GNU parallel on three addresses of this machine, each with an
# sshd of its own, of which one is killed with all that it runs. 77: something is missing.

source "$(dirname "${BASH_SOURCE[0]}")/farm_lib.sh" "$1"
needs parallel sshd ssh ssh-keygen ffmpeg ffprobe
((EUID == 0)) || skip "an sshd needs root"
# Another user's password database is no matter of ours.
mkdir -p /run/sshd

declare -A daemons
port=22871
ssh-keygen -q -t ed25519 -N '' -f "$work/key"
ssh-keygen -q -t ed25519 -N '' -f "$work/host"

start_machine() {
    cat >"$work/$1.conf" <<CONF
ListenAddress $1:$port
HostKey $work/host
AuthorizedKeysFile $work/key.pub
PidFile none
StrictModes no
UsePAM no
PermitRootLogin yes
MaxStartups 100
SetEnv PATH=$bin:/usr/local/bin:/usr/bin:/bin
CONF
    "$(command -v sshd)" -D -e -f "$work/$1.conf" 2>"$work/$1.log" &
    daemons[$1]=$!
    finish+=("kill_tree $!")
}

answers() {
    "${ssh[@]}" "$1" true 2>/dev/null
}

ssh=(ssh -p "$port" -i "$work/key" -F none -o BatchMode=yes -o StrictHostKeyChecking=no
    -o UserKnownHostsFile=/dev/null -o LogLevel=ERROR)
logins=
for address in 127.0.0.2 127.0.0.3 127.0.0.4; do
    start_machine "$address"
    wait_for 20 answers "$address"
    logins+=",1/${ssh[*]} $address"
done
make_film

sed '$d' "$work/plan" | PARALLEL_HOME="$work" parallel --sshlogin "${logins#,}" --retries 5 \
    --joblog "$work/jobs.log" --will-cite >"$work/parallel.log" 2>&1 &
jobs=$!
finish+=("kill_tree $jobs")

has_work() {
    compgen -G "$work/out.*.work*" >/dev/null && [[ -n "$(ps -o pid= --ppid "${daemons[127.0.0.3]}")" ]]
}
wait_for 60 has_work
kill_tree "${daemons[127.0.0.3]}"
wait "$jobs" || fail "parallel: $(cat "$work/parallel.log")"
eval "$(tail -n 1 "$work/plan")" >"$work/join.log" 2>&1
check_film
cut -f 2,4,7,9 "$work/jobs.log" | sed "s|$work/||g" | cut -c 1-150
