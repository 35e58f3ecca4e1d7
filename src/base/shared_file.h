// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "base/atomic_file.h"
#include "base/output_file.h"

namespace quorivex {

/// A file that the processes write together, each at its own places. As AtomicFile it grows as a
/// PartFile, which the first process creates, renames or removes, and the others open.
class SharedFile {
 public:
  /// Collective.
  explicit SharedFile(const std::string& name);

  /// Where this process writes next, in bytes from the beginning of the file.
  void seek(std::int64_t offset) { file_->seek(offset); }
  void append(std::string_view text) { file_->append(text); }

  /// Collective: everybody has written what it had to write.
  void complete();
  /// Gives the file its name, after `complete`. For the first process.
  void commit() { part_->rename(); }

 private:
  std::optional<PartFile> part_;  // of the first process
  std::optional<OutputFile> file_;
};

}  // namespace quorivex
