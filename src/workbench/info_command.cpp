// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/commands.h"

namespace quorivex {

void add_info_command(CLI::App& qvx) { qvx.add_subcommand("info", "")->group(""); }

}  // namespace quorivex
