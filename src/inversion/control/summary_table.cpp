// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/control/summary_table.h"

#include "base/fixed_format.h"

namespace quorivex {

std::string summary_head(const ObjectiveValue& start, const Alphas& alphas,
                         const std::optional<Target>& target) {
  const auto line = [](double value, const char* label) {
    return "! " + sci(value, 12, 4) + "   !! " + label + "\n";
  };
  std::string text;
  if (target) {
    text += "! " + whole(1, 4) + fixed(target->chifact, 8, 4) + "   !! mode, chifact\n";
  }
  text += line(start.norm.s, "initial norm S") + line(start.norm.y, "initial norm E") +
          line(start.norm.x, "initial norm N") + line(start.norm.z, "initial norm Z") +
          line(start.norm.total, "initial norm total") + line(start.misfit, "initial misfit");
  if (target) text += line(target->misfit, "target data misfit");
  text += "! " + three_significant(alphas.s) + three_significant(alphas.e) +
          three_significant(alphas.n) + three_significant(alphas.z) +
          "   !! alpha values\n\n! iter";
  for (const char* heading :
       {"beta", "data misfit", "norm S", "norm E", "norm N", "norm Z", "model norm"}) {
    text += right(heading, 14);
  }
  return text + "  total objective  CG iterations  truncated cells\n";
}

std::string summary_row(const IterationResult& iteration) {
  const ModelNorm& norm = iteration.norm;
  std::string row = whole(iteration.number, 6);
  for (const double value :
       {iteration.beta, iteration.misfit, norm.s, norm.y, norm.x, norm.z, norm.total}) {
    row += sci(value, 14, 6);
  }
  return row + "  " + sci(iteration.objective, 14, 6) + "     " +
         whole(iteration.cg_iterations, 9) + "     " + whole(iteration.truncated_cells, 9) + "\n";
}

}  // namespace quorivex
