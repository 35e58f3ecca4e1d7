// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/sensitivity/sparse_pieces.h"

#include <algorithm>
#include <bit>
#include <iterator>
#include <numeric>
#include <set>

#include "base/stop_run.h"
#include "base/view1.h"

namespace quorivex {
namespace {

constexpr std::int64_t kShares = 64;
constexpr double kMostOfMean = 1.05;  // of the shares' mean
// So many of these shares, that none has more than a 64th of all: a task for a thread.
constexpr std::int64_t kTasks = 68;
// Of a share that has so many times as many coefficients as a block has points, adding up the parts
// of blocks is a small part of the work.
constexpr std::int64_t kWorthParts = 64;
constexpr std::int64_t kTaskParts = std::int64_t{1} << kTaskForks;
// Bands for all blocks together, and of one block where there are very many.
constexpr std::int64_t kAllBands = std::int64_t{1} << 18;
constexpr std::int64_t kMinBands = 128;

/// Where a matrix is cut: numbers of its bands, block by block.
class Cuts {
 public:
  explicit Cuts(const SparseCounts& counts)
      : bands_(counts.bands), before_(counts.entries.size() + 1) {
    std::partial_sum(counts.entries.begin(), counts.entries.end(), before_.begin() + 1);
  }

  std::int64_t all() const { return before_.back(); }
  std::int64_t before(std::int64_t band) const { return before_[as_size(band)]; }
  const std::set<std::int64_t>& cuts() const { return cuts_; }

  /// Cuts so that so many shares have at most 1.05 times their mean each. There is a new cut only
  /// where the ends of blocks and the cuts already there leave a share behind the mean, and then as
  /// far on as may be.
  void divide(std::int64_t shares) {
    const double mean = static_cast<double>(all()) / static_cast<double>(shares);
    std::int64_t at = 0;
    for (std::int64_t share = 1; share < shares; ++share) {
      const double most = static_cast<double>(before(at)) + kMostOfMean * mean;
      const auto reach =
          std::upper_bound(before_.begin(), before_.end(), most,
                           [](double m, std::int64_t sum) { return m < static_cast<double>(sum); });
      const std::int64_t farthest = std::max(reach - before_.begin() - 1, at + 1);
      if (farthest >= length(before_) - 1) return;
      std::int64_t next = std::max(farthest / bands_ * bands_, last_cut(farthest));
      if (static_cast<double>(before(next)) < static_cast<double>(share) * mean || next <= at)
        next = farthest;
      cuts_.insert(next);
      at = next;
    }
  }

 private:
  std::int64_t last_cut(std::int64_t band) const {
    const auto after = cuts_.upper_bound(band);
    return after == cuts_.begin() ? 0 : *std::prev(after);
  }

