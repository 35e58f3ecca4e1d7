// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "inversion/mesh_io/observations.h"
#include "inversion/sensitivity/getpar.h"

namespace quorivex {

/// A part of a survey and its fingerprint, the 64-bit XXH3 hash of the bytes of its values. It does
/// not depend on how a file writes them.
struct Part {
  std::string name;
  std::uint64_t fingerprint = 0;

  bool operator==(const Part&) const = default;
};

/// Parts of the observations that a matrix is made of: "stations" (positions), "field"
/// (inclination, declination and strength), "directions" (of the anomaly, datum by datum) and
/// "deviations". The observed values are not among them: a matrix serves for any.
std::vector<Part> survey_parts(const Observations& observations);

/// "mesh", "terrain" (column tops), "filter" and "scale" (wtz) of a matrix, and the "diagonal" of
/// G^T G, in which every coefficient has a share.
std::vector<Part> matrix_parts(const Ground& ground, const std::vector<double>& low_pass,
                               const std::vector<double>& wtz, const std::vector<double>& gdiag);
std::vector<Part> matrix_parts(const SensitivityFile& file);

}  // namespace quorivex
