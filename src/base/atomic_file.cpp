// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/atomic_file.h"

#include <fmt/format.h>

#include <cstdio>
#include <filesystem>

#include "base/fixed_format.h"
#include "base/stop_run.h"

namespace quorivex {

std::string numbered_name(std::string_view base, std::int32_t pass, std::string_view extension) {
  return fmt::format("{}_{}.{}", base, three_digits(pass), extension);
}

AtomicFile::AtomicFile(std::string name)
    : name_(std::move(name)), part_name_(name_ + ".part"), file_(part_name_, name_) {}

AtomicFile::~AtomicFile() {
  if (!committed_) std::remove(part_name_.c_str());
}

void AtomicFile::commit() {
  file_.close();
  std::error_code error;
  std::filesystem::rename(part_name_, name_, error);
  if (error) throw StopRun(fmt::format("\n ERROR writing file {}: {}\n", name_, error.message()));
  committed_ = true;
}

}  // namespace quorivex
