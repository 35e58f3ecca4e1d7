// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/atomic_file.h"

#include <fcntl.h>
#include <fmt/format.h>
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

/// NAME.PROCESS.part, or with the next number that is free: processes of several machines or
/// containers may have the same number, and one that was killed may have left its file.
int create_next_to(const std::string& name, std::string& place) {
  constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
  constexpr int kMostTries = 10'000;
  for (int number = 0;; ++number) {
    place = fmt::format("{}.{}.part", name, ::getpid() + std::int64_t{number});
    const int descriptor = ::open(place.c_str(), kFlags, 0666);
    if (descriptor >= 0) return descriptor;
    if (errno != EEXIST || number == kMostTries) writing_failed(name, std::strerror(errno));
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

PartFile::PartFile(std::string name) : name_(std::move(name)) {
  const SignalsWait wait;
  descriptor_ = create_next_to(name_, place_);
  unfinished_.remember(place_);
}

PartFile::~PartFile() {
  ::close(descriptor_);
  if (place_.empty()) return;
  const SignalsWait wait;
  ::unlink(place_.c_str());
  unfinished_.forget();
}

int PartFile::duplicate() const { return ::fcntl(descriptor_, F_DUPFD_CLOEXEC, 0); }

void PartFile::rename() {
  if (std::rename(place_.c_str(), name_.c_str()) != 0) writing_failed(name_, std::strerror(errno));
  unfinished_.forget();
  place_.clear();
}

AtomicFile::AtomicFile(const std::string& name)
    : part_(target_of_links(name)), file_(name, part_.duplicate()) {}

void AtomicFile::commit() {
  file_.close_on_disk();
  part_.rename();
}

}  // namespace quorivex
