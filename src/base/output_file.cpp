// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/output_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "base/stop_run.h"

namespace quorivex {
namespace {

constexpr std::size_t kBufferBytes = std::size_t{256} * 1024;

[[noreturn]] void writing_failed(const std::string& name, int error) {
  throw StopRun(fmt::format("\n ERROR writing file {}: {}\n", name, std::strerror(error)));
}

}  // namespace

OutputFile::OutputFile(const std::string& name) : OutputFile(name, name) {}

OutputFile::OutputFile(const std::string& name, std::string shown) : shown_(std::move(shown)) {
  // Without O_NONBLOCK a pipe of that name would wait for a reader for ever.
  constexpr int kFlags = O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK | O_CLOEXEC;
  descriptor_ = ::open(name.c_str(), kFlags, 0666);
  if (descriptor_ < 0) writing_failed(shown_, errno);
  ::fcntl(descriptor_, F_SETFL, 0);
}

OutputFile::~OutputFile() {
  if (descriptor_ >= 0) ::close(descriptor_);
}

void OutputFile::append(std::string_view text) {
  if (text.size() >= kBufferBytes) {
    flush();
    write(text);
    return;
  }
  buffer_.append(text);
  if (buffer_.size() >= kBufferBytes) flush();
}

void OutputFile::flush() {
  const std::string text = std::exchange(buffer_, {});  // a second attempt would end no better
  write(text);
}

void OutputFile::write(std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = ::write(descriptor_, text.data(), text.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) writing_failed(shown_, errno);
    text.remove_prefix(static_cast<std::size_t>(count));
  }
}

void OutputFile::close() {
  flush();
  const int descriptor = descriptor_;
  descriptor_ = -1;
  if (::close(descriptor) != 0) writing_failed(shown_, errno);
}

}  // namespace quorivex
