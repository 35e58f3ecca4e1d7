// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

#include "inversion/sensitivity/sensitivity_source.h"
#include "inversion/sensitivity/sensitivity_state.h"
#include "inversion/sensitivity/sparse_rows.h"

namespace quorivex {

/// Reads the rows of a compressed matrix in batches, small against the matrix. The source stands at
/// the first row; both arguments outlive the reader.
class RowReader {
 public:
  /// @throws StopRun when the file is too short for the number of rows
  RowReader(SensitivitySource& source, const SensitivityState& sens);

  /// As many coefficients as the file has room for.
  std::int64_t entries() const { return entries_; }
  bool rows_left() const { return read_ < sens_.ndata; }
  /// The next rows, at least one; there are rows left.
  /// @throws StopRun "ERROR reading sensitivity file ..."; alloc_error("getpar")
  SparseRows next();

 private:
  std::int64_t record() const { return std::int64_t{7} + read_; }
  void begin_row();

  SensitivitySource& source_;
  const SensitivityState& sens_;
  std::int64_t entries_;
  std::int64_t batch_entries_;
  std::int64_t batch_rows_;
  std::int32_t read_ = 0;  // rows
  std::int32_t nnz_ = 0;   // of the row that has begun
  bool begun_ = false;
};

}  // namespace quorivex
