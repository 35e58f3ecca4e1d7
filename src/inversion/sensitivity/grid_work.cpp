// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/sensitivity/grid_work.h"

#include <algorithm>

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

/// From the planes to the lines, or back.
void exchange_planes(const Layout& layout, bool to_lines, GridWork& work) {
  const Share own_rows = layout.rows(ranks::rank());
  const Share own_lines = layout.lines(ranks::rank());
  std::vector<std::int64_t> of_rows;   // to or from whoever has the lines
  std::vector<std::int64_t> of_lines;  // to or from whoever has the planes
  double* packed = to_lines ? work.sent.data() : work.received.data();
  const auto copy = [&] {
    for (int r = 0; r < ranks::count(); ++r) {
      const Share lines = layout.lines(r);
      for (std::int64_t j = 0; j < own_rows.size(); ++j, packed += lines.size()) {
        double* const in_plane = work.planes.data() + j * layout.plane + lines.begin;
        if (to_lines) {
          std::copy_n(in_plane, lines.size(), packed);
        } else {
          std::copy_n(packed, lines.size(), in_plane);
        }
      }
    }
  };
  for (int r = 0; r < ranks::count(); ++r) {
    of_rows.push_back(own_rows.size() * layout.lines(r).size());
    of_lines.push_back(layout.rows(r).size() * own_lines.size());
  }
  if (to_lines) {
    copy();
    ranks::exchange(work.sent.view(), of_rows, work.lines.view(), of_lines);
  } else {
    ranks::exchange(work.lines.view(), of_lines, work.received.view(), of_rows);
    copy();
  }
}

/// What this process sends to itself takes the straight way.
void lines_to_points(const Layout& layout, GridWork& work) {
  const int own = ranks::rank();
  const OwnLines lines(layout, work.lines.data());
  const auto points = [&](std::int64_t point) {
    return work.points.data() + (point - layout.points(own).begin);
  };
  std::vector<std::int64_t> to(as_size(ranks::count()));
  std::vector<std::int64_t> from(to);
  double* sent = work.sent.data();
  for (int r = 0; r < ranks::count(); ++r) {
    if (r == own) continue;
    to[as_size(r)] = for_each_run(layout.points(r), lines.share, layout.plane,
                                  [&](std::int64_t begin, std::int64_t end) {
                                    sent = std::copy_n(lines.at(begin), end - begin, sent);
                                  });
    from[as_size(r)] = count_of(layout.points(own), layout.lines(r), layout.plane);
  }
  ranks::exchange(work.sent.view(), to, work.received.view(), from);
  const double* received = work.received.data();
  for (int r = 0; r < ranks::count(); ++r) {
    for_each_run(layout.points(own), layout.lines(r), layout.plane,
                 [&](std::int64_t begin, std::int64_t end) {
                   std::copy_n(r == own ? lines.at(begin) : received, end - begin, points(begin));
                   if (r != own) received += end - begin;
                 });
  }
}

void points_to_lines(const Layout& layout, GridWork& work) {
  const int own = ranks::rank();
  const OwnLines lines(layout, work.lines.data());
  const auto points = [&](std::int64_t point) {
    return work.points.data() + (point - layout.points(own).begin);
  };
  std::vector<std::int64_t> to(as_size(ranks::count()));
  std::vector<std::int64_t> from(to);
  double* sent = work.sent.data();
  for (int r = 0; r < ranks::count(); ++r) {
    if (r == own) continue;
    to[as_size(r)] = for_each_run(layout.home_points(own), layout.lines(r), layout.plane,
                                  [&](std::int64_t begin, std::int64_t end) {
                                    sent = std::copy_n(points(begin), end - begin, sent);
                                  });
    from[as_size(r)] = count_of(layout.home_points(r), lines.share, layout.plane);
  }
  ranks::exchange(work.sent.view(), to, work.received.view(), from);
  const double* received = work.received.data();
  for (int r = 0; r < ranks::count(); ++r) {
    for_each_run(layout.home_points(r), lines.share, layout.plane,
                 [&](std::int64_t begin, std::int64_t end) {
                   std::copy_n(r == own ? points(begin) : received, end - begin, lines.at(begin));
                   if (r != own) received += end - begin;
                 });
  }
}

void transform_planes(const SensitivityState& sens, GridWork& work, int isign) {
  if (work.planes.size() > 0)
    WTN_MOD::WTN(sens.filter, work.planes.view(), {sens.nw1, sens.nw2, 1}, isign);
}

}  // namespace

GridWork::GridWork(const SensitivityState& sens, std::string_view label) {
  if (sens.part.team == ranks::Team::alone) {
    planes = {sens.nwav, label};
    return;
  }
  const Layout layout(sens);
  const int own = ranks::rank();
  const std::int64_t of_planes = layout.rows(own).size() * layout.plane;
  const std::int64_t of_lines = layout.lines(own).size() * sens.nw3;
  const std::int64_t of_points = layout.points(own).size();
  std::int64_t to_points = 0;  // more than the lines, where processes share blocks
  for (int r = 0; r < ranks::count(); ++r) {
    to_points += count_of(layout.points(r), layout.lines(own), layout.plane);
  }
  planes = {of_planes, label};
  lines = {of_lines, label};
  points = {of_points, label};
  sent = {std::max({of_planes, to_points, of_points}), label};
  received = {std::max({of_planes, of_lines, of_points}), label};
}

void transform_to_blocks(const SensitivityState& sens, GridWork& work) {
  const PhaseTimer timer(Phase::transform);
  if (sens.part.team == ranks::Team::alone) {
    WTN_MOD::WTN(sens.filter, work.planes.view(), sens.grid_counts(), 1);
    return;
  }
  const Layout layout(sens);
  transform_planes(sens, work, 1);
  exchange_planes(layout, true, work);
  const std::int64_t cells =
      layout.lines(ranks::rank()).size() * layout.mesh_rows[as_size(ranks::count())];
  std::fill(work.lines.data() + cells, work.lines.data() + work.lines.size(), 0.0);
  WTN_MOD::transform_side_by_side(sens.filter, work.lines.view(), sens.nw3, 1);
  lines_to_points(layout, work);
}

void transform_to_cells(const SensitivityState& sens, GridWork& work) {
  const PhaseTimer timer(Phase::transform);
  if (sens.part.team == ranks::Team::alone) {
    WTN_MOD::WTN(sens.filter, work.planes.view(), sens.grid_counts(), -1);
    return;
  }
  const Layout layout(sens);
  points_to_lines(layout, work);
  WTN_MOD::transform_side_by_side(sens.filter, work.lines.view(), sens.nw3, -1);
  exchange_planes(layout, false, work);
  transform_planes(sens, work, -1);
}

}  // namespace quorivex
