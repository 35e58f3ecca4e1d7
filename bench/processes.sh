#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Two processes of one thread against one process of two, building and inverting the compressed
# survey of whole_runs.sh in turn; and the largest resident set of each of four processes against
# that of the serial program, on its deep survey of a million cells.
#
#   bench/processes.sh PROGRAMS FOLDER [time|memory]
#
# PROGRAMS is the folder of qvx, quorivex, qvx-mpi and quorivex-mpi, FOLDER that of whole_runs.sh.
set -euo pipefail
programs=$(readlink -f "$1")
cd "$2"
what=${3:-time memory}

# What Open MPI needs for root, and for more processes than cores.
export OMPI_ALLOW_RUN_AS_ROOT=1 OMPI_ALLOW_RUN_AS_ROOT_CONFIRM=1
export OMPI_MCA_rmaps_base_oversubscribe=1 OMPI_MCA_hwloc_base_binding_policy=none

seconds() { ({ TIMEFORMAT=%R; time "$@" >console.txt 2>&1; } 2>&1); }
build() { echo "--mesh compressed.mesh --data compressed.mag --output processes.mtx --threads $1"; }

times() {
  for _ in 1 2 3; do
    # shellcheck disable=SC2046  # words of a command line
    printf 'build   1 x 2 threads %6.1f s   2 x 1 thread %6.1f s\n' \
      "$(seconds "$programs/qvx" sensitivity $(build 2))" \
      "$(seconds mpiexec -n 2 "$programs/qvx-mpi" sensitivity $(build 1))"
    printf 'invert  1 x 2 threads %6.1f s   2 x 1 thread %6.1f s\n' \
      "$(seconds "$programs/quorivex" compressed.inp 2)" \
      "$(seconds mpiexec -n 2 "$programs/quorivex-mpi" compressed.inp 1)"
  done
  rm processes.mtx processes.mtx.info
}

memory() {
  /usr/bin/time -f 'serial   %M kB' "$programs/quorivex" deep.inp 1 2>&1 >console.txt | tail -1
  mpiexec -n 4 /usr/bin/time -f 'process  %M kB' "$programs/quorivex-mpi" deep.inp 1 \
    2>&1 >console.txt | grep process
}

for name in $what; do
  case $name in
    time) times ;;
    memory) memory ;;
  esac
done
