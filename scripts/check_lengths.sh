#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Checks that no test has more than 60 lines, which clang-tidy cannot see through the macro TEST. The
# code is formatted: a test begins and ends in the first column.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."

# shellcheck disable=SC2016  # $0 is awk's
find tests -name '*.cpp' -print0 | sort -z | xargs -0 awk '
  /^TEST/ { began = FNR; name = $0 }
  /^}/ && began {
    lines = FNR - began - 1
    if (lines > 60) { printf "%s:%d: %d lines: %s\n", FILENAME, began, lines, name; wrong = 1 }
    began = 0
  }
  END { exit wrong }'
echo "No test has more than 60 lines."
