#!/bin/sh
# SPDX-License-Identifier: GPL-3.0-or-later
# make_pages.sh QVX VERSION FOLDER: writes the man pages of qvx and of each of its subcommands into
# FOLDER, from the help texts of the program QVX. They depend on nothing else, also not on the day.
set -eu
qvx=$1
version=$2
folder=$3
here=$(dirname "$0")
LC_ALL=C
export LC_ALL

# page NAME LINE ARGUMENT...: a page from the help that these arguments ask for.
page() {
  name=$1
  line=$2
  shift 2
  see=quorivex
  for other in $all; do
    [ "$other" = "$name" ] || see="$see $other"
  done
  "$qvx" "$@" --help >"$folder/help.txt"
  awk -v name="$name" -v line="$line" -v version="$version" -v see="$see" \
    -f "$here/man_page.awk" "$folder/help.txt" >"$folder/$name.1"
}

mkdir -p "$folder"
rm -f "$folder"/qvx*.1
"$qvx" --help | sed -n '/^Subcommands:/,/^$/s/^  \([a-z]\{1,\}\)  *\(.*\)/\1 \2/p' >"$folder/list.txt"
[ -s "$folder/list.txt" ] || { echo "make_pages.sh: $qvx --help lists no subcommands" >&2; exit 1; }
all="qvx $(sed 's/\([a-z]*\).*/qvx-\1/' "$folder/list.txt" | tr '\n' ' ')"
page qvx "workbench around quorivex, the inversion of magnetic surveys"
while read -r command description; do
  first=$(printf %.1s "$description" | tr '[:upper:]' '[:lower:]')
  page "qvx-$command" "$first${description#?}" "$command"
done <"$folder/list.txt"
rm "$folder/help.txt" "$folder/list.txt"
