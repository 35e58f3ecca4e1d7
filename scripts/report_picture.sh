#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Makes docs/images/report.png, the picture of the README: the upper part of the report that ./demo
# leaves in build/demo. Needs chromium.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."

page=$PWD/build/demo/quorivex.html
[ -f "$page" ] || { echo "$page is missing: run ./demo first." >&2; exit 1; }
profile=$(mktemp -d)
trap 'rm -rf "$profile"' EXIT
mkdir -p docs/images
# The page unpacks and draws itself within the time that is granted.
chromium --headless --no-sandbox --disable-gpu --hide-scrollbars --user-data-dir="$profile" \
  --window-size=1240,1440 --virtual-time-budget=60000 \
  --screenshot="$PWD/docs/images/report.png" "file://$page" 2>/dev/null
echo "docs/images/report.png: $(stat -c %s docs/images/report.png) bytes"
