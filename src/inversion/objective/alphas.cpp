// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/objective/alphas.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <optional>

#include "base/fixed_format.h"
#include "base/free_format.h"
#include "base/stop_run.h"

namespace quorivex {
namespace {

struct Lengths {
  double e = 0.0;
  double n = 0.0;
  double z = 0.0;
};

std::string alphas_line(const Alphas& alpha) {
  return "alpha (s, e, n, z): " + sci(alpha.s, 12, 4) + sci(alpha.e, 12, 4) + sci(alpha.n, 12, 4) +
         sci(alpha.z, 12, 4) + "\n";
}

std::string lengths_line(const Lengths& length) {
  return "Le, Ln, Lz: " + sci(length.e, 12, 4) + sci(length.n, 12, 4) + sci(length.z, 12, 4) + "\n";
}

std::optional<Alphas> four_alphas(const std::string& text) {
  if (text.starts_with("null") || text.starts_with("NULL")) return Alphas{};
  Alphas alpha;
  if (!FreeFormat(text).read(alpha.s, alpha.e, alpha.n, alpha.z)) return std::nullopt;
  if (std::min({alpha.s, alpha.e, alpha.n, alpha.z}) < 0.0) {
    stop_run("Error:  alpha's cannot be negative.");
  }
  if (std::max({alpha.s, alpha.e, alpha.n, alpha.z}) == 0.0) {
    stop_run("Error:  alpha's cannot be all equal to 0 at the same time.");
  }
  return alpha;
}

Lengths three_lengths(const std::string& text) {
  Lengths length;
  if (!FreeFormat(text).read(length.e, length.n, length.z)) {
    stop_run("ERROR reading alpha or length scale values in input file.");
  }
  if (length.e == 0.0 && length.n == 0.0 && length.z == 0.0) {
    stop_run("Error: length scales cannot be all equal to 0");
  }
  return length;
}

}  // namespace

Alphas read_alphas(const std::string& alphaLine, Report& report) {
  if (const std::optional<Alphas> alpha = four_alphas(alphaLine)) {
    const Lengths length{std::sqrt(alpha->e / alpha->s), std::sqrt(alpha->n / alpha->s),
                         std::sqrt(alpha->z / alpha->s)};
    report.both(" alpha values:\n" + alphas_line(*alpha) + " corresponding length scales:\n" +
                lengths_line(length));
    return *alpha;
  }
  const Lengths length = three_lengths(alphaLine);
  const double e = length.e * length.e;
  const double n = length.n * length.n;
  const double z = length.z * length.z;
  const double largest = std::max({e, n, z});
  const Alphas alpha{1.0 / largest, e / largest, n / largest, z / largest};
  report.both(" length scales:\n" + lengths_line(length) + " corresponding alpha values:\n" +
              alphas_line(alpha));
  return alpha;
}

}  // namespace quorivex
