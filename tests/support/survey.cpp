// SPDX-License-Identifier: GPL-3.0-or-later
#include "survey.h"

#include <fmt/format.h>

#include <array>
#include <cmath>
#include <numbers>
#include <random>

namespace quorivex::test {
namespace {

constexpr double kField = 50000.0;  // nT
constexpr double kCell = 25.0;      // metres
constexpr double kTop = 300.0;
constexpr double kDegree = std::numbers::pi / 180.0;
using Point = std::array<double, 3>;

std::vector<double> even_nodes(double first, std::int32_t cells) {
  std::vector<double> nodes;
  for (std::int32_t i = 0; i <= cells; ++i) nodes.push_back(first + kCell * i);
  return nodes;
}

/// nT at r from a cell of susceptibility 1 (Blakely 1995, "Potential Theory in Gravity and
/// Magnetic Applications", eq. 4.16, with the moment along the field).
double dipole(const Point& r) {
  static const Point field{std::cos(65 * kDegree) * std::sin(12 * kDegree),
                           std::cos(65 * kDegree) * std::cos(12 * kDegree),
                           -std::sin(65 * kDegree)};
  const double r2 = r[0] * r[0] + r[1] * r[1] + r[2] * r[2];
  const double along = r[0] * field[0] + r[1] * field[1] + r[2] * field[2];
  const double volume = kCell * kCell * kCell;
  return kField * volume / (4.0 * std::numbers::pi) * (3.0 * along * along / r2 - 1.0) /
         (r2 * std::sqrt(r2));
}

}  // namespace

Survey make_survey(const Size& size) {
  const auto [ne, nn, nz] = size;
  Survey s;
  s.mesh.ne = ne;
  s.mesh.nn = nn;
  s.mesh.nz = nz;
  s.mesh.easting_nodes = even_nodes(1000.0, ne);
  s.mesh.northing_nodes = even_nodes(2000.0, nn);
  s.mesh.depth_nodes = even_nodes(0.0, nz);
  s.mesh.z0 = kTop;
  s.tops = {.nn = nn, .ne = ne, .tops = {}};
  for (std::int32_t i = 0; i < ne; ++i) {
    for (std::int32_t j = 0; j < nn; ++j) s.tops.tops.push_back((i + j) % 4 == 0 ? 2 : 1);
  }
  std::vector<Point> centres;        // of the cells below the column tops
  std::vector<double> ground_model;  // susceptibility of these
  for (std::int32_t j = 0; j < nn; ++j) {
    for (std::int32_t i = 0; i < ne; ++i) {
      for (std::int32_t k = 0; k < nz; ++k) {
        const bool block = k >= 2 && k <= nz / 2 + 1 && std::abs(i - ne / 2) <= ne / 6 &&
                           std::abs(j - nn / 2) <= nn / 6;
        s.true_model.push_back(block ? 0.05 : 0.0);
        if (k < s.tops(j + 1, i + 1)) continue;
        ground_model.push_back(s.true_model.back());
        s.wtz.push_back(1.0 / (1.0 + 0.2 * k));
        centres.push_back(
            {1000.0 + kCell * (i + 0.5), 2000.0 + kCell * (j + 0.5), kTop - kCell * (k + 0.5)});
      }
    }
  }
  s.gdiag.assign(s.wtz.size(), 0.0);
  std::mt19937_64 random(20240607);
  const auto uniform = [&] {
    return static_cast<double>(random() >> 11) * 0x1p-53;  // the same numbers on every platform
  };
  for (std::int32_t station = 0; station < ne * nn; ++station) {
    s.x.push_back(1000.0 + kCell * (station % ne + 0.4 + 0.2 * uniform()));
    s.y.push_back(2000.0 + kCell * (station / ne + 0.4 + 0.2 * uniform()));
    s.z.push_back(kTop + 25.0 + 2.0 * uniform());
    double data = 0.0;
    std::vector<double> row;
    for (std::size_t cell = 0; cell < centres.size(); ++cell) {
      const Point& at = centres[cell];
      const double g = dipole({s.x.back() - at[0], s.y.back() - at[1], s.z.back() - at[2]});
      data += g * ground_model[cell];
      row.push_back(g / s.wtz[cell]);
      s.gdiag[cell] += row[cell] * row[cell];
    }
    const double noise = uniform() + uniform() + uniform() + uniform() - 2.0;
    s.std.push_back(1.0 + 0.02 * std::abs(data));
    s.observed.push_back(data + s.std.back() * std::sqrt(3.0) * noise);
    for (const double entry : row) s.rows.push_back(static_cast<float>(entry / s.std.back()));
  }
  return s;
}

std::vector<std::string> sensitivity_records(const Survey& survey) {
  const Mesh& mesh = survey.mesh;
  std::vector<std::string> records{
      record(survey.ndata(), survey.nsens(), mesh.nn, mesh.ne, mesh.nz),
      record(mesh.northing_nodes, mesh.easting_nodes, mesh.depth_nodes, mesh.z0),
      record(survey.tops.tops),
      record(0),
      record(mesh.nn, mesh.ne, mesh.nz),
      record(7, survey.wtz)};
  for (auto row = survey.rows.begin(); row != survey.rows.end(); row += survey.nsens())
    records.push_back(record(std::vector<float>(row, row + survey.nsens())));
  records.push_back(record(survey.gdiag));
  return records;
}

std::string observations_text(const Survey& survey) {
  std::string text = fmt::format("65 12 50000 ! incl, decl, geomag\n65 12 1\n{}\n", survey.ndata());
  for (std::size_t i = 0; i < survey.x.size(); ++i) {
    text += fmt::format("{:.3f} {:.3f} {:.3f} {:.5f} {:.4f}\n", survey.x[i], survey.y[i],
                        survey.z[i], survey.observed[i], survey.std[i]);
  }
  return text;
}

}  // namespace quorivex::test
