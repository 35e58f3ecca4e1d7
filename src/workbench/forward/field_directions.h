// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

#include "inversion/mesh_io/observations.h"

namespace quorivex {

/// Unit vector in the axes east, north and up.
struct Direction {
  double east = 0.0;
  double north = 0.0;
  double up = 0.0;
};

/// Direction of a field with this inclination (positive downward) and declination (clockwise from
/// north), both in degrees: (cos I sin D, cos I cos D, -sin I).
Direction field_direction(double inclination, double declination);

/// What a datum measures of a unit susceptibility: F / (4 pi) times f_i a_j + f_j a_i (once where
/// i = j), with f the inducing field's direction and a the anomaly's. nT.
struct TensorWeights {
  double ee = 0.0;
  double nn = 0.0;
  double uu = 0.0;
  double en = 0.0;
  double eu = 0.0;
  double nu = 0.0;
};

/// The weights of datum i, from 1; the anomaly direction is the datum's own when idir is 0.
TensorWeights tensor_weights(const Observations& observations, std::int32_t i);

}  // namespace quorivex
