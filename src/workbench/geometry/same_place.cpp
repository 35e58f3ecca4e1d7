// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/geometry/same_place.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <tuple>

namespace quorivex {

std::vector<std::size_t> first_at_place(const std::vector<double>& x, const std::vector<double>& y,
                                        const std::vector<double>& z) {
  const auto place = [&](std::size_t i) {
    const auto millimetres = [](double metres) { return std::round(metres * 1000.0); };
    return std::array{millimetres(x[i]), millimetres(y[i]), millimetres(z[i])};
  };
  std::vector<std::size_t> order(x.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
    return std::tuple(place(a), a) < std::tuple(place(b), b);
  });
  std::vector<std::size_t> first(x.size());
  for (std::size_t k = 0; k < order.size(); ++k) {
    const bool same = k > 0 && place(order[k]) == place(order[k - 1]);
    first[order[k]] = same ? first[order[k - 1]] : order[k];
  }
  return first;
}

std::int64_t count_repeated(const std::vector<double>& x, const std::vector<double>& y,
                            const std::vector<double>& z) {
  const std::vector<std::size_t> first = first_at_place(x, y, z);
  std::int64_t repeated = 0;
  for (std::size_t i = 0; i < first.size(); ++i) repeated += first[i] == i ? 0 : 1;
  return repeated;
}

}  // namespace quorivex
