// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/setup/setup_models.h"

#include "base/stop_run.h"
#include "inversion/mesh_io/model_files.h"

namespace quorivex {

void check_influence(bool mref_in_derivatives, const ActiveCells& active) {
  if (mref_in_derivatives && active.survey.influence > 0) {
    stop_run("Error: cannot use SMOOTH_MOD_DIF with inactive cells with influence(-1).");
  }
}

void set_reference(std::vector<double> full, View1<const double> wtz, ModelSetup& setup) {
  scale_full_model(*setup.active.ground, wtz, full);
  setup.fixed = split_reference(setup.active, full);
  full_to_active(setup.active, full, setup.mref);
}

}  // namespace quorivex
