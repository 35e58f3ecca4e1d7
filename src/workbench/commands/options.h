// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <CLI/CLI.hpp>

#include <cstdint>
#include <string>
#include <vector>

namespace quorivex {

// Limits of options that are lengths, in metres.
inline constexpr double kMinLength = 0.001;
inline constexpr double kMaxLength = 1e9;

/// Accepts a finite number from `min` to `max`.
CLI::Validator number(double min, double max);

/// Accepts a whole number from `min` to `max`.
CLI::Validator whole_number(std::int64_t min, std::int64_t max);

/// Accepts one of the words.
CLI::Validator one_of(std::vector<std::string> words);

/// Adds --crs, whose value becomes the code of a coordinate system that exists.
CLI::Option* add_crs_option(CLI::App& command, std::string& crs, const std::string& without);

/// "constant or plane", "haar, daub4 or none".
std::string list_of_choices(const std::vector<std::string>& words);

/// The name as a shell reads it, in quotes where it must be.
std::string quote_if_needed(const std::string& name);

}  // namespace quorivex
