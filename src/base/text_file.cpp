// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/text_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "base/stop_run.h"

namespace quorivex {
namespace {

constexpr std::size_t kReadBufferBytes = std::size_t{64} * 1024;

}  // namespace

int open_regular_file(const std::string& name) {
  // O_NONBLOCK: opening a pipe without a writer would wait forever.
  const int descriptor = ::open(name.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (descriptor < 0) return -1;
  struct stat status {};
  if (::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode)) return descriptor;
  ::close(descriptor);
  return -1;
}

std::optional<TextFile> TextFile::open(const std::string& name) {
  const int descriptor = open_regular_file(name);
  if (descriptor < 0) return std::nullopt;
  TextFile file(descriptor, name);
  file.skip_byte_order_mark();
  return file;
}

TextFile::TextFile(int descriptor, std::string name)
    : name_(std::move(name)),
      descriptor_(descriptor),
      buffer_(std::make_unique_for_overwrite<char[]>(kReadBufferBytes)) {}

TextFile::TextFile(TextFile&& other) noexcept
    : name_(std::move(other.name_)),
      descriptor_(std::exchange(other.descriptor_, -1)),
      buffer_(std::move(other.buffer_)),
      at_(other.at_),
      filled_(other.filled_),
      text_begins_(other.text_begins_),
      line_ended_(other.line_ended_) {}

TextFile::~TextFile() {
  if (descriptor_ >= 0) ::close(descriptor_);
}

bool TextFile::refill() {
  ssize_t count = 0;
  do {
    count = ::read(descriptor_, buffer_.get(), kReadBufferBytes);
  } while (count < 0 && errno == EINTR);
  if (count < 0) {
    throw StopRun(fmt::format("\n ERROR reading file {}: {}\n", name_, std::strerror(errno)));
  }
  at_ = 0;
  filled_ = static_cast<std::size_t>(count);
  return count > 0;
}

void TextFile::skip_byte_order_mark() {
  for (const int byte : {0xEF, 0xBB, 0xBF}) {
    if (peek() != byte) {
      rewind();
      return;
    }
    take();
  }
  text_begins_ = 3;
}

bool TextFile::read_line(std::string& line, std::size_t max_length) {
  line.clear();
  if (peek() == kEnd) return false;
  bool cut = false;
  int next = peek();
  for (; next != kEnd && next != '\n'; next = peek()) {
    if (line.size() < max_length) {
      line.push_back(static_cast<char>(next));
    } else {
      cut = true;
    }
    take();
  }
  line_ended_ = next == '\n';
  if (line_ended_) take();
  if (!cut && !line.empty() && line.back() == '\r') line.pop_back();
  return true;
}

void TextFile::skip_line() {
  int next = peek();
  while (next != kEnd && next != '\n') {
    take();
    next = peek();
  }
  if (next == '\n') take();
}

void TextFile::rewind() {
  at_ = filled_ = 0;
  ::lseek(descriptor_, text_begins_, SEEK_SET);
}

}  // namespace quorivex
