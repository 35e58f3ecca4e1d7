// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/solver/objective_value.h"

#include "inversion/mesh_io/cell_vectors.h"
#include "inversion/sensitivity/products.h"

namespace quorivex {

ObjectiveValue evaluate_objective(const Problem& problem, View1<const double> model) {
  constexpr const char* kRoutine = "plexo";  // these vectors belong to the run as a whole
  ObjectiveValue value;
  value.predicted = allocate<double>(problem.data.obs.size(), kRoutine);
  {
    std::vector<double> full = allocate<double>(problem.active.map.size(), kRoutine);
    active_to_full(problem.active, problem.fixed, model, full);
    gprod(problem.sens, problem.active, full, value.predicted);
  }
  for (std::size_t i = 0; i < value.predicted.size(); ++i) {
    const double residual = value.predicted[i] - problem.data.obs[i];
    value.misfit += residual * residual;
  }
  value.norm = calc_model_norm(problem.weights, problem.inactive, problem.mref_in_derivatives,
                               model, problem.mref);
  return value;
}

}  // namespace quorivex
