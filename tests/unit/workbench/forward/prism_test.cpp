// SPDX-License-Identifier: GPL-3.0-or-later
#include <boost/multiprecision/cpp_bin_float.hpp>
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <numbers>

#include "prism_mesh.h"
#include "workbench/forward/prism_row.h"

namespace quorivex::test {
namespace {

std::vector<double> row_at(const Ground& ground, const Point& station, const Observations& survey) {
  PrismScratch scratch(ground.mesh);
  std::vector<double> row(static_cast<std::size_t>(ground.cells()));
  prism_row(ground, station, tensor_weights(survey, 1), scratch,
            [&](const GridColumn& column, const double* cells) {
              std::copy_n(cells, ground.mesh.nz - column.top, row.data() + column.before);
            });
  return row;
}

double anomaly(const Ground& ground, const Point& station, const Observations& survey) {
  double sum = 0.0;
  for (const double value : row_at(ground, station, survey)) sum += value;
  return sum;
}

bool on_edge(const Ground& ground, const Point& station) {
  PrismScratch scratch(ground.mesh);
  return on_cell_edge(ground, station, scratch);
}

const Ground& cube() {
  static const Ground ground = ground_of({0, 50}, {0, 50}, {0, -50});
  return ground;
}

// A sign, an axis or a factor of the kernel; 0/0 and log(0) in the plane of a face, on the line of
// an edge. Values of the closed form with 60 digits, per component east, north and down.
TEST(Prism, EqualsTheClosedFormAtEasyAndAtAlignedStations) {
  struct Case {
    Ground ground;
    Point station;
    double incl, decl, strength, chi, total, east, north, up;
  };
  const Ground slab = ground_of({100, 300}, {-50, 50}, {-100, -130});
  const Ground far = ground_of({500000, 500050}, {7450000, 7450050}, {200, 180});
  // clang-format off
  const Case cases[] = {
      {cube(), {25, 25, 50}, 62, 14, 50000, 0.01,
       15.18163393069141, -1.287925471449631, -5.165586924705343, -20.02493832602310},
      {cube(), {50.5, 50.5, 0.5}, 62, 14, 50000, 0.01,
       -115.2082317547063, -54.62275728838303, -98.32271738514910, 72.72894696858412},
      {cube(), {50, 50, 10}, 62, 14, 50000, 0.01,
       -25.14019595261126, -33.01060008241527, -49.62996947560252, -1.378056592460906},
      {cube(), {50, 25, 0.1}, 62, 14, 50000, 0.01,
       -27.69315309662215, -396.3266498429429, -33.50370985332242, -36.90099420557895},
      {cube(), {80, 25, 0}, 62, 14, 50000, 0.01,
       -18.40762314979877, -16.99882378482419, -9.626421575830006, 13.69490833792598},
      {cube(), {25, 25, -80}, 62, 14, 50000, 0.01,
       35.49706831837602, -3.011374049574523, -12.07796162177812, -46.82148226437543},
      {slab, {37.5, -212.25, 12.125}, -55, -25, 55000, 0.05,
       -5.041666184214194, 0.3069317857109691, -3.980912771237262, -3.537609202808396},
      {far, {500062.5, 7450012.5, 240}, -55, -25, 55000, 0.02,
       -5.357989902840277, 14.95006731700465, -11.18368007447714, 4.980336380395535},
  };
  // clang-format on
  for (const Case& c : cases) {
    const auto component = [&](double incl, double decl) {
      return c.chi * anomaly(c.ground, c.station, field(c.incl, c.decl, c.strength, incl, decl));
    };
    const double tolerance =
        2e-13 * std::max({std::abs(c.east), std::abs(c.north), std::abs(c.up)});
    EXPECT_NEAR(component(c.incl, c.decl), c.total, tolerance) << c.total;
    EXPECT_NEAR(component(0, 90), c.east, tolerance) << c.total;
    EXPECT_NEAR(component(0, 0), c.north, tolerance) << c.total;
    EXPECT_NEAR(component(-90, 0), c.up, tolerance) << c.total;
  }
}

using Digits50 = boost::multiprecision::cpp_bin_float_50;

/// The tensor of a prism from a station, times four pi, by the closed form with 50 digits.
struct Tensor {
  Digits50 ee = 0, nn = 0, uu = 0, en = 0, eu = 0, nu = 0;

