#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Checks that every source file includes only the rooms that its own room may use.
set -euo pipefail
cd "$(dirname "$0")/../src"

# What the files of a room may include, besides the room itself and base.
declare -A may_use=(
  [base]=""
  [inversion/input]=""
  [inversion/mesh_io]="input"
  [inversion/sensitivity]="mesh_io input"
  [inversion/objective]="mesh_io input"
  [inversion/solver]="sensitivity objective mesh_io"
  [inversion/setup]="solver sensitivity objective mesh_io input"
  [inversion/control]="setup solver sensitivity objective mesh_io input"
  [workbench/geometry]=""
  [workbench/geomagnetism]=""
  [workbench/tables]=""
  [workbench/coordinates]=""
  [workbench/gdal]=""
  [workbench/terrain]="coordinates gdal geometry tables mesh_io"
  [workbench/survey]="coordinates gdal geometry geomagnetism tables terrain mesh_io"
  [workbench/model]="coordinates geometry tables terrain mesh_io input"
  [workbench/sidecar]="sensitivity mesh_io"
  [workbench/forward]="sidecar sensitivity mesh_io input"
  [workbench/results]="coordinates sidecar objective sensitivity mesh_io input"
  [workbench/appraisal]="geometry forward results solver mesh_io input"
  [workbench/pictures]=""
  [workbench/export]="gdal pictures results sensitivity mesh_io"
  [workbench/page]="appraisal results mesh_io input"
  [workbench/check]="forward geometry sidecar setup solver sensitivity objective mesh_io input"
  [workbench/compose]="objective mesh_io input"
  [workbench/commands]="coordinates gdal check compose export model pictures page appraisal results forward sidecar survey terrain tables geomagnetism geometry setup solver sensitivity objective mesh_io input"
)

wrong=0
while read -r room; do
  if [ -z "${may_use[$room]+known}" ]; then
    echo "src/$room: a room without a rule in scripts/check_layers.sh"
    wrong=1
    continue
  fi
  while IFS=: read -r file line text; do
    included=$(sed -E 's/^#include "([^"]*)".*/\1/' <<<"$text")
    target=${included%/*}
    [[ "$target" == "$room" || "$target" == base ]] && continue
    allowed=" ${may_use[$room]} "
    if [[ "$allowed" != *" ${target#*/} "* || ("$room" == inversion/* && "$target" == workbench/*) ]]; then
      echo "src/$file:$line: $room must not include $included"
      wrong=1
    fi
  done < <(grep -rn '^#include "' "$room")
done < <(find . -name '*.cpp' -printf '%h\n' | sed 's#^\./##' | sort -u)
[ $wrong -eq 0 ] && echo "Layers: every include follows the order of the rooms."
exit $wrong
