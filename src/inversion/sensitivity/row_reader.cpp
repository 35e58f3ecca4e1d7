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

RowHeads::RowHeads(SensitivitySource& source, const SensitivityState& sens)
    : source_(source), sens_(sens) {
  // After the rows, each with its frame and its count, comes gdiag in a frame of its own.
  const std::int64_t left =
      source.file.left_in_file() - std::int64_t{sens.ndata} * 12 - (sens.columns() + 1) * 8;
  source.need(left >= 0);
  entries_ = std::min(left / SparseRows::kEntryBytes, std::int64_t{sens.ndata} * sens.nwav);
}

std::int32_t RowHeads::begin_row(std::int64_t row) {
  std::int32_t nnz = 0;
  source_.need(source_.file.begin() && source_.file.read(&nnz, 1));
  if (nnz < 0 || nnz > sens_.nwav) {
    source_.check(false, fmt::format("Record {}: the number of coefficients should lie from 0 "
                                     "to {}; found {}.",
                                     record(row), sens_.nwav, nnz));
  }
  source_.need(nnz * SparseRows::kEntryBytes <= source_.file.left_in_record());
  return nnz;
}

BatchSize batch_size(std::int64_t entries, std::int64_t rows) {
  return {std::clamp(entries / 16, std::min(entries, kMinBatch), kMaxBatch),
          std::min<std::int64_t>(rows / 16 + 1, SparseMatrix::kMaxRows)};
}

RowReader::RowReader(SensitivitySource& source, const SensitivityState& sens)
    : source_(source),
      sens_(sens),
      heads_(source, sens),
      batch_(batch_size(heads_.entries(), sens.ndata)) {}

SparseRows RowReader::next() {
  SparseRows rows;
  for (; rows_left() && rows.rows() < batch_.rows; ++read_) {
    if (!begun_) nnz_ = heads_.begin_row(read_);
    begun_ = true;
    if (rows.rows() == 0) {
      rows = SparseRows(batch_.rows, std::max(batch_.entries, std::int64_t{nnz_}));
    }
    if (nnz_ > rows.room()) break;
    std::byte* row = rows.append(nnz_);
    source_.need(source_.file.read(row, nnz_ * SparseRows::kEntryBytes) && source_.file.finish());
    source_.check_range(rows(rows.rows()).positions, 1, sens_.nwav, RowHeads::record(read_),
                        "positions");
    begun_ = false;
  }
  return rows;
}

}  // namespace quorivex
