// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/atomic_file.h"

#include <fmt/format.h>

#include <cstdio>
#include <filesystem>

#include "base/fixed_format.h"
#include "base/stop_run.h"

namespace quorivex {

namespace {

[[noreturn]] void writing_failed(const std::string& name, const std::string& why) {
  throw StopRun(fmt::format("\n ERROR writing file {}: {}\n", name, why));
}

/// The file itself where the name is that of a link.
std::string place_of(const std::string& name) {
  std::error_code missing;
  const auto status = std::filesystem::status(name, missing);
  if (!std::filesystem::exists(status)) return name;
  if (!std::filesystem::is_regular_file(status)) writing_failed(name, "it is not a regular file");
  return std::filesystem::is_symlink(name, missing) ? std::filesystem::canonical(name, missing)
                                                    : std::filesystem::path(name);
}

}  // namespace

std::string numbered_name(std::string_view base, std::int32_t iteration,
                          std::string_view extension) {
  return fmt::format("{}_{}.{}", base, three_digits(iteration), extension);
}

AtomicFile::AtomicFile(const std::string& name)
    : name_(place_of(name)), part_name_(name_ + ".part"), file_(part_name_, name_) {}

AtomicFile::~AtomicFile() {
  if (!committed_) std::remove(part_name_.c_str());
}

void AtomicFile::commit() {
  file_.close();
  std::error_code error;
  std::filesystem::rename(part_name_, name_, error);
  if (error) writing_failed(name_, error.message());
  committed_ = true;
}

}  // namespace quorivex
