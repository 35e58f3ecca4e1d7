// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/shared_file.h"

#include <fcntl.h>

#include <cerrno>
#include <cstring>

#include "base/ranks.h"

namespace quorivex {
namespace {

int open_existing(const std::string& part, const std::string& name) {
  const int descriptor = ::open(part.c_str(), O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
  if (descriptor < 0) writing_failed(name, std::strerror(errno));
  return descriptor;
}

}  // namespace

SharedFile::SharedFile(const std::string& name) {
  if (ranks::is_first()) part_.emplace(target_of_links(name));
  const std::string part = ranks::broadcast_text(part_ ? part_->place() : "");
  file_.emplace(name, part_ ? part_->duplicate() : open_existing(part, name));
}

void SharedFile::complete() {
  file_->close_on_disk();
  ranks::meet();
}

}  // namespace quorivex
