// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

#include "inversion/sensitivity/sensitivity_source.h"
#include "inversion/sensitivity/sensitivity_state.h"
#include "inversion/sensitivity/sparse_rows.h"

namespace quorivex {

/// Reads what stands before the coefficients of the rows, the source standing at the first of them.
class RowHeads {
 public:
  /// @throws StopRun when the file is too short for the number of rows
  RowHeads(SensitivitySource& source, const SensitivityState& sens);

  /// As many coefficients as the file has room for.
  std::int64_t entries() const { return entries_; }
  /// Begins the record of a row, from 0; its number of coefficients, which the record has room for.
  std::int32_t begin_row(std::int64_t row);
  /// The number of a row's record.
  static std::int64_t record(std::int64_t row) { return 7 + row; }

 private:
  SensitivitySource& source_;
  const SensitivityState& sens_;
  std::int64_t entries_;
};

/// Coefficients and rows that are read together.
struct BatchSize {
  std::int64_t entries;
  std::int64_t rows;
};
BatchSize batch_size(std::int64_t entries, std::int64_t rows);

/// Reads the rows of a compressed matrix in batches, small against the matrix. The source stands at
/// the first row; both arguments outlive the reader.
class RowReader {
 public:
  /// @throws StopRun when the file is too short for the number of rows
  RowReader(SensitivitySource& source, const SensitivityState& sens);

  /// As many coefficients as the file has room for.
  std::int64_t entries() const { return heads_.entries(); }
  bool rows_left() const { return read_ < sens_.ndata; }
  /// The next rows, at least one; there are rows left.
  /// @throws StopRun "ERROR reading sensitivity file ..."; alloc_error("getpar")
  SparseRows next();

 private:
  SensitivitySource& source_;
  const SensitivityState& sens_;
  RowHeads heads_;
  BatchSize batch_;
  std::int32_t read_ = 0;  // rows
  std::int32_t nnz_ = 0;   // of the row that has begun
  bool begun_ = false;
};

}  // namespace quorivex
