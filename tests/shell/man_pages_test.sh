#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# man_pages_test.sh BIN PAGES: every option and every example of the help texts of qvx stands in the
# man pages in PAGES, which man formats without a warning in 80 columns.
set -eu
qvx=$(readlink -f "$1")/qvx
cd "$2"
wrong=0
complain() {
  echo "$1"
  wrong=1
}

page=$(mktemp)
trap 'rm -f "$page"' EXIT
for file in qvx/*.1 quorivex*.1; do
  warnings=$(MANROFFSEQ='' MANWIDTH=80 LC_ALL=C.UTF-8 man --warnings -E UTF-8 -l "$file" 2>&1 >"$page")
  [ -z "$warnings" ] || complain "$file: $warnings"
  [ "$(wc -L <"$page")" -le 80 ] || complain "$file: lines of more than 80 columns"
  [[ $file == qvx/* ]] || continue
  command=$(basename "$file" .1)
  command=${command#qvx}
  # shellcheck disable=SC2086  # no argument for the page of qvx
  help=$("$qvx" ${command#-} --help)
  while read -r option; do
    grep -qE "^ +(-h, )?$option( |$)" "$page" || complain "$file does not describe $option"
  done < <(sed -nE 's/^  (-h,)?(--[a-z-]+).*/\2/p' <<<"$help")
  while IFS= read -r line; do
    grep -qF -- "$line" "$page" || complain "$file does not show: $line"
  done < <(sed -n '/^Examples*:/,/^$/s/^  //p' <<<"$help")
done
exit $wrong
