// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/compose/input_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>

#include "base/stop_run.h"
#include "base/text.h"
#include "inversion/input/conventions.h"
#include "inversion/objective/alphas.h"

namespace quorivex {
namespace {

constexpr std::size_t kMaxEntry = 400;  // characters; the reader takes 500 with the comment

/// @param constant, null  what the entry may be instead of a name
void check_name(const std::string& entry, bool constant, bool null) {
  if ((constant && constant_of(entry)) || (null && entry == "null")) return;
  std::string why;
  if (entry.empty() || entry.size() > kMaxEntry) {
    why = fmt::format("is empty or longer than {} characters", kMaxEntry);
  } else if (entry.find('!') != std::string::npos) {
    why = "holds a !, from which on a line is a comment";
  } else if (trim(entry).size() != entry.size()) {
    why = "has blanks at its beginning or end, which the line loses";
  } else if (std::any_of(entry.begin(), entry.end(), [](unsigned char c) { return c < ' '; })) {
    why = "holds a control character";
  } else if (null && is_null(entry)) {
    why = "begins with null, which stands for no file";
  }
  if (why.empty()) return;
  stop_run(fmt::format(
      " ERROR: an input file cannot name the file '{}': the name {}. Rename it, or put\n ./ before "
      "it.",
      entry, why));
}

std::string line(const std::string& entry, const std::string& comment) {
  return fmt::format("{:<18} ! {}\n", entry, comment);
}

std::optional<double> constant(const std::string& entry) {
  const auto text = constant_of(entry);
  return text ? to_number(trim(*text)) : std::nullopt;
}

std::string alpha_comment(const std::string& entry) {
  if (is_null(entry)) return "null: alphas 0.0001 1 1 1, length scales of 100 m";
  return read_alphas(entry).lengths_given
             ? "length scales east, north, down (m); four numbers: alphas; null: 100 m"
             : "alphas s, e, n, z; three numbers: length scales (m); null: 0.0001 1 1 1";
}

}  // namespace

std::string default_lengths(const Mesh& mesh) {
  const auto least = [](const std::vector<double>& widths) {
    return *std::min_element(widths.begin(), widths.end());
  };
  const double east = 2.0 * least(mesh.de);
  const double north = 2.0 * least(mesh.dn);
  const double down = std::max(0.5 * std::min(east, north), 2.0 * least(mesh.dz));
  return fmt::format("{:.6g} {:.6g} {:.6g}", east, north, down);
}

std::string input_text(const InversionParameters& p) {
  check_name(p.obsFile, false, false);
  check_name(p.mtxFile, false, false);
  for (const std::string& model : {p.initialModel, p.referenceModel, p.lowerBounds, p.upperBounds})
    check_name(model, true, false);
  for (const std::string& file : {p.activeCellFile, p.weightFile}) check_name(file, false, true);
  return line(fmt::format("{}", p.mode),
              "mode: 1 lowers beta until the target misfit is reached, 2 keeps beta") +
         line(fmt::format("{}  {}", p.par, p.tolc),
              p.mode == 1 ? "chifact: target = number of data x chifact; tolc: read, not used"
                          : "beta, 0: where mode 1 starts; tolc: read, not used") +
         line(p.obsFile, "observations") +
         line(p.mtxFile, "sensitivity file, made for these observations") +
         line(p.initialModel, "initial model: VALUE and SI, the same everywhere; or a model file") +
         line(p.referenceModel, "reference model, likewise") +
         line(p.activeCellFile, "active cell file; null: every cell below the terrain is active") +
         line(p.lowerBounds, "lower bounds, likewise") +
         line(p.upperBounds, "upper bounds, likewise") +
         line(p.alphaLine, alpha_comment(p.alphaLine)) +
         line(p.mrefInDerivatives ? "SMOOTH_MOD_DIF" : "SMOOTH_MOD",
              "SMOOTH_MOD_DIF: the reference model enters the differences too") +
         line(p.weightFile, "file of 3-D weights; null: 1 everywhere");
}

void check_entries(const InversionParameters& p) {
  const std::optional<double> lower = constant(p.lowerBounds);
  const std::optional<double> upper = constant(p.upperBounds);
  if (lower && upper && !(*lower < *upper)) {
    stop_run(fmt::format(" ERROR: --lower {} should be less than --upper {}.", *lower, *upper));
  }
  const std::optional<double> initial = constant(p.initialModel);
  if (initial && ((lower && *initial < *lower) || (upper && *initial > *upper))) {
    stop_run(
        fmt::format(" ERROR: the initial model, {} SI, should lie within the bounds; give another "
                    "with --initial.",
                    *initial));
  }
  read_alphas(p.alphaLine);
}

}  // namespace quorivex
