#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# make_packages.sh TARBALL FOLDER: builds the Debian packages of a release tarball in a new FOLDER,
# where no network can be reached. DEB_BUILD_OPTIONS=nocheck leaves out the tests,
# CMAKE_OPTIONS adds options for CMake.
set -euo pipefail

[ $# -eq 2 ] || { echo "Usage: scripts/make_packages.sh TARBALL FOLDER" >&2; exit 2; }
tarball=$(readlink -f "$1")
mkdir "$2"
cd "$2"
name=$(basename "$tarball" .tar.xz)
cp "$tarball" "quorivex_${name#quorivex-}.orig.tar.xz"
tar -xf "$tarball"
cd "$name"
cp -r packaging/debian debian
PATH=/usr/sbin:/usr/bin:/sbin:/bin  # the tools of the system, no others
# Root needs no user namespace, which some systems forbid. Open MPI complains where nothing answers to
# localhost, and CMake takes what it says for options.
[ "$(id -u)" -eq 0 ] && as_user=() || as_user=(--map-root-user)
unshare "${as_user[@]}" --net sh -c 'ip link set lo up && exec dpkg-buildpackage --no-sign'
