#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# command_pages.sh [--check] [BIN]: writes docs/commands/ from the help texts of the programs in BIN
# (build/release/bin unless given). With --check nothing is written: status 1 when a page is out of
# date.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."

check=false
if [ "${1:-}" = --check ]; then
  check=true
  shift
fi
bin=$(readlink -f "${1:-build/release/bin}")
pages=docs/commands
for program in qvx quorivex; do
  [ -x "$bin/$program" ] || { echo "$bin/$program is missing: build it first." >&2; exit 2; }
done
new=$(mktemp -d)
trap 'rm -rf "$new"' EXIT

# The subcommands and their descriptions, one per line, as the program lists them.
subcommands() { "$bin/qvx" --help | sed -n '/^Subcommands:/,/^$/s/^  \([a-z]\{1,\}\)  */\1 /p'; }

# page FILE TITLE COMMAND...: a page with the output of the command.
page() {
  local file=$new/$1 title=$2
  shift 2
  {
    printf '# %s\n\n' "$title"
    printf '<!-- Written by scripts/command_pages.sh; change the help text of the program. -->\n\n'
    printf '```text\n'
    "$@" | sed -e 's/[[:space:]]*$//' -e '/./,$!d' | cat -s | sed -e '${/^$/d}'
    printf '```\n'
  } >"$file"
}

sample_input() { (cd "$new" && "$bin/quorivex" -inp | sed -n '/sample input file/,$p'); }
usage() { (cd "$new" && "$bin/quorivex" | sed -n '/Usage/,$p'); }
quorivex_help() {
  usage
  echo
  sample_input
}

page quorivex.md quorivex quorivex_help
page qvx.md qvx "$bin/qvx" --help
{
  printf '# Commands\n\n'
  printf '<!-- Written by scripts/command_pages.sh; change the help text of the program. -->\n\n'
  printf 'The help text of every command of the two programs.\n\n'
  printf '| command | what it does |\n|---|---|\n'
  printf '| [quorivex](quorivex.md) | Run an inversion; [its input file](../input-file.md) |\n'
  printf '| [qvx](qvx.md) | The workbench: its subcommands follow |\n'
} >"$new/README.md"
while read -r name description; do
  page "qvx-$name.md" "qvx $name" "$bin/qvx" "$name" --help
  printf '| [qvx %s](qvx-%s.md) | %s |\n' "$name" "$name" "$description" >>"$new/README.md"
done < <(subcommands)
rm -f "$new"/quorivex.log "$new"/quorivex.out

if $check; then
  if ! diff -r "$pages" "$new" >/dev/null; then
    diff -rq "$pages" "$new" | sed "s#$new#new#" >&2 || true
    echo "docs/commands/ is out of date: run scripts/command_pages.sh." >&2
    exit 1
  fi
  echo "docs/commands/ agrees with the help texts."
else
  mkdir -p "$pages"
  rm -f "$pages"/*.md
  cp "$new"/*.md "$pages"
  echo "$pages: $(find "$pages" -name '*.md' | wc -l) pages"
fi
