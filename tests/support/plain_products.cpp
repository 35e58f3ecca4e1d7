// SPDX-License-Identifier: GPL-3.0-or-later
#include "plain_products.h"

#include <algorithm>

namespace quorivex::test {
namespace {

/// One level on the first n points of a line.
void plain_level(const WTN_MOD::Filter& filter, std::vector<double>& a, std::size_t n, int isign,
                 std::vector<double>& work) {
  const std::size_t ncof = filter.low.size();
  const std::size_t half = n / 2;
  std::fill_n(work.begin(), n, 0.0);
  for (std::size_t i = 0; i < half; ++i) {
    const std::size_t start = 2 * i + 2 + ncof * n - ncof / 2;
    for (std::size_t k = 0; k < ncof; ++k) {
      const std::size_t at = (start + k) & (n - 1);
      if (isign >= 0) {
        work[i] += filter.low[k] * a[at];
        work[i + half] += filter.high[k] * a[at];
      } else {
        work[at] += filter.low[k] * a[i] + filter.high[k] * a[i + half];
      }
    }
  }
  std::copy_n(work.begin(), n, a.begin());
}

void plain_line(const WTN_MOD::Filter& filter, std::vector<double>& line, int isign,
                std::vector<double>& work) {
  const std::size_t n = line.size();
  for (std::size_t nt = n; isign >= 0 && nt >= 4; nt /= 2)
    plain_level(filter, line, nt, isign, work);
  for (std::size_t nt = 4; isign < 0 && nt <= n; nt *= 2)
    plain_level(filter, line, nt, isign, work);
}

}  // namespace

void plain_full_gv(const FullMatrix& G, const std::vector<double>& x, std::vector<double>& d) {
#pragma omp parallel for schedule(static)
  for (std::int64_t i = 0; i < length(d); ++i) {
    const float* g = G.row(i + 1);
    double sum = 0.0;
    for (std::size_t j = 0; j < x.size(); ++j) sum += static_cast<double>(g[j]) * x[j];
    d[as_size(i)] = sum;
  }
}

void plain_full_gtv(const FullMatrix& G, const std::vector<double>& d, std::vector<double>& x) {
  constexpr std::int64_t kCells = 10000;  // few enough that they stay in the cache
#pragma omp parallel for schedule(static)
  for (std::int64_t first = 0; first < length(x); first += kCells) {
    const std::int64_t last = std::min(first + kCells, length(x));
    std::fill(x.begin() + first, x.begin() + last, 0.0);
    for (std::int64_t i = 0; i < length(d); ++i) {
      const float* g = G.row(i + 1);
      const double weight = d[as_size(i)];
      for (std::int64_t j = first; j < last; ++j)
        x[as_size(j)] += static_cast<double>(g[j]) * weight;
    }
  }
}

void plain_gv(const SparseRows& S, const std::vector<double>& w, std::vector<double>& d) {
#pragma omp parallel for schedule(dynamic, 1)
  for (std::int64_t i = 1; i <= S.rows(); ++i) {
    const SparseRow row = S(i);
    double sum = 0.0;
    for (std::int64_t k = 1; k <= row.values.size(); ++k)
      sum += static_cast<double>(row.values(k)) * w[as_size(row.positions(k) - 1)];
    d[as_size(i - 1)] = sum;
  }
}

void plain_gtv(const SparseRows& S, const std::vector<double>& d, std::vector<double>& w) {
  std::fill(w.begin(), w.end(), 0.0);
#pragma omp parallel
  {
    std::vector<double> own(w.size());
#pragma omp for schedule(dynamic, 1)
    for (std::int64_t i = 1; i <= S.rows(); ++i) {
      const SparseRow row = S(i);
      const double weight = d[as_size(i - 1)];
      for (std::int64_t k = 1; k <= row.values.size(); ++k)
        own[as_size(row.positions(k) - 1)] += static_cast<double>(row.values(k)) * weight;
    }
#pragma omp critical(plain_gtv_sum)
    for (std::size_t at = 0; at < w.size(); ++at) w[at] += own[at];
  }
}

void plain_transform(const WTN_MOD::Filter& filter, std::vector<double>& a,
                     const std::array<std::int32_t, 3>& counts, int isign) {
  const std::array<std::size_t, 3> strides{1, as_size(counts[0]),
                                           as_size(std::int64_t{counts[0]} * counts[1])};
  for (const std::size_t number : {0U, 1U, 2U}) {
    const std::size_t axis = isign >= 0 ? number : 2 - number;
    const std::size_t n = as_size(counts[axis]);
    const std::size_t stride = strides[axis];
    std::vector<double> line(n);
    std::vector<double> work(n);
    for (std::size_t start = 0; n > 4 && start < a.size(); ++start) {
      if (start / stride % n != 0) continue;
      for (std::size_t k = 0; k < n; ++k) line[k] = a[start + k * stride];
      plain_line(filter, line, isign, work);
      for (std::size_t k = 0; k < n; ++k) a[start + k * stride] = line[k];
    }
  }
}

}  // namespace quorivex::test
