// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/sensitivity/getpar.h"

#include <fmt/format.h>
#include <omp.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <future>
#include <limits>

#include "base/multiversion.h"
#include "base/record_file.h"
#include "base/stop_run.h"

namespace quorivex {
namespace {

QUORIVEX_MULTIVERSIONED
bool all_in_range(const std::int32_t* values, std::int64_t count, std::int32_t least,
                  std::int32_t most) {
  const auto width = static_cast<std::uint32_t>(most) - static_cast<std::uint32_t>(least);
  std::uint32_t wrong = 0;
#pragma omp simd reduction(| : wrong)
  for (std::int64_t i = 0; i < count; ++i) {
    wrong |= static_cast<std::uint32_t>(values[i]) - static_cast<std::uint32_t>(least) > width;
  }
  return wrong == 0;
}

/// The open file with the two ways in which it can be wrong.
struct Source {
  std::string name;
  RecordFile file;

  /// A record that is missing, cut off or too short.
  void need(bool read) const {
    if (!read) stop_run(fmt::format("ERROR reading sensitivity file {}", name));
  }
  /// A record that says what cannot be.
  void check(bool holds, const std::string& why) const {
    if (!holds) stop_run(fmt::format("ERROR reading sensitivity file {}\n {}", name, why));
  }
  void check_range(View1<const std::int32_t> values, std::int32_t least, std::int32_t most,
                   std::int64_t record, std::string_view what) const {
    if (all_in_range(values.data(), values.size(), least, most)) return;
    const auto* wrong = std::find_if(values.begin(), values.end(), [=](std::int32_t value) {
      return value < least || value > most;
    });
    check(false, fmt::format("Record {}: {} should lie from {} to {}; found {}.", record, what,
                             least, most, *wrong));
  }
  /// Begins a record that must hold `count` items of `bytes` each, before they are allocated.
  void begin(std::int64_t count, std::size_t bytes) {
    need(file.begin() && count * static_cast<std::int64_t>(bytes) <= file.left_in_record());
  }
};

void read_counts(Source& source, SensitivityFile& to) {
  std::int32_t counts[5] = {};
  source.need(source.file.begin() && source.file.read(counts, 5) && source.file.finish());
  to.sens.ndata = counts[0];
  to.sens.nsens = counts[1];
  to.mesh.nn = counts[2];
  to.mesh.ne = counts[3];
  to.mesh.nz = counts[4];
  source.check(to.sens.ndata >= 0 && to.sens.nsens >= 0,
               fmt::format("Record 1: ndata and nsens should not be negative; found {} and {}.",
                           to.sens.ndata, to.sens.nsens));
  source.check(valid_counts(to.mesh.ne, to.mesh.nn, to.mesh.nz),
               fmt::format("Record 1: nn, ne and nz should be positive and give at most 2147483647 "
                           "cells; found {}, {} and {}.",
                           to.mesh.nn, to.mesh.ne, to.mesh.nz));
}

void read_column_tops(Source& source, SensitivityFile& to) {
  const std::int64_t columns = std::int64_t{to.mesh.nn} * to.mesh.ne;
  source.begin(columns, sizeof(std::int32_t));
  to.tops.nn = to.mesh.nn;
  to.tops.ne = to.mesh.ne;
  to.tops.tops = allocate<std::int32_t>(as_size(columns), "getpar");
  source.need(source.file.read(to.tops.tops.data(), columns) && source.file.finish());
  source.check_range(to.tops.tops, 0, to.mesh.nz, 3, "column tops");
}

void read_filter(Source& source, SensitivityState& sens) {
  std::int32_t nfilt = 0;
  source.need(source.file.begin() && source.file.read(&nfilt, 1));
  const std::int64_t count = std::max(nfilt, 0);
  source.need(count * std::int64_t{sizeof(double)} <= source.file.left_in_record());
  std::vector<double> low_pass = allocate<double>(as_size(count), "getpar");
  source.need(source.file.read(low_pass.data(), count) && source.file.finish());
  for (const double coefficient : low_pass) {
    source.check(std::isfinite(coefficient),
                 "Record 4: the coefficients of the filter should be finite numbers; found one "
                 "that is not.");
  }
  sens.filter = WTN_MOD::filter_setup(std::move(low_pass));
  sens.compressed = nfilt >= 1;
}

/// An axis of a wavelet grid that the transform can work on and that has room for `cells`.
bool valid_axis(std::int32_t points, std::int32_t cells) {
  return points >= cells &&
         (points <= 4 || std::has_single_bit(static_cast<std::uint32_t>(points)));
}

/// A full matrix has no wavelet grid; of its counts only the sign and the product are looked at.
void read_grid(Source& source, const Mesh& mesh, SensitivityState& sens) {
  std::int32_t counts[3] = {};
  source.need(source.file.begin() && source.file.read(counts, 3) && source.file.finish());
  sens.nw3 = counts[0];
  sens.nw2 = counts[1];
  sens.nw1 = counts[2];
  constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max();
  const std::int64_t plane = std::int64_t{sens.nw1} * sens.nw2;
  const bool fits = std::min({sens.nw1, sens.nw2, sens.nw3}) >= (sens.compressed ? 1 : 0) &&
                    plane <= kMost && (plane == 0 || sens.nw3 <= kMost / plane);
  source.check(
      fits, fmt::format("Record 5: nw3, nw2 and nw1 should be {} and give at most "
                        "2147483647 points; found {}, {} and {}.",
                        sens.compressed ? "positive" : "0 or more", sens.nw3, sens.nw2, sens.nw1));
  sens.nwav = static_cast<std::int32_t>(plane * sens.nw3);
  if (!sens.compressed) return;
  const bool valid = valid_axis(sens.nw3, mesh.nn) && valid_axis(sens.nw2, mesh.ne) &&
                     valid_axis(sens.nw1, mesh.nz);
  source.check(valid, fmt::format("Record 5: nw3, nw2 and nw1 should be at least nn, ne and nz = "
                                  "{}, {} and {}, and powers of two where above 4; found {}, {} "
                                  "and {}.",
                                  mesh.nn, mesh.ne, mesh.nz, sens.nw3, sens.nw2, sens.nw1));
}

void read_wtz(Source& source, SensitivityState& sens) {
  std::int32_t unused = 0;
  source.need(source.file.begin() && source.file.read(&unused, 1));
  source.need(sens.nsens * std::int64_t{sizeof(double)} <= source.file.left_in_record());
  sens.wtz = allocate<double>(as_size(sens.nsens), "getpar");
  source.need(source.file.read(sens.wtz.data(), sens.nsens) && source.file.finish());
}

Source open_source(const std::string& name) {
  std::optional<RecordFile> file = RecordFile::open(name);
  if (!file) file_not_found("sensitivity", name);
  return {name, std::move(*file)};
}

/// Records 1 to 5.
void read_heading(Source& source, SensitivityFile& to) {
  read_counts(source, to);
  std::optional<Mesh> mesh = read_mesh_record(source.file, to.mesh.nn, to.mesh.ne, to.mesh.nz);
  source.need(mesh.has_value());
  to.mesh = std::move(*mesh);
  read_column_tops(source, to);
  read_filter(source, to.sens);
  read_grid(source, to.mesh, to.sens);
}

/// Reads the rows of a compressed matrix in batches.
class RowReader {
 public:
  RowReader(Source& source, const SensitivityState& sens) : source_(source), sens_(sens) {
    // Behind the rows, each with its frame and its count, stands gdiag in a frame of its own.
    const std::int64_t left = source.file.left_in_file() - std::int64_t{sens.ndata} * 12 -
                              (std::int64_t{sens.nsens} + 1) * 8;
    source.need(left >= 0);
    const std::int64_t entries =
        std::min(left / SparseRows::kEntryBytes, std::int64_t{sens.ndata} * sens.nwav);
    // Two batches are in memory beside the matrix; sixteenths keep them small against it.
    entries_ = entries;
    batch_entries_ = std::clamp(entries / 16, std::min(entries, kFewest), kMost);
    batch_rows_ = sens.ndata / 16 + 1;
  }

