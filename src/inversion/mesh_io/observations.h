// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/view1.h"

namespace quorivex {

/// A magnetic survey. Angles in degrees, field and data in nT, coordinates in metres.
struct Observations {
  double incl = 0.0;    ///< inclination of the inducing field
  double decl = 0.0;    ///< declination of the inducing field
  double geomag = 0.0;  ///< strength of the inducing field
  double aincl = 0.0;   ///< direction of the measured anomaly, for all data when idir is 1
  double adecl = 0.0;
  std::int32_t idir = 1;  ///< 0: each datum has a direction of its own
  std::int32_t ndata = 0;
  std::vector<double> x;            ///< easting
  std::vector<double> y;            ///< northing
  std::vector<double> z;            ///< elevation
  std::vector<double> datum_aincl;  ///< only when idir is 0
  std::vector<double> datum_adecl;
  std::vector<double> obs;  ///< observed value / standard deviation; empty for locations only
  std::vector<double> std;  ///< standard deviation, > 0; empty for locations only
};

/// What the lines of the data hold.
enum class DataColumns {
  values,     ///< positions, observed value and standard deviation
  positions,  ///< positions; what follows is ignored
  as_found    ///< values when the first datum has them, otherwise positions
};

/// Reads an observations file; with `ndata_expected` it must hold that many data.
/// @throws StopRun " ERROR ..." naming the file or the line that is wrong; file_not_found
Observations read_data_file(const std::string& name, DataColumns columns,
                            std::optional<std::int32_t> ndata_expected = {});

/// Reads the values (nT) of a file that `write_predicted_data` wrote for these observations.
/// @throws StopRun as `read_data_file` does, and where the number of data, the field or a
///         position differs to the digits of the file
std::vector<double> read_predicted_data(const std::string& name, const Observations& observations);

/// Writes a file with the layout of an observations file: for each datum its position and its value
/// in nT, and its standard deviation where `std` is not empty. Comments come first, one per line;
/// `labels`, where not empty, hold what follows each datum as a comment.
void write_data_file(const std::string& name, const Observations& observations,
                     View1<const double> values, View1<const double> std = {},
                     const std::vector<std::string>& comments = {},
                     const std::vector<std::string>& labels = {});

/// Writes BASE_NNN.EXTENSION with the predicted values predicted(i) std(i), without standard
/// deviations.
void write_predicted_data(std::string_view base, std::string_view extension,
                          const Observations& observations, View1<const double> predicted,
                          std::int32_t iteration);

}  // namespace quorivex
