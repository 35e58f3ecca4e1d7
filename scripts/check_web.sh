#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Checks the scripts and the style of the pages of qvx, and the tests that drive the pages:
# format, undefined, unused and misspelled names, arguments and fields against the types in comments.
set -euo pipefail
cd "$(dirname "$0")/.."

web=src/workbench/page/web
clang-format-14 --dry-run -Werror "$web"/*.js "$web"/*.ts tests/page/*.mjs tests/page/*.ts
tsc --project "$web"
tsc --project tests/page
printed=$(mktemp)
trap 'rm -f "$printed"' EXIT
warnings=$(esbuild "$web/page.css" --charset=utf8 --log-level=warning --outfile="$printed" \
  --allow-overwrite 2>&1)
if [ -n "$warnings" ]; then
  echo "$warnings" >&2
  exit 1
fi
diff "$web/page.css" "$printed"  # the style stands as esbuild prints it
echo "The pages' scripts and style have no faults."
