// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/sensitivity/row_reader.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorivex {
namespace {

// A batch is a sixteenth of the matrix, within these numbers of coefficients.
constexpr std::int64_t kMinBatch = std::int64_t{1} << 16;
constexpr std::int64_t kMaxBatch = std::int64_t{1} << 24;

}  // namespace

RowReader::RowReader(SensitivitySource& source, const SensitivityState& sens)
    : source_(source), sens_(sens) {
  // After the rows, each with its frame and its count, comes gdiag in a frame of its own.
  const std::int64_t left = source.file.left_in_file() - std::int64_t{sens.ndata} * 12 -
                            (std::int64_t{sens.nsens} + 1) * 8;
  source.need(left >= 0);
  entries_ = std::min(left / SparseRows::kEntryBytes, std::int64_t{sens.ndata} * sens.nwav);
  batch_entries_ = std::clamp(entries_ / 16, std::min(entries_, kMinBatch), kMaxBatch);
  batch_rows_ = std::min<std::int64_t>(sens.ndata / 16 + 1, SparseMatrix::kMaxRows);
}

SparseRows RowReader::next() {
  SparseRows rows;
  for (; rows_left() && rows.rows() < batch_rows_; ++read_) {
    if (!begun_) begin_row();
    if (rows.rows() == 0) {
      rows = SparseRows(batch_rows_, std::max(batch_entries_, std::int64_t{nnz_}));
    }
    if (nnz_ > rows.room()) break;
    std::byte* row = rows.append(nnz_);
    source_.need(source_.file.read(row, nnz_ * SparseRows::kEntryBytes) && source_.file.finish());
    source_.check_range(rows(rows.rows()).positions, 1, sens_.nwav, record(), "positions");
    begun_ = false;
  }
  return rows;
}

void RowReader::begin_row() {
  source_.need(source_.file.begin() && source_.file.read(&nnz_, 1));
  if (nnz_ < 0 || nnz_ > sens_.nwav) {
    source_.check(false, fmt::format("Record {}: the number of coefficients should lie from 0 "
                                     "to {}; found {}.",
                                     record(), sens_.nwav, nnz_));
  }
  source_.need(nnz_ * SparseRows::kEntryBytes <= source_.file.left_in_record());
  begun_ = true;
}

}  // namespace quorivex
