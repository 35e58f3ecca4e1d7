#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Checks that every source file includes only the layers that its own layer may use.
set -euo pipefail
cd "$(dirname "$0")/../src"

# What the files of a folder may include, besides the folder itself.
declare -A may_use=(
  [base]=""
  [mesh_io]="base"
  [sensitivity]="mesh_io base"
  [topography]="mesh_io base"
  [objective]="mesh_io base"
  [solver]="sensitivity objective mesh_io base"
  [forward]="sensitivity mesh_io base"
  [survey]="topography mesh_io base"
  [companion]="forward sensitivity mesh_io base"
  [results]="companion sensitivity objective mesh_io base"
  [export]="results sensitivity mesh_io base"
  [report_page]="results mesh_io base"
  [check]="companion forward solver sensitivity objective mesh_io base"
  [workbench]="check companion export report_page results forward survey topography solver sensitivity objective mesh_io base"
  [control]="solver sensitivity objective mesh_io base"
)

wrong=0
for folder in */; do
  folder=${folder%/}
  if [ -z "${may_use[$folder]+known}" ]; then
    echo "src/$folder: a folder without a rule in scripts/check_layers.sh"
    wrong=1
    continue
  fi
  while IFS=: read -r file line text; do
    included=$(sed -E 's/^#include "([^"]*)".*/\1/' <<<"$text")
    layer=${included%%/*}
    allowed=" $folder ${may_use[$folder]} "
    # The models' set-up has the bounds read, and is a library of its own for that reason.
    case "$file" in mesh_io/setup_models.*) allowed+="objective " ;; esac
    # The input file's reader and the set-up of a run are libraries of their own.
    case "$folder:$included" in
      results:control/input_file.h | results:control/program_name.h | \
        report_page:control/program_name.h | workbench:control/program_name.h) allowed+="control " ;;
      workbench:control/input_file.h) allowed+="control " ;;
      check:control/run_setup.h) allowed+="control " ;;
    esac
    if [[ "$included" == mesh_io/setup_models.h && "$file" != control/* &&
      "$file" != mesh_io/setup_models.cpp ]] || [[ "$allowed" != *" $layer "* ]]; then
      echo "src/$file:$line: $folder must not include $included"
      wrong=1
    fi
  done < <(grep -rn '^#include "' "$folder")
done
[ $wrong -eq 0 ] && echo "Layers: every include follows the order of the layers."
exit $wrong
