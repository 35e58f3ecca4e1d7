// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/atomic_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <utility>

#include "base/fixed_format.h"

namespace quorivex {

namespace {

namespace fs = std::filesystem;

/// True while the name leads to the open file: not after another program has renamed it.
bool is_named(int descriptor, const std::string& name) {
  struct stat opened {};
  struct stat named {};
  return ::fstat(descriptor, &opened) == 0 && ::lstat(name.c_str(), &named) == 0 &&
         opened.st_ino == named.st_ino && opened.st_dev == named.st_dev;
}

/// Opens a file for this program alone, creating it where it is missing.
int open_locked(const std::string& name) {
  // Without O_NONBLOCK a pipe of that name would wait for a reader forever.
  constexpr int kFlags = O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
  for (;;) {
    const int descriptor = ::open(name.c_str(), kFlags, 0666);
    if (descriptor < 0) {
      writing_failed(name, errno == ELOOP ? "it is a link" : std::strerror(errno));
    }
    // A file system without locks is no reason to stop.
    const bool locked_elsewhere =
        ::flock(descriptor, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    if (!locked_elsewhere && is_named(descriptor, name)) return descriptor;
    ::close(descriptor);
    if (locked_elsewhere) writing_failed(name, "another program is writing it");
  }
}

}  // namespace

std::string numbered_name(std::string_view base, std::int32_t iteration,
                          std::string_view extension) {
  return fmt::format("{}_{}.{}", base, three_digits(iteration), extension);
}

std::string target_of_links(const std::string& name) {
  constexpr int kMaxLinks = 40;  // as many as the system follows
  std::error_code missing;
  fs::path place = name;
  for (int links = 0; fs::is_symlink(fs::symlink_status(place, missing)); ++links) {
    if (links == kMaxLinks) writing_failed(name, std::strerror(ELOOP));
    place = place.parent_path() / fs::read_symlink(place, missing);  // an absolute one replaces all
  }
  const auto status = fs::status(place, missing);
  if (fs::exists(status) && !fs::is_regular_file(status)) {
    writing_failed(name, "it is not a regular file");
  }
  return place.string();
}

PartFile::PartFile(std::string name)
    : name_(std::move(name)), descriptor_(open_locked(name_)), unfinished_(name_.c_str()) {
  struct stat status {};
  ::fstat(descriptor_, &status);
  const bool regular = S_ISREG(status.st_mode);
  if (regular && ::ftruncate(descriptor_, 0) == 0) return;
  const int error = errno;
  ::close(descriptor_);
  writing_failed(name_, regular ? std::strerror(error) : "it is not a regular file");
}

PartFile::~PartFile() {
  if (!renamed_) std::remove(name_.c_str());
  ::close(descriptor_);
}

int PartFile::duplicate() const { return ::fcntl(descriptor_, F_DUPFD_CLOEXEC, 0); }

void PartFile::rename_to(const std::string& name) {
  if (std::rename(name_.c_str(), name.c_str()) != 0) writing_failed(name, std::strerror(errno));
  renamed_ = true;
}

AtomicFile::AtomicFile(const std::string& name)
    : name_(target_of_links(name)),
      part_(name_ + ".part"),
      file_(part_.name(), part_.duplicate()) {}

void AtomicFile::commit() {
  file_.close();
  part_.rename_to(name_);
}

}  // namespace quorivex
