// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/forward/field_directions.h"

#include <cmath>
#include <numbers>

namespace quorivex {

Direction field_direction(double inclination, double declination) {
  constexpr double kRadians = std::numbers::pi / 180.0;
  const double horizontal = std::cos(inclination * kRadians);
  return {horizontal * std::sin(declination * kRadians),
          horizontal * std::cos(declination * kRadians), -std::sin(inclination * kRadians)};
}

TensorWeights tensor_weights(const Observations& observations, std::int32_t i) {
  const Direction f = field_direction(observations.incl, observations.decl);
  const std::size_t at = as_size(i - 1);
  const Direction a =
      observations.idir == 1
          ? field_direction(observations.aincl, observations.adecl)
          : field_direction(observations.datum_aincl[at], observations.datum_adecl[at]);
  const double scale = observations.geomag / (4.0 * std::numbers::pi);
  return {.ee = scale * f.east * a.east,
          .nn = scale * f.north * a.north,
          .uu = scale * f.up * a.up,
          .en = scale * (f.east * a.north + f.north * a.east),
          .eu = scale * (f.east * a.up + f.up * a.east),
          .nu = scale * (f.north * a.up + f.up * a.north)};
}

}  // namespace quorivex
