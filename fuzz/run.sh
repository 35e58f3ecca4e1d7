#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# run.sh SECONDS [TARGET]: fuzzes every target, or one, for so many seconds with two processes each,
# beginning with fuzz/corpus/TARGET and what earlier runs left in build/fuzz/corpus/TARGET. An input
# with a fault is kept in build/fuzz/findings/TARGET. Status 1 when there was one.
# run.sh --minimise TARGET: adds to fuzz/corpus/TARGET the inputs of build/fuzz/corpus/TARGET that
# reach new code, as few as possible.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."

build() {
  [ -f build/fuzz/build.ninja ] || cmake --preset fuzz >/dev/null
  cmake --build --preset fuzz -j2 >build/fuzz/build.log || { cat build/fuzz/build.log; exit 2; }
}

# Files of the readers are in memory, and go with this script.
memory=/dev/shm
[ -w $memory ] || memory=/tmp
TMPDIR=$(mktemp -d $memory/quorivex_fuzz_XXXXXX)
export TMPDIR OMP_NUM_THREADS=1
trap 'rm -rf "$TMPDIR"' EXIT

# fuzz TARGET SECONDS: its line of the table.
fuzz() {
  local target=$1 found=build/fuzz/findings/$1 grown=build/fuzz/corpus/$1 logs=build/fuzz/logs/$1
  mkdir -p "$found" "$grown" "$logs"
  rm -f "$logs"/*
  local options=(-max_total_time="$2" -timeout=10 -rss_limit_mb=2000 -close_fd_mask=1
                 -print_final_stats=1 -artifact_prefix="$PWD/$found/")
  [ -f "fuzz/dictionaries/$target" ] && options+=(-dict="fuzz/dictionaries/$target")
  # What GDAL and netCDF leave or ask for ends with the process that they run in, and is not the
  # engine's.
  [[ "$target" = grid || "$target" = netcdf || "$target" = voxels ]] &&
    options+=(-detect_leaks=0 -malloc_limit_mb=1000000)
  for job in 1 2; do
    "build/fuzz/bin/fuzz_$target" "${options[@]}" "$grown" "fuzz/corpus/$target" \
      >"$logs/$job" 2>&1 &
  done
  local failed=0
  for _ in 1 2; do wait -n || failed=$((failed + 1)); done
  awk -v target="$target" -v failed=$failed '
    /^stat::number_of_executed_units:/ { executions += $2 }
    /^stat::average_exec_per_sec:/ { rate += $2 }
    END { printf "%-14s %12d %10d %9d\n", target, executions, rate, failed }' "$logs"/*
  if [ $failed -gt 0 ]; then
    echo "  in build/fuzz/findings/$target, reports in build/fuzz/logs/$target"
    faults=1
  fi
}

if [ "${1-}" = --minimise ]; then
  build
  "build/fuzz/bin/fuzz_$2" -set_cover_merge=1 -use_counters=0 -close_fd_mask=1 \
    "fuzz/corpus/$2" "build/fuzz/corpus/$2"
  exit
fi
build
printf '%-14s %12s %10s %9s\n' target executions per-second findings
faults=0
if [ $# -gt 1 ]; then
  fuzz "$2" "$1"
else
  for corpus in fuzz/corpus/*; do fuzz "${corpus##*/}" "$1"; done
fi
exit $faults
