// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/forward/node_planes.h"

#include <algorithm>
#include <cmath>

#include "base/multiversion.h"
#include "base/stop_run.h"
#include "workbench/forward/column_plan.h"
#include "workbench/forward/vector_maths.h"

namespace quorivex {
namespace {

constexpr double kAligned = 1e-100;  // offsets below count as 0, so that no quotient overflows

/// What the nodes of one column have in common. Offsets are in units of the scale of the station.
struct Column {
  double east = 0.0;
  double north = 0.0;
  const double* up = nullptr;
  const double* up_sign = nullptr;
  const double* abs_up = nullptr;
  const double* log_north_of = nullptr;
  const double* log_east_of = nullptr;
  double log_aligned = 0.0;  // stands for the logarithm of a distance of 0
};

/// to[k] = ln of the distance from the line through node k and the point `across` away from it.
QUORIVEX_MULTIVERSIONED
void log_distances(const double* up, double across, const LayerRange& range, double log_aligned,
                   double* to) {
#pragma omp simd
  for (std::int64_t k = range.first; k < range.end; ++k) {
    const double square = across * across + up[k] * up[k];
    const double half_log = 0.5 * log(std::max(square, 4.0 * kAligned * kAligned));
    to[k] = square > 0.0 ? half_log : log_aligned;
  }
}

/// to[k] = the node function at node k of the column (theory, equation 5).
QUORIVEX_MULTIVERSIONED
void node_function(const Column& column, const LayerRange& range, const TensorWeights& w,
                   double* to) {
  const double x = column.east;
  const double y = column.north;
  const double across = x * x + y * y;
  const double log_up_of = across > 0.0 ? 0.5 * log(across) : column.log_aligned;
  // On a vertical face the arctangent jumps from -pi/2 to pi/2; its mean is 0.
  const double x_weight = x == 0.0 ? 0.0 : w.uu - w.ee;
  const double y_weight = y == 0.0 ? 0.0 : w.uu - w.nn;
  const double y_over_x = x == 0.0 ? 0.0 : y / x;
  const double x_over_y = y == 0.0 ? 0.0 : x / y;
  const double abs_x = std::abs(x);
  const double abs_y = std::abs(y);
  const double x_log_weight = w.nu * sign(x);
  const double y_log_weight = w.eu * sign(y);
  const double* const up = column.up;
  const double* const up_sign = column.up_sign;
  const double* const abs_up = column.abs_up;
  const double* const log_north_of = column.log_north_of;
  const double* const log_east_of = column.log_east_of;
#pragma omp simd
  for (std::int64_t k = range.first; k < range.end; ++k) {
    const double r = std::max(std::sqrt(across + up[k] * up[k]), kAligned);
    const double slope = up[k] / r;
    to[k] = x_weight * atan(y_over_x * slope) + y_weight * atan(x_over_y * slope) +
            w.en * up_sign[k] * (log(abs_up[k] + r) - log_up_of) +
            y_log_weight * (log(abs_y + r) - log_north_of[k]) +
            x_log_weight * (log(abs_x + r) - log_east_of[k]);
  }
}

/// The largest offset between the station and a node, as a power of two: dividing by it is exact
/// and keeps the logarithms small where differences between cells are small.
double station_scale(const Mesh& mesh, const Point& station) {
  const double largest =
      std::max({std::abs(mesh.easting_nodes.front() - station.easting),
                std::abs(mesh.easting_nodes.back() - station.easting),
                std::abs(mesh.northing_nodes.front() - station.northing),
                std::abs(mesh.northing_nodes.back() - station.northing),
                std::abs(mesh.z0 - station.elevation),
                std::abs(mesh.z0 - mesh.depth_nodes.back() - station.elevation)});
  return largest > 0.0 ? std::exp2(std::ceil(std::log2(largest))) : 1.0;
}

double offset(double node, double station, double scale) {
  const double difference = (node - station) / scale;
  return std::abs(difference) < kAligned ? 0.0 : difference;
}

}  // namespace

double sign(double x) { return static_cast<double>(x > 0.0) - static_cast<double>(x < 0.0); }

LayerRange hull(const LayerRange& a, const LayerRange& b) {
  if (a.empty()) return b;
  if (b.empty()) return a;
  return {std::min(a.first, b.first), std::max(a.end, b.end)};
}

NodePlanes::NodePlanes(const Mesh& mesh)
    : layers(as_size(mesh.nz)), stride((mesh.nz + kVector) / kVector * kVector) {
  const auto doubles = [](std::int64_t count) {
    return allocate<double>(as_size(count), kPrismRow);
  };
  east = doubles(std::int64_t{mesh.ne} + 1);
  north = doubles(std::int64_t{mesh.nn} + 1);
  up = doubles(stride);
  up_sign = doubles(stride);
  abs_up = doubles(stride);
  log_north_of = doubles(stride);
  log_east_of = doubles(stride);
  column = doubles(stride);
  plane = doubles(mesh.nz * (std::int64_t{mesh.ne} + 1));
  plane_before = plane;
}

void NodePlanes::place(const Mesh& mesh, const Point& station) {
  const double scale = station_scale(mesh, station);
  for (std::size_t i = 0; i < east.size(); ++i) {
    east[i] = offset(mesh.easting_nodes[i], station.easting, scale);
  }
  for (std::size_t j = 0; j < north.size(); ++j) {
    north[j] = offset(mesh.northing_nodes[j], station.northing, scale);
  }
  for (std::size_t k = 0; k < up.size(); ++k) {
    const std::size_t node = std::min(k, mesh.depth_nodes.size() - 1);
    up[k] = offset(mesh.z0 - mesh.depth_nodes[node], station.elevation, scale);
    up_sign[k] = sign(up[k]);
    abs_up[k] = std::abs(up[k]);
  }
  log_aligned = std::log(1e-3 * min_width(mesh) / scale);
}

void NodePlanes::next(std::size_t j, const std::vector<LayerRange>& near,
                      const TensorWeights& weights) {
  std::swap(plane_before, plane);
  Column nodes{.north = north[j],
               .up = up.data(),
               .up_sign = up_sign.data(),
               .abs_up = abs_up.data(),
               .log_north_of = log_north_of.data(),
               .log_east_of = log_east_of.data(),
               .log_aligned = log_aligned};
  LayerRange of_plane;
  for (const LayerRange& range : near) of_plane = hull(of_plane, range);
  if (of_plane.empty()) return;
  // Whole vectors: a tail of single nodes would cost as much as several of them.
  const auto vectors = [](const LayerRange& cells) {
    constexpr auto kStep = static_cast<std::int32_t>(kVector);
    return LayerRange{cells.first / kStep * kStep, cells.end / kStep * kStep + kStep};
  };
  log_distances(nodes.up, nodes.north, vectors(of_plane), log_aligned, log_east_of.data());
  for (std::size_t i = 0; i < east.size(); ++i) {
    if (near[i].empty()) continue;
    nodes.east = east[i];
    const LayerRange range = vectors(near[i]);
    log_distances(nodes.up, nodes.east, range, log_aligned, log_north_of.data());
    node_function(nodes, range, weights, column.data());
    double* const to = plane.data() + i * layers;
    for (std::int32_t k = near[i].first; k < near[i].end; ++k) {
      to[k] = column[as_size(k)] - column[as_size(k + 1)];
    }
  }
}

}  // namespace quorivex
