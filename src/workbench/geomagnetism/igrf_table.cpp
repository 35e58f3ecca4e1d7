// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/geomagnetism/igrf_table.h"

#include "base/embedded_file.h"

namespace quorivex {

QUORIVEX_EMBED(igrf_table, QUORIVEX_IGRF_TABLE)

}  // namespace quorivex
