// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/page/packed_values.h"

#include <fmt/format.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include "base/stop_run.h"

namespace quorivex {
namespace {

constexpr std::uint32_t kNoValue = 0xffffffff;
constexpr std::size_t kBytes = 4;  // of a code

std::string base64(const std::vector<unsigned char>& bytes) {
  constexpr std::string_view kLetters =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve(bytes.size() / 3 * 4 + 4);
  for (std::size_t at = 0; at < bytes.size(); at += 3) {
    std::uint32_t three = 0;
    for (std::size_t i = at; i < at + 3; ++i)
      three = three << 8 | (i < bytes.size() ? bytes[i] : 0);
    for (const int shift : {18, 12, 6, 0}) text += kLetters[three >> shift & 63];
    for (std::size_t i = bytes.size(); i < at + 3; ++i) text[text.size() - (at + 3 - i)] = '=';
  }
  return text;
}

/// A value as its digits and the power of ten of the first one.
struct Decimal {
  std::int64_t digits = 0;  ///< with its sign; 0 for zero
  int exponent = 0;
};

Decimal decimal(double value, int digits) {
  std::array<char, 40> text{};
  const char* end =
      fmt::format_to_n(text.data(), text.size(), "{:.{}e}", std::abs(value), digits - 1).out;
  Decimal result;
  const char* at = text.data();
  for (; *at != 'e'; ++at) {
    if (*at != '.') result.digits = 10 * result.digits + (*at - '0');
  }
  ++at;
  if (*at == '+') ++at;
  std::from_chars(at, end, result.exponent);
  if (value < 0.0) result.digits = -result.digits;
  return result;
}

std::uint32_t code_of(double value, int digits, int first_exponent, std::int64_t unit) {
  if (std::isnan(value)) return kNoValue;
  const Decimal d = decimal(value, digits);
  if (d.digits == 0) return 0;
  const std::int64_t decades = d.exponent - first_exponent;
  const std::int64_t number = 1 + decades * 9 * unit + std::abs(d.digits) - unit;
  return static_cast<std::uint32_t>(2 * number - (d.digits < 0 ? 1 : 0));
}

}  // namespace

std::string deflate_base64(std::string_view bytes) {
  uLongf size = compressBound(bytes.size());
  std::vector<unsigned char> packed = allocate<unsigned char>(size, "deflate_base64");
  const auto* source = reinterpret_cast<const unsigned char*>(bytes.data());
  const int status = compress2(packed.data(), &size, source, bytes.size(), Z_BEST_COMPRESSION);
  if (status == Z_MEM_ERROR) alloc_error("deflate_base64");
  require(status == Z_OK, "compress2 == Z_OK");
  packed.resize(size);
  return base64(packed);
}

PackedModel pack_model(const std::vector<double>& values, const Ground& ground, int digits) {
  const View1<const double> model(values);
  int first = std::numeric_limits<int>::max();
  for_each_ground_cell(ground, [&](const GridCell& at) {
    const double size = std::abs(model(at.cell));
    // The logarithm may be one too small for a power of ten, never too large after the rounding.
    if (size > 0.0) first = std::min(first, static_cast<int>(std::floor(std::log10(size))) - 1);
  });
  if (first == std::numeric_limits<int>::max()) first = 0;
  std::int64_t unit = 1;  // 10^(digits-1)
  for (int i = 1; i < digits; ++i) unit *= 10;
  const std::size_t count = as_size(ground.cells());
  std::string planes(count * kBytes, '\0');
  for_each_ground_cell(ground, [&](const GridCell& at) {
    const std::uint32_t code = code_of(model(at.cell), digits, first, unit);
    for (std::size_t byte = 0; byte < kBytes; ++byte) {
      planes[byte * count + as_size(at.below - 1)] = static_cast<char>(code >> 8 * byte & 0xff);
    }
  });
  return {.digits = digits, .first_exponent = first, .text = deflate_base64(planes)};
}

}  // namespace quorivex
