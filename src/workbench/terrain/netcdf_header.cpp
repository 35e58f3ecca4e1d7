// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/terrain/netcdf_header.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace quorivex {
namespace {

/// Walks through a classic header; each step is false at the end of the bytes.
class HeaderWalk {
 public:
  explicit HeaderWalk(std::string_view bytes)
      : rest_(bytes.substr(4)), version_(bytes[3]), wide_(version_ == 5) {}

  bool all() {
    std::uint64_t records = 0;
    return count(records) && list([this] { return dimension(); }) && attributes() &&
           list([this] { return variable(); });
  }

 private:
  bool number(std::uint64_t& value, std::size_t bytes) {
    if (rest_.size() < bytes) return false;
    value = 0;
    for (std::size_t i = 0; i < bytes; ++i) {
      value = value << 8U | static_cast<unsigned char>(rest_[i]);
    }
    rest_.remove_prefix(bytes);
    return true;
  }
  bool count(std::uint64_t& value) { return number(value, wide_ ? 8 : 4); }

  /// `items` of `bytes` each, filled up to a multiple of 4 bytes.
  bool skip(std::uint64_t items, std::uint64_t bytes) {
    if (items > rest_.size() / bytes) return false;
    const std::uint64_t filled = (items * bytes + 3) / 4 * 4;
    if (filled > rest_.size()) return false;
    rest_.remove_prefix(filled);
    return true;
  }

  template <class Item>
  bool list(const Item& item) {
    std::uint64_t tag = 0;
    std::uint64_t items = 0;
    if (!number(tag, 4) || !count(items)) return false;
    if (items > rest_.size()) return false;
    while (items > 0 && item()) --items;
    return items == 0;
  }

  bool name() {
    std::uint64_t letters = 0;
    return count(letters) && skip(letters, 1);
  }

  bool dimension() {
    std::uint64_t nodes = 0;
    return name() && count(nodes);
  }

  bool type(std::uint64_t& bytes) {
    // Of byte, char, short, int, float, double, and the unsigned and long types of version 5.
    constexpr std::array<std::uint64_t, 12> kBytes{0, 1, 1, 2, 4, 4, 8, 1, 2, 4, 8, 8};
    std::uint64_t type = 0;
    if (!number(type, 4) || type == 0 || type >= kBytes.size()) return false;
    bytes = kBytes[type];
    return true;
  }

  bool attribute() {
    std::uint64_t bytes = 0;
    std::uint64_t values = 0;
    return name() && type(bytes) && count(values) && skip(values, bytes);
  }
  bool attributes() {
    return list([this] { return attribute(); });
  }

  bool variable() {
    std::uint64_t rank = 0;
    std::uint64_t bytes = 0;
    std::uint64_t size = 0;
    std::uint64_t begin = 0;
    return name() && count(rank) && skip(rank, wide_ ? 8 : 4) && attributes() && type(bytes) &&
           count(size) && number(begin, version_ == 1 ? 4 : 8);
  }

  std::string_view rest_;
  char version_;
  bool wide_;  // counts of 8 bytes
};

}  // namespace

bool is_netcdf(std::string_view beginning) {
  constexpr std::array<std::string_view, 4> kBeginnings{"CDF\1", "CDF\2", "CDF\5", "\x89HDF"};
  return std::any_of(kBeginnings.begin(), kBeginnings.end(),
                     [&](std::string_view known) { return beginning.starts_with(known); });
}

bool header_fits(std::string_view bytes) {
  return !bytes.starts_with("CDF") || (bytes.size() > 4 && HeaderWalk(bytes).all());
}

}  // namespace quorivex
