// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/forward/cell_expansion.h"

#include <algorithm>
#include <cmath>

#include "base/eight.h"
#include "base/multiversion.h"
#include "base/stop_run.h"

namespace quorivex {
namespace {

/// Coefficients of a column before those of a term, where the thickness of its layers is put in and
/// where its powers are kept apart.
constexpr int uniform_before(int term) { return term * (term + 2); }
constexpr int graded_before(int term) {
  int count = 0;
  for (int m = 0; m < term; ++m) count += (m + 1) * (degree_of(m) + 1);
  return count;
}
constexpr int kUniform = uniform_before(kMaxTerms);
constexpr int kCoefficients = kUniform + graded_before(kMaxTerms);

constexpr std::size_t at(int index) { return static_cast<std::size_t>(index); }

/// c0 + z (c1 + z (c2 + ...)), with a stride of kVector, as everywhere below.
template <int kDegree>
[[gnu::always_inline]] inline Eight polynomial(const double* c, Eight z) {
  Eight value = Eight{} + c[kVector * kDegree];
#pragma GCC unroll 16
  for (int n = kDegree - 1; n >= 0; --n) value = value * z + c[kVector * n];
  return value;
}

/// The polynomials of a term for the powers of the squared thickness from kPower on.
template <int kTerm, int kPower = 0>
[[gnu::always_inline]] inline Eight term_at(const double* c, Eight z, Eight thickness_squared) {
  constexpr int kDegree = degree_of(kTerm);
  constexpr std::ptrdiff_t kBegin = kVector * kPower * (kDegree + 1);
  const Eight value = polynomial<kDegree>(c + kBegin, z);
  if constexpr (kPower == kTerm) {
    return value;
  } else {
    return value + thickness_squared * term_at<kTerm, kPower + 1>(c, z, thickness_squared);
  }
}

/// Of the terms from kTerm on; kPutIn where the powers of the thickness are in the coefficients.
template <int kTerm, int kTerms, bool kPutIn>
[[gnu::always_inline]] inline Eight series(const double* c, Eight z, Eight thickness_squared,
                                           Eight inverse_4) {
  Eight value;
  if constexpr (kPutIn) {
    value = polynomial<degree_of(kTerm)>(c + kVector * uniform_before(kTerm), z);
  } else {
    value = term_at<kTerm>(c + kVector * graded_before(kTerm), z, thickness_squared);
  }
  if constexpr (kTerm + 1 < kTerms) {
    value += inverse_4 * series<kTerm + 1, kTerms, kPutIn>(c, z, thickness_squared, inverse_4);
  }
  return value;
}

struct ColumnBox {
  double across;  // squared horizontal distance from the station
  double area;
};

template <int kTerms, bool kPutIn>
[[gnu::always_inline]] inline void cells_of(const double* c, const ColumnBox& place,
                                            const StationLayers& layers, std::int64_t first,
                                            std::int64_t end, double* to) {
  const double* const up = layers.up.data();
  const double* const thickness = layers.thickness.data();
  const double* const thickness_squared = layers.thickness_squared.data();
  for (std::int64_t k = first; k < end; k += kVector) {
    const Eight z = eight(up + k);
    const Eight inverse = inverse_root(place.across + z * z);
    const Eight inverse_2 = inverse * inverse;
    const Eight inverse_4 = inverse_2 * inverse_2;
    eight(to + k) = place.area * eight(thickness + k) * inverse * inverse_4 *
                    series<0, kTerms, kPutIn>(c, z, eight(thickness_squared + k), inverse_4);
  }
}

#define QUORIVEX_CELLS(name, terms, put_in)                                       \
  QUORIVEX_MULTIVERSIONED                                                         \
  void name(const double* c, const ColumnBox& place, const StationLayers& layers, \
            std::int64_t first, std::int64_t end, double* to) {                   \
    cells_of<terms, put_in>(c, place, layers, first, end, to);                    \
  }
QUORIVEX_CELLS(cells_2, 2, false)
QUORIVEX_CELLS(cells_3, 3, false)
QUORIVEX_CELLS(cells_4, 4, false)
QUORIVEX_CELLS(cells_5, 5, false)
QUORIVEX_CELLS(uniform_cells_2, 2, true)
QUORIVEX_CELLS(uniform_cells_3, 3, true)
QUORIVEX_CELLS(uniform_cells_4, 4, true)
QUORIVEX_CELLS(uniform_cells_5, 5, true)
#undef QUORIVEX_CELLS

using Powers = std::array<double, kMaxDegree + 1>;

Powers powers_of(double x) {
  Powers powers{1.0};
  for (std::size_t n = 1; n < powers.size(); ++n) powers[n] = powers[n - 1] * x;
  return powers;
}

using RowCoefficients = std::array<double, WeightedDerivatives::kSize>;

/// The derivatives of a term with the northing of the row put in. Where layers are uniform, the
/// powers of the thickness are put in too, and only the polynomials of g = 0 are left.
QUORIVEX_MULTIVERSIONED
void put_northing_in(const WeightedDerivatives& derivatives, const ColumnRow& row, int term,
                     const StationLayers& layers, RowCoefficients& to) {
  const Powers north = powers_of(row.north);
  const Powers width = powers_of(row.width * row.width);
  const Powers thickness = powers_of(layers.uniform_squared);
  const int degree = degree_of(term);
  const int count = monomials(degree);
  std::array<double, monomials(kMaxDegree)> of_monomial;
  for (int s = 0; s <= degree; ++s) {
    for (int q = 0; q <= degree - s; ++q) of_monomial[at(monomial(degree, q, s))] = north[at(q)];
  }
  const double* from = derivatives.coefficients.data() + derivatives_before(term);
  double* const first = to.data() + derivatives_before(term);
  double* target = first;
  for (int g = 0; g <= term; ++g) {
    if (layers.all_uniform) target = first;
    for (int a = 0; a + g <= term; ++a, from += count, target += count) {
      const double factor = width[at(term - g - a)] * (layers.all_uniform ? thickness[at(g)] : 1.0);
      if (!layers.all_uniform || g == 0) std::fill_n(target, count, 0.0);
      for (int c = 0; c < count; ++c) target[c] += from[c] * factor * of_monomial[at(c)];
    }
  }
}

/// Puts the easting of 8 columns in, for the coefficients of a term and the first kPowers powers of
/// the thickness. Unrolled: loops of a few rounds would cost more than their sums.
template <int kTerm, int kPowers>
[[gnu::always_inline]] inline void put_easting_in(const double* of_row, const double* east,
                                                  const double* east_width, double* to) {
  const Eight x = eight(east);
  const Eight width = eight(east_width);
  const Eight squared = width * width;
  constexpr int kDegree = degree_of(kTerm);
  constexpr std::ptrdiff_t kCount = monomials(kDegree);
#pragma GCC unroll 16
  for (int g = 0; g < kPowers; ++g) {
#pragma GCC unroll 16
    for (int s = 0; s <= kDegree; ++s, to += kVector) {
      Eight sum{};
#pragma GCC unroll 16
      for (int a = kTerm - g; a >= 0; --a) {
        const double* c = of_row + a * kCount + monomial(kDegree, 0, s);
        Eight value{};
#pragma GCC unroll 16
        for (int q = 0; q <= kDegree - s; ++q) value = value * x + c[q];
        sum = sum * squared + value;
      }
      eight(to) = sum;
    }
    of_row += (kTerm - g + 1) * kCount;
  }
}

using PutEastingIn = void(const double* of_row, const double* east, const double* east_width,
                          double* to);
#define QUORIVEX_PUT_EASTING_IN(name, term, powers)                                           \
  QUORIVEX_MULTIVERSIONED                                                                     \
  void name(const double* of_row, const double* east, const double* east_width, double* to) { \
    put_easting_in<term, powers>(of_row, east, east_width, to);                               \
  }
QUORIVEX_PUT_EASTING_IN(uniform_0, 0, 1)
QUORIVEX_PUT_EASTING_IN(uniform_1, 1, 1)
QUORIVEX_PUT_EASTING_IN(uniform_2, 2, 1)
QUORIVEX_PUT_EASTING_IN(uniform_3, 3, 1)
QUORIVEX_PUT_EASTING_IN(uniform_4, 4, 1)
QUORIVEX_PUT_EASTING_IN(graded_1, 1, 2)
QUORIVEX_PUT_EASTING_IN(graded_2, 2, 3)
QUORIVEX_PUT_EASTING_IN(graded_3, 3, 4)
QUORIVEX_PUT_EASTING_IN(graded_4, 4, 5)
#undef QUORIVEX_PUT_EASTING_IN
constexpr std::array<PutEastingIn*, kMaxTerms> kPutUniform{uniform_0, uniform_1, uniform_2,
                                                           uniform_3, uniform_4};
constexpr std::array<PutEastingIn*, kMaxTerms> kPutGraded{uniform_0, graded_1, graded_2, graded_3,
                                                          graded_4};

/// Puts the squared thickness of uniform layers into the graded coefficients of a term.
QUORIVEX_MULTIVERSIONED
void put_thickness_in(const double* graded, double thickness_squared, int term, double* to) {
  const std::int64_t count = (degree_of(term) + 1) * kVector;
  std::copy_n(graded + term * count, count, to);
  for (int g = term - 1; g >= 0; --g) {
    for (std::int64_t n = 0; n < count; ++n)
      to[n] = to[n] * thickness_squared + graded[g * count + n];
  }
}

double longest(const std::array<double, 3>& edges) {
  return *std::max_element(edges.begin(), edges.end());
}

double square_of(const std::array<double, 3>& v) { return v[0] * v[0] + v[1] * v[1] + v[2] * v[2]; }

double volume_of(const CellFromStation& cell) {
  return cell.edges[0] * cell.edges[1] * cell.edges[2];
}

/// The whole expansion of one cell.
double expansion_at(const WeightedDerivatives& derivatives, const CellFromStation& cell) {
  std::array<Powers, 3> centre;
  std::array<Powers, 3> edge;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    centre[axis] = powers_of(cell.centre[axis]);
    edge[axis] = powers_of(cell.edges[axis] * cell.edges[axis]);
  }
  const double square = square_of(cell.centre);
  double power = 1.0 / (square * square * std::sqrt(square));
  double sum = 0.0;
  const double* c = derivatives.coefficients.data();
  for (int m = 0; m < kMaxTerms; ++m, power /= square * square) {
    const int degree = degree_of(m);
    for (int g = 0; g <= m; ++g) {
      for (int a = 0; a + g <= m; ++a) {
        double polynomial = 0.0;
        for (int s = 0; s <= degree; ++s) {
          for (int q = 0; q <= degree - s; ++q, ++c) {
            polynomial += *c * centre[0][at(degree - s - q)] * centre[1][at(q)] * centre[2][at(s)];
          }
        }
        sum += power * edge[0][at(a)] * edge[1][at(m - g - a)] * edge[2][at(g)] * polynomial;
      }
    }
  }
  return volume_of(cell) * sum;
}

}  // namespace

