// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "workbench/forward/column_plan.h"
#include "workbench/forward/weighted_derivatives.h"

namespace quorivex {

// Cells far from the station: the volume integral of 1/r, expanded about the centre of the cell
// (docs/theory.md, equations 7 and 8).

/// A cell as a station sees it: centre from the station, and edges, along easting, northing and up.
struct CellFromStation {
  std::array<double, 3> centre;
  std::array<double, 3> edges;
};

/// Whether the closed form loses more digits in the cell than the expansion: long thin cells whose
/// field is below 1e-7 of that inside, at a distance of a fifth of their length or more.
bool is_thin(const CellFromStation& cell);

/// The value of such a cell, cut into pieces that are far enough for the expansion.
double value_of_thin_cell(const WeightedDerivatives& derivatives, const CellFromStation& cell);

/// A row of columns at one northing.
struct ColumnRow {
  double north = 0.0;                  ///< of the centres from the station, metres
  double width = 0.0;                  ///< along northing, metres
  const double* east = nullptr;        ///< of the centres from the station, one per column
  const double* east_width = nullptr;  ///< one per column
};

/// Polynomials of the columns of a row: the value of a cell is its volume / r^5 times the sum over
/// m of P_m / r^(4 m), with P_m of degree 2 m + 2 in the height of its centre above the station and
/// of degree m in the square of its thickness.
class ColumnPolynomials {
 public:
  /// Room for so many columns; `east` and `east_width` of a row have as many, padded with finite
  /// numbers to a multiple of 8.
  explicit ColumnPolynomials(std::int64_t columns);

  /// Makes the terms that the plans of the columns ask for.
  void make(const WeightedDerivatives& derivatives, const ColumnRow& row,
            const std::vector<ColumnPlan>& plans, const StationLayers& layers);

  /// to[k] = the value of the cell in layer k of a column, for all layers of the padded list, with
  /// so many terms per 8 layers, which have been made. No number where the station is at the centre
  /// of the cell.
  void evaluate(const ColumnRow& row, std::int64_t column, const std::uint8_t* block_terms,
                const StationLayers& layers, double* to) const;

 private:
  std::vector<double> values_;  // of 8 columns together: uniform, then graded coefficients
};

}  // namespace quorivex
