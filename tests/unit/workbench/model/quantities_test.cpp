// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "inversion/objective/weighting.h"
#include "small_model.h"
#include "workbench/model/bound_order.h"
#include "workbench/model/model_values.h"
#include "workbench/model/polygon.h"
#include "workbench/model/write_quantities.h"

namespace quorivex::test {
namespace {

template <class Action>
std::string message_of(Action action) {
  try {
    action();
  } catch (const StopRun& stop) {
    return std::string(stop.message());
  }
  return "no message";
}

TEST(ModelQuantities, LaterOperationsWinAndFactorsApplyToWhatIsThere) {
  SmallModel model;
  model.apply("all reference=0.1 upper=0.5");
  const OperationFacts facts = model.apply("box easting=1050: reference=0.3 upper=@reference");
  model.apply("box easting=1090: reference*=-0.5");
  for (std::size_t n = 0; n < model.places.size(); ++n) {
    const double e = model.places[n].easting;
    EXPECT_EQ(model(Quantity::reference, n), e < 1050 ? 0.1 : e < 1090 ? 0.3 : 0.3 * -0.5);
    EXPECT_EQ(model(Quantity::upper, n), e < 1050 ? 0.5 : 0.3);
  }
  ASSERT_EQ(facts.set.size(), 2U);
  EXPECT_EQ(facts.set[1].max, 0.3);
}

// Each array of the file, with the reader of the inversion, against places of cells.
TEST(ModelQuantities, WeightsReachTheFacesThatTheInversionReads) {
  SmallModel model;
  model.apply("box easting=1050:1120 smallness=7 smoothness_easting=2");
  model.apply("box northing=5061: smoothness_northing=3");
  model.apply("box elevation=:281 smoothness_depth=5");
  const std::string name = model.folder.path("w.txt");
  write_quantities({{Quantity::smallness, name}}, model.quantities, model.cells);
  const SharedGround ground = model.cells.ground;
  const Mesh& mesh = ground->mesh;
  const ActiveCells active = read_active_cells("null", ground);
  const WeightingOperators found =
      calc_W_components(name, mesh, active, {.s = 1, .e = 1, .n = 1, .z = 1});
  for_each_ground_cell(*ground, [&](const GridCell& at) {
    const auto n = as_size(at.below - 1);
    const Place& p = model.places[n];
    const double e = mesh.de[as_size(at.i - 1)];
    const double v = mesh.dn[as_size(at.j - 1)];
    const double z = mesh.dz[as_size(at.k - 1)];
    const bool middle = p.easting > 1049 && p.easting < 1120;
    EXPECT_DOUBLE_EQ(found.Ws[n], std::sqrt((middle ? 7 : 1) * e * v * z));
    if (at.i < 5 && at.k > ground->tops(at.j, at.i + 1)) {
      const double w = at.i == 2 || at.i == 3 ? 2 : 1;  // columns 2 to 4 lie in the box
      EXPECT_DOUBLE_EQ(found.Wy.weights[n], w * v * z / (0.5 * (e + mesh.de[as_size(at.i)])));
    }
    if (at.j < 4 && at.k > ground->tops(at.j + 1, at.i)) {
      const double w = at.j >= 2 ? 3 : 1;
      EXPECT_DOUBLE_EQ(found.Wx.weights[n], w * e * z / (0.5 * (v + mesh.dn[as_size(at.j)])));
    }
    if (at.k < 6) {
      const double w = at.k >= 3 ? 5 : 1;  // the centre of layer 3 lies at 272.5 m
      EXPECT_DOUBLE_EQ(found.Wz.weights[n], w * e * v / (0.5 * (z + mesh.dz[as_size(at.k)])));
    }
  });
}

TEST(ModelQuantities, DecayWithDepthAndDistanceIsOneAtItsLargest) {
  SmallModel model;
  for (int n = 0; n < 60; ++n) {
    model.data.x.push_back(1000 + (n * 37) % 160);
    model.data.y.push_back(5000 + (n * 53) % 145);
    model.data.z.push_back(310 + (n * 11) % 30);
  }
  model.apply("depth_weight exponent=1.5 offset=20 smallness=@");
  model.apply("distance_weight exponent=2 offset=10 reference=@ depth=10:");
  std::vector<double> distances;
  for (const Place& p : model.places) {
    double least = 1e9;
    for (std::size_t d = 0; d < model.data.x.size(); ++d) {
      least = std::min(least, std::hypot(p.easting - model.data.x[d], p.northing - model.data.y[d],
                                         p.elevation - model.data.z[d]));
    }
    distances.push_back(least);
  }
  const double nearest = *std::min_element(distances.begin(), distances.end());
  for (std::size_t n = 0; n < model.places.size(); ++n) {
    const Place& p = model.places[n];
    EXPECT_NEAR(model(Quantity::smallness, n), std::pow((p.depth + 20) / 25, -1.5), 1e-14);
    const double expected = std::pow((distances[n] + 10) / (nearest + 10), -2.0);
    EXPECT_NEAR(model(Quantity::reference, n), p.depth < 10 ? 0 : expected, 1e-13);
  }
}

TEST(ModelQuantities, EdgesAreFacesWhereAnotherModelJumps) {
  SmallModel model;
  model.apply("box northing=5085: reference=0.2");
  model.apply("box northing=5110: reference=0.205");
  const std::string name = model.folder.path("m.sus");
  write_quantities({{Quantity::reference, name}}, model.quantities, model.cells);
  const OperationFacts facts = model.apply("edges model=" + name + " jump=0.1 smoothness=0.25");
  ASSERT_EQ(facts.set.size(), 3U);
  EXPECT_EQ(facts.set[0].count, 0);
  EXPECT_EQ(facts.set[2].count, 0);
  for_each_face(*model.cells.ground, Axis::northing, [&](const GridCell& at, std::int64_t) {
    EXPECT_EQ(model.quantities(Quantity::smoothness_northing, at.below), at.j == 2 ? 0.25 : 1.0);
  });
  // The same file as values: what is air is left, and every digit comes back.
  SmallModel again;
  again.apply("file name=" + name + " upper=@");
  for (std::size_t n = 0; n < model.places.size(); ++n) {
    EXPECT_EQ(again(Quantity::upper, n), model(Quantity::reference, n));
  }
}

TEST(ModelQuantities, CrossedBoundsAreToldWithPlaceAndOperations) {
  SmallModel model;
  model.apply("all upper=0.1");
  model.apply("box easting=1120: northing=5110: depth=60: lower=0.2 active=0");
  const auto check = [&] { check_quantities(model.quantities, model.cells, model.operations); };
  const std::string message = message_of(check);
  EXPECT_NE(message.find("in 1 cells, the first of them\n cell k 6 i 5 j 4 (centre easting 1135, "
                         "northing 5127.5, elevation 190 m):\n lower 0.2 (operation 2), upper 0.1 "
                         "(operation 1)."),
            std::string::npos)
      << message;
  model.apply("box lower=@upper depth=60:");  // equal ones hold no cell that is not active
  EXPECT_NE(message_of(check).find("lower 0.1 (operation 3)"), std::string::npos);
  model.apply("box active=0 depth=60:");
  EXPECT_EQ(message_of(check), "no message");
  model.apply("box lower=0.01 depth=:10");
  const std::vector<std::string> warnings =
      bound_warnings(model.quantities, model.cells, model.operations);
  ASSERT_EQ(warnings.size(), 2U);
  EXPECT_NE(warnings[0].find("initial 0.001 (as everywhere), lower 0.01 (operation 5)"),
            std::string::npos)
      << warnings[0];
  model.apply("all active=0");
  EXPECT_NE(message_of(check).find("all cells are inactive"), std::string::npos);
}

TEST(ModelRecipe, WhatIsWrongIsToldWithItsLine) {
  const ScratchFolder folder;
  const std::string name = folder.write(
      "r.txt", "# a comment\r\n\r\n  box \"easting\"=1:2 upper=0.5 # more\nall upper=\"a b\"\n");
  const std::vector<Operation> operations = read_recipe(name);
  ASSERT_EQ(operations.size(), 2U);
  EXPECT_EQ(operations[0].place, name + ", line 3");
  EXPECT_EQ(operations[0].settings.size(), 2U);
  EXPECT_EQ(operations[1].settings[0].value, "a b");
  for (const auto& [text, message] :
       {std::pair{"bx upper=1", "no operation bx; did you mean box?"},
        {"box eastng=1:2 upper=1", "box has no key eastng; did you mean easting?"},
        {"box easting=1:2", "it sets nothing"},
        {"box easting=2:1 upper=1", "from its smaller number to its larger one"},
        {"box easting=1 upper=1", "a range in metres"},
        {"box easting=: upper=1e400", "upper=1e400 should be a number from -1 to 1000"},
        {"box easting=nan:2 upper=1", "a range in metres"},
        {"all upper=nan", "upper=nan should be"},
        {"all active=0.5", "active=0.5 should be 1, 0 or -1"},
        {"all smallness=-1", "smallness=-1 should be"},
        {"all upper*=5000", "upper would be 5000 in cell k 1 i 1 j 1"},
        {"all upper=1 upper=2", "upper is given twice"},
        {"all upper=@low", "no such values"},
        {"all upper", "KEY=VALUE"},
        {"all \"upper=1", "a quote is not closed"},
        {"slab upper=1 centre=1,2,3", "slab needs strike="},
        {"slab upper=1 centre=1,2", "three numbers"},
        {"slab upper=1 centre=1,2,3,4", "three numbers"},
        {"above surface=none upper=1", "operation 1: topography file not found: none"},
        {"edges model=x jump=1 upper=1", "edges sets faces between cells"},
        {"distance_weight exponent=1 offset=1 upper=@", "has none"}}) {
    EXPECT_NE(message_of([&, line = text] { SmallModel().apply(line); }).find(message),
              std::string::npos)
        << text << ": " << message_of([&, line = text] { SmallModel().apply(line); });
  }
  const std::string two = folder.write("two.txt", "1 1\n2 2\n\n3 3\n");
  EXPECT_NE(message_of([&] { read_outline(two); }).find("two.txt, line 3, ends a ring of 2"),
            std::string::npos);
}

}  // namespace
}  // namespace quorivex::test
