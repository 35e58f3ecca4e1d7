// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/sensitivity/wavelet_filters.h"

#include <algorithm>
#include <array>
#include <utility>

#include "base/stop_run.h"

namespace quorivex {
namespace {

using Family = std::pair<std::string_view, std::vector<double>>;

const std::array<Family, 5>& families() {
  static const std::array<Family, 5> kFamilies{{
      {"haar", {0.70710678118654752, 0.70710678118654752}},
      {"daub4",
       {0.48296291314453414, 0.83651630373780790, 0.22414386804201338, -0.12940952255126038}},
      {"daub6",
       {0.33267055295008262, 0.80689150931109257, 0.45987750211849157, -0.13501102001025458,
        -0.085441273882026662, 0.035226291885709537}},
      {"daub8",
       {0.23037781330889650, 0.71484657055291565, 0.63088076792985890, -0.027983769416859854,
        -0.18703481171909309, 0.030841381835560764, 0.032883011666885200, -0.010597401785069032}},
      {"sym4",
       {-0.075765714789502253, -0.029635527646002621, 0.49761866763277496, 0.80373875180513210,
        0.29785779560530617, -0.099219543576633526, -0.012603967262031321, 0.032223100604051466}},
  }};
  return kFamilies;
}

}  // namespace

const std::vector<std::string>& wavelet_names() {
  static const std::vector<std::string> kNames = [] {
    std::vector<std::string> names;
    for (const auto& [name, filter] : families()) names.emplace_back(name);
    return names;
  }();
  return kNames;
}

std::vector<double> low_pass_filter(std::string_view name) {
  const auto& all = families();
  const auto* const found = std::find_if(
      all.begin(), all.end(), [=](const Family& family) { return family.first == name; });
  require(found != all.end(), "unknown wavelet");
  return found->second;
}

}  // namespace quorivex
