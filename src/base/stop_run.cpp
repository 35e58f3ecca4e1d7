// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/stop_run.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace quorivex {

StopRun StopRun::out_of_memory(std::string_view label) {
  StopRun stop;
  char* to = stop.fixed_text_.data();
  std::size_t room = stop.fixed_text_.size() - 1;  // the last one stays 0
  for (const std::string_view part :
       {std::string_view("\nMemory allocation error in: "), label, std::string_view("\n\n")}) {
    const std::size_t size = std::min(part.size(), room);
    to = std::copy_n(part.data(), size, to);
    room -= size;
  }
  return stop;
}

std::string_view StopRun::message() const {
  const std::string_view text = console();
  const std::size_t first = std::min(text.find_first_not_of(" \n"), text.size());
  const std::size_t end = text.find_last_not_of(" \n") + 1;  // npos + 1 is 0
  return text.substr(first, end > first ? end - first : 0);
}

void stop_run(std::string_view lines, std::string detail) {
  const std::string text = fmt::format("\n{}\n\n", lines);
  throw StopRun(text, text, std::move(detail));
}

void file_not_found(std::string_view label, std::string_view name) {
  throw StopRun(fmt::format("\n ERROR: {} file not found: {}\n", label, name));
}

void alloc_error(std::string_view label) { throw StopRun::out_of_memory(label); }

}  // namespace quorivex
