// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/output_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "base/atomic_file.h"
#include "base/output_file.h"

namespace quorivex {
namespace {

/// What the name leads to is the open file: not so after another program has removed it.
bool is_named(const struct stat& opened, const std::string& name) {
  struct stat named {};
  return ::lstat(name.c_str(), &named) == 0 && opened.st_ino == named.st_ino &&
         opened.st_dev == named.st_dev;
}

int open_lock(const std::string& place, const std::string& output) {
  // Without O_NONBLOCK a pipe of that name would wait for a reader forever.
  constexpr int kFlags = O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
  int descriptor = ::open(place.c_str(), O_RDWR | O_CREAT | kFlags, 0666);
  const int error = errno;
  // What somebody else's program left when it was killed may be locked all the same.
  if (descriptor < 0 && error == EACCES) descriptor = ::open(place.c_str(), O_RDONLY | kFlags);
  if (descriptor < 0) {
    writing_failed(output, error == ELOOP ? place + " is a link" : std::strerror(error));
  }
  return descriptor;
}

}  // namespace

OutputLock::OutputLock(const std::string& output) : place_(target_of_links(output) + ".lock") {
  const SignalsWait wait;
  struct stat status {};
  do {
    if (descriptor_ >= 0) ::close(descriptor_);
    descriptor_ = open_lock(place_, output);
    // A file system without locks is no reason to stop.
    if (::flock(descriptor_, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
      ::close(descriptor_);
      writing_failed(output, kWrittenElsewhere);
    }
    ::fstat(descriptor_, &status);
  } while (!is_named(status, place_));
  // One with contents is somebody's own.
  const bool removable = S_ISREG(status.st_mode) && status.st_size == 0;
  if (!removable) place_.clear();
  if (removable) unfinished_.remember(place_);
}

OutputLock::~OutputLock() {
  const SignalsWait wait;
  if (!place_.empty()) ::unlink(place_.c_str());
  unfinished_.forget();
  ::close(descriptor_);
}

}  // namespace quorivex
