// SPDX-License-Identifier: GPL-3.0-or-later
#include "sensitivity/wtn_mod.h"

#include <algorithm>
#include <utility>

#include "base/stop_run.h"

namespace quorivex::WTN_MOD {
namespace {

constexpr std::int64_t kShortest = 4;  // an axis of so many points, or fewer, stays as it is

void transform_line(const Filter& filter, View1<double> line, std::int64_t n, int isign,
                    View1<double> work) {
  if (isign >= 0) {
    for (std::int64_t nt = n; nt >= kShortest; nt /= 2) PWT(filter, line, nt, isign, work);
  } else {
    for (std::int64_t nt = kShortest; nt <= n; nt *= 2) PWT(filter, line, nt, isign, work);
  }
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

void PWT(const Filter& filter, View1<double> a, std::int64_t n, int isign, View1<double> work) {
  const std::int64_t ncof = filter.ncof();
  const std::int64_t mask = n - 1;
  const std::int64_t nh = n / 2;
  const View1<const double> low(filter.low);
  const View1<const double> high(filter.high);
  std::fill_n(work.begin(), n, 0.0);
  for (std::int64_t ii = 1; ii <= nh; ++ii) {
    // ncof n keeps the sum positive, so that the mask wraps it round the line.
    const std::int64_t ni = 2 * ii - 1 + ncof * n - ncof / 2;
    if (isign >= 0) {
      double smooth = 0.0;
      double detail = 0.0;
      for (std::int64_t k = 1; k <= ncof; ++k) {
        const double value = a(((ni + k) & mask) + 1);
        smooth += low(k) * value;
        detail += high(k) * value;
      }
      work(ii) = smooth;
      work(ii + nh) = detail;
    } else {
      const double smooth = a(ii);
      const double detail = a(ii + nh);
      for (std::int64_t k = 1; k <= ncof; ++k) {
        work(((ni + k) & mask) + 1) += low(k) * smooth + high(k) * detail;
      }
    }
  }
  std::copy_n(work.begin(), n, a.begin());
}

Scratch::Scratch(const std::array<std::int32_t, 3>& counts) {
  const auto longest = as_size(*std::max_element(counts.begin(), counts.end()));
  line = allocate<double>(longest, "WTN");
  work = allocate<double>(longest, "WTN");
}

void WTN(const Filter& filter, View1<double> a, const std::array<std::int32_t, 3>& counts,
         int isign, Scratch& scratch) {
  std::vector<double>& line = scratch.line;
  std::int64_t nprev = 1;
  for (const std::int64_t n : counts) {
    const std::int64_t nnew = n * nprev;
    for (std::int64_t i2 = 0; i2 < a.size(); i2 += nnew) {
      if (n <= kShortest) break;
      for (std::int64_t i1 = 1; i1 <= nprev; ++i1) {
        for (std::int64_t k = 0; k < n; ++k) line[as_size(k)] = a(i1 + i2 + k * nprev);
        transform_line(filter, line, n, isign, scratch.work);
        for (std::int64_t k = 0; k < n; ++k) a(i1 + i2 + k * nprev) = line[as_size(k)];
      }
    }
    nprev = nnew;
  }
}

void WTN(const Filter& filter, View1<double> a, const std::array<std::int32_t, 3>& counts,
         int isign) {
  Scratch scratch(counts);
  WTN(filter, a, counts, isign, scratch);
}

}  // namespace quorivex::WTN_MOD
