// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/commands.h"

namespace quorivex {

void add_mesh_command(CLI::App& qvx) { qvx.add_subcommand("mesh", "")->group(""); }

}  // namespace quorivex
