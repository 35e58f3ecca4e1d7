// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/stop_run.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace quorivex {

std::string StopRun::message() const {
  const std::size_t first = std::min(console.find_first_not_of(" \n"), console.size());
  const std::size_t end = console.find_last_not_of(" \n") + 1;  // npos + 1 is 0
  return console.substr(first, end > first ? end - first : 0);
}

void stop_run(std::string_view lines, std::string detail) {
  StopRun stop(fmt::format("\n{}\n\n", lines));
  stop.detail = std::move(detail);
  throw stop;
}

void file_not_found(std::string_view label, std::string_view name) {
  throw StopRun(fmt::format("\n ERROR: {} file not found: {}\n", label, name));
}

void alloc_error(std::string_view label) {
  stop_run(fmt::format("Memory allocation error in: {}", label));
}

}  // namespace quorivex
