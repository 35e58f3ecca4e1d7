// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <string_view>
#include <utility>

#include "base/memory.h"
#include "base/stop_run.h"
#include "base/view1.h"

namespace quorivex {

/// Owned storage that is not set to zero first: what a file fills is touched once, by the read.
template <class T>
class UninitializedArray {
 public:
  UninitializedArray() = default;
  /// What was moved from is empty.
  UninitializedArray(UninitializedArray&& other) noexcept
      : data_(std::move(other.data_)), size_(std::exchange(other.size_, 0)) {}
  UninitializedArray& operator=(UninitializedArray&& other) noexcept {
    data_ = std::move(other.data_);
    size_ = std::exchange(other.size_, 0);
    return *this;
  }

  /// `size` elements of undefined value; when memory is short, `alloc_error(label)`.
  UninitializedArray(std::int64_t size, std::string_view label) : size_(size) {
    try {
      data_.reset(static_cast<T*>(raw_memory(as_size(size) * sizeof(T))));
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
  struct Free {
    void operator()(T* data) const { std::free(data); }
  };
  std::unique_ptr<T[], Free> data_;
  std::int64_t size_ = 0;
};

}  // namespace quorivex
