// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/page/page_parts.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>

#include "base/stop_run.h"
#include "base/text.h"
#include "inversion/input/conventions.h"
#include "inversion/input/program_name.h"
#include "workbench/page/html_table.h"

namespace quorivex {
namespace {

std::string tile(std::string_view label, const std::string& value, const std::string& note) {
  return fmt::format(
      "<div><dt>{}</dt><dd class=\"value\">{}</dd><dd class=\"note\">{}</dd></div>\n", label,
      escape_xml(value), escape_xml(note));
}

const char* tone(Level level) {
  switch (level) {
    case Level::good:
      return "good";
    case Level::warning:
      return "warning";
    default:
      return "bad";
  }
}

std::string percent_of(std::int64_t part, std::int64_t whole) {
  return fmt::format("{:.1f} %", 100.0 * static_cast<double>(part) /
                                     static_cast<double>(std::max<std::int64_t>(whole, 1)));
}

/// A model or bound: its constant, or its file.
std::string describe_source(const std::string& source) {
  const std::optional<std::string_view> constant = constant_of(source);
  return constant ? fmt::format("{} SI", trim(*constant)) : source;
}

TableRows run_rows(const FinishedRun& run) {
  const InversionParameters& p = run.parameters;
  const bool chosen = p.mode == 2 && !(p.par > 0.0);
  return {{"Mode", p.mode == 1 ? "1: down to a target misfit" : "2: fixed beta"},
          {p.mode == 1 ? "chifact" : "beta",
           chosen ? fmt::format("chosen by the program: {:g}", run.iterations.front().row.beta)
                  : fmt::format("{:g}", p.par)},
          {"tolc", fmt::format("{:g}; read, not used", p.tolc)},
          {"Initial misfit", fmt::format("{:.5g}", run.initial_misfit)}};
}

/// The lines of the sidecar that stand nowhere else on the page, under names for people.
TableRows origin_rows(const FinishedRun& run) {
  constexpr std::array kElsewhere{
      "data",         "cells",       "inducing_field", "deviation_range",
      "coefficients", "compression", "mesh_file",      "data_file",
      "ground",       "program",     "warning",        kCoordinateSystem};
  const std::map<std::string_view, const char*> titles{{"scale_rule", "Scale of the cells (wtz)"},
                                                       {"row_error", "Compression error of a row"},
                                                       {"data_error", "Compression error of data"}};
  TableRows rows;
  for (const auto& [name, text] : run.origin) {
    if (std::find(kElsewhere.begin(), kElsewhere.end(), name) != kElsewhere.end()) continue;
    const auto known = titles.find(name);
    std::string title = known != titles.end() ? known->second : name;
    std::replace(title.begin(), title.end(), '_', ' ');
    if (title.front() >= 'a' && title.front() <= 'z') title.front() -= 'a' - 'A';
    rows.push_back({title, text});
  }
  return rows;
}

/// The programs that made the steps, with their versions.
std::string describe_programs(const FinishedRun& run) {
  const std::string matrix = info_text(run.origin, "program");
  return (matrix.empty() ? "" : matrix + " (sensitivities), ") +
         (run.version.empty() ? "" : fmt::format("{} {} (inversion), ", kProgram, run.version)) +
         fmt::format("qvx {} (report)", kVersion);
}

TableRows field_rows(const Observations& o) {
  const auto direction = [](double inclination, double declination) {
    return fmt::format("inclination {:g}\u00b0, declination {:g}\u00b0", inclination, declination);
  };
  return {
      {"Data", fmt::format("{}", o.ndata)},
      {"Inducing field", fmt::format("{:g} nT, {}", o.geomag, direction(o.incl, o.decl))},
      {"Anomaly direction", o.idir == 1 ? direction(o.aincl, o.adecl) : "a direction per datum"},
      {"Magnetisation",
       "induced by this one field and along it in every cell; remanence and self-demagnetisation "
       "are not modelled"}};
}

std::string describe_form(const FinishedRun& run) {
  const std::string compression = info_text(run.origin, "compression");
  if (!run.compressed) return "full";
  return "wavelet-compressed" + (compression.empty() ? "" : ": " + compression);
}

TableRows mesh_rows(const FinishedRun& run) {
  const Mesh& m = run.ground->mesh;
  const auto range = [](double from, double to) {
    return fmt::format("{:.10g} to {:.10g} m", from, to);
  };
  return {{"Cells", fmt::format("{} \u00d7 {} \u00d7 {} along easting, northing and depth; {} "
                                "ground cells",
                                m.ne, m.nn, m.nz, run.ground->cells())},
          {"Easting", range(m.easting_nodes.front(), m.easting_nodes.back())},
          {"Northing", range(m.northing_nodes.front(), m.northing_nodes.back())},
          {"Elevation", range(m.z0 - m.depth_nodes.back(), m.z0 - m.depth_nodes.front())},
          {"Coordinate system", run.crs.empty() ? "not known" : run.crs},
          {"Sensitivities", describe_form(run)}};
}

/// Square roots of alpha / alpha_s.
std::string describe_length_scales(const std::vector<double>& alphas) {
  if (alphas.empty() || !(alphas.front() > 0.0)) return "none, because there is no smallness";
  std::vector<std::string> lengths;
  for (auto alpha = alphas.begin() + 1; alpha != alphas.end(); ++alpha) {
    lengths.push_back(fmt::format("{:.4g}", std::sqrt(*alpha / alphas.front())));
  }
  return fmt::format("{} m", fmt::join(lengths, ", "));
}

TableRows model_rows(const FinishedRun& run, std::int64_t active_cells) {
  const InversionParameters& p = run.parameters;
  return {{"Initial model", describe_source(p.initialModel)},
          {"Reference model", describe_source(p.referenceModel) +
                                  (p.mrefInDerivatives ? ", also in the derivatives" : "")},
          {"Lower bound", describe_source(p.lowerBounds)},
          {"Upper bound", describe_source(p.upperBounds)},
          {"Alphas (s, e, n, z)", fmt::format("{:g}", fmt::join(run.alphas, ", "))},
          {"Length scales (e, n, z)", describe_length_scales(run.alphas)},
          {"3-D weights", is_null(p.weightFile) ? "none" : p.weightFile},
          {"Active cells", is_null(p.activeCellFile)
                               ? fmt::format("all {} ground cells", active_cells)
                               : fmt::format("{} of {} ground cells, {}", active_cells,
                                             run.ground->cells(), p.activeCellFile)}};
}

}  // namespace

std::string iso_date(const std::string& date) {
  if (date.size() < 11 || date[2] != '/' || date[5] != '/') return date;
  return fmt::format("{}-{}-{} {}", date.substr(6, 4), date.substr(0, 2), date.substr(3, 2),
                     trim(std::string_view(date).substr(10)));
}

std::string verdict_html(const Verdict& verdict) {
  std::string html = fmt::format(
      "<div class=\"verdict {}\"><span class=\"mark\">{}</span>\n<p class=\"headline\">{}</p>\n<p>",
      tone(verdict.level), escape_xml(verdict.mark), escape_xml(verdict.headline));
  for (const std::string& sentence : verdict.sentences) html += escape_xml(sentence) + " ";
  return html + "</p></div>\n";
}

std::string tiles_html(const RunFacts& f) {
  const ResidualStatistics& r = f.residuals;
  std::string html = "<dl class=\"tiles\">\n";
  html += tile("Misfit", fmt::format("{:.4g}", f.misfit),
               f.target ? fmt::format("target {:.4g}", *f.target) : "no target: beta was fixed");
  html += tile("Chi-squared per datum", fmt::format("{:.3g}", r.per_datum),
               fmt::format("of {} data; 1 for errors as stated", f.ndata));
  const bool earlier = f.iteration < f.iterations_made;
  html += tile("Iterations",
               earlier ? fmt::format("{} of {}", f.iteration, f.iterations_made)
                       : fmt::format("{}", f.iteration),
               earlier            ? "files of the last iteration are missing"
               : f.ended          ? "the run ended"
               : f.ending.empty() ? "the run has not ended"
                                  : "the run stopped early");
  html += tile("Cells at a bound", percent_of(f.at_bounds, f.active_cells),
               fmt::format("{} at the upper bound", f.at_upper));
  html += tile("Spatial correlation of residuals",
               r.correlation ? fmt::format("{:.2f}", r.correlation->correlation) : "unknown",
               r.correlation ? "0 for independent errors" : "too few data");
  html += tile("Susceptibility (SI)", fmt::format("{:.3g} to {:.3g}", f.model.min, f.model.max),
               fmt::format("median {:.3g}", f.model.median));
  return html + "</dl>\n";
}

std::string flags_html(const std::vector<RedFlag>& flags) {
  if (flags.empty()) {
    return "<ul class=\"flags\"><li class=\"good\"><span class=\"mark\">No red flags</span>"
           "<p>No noise fitted, residuals without a pattern, no susceptibility at the edge of the "
           "mesh or at the upper bound, cells no finer than the spacing of the data, no warning "
           "about stations or terrain.</p></li></ul>\n";
  }
  std::string html = "<ul class=\"flags\">\n";
  for (const RedFlag& flag : flags) {
    html += fmt::format(
        "<li class=\"warning\"><span class=\"mark\"><span aria-hidden=\"true\">\u2691 </span>{}"
        "</span><p>{}</p></li>\n",
        escape_xml(flag.title), escape_xml(flag.text));
  }
  return html + "</ul>\n";
}

std::string largest_residuals_html(const FinishedRun& run, const DataFit& fit,
                                   const std::vector<std::int32_t>& largest) {
  const Observations& observations = run.observations;
  const StationLabels& labels = run.labels;
  TableRows rows;
  for (const std::int32_t number : largest) {
    const std::size_t i = as_size(number - 1);
    rows.push_back(
        {fmt::format("{}", number), fmt::format("{:.2f}", observations.x[i]),
         fmt::format("{:.2f}", observations.y[i]), fmt::format("{:.2f}", observations.z[i]),
         fmt::format("{:.5g}", fit.observed[i]), fmt::format("{:.5g}", fit.predicted[i]),
         fmt::format("{:.4g}", observations.std[i]), fmt::format("{:+.2f}", fit.normalised[i])});
    if (!labels.line.empty()) rows.back().push_back(labels.line[i]);
    if (!labels.fiducial.empty()) rows.back().push_back(labels.fiducial[i]);
  }
  std::vector<std::string> heading{"Datum",
                                   "Easting (m)",
                                   "Northing (m)",
                                   "Elevation (m)",
                                   "Observed (nT)",
                                   "Predicted (nT)",
                                   "Standard deviation (nT)",
                                   "Residual / std. deviation"};
  if (!labels.line.empty()) heading.emplace_back("Line");
  if (!labels.fiducial.empty()) heading.emplace_back("Fiducial");
  return html_table("numbers", "Sorted by magnitude", heading, rows);
}

std::string iterations_html(const FinishedRun& run) {
  TableRows rows;
  for (const FinishedIteration& iteration : run.iterations) {
    const SummaryRow& r = iteration.row;
    rows.push_back({fmt::format("{}", r.iteration), fmt::format("{:.5e}", r.beta),
                    fmt::format("{:.5e}", r.misfit), fmt::format("{:.5e}", r.norm.total),
                    fmt::format("{:.3e}", r.norm.s), fmt::format("{:.3e}", r.norm.e),
                    fmt::format("{:.3e}", r.norm.n), fmt::format("{:.3e}", r.norm.z),
                    fmt::format("{}", r.cg_iterations), fmt::format("{}", r.cells_on_bound)});
  }
  return html_table("numbers", "One row per iteration",
                    {"Iteration", "beta", "Misfit", "Model norm", "Norm S", "Norm E", "Norm N",
                     "Norm Z", "CG iterations", "Cells on a bound"},
                    rows);
}

std::string parameters_html(const FinishedRun& run, std::int64_t active_cells) {
  TableRows rows;
  for (const TableRows& part :
       {run_rows(run), field_rows(run.observations), mesh_rows(run), origin_rows(run),
        model_rows(run, active_cells), TableRows{{"Programs", describe_programs(run)}}}) {
    rows.insert(rows.end(), part.begin(), part.end());
  }
  return html_table("", "Parameters", {}, rows);
}

std::string files_html(const FinishedRun& run) {
  const InversionParameters& p = run.parameters;
  TableRows rows{
      {"Input file", run.input_file}, {"Observations", p.obsFile}, {"Sensitivity file", p.mtxFile}};
  const auto add = [&](const char* what, const std::string& source) {
    if (!source.empty() && !constant_of(source) && !is_null(source)) rows.push_back({what, source});
  };
  add("Mesh", info_text(run.origin, "mesh_file"));
  add("Terrain", info_text(run.origin, "ground"));
  add("Initial model", p.initialModel);
  add("Reference model", p.referenceModel);
  add("Active cells", p.activeCellFile);
  add("Lower bound", p.lowerBounds);
  add("Upper bound", p.upperBounds);
  add("3-D weights", p.weightFile);
  rows.push_back({"Final model", run.iterations.back().model_file});
  rows.push_back({"Predicted data", run.iterations.back().predicted_file});
  rows.push_back({"Log and summary", path_in(run, kLogName) + ", " + path_in(run, kSummaryName)});
  return html_table("", "Files", {}, rows);
}

}  // namespace quorivex
