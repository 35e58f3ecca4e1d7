// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <string_view>

namespace quorivex {

/// A file being written. What cannot be created, written or closed ends the run with
/// " ERROR writing file NAME: REASON".
class OutputFile {
 public:
  /// Creates the file or empties an existing one.
  explicit OutputFile(const std::string& name);
  /// The same under another name in messages: `shown`.
  OutputFile(const std::string& name, std::string shown);
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  /// Closes without a word; what is still buffered is lost.
  ~OutputFile();

  void append(std::string_view text);
  void flush();
  void close();

 private:
  void write(std::string_view text);

  std::string shown_;
  std::string buffer_;
  int descriptor_ = -1;
};

}  // namespace quorivex
