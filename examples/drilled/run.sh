#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Makes the data of the body, inverts them without and with what the holes say, and compares the
# depths of its top. Run it from a copy of this folder, with quorivex and qvx in the PATH: the
# results go beside the inputs.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")"

qvx model --mesh mesh.txt --elevation 300 --recipe truth.txt --reference true_model.txt
qvx forward --mesh mesh.txt --elevation 300 --data stations.txt --model true_model.txt \
  --noise-floor 2 --noise-percent 2 --output observations.mag
qvx sensitivity --mesh mesh.txt --elevation 300 --data observations.mag --output drilled.mtx

qvx model --matrix drilled.mtx --recipe holes.txt --initial initial.txt \
  --reference reference.txt --lower lower.txt --upper upper.txt --vtr holes.vtr

for run in free drilled; do
  quorivex $run.inp
  qvx report $run.inp --output $run.html
  last=$(find . -name 'quorivex_*.sus' | sort | tail -n 1)
  mv "$last" $run.sus
  mv quorivex.log $run.log
  mv quorivex.out $run.out
  rm -f quorivex_*
done
for run in free drilled; do awk -v name=$run -f top_depth.awk mesh.txt $run.sus; done
