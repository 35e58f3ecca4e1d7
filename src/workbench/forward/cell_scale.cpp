// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/forward/cell_scale.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "base/eight.h"
#include "base/multiversion.h"
#include "base/progress.h"
#include "base/stop_run.h"
#include "workbench/forward/data_rows.h"
#include "workbench/forward/square_sums.h"
#include "workbench/forward/vector_maths.h"

namespace quorivex {
namespace {

constexpr const char* kRoutine = "cell_scale";
constexpr double kFloor = 1e-3;  // of the largest value, for cells that no datum sees

/// The stations as the kernels read them: the last one is repeated until vectors are full.
struct Stations {
  std::int64_t count = 0;
  std::vector<double> east, north, up;
};

Stations padded(const Observations& observations) {
  const auto fill = [&](const std::vector<double>& values) {
    const std::int64_t size = (observations.ndata + kVector - 1) / kVector * kVector;
    std::vector<double> full = allocate<double>(as_size(size), kRoutine, values.back());
    std::copy(values.begin(), values.end(), full.begin());
    return full;
  };
  return {observations.ndata, fill(observations.x), fill(observations.y), fill(observations.z)};
}

double inverse_power(const Point& a, double east, double north, double up, const ScaleRule& rule) {
  const double r = std::hypot(a.easting - east, a.northing - north, a.elevation - up);
  return std::pow(r + rule.offset, -rule.exponent);
}

struct Box {
  Point centre;
  Point half;  ///< half the widths
};

Box box_of(const Ground& ground, std::int32_t k, std::int32_t i, std::int32_t j) {
  const Mesh& m = ground.mesh;
  const Point half{m.de[as_size(i - 1)] / 2, m.dn[as_size(j - 1)] / 2, m.dz[as_size(k - 1)] / 2};
  return {{m.easting_nodes[as_size(i - 1)] + half.easting,
           m.northing_nodes[as_size(j - 1)] + half.northing, ground.elevation(k) - half.elevation},
          half};
}

/// The stations up to this distance from its centre are near a cell.
double reach_of(const Box& box) {
  return 3.0 * std::hypot(box.half.easting, box.half.northing, box.half.elevation);
}

/// Over the stations: the sum of squared inverse powers of the distance to a cell's centre, or of
/// `reach` where the station is nearer than that, and the smallest squared distance.
struct AtCentre {
  double sum = 0.0;
  double nearest = std::numeric_limits<double>::infinity();
};

QUORIVEX_MULTIVERSIONED
AtCentre sum_at_centre(const Stations& stations, const Point& centre, double reach, double offset,
                       double exponent) {
  const double* const east = stations.east.data();
  const double* const north = stations.north.data();
  const double* const up = stations.up.data();
  const std::int64_t count = stations.count;
  const Point at = centre;
  const double reach_squared = reach * reach;
  double sum = 0.0;
  double nearest = std::numeric_limits<double>::infinity();
#pragma omp simd reduction(+ : sum) reduction(min : nearest)
  for (std::int64_t s = 0; s < count; ++s) {
    const double x = east[s] - at.easting;
    const double y = north[s] - at.northing;
    const double z = up[s] - at.elevation;
    const double square = x * x + y * y + z * z;
    nearest = std::min(nearest, square);
    sum += exp(-2.0 * exponent * log(std::sqrt(std::max(square, reach_squared)) + offset));
  }
  return {sum, nearest};
}

/// The same for the exponent 3, without power functions.
QUORIVEX_MULTIVERSIONED
AtCentre cubes_at_centre(const Stations& stations, const Point& centre, double reach,
                         double offset) {
  const double* const east = stations.east.data();
  const double* const north = stations.north.data();
  const double* const up = stations.up.data();
  const Eight least = Eight{} + reach * reach;
  Eight sum{};
  Eight nearest = Eight{} + std::numeric_limits<double>::infinity();
  Eight last{};
  for (std::int64_t s = 0; s < stations.count; s += kVector) {
    const Eight x = eight(east + s) - centre.easting;
    const Eight y = eight(north + s) - centre.northing;
    const Eight z = eight(up + s) - centre.elevation;
    const Eight any = x * x + y * y + z * z;
    nearest = any < nearest ? any : nearest;
    const Eight square = any > least ? any : least;
    const Eight one = inverse(square * inverse_root(square) + offset);
    const Eight two = one * one;
    last = two * two * two;
    sum += last;
  }
  AtCentre found;
  for (std::int64_t lane = 0; lane < kVector; ++lane) {
    found.nearest = std::min(found.nearest, nearest[lane]);
    found.sum += sum[lane];
    const bool repeated = lane > (stations.count - 1) % kVector;
    if (repeated) found.sum -= last[lane];
  }
  return found;
}

/// What stations near the cell add when the mean over the cell, at the 8 points of the Gauss rule,
/// takes the place of the value at the reach. That one is no larger, so that hardly a digit is
/// lost.
double near_correction(const Stations& stations, const Box& box, double reach, double nearest,
                       const ScaleRule& rule) {
  if (nearest > reach * reach) return 0.0;
  const Point& c = box.centre;
  const double at_reach = std::pow(reach + rule.offset, -rule.exponent);
  const double g = 1.0 / std::sqrt(3.0);
  double sum = 0.0;
  for (std::int64_t s = 0; s < stations.count; ++s) {
    const Point station{stations.east[as_size(s)], stations.north[as_size(s)],
                        stations.up[as_size(s)]};
    const double x = station.easting - c.easting;
    const double y = station.northing - c.northing;
    const double z = station.elevation - c.elevation;
    if (x * x + y * y + z * z > reach * reach) continue;
    double mean = 0.0;
    for (const double e : {-g, g}) {
      for (const double n : {-g, g}) {
        for (const double u : {-g, g}) {
          mean += inverse_power(station, c.easting + e * box.half.easting,
                                c.northing + n * box.half.northing,
                                c.elevation + u * box.half.elevation, rule) /
                  8.0;
        }
      }
    }
    sum += mean * mean - at_reach * at_reach;
  }
  return sum;
}

/// The scale of a cell, but for the largest.
double near_or_far(const Stations& stations, const Box& box, const ScaleRule& rule) {
  const double reach = reach_of(box);
  const AtCentre found =
      rule.exponent == 3.0 ? cubes_at_centre(stations, box.centre, reach, rule.offset)
                           : sum_at_centre(stations, box.centre, reach, rule.offset, rule.exponent);
  const double sum = found.sum + near_correction(stations, box, reach, found.nearest, rule);
  return std::sqrt(std::sqrt(sum));
}

/// Each process of the team computes the cells of its share of the columns.
void by_distance(const Ground& ground, const Observations& observations, const ScaleRule& rule,
                 ranks::Team team, View1<double> wtz) {
  const Stations stations = padded(observations);
  const ranks::Share share =
      ranks::share_of(ground.columns(), ranks::rank(team), ranks::count(team));
  const std::int64_t ne = ground.mesh.ne;
  const std::int64_t first_row = share.begin / ne;
  const std::int64_t end_row = (share.end + ne - 1) / ne;
  Progress progress("distances to the cells: row", end_row - first_row);
  for (std::int64_t row = first_row; row < end_row; ++row) {
    const std::int64_t begin = std::max(share.begin, row * ne);
    const std::int64_t end = std::min(share.end, (row + 1) * ne);
#pragma omp parallel for schedule(dynamic, 1) default(none) \
    shared(ground, stations, rule, wtz, begin, end)
    for (std::int64_t number = begin; number < end; ++number) {
      const GridColumn column = ground.column(number + 1);
      std::int64_t cell = column.before;
      for (std::int32_t k = column.top + 1; k <= ground.mesh.nz; ++k) {
        wtz(++cell) = near_or_far(stations, box_of(ground, k, column.i, column.j), rule);
      }
    }
    progress.done(row + 1 - first_row);
  }
  if (team == ranks::Team::all) {
    ranks::all_gather(wtz,
                      {ground.before[as_size(share.begin)], ground.before[as_size(share.end)]});
  }
}

void by_depth(const Ground& ground, const ScaleRule& rule, View1<double> wtz) {
  for_each_ground_cell(ground, [&](const GridCell& at) {
    const double surface = ground.surface(at.j, at.i);
    const double centre = 0.5 * (ground.elevation(at.k) + ground.elevation(at.k + 1));
    wtz(at.below) = std::pow(surface - centre + rule.offset, -rule.exponent / 2.0);
  });
}

std::vector<double> by_sensitivity(const Ground& ground, const Observations& observations,
                                   ranks::Team team) {
  const int threads = threads_for(observations);
  std::vector<PrismScratch> scratch(as_size(threads), PrismScratch(ground.mesh));
  std::vector<std::vector<double>> rows(as_size(threads));
  for (auto& row : rows) row = allocate<double>(as_size(ground.cells()), kRoutine);
  DataProgress progress("sensitivities for the scale: datum", observations.ndata, team);
  SquareSums sums(ground, observations.ndata, team);
  for_each_round(observations.ndata, team, [&](const DataRange& range) {
    Turns turns(as_size(ground.mesh.nn), range.first);
    for_each_datum(range, threads, progress, &turns, [&](std::int32_t i, int thread) {
      std::vector<double>& row = rows[as_size(thread)];
      data_row(ground, observations, i, scratch[as_size(thread)],
               [&](const GridColumn& column, const double* cells) {
                 std::copy_n(cells, ground.mesh.nz - column.top, row.data() + column.before);
               });
      sums.add({}, row, 1.0, i, turns);
    });
    sums.end_round();
  });
  std::vector<double> wtz = sums.take();
  for_each_ground_cell(ground, [&](const GridCell& at) {
    const Mesh& m = ground.mesh;
    const double volume =
        m.de[as_size(at.i - 1)] * m.dn[as_size(at.j - 1)] * m.dz[as_size(at.k - 1)];
    double& value = wtz[as_size(at.below - 1)];
    value = std::sqrt(std::sqrt(value) / volume);
  });
  return wtz;
}

}  // namespace

double default_offset(const Ground& ground) { return 0.5 * min_width(ground.mesh); }

std::vector<double> cell_scale(const Ground& ground, const Observations& observations,
                               const ScaleRule& rule, ranks::Team team) {
  std::vector<double> wtz;
  if (rule.kind != ScaleRule::Kind::sensitivity)
    wtz = allocate<double>(as_size(ground.cells()), kRoutine);
  switch (rule.kind) {
    case ScaleRule::Kind::distance:
      by_distance(ground, observations, rule, team, wtz);
      break;
    case ScaleRule::Kind::depth:
      by_depth(ground, rule, wtz);
      break;
    case ScaleRule::Kind::sensitivity:
      wtz = by_sensitivity(ground, observations, team);
      break;
    case ScaleRule::Kind::none:
      std::fill(wtz.begin(), wtz.end(), 1.0);
      return wtz;
  }
  const double largest = *std::max_element(wtz.begin(), wtz.end());
  for (double& value : wtz) value /= largest;
  if (rule.kind == ScaleRule::Kind::sensitivity) {
    for (double& value : wtz) value = std::max(value, kFloor);
  }
  if (!std::all_of(wtz.begin(), wtz.end(), [](double value) { return value > 0.0; })) {
    stop_run(
        " ERROR: the scale of the cells is not greater than 0 everywhere. Choose a smaller "
        "exponent,\n"
        " a larger offset, or no scale.");
  }
  return wtz;
}

}  // namespace quorivex
