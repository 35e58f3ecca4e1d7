// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace quorivex {

/// The arguments of the program; "help survey" and "--help survey" become "survey --help".
std::vector<std::string> arguments_of(int argc, char** argv);

/// Why the first argument is neither a subcommand nor an option of qvx itself, with what was
/// probably meant; empty where it is one of them.
std::string wrong_first_word(const CLI::App& qvx, const std::string& word);

/// Why the command line of a subcommand is wrong, with what was probably meant, and the line to
/// type for help. Words that do not exist are named before what is missing, which may be what they
/// were meant to be.
std::string explain_error(const CLI::App& qvx, const CLI::ParseError& error);

}  // namespace quorivex
