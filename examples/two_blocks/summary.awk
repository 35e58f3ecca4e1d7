# SPDX-License-Identifier: GPL-3.0-or-later
# awk -f summary.awk mesh.txt quorivex.out MODEL: summarises a run of the example.

# The values of a free-format line, repeat counts written out, after those already read.
function take(line,   words, n, i, parts, r) {
  sub(/!.*/, "", line)
  n = split(line, words, /[ \t,]+/)
  for (i = 1; i <= n; ++i) {
    if (words[i] == "") continue
    if (split(words[i], parts, "*") == 2) {
      for (r = 0; r < parts[1]; ++r) mesh[++count] = parts[2]
    } else {
      mesh[++count] = words[i]
    }
  }
}

# The centre of cell `cell` of an axis whose widths begin after mesh[first].
function middle(cell, first,   i, sum) {
  for (i = 1; i < cell; ++i) sum += mesh[first + i]
  return sum + mesh[first + cell] / 2
}

function report(k,   ne, nn, nz, i, j, layer) {
  ne = mesh[1]; nn = mesh[2]; nz = mesh[3]
  layer = (k - 1) % nz + 1
  i = int((k - 1) / nz) % ne + 1
  j = int((k - 1) / (nz * ne)) + 1
  printf "%.0f E %.0f N, elevation %.0f m", mesh[4] + middle(i, 6), mesh[5] + middle(j, 6 + ne),
    mesh[6] - middle(layer, 6 + ne + nn)
}

FNR == 1 { ++file }
file == 1 { take($0) }
file == 2 && /target data misfit/ { target = $2 }
file == 2 && !/^!/ && NF > 9 { iterations = $1; misfit = $3 }
file == 3 { if ($1 > largest) { largest = $1; at = FNR } }

END {
  printf "Misfit:   %.0f after %d iterations; target %.0f\n", misfit, iterations, target
  printf "Largest:  %.3f SI at ", largest
  report(at)
  print ""
  print "True:     0.08 SI from 500600 to 500800 E, 6800550 to 6800700 N, elevation 100 to 225 m"
  print "          0.06 SI from 500200 to 500400 E, 6800300 to 6800500 N, elevation 50 to 200 m"
}