  std::int64_t bands_;
  std::vector<std::int64_t> before_;
  std::set<std::int64_t> cuts_;
};

/// Appends the parts of a block that is cut within.
void add_parts(const SparseCounts& counts, const Cuts& cuts, std::int64_t block,
               std::vector<SparsePiece>& pieces) {
  const std::int64_t begin = block * counts.bands;
  const std::int64_t end = begin + counts.bands;
  std::vector<std::int64_t> ends(cuts.cuts().upper_bound(begin), cuts.cuts().lower_bound(end));
  ends.push_back(end);
  std::int64_t from = begin;
  for (std::size_t part = 0; part < ends.size(); ++part) {
    const std::int64_t to = ends[part];
    pieces.push_back({.first_block = block,
                      .last_block = block + 1,
                      .first_row = counts.first_row(from - begin),
                      .last_row = counts.first_row(to - begin),
                      .part = static_cast<std::int64_t>(part),
                      .parts = length(ends),
                      .entries = cuts.before(to) - cuts.before(from)});
    from = to;
  }
}

using Pieces = std::vector<SparsePiece>::const_iterator;

/// The end of the pieces from `first` on that have whole blocks and `most` coefficients together.
Pieces end_of_blocks(Pieces first, Pieces end, std::int64_t most) {
  std::int64_t entries = first->entries;
  for (++first; first != end && first->parts == 1; ++first) {
    entries += first->entries;
    if (entries > most) break;
  }
  return first;
}

/// The first piece of each process that takes pieces as long as it has at most `most` coefficients.
std::vector<std::int64_t> fill_up(const std::vector<SparsePiece>& pieces, std::int64_t most) {
  std::vector<std::int64_t> first;
  std::int64_t sum = most;
  for (std::int64_t n = 0; n < length(pieces); ++n) {
    const std::int64_t entries = pieces[as_size(n)].entries;
    if (sum + entries > most || first.empty()) {
      first.push_back(n);
      sum = 0;
    }
    sum += entries;
  }
  return first;
}

}  // namespace

SparseCounts::SparseCounts(std::int64_t blocks_, std::int64_t rows_)
    : blocks(blocks_),
      rows(rows_),
      bands(std::min(rows, std::max(kMinBands, kAllBands / std::max<std::int64_t>(blocks, 1)))),
      entries(allocate<std::int64_t>(as_size(blocks * bands), "getpar Gs")) {}

std::int64_t& SparseCounts::operator()(std::int64_t block, std::int64_t row) {
  return entries[as_size(block * bands + band(row))];
}

std::vector<SparsePiece> cut_into_pieces(const SparseCounts& counts, std::int64_t block_points) {
  std::vector<SparsePiece> pieces;
  if (counts.entries.empty()) return pieces;
  Cuts cuts(counts);
  cuts.divide(std::clamp(cuts.all() / block_points, std::int64_t{1}, kTasks));
  for (std::int64_t shares = std::min(cuts.all() / (kWorthParts * block_points), kShares);
       shares > 1; --shares) {
    cuts.divide(shares);
  }
  for (std::int64_t first = 0; first < counts.blocks;) {
    const std::int64_t band = first * counts.bands;
    const auto cut = cuts.cuts().upper_bound(band);
    const std::int64_t last = cut == cuts.cuts().end() ? counts.blocks : *cut / counts.bands;
    if (last == first) {
      add_parts(counts, cuts, first, pieces);
      ++first;
      continue;
    }
    pieces.push_back({.first_block = first,
                      .last_block = last,
                      .first_row = 0,
                      .last_row = counts.rows,
                      .part = 0,
                      .parts = 1,
                      .entries = cuts.before(last * counts.bands) - cuts.before(band)});
    first = last;
  }
  return pieces;
}

std::vector<std::int64_t> deal_pieces(const std::vector<SparsePiece>& pieces, int processes) {
  std::int64_t too_few = -1;
  std::int64_t enough = 0;
  for (const SparsePiece& piece : pieces) {
    too_few = std::max(too_few, piece.entries - 1);
    enough += piece.entries;
  }
  while (enough - too_few > 1) {
    const std::int64_t middle = too_few + (enough - too_few) / 2;
    (length(fill_up(pieces, middle)) <= processes ? enough : too_few) = middle;
  }
  std::vector<std::int64_t> first = fill_up(pieces, enough);
  first.resize(as_size(processes) + 1, length(pieces));
  return first;
}

std::int64_t most_of_task(const std::vector<SparsePiece>& all_pieces) {
  std::int64_t all = 0;
  for (const SparsePiece& piece : all_pieces) all += piece.entries;
  return all / kShares;
}

std::vector<SparseTask> tasks_of(const std::vector<SparsePiece>& pieces, std::int64_t most) {
  std::vector<SparseTask> tasks;
  std::int64_t share = 0;
  for (auto first = pieces.begin(); first != pieces.end();) {
    if (first->parts == 1) {
      const auto last = end_of_blocks(first, pieces.end(), most);
      tasks.push_back({first - pieces.begin(), last - pieces.begin(), -1});
      first = last;
      continue;
    }
    // Parts of this block from here on, and with the next pieces.
    const std::int64_t rest = first->parts - first->part;
    const std::int64_t here = std::min(rest, pieces.end() - first);
    std::int64_t branch = 1;
    std::int64_t entries = first->entries;
    for (std::int64_t twice = 2; twice <= kTaskParts && first->part % twice == 0; twice *= 2) {
      const std::int64_t wider = std::min(twice, rest);
      if (wider > here) break;
      for (std::int64_t n = branch; n < wider; ++n) entries += first[n].entries;
      if (entries > most) break;
      branch = wider;
    }
    const std::int64_t number = first - pieces.begin();
    tasks.push_back({number, number + branch, branch == first->parts ? -1 : share++});
    first += branch;
  }
  return tasks;
}

std::int64_t left_branch(std::int64_t n) {
  return static_cast<std::int64_t>(std::bit_floor(static_cast<std::uint64_t>(n - 1)));
}

bool is_fork(std::int64_t first, std::int64_t middle, std::int64_t last, std::int64_t leaves) {
  const std::int64_t left = left_branch(last - first);
  return middle - first == left && (first & (2 * left - 1)) == 0 &&
         last == std::min(first + 2 * left, leaves);
}

}  // namespace quorivex
