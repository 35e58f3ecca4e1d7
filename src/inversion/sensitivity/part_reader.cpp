// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/sensitivity/part_reader.h"

#include <algorithm>
#include <optional>

#include "base/stop_run.h"
#include "inversion/sensitivity/row_reader.h"

namespace quorivex {
namespace {

constexpr const char* kPartRoutine = "getpar";
constexpr std::int64_t kReadAhead = 64;  // heads and tails, between which most is passed over

/// Where a row's record begins, as what is left of the file, and its number of coefficients.
struct RowPlace {
  std::int64_t place = 0;
  std::int64_t nnz = 0;
};

/// The records of all rows, or those before the first that cannot be right, and what is wrong
/// there.
struct Walk {
  std::vector<RowPlace> rows;
  std::optional<StopRun> stop;
};

Walk walk_records(SensitivitySource& source, RowHeads& heads, std::int32_t ndata) {
  Walk walk;
  with_alloc_label(kPartRoutine, [&] { reserve_checked(walk.rows, as_size(ndata)); });
  try {
    for (std::int32_t i = 0; i < ndata; ++i) {
      const std::int64_t place = source.file.left_in_file();
      const std::int32_t nnz = heads.begin_row(i);
      source.need(source.file.finish());
      walk.rows.push_back({place, nnz});
    }
  } catch (const StopRun& stop) {
    walk.stop = stop;
  }
  return walk;
}

/// Goes to the beginning of a row's positions.
void go_to(SensitivitySource& source, const RowPlace& row) {
  std::int32_t nnz = 0;
  source.need(source.file.return_to(row.place) && source.file.begin() &&
              source.file.read(&nnz, 1) && nnz == row.nnz);
}

/// What the steps of reading share.
struct PartReader {
  SensitivitySource& source;
  SensitivityState& sens;
  SparseBlocks blocks;
  Walk walk;