  /// As many coefficients as the file has room for.
  std::int64_t entries() const { return entries_; }

  /// The next rows; none behind the last.
  SparseRows next() {
    SparseRows rows;
    for (; read_ < sens_.ndata && rows.rows() < batch_rows_; ++read_) {
      if (!begun_) begin_row();
      if (rows.rows() == 0)
        rows = SparseRows(batch_rows_, std::max(batch_entries_, std::int64_t{nnz_}));
      if (nnz_ > rows.room()) break;
      std::byte* row = rows.append(nnz_);
      source_.need(source_.file.read(row, nnz_ * SparseRows::kEntryBytes) && source_.file.finish());
      source_.check_range(rows(rows.rows()).positions, 1, sens_.nwav, record(), "positions");
      begun_ = false;
    }
    return rows;
  }

 private:
  static constexpr std::int64_t kFewest = std::int64_t{1} << 16;
  static constexpr std::int64_t kMost = std::int64_t{1} << 24;

  std::int64_t record() const { return std::int64_t{7} + read_; }

  void begin_row() {
    source_.need(source_.file.begin() && source_.file.read(&nnz_, 1));
    if (nnz_ < 0 || nnz_ > sens_.nwav) {
      source_.check(false, fmt::format("Record {}: the number of coefficients should lie from 0 "
                                       "to {}; found {}.",
                                       record(), sens_.nwav, nnz_));
    }
    source_.need(nnz_ * SparseRows::kEntryBytes <= source_.file.left_in_record());
    begun_ = true;
  }

