#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# completion_test.sh COMPLETION BIN: what the completion in bash offers, with the programs in BIN.
set -eu
# shellcheck source=/dev/null
. "$1"
bin=$(readlink -f "$2")
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"
mkdir data
touch survey.inp survey.mag survey.mtx 'my survey.mag' mesh.txt notes.md
wrong=0

# offers FUNCTION WORD...: what it offers for the last word, in order, a word per line.
offers() {
  local complete=$1
  shift
  COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)) COMPREPLY=()
  "$complete"
  printf '%s\n' "${COMPREPLY[@]}" | sort
}

# expect WORDS COMMAND...: the words that an empty line in their place separates.
expect() {
  local expected=$1 found
  shift
  found=$(offers "$@" | paste -sd ' ')
  [ "$found" = "$expected" ] && return
  printf '%s\n  should offer: %s\n  offers:       %s\n' "${*:2}" "$expected" "$found"
  wrong=1
}

qvx=$bin/qvx
subcommands=$("$qvx" --help | sed -n '/^Subcommands/,/^$/s/^  \([a-z]*\) .*/\1/p')
[ "$(wc -w <<<"$subcommands")" -gt 8 ]
expect "$(printf '%s\n' --help --version help "$subcommands" | sort | paste -sd ' ')" _qvx "$qvx" ""
expect "sensitivity survey" _qvx "$qvx" s
expect "mesh model" _qvx "$qvx" help m
for command in $subcommands; do
  options=$("$qvx" "$command" --help | grep -oE '^  (-h,)?--[a-z-]+' | sed 's/.*--/--/' | sort)
  [ "$(wc -w <<<"$options")" -gt 0 ]
  expect "$(paste -sd ' ' <<<"$options")" _qvx "$qvx" "$command" --
done
expect "robust squares" _qvx "$qvx" survey --fit ""
expect "daub4 daub6 daub8" _qvx "$qvx" sensitivity --wavelet = d
expect "1 2" _qvx "$qvx" input --mode =
expect "data my survey.mag survey.mag" _qvx "$qvx" mesh --output m.txt --data ""
expect "survey.mtx" _qvx "$qvx" input --matrix = su
expect "data survey.inp" _qvx "$qvx" check ""
expect "data survey.mtx" _qvx "$qvx" info ""
expect "notes.md" _qvx "$qvx" mesh --data n
expect "" _qvx "$qvx" mesh --cell ""
expect "--top --topography" _qvx "$qvx" mesh --data a.mag --top
expect "data survey.inp" _quorivex "$bin/quorivex" ""
expect "" _quorivex "$bin/quorivex" survey.inp ""
if [ -x "$qvx-mpi" ]; then
  shared=$("$qvx-mpi" --help | sed -n '/^Subcommands/,/^$/s/^  \([a-z]*\) .*/\1/p' | sort)
  expect "$(paste -sd ' ' <<<"$shared")" _qvx "$qvx-mpi" help ""
fi
exit $wrong
