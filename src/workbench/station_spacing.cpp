// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/station_spacing.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>

#include "base/stop_run.h"

namespace quorivex {
namespace {

using Place = std::array<double, 2>;

std::vector<Place> distinct_places(const std::vector<double>& x, const std::vector<double>& y) {
  std::vector<Place> places = allocate<Place>(x.size(), "station_spacing");
  for (std::size_t i = 0; i < places.size(); ++i) places[i] = {x[i], y[i]};
  std::sort(places.begin(), places.end());
  places.erase(std::unique(places.begin(), places.end()), places.end());
  return places;
}

/// A balanced k-d tree in the array of the places itself (Bentley 1975): the middle place of a
/// range splits it across its longer side, so that places along a line are split well too.
class PlaceTree {
 public:
  explicit PlaceTree(std::vector<Place> places)
      : places_(std::move(places)),
        axes_(allocate<std::uint8_t>(places_.size(), "station_spacing")) {
    build(0, places_.size());
  }

  std::size_t size() const { return places_.size(); }

  double to_nearest_other(std::size_t place) const {
    double square = std::numeric_limits<double>::infinity();
    search(0, places_.size(), place, square);
    return std::sqrt(square);
  }

 private:
  static std::size_t middle(std::size_t first, std::size_t last) {
    return first + (last - first) / 2;
  }

  void build(std::size_t first, std::size_t last) {
    if (last - first < 2) return;
    Place least = places_[first];
    Place most = least;
    for (std::size_t i = first; i < last; ++i) {
      for (std::size_t axis = 0; axis < 2; ++axis) {
        least[axis] = std::min(least[axis], places_[i][axis]);
        most[axis] = std::max(most[axis], places_[i][axis]);
      }
    }
    const std::size_t axis = most[0] - least[0] >= most[1] - least[1] ? 0 : 1;
    const std::size_t mid = middle(first, last);
    const auto at = [this](std::size_t i) {
      return places_.begin() + static_cast<std::ptrdiff_t>(i);
    };
    std::nth_element(at(first), at(mid), at(last),
                     [axis](const Place& a, const Place& b) { return a[axis] < b[axis]; });
    axes_[mid] = static_cast<std::uint8_t>(axis);
    build(first, mid);
    build(mid + 1, last);
  }

  /// Lowers `square`, a squared distance, to that of the nearest place of the range.
  void search(std::size_t first, std::size_t last, std::size_t place, double& square) const {
    if (first >= last) return;
    const std::size_t mid = middle(first, last);
    const Place& from = places_[place];
    const Place& to = places_[mid];
    const double dx = from[0] - to[0];
    const double dy = from[1] - to[1];
    if (mid != place) square = std::min(square, dx * dx + dy * dy);
    const double beyond = axes_[mid] == 0 ? dx : dy;
    const bool before = beyond < 0.0 || (beyond == 0.0 && place < mid);
    before ? search(first, mid, place, square) : search(mid + 1, last, place, square);
    if (beyond * beyond >= square) return;
    before ? search(mid + 1, last, place, square) : search(first, mid, place, square);
  }

  std::vector<Place> places_;
  std::vector<std::uint8_t> axes_;  // across which the place at the middle of a range splits it
};

}  // namespace

StationSpacing station_spacing(const std::vector<double>& x, const std::vector<double>& y) {
  const PlaceTree tree(distinct_places(x, y));
  const std::size_t n = tree.size();
  if (n < 2) return {.places = static_cast<std::int64_t>(n), .median = 0.0};
  std::vector<double> distances = allocate<double>(n, "station_spacing");
  for (std::size_t i = 0; i < n; ++i) distances[i] = tree.to_nearest_other(i);
  std::sort(distances.begin(), distances.end());
  return {.places = static_cast<std::int64_t>(n),
          .median = 0.5 * (distances[(n - 1) / 2] + distances[n / 2])};
}

}  // namespace quorivex
