// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/check/sensitivity_summary.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "inversion/mesh_io/describe_mesh.h"
#include "inversion/sensitivity/run_needs.h"
#include "inversion/sensitivity/wavelet_filters.h"

namespace quorivex {
namespace {

constexpr double kOrthonormal = 1e-6;

std::string range_in_words(const std::vector<double>& values) {
  if (values.empty()) return "no values";
  const auto [least, most] = std::minmax_element(values.begin(), values.end());
  return fmt::format("{:.6g} to {:.6g}", *least, *most);
}

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

std::string compressed_form(const SensitivityState& sens) {
  std::int64_t fewest = sens.ndata > 0 ? std::numeric_limits<std::int64_t>::max() : 0;
  std::int64_t most = 0;
  for (const SparseMatrix::RowStatistics& row : sens.Gs.row_facts()) {
    fewest = std::min(fewest, row.entries);
    most = std::max(most, row.entries);
  }
  const double bytes = matrix_bytes(sens);
  std::string text = fmt::format(
      "Matrix: wavelet-compressed\n"
      "  filter of {} coefficients{}, grid of {} x {} x {} points along easting, northing and "
      "depth\n"
      "  {} coefficients in all; a row has {} to {}, {:.1f} on average\n  {}",
      sens.filter.ncof(), filter_name(sens.filter.low), sens.nw2, sens.nw3, sens.nw1,
      sens.Gs.entries(), fewest, most,
      static_cast<double>(sens.Gs.entries()) / std::max(sens.ndata, 1), format_bytes(bytes));
  if (full_bytes(sens) > 0.0) {
    text += fmt::format(", {:.3g} times the {} of the full form", bytes / full_bytes(sens),
                        format_bytes(full_bytes(sens)));
  }
  return text + "\n";
}

/// The sentence `why` when `wrong` holds for some of the values, with their count and the first.
template <class Values, class Wrong>
void look_for(const Values& values, Wrong wrong, const char* why, std::vector<std::string>& found) {
  const auto first = std::find_if(values.begin(), values.end(), wrong);
  if (first == values.end()) return;
  found.push_back(fmt::format("{}: {} of {} values, the first is number {}, {}", why,
                              std::count_if(first, values.end(), wrong),
                              values.end() - values.begin(), first - values.begin() + 1, *first));
}

void look_at_matrix(const SensitivityState& sens, std::vector<std::string>& found) {
  const auto finite = [](float value) { return std::isfinite(value); };
  std::int64_t rows = 0;
  if (sens.compressed) {
    for (const SparseMatrix::RowStatistics& row : sens.Gs.row_facts()) rows += row.finite ? 0 : 1;
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

std::string sensitivity_in_words(const SensitivityFile& file) {
  const SensitivityState& sens = file.sens;
  const Ground& ground = *file.ground;
  return fmt::format("Sensitivities of {} data to {} cells\n\n", sens.ndata, sens.nsens) +
         describe_mesh(ground.mesh) +
         fmt::format("  {} cells are ground, {} above them air\n\n", ground.cells(),
                     ground.air_cells()) +
         (sens.compressed
              ? compressed_form(sens)
              : fmt::format("Matrix: full form, {}\n", format_bytes(full_bytes(sens)))) +
         fmt::format("Scale of the cells (wtz): {}\n", range_in_words(sens.wtz)) +
         fmt::format("Diagonal of G^T G (gdiag): {}\n\n", range_in_words(sens.gdiag)) +
         fmt::format("An inversion takes about {} of memory.\n",
                     format_bytes(inversion_bytes(file)));
}

std::vector<std::string> doubts_about(const SensitivityFile& file) {
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
  look_for(mesh.de, not_positive, "cell widths along easting should be positive", found);
  look_for(mesh.dn, not_positive, "cell widths along northing should be positive", found);
  look_for(mesh.dz, not_positive, "layers should have a positive thickness", found);
  look_for(sens.wtz, not_positive, "wtz should be positive", found);
  look_for(sens.gdiag, negative, "gdiag should not be negative", found);
  look_at_matrix(sens, found);
  return found;
}

}  // namespace quorivex
