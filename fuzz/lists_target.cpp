// SPDX-License-Identifier: GPL-3.0-or-later
#include "fuzz/outcome.h"
#include "fuzz/scratch.h"
#include "fuzz/targets.h"
#include "inversion/mesh_io/model_files.h"
#include "inversion/objective/weighting.h"
#include "records.h"

namespace quorivex::fuzz {
namespace {

SharedGround small_ground() {
  return share_ground(make_mesh(1000.0, 2000.0, 300.0, {50, 50, 60}, {50, 40}, {10, 20}),
                      {.nn = 2, .ne = 3, .tops = {0, 1, 0, 2, 0, 1}});
}

}  // namespace

/// Codes of active cells, both kinds of models and 3-D weights for 12 cells.
std::string lists(std::string_view bytes) {
  const std::string name = scratch_file(bytes);
  const SharedGround ground = small_ground();
  ActiveCells active = get_active_cells("null", ground);
  std::string found = outcome([&] {
    active = get_active_cells(name, ground);
    return test::record(active.map);
  });
  found += outcome([&] {
    std::vector<double> model(static_cast<std::size_t>(active.ncell));
    read_active_model(name, "initial model", active, model);
    return test::record(model);
  });
  found += outcome([&] {
    std::vector<double> model(static_cast<std::size_t>(ground->mesh.cells()));
    read_full_model(name, "reference model", *ground, model);
    return test::record(model);
  });
  return found + outcome([&] {
           const WeightingOperators read = calc_W_components(name, ground->mesh, active, Alphas{});
           return test::record(read.Ws, read.Wx.weights, read.Wy.weights, read.Wz.weights);
         });
}

}  // namespace quorivex::fuzz
