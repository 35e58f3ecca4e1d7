// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace quorivex {

/// A binary file of framed records, little-endian: a 4-byte count L, L bytes, and L again.
/// Every function returns false when the file does not hold what was requested; it must not be used
/// afterwards.
class RecordFile {
 public:
  static std::optional<RecordFile> open(const std::string& name);
  RecordFile(RecordFile&& other) noexcept;
  RecordFile& operator=(RecordFile&&) = delete;
  ~RecordFile();

  /// Reads the head count of the next record; false unless the whole record lies in the file.
  bool begin();
  /// Reads items of the record, no padding between them; false when it holds fewer.
  template <class T>
  bool read(T* items, std::int64_t count) {
    return read_bytes(items, count * static_cast<std::int64_t>(sizeof(T)));
  }
  /// Passes over items of the record.
  template <class T>
  bool pass(std::int64_t count) {
    return pass_bytes(count * static_cast<std::int64_t>(sizeof(T)));
  }
  /// Skips the unread rest of the record; false unless the tail count equals the head count.
  bool finish();

  /// Unread bytes of the record, and of the file.
  std::int64_t left_in_record() const { return left_in_record_; }
  std::int64_t left_in_file() const { return left_in_file_; }

  /// How much may be read beyond what is asked for, at most and at first 32 KiB. To be kept small
  /// where little is read between long passages that are not.
  void set_read_ahead(std::int64_t bytes);
  /// Goes back, or on, to the record that began when so much was left in the file.
  bool return_to(std::int64_t left_in_file);

 private:
  RecordFile(int descriptor, std::int64_t bytes);
  bool read_bytes(void* to, std::int64_t bytes);
  bool pass_bytes(std::int64_t bytes);
  bool fetch(void* to, std::int64_t bytes);
  bool skip(std::int64_t bytes);

  int descriptor_;
  std::unique_ptr<std::byte[]> buffer_;
  std::int64_t at_ = 0;      // of the buffer
  std::int64_t filled_ = 0;  // of the buffer
  std::int64_t read_ahead_;
  std::int64_t bytes_;  // of the file
  std::int64_t left_in_file_;
  std::int64_t left_in_record_ = 0;
  std::int32_t record_bytes_ = 0;
};

}  // namespace quorivex
