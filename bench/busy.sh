#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# What the waiting of threads costs: a run on the machine as it is, and beside eight loops that keep
# its cores busy, with the program's own policy, with that of GCC's OpenMP, and with threads that
# sleep at once. In turn; the median of the runs in milliseconds.
#   bench/busy.sh PROGRAM FOLDER INPUT [REPEATS]
set -euo pipefail
program=$(readlink -f "$1")
cd "$2"
input=$3
repeats=${4:-9}
policies=(QUORIVEX_DEFAULT=1 GOMP_SPINCOUNT=300000 OMP_WAIT_POLICY=passive)
loops=()
trap 'kill "${loops[@]}" 2>/dev/null || true' EXIT

# once POLICY: milliseconds of one run.
once() {
  local began=$EPOCHREALTIME
  env "$1" "$program" "$input" >/dev/null
  local ended=$EPOCHREALTIME
  echo $(((${ended/./} - ${began/./}) / 1000))
}

measure() {
  declare -A times=()
  for ((i = 0; i < repeats; ++i)); do
    for policy in "${policies[@]}"; do times[$policy]+=$(once "$policy")$'\n'; done
  done
  for policy in "${policies[@]}"; do
    printf '%-6s %-24s %8d ms\n' "$1" "${policy/QUORIVEX_DEFAULT=1/as it comes}" \
      "$(sort -n <<<"${times[$policy]%$'\n'}" | sed -n "$(((repeats + 1) / 2))p")"
  done
}

measure quiet
for _ in 1 2 3 4 5 6 7 8; do
  (while :; do :; done) &
  loops+=($!)
done
measure busy
