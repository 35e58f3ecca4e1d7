#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Makes the data of two blocks below a hill, inverts them, and writes the report. Run it in a
# copy of this folder, with quorivex and qvx in the PATH: the results go beside the inputs.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")"
started=$SECONDS

say() { printf '\n== %s\n' "$1"; }
ground=(--mesh mesh.txt --topography terrain.txt)

say "Data of two blocks below a hill, with noise"
qvx forward "${ground[@]}" --data stations.txt --model true_model.txt \
  --noise-floor 2 --noise-percent 1 --output observations.mag

say "Sensitivity file, compressed"
qvx sensitivity "${ground[@]}" --data observations.mag --output two_blocks.mtx

say "Inversion: quorivex two_blocks.inp"
quorivex two_blocks.inp

say "Report: qvx report two_blocks.inp"
qvx report two_blocks.inp

model=$(find . -name 'quorivex_*.sus' | sort | tail -n 1)
model=${model#./}
say "Summary"
awk -f summary.awk mesh.txt quorivex.out "$model"
echo "Time:     $((SECONDS - started)) s"
echo "Files:    $model (the model, one susceptibility per cell), ${model%.sus}.pre (its data),"
echo "          quorivex.out (one line per iteration), quorivex.log (everything else)"
echo "Open:     $(basename "$PWD")/quorivex.html, with a browser"
