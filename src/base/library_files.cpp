// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/library_files.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <memory>
#include <string_view>

#include "base/atomic_file.h"
#include "base/isolated.h"

namespace quorivex {
namespace {

/// Writes files as their bytes come through the pipe; before those of each comes their number.
class FilesTaker {
 public:
  explicit FilesTaker(const std::vector<std::string>& names) : names_(names) {}

  void take(std::string_view bytes) {
    while (!bytes.empty() && done_ < names_.size()) {
      if (file_ == nullptr) {
        bytes.remove_prefix(take_count(bytes));
      } else {
        const std::size_t count = std::min<std::uint64_t>(left_, bytes.size());
        file_->append(bytes.substr(0, count));
        bytes.remove_prefix(count);
        left_ -= count;
      }
      if (file_ != nullptr && left_ == 0) {
        file_->commit();
        file_.reset();
        ++done_;
      }
    }
  }

  std::size_t done() const { return done_; }
  bool is_missing() const { return missing_; }

 private:
  std::size_t take_count(std::string_view bytes) {
    const std::size_t count = std::min(sizeof(left_) - start_.size(), bytes.size());
    start_.append(bytes.substr(0, count));
    if (start_.size() < sizeof(left_)) return count;
    std::memcpy(&left_, start_.data(), sizeof(left_));
    start_.clear();
    missing_ = left_ == 0;
    if (!missing_) file_ = std::make_unique<AtomicFile>(names_[done_]);
    return count;
  }

  const std::vector<std::string>& names_;
  std::size_t done_ = 0;
  std::string start_;
  std::uint64_t left_ = 0;
  bool missing_ = false;
  std::unique_ptr<AtomicFile> file_;
};

}  // namespace

bool write_library_files(const std::vector<std::string>& names,
                         const std::function<std::string(std::size_t)>& make,
                         const std::string& library, std::uint64_t seconds) {
  FilesTaker taker(names);
  const auto make_all = [&](const TakeBytes& write) {
    for (std::size_t n = 0; n < names.size(); ++n) {
      const auto used = static_cast<std::uint64_t>(std::clock() / CLOCKS_PER_SEC);
      limit_seconds(used + 1 + seconds);
      const std::string bytes = make(n);
      const std::uint64_t count = bytes.size();
      write({reinterpret_cast<const char*>(&count), sizeof(count)});
      if (count == 0) return;
      write(bytes);
    }
  };
  const bool ended = in_own_process(make_all, [&](std::string_view bytes) { taker.take(bytes); });
  if (ended && taker.is_missing()) return false;
  if (taker.done() < names.size()) {
    writing_failed(names[taker.done()], library + " failed; is there enough memory?");
  }
  return true;
}

}  // namespace quorivex
