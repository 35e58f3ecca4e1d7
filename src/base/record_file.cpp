// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/record_file.h"

#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <cstring>
#include <utility>

#include "base/text_file.h"
#include "base/view1.h"

namespace quorivex {
namespace {

static_assert(std::endian::native == std::endian::little, "records are read as they lie");

constexpr std::int64_t kRecordBufferBytes = std::int64_t{32} * 1024;
constexpr std::int64_t kCountBytes = sizeof(std::int32_t);

}  // namespace

std::optional<RecordFile> RecordFile::open(const std::string& name) {
  const int descriptor = open_regular_file(name);
  if (descriptor < 0) return std::nullopt;
  struct stat status {};
  ::fstat(descriptor, &status);
  return RecordFile(descriptor, status.st_size);
}

RecordFile::RecordFile(int descriptor, std::int64_t bytes)
    : descriptor_(descriptor),
      buffer_(std::make_unique_for_overwrite<std::byte[]>(as_size(kRecordBufferBytes))),
      read_ahead_(kRecordBufferBytes),
      bytes_(bytes),
      left_in_file_(bytes) {}

RecordFile::RecordFile(RecordFile&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)),
      buffer_(std::move(other.buffer_)),
      at_(other.at_),
      filled_(other.filled_),
      read_ahead_(other.read_ahead_),
      bytes_(other.bytes_),
      left_in_file_(other.left_in_file_),
      left_in_record_(other.left_in_record_),
      record_bytes_(other.record_bytes_) {}

RecordFile::~RecordFile() {
  if (descriptor_ >= 0) ::close(descriptor_);
}

bool RecordFile::begin() {
  if (!fetch(&record_bytes_, kCountBytes)) return false;
  if (record_bytes_ < 0 || record_bytes_ > left_in_file_ - kCountBytes) return false;
  left_in_record_ = record_bytes_;
  return true;
}

bool RecordFile::read_bytes(void* to, std::int64_t bytes) {
  if (bytes > left_in_record_ || !fetch(to, bytes)) return false;
  left_in_record_ -= bytes;
  return true;
}

bool RecordFile::pass_bytes(std::int64_t bytes) {
  if (bytes > left_in_record_ || !skip(bytes)) return false;
  left_in_record_ -= bytes;
  return true;
}

void RecordFile::set_read_ahead(std::int64_t bytes) {
  read_ahead_ = std::clamp(bytes, std::int64_t{0}, kRecordBufferBytes);
}

bool RecordFile::return_to(std::int64_t left_in_file) {
  at_ = filled_ = 0;
  left_in_record_ = 0;
  left_in_file_ = left_in_file;
  return ::lseek(descriptor_, bytes_ - left_in_file, SEEK_SET) >= 0;
}

bool RecordFile::finish() {
  std::int32_t tail = 0;
  if (!skip(std::exchange(left_in_record_, 0)) || !fetch(&tail, kCountBytes)) return false;
  return tail == record_bytes_;
}

bool RecordFile::fetch(void* to, std::int64_t bytes) {
  if (bytes > left_in_file_) return false;
  left_in_file_ -= bytes;
  auto* target = static_cast<std::byte*>(to);
  while (bytes > 0) {
    if (at_ < filled_) {
      const std::int64_t part = std::min(bytes, filled_ - at_);
      std::memcpy(target, buffer_.get() + at_, as_size(part));
      at_ += part;
      target += part;
      bytes -= part;
      continue;
    }
    // One call brings what is wanted straight to its place and what follows into the buffer.
    const std::array<iovec, 2> pieces{iovec{target, as_size(bytes)},
                                      iovec{buffer_.get(), as_size(read_ahead_)}};
    const ssize_t count = ::readv(descriptor_, pieces.data(), 2);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    const std::int64_t direct = std::min<std::int64_t>(count, bytes);
    target += direct;
    bytes -= direct;
    at_ = 0;
    filled_ = count - direct;
  }
  return true;
}

bool RecordFile::skip(std::int64_t bytes) {
  if (bytes > left_in_file_) return false;
  left_in_file_ -= bytes;
  const std::int64_t buffered = std::min(bytes, filled_ - at_);
  at_ += buffered;
  return bytes == buffered || ::lseek(descriptor_, bytes - buffered, SEEK_CUR) >= 0;
}

}  // namespace quorivex
