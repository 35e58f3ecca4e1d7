// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>

#include "base/output_file.h"
#include "base/text.h"
#include "workbench/pictures/cairo_library.h"
#include "workbench/pictures/picture.h"

namespace quorivex {
namespace {

// Sizes of texts, in pixels.
constexpr double kTitleSize = 23.0;
constexpr double kLabelSize = 18.0;
constexpr double kTextSize = 16.0;
constexpr int kMargin = 20;
constexpr int kTick = 7;
constexpr int kBarGap = 32;  // between plot and colour bar
constexpr int kBarWidth = 26;
constexpr int kBarHeight = 400;  // at most
constexpr double kDot = 1.6;     // radius
constexpr double kRing = 0.8;    // around it
constexpr double kQuarterTurn = -std::numbers::pi / 2.0;
constexpr std::uint32_t kInk = 0x17232e;
constexpr std::uint32_t kWhite = 0xffffff;

struct Box {
  int left, top, width, height;
};

enum class Align { left, middle, right };

/// A picture while it is drawn.
class Canvas {
 public:
  Canvas(const Cairo& cairo, const std::string& name, int width, int height)
      : cairo_(cairo), name_(name), surface_(image(width, height)) {
    context_ = cairo_.cairo_create(surface_);
    select_font(context_);
    colour(kWhite);
    cairo_.cairo_paint(context_);
    colour(kInk);
    cairo_.cairo_set_line_width(context_, 1.0);
  }
  Canvas(const Canvas&) = delete;
  Canvas& operator=(const Canvas&) = delete;
  ~Canvas() {
    cairo_.cairo_destroy(context_);
    cairo_.cairo_surface_destroy(surface_);
  }

  void colour(std::uint32_t rgb) {
    const auto part = [rgb](unsigned shift) { return (rgb >> shift & 0xFFU) / 255.0; };
    cairo_.cairo_set_source_rgb(context_, part(16), part(8), part(0));
  }
  /// Along the middles of pixels, so that it is sharp.
  void line(int x1, int y1, int x2, int y2) {
    cairo_.cairo_move_to(context_, x1 + 0.5, y1 + 0.5);
    cairo_.cairo_line_to(context_, x2 + 0.5, y2 + 0.5);
    cairo_.cairo_stroke(context_);
  }
  /// Around the pixels of the box.
  void frame(const Box& box) {
    cairo_.cairo_rectangle(context_, box.left - 0.5, box.top - 0.5, box.width + 1.0,
                           box.height + 1.0);
    cairo_.cairo_stroke(context_);
  }
  void dot(double x, double y) {
    for (const auto& [radius, rgb] : {std::pair{kDot + kRing, kWhite}, {kDot, kInk}}) {
      colour(rgb);
      cairo_.cairo_arc(context_, x, y, radius, 0.0, 2.0 * std::numbers::pi);
      cairo_.cairo_fill(context_);
    }
  }
  void clip(const Box& box) {
    cairo_.cairo_save(context_);
    cairo_.cairo_rectangle(context_, box.left, box.top, box.width, box.height);
    cairo_.cairo_clip(context_);
  }
  void restore() { cairo_.cairo_restore(context_); }

