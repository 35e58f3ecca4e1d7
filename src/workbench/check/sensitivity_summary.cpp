// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/check/sensitivity_summary.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>

#include "base/statistics.h"
#include "inversion/mesh_io/describe_mesh.h"
#include "inversion/sensitivity/memory.h"
#include "inversion/sensitivity/wavelet_filters.h"
#include "workbench/forward/describe_build.h"

namespace quorivex {
namespace {

constexpr double kOrthonormal = 1e-6;

/// " (daub4)" for a filter that `qvx sensitivity` offers.
std::string filter_name(const std::vector<double>& low_pass) {
  const auto close = [](double a, double b) { return std::abs(a - b) <= kOrthonormal; };
  for (const std::string& name : wavelet_names()) {
    const std::vector<double> known = low_pass_filter(name);
    if (std::equal(known.begin(), known.end(), low_pass.begin(), low_pass.end(), close)) {
      return fmt::format(" ({})", name);
    }
  }
  return "";
}

std::string describe_compressed_form(const SensitivityState& sens) {
  std::int64_t min = sens.ndata > 0 ? std::numeric_limits<std::int64_t>::max() : 0;
  std::int64_t max = 0;
  for (const SparseMatrix::RowStatistics& row : sens.Gs.row_statistics()) {
    min = std::min(min, row.entries);
    max = std::max(max, row.entries);
  }
  return fmt::format(
      "Matrix: wavelet-compressed, filter of {} coefficients{}\n"
      "  grid of {}\n"
      "  {} coefficients, {} to {} per datum, {:.1f} on average\n",
      sens.filter.ncof(), filter_name(sens.filter.low),
      format_counts(sens.nw2, sens.nw3, sens.nw1, "points"), sens.Gs.entries(), min, max,
      static_cast<double>(sens.Gs.entries()) / std::max(sens.ndata, 1));
}

/// Adds the sentence `why`, with the number of wrong values and the first one, if there are any.
template <class Values, class Wrong>
void check_values(const Values& values, Wrong wrong, const char* why,
                  std::vector<std::string>& found) {
  const auto first = std::find_if(values.begin(), values.end(), wrong);
  if (first == values.end()) return;
  found.push_back(fmt::format("{}: {} of {} values, the first is number {}, {}", why,
                              std::count_if(first, values.end(), wrong),
                              values.end() - values.begin(), first - values.begin() + 1, *first));
}

void check_rows(const SensitivityState& sens, std::vector<std::string>& found) {
  const auto finite = [](float value) { return std::isfinite(value); };
  std::int64_t rows = 0;
  if (sens.compressed) {
    for (const SparseMatrix::RowStatistics& row : sens.Gs.row_statistics())
      rows += row.finite ? 0 : 1;
  } else {
    for (std::int64_t i = 1; i <= sens.ndata; ++i) {
      const float* row = sens.Gfull.row(i);
      if (!std::all_of(row, row + sens.nsens, finite)) ++rows;
    }
  }
  if (rows > 0) {
    found.push_back(fmt::format("{} of {} rows hold values that are not finite", rows, sens.ndata));
  }
}

}  // namespace

double filter_defect(View1<const double> low_pass) {
  const std::int64_t n = low_pass.size();
  if (n % 2 != 0) return std::numeric_limits<double>::infinity();
  double defect = 0.0;
  for (std::int64_t shift = 0; shift < std::max<std::int64_t>(n, 1); shift += 2) {
    double product = shift == 0 ? -1.0 : 0.0;
    for (std::int64_t k = 1; k + shift <= n; ++k) product += low_pass(k) * low_pass(k + shift);
    defect = std::max(defect, std::abs(product));
  }
  return defect;
}

bool is_other_file(const std::string& name) {
  constexpr std::int32_t kBytesOfCounts = 20;  // the first record: five 4-byte counts
  std::ifstream file(name, std::ios::binary);
  std::int32_t bytes = 0;
  return file.read(reinterpret_cast<char*>(&bytes), sizeof(bytes)) && bytes != kBytesOfCounts;
}

std::string describe_sensitivity(const std::string& name, const SensitivityFile& file) {
  const SensitivityState& sens = file.sens;
  const Ground& ground = *file.ground;
  const MatrixCounts counts = counts_of(file);
  std::error_code error;
  const auto bytes = static_cast<double>(std::filesystem::file_size(name, error));
  return fmt::format("Sensitivities of {} data to {} cells\n\n", sens.ndata, sens.nsens) +
         describe_mesh(ground.mesh) +
         fmt::format("  {} cells are ground, {} above them air\n\n", ground.cells(),
                     ground.air_cells()) +
         (sens.compressed ? describe_compressed_form(sens) : "Matrix: full form\n") +
         (error ? "" : fmt::format("  size of the file {}\n", describe_size(bytes, counts))) +
         fmt::format("Scale of the cells (wtz): {}\n", format_range(sens.wtz, "")) +
         fmt::format("Diagonal of G^T G (gdiag): {}\n\n", format_range(sens.gdiag, "")) +
         fmt::format("An inversion takes about {} of memory.\n",
                     format_bytes(inversion_bytes(counts)));
}

std::vector<std::string> find_matrix_faults(const SensitivityFile& file) {
  const SensitivityState& sens = file.sens;
  const auto not_positive = [](double value) { return !(value > 0.0 && std::isfinite(value)); };
  const auto negative = [](double value) { return !(value >= 0.0 && std::isfinite(value)); };
  std::vector<std::string> found;
  if (sens.ndata == 0) found.emplace_back("there are no data");
  const Mesh& mesh = file.ground->mesh;
  const std::int64_t ground = file.ground->cells();
  if (sens.nsens != ground) {
    found.push_back(fmt::format("the matrix has {} columns, but {} cells lie below the column tops",
                                sens.nsens, ground));
  }
  const double defect = sens.compressed ? filter_defect(sens.filter.low) : 0.0;
  if (!(defect <= kOrthonormal)) {
    found.push_back(fmt::format(
        "the wavelet filter is not orthonormal, by {:.2g}, so that the products with G and with "
        "G^T do not belong to the same matrix",
        defect));
  }
  check_values(mesh.de, not_positive, "cell widths along easting should be positive", found);
  check_values(mesh.dn, not_positive, "cell widths along northing should be positive", found);
  check_values(mesh.dz, not_positive, "layers should have a positive thickness", found);
  check_values(sens.wtz, not_positive, "wtz should be positive", found);
  check_values(sens.gdiag, negative, "gdiag should not be negative", found);
  check_rows(sens, found);
  if (file.bytes_behind > 0) {
    found.push_back(
        fmt::format("{} bytes follow the last record that its counts tell of; they are not read",
                    file.bytes_behind));
  }
  return found;
}

}  // namespace quorivex
