// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/forward/column_plan.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "base/stop_run.h"

namespace quorivex {
namespace {

using Limits = std::array<double, kFarRanges.size()>;

/// The terms that suffice for all cells of a block, 0 where none do; `wide` are the squared
/// distances from which they do for cells that are wider than thick.
int terms_of_block(const StationLayers& layers, std::size_t block, double across,
                   const Limits& wide) {
  for (std::size_t n = 0; n < kFarRanges.size(); ++n) {
    if (across >= layers.thick_across[block][n] &&
        across + layers.min_up_squared[block] >= wide[n]) {
      return kFarRanges[n].terms;
    }
  }
  return 0;
}

}  // namespace

StationLayers::StationLayers(const Mesh& mesh) {
  const auto count = as_size((mesh.nz + kVector - 1) / kVector * kVector);
  up = allocate<double>(count, kPrismRow);
  thickness = allocate<double>(count, kPrismRow, mesh.dz.back());
  std::copy(mesh.dz.begin(), mesh.dz.end(), thickness.begin());
  thickness_squared = thickness;
  for (double& value : thickness_squared) value *= value;
  is_uniform = allocate<std::uint8_t>(count / kVector, kPrismRow);
  const auto of_thickness = [&](std::size_t block, double wanted) {
    const auto first = thickness.begin() + static_cast<std::ptrdiff_t>(block * kVector);
    return std::all_of(first, first + kVector,
                       [=](double value) { return std::abs(value - wanted) <= 1e-9 * wanted; });
  };
  std::int64_t most = 0;
  for (std::size_t b = 0; b < is_uniform.size() && 2 * most < length(is_uniform); ++b) {
    std::vector<std::uint8_t> like(is_uniform.size());
    for (std::size_t n = 0; n < like.size(); ++n) like[n] = of_thickness(n, thickness[b * kVector]);
    const auto found = std::count(like.begin(), like.end(), 1);
    if (found <= most) continue;
    most = found;
    is_uniform = like;
    uniform_squared = thickness_squared[b * kVector];
  }
  any_uniform = most > 0;
  all_uniform = most == length(is_uniform);
  min_up_squared = allocate<double>(is_uniform.size(), kPrismRow);
  thick_across = allocate<Limits>(is_uniform.size(), kPrismRow);
}

void StationLayers::place(const Mesh& mesh, double elevation) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  std::fill(min_up_squared.begin(), min_up_squared.end(), kInfinity);
  for (auto& of_block : thick_across) of_block.fill(-kInfinity);
  for (std::size_t k = 0; k < up.size(); ++k) {
    const std::size_t layer = std::min(k, mesh.dz.size() - 1);
    up[k] = mesh.z0 - elevation - mesh.depth_nodes[layer] - 0.5 * mesh.dz[layer];
    const double square = up[k] * up[k];
    const std::size_t block = k / kVector;
    min_up_squared[block] = std::min(min_up_squared[block], square);
    for (std::size_t n = 0; n < kFarRanges.size(); ++n) {
      const double distance = kFarRanges[n].distance;
      double& across = thick_across[block][n];
      across = std::max(across, distance * distance * thickness_squared[k] - square);
    }
  }
}

ColumnPlan plan_column(const StationLayers& layers, const ColumnPlace& column,
                       std::uint8_t* block_terms) {
  Limits wide;
  for (std::size_t n = 0; n < wide.size(); ++n) {
    const double distance = kFarRanges[n].distance * column.width;
    wide[n] = distance * distance;
  }
  ColumnPlan plan;
  bool all_far = true;
  for (std::size_t b = 0; b < layers.is_uniform.size(); ++b) {
    const int terms = terms_of_block(layers, b, column.across, wide);
    all_far = all_far && terms > 0;
    block_terms[b] = static_cast<std::uint8_t>(terms > 0 ? terms : kFarRanges.back().terms);
    plan.terms = std::max<int>(plan.terms, block_terms[b]);
  }
  if (all_far) return plan;
  const auto is_near = [&](std::int32_t k) {
    const std::size_t layer = as_size(k);
    const double edge_squared =
        std::max(layers.thickness_squared[layer], column.width * column.width);
    const double square = column.across + layers.up[layer] * layers.up[layer];
    return terms_needed(square / edge_squared) == 0;
  };
  plan.near_first = column.top;
  plan.near_end = column.end;
  while (plan.any_near() && !is_near(plan.near_first)) ++plan.near_first;
  while (plan.any_near() && !is_near(plan.near_end - 1)) --plan.near_end;
  return plan;
}

}  // namespace quorivex
