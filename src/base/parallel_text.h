// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "base/view1.h"

namespace quorivex {

/// Appends the texts of items 1..count in order. All threads format: `format(item, text)` appends
/// an item's text of at most `bytes` characters. About 4 MiB of text are held at a time. `to` is a
/// file or a string.
template <class To, class Format>
void append_in_parallel(To& to, std::int64_t count, std::int64_t bytes, const Format& format) {
  constexpr std::int64_t kPieceBytes = std::int64_t{64} << 10;
  constexpr std::int64_t kMaxPieces = 64;
  const std::int64_t items = std::max<std::int64_t>(1, kPieceBytes / bytes);  // of a piece
  const std::int64_t at_a_time =
      std::clamp<std::int64_t>(kMaxPieces * kPieceBytes / (items * bytes), 1, kMaxPieces);
  std::vector<std::string> texts(as_size(at_a_time));
  for (std::string& text : texts) text.reserve(as_size(std::min(items, count) * bytes));
  for (std::int64_t before = 0; before < count; before += at_a_time * items) {
    const std::int64_t end = std::min(before + at_a_time * items, count);
#pragma omp parallel for schedule(dynamic, 1) default(none) \
    shared(texts, format, before, end, items)
    for (std::int64_t first = before; first < end; first += items) {
      std::string& of_piece = texts[as_size((first - before) / items)];
      // Neighbouring strings share a cache line, in which every character changes a length.
      std::string text = std::move(of_piece);
      text.clear();
      for (std::int64_t item = first; item < std::min(first + items, end); ++item)
        format(item + 1, text);
      of_piece = std::move(text);
    }
    const std::int64_t pieces = (end - before + items - 1) / items;
    for (std::int64_t piece = 0; piece < pieces; ++piece) to.append(texts[as_size(piece)]);
  }
}

}  // namespace quorivex
