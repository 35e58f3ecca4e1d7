#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Whole inversions of two synthetic surveys, time by phase: 64 x 64 data on 128 x 128 x 32 cells,
# compressed; 2,000 data on 250,000 cells in full form (a file of 2 GB); on request 4 data on 1.44
# million cells, for the memory of everything but the matrix, and the first survey twice as deep.
#
#   bench/whole_runs.sh PROGRAMS FOLDER [PROGRAMS_BEFORE] [compressed|full|cells|deep]
#
# PROGRAMS is the folder of qvx and quorivex, FOLDER a place for the surveys, which are made once
# and kept. With the quorivex of another folder both run in turn, three times, on the same files.
set -euo pipefail
programs=$(readlink -f "$1")
mkdir -p "$2"
before=${3:+$(readlink -f "$3")}
surveys=${4:-compressed full}
cd "$2"

# survey NAME ALONG LAYERS WIDTH THICKNESS STATIONS_ALONG DATA STATION_SPACING MORE_OPTIONS...
survey() {
  local name=$1 n=$2 layers=$3 width=$4 thickness=$5 along=$6 data=$7 spacing=$8
  shift 8
  [ -e "$name.mtx" ] && return
  printf '%d %d %d\n0 0 0\n%d*%g\n%d*%g\n%d*%g\n' \
    "$n" "$n" "$layers" "$n" "$width" "$n" "$width" "$layers" "$thickness" >"$name.mesh"
  # A block of a fifth of the width, a quarter of the depth below its top.
  awk -v n="$n" -v layers="$layers" 'BEGIN {
    for (j = 0; j < n; ++j) for (i = 0; i < n; ++i) for (k = 0; k < layers; ++k)
      print (5*i >= 2*n && 5*i < 3*n && 5*j >= 2*n && 5*j < 3*n &&
             4*k >= layers && 2*k < layers) ? 0.05 : 0 }' >"$name.sus"
  awk -v along="$along" -v data="$data" -v spacing="$spacing" 'BEGIN {
    print "65 12 50000\n65 12 1\n" data
    for (i = 0; i < data; ++i)
      print 7 + spacing * (i % along), 7 + spacing * int(i / along), 40 }' >"$name.loc"
  "$programs/qvx" forward --mesh "$name.mesh" --data "$name.loc" --model "$name.sus" \
    --noise-floor 2 --noise-percent 2 --seed 1 --output "$name.mag"
  "$programs/qvx" sensitivity --mesh "$name.mesh" --data "$name.mag" "$@" --output "$name.mtx"
  printf '%s\n' 1 "1.0 0.02" "$name.mag" "$name.mtx" "VALUE 0.0001" "VALUE 0.0" null \
    "VALUE 0.0" "VALUE 1.0" null SMOOTH_MOD null >"$name.inp"
}

run() {
  local seconds
  seconds=$({ TIMEFORMAT=%R; time QUORIVEX_TIMING=1 "$2/quorivex" "$3.inp" >console.txt 2>phases.txt; } 2>&1)
  printf '%-11s %-7s %7.1f s ' "$3" "$1" "$seconds"
  awk '{ printf "  %s", $0 } END { print "" }' phases.txt | tr -s ' '
}

for name in $surveys; do
  case $name in
    compressed) survey compressed 128 32 20 12 64 4096 40 ;;
    full) survey full 100 25 20 15 50 2000 40 --wavelet none ;;
    deep) survey deep 128 64 20 10 64 4096 40 ;;
    cells) survey cells 120 100 20 10 2 4 1200 --wavelet none ;;
  esac
  for _ in 1 2 3; do
    [ -n "$before" ] && run before "$before" "$name"
    run now "$programs" "$name"
  done
done
