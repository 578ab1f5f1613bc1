#!/usr/bin/env bash
# coverage-wine.sh DATA PROGRAM ARGUMENTS...: runs a program whose counts go to a folder below DATA that no other test
# writes to at the time: here the run-time cannot lock the files in which it adds them up.
data=$1
shift
mkdir -p "$data"
for lane in 1 2 3 4 5 6 7 8; do
    exec 9>"$data/lane$lane.lock"
    flock -n 9 && break
done
# The path of the build folder follows the prefix.
GCOV_PREFIX=Z:${data//\//\\}\\lane$lane wine "$@" 9>&-
