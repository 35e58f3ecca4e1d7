// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/sensitivity/wtn_mod.h"

#include <omp.h>

#include <algorithm>
#include <utility>

#include "base/eight.h"
#include "base/multiversion.h"
#include "base/stop_run.h"

namespace quorivex::WTN_MOD {
namespace {

constexpr std::int64_t kShortest = 4;  // an axis of so many points, or fewer, stays as it is

// Lines are transformed so many at a time, interleaved: point k of line l lies at k kLines + l, and
// every multiply-add runs on neighbouring lines.
constexpr std::int64_t kLines = 16;

/// Where the points of lines lie: those of point k from begin + k stride on.
struct Points {
  double* begin = nullptr;
  std::int64_t stride = kLines;

  double* at(std::int64_t k) const { return begin + k * stride; }
};

/// One level of n points, forward, by filters of so many taps, or of `ncof` for kTaps = 0.
template <int kTaps>
[[gnu::always_inline]] inline void forward_level_of(const Filter& filter, const double* from,
                                                    std::int64_t n, double* smooth,
                                                    const Points& detail) {
  static_assert(kLines == 16);
  const std::int64_t ncof = kTaps == 0 ? filter.ncof() : kTaps;
  const double* const low = filter.low.data();
  const double* const high = filter.high.data();
  for (std::int64_t ii = 0; ii < n / 2; ++ii) {
    // ncof n keeps the sum positive, so that the mask wraps it round the line.
    const std::int64_t first = 2 * ii + 2 + ncof * n - ncof / 2;
    Eight s0{}, s1{}, d0{}, d1{};
#pragma GCC unroll 8
    for (std::int64_t k = 0; k < ncof; ++k) {
      const double* const point = from + ((first + k) & (n - 1)) * kLines;
      s0 += low[k] * eight(point);
      s1 += low[k] * eight(point + 8);
      d0 += high[k] * eight(point);
      d1 += high[k] * eight(point + 8);
    }
    eight(smooth + ii * kLines) = s0;
    eight(smooth + ii * kLines + 8) = s1;
    eight(detail.at(ii)) = d0;
    eight(detail.at(ii) + 8) = d1;
  }
}

/// The smooth half goes to `smooth`, the details go to `detail`.
QUORIVEX_MULTIVERSIONED
void forward_level(const Filter& filter, const double* from, std::int64_t n, double* smooth,
                   const Points& detail) {
  switch (filter.ncof()) {
    case 2:
      return forward_level_of<2>(filter, from, n, smooth, detail);
    case 4:
      return forward_level_of<4>(filter, from, n, smooth, detail);
    case 6:
      return forward_level_of<6>(filter, from, n, smooth, detail);
    case 8:
      return forward_level_of<8>(filter, from, n, smooth, detail);
    default:
      return forward_level_of<0>(filter, from, n, smooth, detail);
  }
}

/// All levels of lines of n points, forward; their smooth halves alternate between `lines` and
/// `work`.
void forward_lines(const Filter& filter, double* lines, std::int64_t n, double* work,
                   const Points& to) {
  for (; n >= kShortest; n /= 2) {
    forward_level(filter, lines, n, work, {to.at(n / 2), to.stride});
    std::swap(lines, work);
  }
  for (std::int64_t k = 0; k < n; ++k) std::copy_n(lines + k * kLines, kLines, to.at(k));
}

/// One level of n points, inverse, of the smooth and detail halves, by filters of kTaps taps, which
/// are not more than n. A pair of points gathers its kTaps / 2 terms in their order on the line.
template <int kTaps>
[[gnu::always_inline]] inline void inverse_level_of(const Filter& filter, const double* smooth,
                                                    const double* detail, std::int64_t n,
                                                    const Points& to) {
  constexpr std::int64_t kTerms = kTaps / 2;
  constexpr std::int64_t kOdd = kTerms % 2;  // a pair begins with an even point, or an odd one
  const double* const low = filter.low.data();
  const double* const high = filter.high.data();
  const std::int64_t nh = n / 2;
  const auto gather = [&](std::int64_t jj, std::int64_t begin, std::int64_t start) {
    Eight sums[4] = {};
#pragma GCC unroll 4
    for (std::int64_t u = 0; u < kTerms; ++u) {
      const std::int64_t term = (start + u) % kTerms;
      const std::int64_t ii = ((begin + term + nh) & (nh - 1)) * kLines;
      const std::int64_t k = 2 * (kTerms - 1 - term);
#pragma GCC unroll 4
      for (std::int64_t part = 0; part < 4; ++part) {
        const std::int64_t tap = k + part / 2;
        const std::int64_t at = ii + part % 2 * 8;
        sums[part] += low[tap] * eight(smooth + at) + high[tap] * eight(detail + at);
      }
    }
    double* const first = to.at(2 * jj + kOdd);
    double* const second = to.at((2 * jj + kOdd + 1) & (n - 1));
    eight(first) = sums[0];
    eight(first + 8) = sums[1];
    eight(second) = sums[2];
    eight(second + 8) = sums[3];
  };
  for (std::int64_t jj = 0; jj < nh; ++jj) {
    const std::int64_t end = jj + (kTerms + 1) / 2;
    const std::int64_t begin = end - kTerms;
    if (begin >= 0 && end <= nh) {
      gather(jj, begin, 0);
    } else {
      gather(jj, begin, begin < 0 ? -begin : nh - begin);
    }
  }
}

/// The same for any filter, and for lines shorter than it.
void inverse_level_of_any(const Filter& filter, const double* smooth, const double* detail,
                          std::int64_t n, const Points& to) {
  const std::int64_t ncof = filter.ncof();
  for (std::int64_t k = 0; k < n; ++k) std::fill_n(to.at(k), kLines, 0.0);
  for (std::int64_t ii = 0; ii < n / 2; ++ii) {
    const std::int64_t first = 2 * ii + 2 + ncof * n - ncof / 2;
    for (std::int64_t k = 0; k < ncof; ++k) {
      double* const point = to.at((first + k) & (n - 1));
      for (std::int64_t l = 0; l < kLines; ++l) {
        point[l] += filter.low[as_size(k)] * smooth[ii * kLines + l] +
                    filter.high[as_size(k)] * detail[ii * kLines + l];
      }
    }
  }
}

QUORIVEX_MULTIVERSIONED
void inverse_level(const Filter& filter, const double* smooth, const double* detail, std::int64_t n,
                   const Points& to) {
  const std::int64_t ncof = filter.ncof();
  if (n < ncof) return inverse_level_of_any(filter, smooth, detail, n, to);
  switch (ncof) {
    case 2:
      return inverse_level_of<2>(filter, smooth, detail, n, to);
    case 4:
      return inverse_level_of<4>(filter, smooth, detail, n, to);
    case 6:
      return inverse_level_of<6>(filter, smooth, detail, n, to);
    case 8:
      return inverse_level_of<8>(filter, smooth, detail, n, to);
    default:
      return inverse_level_of_any(filter, smooth, detail, n, to);
  }
}

/// All levels of lines of n points, inverse; the points that are done alternate between `work` and
/// `more`, the last ones go to `to`.
void inverse_lines(const Filter& filter, const double* lines, std::int64_t n, double* work,
                   double* more, const Points& to) {
  const double* smooth = lines;
  for (std::int64_t nt = kShortest; nt <= n; nt *= 2) {
    const Points level_to = nt == n ? to : Points{work};
    inverse_level(filter, smooth, lines + nt / 2 * kLines, nt, level_to);
    smooth = work;
    std::swap(work, more);
  }
}

/// The lines of one axis. Line number m begins at first(m); its points lie nprev apart.
struct Axis {
  std::int64_t n = 0;      // points of a line
  std::int64_t nprev = 1;  // lines side by side
  std::int64_t lines = 0;
  std::int64_t used = n;  // points of a line that are read, the others being zero