  Source& source_;
  const SensitivityState& sens_;
  std::int64_t entries_ = 0;
  std::int64_t batch_entries_ = 0;
  std::int64_t batch_rows_ = 0;
  std::int32_t read_ = 0;  // rows
  std::int32_t nnz_ = 0;   // of the row that has begun
  bool begun_ = false;
};

/// One batch is read while the one before it is built into the matrix; not where rows are so few
/// that two of them would weigh against all.
void read_sparse_rows(Source& source, SensitivityState& sens) {
  RowReader reader(source, sens);
  sens.Gs = SparseMatrix(sens.nwav, sens.ndata, reader.entries());
  constexpr std::int32_t kFew = 16;
  const auto when = sens.ndata < kFew ? std::launch::deferred  // also where no thread can be had
                                      : std::launch::async | std::launch::deferred;
  SparseRows rows = reader.next();
  while (rows.rows() > 0) {
    std::future<SparseRows> next = std::async(when, [&] { return reader.next(); });
    sens.Gs.append(rows);
    rows = SparseRows();
    rows = next.get();
  }
  sens.nchunk = pieces_of_rows(static_cast<double>(sens.Gs.entries()) / std::max(sens.ndata, 1),
                               omp_get_max_threads());
}

void read_full_rows(Source& source, SensitivityState& sens, Report& report) {
  report.both(
      "WARNING: no compression is used for the sensitivity matrix.\n"
      "The program will run longer and need a lot more memory.\n");
  const std::int64_t nsens = sens.nsens;
  const std::uint64_t row_bytes = sizeof(float) * static_cast<std::uint64_t>(nsens) + 8;
  // At most 2^64 - 4: no overflow.
  source.need(row_bytes * static_cast<std::uint64_t>(sens.ndata) <=
              static_cast<std::uint64_t>(source.file.left_in_file()));
  sens.Gfull = {nsens, UninitializedArray<float>(nsens * sens.ndata, "getpar Gfull")};
  float* row = sens.Gfull.values.data();
  for (std::int32_t i = 1; i <= sens.ndata; ++i, row += nsens) {
    source.need(source.file.begin() && source.file.read(row, nsens) && source.file.finish());
  }
  sens.nblock = blocks_of_cells(sens.nsens, omp_get_max_threads());
}

void read_gdiag(Source& source, SensitivityState& sens) {
  source.begin(sens.nsens, sizeof(double));
  sens.gdiag = allocate<double>(as_size(sens.nsens), "getpar gdiag");
  source.need(source.file.read(sens.gdiag.data(), sens.nsens) && source.file.finish());
}

}  // namespace

std::int32_t pieces_of_rows(double mean_entries, std::int32_t threads) {
  return std::max(static_cast<std::int32_t>(std::ceil(mean_entries / 5000.0)), threads);
}

std::int32_t blocks_of_cells(std::int32_t nsens, std::int32_t threads) {
  return std::max(static_cast<std::int32_t>(std::ceil(nsens / 10000.0)), threads);
}

SensitivityFile read_sensitivity_heading(const std::string& name) {
  Source source = open_source(name);
  SensitivityFile to;
  read_heading(source, to);
  read_wtz(source, to.sens);
  return to;
}

SensitivityFile getpar(const std::string& name, Report& report) {
  Source source = open_source(name);
  SensitivityFile to;
  read_heading(source, to);
  report.flush_log();
  read_wtz(source, to.sens);
  if (to.sens.compressed) {
    read_sparse_rows(source, to.sens);
  } else {
    read_full_rows(source, to.sens, report);
  }
  read_gdiag(source, to.sens);
  return to;
}

}  // namespace quorivex
