// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "inversion/mesh_io/ground.h"

namespace quorivex {

/// Bytes that a page should not exceed.
inline constexpr std::size_t kMaxBytes = 5'000'000;

/// The bytes deflated (zlib) and encoded in base64, as a page can carry them.
std::string deflate_base64(std::string_view bytes);

/// A model of decimals with `digits` digits, as the page unpacks it (web/decode.js).
struct PackedModel {
  int digits = 0;
  int first_exponent = 0;  ///< smallest power of ten of a value's first digit
  std::string text;
};

/// Packs the ground cells of a model (every cell of the mesh) in cell order; NaN stays NaN. With
/// the digits of a model file all values are exact, with fewer they are rounded.
///
/// Decimals are numbered upward from the smallest: d.ddd 10^e has the number
/// 1 + (e - first_exponent) 9 10^(digits-1) + dddd - 10^(digits-1), zero has 0. A code is twice
/// that number, less 1 for a negative value. The lowest bytes of all codes come first, the highest
/// last: equal digits are next to each other, which compresses better.
PackedModel pack_model(const std::vector<double>& values, const Ground& ground, int digits);

}  // namespace quorivex
