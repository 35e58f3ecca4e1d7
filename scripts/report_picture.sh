#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Makes the pictures of the README from the report that ./demo leaves in build/demo:
# docs/images/report.png, its upper part, and docs/images/model.png, two sections of it. Needs chromium.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."

page=$PWD/build/demo/quorivex.html
[ -f "$page" ] || { echo "$page is missing: run ./demo first." >&2; exit 1; }
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
mkdir -p docs/images

# picture NAME TOP HEIGHT: what the page shows from TOP on, in a window of that height.
picture() {
  cat >"$scratch/window.html" <<END
<body style="margin:0;overflow:hidden">
<iframe src="$page" style="border:0;width:1240px;height:2000px;margin-top:-$2px"></iframe>
END
  # The page unpacks and draws itself within the time that is granted.
  chromium --headless --no-sandbox --disable-gpu --hide-scrollbars --allow-file-access-from-files \
    --user-data-dir="$scratch/profile" --window-size="1240,$3" --virtual-time-budget=60000 \
    --screenshot="$PWD/docs/images/$1.png" "file://$scratch/window.html" 2>/dev/null
  echo "docs/images/$1.png: $(stat -c %s "docs/images/$1.png") bytes"
}
picture report 0 1440
picture model 978 446
