// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quorivex::fuzz {

// Each target gives bytes to a reader and returns what it made of them, as bytes that are the same
// for the same input, or the message with which it stopped. Everything else is a fault: a crash, a
// std::logic_error of outcome.h, any other exception.

std::string finished_run(std::string_view bytes);
std::string grid(std::string_view bytes);
std::string holes(std::string_view bytes);
std::string input(std::string_view bytes);
std::string lists(std::string_view bytes);
std::string mesh(std::string_view bytes);
std::string netcdf(std::string_view bytes);
std::string observations(std::string_view bytes);
std::string points(std::string_view bytes);
std::string recipe(std::string_view bytes);
std::string run(std::string_view bytes);
std::string sensitivity(std::string_view bytes);
std::string sidecar(std::string_view bytes);
std::string table(std::string_view bytes);
std::string voxels(std::string_view bytes);

struct Target {
  const char* name;  ///< its folder of fuzz/corpus too
  std::string (*read)(std::string_view bytes);
};
std::vector<Target> all_targets();

}  // namespace quorivex::fuzz
