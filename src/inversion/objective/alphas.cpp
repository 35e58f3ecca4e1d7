// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/objective/alphas.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "base/free_format.h"
#include "base/stop_run.h"
#include "inversion/input/conventions.h"

namespace quorivex {
namespace {

std::optional<Alphas> four_alphas(const std::string& text) {
  if (is_null(text)) return Alphas{};
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

LengthScales three_lengths(const std::string& text) {
  LengthScales length;
  if (!FreeFormat(text).read(length.e, length.n, length.z)) {
    stop_run("ERROR reading alpha or length scale values in input file.");
  }
  if (length.e == 0.0 && length.n == 0.0 && length.z == 0.0) {
    stop_run("Error: length scales cannot be all equal to 0");
  }
  return length;
}

}  // namespace

AlphaLine read_alphas(const std::string& line) {
  if (const std::optional<Alphas> alpha = four_alphas(line)) {
    return {.alphas = *alpha,
            .lengths = {std::sqrt(alpha->e / alpha->s), std::sqrt(alpha->n / alpha->s),
                        std::sqrt(alpha->z / alpha->s)},
            .lengths_given = false};
  }
  const LengthScales length = three_lengths(line);
  const double e = length.e * length.e;
  const double n = length.n * length.n;
  const double z = length.z * length.z;
  const double largest = std::max({e, n, z});
  return {.alphas = {1.0 / largest, e / largest, n / largest, z / largest},
          .lengths = length,
          .lengths_given = true};
}

}  // namespace quorivex
