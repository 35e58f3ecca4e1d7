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

/// A file NAME.PROCESS.part next to NAME, made by this process alone, until it takes that name.
/// Messages are about NAME.
class PartFile {
 public:
  explicit PartFile(std::string name);
  PartFile(const PartFile&) = delete;
  PartFile& operator=(const PartFile&) = delete;
  /// Removes the file unless it was renamed.
  ~PartFile();

  /// A second descriptor of the open file.
  int duplicate() const;
  void rename();
  const std::string& place() const { return place_; }

 private:
  std::string name_;
  std::string place_;
  int descriptor_ = -1;
  UnfinishedFile unfinished_;
};

/// A file that appears under its name only when it is complete and on the disk: it grows as a
/// PartFile and takes its name in `commit`. An exception or a signal to end leaves nothing behind.
/// A link called NAME is followed, also to a file that does not exist yet; a device, a pipe or a
/// folder of that name is refused.
class AtomicFile {
 public:
  explicit AtomicFile(const std::string& name);

  void append(std::string_view text) { file_.append(text); }
  void commit();

 private:
  PartFile part_;
  OutputFile file_;
};

}  // namespace quorivex