  double text_width(const std::string& text, double size) {
    cairo_.cairo_set_font_size(context_, size);
    cairo_text_extents_t extents;
    cairo_.cairo_text_extents(context_, drawable(text).c_str(), &extents);
    return extents.x_advance;
  }
  void text(double x, double y, std::string text, double size, Align align = Align::left) {
    text = drawable(text);
    const double width = text_width(text, size);
    const double shift = align == Align::left ? 0.0 : align == Align::right ? width : width / 2.0;
    cairo_.cairo_move_to(context_, x - shift, y);
    cairo_.cairo_show_text(context_, text.c_str());
  }
  /// Reading upward.
  void upward_text(double x, double y, const std::string& words, double size) {
    cairo_.cairo_save(context_);
    cairo_.cairo_translate(context_, x, y);
    cairo_.cairo_rotate(context_, kQuarterTurn);
    text(0.0, 0.0, words, size, Align::middle);
    cairo_.cairo_restore(context_);
  }
  /// colour(x, y) of every pixel of a box, counted from its upper left one.
  template <class Colour>
  void pixels(const Box& box, const Colour& colour) {
    cairo_surface_t* const part = image(box.width, box.height);
    const int stride = cairo_.cairo_image_surface_get_stride(part);
    unsigned char* const data = cairo_.cairo_image_surface_get_data(part);
    for (int y = 0; y < box.height; ++y) {
      unsigned char* row = data + std::ptrdiff_t{y} * stride;
      for (int x = 0; x < box.width; ++x, row += sizeof(std::uint32_t)) {
        const std::uint32_t rgb = colour(x, y);
        std::memcpy(row, &rgb, sizeof(rgb));
      }
    }
    cairo_.cairo_surface_mark_dirty(part);
    cairo_.cairo_set_source_surface(context_, part, box.left, box.top);
    cairo_.cairo_paint(context_);
    cairo_.cairo_surface_destroy(part);
    this->colour(kInk);
  }
  std::string png() {
    need(cairo_.cairo_status(context_));
    std::string bytes;
    const auto take = [](void* all, const unsigned char* data, unsigned size) {
      static_cast<std::string*>(all)->append(reinterpret_cast<const char*>(data), size);
      return CAIRO_STATUS_SUCCESS;
    };
    need(cairo_.cairo_surface_write_to_png_stream(surface_, take, &bytes));
    return bytes;
  }

 private:
  void need(cairo_status_t status) const {
    if (status == CAIRO_STATUS_SUCCESS) return;
    writing_failed(name_, std::string("cairo: ") + cairo_.cairo_status_to_string(status));
  }
  cairo_surface_t* image(int width, int height) const {
    cairo_surface_t* const made =
        cairo_.cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height);
    need(cairo_.cairo_surface_status(made));
    return made;
  }
  void select_font(cairo_t* context) const {
    cairo_.cairo_select_font_face(context, "DejaVu Sans", CAIRO_FONT_SLANT_NORMAL,
                                  CAIRO_FONT_WEIGHT_NORMAL);
  }
  /// A text that is no UTF-8 would end all drawing: what of it is not ASCII becomes a ?.
  std::string drawable(const std::string& text) const {
    std::string clean = one_line(without_controls(text));
    cairo_t* const trial = cairo_.cairo_create(surface_);
    select_font(trial);
    cairo_text_extents_t extents;
    cairo_.cairo_text_extents(trial, clean.c_str(), &extents);
    const bool good = cairo_.cairo_status(trial) == CAIRO_STATUS_SUCCESS;
    cairo_.cairo_destroy(trial);
    const auto is_other = [](unsigned char c) { return c > 0x7E; };
    if (!good) std::replace_if(clean.begin(), clean.end(), is_other, '?');
    return clean;
  }

