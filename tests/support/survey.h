// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "inversion/mesh_io/column_tops.h"
#include "inversion/mesh_io/mesh.h"
#include "records.h"

namespace quorivex::test {

struct Size {
  std::int32_t ne;
  std::int32_t nn;
  std::int32_t nz;
};

/// A buried block under a sloping surface, seen by stations above it.
struct Survey {
  Mesh mesh;
  ColumnTops tops;
  std::vector<double> wtz;         ///< not all one
  std::vector<double> gdiag;       ///< of the matrix before it is divided by std
  std::vector<float> rows;         ///< datum by datum, divided by std and wtz
  std::vector<double> true_model;  ///< susceptibility of each cell of the mesh
  std::vector<double> x, y, z;     ///< of the stations
  std::vector<double> observed;    ///< nT, with noise
  std::vector<double> std;

  std::int32_t ndata() const { return static_cast<std::int32_t>(x.size()); }
  std::int32_t nsens() const { return static_cast<std::int32_t>(wtz.size()); }
};

/// Each cell acts as a dipole of its volume in a field of 50000 nT, inclination 65 and declination
/// 12 degrees. The noise is the same in every call.
Survey make_survey(const Size& size);

/// The payloads of a survey's sensitivity file, full form.
std::vector<std::string> sensitivity_records(const Survey& survey);

std::string observations_text(const Survey& survey);

}  // namespace quorivex::test
