#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# install_packages.sh PACKAGE...: installs those of the Debian packages that are missing.
set -euo pipefail

# What other packages provide needs no package of its own: some nodejs bring their npm.
provided=", $(dpkg-query -W -f '${Provides}, ' | sed 's/ ([^)]*)//g')"
missing=()
for package in "$@"; do
  [[ "$provided" == *", $package, "* ]] && continue
  status=$(dpkg-query -W -f '${Status}' "$package" 2>/dev/null || true)
  [ "$status" = "install ok installed" ] || missing+=("$package")
done
if [ ${#missing[@]} -eq 0 ]; then
  echo "All Debian packages that are needed are installed."
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
