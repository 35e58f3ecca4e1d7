// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <memory>
#include <new>
#include <string_view>

#include "base/memory.h"
#include "base/stop_run.h"
#include "base/view1.h"

namespace quorivex {

/// Owned storage that is not set to zero first: what a file fills is touched once, by the read.
template <class T>
class RawArray {
 public:
  RawArray() = default;

  /// `size` elements of undefined value; when memory is short, `alloc_error(label)`.
  RawArray(std::int64_t size, std::string_view label) : size_(size) {
    try {
      expect_memory(as_size(size) * sizeof(T));
      data_ = std::make_unique_for_overwrite<T[]>(as_size(size));
    } catch (const std::bad_alloc&) {
      alloc_error(label);
    }
  }

  T* data() { return data_.get(); }
  const T* data() const { return data_.get(); }
  std::int64_t size() const { return size_; }
  View1<T> view() { return {data_.get(), size_}; }
  View1<const T> view() const { return {data_.get(), size_}; }

 private:
  std::unique_ptr<T[]> data_;
  std::int64_t size_ = 0;
};

}  // namespace quorivex
