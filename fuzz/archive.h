// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <string_view>

#include "scratch_folder.h"

namespace quorivex::fuzz {

/// Files of a run in one: each follows a line "=== NAME" and ends before the line end ahead of the
/// next such line. While the object lives they lie in the current folder.
class UnpackedArchive {
 public:
  explicit UnpackedArchive(std::string_view bytes);
  UnpackedArchive(const UnpackedArchive&) = delete;
  UnpackedArchive& operator=(const UnpackedArchive&) = delete;
  ~UnpackedArchive();

  /// Name of the first file; "run.inp" without any.
  const std::string& first() const { return first_; }

 private:
  test::ScratchFolder folder_;
  std::filesystem::path before_;
  std::string first_;
};

}  // namespace quorivex::fuzz
