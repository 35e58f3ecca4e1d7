// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace quorivex {

/// A place on a picture, in metres along its axes.
struct PicturePoint {
  double x = 0.0;
  double y = 0.0;
};

/// A map or a section in cells of one colour each.
struct Picture {
  std::string title;
  std::vector<std::string> captions;  ///< lines below the title
  std::string x_label;
  std::string y_label;
  std::vector<double> x_nodes;  ///< faces of the cells in metres, rising
  std::vector<double> y_nodes;
  std::vector<double> values;  ///< x fastest, from the lowest y; NaN stays blank
  double min = 0.0;            ///< value of the first colour
  double max = 0.0;            ///< of the last
  std::string value_label;     ///< of the colour bar
  bool is_map = true;          ///< the same scale along both axes; otherwise y may be exaggerated
  std::vector<PicturePoint> dots;
};

/// Where things are, in pixels from the upper left corner.
struct PictureLayout {
  int width = 0;  ///< of the whole
  int height = 0;
  int plot_left = 0;
  int plot_top = 0;
  int plot_width = 0;
  int plot_height = 0;
  double exaggeration = 1.0;  ///< of y
};
PictureLayout layout_of(const Picture& picture);

/// Multiples of 1, 2 or 5 times a power of ten, at most `most`, within the interval.
std::vector<double> round_numbers(double from, double to, int most);

/// The colour of a value as 0xRRGGBB: the map viridis, from `min` to `max` and the same beyond.
std::uint32_t colour_of(double value, double min, double max);

/// The bytes of a PNG; none where the library cairo is missing. Cairo is loaded: to be called in a
/// process of its own. `name` is for messages.
/// @throws StopRun where cairo fails
std::string png_bytes(const std::string& name, const Picture& picture);

}  // namespace quorivex
