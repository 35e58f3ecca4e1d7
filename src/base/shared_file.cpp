// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/shared_file.h"

#include <fcntl.h>

#include <cerrno>
#include <cstring>

#include "base/ranks.h"

namespace quorivex {
namespace {

int open_existing(const std::string& name) {
  const int descriptor = ::open(name.c_str(), O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
  if (descriptor < 0) writing_failed(name, std::strerror(errno));
  return descriptor;
}

}  // namespace

SharedFile::SharedFile(const std::string& name) {
  if (ranks::is_first()) {
    name_ = target_of_links(name);
    part_.emplace(name_ + ".part");
  }
  const std::string part = ranks::broadcast_text(part_ ? part_->name() : "");
  file_.emplace(part, part_ ? part_->duplicate() : open_existing(part));
}

void SharedFile::complete() {
  file_->close();
  ranks::meet();
}

}  // namespace quorivex
