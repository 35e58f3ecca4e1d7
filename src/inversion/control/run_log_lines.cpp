// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/control/run_log_lines.h"

#include <fmt/format.h>

#include "base/fixed_format.h"
#include "inversion/input/program_name.h"

namespace quorivex {
namespace {

std::string labelled(const char* label, double value) {
  return right(label, 21) + sci(value, 13, 6) + "\n";
}

std::string alphas_line(const Alphas& alpha) {
  return "alpha (s, e, n, z): " + sci(alpha.s, 12, 4) + sci(alpha.e, 12, 4) + sci(alpha.n, 12, 4) +
         sci(alpha.z, 12, 4) + "\n";
}

std::string lengths_line(const LengthScales& length) {
  return "Le, Ln, Lz: " + sci(length.e, 12, 4) + sci(length.n, 12, 4) + sci(length.z, 12, 4) + "\n";
}

}  // namespace

std::string usage() {
  return fmt::format(
      "\n   Usage: {0} {0}.inp  [nThreads]\n"
      "\n   For a sample input file, type: {0} -inp\n",
      kProgram);
}

std::string echo_head(const std::string& input_name) {
  return fmt::format("\nReading input file: {}\n{}", input_name, echo_end());
}

std::string echo_end() { return fmt::format("\n{:-<64}\n\n", ""); }

std::string parameter_block(const std::string& input_name, const InversionParameters& input) {
  std::string text = "\nRunning with the following parameters:\n\n";
  const auto line = [&](const char* label, std::string_view value) {
    text += fmt::format("{}{}\n", label, value);
  };
  line("          Input file: ", input_name);
  if (input.mode == 1) {
    text += "                mode: 1  (fixed target misfit)\n";
    line("             chifact: ", three_significant(input.par));
  } else {
    text += "                mode: 2  (fixed multiplier)\n";
    line("  tradeoff parameter: ", three_significant(input.par));
  }
  line("   Observations file: ", input.obsFile);
  line("    Sensitivity file: ", input.mtxFile);
  line("       Initial Model: ", input.initialModel);
  line("     Reference Model: ", input.referenceModel);
  line("                mref: ",
       input.mrefInDerivatives ? "in spatial derivatives" : "[NOT] in spatial derivatives");
  line("   Active cell model: ", input.activeCellFile);
  line("   3D weighting file: ", input.weightFile);
  return text + "\n\n";
}

std::string full_matrix_warning() {
  return "WARNING: no compression is used for the sensitivity matrix.\n"
         "The program will run longer and need a lot more memory.\n";
}

std::string data_count(std::int32_t ndata) {
  return right("# of data:", 30) + whole(ndata, 9) + "\n\n";
}

std::string active_cells_read(const std::string& name) {
  return fmt::format("active cells were read from file: {}\n", name);
}

std::string cell_counts(const ActiveCells& active) {
  const Mesh& mesh = active.ground->mesh;
  const Slab& survey = active.ground->slab;
  const auto& [cells, zero, influence] = active.survey;
  std::string text =
      fmt::format("{} {} x {} x {}\n", right("# of cells:", 30), mesh.ne, survey.rows, mesh.nz);
  const auto line = [&](std::string_view label, std::int64_t count) {
    text += right(label, 30) + whole(count, 8) + "\n";
  };
  line("total # of cells:", survey.cells);
  if (cells != survey.ground_cells) line("# of active cells:", cells);
  line("# of cells below topo:", survey.ground_cells);
  if (influence > 0) line("# of inactive cells (inf):", influence);
  if (zero > 0) line("# of inactive cells:", zero);
  return text + "\n";
}

std::string model_read(std::string_view label, const std::string& source,
                       std::optional<double> constant) {
  if (constant) {
    return right(fmt::format("{} was set to: ", label), 31) + sci(*constant, 11, 4) + "\n";
  }
  return right(fmt::format("{} was read from file: ", label), 40) + source + "\n";
}

std::string touching_bounds_warning(std::string_view label, std::int64_t cells) {
  return fmt::format("WARNING: number of cells in {} touching bounds: {}\n", label, cells);
}

std::string alpha_lines(const AlphaLine& line) {
  const std::string alphas = alphas_line(line.alphas);
  const std::string lengths = lengths_line(line.lengths);
  return line.lengths_given
             ? " length scales:\n" + lengths + " corresponding alpha values:\n" + alphas
             : " alpha values:\n" + alphas + " corresponding length scales:\n" + lengths;
}

std::string start_lines(double misfit, const std::optional<Target>& target) {
  std::string text = "\n";
  text += labelled(" initial misfit: ", misfit);
  if (target) text += labelled(" target data misfit: ", target->misfit);
  return text;
}

std::string iteration_line(std::int32_t number) {
  return "\n          Iteration:" + whole(number, 4) + "\n";
}

std::string beta_line(double beta) { return labelled("     beta: ", beta); }

std::string misfit_line(double misfit) { return labelled("    data misfit: ", misfit); }

}  // namespace quorivex
