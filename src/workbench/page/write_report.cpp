// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/page/write_report.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>

#include "base/atomic_file.h"
#include "base/stop_run.h"
#include "base/text.h"
#include "inversion/input/program_name.h"
#include "workbench/appraisal/run_facts.h"
#include "workbench/appraisal/survey_lines.h"
#include "workbench/page/embedded_files.h"
#include "workbench/page/packed_values.h"
#include "workbench/page/page_frame.h"
#include "workbench/page/page_parts.h"
#include "workbench/results/iteration_files.h"

namespace quorivex {
namespace {

using Json = nlohmann::json;

constexpr std::size_t kNoteBytes = 1'000;  // the note on iterations that the page does not hold
constexpr std::size_t kNumberBytes = 16;   // an iteration in the list of those that it holds
constexpr const char* kLinks = R"(<a href="#verdict">Verdict</a>
    <a href="#model">Model</a>
    <a href="#profiles" id="to-profiles">Profiles</a>
    <a href="#data">Data</a>
    <a href="#iterations">Iterations</a>
    <a href="#parameters">Parameters</a>)";
constexpr std::array kLastDigits{kModelDigits, 5, 4, 3};
constexpr std::array kOtherDigits{kModelDigits, 4, 3, 2};

/// Model and predicted data of an iteration as script elements that no browser runs.
std::string iteration_element(std::int32_t number, const PackedModel& model,
                              const std::string& predicted) {
  return model_element(number, model) +
         fmt::format("<script type=\"text/plain\" id=\"predicted-{}\">{}</script>\n", number,
                     predicted);
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

/// Holds what fits into `budget` bytes: the last iteration, then all others with as many digits as
/// fit, or as many others as fit with the fewest digits.
HeldIterations hold_iterations(const FinishedRun& run, const std::vector<double>& last_model,
                               const std::vector<double>& last_predicted,
                               std::size_t max_iterations, std::size_t budget) {
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
  held.iterations = spread_iterations(run.iterations.size(), max_iterations);
  held.digits_others = held.digits_last;
  for (std::size_t i = 0; held.iterations.size() > 1;) {
    const bool fewest_digits = i + 1 == kOtherDigits.size();
    held.digits_others = std::min(kOtherDigits.at(i), held.digits_last);
    held.elements.clear();
    const std::size_t fit =
        add_others(run, held.iterations, held.digits_others, left, held.elements);
    if (fit + 1 == held.iterations.size()) break;
    if (fewest_digits) {
      held.iterations = spread_iterations(run.iterations.size(), fit + 1);
    } else {
      ++i;
    }
  }
  if (held.iterations.size() == 1) held.elements.clear();
  held.elements += last;
  return held;
}

/// Without the digits that multiplying by the standard deviation adds. Not std::stod, which throws
/// for values below the smallest normal number.
double nine_digits(double value) {
  return std::strtod(fmt::format("{:.9g}", value).c_str(), nullptr);
}

/// Stations, data, and the lines that profiles are drawn along.
Json survey_of(const FinishedRun& run, const DataFit& fit) {
  const Observations& o = run.observations;
  std::vector<double> observed = fit.observed;
  std::transform(observed.begin(), observed.end(), observed.begin(), nine_digits);
  Json lines = Json::array();
  for (const SurveyLine& line : survey_lines(o.x, o.y, run.labels.line)) {
    lines.push_back({{"name", line.name}, {"data", line.data}});
  }
  return {{"x", o.x},
          {"y", o.y},
          {"z", o.z},
          {"observed", observed},
          {"deviation", o.std},
          {"lines", lines},
          {"named", !run.labels.line.empty()},
          {"fiducials", run.labels.fiducial},
          {"strip", is_strip(o.x, o.y)}};
}

Json payload(const FinishedRun& run, const DataFit& fit) {
  Json iterations = Json::array();
  for (const FinishedIteration& iteration : run.iterations) {
    iterations.push_back(
        {{"number", iteration.row.iteration},
         {"beta", iteration.row.beta},
         {"misfit", iteration.row.misfit},
         {"norm", iteration.row.norm.total},
         {"modelFile", std::filesystem::path(iteration.model_file).filename().string()}});
  }
  return {{"mesh", mesh_payload(*run.ground)},
          {"survey", survey_of(run, fit)},
          {"target", run.target ? Json(*run.target) : Json(nullptr)},
          {"fileDigits", kModelDigits},
          {"iterations", iterations}};
}

std::string title_of(const FinishedRun& run) {
  return fmt::format("Report of {}", std::filesystem::path(run.input_file).filename().string());
}

std::string dates_of(const FinishedRun& run) {
  std::string dates = "Started on " + iso_date(run.started);
  if (!run.ended.empty()) dates += ", ended on " + iso_date(run.ended);
  return dates;
}

std::string model_note(const FinishedRun& run, const HeldIterations& held) {
  std::string note;
  if (held.digits_last < kModelDigits) {
    note = fmt::format("To keep this page small, susceptibilities are rounded to {} digits. ",
                       held.digits_last);
  }
  if (held.iterations.size() < run.iterations.size()) {
    note += fmt::format("This page holds the models of {} of {} iterations.",
                        held.iterations.size(), run.iterations.size());
  }
  return note;
}

std::string iterations_note(const FinishedRun& run) {
  std::string note =
      "The misfit should fall to its target while the model norm, the price of a rough model, "
      "grows. The ring marks the iteration that is shown.";
  for (const std::string& of_run : run.notes) note += " " + of_run;
  return note;
}

/// All of the page but what depends on the models that it holds.
PageValues values_of(const FinishedRun& run, const DataFit& fit, const Appraisal& appraisal) {
  const RunFacts& facts = appraisal.facts;
  PageValues values = frame_values({.command = "qvx report",
                                    .kicker = "Inversion of a magnetic survey for susceptibility",
                                    .title = title_of(run),
                                    .subtitle = dates_of(run),
                                    .first_part = "verdict",
                                    .links = kLinks,
                                    .scripts = report_scripts()});
  values.merge(
      PageValues{{"verdict", verdict_html(appraisal.verdict)},
                 {"tiles", tiles_html(facts)},
                 {"flags", flags_html(appraisal.flags)},
                 {"largest_residuals", largest_residuals_html(run, fit, facts.residuals.largest)},
                 {"iterations_note", escape_xml(iterations_note(run))},
                 {"iterations_table", iterations_html(run)},
                 {"parameters", parameters_html(run, facts.active_cells)},
                 {"files", files_html(run)},
                 {"model_note", ""}});
  return values;
}

}  // namespace

std::vector<std::size_t> spread_iterations(std::size_t count, std::size_t max) {
  std::vector<std::size_t> iterations;
  const std::size_t held = std::min(count, max);
  for (std::size_t i = 0; i + 1 < held; ++i) iterations.push_back(i * (count - 1) / (held - 1));
  iterations.push_back(count - 1);
  return iterations;
}

ReportWritten write_report(const FinishedRun& run, std::size_t max_iterations,
                           const std::string& output) {
  AtomicFile file(output);  // before any work, so that a folder without permission says so now
  const FinishedIteration& last = run.iterations.back();
  const std::vector<double> model = read_model(run, last);
  const DataFit fit = data_fit(run.observations, read_predicted(run, last));
  ReportWritten written;
  written.appraisal = appraise(collect_run_facts(run, model, fit));

  Json json = payload(run, fit);
  PageValues values = values_of(run, fit, written.appraisal);
  const std::size_t used = page_text(report_template(), values, json).size() + kNoteBytes;
  const HeldIterations held = hold_iterations(run, model, fit.predicted, max_iterations,
                                              kMaxBytes - std::min(kMaxBytes, used));
  json["held"] = Json::array();
  for (const std::size_t i : held.iterations) {
    json["held"].push_back(run.iterations[i].row.iteration);
    written.iterations.push_back(run.iterations[i].row.iteration);
  }
  values["model_note"] = escape_xml(model_note(run, held));
  values["elements"] = held.elements;
  const std::string page = page_text(report_template(), values, json);
  written.digits_last = held.digits_last;
  written.digits_others = held.digits_others;
  written.bytes = page.size();
  file.append(page);
  file.commit();
  return written;
}

}  // namespace quorivex
