// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>

#include <cmath>
#include <complex>
#include <functional>
#include <numbers>

#include "small_model.h"

namespace quorivex::test {
namespace {

using Inside = std::function<bool(const Place&)>;

/// The region of an operation holds exactly the cells of the closed form, some but not all.
void expect_region(const std::string& region, const Inside& inside, SmallModel& model) {
  const OperationFacts facts = model.apply(region + " reference=0.5");
  std::int64_t expected = 0;
  for (std::size_t n = 0; n < model.places.size(); ++n) {
    const Place& at = model.places[n];
    expected += inside(at) ? 1 : 0;
    EXPECT_EQ(model(Quantity::reference, n), inside(at) ? 0.5 : 0.0)
        << region << " at " << at.easting << " " << at.northing << " " << at.elevation;
  }
  EXPECT_EQ(facts.cells, expected);
  EXPECT_GT(expected, 0) << region;
  EXPECT_LT(expected, static_cast<std::int64_t>(model.places.size())) << region;
}

void expect_region(const std::string& region, const Inside& inside) {
  SmallModel model;
  expect_region(region, inside, model);
}

TEST(ModelRegions, RangesAreThoseOfTheirAxesAndCountDepthFromTheGround) {
  expect_region("box easting=1050:1095",
                [](const Place& at) { return at.easting >= 1050 && at.easting <= 1095; });
  expect_region("box northing=5061:", [](const Place& at) { return at.northing > 5061; });
  expect_region("box elevation=230:272.5",
                [](const Place& at) { return at.elevation >= 230 && at.elevation <= 272.5; });
  // The first ground cell alone: its centre lies 5 to 25 m deep, the next one 15 m or more.
  expect_region("box depth=:7.5 northing=5000:5100",
                [](const Place& at) { return at.depth <= 7.5 && at.northing <= 5100; });
  expect_region("box depth=5:15", [](const Place& at) { return at.depth >= 5 && at.depth <= 15; });
}

TEST(ModelRegions, SurfacesAreThoseOfTheColumn) {
  SmallModel model;
  std::string points;
  const auto plane = [](double e, double n) { return 250 + 0.3 * (e - 1000) - 0.2 * (n - 5000); };
  for (const double e : {900, 1300}) {
    for (const double n : {4900, 5300}) points += fmt::format("{} {} {}\n", e, n, plane(e, n));
  }
  const std::string surface = model.folder.write("a surface.txt", points);
  expect_region(
      "below surface=\"" + surface + "\"",
      [&](const Place& at) { return at.elevation < plane(at.easting, at.northing); }, model);
  expect_region("above \"surface=" + surface + "\"",
                [&](const Place& at) { return at.elevation >= plane(at.easting, at.northing); });
  expect_region("between top=\"" + surface + "\" base=236.5", [&](const Place& at) {
    return at.elevation < plane(at.easting, at.northing) && at.elevation >= 236.5;
  });
  EXPECT_EQ(model.warnings, "");
  model.apply("between top=230 base=" + fmt::format("\"{}\"", surface) + " upper=0.5");
  EXPECT_NE(model.warnings.find("have the top= below the base="), std::string::npos);
}

TEST(ModelRegions, SlabsDipToTheRightOfTheirStrike) {
  // Strike east: it dips to the south, and its upper and lower faces are planes of that slope.
  const double slope = std::tan(30 * std::numbers::pi / 180);
  expect_region("slab centre=1060,5080,240 strike=90 dip=30 length=121 extent=9e3 thickness=24",
                [&](const Place& at) {
                  const double above = at.elevation - 240 - slope * (at.northing - 5080);
                  return std::abs(at.easting - 1060) <= 60.5 &&
                         std::abs(above) <= 12 * std::sqrt(1 + slope * slope);
                });
  // Any strike: the same after a turn of the map, here of complex numbers north + i east.
  const std::complex<double> turn = std::polar(1.0, -35 * std::numbers::pi / 180);
  expect_region("slab centre=1070,5070,235 strike=35 dip=65 length=70 extent=90 thickness=40",
                [&](const Place& at) {
                  const std::complex<double> map =
                      turn * std::complex<double>(at.northing - 5070, at.easting - 1070);
                  const std::complex<double> section =
                      std::polar(1.0, 65 * std::numbers::pi / 180) *
                      std::complex<double>(map.imag(), at.elevation - 235);
                  return std::abs(map.real()) <= 35 && std::abs(section.real()) <= 45 &&
                         std::abs(section.imag()) <= 20;
                });
}

TEST(ModelRegions, EllipsoidsPlungeAlongTheirAzimuth) {
  // To the east and steeply down: a point 60 m along that axis is inside, its mirror image is not.
  const auto inside = [](const Place& at) {
    const double e = at.easting - 1070;
    const double z = at.elevation - 235;
    const double along = 0.6 * e - 0.8 * z;
    const double across = 0.8 * e + 0.6 * z;
    const double n = at.northing - 5075;
    return along * along / 6400 + n * n / 2500 + across * across / 900 <= 1;
  };
  expect_region("ellipsoid centre=1070,5075,235 axes=80,50,30 azimuth=90 dip=53.13010235415598",
                inside);
  expect_region("ellipsoid centre=1070,5075,235 axes=50,80,30 azimuth=0 dip=0",
                [](const Place& at) {
                  return std::hypot((at.northing - 5075) / 50, (at.easting - 1070) / 80,
                                    (at.elevation - 235) / 30) <= 1;
                });
}

TEST(ModelRegions, PolygonsHaveHolesWhereRingsOverlap) {
  SmallModel model;
  const std::string outline = model.folder.write(
      "o.txt",
      "# a triangle with a square hole\n> first\n1000 5000\n1160, 5000\n1000\t5145\n1000 5000\n\n"
      "1045 5065 9\n1075 5065 9\n1075 5080 9\n1045 5080 9\n");
  expect_region(
      "polygon outline=" + outline + " depth=:50",
      [](const Place& at) {
        const bool triangle = (at.easting - 1000) / 160 + (at.northing - 5000) / 145 < 1;
        const bool hole =
            at.easting > 1045 && at.easting < 1075 && at.northing > 5065 && at.northing < 5080;
        return triangle && !hole && at.depth <= 50;
      },
      model);
}

}  // namespace
}  // namespace quorivex::test
