// SPDX-License-Identifier: GPL-3.0-or-later
#include "fuzz/archive.h"

#include <algorithm>
#include <cctype>

namespace quorivex::fuzz {
namespace {

constexpr std::string_view kMark = "=== ";
constexpr std::size_t kMaxName = 40;

/// Whether the file would lie in the folder itself, and be no option.
bool is_plain_name(std::string_view name) {
  return !name.empty() && name.size() <= kMaxName && name.front() != '.' && name.front() != '-' &&
         std::all_of(name.begin(), name.end(), [](unsigned char c) {
           return std::isalnum(c) != 0 || c == '.' || c == '_' || c == '-';
         });
}

}  // namespace

UnpackedArchive::UnpackedArchive(std::string_view bytes)
    : before_(std::filesystem::current_path()) {
  while (bytes.starts_with(kMark)) {
    const std::size_t line_end = std::min(bytes.find('\n'), bytes.size());
    const std::string_view name = bytes.substr(kMark.size(), line_end - kMark.size());
    bytes.remove_prefix(std::min(line_end + 1, bytes.size()));
    const std::size_t next = bytes.starts_with(kMark) ? 0 : bytes.find("\n=== ");
    if (is_plain_name(name)) {
      folder_.write(name, bytes.substr(0, next));
      if (first_.empty()) first_ = name;
    }
    bytes.remove_prefix(next == 0 ? 0 : std::min(next, bytes.size() - 1) + 1);
  }
  if (first_.empty()) first_ = "run.inp";
  std::filesystem::current_path(folder_.path(""));
}

UnpackedArchive::~UnpackedArchive() {
  std::error_code ignored;
  std::filesystem::current_path(before_, ignored);
}

}  // namespace quorivex::fuzz
