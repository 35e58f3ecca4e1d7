# SPDX-License-Identifier: GPL-3.0-or-later
# awk -v name=NAME -f top_depth.awk mesh.txt MODEL: how far the top of the body lies from 137.5 m.
# In each of its columns the top is where the susceptibility first reaches half of its maximum,
# between the middles of two layers.

BEGIN { true_top = 137.5; west = 500350; east = 500650; south = 6800350; north = 6800650 }

# The widths of the mesh, repeat counts written out.
FNR == NR {
  for (f = 1; f <= NF; ++f) {
    times = 1
    if (split($f, part, "*") == 2) { times = part[1]; $f = part[2] }
    while (times-- > 0) number[++count] = $f
  }
  next
}

function in_body(i, j,   e, n, c) {
  e = number[4]; n = number[5]
  for (c = 1; c <= i; ++c) e += number[6 + c] / (c == i ? 2 : 1)
  for (c = 1; c <= j; ++c) n += number[6 + ne + c] / (c == j ? 2 : 1)
  return e > west && e < east && n > south && n < north
}

function middle(k,   c, depth) {
  for (c = 1; c <= k; ++c) depth += number[6 + ne + nn + c] / (c == k ? 2 : 1)
  return depth
}

function top(   k, half) {
  for (k = 1; k <= nz; ++k) if (value[k] / 2 > half) half = value[k] / 2
  for (k = 1; value[k] < half; ++k) {}
  if (k == 1) return 0
  return middle(k - 1) + (middle(k) - middle(k - 1)) * (half - value[k - 1]) / (value[k] - value[k - 1])
}

FNR == 1 { ne = number[1]; nn = number[2]; nz = number[3] }
{ value[(FNR - 1) % nz + 1] = $1 }
FNR % nz == 0 {
  column = FNR / nz - 1
  if (!in_body(column % ne + 1, int(column / ne) + 1)) next
  found = top()
  sum += found
  error += found > true_top ? found - true_top : true_top - found
  ++columns
}

END {
  printf "%-8s mean depth of the top %5.1f m, mean error %5.1f m over %d columns (true: %.1f m)\n",
    name, sum / columns, error / columns, columns, true_top
}
