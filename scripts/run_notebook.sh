#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# run_notebook.sh [BIN]: executes the notebook of the Osborne example with the programs in BIN
# (build/release/bin unless given), in a copy of the example. An error in a cell ends it with status
# 1. The Python package is that of this tree; with PYTHONPATH set, to nothing for instance, the one
# that Python finds.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."

root=$PWD
bin=$(readlink -f "${1:-build/release/bin}")
for program in qvx quorivex; do
  [ -x "$bin/$program" ] || { echo "$bin/$program is missing: build it first." >&2; exit 2; }
done
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp -r examples/osborne "$work"

export PATH="$bin:/usr/bin:$PATH" PYTHONPATH="${PYTHONPATH-$root/python}" PYTHONDONTWRITEBYTECODE=1
export PYDEVD_DISABLE_FILE_VALIDATION=1
export IPYTHONDIR="$work/ipython" JUPYTER_CONFIG_DIR="$work/jupyter" MPLCONFIGDIR="$work/matplotlib"
export JUPYTER_RUNTIME_DIR="$work/runtime"
cd "$work/osborne"
/usr/bin/jupyter-nbconvert --to notebook --execute --ExecutePreprocessor.kernel_name=python3 \
  --ExecutePreprocessor.timeout=300 --log-level=ERROR --output executed.ipynb osborne.ipynb
# The ten lines of the manual, on the results that the notebook left.
awk '/^## /{lines = $0 == "## Ten lines"} lines && sub(/^    /, "") || (lines && /^$/)' \
  "$root/docs/python.md" >ten_lines.py
/usr/bin/python3 ten_lines.py
figures=$(grep -c '"image/png"' executed.ipynb)
[ "$figures" -eq 4 ] || { echo "The notebook drew $figures figures, not 4." >&2; exit 1; }
echo "The notebook ran to its end and drew $figures figures."