bool is_thin(const CellFromStation& cell) {
  const double square = square_of(cell.centre);
  if (square * std::sqrt(square) < 1e7 * volume_of(cell)) return false;
  std::array<double, 3> outside{};
  for (std::size_t axis = 0; axis < 3; ++axis) {
    outside[axis] = std::max(std::abs(cell.centre[axis]) - 0.5 * cell.edges[axis], 0.0);
  }
  return std::sqrt(square_of(outside)) > 0.2 * longest(cell.edges);
}

double value_of_thin_cell(const WeightedDerivatives& derivatives, const CellFromStation& cell) {
  const double edge = longest(cell.edges);
  if (terms_needed(square_of(cell.centre) / (edge * edge)) > 0) {
    return expansion_at(derivatives, cell);
  }
  const auto axis = static_cast<std::size_t>(
      std::max_element(cell.edges.begin(), cell.edges.end()) - cell.edges.begin());
  double sum = 0.0;
  for (const double side : {-0.25, 0.25}) {
    CellFromStation half = cell;
    half.edges[axis] = 0.5 * edge;
    half.centre[axis] += side * edge;
    sum += value_of_thin_cell(derivatives, half);
  }
  return sum;
}

ColumnPolynomials::ColumnPolynomials(std::int64_t columns)
    : values_(allocate<double>(as_size((columns + kVector - 1) / kVector * kVector * kCoefficients),
                               kPrismRow)) {}

