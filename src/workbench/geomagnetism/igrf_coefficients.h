// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace quorivex {

/// Gauss coefficients of the International Geomagnetic Reference Field at one epoch, Schmidt
/// semi-normalised, in the order g10 g11 h11 g20 g21 h21 ... to degree and order 13.
struct IgrfEpoch {
  double year = 0.0;
  std::vector<double> coefficients;  ///< nT; they change linearly from epoch to epoch
};

struct IgrfModel {
  std::string name;               ///< with its generation, "IGRF-14"
  std::vector<IgrfEpoch> epochs;  ///< at least two, ascending
};

inline constexpr std::size_t kIgrfDegree = 13;

/// The model of a table: comments after "#", the first of them "# IGRF" and the generation; a line
/// of counts (lowest and highest degree, epochs, spline order 2, steps 1, first and last year); the
/// years; then degree n, order m (negative for sines) and a value per epoch in each line.
/// @throws StopRun with the line of the table that does not follow this layout
IgrfModel read_igrf(std::string_view table);

/// The model that the program was built with.
const IgrfModel& igrf();

}  // namespace quorivex