  Tensor(const Point& station, const double (&east)[2], const double (&north)[2],
         const double (&up)[2]) {
    for (int corner = 0; corner < 8; ++corner) {
      const Digits50 x = Digits50(east[corner & 1]) - station.easting;
      const Digits50 y = Digits50(north[corner >> 1 & 1]) - station.northing;
      const Digits50 z = Digits50(up[corner >> 2]) - station.elevation;
      const Digits50 r = sqrt(x * x + y * y + z * z);
      const int sign = std::popcount(static_cast<unsigned>(corner)) % 2 == 1 ? 1 : -1;
      ee -= sign * atan(y * z / (x * r));
      nn -= sign * atan(x * z / (y * r));
      uu -= sign * atan(x * y / (z * r));
      en += sign * log(z + r);
      eu += sign * log(y + r);
      nu += sign * log(x + r);
    }
  }
  Digits50 norm() const {
    return sqrt(ee * ee + nn * nn + uu * uu + 2 * (en * en + eu * eu + nu * nu));
  }
};

/// Widths that grow by a factor.
std::vector<double> graded(double from, double width, double factor, int count, int sign) {
  std::vector<double> nodes{from};
  for (int i = 0; i < count; ++i, width *= factor) nodes.push_back(nodes.back() + sign * width);
  return nodes;
}

/// The largest error of a row's entries in units of the cell's field, over some of its cells.
double largest_error(const Ground& ground, const Point& station, const TensorWeights& w) {
  PrismScratch scratch(ground.mesh);
  const Mesh& m = ground.mesh;
  double largest = 0.0;
  prism_row(ground, station, w, scratch, [&](const GridColumn& c, const double* cells) {
    const std::size_t i = as_size(c.i);
    const std::size_t j = as_size(c.j);
    for (std::int32_t k = (c.i + 2 * c.j) % 3 + 1; k <= m.nz; k += 3) {
      const Tensor t(station, {m.easting_nodes[i - 1], m.easting_nodes[i]},
                     {m.northing_nodes[j - 1], m.northing_nodes[j]},
                     {ground.elevation(k + 1), ground.elevation(k)});
      const Digits50 value =
          w.ee * t.ee + w.nn * t.nn + w.uu * t.uu + w.en * t.en + w.eu * t.eu + w.nu * t.nu;
      const Digits50 error = abs(Digits50(static_cast<float>(cells[k - 1])) - value) / t.norm();
      largest = std::max(largest, static_cast<double>(error));
    }
  });
  return largest;
}

// A term of the expansion, the distance from which it is used, digits lost far away: cells of 1 m
// to 10 km and of all shapes, in map coordinates, seen from 3 m to 30 km and, a mesh of 5 m, from
// its own length ten thousand times away. Single precision of the file included.
TEST(Prism, EveryEntryIsWithinTwoTenMillionthsOfItsCellsField) {
  const Ground uneven =
      ground_of(graded(450000.0, 1.0, 4.7, 7, 1), graded(7200000.0, 10000.0, 0.27, 8, 1),
                graded(300.0, 1.0, 3.3, 8, -1));
  const Ground even = ground_of(graded(450000.0, 5.0, 1.0, 5, 1), graded(7200000.0, 5.0, 1.0, 4, 1),
                                graded(300.0, 1.25, 1.0, 6, -1));
  const TensorWeights some{.ee = 0.3, .nn = 0.5, .uu = -0.8, .en = 0.7, .eu = -0.4, .nu = 0.9};
  for (const Point& above : {Point{3.3, 10.1, 3.0}, Point{-400.7, 9000.3, 40.0},
                             Point{70.2, 13690.4, 1000.0}, Point{-21000.3, 22000.1, 9000.0}}) {
    const Point station{450000.0 + above.easting, 7200000.0 + above.northing,
                        300.0 + above.elevation};
    EXPECT_LT(largest_error(uneven, station, some), 2e-7) << above.easting;
  }
  for (const double distance : {20.0, 27.0, 28.0, 49.0, 51.0, 199.0, 201.0, 3000.0, 50000.0}) {
    for (const double angle : {0.3, 1.4, 2.0, 4.1}) {
      const Point station{450012.0 + distance * std::cos(angle),
                          7200011.0 + distance * std::sin(angle), 301.0 + 0.3 * distance};
      EXPECT_LT(largest_error(even, station, some), 2e-7) << distance << " " << angle;
    }
  }
  const Ground tall = ground_of({0, 12}, {0, 12}, {10, -10});
  for (const double lengths : {2.0, 3.79, 4.2, 5.49, 7.5, 9.99, 30.0, 39.9}) {
    const double distance = 20.0 * lengths;
    const Point station{6 + 0.08 * distance, 6 + 0.06 * distance, 0.995 * distance};
    EXPECT_LT(largest_error(tall, station, some), 2e-7) << lengths;
  }
}

// Blocks of 8 layers of one thickness, of another and of several: what one of them has in common
// taken from the others.
TEST(Prism, ACellDoesNotDependOnTheLayersAroundIt) {
  std::vector<double> up = graded(0.0, 2.0, 1.0, 17, -1);
  for (int n = 0; n < 8; ++n) up.push_back(up.back() - 2.0 * std::pow(1.5, n));
  for (int n = 0; n < 11; ++n) up.push_back(up.back() - 3.0);
  const std::vector<double> east{0, 10, 14, 38};
  const std::vector<double> north{0, 12, 36};
  const Ground all = ground_of(east, north, up);
  const Observations survey = field(62, 14, 50000, 20, -60);
  for (const Point& station : {Point{20, 6, 3}, {-70, 31, -40}, {20, 6, 5}, {300, 280, 20}}) {
    const std::vector<double> row = row_at(all, station, survey);
    for (std::size_t k = 0; k + 1 < up.size(); ++k) {
      const std::vector<double> one =
          row_at(ground_of(east, north, {up[k], up[k + 1]}), station, survey);
      const double largest = std::abs(*std::max_element(
          one.begin(), one.end(), [](double a, double b) { return std::abs(a) < std::abs(b); }));
      for (std::size_t c = 0; c < one.size(); ++c)
        EXPECT_NEAR(row[c * (up.size() - 1) + k], one[c], 2e-7 * largest) << k << " " << c;
    }
  }
}

// Cancellation far away: the moment of the prism, seen as a dipole (Blakely 1995, "Potential Theory
// in Gravity and Magnetic Applications", eq. 4.16).
TEST(Prism, IsADipoleFarAway) {
  const Observations survey = field(-35, 120, 48000, 20, -60);
  const Direction f = field_direction(-35, 120);
  const Direction a = field_direction(20, -60);
  const double r[] = {9000, -7000, 3000};
  const double r2 = r[0] * r[0] + r[1] * r[1] + r[2] * r[2];
  const double fr = f.east * r[0] + f.north * r[1] + f.up * r[2];
  const double ar = a.east * r[0] + a.north * r[1] + a.up * r[2];
  const double fa = f.east * a.east + f.north * a.north + f.up * a.up;
  const double dipole =
      48000.0 * 125000.0 / (4 * std::numbers::pi) * (3 * fr * ar / r2 - fa) / (r2 * std::sqrt(r2));
  const double got = anomaly(cube(), {25 + r[0], 25 + r[1], -25 + r[2]}, survey);
  EXPECT_NEAR(got, dipole, 2e-5 * std::abs(dipole));
}

// Cells in the wrong order, a difference across the wrong node, air cells counted.
TEST(Prism, CellsOfACutCubeAddUpToTheCubeAndLieInCellOrder) {
  const Ground cut = ground_of({0, 10, 35, 50}, {0, 20, 50}, {40, 0, -5, -15, -30, -50}, 1);
  const Observations survey = field(62, 14, 50000, 62, 14);
  for (const Point& station : {Point{60, -20, 15}, {10, 20, 3}, {31, 22, -12}, {35, 70, -15}}) {
    const std::vector<double> row = row_at(cut, station, survey);
    ASSERT_EQ(row.size(), 24U);
    EXPECT_NEAR(anomaly(cut, station, survey), anomaly(cube(), station, survey), 1e-6);
    const Ground one = ground_of({10, 35}, {20, 50}, {-5, -15});
    EXPECT_NEAR(row[1 + (1 + 1 * 3) * 4], anomaly(one, station, survey), 1e-6);
  }
}

// A jump, an infinity or a NaN close to a face's plane or an edge's line, in it, and at a corner.
TEST(Prism, IsContinuousAcrossEveryAlignmentOutsideAndFiniteOnEdges) {
  const Observations survey = field(62, 14, 50000, -20, 70);
  for (const Point& at : {Point{50, 25, 30},
                          {50, 50, 30},
                          {80, 25, 0},
                          {80, 50, -50},
                          {0, -30, 0},
                          {-20, 0, -25},
                          {0, 0, -90}}) {
    const double exact = anomaly(cube(), at, survey);
    for (const double shift : {1e-6, 1e-9, 1e-12, -1e-12, -1e-9, -1e-6}) {
      const Point near{at.easting + shift, at.northing - shift, at.elevation + shift};
      EXPECT_NEAR(anomaly(cube(), near, survey), exact, 1e-9 + 400 * std::abs(shift)) << shift;
    }
  }
  for (const Point& at : {Point{50, 25, 0}, {0, 0, -20}, {50, 50, 0}, {0, 0, -50}}) {
    EXPECT_TRUE(std::isfinite(anomaly(cube(), at, survey)));
    EXPECT_TRUE(on_edge(cube(), at));
  }
  // Decimals for which (top - depth) - elevation and (top - elevation) - depth differ.
  EXPECT_TRUE(on_edge(ground_of({0, 50}, {0, 50}, {288.3, 288.3 - 0.1, 258}), {50, 25, 288.2}));
  EXPECT_FALSE(on_edge(cube(), {50, 25, -20}));
  EXPECT_FALSE(on_edge(cube(), {50, 50, 1}));
  EXPECT_FALSE(on_edge(ground_of({0, 50}, {0, 50}, {50, 0, -50}, 1), {50, 50, 20}));
}

// The trace left out, or a cell that takes the trace of its neighbour; a station on the ground that
// counts as buried.
TEST(Prism, TraceIsThatOfPoissonInsideAndZeroOutside) {
  const double trace = -4 * std::numbers::pi;
  const Ground ground = ground_of({0, 20, 50}, {0, 30, 50}, {0, -10, -50});
  const auto trace_at = [&](const Point& at, std::size_t cell) {
    double sum = 0.0;
    for (const auto& [incl, decl] : {std::pair{0.0, 90.0}, {0.0, 0.0}, {-90.0, 0.0}}) {
      sum += row_at(ground, at, field(incl, decl, 4 * std::numbers::pi, incl, decl))[cell];
    }
    return sum;
  };
  EXPECT_NEAR(trace_at({30, 10, -20}, 3), trace, 1e-12);  // second column, second layer
  EXPECT_NEAR(trace_at({30, 10, -20}, 2), 0.0, 1e-12);
  EXPECT_NEAR(trace_at({20, 10, -20}, 3), trace / 2, 1e-12);  // on the face between two columns
  EXPECT_NEAR(trace_at({30, 10, 0}, 2), 0.0, 1e-12);          // on the ground
  EXPECT_NEAR(trace_at({30, 10, -10}, 2), trace, 1e-12);      // above the lower of two layers
}

// Inclination or declination with the wrong sign: in the northern hemisphere a body's low lies to
// its magnetic north.
TEST(Prism, LowLiesToTheNorthInTheNorthernHemisphere) {
  const auto at = [](double incl, double decl, double east, double north) {
    return anomaly(cube(), {25 + east, 25 + north, 60}, field(incl, decl, 50000, incl, decl));
  };
  EXPECT_LT(at(60, 0, 0, 120), 0.0);
  EXPECT_GT(at(60, 0, 0, -40), -at(60, 0, 0, 120));
  EXPECT_LT(at(-60, 0, 0, -120), 0.0);
  EXPECT_LT(at(60, 30, 60, 104), at(60, 30, -60, 104));
}

}  // namespace
}  // namespace quorivex::test
