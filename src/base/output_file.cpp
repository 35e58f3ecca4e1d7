// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/output_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "base/stop_run.h"

namespace quorivex {
namespace {

constexpr std::size_t kWriteBufferBytes = std::size_t{256} * 1024;

/// Why the open file cannot be emptied for this program alone, nullptr when it was.
const char* lock_and_empty(int descriptor) {
  struct stat status {};
  if (::fstat(descriptor, &status) != 0) return std::strerror(errno);
  if (!S_ISREG(status.st_mode)) return nullptr;
  // A file system without locks is no reason to stop.
  if (::flock(descriptor, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
    return kWrittenElsewhere;
  }
  return ::ftruncate(descriptor, 0) == 0 ? nullptr : std::strerror(errno);
}

int open_for_writing(const std::string& name) {
  // Without O_NONBLOCK a pipe of that name would wait for a reader forever.
  constexpr int kFlags = O_WRONLY | O_CREAT | O_NONBLOCK | O_CLOEXEC;
  const int descriptor = ::open(name.c_str(), kFlags, 0666);
  if (descriptor < 0) writing_failed(name, std::strerror(errno));
  ::fcntl(descriptor, F_SETFL, 0);
  const char* const refusal = lock_and_empty(descriptor);
  if (refusal == nullptr) return descriptor;
  ::close(descriptor);
  writing_failed(name, refusal);
}

}  // namespace

void writing_failed(std::string_view name, std::string_view reason) {
  throw StopRun(fmt::format("\n ERROR writing file {}: {}\n", name, reason));
}

OutputFile::OutputFile(const std::string& name) : OutputFile(name, -1) {
  descriptor_ = open_for_writing(name);
}

OutputFile::OutputFile(std::string name, int descriptor)
    : name_(std::move(name)),
      descriptor_(descriptor),
      buffer_(std::make_unique_for_overwrite<char[]>(kWriteBufferBytes)) {}

OutputFile::~OutputFile() {
  if (descriptor_ >= 0) ::close(descriptor_);
}

void OutputFile::append(std::string_view text) {
  if (text.empty()) return;  // it may have no address
  if (text.size() > kWriteBufferBytes - filled_) flush();
  if (text.size() > kWriteBufferBytes) {
    write(text);
    return;
  }
  std::memcpy(buffer_.get() + filled_, text.data(), text.size());
  filled_ += text.size();
}

void OutputFile::flush() {
  // Emptied in any case: a second attempt would end no better.
  write({buffer_.get(), std::exchange(filled_, 0)});
}

void OutputFile::seek(std::int64_t offset) {
  flush();
  if (::lseek(descriptor_, offset, SEEK_SET) < 0) writing_failed(name_, std::strerror(errno));
}

void OutputFile::write(std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = ::write(descriptor_, text.data(), text.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) writing_failed(name_, std::strerror(errno));
    text.remove_prefix(static_cast<std::size_t>(count));
  }
}

void OutputFile::close_on_disk() {
  flush();
  // Pipes and some file systems know no fsync.
  if (::fsync(descriptor_) != 0 && errno != EINVAL && errno != ENOTSUP && errno != ENOSYS) {
    writing_failed(name_, std::strerror(errno));
  }
  close();
}

void OutputFile::close() {
  flush();
  const int descriptor = std::exchange(descriptor_, -1);
  if (::close(descriptor) != 0) writing_failed(name_, std::strerror(errno));
}

}  // namespace quorivex
