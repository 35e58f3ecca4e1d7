// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/output_file.h"

namespace quorivex {

/// "BASE_NNN.EXTENSION", the file of an iteration.
std::string numbered_name(std::string_view base, std::int32_t iteration,
                          std::string_view extension);

/// A file that appears under its name only when it is complete: it grows as NAME.part beside its
/// place and takes its name in `commit`. An end by an exception leaves nothing behind, a signal
/// NAME.part. A link is followed; a device, a pipe or a folder of that name is refused.
class AtomicFile {
 public:
  explicit AtomicFile(const std::string& name);
  AtomicFile(const AtomicFile&) = delete;
  AtomicFile& operator=(const AtomicFile&) = delete;
  ~AtomicFile();

  void append(std::string_view text) { file_.append(text); }
  void commit();

 private:
  std::string name_;
  std::string part_name_;
  OutputFile file_;
  bool committed_ = false;
};

}  // namespace quorivex
