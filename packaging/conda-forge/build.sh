#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Builds and installs the programs into $PREFIX; conda sets the variables.
set -euo pipefail

# shellcheck disable=SC2086  # several options
cmake -G Ninja -S . -B build ${CMAKE_ARGS} \
  -DCMAKE_BUILD_TYPE=Release \
  -DCMAKE_INSTALL_PREFIX="$PREFIX" \
  -DCMAKE_INSTALL_LIBDIR=lib \
  -DCMAKE_PREFIX_PATH="$PREFIX" \
  -DQUORIVEX_TESTS=OFF \
  -DQUORIVEX_BENCH=OFF \
  -DQUORIVEX_PLOTLY_JS="$PWD/plotly/plotly-cartesian.min.js"
cmake --build build --parallel "$CPU_COUNT"
cmake --install build
