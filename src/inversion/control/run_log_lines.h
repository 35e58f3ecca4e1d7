// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "inversion/input/input_file.h"
#include "inversion/mesh_io/active_cells.h"
#include "inversion/objective/alphas.h"
#include "inversion/setup/run_setup.h"

namespace quorivex {

// The lines that a run writes to its log and console, in the order of the run: whole lines, ends
// included. The table of iterations is in summary_table.h.

std::string usage();

/// Before and after the lines of the input file in the log.
std::string echo_head(const std::string& input_name);
std::string echo_end();

std::string parameter_block(const std::string& input_name, const InversionParameters& input);

/// For console and log, before the rows of a full matrix are read.
std::string full_matrix_warning();

std::string data_count(std::int32_t ndata);

std::string active_cells_read(const std::string& name);
std::string cell_counts(const ActiveCells& active);

/// Where the model of that label came from: a constant, or else the file `source`.
std::string model_read(std::string_view label, const std::string& source,
                       std::optional<double> constant);

/// For console and log.
std::string touching_bounds_warning(std::string_view label, std::int64_t cells);

/// Alphas and length scales, those given first; for console and log.
std::string alpha_lines(const AlphaLine& line);

/// `target` only in mode 1.
std::string start_lines(double misfit, const std::optional<Target>& target);

/// The number of an iteration and its misfit are for console and log, beta for the log.
std::string iteration_line(std::int32_t number);
std::string beta_line(double beta);
std::string misfit_line(double misfit);

}  // namespace quorivex
