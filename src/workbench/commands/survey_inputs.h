// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <CLI/CLI.hpp>

#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

#include "inversion/mesh_io/observations.h"
#include "workbench/terrain/survey_ground.h"

namespace quorivex {

/// Adds --topography and --elevation; `without` says what holds without them.
void add_terrain_options(CLI::App& command, GroundSource& source,
                         const std::string& without = "the top of the mesh is the ground");
void add_thread_option(CLI::App& command);

/// As use_threads; a warning where the system starts fewer.
void start_threads(int wanted);

/// The coordinate system that the option --crs and the head of the observations file agree on.
/// @throws StopRun where they differ
CrsSource crs_of_survey(const std::string& option, const std::string& observations_file);

/// A sentence on standard error, after "Warning: ".
void print_warning(const std::string& sentence);
void print_warnings(const std::vector<std::string>& sentences);

/// Reads mesh and terrain; warns of a terrain that does not fit the mesh and of stations outside
/// the mesh, below the ground, or on an edge of a cell.
SurveyGround read_ground(const GroundSource& source, const Observations& observations,
                         const Warn& warn = print_warning);

/// Reads observations, with values where the file has them; notes on standard error what no program
/// reads of the file, and stations at the same place.
Observations read_observations(const std::string& name);

/// As read_observations, but the standard deviations are needed.
/// @throws StopRun also where they are missing, saying so
Observations read_data_with_deviations(const std::string& name,
                                       std::optional<std::int32_t> ndata_expected = {});

/// Hints on standard error: a field or data in tesla, a field unlike the Earth's.
void hint_at_units(const Observations& observations);

/// Ends the command when the output is one of the files that it reads.
void refuse_overwriting(const std::string& output, std::initializer_list<std::string> inputs);

}  // namespace quorivex
