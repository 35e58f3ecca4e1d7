// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <bit>
#include <cmath>
#include <utility>

#include "inversion/sensitivity/wtn_mod.h"
#include "survey.h"

namespace quorivex::test {

/// An orthonormal low-pass filter of even length, built by one rotation for each two coefficients
/// (Vaidyanathan and Hoang 1988, "Lattice structures for optimal design of two-channel banks").
inline std::vector<double> orthonormal_filter(std::size_t ncof) {
  std::vector<double> low{std::cos(0.6), std::sin(0.6)};
  while (low.size() < ncof) {
    const double angle = 0.3 + 0.2 * static_cast<double>(low.size());
    std::vector<double> high = WTN_MOD::filter_setup(low).high;
    low.insert(low.end(), 2, 0.0);
    high.insert(high.begin(), 2, 0.0);
    for (std::size_t k = 0; k < low.size(); ++k)
      low[k] = std::cos(angle) * low[k] + std::sin(angle) * high[k];
  }
  return low;
}

/// The payloads of a survey's sensitivity file, compressed on the smallest grid of powers of two.
/// Coefficients up to `cutoff` are dropped; the positions of a row fall.
inline std::vector<std::string> compressed_records(const Survey& survey, std::size_t ncof,
                                                   double cutoff = 0.0) {
  std::vector<std::string> records = sensitivity_records(survey);
  const Mesh& mesh = survey.mesh;
  const auto points = [](std::int32_t cells) {
    return static_cast<std::int32_t>(std::bit_ceil(static_cast<std::uint32_t>(cells)));
  };
  const std::array counts{points(mesh.nz), points(mesh.ne), points(mesh.nn)};
  const auto filter = WTN_MOD::filter_setup(orthonormal_filter(ncof));
  records[3] = record(static_cast<std::int32_t>(ncof), filter.low);
  records[4] = record(counts[2], counts[1], counts[0]);
  auto g = survey.rows.begin();
  for (std::size_t row = 6; row + 1 < records.size(); ++row) {
    std::vector<double> grid(as_size(std::int64_t{counts[0]} * counts[1] * counts[2]));
    for (std::int32_t j = 0; j < mesh.nn; ++j) {
      for (std::int32_t i = 0; i < mesh.ne; ++i) {
        for (std::int32_t k = survey.tops(j + 1, i + 1); k < mesh.nz; ++k)
          grid[as_size(k + counts[0] * (i + std::int64_t{counts[1]} * j))] = *g++;
      }
    }
    WTN_MOD::WTN(filter, grid, counts, 1);
    std::vector<std::int32_t> positions;
    std::vector<float> values;
    for (std::size_t at = grid.size(); at-- > 0;) {
      if (std::abs(grid[at]) <= cutoff) continue;
      positions.push_back(static_cast<std::int32_t>(at + 1));
      values.push_back(static_cast<float>(grid[at]));
    }
    records[row] = record(static_cast<std::int32_t>(values.size()), positions, values);
  }
  return records;
}

}  // namespace quorivex::test
