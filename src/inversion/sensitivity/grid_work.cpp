// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/sensitivity/grid_work.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "base/phase_times.h"
#include "base/ranks.h"

namespace quorivex {
namespace {

using ranks::Share;

/// Who has what of a grid, in points of the whole grid.
struct Layout {
  explicit Layout(const SensitivityState& state)
      : sens(state), plane(std::int64_t{sens.nw1} * sens.nw2), mesh_rows(sens.part.mesh_rows) {}

  Share rows(int r) const { return {mesh_rows[as_size(r)], mesh_rows[as_size(r + 1)]}; }
  /// Of every plane.
  Share lines(int r) const { return ranks::share_of(plane, r, ranks::count()); }
  Share points(const Share& blocks) const {
    const std::int64_t of_block = sens.Gs.block_points();
    const auto end = [&](std::int64_t block) {
      return std::min(block * of_block, std::int64_t{sens.nwav});
    };
    return {end(blocks.begin), end(blocks.end)};
  }
  Share points(int r) const { return points(sens.part.shares.blocks(r)); }
  Share home_points(int r) const { return points(sens.part.shares.home_blocks(r)); }

  const SensitivityState& sens;
  std::int64_t plane;
  const std::vector<std::int64_t>& mesh_rows;
};

/// Calls visit(begin, end) for the runs of points in a range that lie on some lines, plane by
/// plane; their number.
template <class Visit>
std::int64_t for_each_run(const Share& points, const Share& lines, std::int64_t plane,
                          Visit visit) {
  std::int64_t count = 0;
  for (std::int64_t j = points.begin / plane; j * plane < points.end; ++j) {
    const std::int64_t begin = std::max(j * plane + lines.begin, points.begin);
    const std::int64_t end = std::min(j * plane + lines.end, points.end);
    if (begin >= end) continue;
    visit(begin, end);
    count += end - begin;
  }
  return count;
}

std::int64_t count_of(const Share& points, const Share& lines, std::int64_t plane) {
  return for_each_run(points, lines, plane, [](std::int64_t, std::int64_t) {});
}

/// The lines of this process as they lie in its array.
struct OwnLines {
  OwnLines(const Layout& layout, double* array)
      : share(layout.lines(ranks::rank())), plane(layout.plane), values(array) {}
  double* at(std::int64_t point) const {
    return values + point / plane * share.size() + point % plane - share.begin;
  }