  /// Of the rows that could be walked, those whose positions this process looks at.
  ranks::Share looked_at() const {
    const ranks::Share share = ranks::share_of(sens.ndata, ranks::rank(), ranks::count());
    const std::int64_t rows = length(walk.rows);
    return {std::min(share.begin, rows), std::min(share.end, rows)};
  }
  /// Calls visit(row, positions), row from 0, for these rows.
  template <class Visit>
  void for_each_row(Visit visit) {
    std::vector<std::int32_t> positions;
    const ranks::Share share = looked_at();
    for (std::int64_t row = share.begin; row < share.end; ++row) {
      const RowPlace& place = walk.rows[as_size(row)];
      positions = {};
      positions = allocate<std::int32_t>(as_size(place.nnz), kPartRoutine);
      go_to(source, place);
      source.need(source.file.read(positions.data(), place.nnz));
      visit(row, positions);
    }
  }
};

/// Counts the coefficients of all rows, each process those of its share, and deals the pieces.
void deal(PartReader& reader) {
  SparseCounts counts(reader.blocks.count, reader.sens.ndata);
  reader.for_each_row([&](std::int64_t row, const std::vector<std::int32_t>& positions) {
    reader.source.check_range(positions, 1, reader.sens.nwav, RowHeads::record(row), "positions");
    for (const std::int32_t p : positions) ++counts(reader.blocks.of(p), row);
  });
  ranks::sum(counts.entries);
  if (reader.walk.stop) throw StopRun(*reader.walk.stop);
  SparseShares& shares = reader.sens.part.shares;
  with_alloc_label(kPartRoutine, [&] {
    shares.pieces = cut_into_pieces(counts, reader.blocks.points());
    shares.first_piece = deal_pieces(shares.pieces, ranks::count());
  });
}

/// The blocks of which a process has a row.
ranks::Share blocks_of_row(const SparseShares& shares, int process, std::int64_t row) {
  const auto [first, last] = shares.pieces_of(process);
  if (first == last) return {};
  const SparsePiece& begin = shares.pieces[as_size(first)];
  const SparsePiece& end = shares.pieces[as_size(last - 1)];
  const ranks::Share blocks{begin.first_block + (row < begin.first_row ? 1 : 0),
                            end.last_block - (row >= end.last_row ? 1 : 0)};
  return {blocks.begin, std::max(blocks.begin, blocks.end)};
}

/// A process' coefficients of a row: from the first, and how many. The first is -1 where the
/// positions do not rise.
struct RowRange {
  std::int32_t first;
  std::int32_t count;
};
static_assert(sizeof(RowRange) == 2 * sizeof(std::int32_t));

View1<std::int32_t> numbers_of(std::vector<RowRange>& ranges) {
  return {reinterpret_cast<std::int32_t*>(ranges.data()), 2 * length(ranges)};
}

/// Of positions that rise, those in a range of blocks.
RowRange range_in(const std::vector<std::int32_t>& positions, const SparseBlocks& blocks,
                  const ranks::Share& range) {
  const auto before = [&](std::int32_t p, std::int64_t block) { return blocks.of(p) < block; };
  const auto first = std::lower_bound(positions.begin(), positions.end(), range.begin, before);
  const auto last = std::lower_bound(first, positions.end(), range.end, before);
  return {static_cast<std::int32_t>(first - positions.begin()),
          static_cast<std::int32_t>(last - first)};
}

/// Tells every process where its coefficients lie in the rows of this one's share; what this one
/// is told by all of them, row by row.
std::vector<RowRange> exchange_ranges(PartReader& reader) {
  const SparseShares& shares = reader.sens.part.shares;
  const std::int64_t own = reader.looked_at().size();
  std::vector<RowRange> told = allocate<RowRange>(as_size(own * ranks::count()), kPartRoutine);
  reader.for_each_row([&](std::int64_t row, std::vector<std::int32_t>& positions) {
    const bool rises = std::is_sorted(positions.begin(), positions.end());
    if (!rises) std::sort(positions.begin(), positions.end());
    for (int r = 0; r < ranks::count(); ++r) {
      RowRange range = range_in(positions, reader.blocks, blocks_of_row(shares, r, row));
      if (!rises) range.first = -1;
      told[as_size(r * own + row - reader.looked_at().begin)] = range;
    }
  });
  std::vector<RowRange> ranges = allocate<RowRange>(as_size(reader.sens.ndata), kPartRoutine);
  std::vector<std::int64_t> sent(as_size(ranks::count()), 2 * own);
  std::vector<std::int64_t> received(sent);
  for (int r = 0; r < ranks::count(); ++r)
    received[as_size(r)] = 2 * ranks::share_of(reader.sens.ndata, r, ranks::count()).size();
  ranks::exchange(numbers_of(told), sent, numbers_of(ranges), received);
  return ranges;
}

/// Fills a row with its coefficients in the range, whose positions are then counted from the first
/// point of the block `first_block`.
void read_row(PartReader& reader, std::int64_t row, const RowRange& range, const ranks::Share& own,
              std::int64_t first_block, SparseRows& rows) {
  if (range.count == 0) {
    rows.append(0);
    return;
  }
  SensitivitySource& source = reader.source;
  const RowPlace& place = reader.walk.rows[as_size(row)];
  go_to(source, place);
  std::byte* const to = rows.append(range.count);
  auto* const positions = reinterpret_cast<std::int32_t*>(to);
  auto* const values = reinterpret_cast<float*>(positions + range.count);
  if (range.first >= 0) {
    const std::int64_t left = place.nnz - range.count;
    source.need(source.file.pass<std::int32_t>(range.first) &&
                source.file.read(positions, range.count) && source.file.pass<float>(left) &&
                source.file.read(values, range.count));
  } else {
    SparseRows whole(1, place.nnz);
    std::byte* const bytes = whole.append(place.nnz);
    source.need(source.file.read(bytes, place.nnz * SparseRows::kEntryBytes));
    sort_rows(whole);
    const MutableSparseRow sorted = whole(1);
    const auto first = std::lower_bound(
        sorted.positions.begin(), sorted.positions.end(), own.begin,
        [&](std::int32_t p, std::int64_t block) { return reader.blocks.of(p) < block; });
    std::copy_n(first, range.count, positions);
    std::copy_n(sorted.values.begin() + (first - sorted.positions.begin()), range.count, values);
  }
  const auto points_before = static_cast<std::int32_t>(first_block * reader.blocks.points());
  for (std::int64_t k = 0; k < range.count; ++k) positions[k] -= points_before;
}

}  // namespace

void read_part_of_sparse_rows(SensitivitySource& source, SensitivityState& sens) {
  RowHeads heads(source, sens);
  // One of the processes may see less of the file; the blocks are those of all of them.
  const SparseBlocks blocks(sens.nwav, sens.ndata, ranks::max(heads.entries()));
  source.file.set_read_ahead(kReadAhead);
  PartReader reader{source, sens, blocks, walk_records(source, heads, sens.ndata)};
  const std::int64_t end = source.file.left_in_file();
  deal(reader);
  const std::vector<RowRange> ranges = exchange_ranges(reader);
  const SparseShares& shares = sens.part.shares;
  const std::int64_t first_block = shares.blocks(ranks::rank()).begin;
  sens.Gs = SparseMatrix(blocks, shares.blocks(ranks::rank()), shares.pieces,
                         shares.pieces_of(ranks::rank()));
  std::int64_t entries = 0;
  for (const RowRange& range : ranges) entries += range.count;
  const BatchSize batch = batch_size(entries, sens.ndata);
  for (std::int64_t row = 0; row < sens.ndata;) {
    std::int64_t last = row;
    std::int64_t sum = 0;
    for (; last < sens.ndata && last - row < batch.rows; ++last) {
      const std::int64_t more = ranges[as_size(last)].count;
      if (last > row && sum + more > batch.entries) break;
      sum += more;
    }
    SparseRows rows(last - row, sum);
    for (; row < last; ++row) {
      read_row(reader, row, ranges[as_size(row)], blocks_of_row(shares, ranks::rank(), row),
               first_block, rows);
    }
    sens.Gs.append(rows);
  }
  source.need(source.file.return_to(end));
}

void read_part_of_full_rows(SensitivitySource& source, SensitivityState& sens) {
  const ranks::Share own = sens.part.own_columns(ranks::rank());
  sens.Gfull = {own.size(), UninitializedArray<float>(own.size() * sens.ndata, "getpar Gfull")};
  source.file.set_read_ahead(kReadAhead);
  float* row = sens.Gfull.values.data();
  for (std::int32_t i = 1; i <= sens.ndata; ++i, row += own.size()) {
    source.need(source.file.begin() &&
                source.file.left_in_record() >= sens.part.columns * std::int64_t{sizeof(float)} &&
                source.file.pass<float>(own.begin) && source.file.read(row, own.size()) &&
                source.file.finish());
  }
}

}  // namespace quorivex
