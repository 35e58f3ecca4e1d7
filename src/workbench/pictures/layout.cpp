// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <array>
#include <cmath>

#include "workbench/pictures/picture.h"

namespace quorivex {
namespace {

// Pixels.
constexpr double kMostWidth = 1000.0;  // of a plot
constexpr double kMostHeight = 800.0;  // likewise
constexpr double kFlatHeight = 400.0;  // a section is not exaggerated beyond this
constexpr int kLeft = 130;             // for the labels of y
constexpr int kRight = 180;            // for the colour bar
constexpr int kTop = 62;               // for the title,
constexpr int kCaption = 24;           // and a line below it
constexpr int kBottom = 84;            // for the labels of x
constexpr int kLeastWidth = 960;       // of the whole, for title and captions
constexpr int kLeastPlotHeight = 260;  // room for the colour bar
constexpr std::array kExaggerations{100.0, 50.0, 20.0, 10.0, 5.0, 4.0, 3.0, 2.0, 1.5};

int pixels(double length) { return std::max(1, static_cast<int>(std::lround(length))); }

}  // namespace

PictureLayout layout_of(const Picture& picture) {
  const double width = picture.x_nodes.back() - picture.x_nodes.front();
  const double height = picture.y_nodes.back() - picture.y_nodes.front();
  const double scale = std::min(kMostWidth / width, kMostHeight / height);
  PictureLayout layout;
  if (!picture.is_map) {
    for (const double factor : kExaggerations) {
      if (scale * height * factor > kFlatHeight) continue;
      layout.exaggeration = factor;
      break;
    }
  }
  layout.plot_width = pixels(scale * width);
  layout.plot_height = pixels(scale * height * layout.exaggeration);
  layout.width = std::max(kLeft + layout.plot_width + kRight, kLeastWidth);
  layout.plot_left = kLeft + (layout.width - kLeft - layout.plot_width - kRight) / 2;
  layout.plot_top = kTop + kCaption * static_cast<int>(picture.captions.size());
  layout.height = layout.plot_top + std::max(layout.plot_height, kLeastPlotHeight) + kBottom;
  return layout;
}

std::vector<double> round_numbers(double from, double to, int most) {
  const double least = (to - from) / most;
  std::vector<double> numbers;
  if (!(least > 0.0) || !std::isfinite(least)) return numbers;
  const double power = std::pow(10.0, std::floor(std::log10(least)));
  for (const double factor : {1.0, 2.0, 5.0, 10.0, 20.0}) {
    const double step = factor * power;
    const double first = std::ceil(from / step);
    const double last = std::floor(to / step);
    if (!(last - first < most)) continue;
    const int count = static_cast<int>(last - first) + 1;  // 0 where `last` is before `first`
    for (int n = 0; n < count; ++n) numbers.push_back((first + n) * step);
    break;
  }
  return numbers;
}

}  // namespace quorivex
