// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace quorivex {

/// A file being written. What cannot be created, written or closed ends the run with
/// " ERROR writing file NAME: REASON". The buffer is made on opening: a short text can be appended
/// and flushed when memory is exhausted.
class OutputFile {
 public:
  /// Creates the file or empties an existing one, and locks it: one that another program has open
  /// in this way is refused and stays as it is.
  explicit OutputFile(const std::string& name);
  /// Takes over a descriptor that is open for writing; `name` is for messages.
  OutputFile(std::string name, int descriptor);
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  /// Closes without a message; what is still buffered is lost.
  ~OutputFile();

  void append(std::string_view text);
  void flush();
  /// What is appended next begins at this place of the file.
  void seek(std::int64_t offset);
  void close();
  /// Closes it when all of it is on the disk.
  void close_on_disk();

 private:
  void write(std::string_view text);

  std::string name_;
  int descriptor_;
  std::unique_ptr<char[]> buffer_;
  std::size_t filled_ = 0;
};

/// Why a file is refused that another program has locked.
inline constexpr const char* kWrittenElsewhere = "another program is writing it";

/// " ERROR writing file NAME: REASON"
[[noreturn]] void writing_failed(std::string_view name, std::string_view reason);

}  // namespace quorivex