void ColumnPolynomials::make(const WeightedDerivatives& derivatives, const ColumnRow& row,
                             const std::vector<ColumnPlan>& plans, const StationLayers& layers) {
  const auto max_terms = [&](std::int64_t first, std::int64_t end) {
    int terms = 0;
    for (std::int64_t i = first; i < end; ++i) terms = std::max(terms, plans[as_size(i)].terms);
    return terms;
  };
  RowCoefficients of_row;
  const int terms_of_row = max_terms(0, length(plans));
  for (int m = 0; m < terms_of_row; ++m) put_northing_in(derivatives, row, m, layers, of_row);
  const auto& put_easting_in = layers.all_uniform ? kPutUniform : kPutGraded;
  for (std::int64_t i = 0; i < length(plans); i += kVector) {
    const int terms = max_terms(i, std::min(i + kVector, length(plans)));
    double* const uniform = values_.data() + i * kCoefficients;
    double* const graded = uniform + kVector * kUniform;
    for (int m = 0; m < terms; ++m) {
      double* const put_in = uniform + kVector * uniform_before(m);
      double* const apart = graded + kVector * graded_before(m);
      put_easting_in[at(m)](of_row.data() + derivatives_before(m), row.east + i, row.east_width + i,
                            layers.all_uniform ? put_in : apart);
      if (layers.any_uniform && !layers.all_uniform) {
        put_thickness_in(apart, layers.uniform_squared, m, put_in);
      }
    }
  }
}

void ColumnPolynomials::evaluate(const ColumnRow& row, std::int64_t column,
                                 const std::uint8_t* block_terms, const StationLayers& layers,
                                 double* to) const {
  const std::int64_t blocks = length(layers.up) / kVector;
  const double* const uniform =
      values_.data() + column / kVector * kVector * kCoefficients + column % kVector;
  const double* const graded = uniform + kVector * kUniform;
  const double east = row.east[column];
  const ColumnBox place{east * east + row.north * row.north, row.east_width[column] * row.width};
  constexpr std::array kGradedCells{cells_2, cells_3, cells_4, cells_5};
  constexpr std::array kUniformCells{uniform_cells_2, uniform_cells_3, uniform_cells_4,
                                     uniform_cells_5};
  const std::uint8_t* const is_uniform = layers.is_uniform.data();
  for (std::int64_t b = 0; b < blocks;) {
    std::int64_t end = b + 1;
    while (end < blocks && block_terms[end] == block_terms[b] && is_uniform[end] == is_uniform[b])
      ++end;
    const auto cells = (is_uniform[b] != 0 ? kUniformCells : kGradedCells)[at(block_terms[b] - 2)];
    cells(is_uniform[b] != 0 ? uniform : graded, place, layers, b * kVector, end * kVector, to);
    b = end;
  }
}

}  // namespace quorivex
