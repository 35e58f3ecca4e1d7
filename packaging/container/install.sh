#!/bin/sh
# SPDX-License-Identifier: GPL-3.0-or-later
# install.sh FOLDER [mpi]: installs the Debian packages of a folder, with what loads terrain grids and
# draws slices, in an image of Debian 12; with the word mpi also the programs for several processes.
# Makes the user "user". Dockerfile and quorivex.def call it.
set -eu
cd "$1"
export DEBIAN_FRONTEND=noninteractive

# Slim images leave out documents, in which the examples are, and manual pages.
for place in /usr/share/doc/quorivex /usr/share/man/man1; do
  echo "path-include=$place/*"
done >/etc/dpkg/dpkg.cfg.d/quorivex

set -- ./quorivex_*.deb ./python3-quorivex_*.deb libgdal32 libcairo2 ${2:+./quorivex-mpi_*.deb mpi-default-bin}
apt-get update
apt-get install -y --no-install-recommends "$@"
rm -rf /var/lib/apt/lists/* /var/cache/apt/archives/*.deb
useradd --create-home --uid 1000 user
