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

/// "constant or plane", "haar, daub4 or none", for the conjunction "or".
std::string list_of_words(const std::vector<std::string>& words, const std::string& conjunction);

/// "{constant,plane}", as the help shows choices, which the shell then completes.
std::string in_braces(const std::vector<std::string>& words);

/// What is wrong with a word that is none of these: "should be constant or plane, not plan; did you
/// mean plane?".
std::string not_one_of(const std::vector<std::string>& words, const std::string& word);

/// The name as a shell reads it, in quotes where it must be.
std::string quote_if_needed(const std::string& name);

}  // namespace quorivex
