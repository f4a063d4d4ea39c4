#!/usr/bin/env bash
# Copyright 2026 The Oxa Authors
# SPDX-License-Identifier: Apache-2.0
#
# check_slurm.sh BIN: one film in parts by a job array of Slurm, with a controller and a daemon of our own;
# a part that runs is killed, and requeued. 77: something is missing.

source "$(dirname "${BASH_SOURCE[0]}")/farm_lib.sh" "$1"
needs slurmctld slurmd sbatch scontrol squeue ffmpeg ffprobe
((EUID == 0)) || skip "slurmd needs root"

host="$(hostname -s)"
cat >"$work/slurm.conf" <<CONF
ClusterName=farm
SlurmctldHost=$host(127.0.0.1)
SlurmctldPort=22872
SlurmdPort=22873
SlurmUser=root
AuthType=auth/none
CredType=cred/none
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
JobAcctGatherType=jobacct_gather/none
SelectType=select/cons_tres
SelectTypeParameters=CR_CPU
MpiDefault=none
SwitchType=switch/none
ReturnToService=2
StateSaveLocation=$work/state
SlurmdSpoolDir=$work/spool
SlurmctldPidFile=$work/slurmctld.pid
SlurmdPidFile=$work/slurmd.pid
SlurmctldLogFile=$work/slurmctld.log
SlurmdLogFile=$work/slurmd.log
NodeName=$host NodeAddr=127.0.0.1 CPUs=$(nproc) State=UNKNOWN
PartitionName=all Nodes=ALL Default=YES State=UP
CONF
mkdir "$work/state" "$work/spool"
export SLURM_CONF="$work/slurm.conf"
slurmctld -D &>"$work/slurmctld.out.log" &
finish+=("kill_tree $!")
slurmd -D &>"$work/slurmd.out.log" &
finish+=("kill_tree $!")

is_idle() {
    [[ "$(sinfo -h -o %T 2>/dev/null)" == idle ]]
}
wait_for 60 is_idle
make_film

cat >"$work/part.sh" <<PART
#!/bin/bash
#SBATCH --requeue
export PATH=$PATH
echo "task \$SLURM_ARRAY_TASK_ID, attempt \${SLURM_RESTART_COUNT:-0}"
sed -n "\${SLURM_ARRAY_TASK_ID}p" $work/plan | sh
PART
id="$(sbatch --parsable --array=1-5 -o "$work/task-%a.log" --open-mode=append "$work/part.sh")"
last="$(sbatch --parsable --dependency="afterok:$id" -o "$work/join.log" \
    --wrap "$(tail -n 1 "$work/plan")")"

second_runs() {
    [[ "$(squeue -h -r -j "${id}_2" -o %T)" == RUNNING ]] && compgen -G "$work/out.1.work*" >/dev/null
}
wait_for 120 second_runs
scontrol requeue "${id}_2"

all_done() {
    [[ -z "$(squeue -h -j "$id,$last" 2>/dev/null)" ]]
}
wait_for 400 all_done
grep -h attempt "$work"/task-*.log
grep -q 'task 2, attempt 1' "$work/task-2.log" || fail "the killed part was not requeued"
check_film