  double* first(double* a, std::int64_t m) const { return a + m / nprev * nprev * n + m % nprev; }
  std::int64_t groups() const { return (lines + kLines - 1) / kLines; }
};

/// Calls visit(axis) for the axes of a grid that are transformed: from the first to the last, and
/// for the inverse from the last to the first.
template <class Visit>
void for_each_axis(std::int64_t size, const std::array<std::int32_t, 3>& counts, int isign,
                   Visit visit) {
  const std::array<std::int64_t, 3> nprev{1, counts[0], std::int64_t{counts[0]} * counts[1]};
  for (const std::size_t axis :
       isign >= 0 ? std::array<std::size_t, 3>{0, 1, 2} : std::array<std::size_t, 3>{2, 1, 0}) {
    const std::int64_t n = counts[axis];
    if (n > kShortest) visit(Axis{.n = n, .nprev = nprev[axis], .lines = size / n});
  }
}

/// Copies the points of up to kLines lines. A column of a large grid has a point per page: they are
/// asked for ahead.
QUORIVEX_MULTIVERSIONED
void copy_points(const Points& from, std::int64_t points, std::int64_t lines, const Points& to) {
  constexpr std::int64_t kAhead = 16;
  for (std::int64_t k = 0; k < points; ++k) {
    const double* const source = from.at(k);
    double* const target = to.at(k);
    if (lines == kLines) {
      __builtin_prefetch(source + kAhead * from.stride);
      __builtin_prefetch(source + kAhead * from.stride + 8);
      eight(target) = eight(source);
      eight(target + 8) = eight(source + 8);
    } else {
      for (std::int64_t l = 0; l < lines; ++l) target[l] = source[l];
    }
  }
}

/// to[c to_stride + r] = from[r from_stride + c] for 8 rows r and 8 columns c.
[[gnu::always_inline]] inline void transpose_8(const double* from, std::int64_t from_stride,
                                               double* to, std::int64_t to_stride) {
  Eight rows[8];
  for (std::int64_t r = 0; r < 8; ++r) rows[r] = eight(from + r * from_stride);
  Eight pairs[8];
  for (int r = 0; r < 8; r += 2) {
    pairs[r] = __builtin_shufflevector(rows[r], rows[r + 1], 0, 8, 2, 10, 4, 12, 6, 14);
    pairs[r + 1] = __builtin_shufflevector(rows[r], rows[r + 1], 1, 9, 3, 11, 5, 13, 7, 15);
  }
  Eight fours[8];
  for (int r = 0; r < 8; r += 4) {
    for (int c = 0; c < 2; ++c) {
      const Eight& first = pairs[r + c];
      const Eight& second = pairs[r + c + 2];
      fours[r + c] = __builtin_shufflevector(first, second, 0, 1, 8, 9, 4, 5, 12, 13);
      fours[r + c + 2] = __builtin_shufflevector(first, second, 2, 3, 10, 11, 6, 7, 14, 15);
    }
  }
  for (int c = 0; c < 4; ++c) {
    const Eight& first = fours[c];
    const Eight& second = fours[c + 4];
    eight(to + c * to_stride) = __builtin_shufflevector(first, second, 0, 1, 2, 3, 8, 9, 10, 11);
    eight(to + (c + 4) * to_stride) =
        __builtin_shufflevector(first, second, 4, 5, 6, 7, 12, 13, 14, 15);
  }
}

/// Lines one behind the other to lines side by side, and back; `points` of each of kLines lines.
QUORIVEX_MULTIVERSIONED
void interleave(const double* from, std::int64_t stride, std::int64_t points, double* to) {
  std::int64_t k = 0;
  for (; k + 8 <= points; k += 8) {
    transpose_8(from + k, stride, to + k * kLines, kLines);
    transpose_8(from + 8 * stride + k, stride, to + k * kLines + 8, kLines);
  }
  for (; k < points; ++k) {
    for (std::int64_t l = 0; l < kLines; ++l) to[k * kLines + l] = from[l * stride + k];
  }
}

QUORIVEX_MULTIVERSIONED
void separate(const double* from, std::int64_t points, double* to, std::int64_t stride) {
  std::int64_t k = 0;
  for (; k + 8 <= points; k += 8) {
    transpose_8(from + k * kLines, kLines, to + k, stride);
    transpose_8(from + k * kLines + 8, kLines, to + 8 * stride + k, stride);
  }
  for (; k < points; ++k) {
    for (std::int64_t l = 0; l < kLines; ++l) to[l * stride + k] = from[k * kLines + l];
  }
}

/// Transforms group g of the axis' lines; those that a last group lacks are zero.
void transform_group(const Filter& filter, const Axis& axis, std::int64_t g, int isign, double* a,
                     Scratch& scratch) {
  double* const lines = scratch.lines.data();
  const std::int64_t count = std::min(kLines, axis.lines - g * kLines);
  double* first[kLines] = {};
  for (std::int64_t l = 0; l < count; ++l) first[l] = axis.first(a, g * kLines + l);
  const std::int64_t read = count < kLines ? 0 : axis.used;
  std::fill_n(lines + read * kLines, (axis.n - read) * kLines, 0.0);
  const bool side_by_side = first[count - 1] - first[0] == count - 1;
  const Points in_grid{first[0], axis.nprev};
  const bool one_behind_the_other = axis.nprev == 1 && count == kLines;
  if (side_by_side) {
    copy_points(in_grid, axis.used, count, {lines});
  } else if (one_behind_the_other) {
    interleave(first[0], axis.n, axis.used, lines);
  } else {
    for (std::int64_t k = 0; k < axis.used; ++k) {
      for (std::int64_t l = 0; l < count; ++l) lines[k * kLines + l] = first[l][k * axis.nprev];
    }
  }
  const bool straight = side_by_side && count == kLines;
  const Points done = straight ? in_grid : Points{scratch.done.data()};
  if (isign >= 0) {
    forward_lines(filter, lines, axis.n, scratch.work.data(), done);
  } else {
    inverse_lines(filter, lines, axis.n, scratch.work.data(), scratch.more.data(), done);
  }
  if (straight) return;
  if (side_by_side) {
    copy_points(done, axis.n, count, in_grid);
  } else if (one_behind_the_other) {
    separate(done.begin, axis.n, first[0], axis.n);
  } else {
    for (std::int64_t k = 0; k < axis.n; ++k) {
      for (std::int64_t l = 0; l < count; ++l) first[l][k * axis.nprev] = done.at(k)[l];
    }
  }
}

void transform_lines_of(const Filter& filter, const Axis& axis, int isign, double* a,
                        Scratch& scratch) {
  for (std::int64_t g = 0; g < axis.groups(); ++g) {
    transform_group(filter, axis, g, isign, a, scratch);
  }
}

void transform_axis(const Filter& filter, const Axis& axis, int isign, double* a,
                    std::vector<Scratch>& scratches) {
  [[maybe_unused]] const auto threads = static_cast<int>(scratches.size());
  Scratch* const of_thread = scratches.data();
#pragma omp parallel for schedule(static) num_threads(threads) default(none) \
    shared(filter, axis, isign, a, of_thread)
  for (std::int64_t g = 0; g < axis.groups(); ++g) {
    transform_group(filter, axis, g, isign, a, of_thread[omp_get_thread_num()]);
  }
}

std::int64_t scratch_size(const std::array<std::int32_t, 3>& counts) {
  return kLines * *std::max_element(counts.begin(), counts.end());
}

/// Work vectors of as many threads as have something to do with so many lines.
std::vector<Scratch> scratches_for(std::int64_t lines, const std::array<std::int32_t, 3>& counts) {
  const std::int64_t groups = Axis{.lines = lines}.groups();
  const auto threads = as_size(std::min<std::int64_t>(omp_get_max_threads(), groups));
  return with_alloc_label("WTN", [&] { return std::vector<Scratch>(threads, Scratch(counts)); });
}

}  // namespace

Filter filter_setup(std::vector<double> low_pass) {
  Filter filter;
  filter.high.resize(low_pass.size());
  const View1<const double> low(low_pass);
  const View1<double> high(filter.high);
  for (std::int64_t k = 1; k <= low.size(); ++k) {
    high(low.size() + 1 - k) = k % 2 == 1 ? -low(k) : low(k);
  }
  filter.low = std::move(low_pass);
  return filter;
}

void PWT(const Filter& filter, View1<double> a, std::int64_t n, int isign) {
  std::vector<double> lines = allocate<double>(as_size(n * kLines), "PWT");
  std::vector<double> work = allocate<double>(as_size(n * kLines), "PWT");
  for (std::int64_t k = 0; k < n; ++k) lines[as_size(k * kLines)] = a(k + 1);
  if (isign >= 0) {
    forward_level(filter, lines.data(), n, work.data(), {work.data() + n / 2 * kLines});
  } else {
    inverse_level(filter, lines.data(), lines.data() + n / 2 * kLines, n, {work.data()});
  }
  for (std::int64_t k = 0; k < n; ++k) a(k + 1) = work[as_size(k * kLines)];
}

Scratch::Scratch(const std::array<std::int32_t, 3>& counts)
    : lines(allocate<double>(as_size(scratch_size(counts)), "WTN")),
      work(lines),
      more(lines),
      done(lines) {}

void WTN(const Filter& filter, View1<double> a, const std::array<std::int32_t, 3>& counts,
         int isign, Scratch& scratch) {
  for_each_axis(a.size(), counts, isign, [&](const Axis& axis) {
    transform_lines_of(filter, axis, isign, a.data(), scratch);
  });
}

void transform_padded(const Filter& filter, View1<double> a,
                      const std::array<std::int32_t, 3>& counts,
                      const std::array<std::int32_t, 3>& used, Scratch& scratch) {
  const std::int64_t line = counts[0];
  const std::int64_t plane = line * counts[1];
  double* const grid = a.data();
  const std::int64_t of_plane = counts[1] > kShortest ? used[1] : counts[1];
  for (std::int64_t j = 0; j < used[2]; ++j) {
    double* const begin = grid + j * plane;
    if (counts[1] <= kShortest) std::fill(begin + used[1] * line, begin + plane, 0.0);
    if (counts[0] <= kShortest) {
      for (std::int64_t i = 0; i < used[1]; ++i)
        std::fill(begin + i * line + used[0], begin + (i + 1) * line, 0.0);
    } else {
      transform_lines_of(filter, {.n = line, .nprev = 1, .lines = of_plane, .used = used[0]}, 1,
                         begin, scratch);
    }
    if (counts[1] > kShortest) {
      transform_lines_of(filter, {.n = counts[1], .nprev = line, .lines = line, .used = used[1]}, 1,
                         begin, scratch);
    }
  }
  if (counts[2] <= kShortest) {
    std::fill(grid + used[2] * plane, a.end(), 0.0);
  } else {
    transform_lines_of(filter, {.n = counts[2], .nprev = plane, .lines = plane, .used = used[2]}, 1,
                       grid, scratch);
  }
}

void WTN(const Filter& filter, View1<double> a, const std::array<std::int32_t, 3>& counts,
         int isign) {
  const std::int64_t shortest = *std::min_element(counts.begin(), counts.end());
  std::vector<Scratch> scratches = scratches_for(a.size() / shortest, counts);
  for_each_axis(a.size(), counts, isign, [&](const Axis& axis) {
    transform_axis(filter, axis, isign, a.data(), scratches);
  });
}

void transform_side_by_side(const Filter& filter, View1<double> a, std::int32_t n, int isign) {
  const std::int64_t lines = a.size() / n;
  if (n <= kShortest || lines == 0) return;
  std::vector<Scratch> scratches = scratches_for(lines, {n, 1, 1});
  transform_axis(filter, {.n = n, .nprev = lines, .lines = lines}, isign, a.data(), scratches);
}

}  // namespace quorivex::WTN_MOD