  const Cairo& cairo_;
  const std::string& name_;
  cairo_surface_t* surface_;
  cairo_t* context_ = nullptr;
};

/// The text, cut where it is wider than that.
std::string fitted(Canvas& canvas, std::string text, double size, double width) {
  if (canvas.text_width(text, size) <= width) return text;
  while (!text.empty() && canvas.text_width(text + "...", size) > width) {
    do text.pop_back();  // whole characters of UTF-8
    while (!text.empty() && (static_cast<unsigned char>(text.back()) & 0xC0U) == 0x80U);
  }
  return text + "...";
}

/// For each of so many pixels from `nodes.front()` to `nodes.back()` the cell it lies in.
std::vector<std::size_t> cells_of_pixels(const std::vector<double>& nodes, int count) {
  std::vector<std::size_t> cells;
  const double width = (nodes.back() - nodes.front()) / count;
  std::size_t cell = 0;
  for (int pixel = 0; pixel < count; ++pixel) {
    const double place = nodes.front() + (pixel + 0.5) * width;
    while (cell + 2 < nodes.size() && nodes[cell + 1] <= place) ++cell;
    cells.push_back(cell);
  }
  return cells;
}

void draw_cells(Canvas& canvas, const Picture& picture, const Box& plot) {
  const std::vector<std::size_t> columns = cells_of_pixels(picture.x_nodes, plot.width);
  const std::vector<std::size_t> rows = cells_of_pixels(picture.y_nodes, plot.height);
  const std::size_t row_length = picture.x_nodes.size() - 1;
  canvas.pixels(plot, [&](int x, int y) {
    const std::size_t row = rows[static_cast<std::size_t>(plot.height - 1 - y)];
    const double value = picture.values[row * row_length + columns[static_cast<std::size_t>(x)]];
    return std::isnan(value) ? kWhite : colour_of(value, picture.min, picture.max);
  });
}

void draw_axes(Canvas& canvas, const Picture& picture, const Box& plot) {
  const int bottom = plot.top + plot.height;
  const auto place = [](double value, const std::vector<double>& nodes, int count) {
    return static_cast<int>(
        std::lround((value - nodes.front()) / (nodes.back() - nodes.front()) * count - 0.5));
  };
  canvas.frame(plot);
  const auto& xs = picture.x_nodes;
  for (const double x : round_numbers(xs.front(), xs.back(), std::max(1, plot.width / 130))) {
    const int at = plot.left + place(x, xs, plot.width);
    canvas.line(at, bottom, at, bottom + kTick);
    canvas.text(at, bottom + 26, fmt::format("{:.10g}", x), kTextSize, Align::middle);
  }
  const auto& ys = picture.y_nodes;
  for (const double y : round_numbers(ys.front(), ys.back(), std::max(1, plot.height / 40))) {
    const int at = bottom - 1 - place(y, ys, plot.height);
    canvas.line(plot.left - 1 - kTick, at, plot.left - 1, at);
    canvas.text(plot.left - 13, at + 6, fmt::format("{:.10g}", y), kTextSize, Align::right);
  }
  canvas.text(plot.left + plot.width / 2.0, bottom + 58, picture.x_label, kLabelSize,
              Align::middle);
  canvas.upward_text(plot.left - 104, std::max(bottom + plot.top, 2 * plot.top + 130) / 2.0,
                     picture.y_label, kLabelSize);
}

void draw_colour_bar(Canvas& canvas, const Picture& picture, const Box& plot, int room) {
  const int height = std::min(room, kBarHeight);
  const Box bar{plot.left + plot.width + kBarGap, plot.top, kBarWidth, height};
  const double min = picture.min;
  const double max = picture.max;
  canvas.pixels(bar, [&](int, int y) { return colour_of(1.0 - (y + 0.5) / height, 0.0, 1.0); });
  canvas.frame(bar);
  const auto tick = [&](double value, int at) {
    canvas.line(bar.left + bar.width, at, bar.left + bar.width + kTick, at);
    canvas.text(bar.left + bar.width + 12, at + 6, fmt::format("{:.6g}", value), kTextSize);
  };
  if (!(max > min)) tick(min, bar.top + height - 1);
  for (const double value : round_numbers(min, max, height / 45)) {
    tick(value, bar.top + height - 1 -
                    static_cast<int>(std::lround((value - min) / (max - min) * (height - 1))));
  }
  canvas.upward_text(bar.left + bar.width + 104, bar.top + height / 2.0, picture.value_label,
                     kLabelSize);
}

void draw_dots(Canvas& canvas, const Picture& picture, const Box& plot) {
  const double west = picture.x_nodes.front();
  const double south = picture.y_nodes.front();
  const double x_scale = plot.width / (picture.x_nodes.back() - west);
  const double y_scale = plot.height / (picture.y_nodes.back() - south);
  canvas.clip(plot);
  for (const PicturePoint& point : picture.dots) {
    canvas.dot(plot.left + (point.x - west) * x_scale,
               plot.top + plot.height - (point.y - south) * y_scale);
  }
  canvas.restore();
  canvas.colour(kInk);
}

}  // namespace

std::string png_bytes(const std::string& name, const Picture& picture) {
  const std::optional<Cairo> cairo = load_cairo();
  if (!cairo) return {};
  const PictureLayout layout = layout_of(picture);
  Canvas canvas(*cairo, name, layout.width, layout.height);
  const Box plot{layout.plot_left, layout.plot_top, layout.plot_width, layout.plot_height};
  const double width = layout.width - 2.0 * kMargin;
  canvas.text(kMargin, 38, fitted(canvas, picture.title, kTitleSize, width), kTitleSize);
  double line = 66;
  for (const std::string& caption : picture.captions) {
    canvas.text(kMargin, line, fitted(canvas, caption, kTextSize, width), kTextSize);
    line += 23;
  }
  draw_cells(canvas, picture, plot);
  draw_dots(canvas, picture, plot);
  draw_axes(canvas, picture, plot);
  draw_colour_bar(canvas, picture, plot, layout.height - layout.plot_top - 84);
  return canvas.png();
}

}  // namespace quorivex
