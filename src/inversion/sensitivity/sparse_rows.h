// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/uninitialized_array.h"
#include "base/view1.h"

namespace quorivex {

/// Nonzero wavelet-domain coefficients of one row, in file order.
struct SparseRow {
  View1<const float> values;
  View1<const std::int32_t> positions;  ///< from 1, in the wavelet grid
};

/// The same, to be filled or reordered.
struct MutableSparseRow {
  View1<float> values;
  View1<std::int32_t> positions;
};

/// Consecutive rows of a compressed matrix, one after the other as they lie in the file: the
/// positions of a row, then its values, 8 bytes per coefficient.
class SparseRows {
 public:
  static constexpr std::int64_t kEntryBytes = sizeof(std::int32_t) + sizeof(float);

  SparseRows() = default;
  /// Room for so many rows with so many entries in all; what is not filled is never touched.
  SparseRows(std::int64_t rows, std::int64_t entries) : bytes_(entries * kEntryBytes, "getpar") {
    with_alloc_label("getpar", [&] { reserve_checked(ends_, as_size(rows + 1)); });
  }

  /// Entries that can still be appended.
  std::int64_t room() const { return bytes_.size() / kEntryBytes - entries(); }
  /// Appends a row of nnz entries, at most `room()`; its bytes are to be filled through the result.
  std::byte* append(std::int64_t nnz) {
    std::byte* row = bytes_.data() + entries() * kEntryBytes;
    ends_.push_back(entries() + nnz);
    return row;
  }

  std::int64_t rows() const { return length(ends_) - 1; }
  std::int64_t entries() const { return ends_.back(); }
  /// Row i of these, from 1.
  SparseRow operator()(std::int64_t i) const {
    const auto* positions = reinterpret_cast<const std::int32_t*>(bytes_.data() + offset(i));
    const auto* values = reinterpret_cast<const float*>(positions + nnz(i));
    return {{values, nnz(i)}, {positions, nnz(i)}};
  }
  MutableSparseRow operator()(std::int64_t i) {
    auto* positions = reinterpret_cast<std::int32_t*>(bytes_.data() + offset(i));
    auto* values = reinterpret_cast<float*>(positions + nnz(i));
    return {{values, nnz(i)}, {positions, nnz(i)}};
  }

 private:
  std::int64_t offset(std::int64_t i) const { return ends_[as_size(i - 1)] * kEntryBytes; }
  std::int64_t nnz(std::int64_t i) const { return ends_[as_size(i)] - ends_[as_size(i - 1)]; }

  UninitializedArray<std::byte> bytes_;
  std::vector<std::int64_t> ends_{0};  // of the rows; the first entry is where row 1 begins
};

}  // namespace quorivex