  Share share;
  std::int64_t plane;
  double* values;
};

/// Numbers of points that go to, or come from, each process.
struct Counts {
  std::vector<std::int64_t> to = std::vector<std::int64_t>(as_size(ranks::count()));
  std::vector<std::int64_t> from = std::vector<std::int64_t>(as_size(ranks::count()));
};

/// Sends what stands in `from`; what comes stands in `to`.
void exchange(const Counts& counts, double* from, double* to) {
  const auto all = [](const std::vector<std::int64_t>& of) {
    return std::accumulate(of.begin(), of.end(), std::int64_t{0});
  };
  ranks::exchange({from, all(counts.to)}, counts.to, {to, all(counts.from)}, counts.from);
}

/// Calls copy(in the planes, where it is packed, size) for the own planes' shares of all lines.
template <class Copy>
void for_each_line_share(const Layout& layout, double* planes, double* packed, Copy copy) {
  const std::int64_t rows = layout.rows(ranks::rank()).size();
  for (int r = 0; r < ranks::count(); ++r) {
    const Share lines = layout.lines(r);
    for (std::int64_t j = 0; j < rows; ++j, packed += lines.size())
      copy(planes + j * layout.plane + lines.begin, packed, lines.size());
  }
}

/// From planes to lines; the other way it goes with `to` and `from` exchanged.
Counts planes_to_lines(const Layout& layout) {
  Counts counts;
  const int own = ranks::rank();
  for (int r = 0; r < ranks::count(); ++r) {
    counts.to[as_size(r)] = layout.rows(own).size() * layout.lines(r).size();
    counts.from[as_size(r)] = layout.rows(r).size() * layout.lines(own).size();
  }
  return counts;
}

/// What this process sends to itself takes the straight way. `packed` is overwritten.
void lines_to_points(const Layout& layout, const OwnLines& lines, double* packed, double* received,
                     double* points) {
  const int own = ranks::rank();
  const Share own_points = layout.points(own);
  Counts counts;
  double* to = packed;
  for (int r = 0; r < ranks::count(); ++r) {
    if (r == own) continue;
    counts.to[as_size(r)] = for_each_run(layout.points(r), lines.share, layout.plane,
                                         [&](std::int64_t begin, std::int64_t end) {
                                           to = std::copy_n(lines.at(begin), end - begin, to);
                                         });
    counts.from[as_size(r)] = count_of(own_points, layout.lines(r), layout.plane);
  }
  exchange(counts, packed, received);
  for (int r = 0; r < ranks::count(); ++r) {
    for_each_run(own_points, layout.lines(r), layout.plane,
                 [&](std::int64_t begin, std::int64_t end) {
                   const std::int64_t count = end - begin;
                   std::copy_n(r == own ? lines.at(begin) : received, count,
                               points + (begin - own_points.begin));
                   if (r != own) received += count;
                 });
  }
}

/// `lines` may stand where `packed` does.
void points_to_lines(const Layout& layout, const double* points, double* packed, double* received,
                     const OwnLines& lines) {
  const int own = ranks::rank();
  const Share home = layout.home_points(own);
  const double* const first = points - layout.points(own).begin;
  Counts counts;
  double* to = packed;
  for (int r = 0; r < ranks::count(); ++r) {
    if (r == own) continue;
    counts.to[as_size(r)] = for_each_run(home, layout.lines(r), layout.plane,
                                         [&](std::int64_t begin, std::int64_t end) {
                                           to = std::copy_n(first + begin, end - begin, to);
                                         });
    counts.from[as_size(r)] = count_of(layout.home_points(r), lines.share, layout.plane);
  }
  exchange(counts, packed, received);
  for (int r = 0; r < ranks::count(); ++r) {
    for_each_run(layout.home_points(r), lines.share, layout.plane,
                 [&](std::int64_t begin, std::int64_t end) {
                   const std::int64_t count = end - begin;
                   std::copy_n(r == own ? first + begin : received, count, lines.at(begin));
                   if (r != own) received += count;
                 });
  }
}

void transform_planes(const SensitivityState& sens, GridWork& work, int isign) {
  if (work.of_cells > 0) WTN_MOD::WTN(sens.filter, work.cells(), {sens.nw1, sens.nw2, 1}, isign);
}

}  // namespace

GridWork::GridWork(const SensitivityState& sens, std::string_view label)
    : of_cells(sens.nwav), of_blocks(sens.nwav) {
  if (sens.part.team == ranks::Team::alone) {
    values = {sens.nwav, label};
    return;
  }
  const Layout layout(sens);
  const int own = ranks::rank();
  of_cells = layout.rows(own).size() * layout.plane;
  of_blocks = layout.points(own).size();
  const std::int64_t of_lines = layout.lines(own).size() * sens.nw3;
  std::int64_t to_blocks = 0;  // more than the lines, where processes share blocks
  for (int r = 0; r < ranks::count(); ++r)
    to_blocks += count_of(layout.points(r), layout.lines(own), layout.plane);
  values = {std::max({of_cells, of_blocks, to_blocks}), label};
  for (UninitializedArray<double>& array : more)
    array = {std::max({of_cells, of_blocks, of_lines}), label};
}

void transform_to_blocks(const SensitivityState& sens, GridWork& work) {
  const PhaseTimer timer(Phase::transform);
  if (sens.part.team == ranks::Team::alone) {
    WTN_MOD::WTN(sens.filter, work.cells(), sens.grid_counts(), 1);
    return;
  }
  const Layout layout(sens);
  double* const values = work.values.data();
  double* const packed = work.more[0].data();
  const OwnLines lines(layout, work.more[1].data());
  transform_planes(sens, work, 1);
  for_each_line_share(layout, values, packed, [](const double* in_plane, double* to, auto count) {
    std::copy_n(in_plane, count, to);
  });
  exchange(planes_to_lines(layout), packed, lines.values);
  const std::int64_t cells = lines.share.size() * layout.mesh_rows[as_size(ranks::count())];
  const std::int64_t size = lines.share.size() * sens.nw3;
  std::fill(lines.values + cells, lines.values + size, 0.0);
  WTN_MOD::transform_side_by_side(sens.filter, {lines.values, size}, sens.nw3, 1);
  lines_to_points(layout, lines, values, packed, values);
}

void transform_to_cells(const SensitivityState& sens, GridWork& work) {
  const PhaseTimer timer(Phase::transform);
  if (sens.part.team == ranks::Team::alone) {
    WTN_MOD::WTN(sens.filter, work.cells(), sens.grid_counts(), -1);
    return;
  }
  const Layout layout(sens);
  double* const values = work.values.data();
  const OwnLines lines(layout, work.more[0].data());
  double* const received = work.more[1].data();
  points_to_lines(layout, values, lines.values, received, lines);
  WTN_MOD::transform_side_by_side(sens.filter, {lines.values, lines.share.size() * sens.nw3},
                                  sens.nw3, -1);
  Counts counts = planes_to_lines(layout);
  std::swap(counts.to, counts.from);
  exchange(counts, lines.values, received);
  for_each_line_share(
      layout, values, received,
      [](double* in_plane, const double* from, auto count) { std::copy_n(from, count, in_plane); });
  transform_planes(sens, work, -1);
}

}  // namespace quorivex
