// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/page/write_report.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <filesystem>

#include "base/atomic_file.h"
#include "base/stop_run.h"
#include "inversion/input/program_name.h"
#include "workbench/appraisal/run_facts.h"
#include "workbench/page/embedded_files.h"
#include "workbench/page/packed_values.h"
#include "workbench/page/page_parts.h"
#include "workbench/results/iteration_files.h"

namespace quorivex {
namespace {

using Json = nlohmann::json;

constexpr std::size_t kWordsBytes =
    1'000;                                // what the page says of iterations that it does not hold
constexpr std::size_t kNumberBytes = 16;  // an iteration in the list of those that it holds
constexpr std::array kLastDigits{kFileDigits, 5, 4, 3};
constexpr std::array kOtherDigits{kFileDigits, 4, 3, 2};

std::string text_of(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

/// Model and predicted data of an iteration as script elements that no browser runs.
std::string iteration_element(std::int32_t number, const PackedModel& model,
                              const std::string& predicted) {
  return fmt::format(
      "<script type=\"text/plain\" id=\"model-{0}\" data-digits=\"{1}\" "
      "data-first-exponent=\"{2}\">{3}</script>\n"
      "<script type=\"text/plain\" id=\"predicted-{0}\">{4}</script>\n",
      number, model.digits, model.first_exponent, model.text, predicted);
}

/// The models of a page, with what was left out to keep it small.
struct HeldIterations {
  std::vector<std::size_t> iterations;  ///< indices, in order
  int digits_last = 0;
  int digits_others = 0;
  std::string elements;
};

std::string packed_data(const std::vector<double>& predicted) {
  return deflate_base64(text_of(Json(predicted)));
}

/// Adds the elements of iterations before the last one as long as they fit into `budget` bytes;
/// returns how many did.
std::size_t add_others(const FinishedRun& run, const std::vector<std::size_t>& iterations,
                       int digits, std::size_t budget, std::string& elements) {
  std::size_t added = 0;
  for (; added + 1 < iterations.size(); ++added) {
    const FinishedIteration& iteration = run.iterations[iterations[added]];
    const std::string element = iteration_element(
        iteration.row.iteration, pack_model(read_model(run, iteration), *run.ground, digits),
        packed_data(read_predicted(run, iteration)));
    if (elements.size() + element.size() + (added + 1) * kNumberBytes > budget) break;
    elements += element;
  }
  return added;
}

/// Holds what fits into `budget` bytes: the last iteration, then the others with as many digits as
/// allow for all of them, then as many as fit with the fewest digits.
HeldIterations hold_iterations(const FinishedRun& run, const std::vector<double>& last_model,
                               const std::vector<double>& last_predicted,
                               std::size_t most_iterations, std::size_t budget) {
  HeldIterations held;
  const std::string data = packed_data(last_predicted);
  std::string last;
  for (const int digits : kLastDigits) {
    last = iteration_element(run.iterations.back().row.iteration,
                             pack_model(last_model, *run.ground, digits), data);
    held.digits_last = digits;
    if (last.size() <= budget) break;
  }
  const std::size_t left = budget - std::min(budget, last.size());
  held.iterations = spread_iterations(run.iterations.size(), most_iterations);
  held.digits_others = held.digits_last;
  for (std::size_t i = 0; held.iterations.size() > 1;) {
    const bool fewest = i + 1 == kOtherDigits.size();
    held.digits_others = std::min(kOtherDigits.at(i), held.digits_last);
    held.elements.clear();
    const std::size_t fit =
        add_others(run, held.iterations, held.digits_others, left, held.elements);
    if (fit + 1 == held.iterations.size()) break;
    if (fewest) {
      held.iterations = spread_iterations(run.iterations.size(), fit + 1);
    } else {
      ++i;
    }
  }
  if (held.iterations.size() == 1) held.elements.clear();
  held.elements += last;
  return held;
}

/// Without the digits that multiplying by the standard deviation adds.
double nine_digits(double value) { return std::stod(fmt::format("{:.9g}", value)); }

Json payload(const FinishedRun& run, const DataFit& fit) {
  const Mesh& mesh = run.ground->mesh;
  std::vector<double> elevations;
  for (const double depth : mesh.depth_nodes)
    elevations.insert(elevations.begin(), mesh.z0 - depth);
  Json tops = Json::array();
  for_each_column(*run.ground, [&](const GridColumn& column) { tops.push_back(column.top); });
  std::vector<double> observed = fit.observed;
  std::transform(observed.begin(), observed.end(), observed.begin(), nine_digits);
  Json iterations = Json::array();
  for (const FinishedIteration& iteration : run.iterations) {
    iterations.push_back(
        {{"number", iteration.row.iteration},
         {"beta", iteration.row.beta},
         {"misfit", iteration.row.misfit},
         {"norm", iteration.row.norm.total},
         {"modelFile", std::filesystem::path(iteration.model_file).filename().string()}});
  }
  const Observations& o = run.observations;
  return {{"mesh",
           {{"nodes",
             {{"easting", mesh.easting_nodes},
              {"northing", mesh.northing_nodes},
              {"elevation", elevations}}},
            {"tops", tops}}},
          {"survey",
           {{"x", o.x}, {"y", o.y}, {"z", o.z}, {"observed", observed}, {"deviation", o.std}}},
          {"target", run.target ? Json(*run.target) : Json(nullptr)},
          {"fileDigits", kFileDigits},
          {"iterations", iterations}};
}

std::string title_of(const FinishedRun& run) {
  return fmt::format("Report of {}", std::filesystem::path(run.input_file).filename().string());
}

std::string dates_of(const FinishedRun& run) {
  std::string dates = "Started on " + run.started;
  if (!run.ended.empty()) dates += ", ended on " + run.ended;
  return dates;
}

std::string model_words(const FinishedRun& run, const HeldIterations& held) {
  std::string words;
  if (held.digits_last < kFileDigits) {
    words = fmt::format("To keep this page small, susceptibilities are rounded to {} digits. ",
                        held.digits_last);
  }
  if (held.iterations.size() < run.iterations.size()) {
    words += fmt::format("This page holds the models of {} of {} iterations.",
                         held.iterations.size(), run.iterations.size());
  }
  return words;
}

std::string iterations_words(const FinishedRun& run) {
  std::string words =
      "The misfit should fall to its target while the model norm, the price of a rough model, "
      "grows. The ring marks the iteration that is shown.";
  for (const std::string& note : run.notes) words += " " + note;
  return words;
}

}  // namespace

std::vector<std::size_t> spread_iterations(std::size_t count, std::size_t most) {
  std::vector<std::size_t> iterations;
  const std::size_t held = std::min(count, most);
  for (std::size_t i = 0; i + 1 < held; ++i) iterations.push_back(i * (count - 1) / (held - 1));
  iterations.push_back(count - 1);
  return iterations;
}

ReportWritten write_report(const FinishedRun& run, std::size_t most_iterations,
                           const std::string& output) {
  AtomicFile file(output);  // before any work, so that a folder without permission says so now
  const FinishedIteration& last = run.iterations.back();
  const std::vector<double> model = read_model(run, last);
  const DataFit fit = data_fit(run.observations, read_predicted(run, last));
  const RunFacts findings = collect_run_facts(run, model, fit);
  ReportWritten written;
  written.flags = red_flags(findings);
  written.verdict = verdict(findings, written.flags.size());

  Json json = payload(run, fit);
  const std::string generator = fmt::format("qvx report, {} {}", kProgram, kVersion);
  const std::string title = escaped(title_of(run));
  const std::string dates = escaped(dates_of(run));
  const std::string about_iterations = escaped(iterations_words(run));
  const std::string verdict_part = verdict_html(written.verdict);
  const std::string tiles = tiles_html(findings);
  const std::string flags = flags_html(written.flags);
  const std::string largest =
      largest_residuals_html(run.observations, fit, findings.residuals.largest);
  const std::string iterations = iterations_html(run);
  const std::string parameters = parameters_html(run, findings.active_cells);
  const std::string files = files_html(run);
  const std::string licence = escaped(plotting_licence());
  const std::string library = deflate_base64(plotting_library());
  const auto page_with = [&](const std::string& words, const std::string& models) {
    const std::string data = deflate_base64(text_of(json));
    return filled(page_template(), {{"generator", generator},
                                    {"title", title},
                                    {"dates", dates},
                                    {"style", page_style()},
                                    {"verdict", verdict_part},
                                    {"tiles", tiles},
                                    {"flags", flags},
                                    {"model_words", words},
                                    {"largest_residuals", largest},
                                    {"iterations_words", about_iterations},
                                    {"iterations_table", iterations},
                                    {"parameters", parameters},
                                    {"files", files},
                                    {"library_licence", licence},
                                    {"library", library},
                                    {"payload", data},
                                    {"models", models},
                                    {"scripts", page_scripts()}});
  };
  const std::size_t used = page_with("", "").size() + kWordsBytes;
  const HeldIterations held = hold_iterations(run, model, fit.predicted, most_iterations,
                                              kMaxBytes - std::min(kMaxBytes, used));
  json["held"] = Json::array();
  for (const std::size_t p : held.iterations) {
    json["held"].push_back(run.iterations[p].row.iteration);
    written.iterations.push_back(run.iterations[p].row.iteration);
  }
  written.digits_last = held.digits_last;
  written.digits_others = held.digits_others;
  const std::string page = page_with(escaped(model_words(run, held)), held.elements);
  written.bytes = page.size();
  file.append(page);
  file.commit();
  return written;
}

}  // namespace quorivex
