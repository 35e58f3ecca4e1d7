// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <array>
#include <cmath>

#include "workbench/pictures/picture.h"

namespace quorivex {
namespace {

// Viridis, evenly spaced, as in page/web/plots.js.
constexpr std::array<std::uint32_t, 10> kViridis{0x440154, 0x482878, 0x3e4989, 0x31688e, 0x26828e,
                                                 0x1f9e89, 0x35b779, 0x6ece58, 0xb5de2b, 0xfde725};

}  // namespace

std::uint32_t colour_of(double value, double min, double max) {
  const double share = max > min ? std::clamp((value - min) / (max - min), 0.0, 1.0) : 0.0;
  const double place = share * (kViridis.size() - 1);
  const auto first = std::min(static_cast<std::size_t>(place), kViridis.size() - 2);
  const double beyond = place - static_cast<double>(first);
  std::uint32_t colour = 0;
  for (const unsigned shift : {16U, 8U, 0U}) {
    const double low = kViridis[first] >> shift & 0xFFU;
    const double high = kViridis[first + 1] >> shift & 0xFFU;
    colour |= static_cast<std::uint32_t>(std::lround(low + beyond * (high - low))) << shift;
  }
  return colour;
}

}  // namespace quorivex
