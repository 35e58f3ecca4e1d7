// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/interruption.h"
#include "base/output_file.h"

namespace quorivex {

/// "BASE_NNN.EXTENSION", the file of an iteration.
std::string numbered_name(std::string_view base, std::int32_t iteration,
                          std::string_view extension);

/// Where the file lies when its name is followed through links; it need not exist.
/// @throws StopRun for a device, a pipe or a folder
std::string target_of_links(const std::string& name);

/// NAME.part while it is being written. It belongs to one program at a time: a lock refuses others.
class PartFile {
 public:
  /// Creates it, or empties what an interrupted run left. A link of that name is refused.
  explicit PartFile(std::string name);
  PartFile(const PartFile&) = delete;
  PartFile& operator=(const PartFile&) = delete;
  /// Removes the file unless it was renamed.
  ~PartFile();

  /// A second descriptor of the open file.
  int duplicate() const;
  void rename_to(const std::string& name);
  const std::string& name() const { return name_; }

 private:
  std::string name_;
  int descriptor_;  // holds the lock until the file has its final name
  UnfinishedFile unfinished_;
  bool renamed_ = false;
};

/// A file that appears under its name only when it is complete: it grows as NAME.part next to it
/// and takes its name in `commit`. An exception or a signal to end leaves nothing behind.
/// A link called NAME is followed, also to a file that does not exist yet; a device, a pipe or a
/// folder of that name is refused.
class AtomicFile {
 public:
  explicit AtomicFile(const std::string& name);

  void append(std::string_view text) { file_.append(text); }
  void commit();

 private:
  std::string name_;
  PartFile part_;
  OutputFile file_;
};

}  // namespace quorivex
