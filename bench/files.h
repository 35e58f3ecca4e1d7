// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace quorivex::bench {

/// A file of framed records in the current folder, made once and removed at the end.
class RecordFileForBench {
 public:
  template <class Fill>
  RecordFileForBench(std::string file_name, Fill fill)
      : name(std::move(file_name)), file_(std::fopen(name.c_str(), "wb")) {
    if (file_ == nullptr) std::abort();
    fill(*this);
    bytes_ = std::ftell(file_);
    std::fclose(file_);
  }
  RecordFileForBench(const RecordFileForBench&) = delete;
  RecordFileForBench& operator=(const RecordFileForBench&) = delete;
  ~RecordFileForBench() { std::remove(name.c_str()); }

  template <class T>
  void record(const std::vector<T>& items) {
    const auto count = static_cast<int>(items.size() * sizeof(T));
    std::fwrite(&count, sizeof(count), 1, file_);
    std::fwrite(items.data(), sizeof(T), items.size(), file_);
    std::fwrite(&count, sizeof(count), 1, file_);
  }
  long bytes() const { return bytes_; }

  const std::string name;

 private:
  std::FILE* file_;
  long bytes_ = 0;
};

/// Reads the file by plain calls into a buffer that nobody has touched before.
inline void plain_read(const RecordFileForBench& file) {
  const auto bytes = static_cast<std::size_t>(file.bytes());
  const auto buffer = std::make_unique_for_overwrite<char[]>(bytes);
  const int descriptor = ::open(file.name.c_str(), O_RDONLY);
  std::size_t at = 0;
  while (at < bytes) {
    const ssize_t count = ::read(descriptor, buffer.get() + at, bytes - at);
    if (count <= 0) std::abort();
    at += static_cast<std::size_t>(count);
  }
  ::close(descriptor);
  benchmark::DoNotOptimize(buffer[bytes - 1]);
}

}  // namespace quorivex::bench
