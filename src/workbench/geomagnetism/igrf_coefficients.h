// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace quorivex {

/// Gauss coefficients of the International Geomagnetic Reference Field at one epoch, Schmidt
/// semi-normalised, in the order g10 g11 h11 g20 g21 h21 ... to degree and order 13.
struct IgrfEpoch {
  double year = 0.0;
  std::vector<double> coefficients;  ///< nT
  std::vector<double> change;        ///< nT per year, until the next epoch or for five years
};

inline constexpr std::size_t kIgrfDegree = 13;
inline constexpr double kIgrfInterval = 5.0;  ///< years from one epoch to the next

/// The epochs of the table that the program was built with, ascending.
/// @throws StopRun for a table of another layout
const std::vector<IgrfEpoch>& igrf_epochs();

/// "IGRF-12": the generation of the table. A new one appears with every epoch.
std::string igrf_name();

}  // namespace quorivex
