// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/appraisal/statistics.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <numeric>

#include "base/statistics.h"
#include "base/view1.h"
#include "workbench/geometry/kd_tree.h"

namespace quorivex {
namespace {

constexpr double kDataPerSquare = 6.0;
constexpr double kMinCount = 3.0;  // of data in a square whose mean is judged
constexpr double kFourDeviations = 4.0;
constexpr std::ptrdiff_t kLargest = 10;
constexpr int kMaxWidenings = 100;

struct Square {
  double count = 0.0;
  double sum = 0.0;
};

/// Keys are whole numbers of squares from the south-western corner of the data.
using Squares = std::map<std::pair<double, double>, Square>;

Squares sorted_into_squares(const std::vector<double>& x, const std::vector<double>& y,
                            const std::vector<double>& values, double side) {
  const double west = *std::min_element(x.begin(), x.end());
  const double south = *std::min_element(y.begin(), y.end());
  Squares squares;
  for (std::size_t i = 0; i < values.size(); ++i) {
    Square& square = squares[{std::floor((x[i] - west) / side), std::floor((y[i] - south) / side)}];
    square.count += 1.0;
    square.sum += values[i];
  }
  return squares;
}

double extent(const std::vector<double>& places) {
  const auto [min, max] = std::minmax_element(places.begin(), places.end());
  return *max - *min;
}

/// Side of the square per datum: from the area between the outermost data, or from the length of a
/// line along an axis. 0 for data at one place.
double mean_spacing(const std::vector<double>& x, const std::vector<double>& y) {
  const auto n = static_cast<double>(x.size());
  const double east = extent(x);
  const double north = extent(y);
  return std::max(std::sqrt(east * north / n), std::max(east, north) / n);
}

/// Twice the area of the triangle of three places, positive where they turn to the left.
double turn(const MapPoint& a, const MapPoint& b, const MapPoint& c) {
  return (b[0] - a[0]) * (c[1] - a[1]) - (b[1] - a[1]) * (c[0] - a[0]);
}

/// Corners of the convex hull, counter-clockwise (Andrew 1979).
std::vector<MapPoint> convex_hull(const std::vector<double>& x, const std::vector<double>& y) {
  std::vector<MapPoint> places(x.size());
  for (std::size_t i = 0; i < x.size(); ++i) places[i] = {x[i], y[i]};
  std::sort(places.begin(), places.end());
  std::vector<MapPoint> hull;
  const auto add = [&hull](const MapPoint& place, std::size_t kept) {
    while (hull.size() > kept && turn(hull[hull.size() - 2], hull.back(), place) <= 0.0) {
      hull.pop_back();
    }
    hull.push_back(place);
  };
  for (const MapPoint& place : places) add(place, 1);
  const std::size_t lower = hull.size();
  for (auto place = places.rbegin() + 1; place < places.rend(); ++place) add(*place, lower);
  return hull;
}

/// Eastings between which the hull lies at a northing; the second is less than the first where the
/// hull does not reach.
std::array<double, 2> within_hull(const std::vector<MapPoint>& hull, double northing) {
  std::array<double, 2> range{std::numeric_limits<double>::infinity(),
                              -std::numeric_limits<double>::infinity()};
  for (std::size_t i = 0; i < hull.size(); ++i) {
    const MapPoint& a = hull[i];
    const MapPoint& b = hull[(i + 1) % hull.size()];
    if ((a[1] <= northing) == (b[1] <= northing)) continue;
    const double easting = a[0] + (northing - a[1]) / (b[1] - a[1]) * (b[0] - a[0]);
    range = {std::min(range[0], easting), std::max(range[1], easting)};
  }
  return range;
}

}  // namespace

double typical_gap(const Mesh& mesh, const std::vector<double>& x, const std::vector<double>& y) {
  const std::vector<MapPoint> hull = convex_hull(x, y);
  const KdTree2 tree(x, y);
  const auto centre = [](const std::vector<double>& nodes, std::int32_t i) {
    return (nodes[as_size(i)] + nodes[as_size(i) + 1]) / 2.0;
  };
  std::vector<double> distances;
  for (std::int32_t j = 0; j < mesh.nn; ++j) {
    const double northing = centre(mesh.northing_nodes, j);
    const auto [west, east] = within_hull(hull, northing);
    for (std::int32_t i = 0; i < mesh.ne; ++i) {
      const double easting = centre(mesh.easting_nodes, i);
      if (west <= easting && easting <= east) {
        distances.push_back(tree.to_nearest({easting, northing}));
      }
    }
  }
  if (distances.empty()) {
    return std::hypot(extent(x), extent(y)) / static_cast<double>(x.size()) / 4.0;
  }
  return median(std::move(distances));
}

std::optional<SpatialCorrelation> spatial_correlation(const std::vector<double>& x,
                                                      const std::vector<double>& y,
                                                      const std::vector<double>& values) {
  const auto n = static_cast<double>(values.size());
  double side = mean_spacing(x, y);
  if (!(side > 0.0)) return std::nullopt;
  Squares squares = sorted_into_squares(x, y, values, side);
  const double wanted = n / kDataPerSquare;
  for (int i = 0; i < kMaxWidenings; ++i) {
    if (static_cast<double>(squares.size()) <= wanted) break;
    side *= 1.2;
    squares = sorted_into_squares(x, y, values, side);
  }
  const auto groups = static_cast<double>(squares.size());
  if (groups < 5.0 || n - groups < 5.0) return std::nullopt;
  const double mean = std::accumulate(values.begin(), values.end(), 0.0) / n;
  double total = 0.0;
  for (const double value : values) total += (value - mean) * (value - mean);
  const double deviation = std::sqrt(total / n);
  if (!(deviation > 0.0)) return std::nullopt;
  SpatialCorrelation found{.side = side, .squares = groups};
  double between = 0.0;
  double counts_squared = 0.0;
  for (const auto& [place, square] : squares) {
    const double off = square.sum / square.count - mean;
    between += square.count * off * off;
    counts_squared += square.count * square.count;
    const double errors = std::abs(off) * std::sqrt(square.count) / deviation;
    if (errors <= found.standard_errors || square.count < kMinCount) continue;
    found.standard_errors = errors;
    found.mean = square.sum / square.count;
    found.easting = (place.first + 0.5) * side + *std::min_element(x.begin(), x.end());
    found.northing = (place.second + 0.5) * side + *std::min_element(y.begin(), y.end());
  }
  const double within = std::max(total - between, 1e-12 * total);
  const double f = between / (groups - 1.0) / (within / (n - groups));
  const double per_square = (n - counts_squared / n) / (groups - 1.0);
  found.correlation = (f - 1.0) / (f - 1.0 + per_square);
  found.significant =
      f > 1.0 + kFourDeviations * std::sqrt(2.0 / (groups - 1.0) + 2.0 / (n - groups));
  return found;
}

ResidualStatistics residual_statistics(const std::vector<double>& x, const std::vector<double>& y,
                                       const std::vector<double>& normalised) {
  ResidualStatistics result;
  const auto n = static_cast<double>(normalised.size());
  for (const double r : normalised) {
    result.mean += r / n;
    result.per_datum += r * r / n;
    if (std::abs(r) > kFourDeviations) ++result.beyond_four;
  }
  std::vector<std::int32_t> order(normalised.size());
  std::iota(order.begin(), order.end(), 1);
  const auto last = order.begin() + std::min(kLargest, static_cast<std::ptrdiff_t>(order.size()));
  std::partial_sort(order.begin(), last, order.end(), [&](std::int32_t a, std::int32_t b) {
    const double ra = std::abs(normalised[as_size(a - 1)]);
    const double rb = std::abs(normalised[as_size(b - 1)]);
    return ra > rb || (ra == rb && a < b);
  });
  result.largest.assign(order.begin(), last);
  result.correlation = spatial_correlation(x, y, normalised);
  return result;
}

ModelStatistics model_statistics(const Mesh& mesh, const std::vector<double>& values) {
  std::vector<double> ground;
  std::copy_if(values.begin(), values.end(), std::back_inserter(ground),
               [](double value) { return !std::isnan(value); });
  ModelStatistics result;
  if (ground.empty()) return result;
  const auto [min, max] = std::minmax_element(ground.begin(), ground.end());
  result.min = *min;
  result.max = *max;
  result.median = median(std::move(ground));
  const double farthest = std::max(result.max - result.median, result.median - result.min);
  const auto update = [&](MeshEdge& edge, std::int32_t k, std::int32_t i, std::int32_t j) {
    const std::int64_t cell = k + (i + std::int64_t{j} * mesh.ne) * mesh.nz;
    const double value = values[as_size(cell)];
    const double share = farthest > 0.0 ? std::abs(value - result.median) / farthest : 0.0;
    if (share > edge.departure) edge = {edge.side, value, share};  // false for NaN
  };
  auto& [west, east, south, north, bottom] = result.edges;
  west.side = "western";
  east.side = "eastern";
  south.side = "southern";
  north.side = "northern";
  bottom.side = "bottom";
  for (std::int32_t j = 0; j < mesh.nn; ++j) {
    for (std::int32_t i = 0; i < mesh.ne; ++i) update(bottom, mesh.nz - 1, i, j);
  }
  for (std::int32_t k = 0; k < mesh.nz; ++k) {
    for (std::int32_t j = 0; j < mesh.nn; ++j) {
      update(west, k, 0, j);
      update(east, k, mesh.ne - 1, j);
    }
    for (std::int32_t i = 0; i < mesh.ne; ++i) {
      update(south, k, i, 0);
      update(north, k, i, mesh.nn - 1);
    }
  }
  return result;
}

}  // namespace quorivex
