// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <cmath>
#include <numeric>

#include "base/record_writer.h"
#include "base/stop_run.h"
#include "inversion/sensitivity/getpar.h"
#include "inversion/sensitivity/products.h"
#include "inversion/sensitivity/wavelet_filters.h"
#include "prism_mesh.h"
#include "scratch_folder.h"
#include "values.h"
#include "workbench/forward/build_sensitivity.h"
#include "workbench/forward/cell_scale.h"
#include "workbench/forward/predicted_data.h"

namespace quorivex::test {
namespace {

const Ground& ground() {
  static const Ground hills = [] {
    Ground flat = ground_of({0, 60, 100, 120, 140, 180, 240}, {0, 30, 50, 70, 90, 120},
                            {20, 10, 0, -10, -25, -45, -75, -120}, 1);
    flat.tops.tops[7] = 2;
    return make_ground(flat.mesh, flat.tops);
  }();
  return hills;
}

Observations stations() {
  Observations survey = field(60, 10, 52000, 60, 10);
  for (int i = 0; i < 23; ++i) {
    survey.x.push_back(20 + 37 * i % 200);
    survey.y.push_back(10 + 53 * i % 100);
    survey.z.push_back(33 + i % 3);
    survey.std.push_back(0.5 + i % 4);
  }
  survey.obs.resize(survey.std.size());
  survey.ndata = 23;
  return survey;
}

SensitivityFile built(const ScratchFolder& folder, const std::vector<double>& wtz,
                      const BuildOptions& options, BuildSummary& summary) {
  AtomicFile file(folder.path("s.mtx"));
  summary = build_sensitivity(ground(), stations(), wtz, options,
                              [&](auto parts) { write_record(file, parts); });
  file.commit();
  return getpar(folder.path("s.mtx"));
}

// Records out of order, rows or columns scaled the wrong way, coefficients at the wrong places; a
// row error that is not what was promised; gdiag of the normalised rows.
TEST(SensitivityFile, ReadByTheInversionPredictsTheDataOfThePrisms) {
  const Observations survey = stations();
  const std::vector<double> wtz = cell_scale(ground(), survey, {.offset = 5.0});
  std::vector<double> model = values_of_seed(as_size(ground().cells()), 7);
  const std::vector<double> expected = predicted_data(ground(), survey, model);
  for (std::size_t c = 0; c < model.size(); ++c) model[c] *= wtz[c];
  for (const double error : {-1.0, 0.0, 0.02}) {  // full form, all coefficients, some
    const ScratchFolder folder;
    BuildOptions options{.low_pass = {}, .rule = {.value = error}};
    if (error >= 0.0) options.low_pass = low_pass_filter("daub4");
    BuildSummary summary;
    const SensitivityFile file = built(folder, wtz, options, summary);
    ASSERT_EQ(file.sens.nsens, ground().cells());
    EXPECT_EQ(file.ground->mesh.northing_nodes, ground().mesh.northing_nodes);
    EXPECT_EQ(file.ground->tops.tops, ground().tops.tops);
    EXPECT_EQ(file.sens.wtz, wtz);
    const ActiveCells active = get_active_cells("null", file.ground);
    std::vector<double> data(expected.size());
    gprod(file.sens, active, model, data);
    const double size = std::sqrt(dot(expected, expected) / 23.0);
    for (std::size_t i = 0; i < data.size(); ++i)
      EXPECT_NEAR(data[i] * survey.std[i], expected[i], (error > 0.0 ? 0.2 : 1e-5) * size) << error;
    if (error > 0.0) {
      const auto [least, most] =
          std::minmax_element(summary.row_errors.begin(), summary.row_errors.end());
      EXPECT_LE(*most, error);
      EXPECT_GT(*least, 0.5 * error);
      EXPECT_EQ(summary.coefficients, file.sens.Gs.entries());
    }
    Observations unit = survey;
    double sum = 0.0;
    std::vector<double> one(wtz.size());
    one[40] = 1.0 / wtz[40];
    for (const double value : predicted_data(ground(), unit, one)) sum += value * value;
    EXPECT_NEAR(file.sens.gdiag[40], sum, 1e-12 * sum);
  }
}

// Rows written in the order in which threads finish; sums in an order of their own.
TEST(SensitivityFile, HasTheSameBytesForEveryNumberOfThreads) {
  std::vector<std::string> files;
  for (const int threads : {1, 2, 5}) {
    omp_set_num_threads(threads);
    const ScratchFolder folder;
    BuildSummary summary;
    const std::vector<double> wtz =
        cell_scale(ground(), stations(), {.kind = ScaleRule::Kind::sensitivity});
    built(folder, wtz, {low_pass_filter("sym4"), {}}, summary);
    files.push_back(folder.read("s.mtx"));
  }
  EXPECT_TRUE(files[0] == files[1] && files[0] == files[2]);
}

/// The coefficients of a row that a rule keeps.
std::vector<double> kept(const std::vector<double>& row, const CompressionRule& rule,
                         double* error = nullptr) {
  SizeClasses classes(length(row));
  CompressedRow to(length(row));
  compress_row(row, 5, rule, classes, to);
  if (error != nullptr) *error = to.relative_error;
  EXPECT_TRUE(to.finite);
  std::vector<double> values;
  for (std::int32_t n = 0; n < to.count; ++n) {
    values.push_back(to.values.data()[n]);
    EXPECT_EQ(values.back(), static_cast<float>(row[as_size(to.positions.data()[n] - 1)]));
  }
  return values;
}

/// The largest coefficients whose rest has at most error^2 of the energy, by sorting them all; of
/// equal ones the first, in the order of the row.
std::vector<double> by_sorting(const std::vector<double>& row, double error) {
  std::vector<std::size_t> order(row.size());
  std::iota(order.begin(), order.end(), 0U);
  std::stable_sort(order.begin(), order.end(),
                   [&](auto a, auto b) { return std::abs(row[a]) > std::abs(row[b]); });
  double left = error * error * dot(row, row);
  while (!order.empty() && row[order.back()] * row[order.back()] <= left) {
    left -= row[order.back()] * row[order.back()];
    order.pop_back();
  }
  std::sort(order.begin(), order.end());
  std::vector<double> values;
  for (const std::size_t n : order) values.push_back(static_cast<float>(row[n]));
  return values;
}

// One coefficient too many or too few; ties that break the count.
TEST(RowCompression, KeepsTheFewestCoefficientsThatAreAllowed) {
  const std::vector<double> row{3, -1, 0, 2, 2, -2, 0.5, 0, 1, -4};
  using Kind = CompressionRule::Kind;
  const double energy = dot(row, row);
  const auto error = [&](double dropped) { return std::sqrt(dropped / energy) * (1 + 1e-12); };
  EXPECT_EQ(kept(row, {Kind::relative_error, error(6.25)}), (std::vector<double>{3, 2, 2, -4}));
  double made = 0.0;
  EXPECT_EQ(kept(row, {Kind::relative_error, error(2.24)}, &made),
            (std::vector<double>{3, -1, 2, 2, -2, -4}));
  EXPECT_NEAR(made, std::sqrt(1.25 / energy), 1e-15);
  EXPECT_EQ(kept(row, {Kind::relative_error, 1.0 + 1e-9}).size(), 0U);
  EXPECT_EQ(kept(row, {Kind::relative_error, 0.0}).size(), 8U);
  EXPECT_EQ(kept(row, {Kind::threshold, 2.0}).size(), 5U);
  EXPECT_EQ(kept(row, {Kind::threshold, 0.0}).size(), 8U);
  EXPECT_EQ(kept(row, {Kind::fraction, 0.6}), (std::vector<double>{3, 2, -4}));
  EXPECT_EQ(kept(row, {Kind::fraction, 100.0}).size(), 8U);
  EXPECT_EQ(kept({0, 2e-26, 0, 3e-26, 1, 0, 0}, {Kind::fraction, 0.4}).size(), 2U);
}

// A class that is cut in the wrong place, or taken for another.
TEST(RowCompression, AwkwardRowsAreCutAsSortingThemWouldDo) {
  std::vector<std::vector<double>> rows{
      std::vector<double>(999, -0.3), std::vector<double>(64, 0.0), {0, 0, 5, 0}};
  for (const double scale : {1.0, 1e-25, 1e30}) {
    std::vector<double> row = values_of_seed(4096, 7);
    for (std::size_t n = 0; n < row.size(); ++n)
      row[n] *= scale * std::exp2(-static_cast<double>(n % 97) / 4.0);
    for (std::size_t n = 0; n < row.size(); n += 3) row[n] = 0.01 * scale;  // ties
    rows.push_back(row);
  }
  for (const std::vector<double>& row : rows) {
    for (const double error : {1e-4, 0.01, 0.3, 0.9}) {
      double made = 0.0;
      const auto of_row = kept(row, {CompressionRule::Kind::relative_error, error}, &made);
      EXPECT_EQ(of_row, by_sorting(row, error)) << row[1] << " " << error;
      EXPECT_LE(made, error * (1 + 1e-9) + 1e-7);
    }
  }
}

TEST(RowCompression, ARowWithoutANumberIsNotFinite) {
  std::vector<double> row(100, 1.0);
  row[50] = std::numeric_limits<double>::quiet_NaN();
  SizeClasses classes(100);
  CompressedRow to(100);
  compress_row(row, 100, {}, classes, to);
  EXPECT_FALSE(to.finite);
}

// A coefficient mistyped: sums of neighbours, and the moments that each family makes vanish.
TEST(WaveletFilters, AreOrthonormalAndHaveTheirVanishingMoments) {
  for (const std::string& name : wavelet_names()) {
    const std::vector<double> c = low_pass_filter(name);
    for (std::size_t shift = 0; shift < c.size(); shift += 2) {
      const double product =
          std::inner_product(c.begin() + static_cast<int>(shift), c.end(), c.begin(), 0.0);
      EXPECT_NEAR(product, shift == 0 ? 1.0 : 0.0, 4e-16) << name;
    }
    for (std::size_t moment = 0; moment < c.size() / 2; ++moment) {
      double sum = 0.0;
      for (std::size_t k = 0; k < c.size(); ++k)
        sum += (k % 2 == 0 ? 1 : -1) * std::pow(k, moment) * c[k];
      EXPECT_NEAR(sum, 0.0, 1e-13 * std::pow(c.size(), moment)) << name << " moment " << moment;
    }
  }
}

/// Equation 9, to the power of 4, of a cell at (k, i, j) from 0.
double by_plain_loops(const Ground& g, const Observations& survey, const ScaleRule& rule,
                      std::size_t k, std::size_t i, std::size_t j) {
  const Mesh& m = g.mesh;
  const double half[] = {m.de[i] / 2, m.dn[j] / 2, m.dz[k] / 2};
  const double centre[] = {m.easting_nodes[i] + half[0], m.northing_nodes[j] + half[1],
                           m.z0 - m.depth_nodes[k] - half[2]};
  double sum = 0.0;
  for (std::size_t s = 0; s < survey.x.size(); ++s) {
    const double from[] = {survey.x[s] - centre[0], survey.y[s] - centre[1],
                           survey.z[s] - centre[2]};
    const auto power = [&](int east, int north, int up) {
      const double gauss = 1.0 / std::sqrt(3.0);
      const double r =
          std::hypot(from[0] - east * gauss * half[0], from[1] - north * gauss * half[1],
                     from[2] - up * gauss * half[2]);
      return std::pow(r + rule.offset, -rule.exponent);
    };
    double value = 0.0;
    for (const int e : {-1, 1})
      for (const int n : {-1, 1})
        for (const int u : {-1, 1}) value += power(e, n, u) / 8.0;
    if (std::hypot(from[0], from[1], from[2]) > 3.0 * std::hypot(half[0], half[1], half[2]))
      value = power(0, 0, 0);
    sum += value * value;
  }
  return sum;
}

// Stations that fill the last vector counted, digits lost where a station is at a cell's centre.
TEST(CellScale, EqualsPlainLoopsOverTheStations) {
  Observations survey = stations();
  survey.x[5] = 110.0;
  survey.y[5] = 60.0;
  survey.z[5] = -5.0;
  for (const double exponent : {3.0, 1.7}) {
    const ScaleRule rule{.exponent = exponent, .offset = 0.01};
    const std::vector<double> wtz = cell_scale(ground(), survey, rule);
    std::vector<double> ratios;
    for_each_ground_cell(ground(), [&](const GridCell& at) {
      const double plain = by_plain_loops(ground(), survey, rule, as_size(at.k - 1),
                                          as_size(at.i - 1), as_size(at.j - 1));
      ratios.push_back(wtz[as_size(at.below - 1)] / std::sqrt(std::sqrt(plain)));
    });
    for (const double ratio : ratios) EXPECT_NEAR(ratio / ratios[0], 1.0, 1e-12);
  }
}

// Cell sizes printed into the model: the same place must get the same scale however it is cut.
TEST(CellScale, DoesNotDependOnTheSizesOfTheCells) {
  Observations survey = field(60, 10, 52000, 60, 10);
  for (int i = 0; i < 256; ++i) {
    survey.x.push_back(-30 + 20 * (i % 16));
    survey.y.push_back(-30 + 20 * (i / 16));
    survey.z.push_back(50);
  }
  survey.ndata = 256;
  std::vector<double> fine;
  std::vector<double> graded;
  for (int node = -30; node <= 270; node += 20) fine.push_back(node);
  for (const int node : {-30, 10, 30, 50, 90, 110, 130, 190, 210, 270}) graded.push_back(node);
  const std::vector<double> up{20, 10, -10, -20, -60, -80};
  const Ground one = ground_of(fine, fine, up);
  const Ground other = ground_of(graded, graded, up);
  for (const auto kind : {ScaleRule::Kind::distance, ScaleRule::Kind::sensitivity}) {
    const auto a = cell_scale(one, survey, {.kind = kind, .offset = 5.0});
    const auto b = cell_scale(other, survey, {.kind = kind, .offset = 5.0});
    EXPECT_EQ(*std::max_element(a.begin(), a.end()), 1.0);
    for (std::size_t k = 0; k < 5; ++k) {
      // Cells from 10 to 30 m and, three times as wide, from 130 to 190 m, against the fine middle.
      const double same = b[k + 5 * (1 + 9)] / a[k + 5 * (2 + 2 * 15)];
      const double wide = b[k + 5 * (6 + 6 * 9)] / a[k + 5 * (9 + 9 * 15)];
      EXPECT_NEAR(wide / same, 1.0, 0.2) << "layer " << k + 1;
    }
  }
  const auto depth = cell_scale(one, survey, {.kind = ScaleRule::Kind::depth, .offset = 5.0});
  EXPECT_NEAR(depth[3] / depth[0], std::pow((60.0 + 5.0) / (5.0 + 5.0), -1.5), 1e-14);
}

}  // namespace
}  // namespace quorivex::test
