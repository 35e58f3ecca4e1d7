// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace quorivex {

/// Opens a regular file for reading; -1 for a missing file, one without permission, a folder, a
/// pipe or a device. Never waits.
int open_regular_file(const std::string& name);

/// A text file read through a buffer of fixed size, however long its lines are. A UTF-8 byte order
/// mark at its head is not part of the text.
class TextFile {
 public:
  /// Nothing where open_regular_file fails.
  /// @throws StopRun " ERROR reading file NAME: REASON", here and in every read
  static std::optional<TextFile> open(const std::string& name);
  TextFile(TextFile&& other) noexcept;
  TextFile& operator=(TextFile&&) = delete;
  ~TextFile();

  /// The next character without taking it; kEnd at the end of the file.
  int peek() { return at_ < filled_ || refill() ? static_cast<unsigned char>(buffer_[at_]) : kEnd; }
  void take() { ++at_; }

  /// Reads one line, cut to `max_length` characters, without its end (LF, or CR LF); false at the
  /// end of the file. The last line may lack its end.
  bool read_line(std::string& line, std::size_t max_length);
  /// Whether the line that was read last has its end.
  bool line_ended() const { return line_ended_; }
  void skip_line();
  void rewind();

  static constexpr int kEnd = -1;

 private:
  TextFile(int descriptor, std::string name);
  bool refill();
  void skip_byte_order_mark();

  std::string name_;
  int descriptor_;
  std::unique_ptr<char[]> buffer_;
  std::size_t at_ = 0;
  std::size_t filled_ = 0;
  std::int64_t text_begins_ = 0;  // in the file
  bool line_ended_ = false;
};

}  // namespace quorivex
