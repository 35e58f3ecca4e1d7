#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# lint.sh BUILD [FILE...]: clang-tidy over the sources, tests, benchmarks and targets of fuzzing that
# BUILD, a folder with a compile_commands.json, compiles; or over some files. Status 1 when it has
# anything to say.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."

build=$1
shift

# tidy OPTION...: clang-tidy over the files of standard input, two at a time, each with one file, so
# that both end together.
tidy() {
  xargs -r -d '\n' -P2 -n1 clang-tidy-14 --quiet --warnings-as-errors='*' "$@" 2>/dev/null || exit 1
}

if [ $# -gt 0 ]; then
  printf '%s\n' "$@" | tidy -p "$build"
  echo "clang-tidy 14 has nothing to say about $# files."
  exit
fi

# Most checks go through all that the headers declare, which takes longer than a file itself. So they
# see the files of a room joined, as CMake joins them for the preset lint.
cmake --preset lint >/dev/null
joined=$(sed -n 's/^  "file": "\(.*\)".*/\1/p' build/lint/compile_commands.json)
checks='-bugprone-suspicious-include,-clang-analyzer-*'
grep "^$PWD/\(build/lint/\)\?src/" <<<"$joined" | tidy -p build/lint --checks="$checks"
for wing in tests bench fuzz; do
  grep "^$PWD/\(build/lint/\)\?$wing/" <<<"$joined" |
    tidy -p build/lint --checks="$checks" --config-file=$wing/.clang-tidy
done

# What looks at one file alone: the analyzer, the warnings of the compiler and two checks. The analyzer
# goes through the paths of a function in an order that reaches new lines first; the limit ends what
# it does with the paths through each std::string. In tests it does not follow calls into templates:
# GoogleTest's leave it no time for ours.
checks='-*,bugprone-suspicious-include,misc-unused-using-decls,clang-analyzer-*,clang-diagnostic-*'
find src bench fuzz -name '*.cpp' ! -name entry.cpp | sort | tidy -p "$build" --checks="$checks" \
  --extra-arg={-Xclang,-analyzer-config,-Xclang,max-nodes=75000}
find tests -name '*.cpp' | sort | tidy -p "$build" --checks="$checks" \
  --extra-arg={-Xclang,-analyzer-config,-Xclang,c++-template-inlining=false}
echo "clang-tidy 14 has nothing to say about $(find src tests bench fuzz -name '*.cpp' | wc -l) files."
