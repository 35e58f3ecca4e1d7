// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

namespace quorivex::test {

/// A folder of its own for one test, removed at the end.
class ScratchFolder {
 public:
  ScratchFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "quorivex_XXXXXX").string();
    path_ = mkdtemp(name.data());
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  std::string path(std::string_view name) const { return (path_ / name).string(); }
  bool has(std::string_view name) const { return std::filesystem::exists(path_ / name); }

  /// Whether a file that was not completed, or a lock, was left.
  bool has_leftovers() const {
    const auto is_left = [](const auto& entry) {
      const auto extension = entry.path().extension();
      return extension == ".part" || extension == ".lock";
    };
    return std::any_of(std::filesystem::directory_iterator(path_), {}, is_left);
  }

  std::string write(std::string_view name, std::string_view bytes) const {
    std::ofstream(path(name), std::ios::binary) << bytes;
    return path(name);
  }
  std::string read(std::string_view name) const {
    std::ifstream file(path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

 private:
  std::filesystem::path path_;
};

}  // namespace quorivex::test
