// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/stop_run.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <utility>

namespace quorivex {
namespace {

/// Of a file that is there; empty where there is none.
std::string why_not_opened(const std::string& name) {
  std::error_code unknown;
  const auto kind = std::filesystem::status(name, unknown).type();
  if (kind == std::filesystem::file_type::regular) {
    return fmt::format("{} is there, but may not be read.", name);
  }
  const bool missing =
      kind == std::filesystem::file_type::not_found || kind == std::filesystem::file_type::none;
  return missing ? "" : fmt::format("{} is not a file.", name);
}

}  // namespace

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

void file_not_found(std::string_view label, const std::string& name) {
  const std::string text = fmt::format("\n ERROR: {} file not found: {}\n", label, name);
  throw StopRun(text, text, why_not_opened(name));
}

void cannot_open(std::string_view label, const std::string& name) {
  const std::string why = why_not_opened(name);
  if (why.empty()) file_not_found(label, name);
  throw StopRun(fmt::format("\n ERROR: {} file: {}\n", label, why));
}

void alloc_error(std::string_view label) { throw StopRun::out_of_memory(label); }

}  // namespace quorivex
