#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# install_packages.sh [GROUP...]: installs the missing Debian packages of some groups of packages.txt,
# by default those of all groups.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")"

[ $# -gt 0 ] || set -- build workbench mpi python packages check
wanted=()
for group in "$@"; do
  mapfile -t found < <(awk -v group="$group" '$1 == group { for (i = 2; i <= NF; ++i) print $i }' packages.txt)
  [ ${#found[@]} -gt 0 ] || { echo "scripts/packages.txt has no group $group." >&2; exit 1; }
  wanted+=("${found[@]}")
done

# A package that another one provides is not needed: some versions of nodejs include npm.
provided=", $(dpkg-query -W -f '${Provides}, ' | sed 's/ ([^)]*)//g')"
missing=()
for package in "${wanted[@]}"; do
  [[ "$provided" == *", $package, "* ]] && continue
  status=$(dpkg-query -W -f '${Status}' "$package" 2>/dev/null || true)
  [ "$status" = "install ok installed" ] || missing+=("$package")
done
if [ ${#missing[@]} -eq 0 ]; then
  echo "All ${#wanted[@]} Debian packages that are needed are installed."
  exit 0
fi

as_root=()
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || {
    echo "These Debian packages are missing: ${missing[*]}. Install them as root, or install sudo." >&2
    exit 1
  }
  as_root=(sudo)
fi
echo "Installing Debian packages: ${missing[*]}"
"${as_root[@]}" apt-get update -qq
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
  apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
