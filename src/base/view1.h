// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <vector>

namespace quorivex {

/// Count or offset as a container size; negative numbers must not get here.
inline std::size_t as_size(std::int64_t count) {
  assert(count >= 0);
  return static_cast<std::size_t>(count);
}

/// Size of a container as the signed number that counts and cell numbers are.
template <class Container>
std::int64_t length(const Container& container) {
  return static_cast<std::int64_t>(container.size());
}

/// A piece of contiguous storage that is read with parentheses and counts from 1, as the files
/// and the formulas do. It owns nothing; debug builds check the bounds.
template <class T>
class View1 {
 public:
  View1() = default;
  View1(T* data, std::int64_t size) : data_(data), size_(size) {}

  template <class U>
  View1(std::vector<U>& values)  // NOLINT(google-explicit-constructor): a view of the whole
      requires std::is_convertible_v<U*, T*> : View1(values.data(), length(values)) {}

  template <class U>
  View1(const std::vector<U>& values)  // NOLINT(google-explicit-constructor)
      requires std::is_convertible_v<const U*, T*> : View1(values.data(), length(values)) {}

  template <class U>
  View1(const View1<U>& other)  // NOLINT(google-explicit-constructor): adds const
      requires std::is_convertible_v<U*, T*> : View1(other.data(), other.size()) {}

  T& operator()(std::int64_t number) const {
    assert(number >= 1 && number <= size_);
    return data_[number - 1];
  }
  T* data() const { return data_; }
  T* begin() const { return data_; }
  T* end() const { return data_ + size_; }
  std::int64_t size() const { return size_; }

 private:
  T* data_ = nullptr;
  std::int64_t size_ = 0;
};

}  // namespace quorivex
