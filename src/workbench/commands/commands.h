// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <CLI/CLI.hpp>

namespace quorivex {

// Each adds a subcommand of qvx: its options, its help, and a callback that does the work. A
// callback ends in failure by throwing StopRun.

void add_sensitivity_command(CLI::App& qvx);
void add_forward_command(CLI::App& qvx);
void add_survey_command(CLI::App& qvx);
void add_mesh_command(CLI::App& qvx);
void add_model_command(CLI::App& qvx);
void add_input_command(CLI::App& qvx);
void add_info_command(CLI::App& qvx);
void add_check_command(CLI::App& qvx);
void add_continue_command(CLI::App& qvx);
void add_export_command(CLI::App& qvx);
void add_report_command(CLI::App& qvx);

}  // namespace quorivex
