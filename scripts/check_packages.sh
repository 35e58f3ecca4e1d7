#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Makes the release tarball from the files as they are, twice the same; its Debian packages; and lets
# lintian and autopkgtest look at them, which installs them for the time of its tests. As root or with
# sudo.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."

version=$(cat VERSION)
tarball=build/quorivex-$version.tar.xz
folder=build/packages
[ "$(id -u)" -eq 0 ] && as_root=() || as_root=(sudo)
packages=(quorivex quorivex-mpi python3-quorivex)
for package in "${packages[@]}"; do
  if dpkg-query -W "$package" >/dev/null 2>&1; then
    echo "$package is installed, and the tests of the new packages would remove it." >&2
    exit 1
  fi
done

scripts/make_release.sh --draft "$version"
mv "$tarball" "$tarball.first"
scripts/make_release.sh --draft "$version" >/dev/null
cmp "$tarball" "$tarball.first"
rm "$tarball.first"

# Quicker than those of a release: the tests have run in other builds, debugging information is not
# looked at, and the files of a room are joined.
rm -rf "$folder"
DEB_BUILD_OPTIONS="nocheck noautodbgsym parallel=2" DEB_BUILD_PROFILES=nocheck \
  DEB_CXXFLAGS_STRIP=-g CMAKE_OPTIONS=-DCMAKE_UNITY_BUILD=ON \
  scripts/make_packages.sh "$tarball" "$folder" >build/packages.log 2>&1 ||
  { tail -n 40 build/packages.log; exit 1; }
(cd "$folder" && sha256sum ./*.deb)

lintian --allow-root --info --display-info --fail-on error,warning "$folder"/*.changes

# autopkgtest leaves installed what it has installed.
trap '"${as_root[@]}" dpkg --purge "${packages[@]}" >/dev/null' EXIT
"${as_root[@]}" autopkgtest --no-built-binaries "$folder"/*.deb "$folder"/*.dsc -- null
