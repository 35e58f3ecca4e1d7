// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/page/write_models_page.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <numeric>

#include "base/atomic_file.h"
#include "base/text.h"
#include "workbench/page/embedded_files.h"
#include "workbench/page/html_table.h"
#include "workbench/page/page_frame.h"
#include "workbench/results/iteration_files.h"

namespace quorivex {
namespace {

constexpr int kFewestDigits = 2;
constexpr const char* kModelsLinks = R"(<a href="#model">Sections</a>
    <a href="#values">Values</a>)";

std::string describe_cells(const Ground& ground) {
  const Mesh& mesh = ground.mesh;
  return fmt::format("{} columns, {} rows and {} layers; {} ground cells, {} of air", mesh.ne,
                     mesh.nn, mesh.nz, ground.cells(), ground.air_cells());
}

/// Name, unit, minimum, mean, maximum, and how many ground cells have no value.
std::vector<std::string> row_of(const ShownModel& model, const Ground& ground) {
  double min = std::numeric_limits<double>::infinity();
  double max = -min;
  double mean = 0.0;  // of the values so far: a sum may be too large
  std::int64_t count = 0;
  for_each_ground_cell(ground, [&](const GridCell& at) {
    const double value = model.values[as_size(at.cell - 1)];
    if (std::isnan(value)) return;
    min = std::min(min, value);
    max = std::max(max, value);
    ++count;
    const double share = 1.0 / static_cast<double>(count);
    mean += value * share - mean * share;
  });
  return {model.name,
          model.unit,
          fmt::format("{:.6g}", min),
          fmt::format("{:.6g}", mean),
          fmt::format("{:.6g}", max),
          fmt::format("{}", ground.cells() - count)};
}

std::string values_html(const ModelsPage& page) {
  TableRows rows;
  for (const ShownModel& model : page.models) rows.push_back(row_of(model, *page.ground));
  return html_table("numbers named",
                    "All ground cells, each counted once; of a weight on faces, a cell has the "
                    "mean of its own faces",
                    {"Model", "Unit", "Minimum", "Mean", "Maximum", "Cells without a value"}, rows);
}

nlohmann::json payload_of(const ModelsPage& page) {
  using Json = nlohmann::json;
  Json models = Json::array();
  for (const ShownModel& model : page.models)
    models.push_back({{"name", model.name}, {"unit", model.unit}});
  const auto of_stations = [&](std::vector<double> Observations::*list) {
    return page.data ? Json(page.data->*list) : Json::array();
  };
  return {{"mesh", mesh_payload(*page.ground)},
          {"stations",
           {{"x", of_stations(&Observations::x)},
            {"y", of_stations(&Observations::y)},
            {"z", of_stations(&Observations::z)}}},
          {"fileDigits", kModelDigits},
          {"models", models}};
}

/// Takes digits from the model that needs most room, until all fit into `budget` bytes.
std::vector<PackedModel> pack_models(const ModelsPage& page, std::size_t budget) {
  std::vector<PackedModel> packed;
  std::size_t bytes = 0;
  for (const ShownModel& model : page.models) {
    packed.push_back(pack_model(model.values, *page.ground, kModelDigits));
    bytes += packed.back().text.size();
  }
  while (bytes > budget) {
    const auto room = [](const PackedModel& model) {
      return model.digits > kFewestDigits ? model.text.size() : 0;
    };
    const auto largest =
        std::max_element(packed.begin(), packed.end(),
                         [&](const auto& a, const auto& b) { return room(a) < room(b); });
    if (room(*largest) == 0) break;
    bytes -= largest->text.size();
    const auto& values = page.models[as_size(largest - packed.begin())].values;
    *largest = pack_model(values, *page.ground, largest->digits - 1);
    bytes += largest->text.size();
  }
  return packed;
}

}  // namespace

ModelsPageWritten write_models_page(const ModelsPage& page, const std::string& output) {
  AtomicFile file(output);  // before any work, so that a folder without permission says so now
  PageValues values = frame_values({.command = "qvx model",
                                    .kicker = "Models on the cells of a mesh",
                                    .title = page.title,
                                    .subtitle = describe_cells(*page.ground),
                                    .first_part = "model",
                                    .links = kModelsLinks,
                                    .scripts = models_scripts()});
  values["values"] = values_html(page);
  const nlohmann::json payload = payload_of(page);
  const PackedModel none;
  const std::size_t used = page_text(models_template(), values, payload).size() +
                           page.models.size() * model_element(99'999, none).size();
  ModelsPageWritten written;
  std::string& elements = values["elements"];
  for (const PackedModel& model : pack_models(page, kMaxBytes - std::min(kMaxBytes, used))) {
    written.digits.push_back(model.digits);
    elements += model_element(static_cast<std::int32_t>(written.digits.size()), model);
  }
  const std::string text = page_text(models_template(), values, payload);
  written.bytes = text.size();
  file.append(text);
  file.commit();
  return written;
}

}  // namespace quorivex
