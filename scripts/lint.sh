#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# lint.sh BUILD [FILE...]: clang-tidy over the sources, tests and benchmarks that BUILD, a folder with
# a compile_commands.json, compiles; or over some files. Status 1 when it has anything to say.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."

build=$1
shift
if [ $# -gt 0 ]; then
  files=("$@")
else
  mapfile -t files < <(find src tests bench -name '*.cpp' | sort)
fi
# Two at a time, each with one file, so that both end together.
printf '%s\0' "${files[@]}" | xargs -0 -P2 -n1 \
  clang-tidy-14 -p "$build" --quiet --warnings-as-errors='*' 2>/dev/null || exit 1
echo "clang-tidy 14 has nothing to say about ${#files[@]} files."
