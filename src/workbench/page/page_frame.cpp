// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/page/page_frame.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <vector>

#include "base/stop_run.h"
#include "base/text.h"
#include "inversion/input/program_name.h"
#include "workbench/page/embedded_files.h"

namespace quorivex {

std::string fill_template(std::string_view page_template, const PageValues& values) {
  std::string page;
  std::size_t at = 0;
  for (;;) {
    const std::size_t open = page_template.find("{{", at);
    const std::size_t close = page_template.find("}}", open);
    page += page_template.substr(at, open - at);
    if (open == std::string_view::npos) return page;
    require(close != std::string_view::npos, "page template: {{ without }}");
    const std::string_view name = page_template.substr(open + 2, close - open - 2);
    const auto value = values.find(name);
    require(value != values.end(), fmt::format("page template: no value for {}", name));
    page += value->second;
    at = close + 2;
  }
}

PageValues frame_values(const PageFrame& frame) {
  return {{"generator", fmt::format("{}, {} {}", frame.command, kProgram, kVersion)},
          {"kicker", escape_xml(frame.kicker)},
          {"title", escape_xml(frame.title)},
          {"subtitle", escape_xml(frame.subtitle)},
          {"first_part", frame.first_part},
          {"links", frame.links},
          {"style", std::string(page_style())},
          {"viewer", std::string(viewer_template())},
          {"library_licence", escape_xml(plotting_licence())},
          {"library", deflate_base64(plotting_library())},
          {"scripts", std::string(frame.scripts)},
          {"elements", ""}};
}

std::string page_text(std::string_view sections, PageValues& values,
                      const nlohmann::json& payload) {
  values["main"] = fill_template(sections, values);
  values["payload"] = deflate_base64(text_of(payload));
  return fill_template(page_template(), values);
}

std::string text_of(const nlohmann::json& json) {
  return json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

nlohmann::json mesh_payload(const Ground& ground) {
  const Mesh& mesh = ground.mesh;
  std::vector<double> elevations;
  for (const double depth : mesh.depth_nodes)
    elevations.insert(elevations.begin(), mesh.z0 - depth);
  nlohmann::json tops = nlohmann::json::array();
  for_each_column(ground, [&](const GridColumn& column) { tops.push_back(column.top); });
  return {{"nodes",
           {{"easting", mesh.easting_nodes},
            {"northing", mesh.northing_nodes},
            {"elevation", elevations}}},
          {"tops", tops}};
}

std::string model_element(std::int32_t number, const PackedModel& model) {
  return fmt::format(
      "<script type=\"text/plain\" id=\"model-{}\" data-digits=\"{}\" "
      "data-first-exponent=\"{}\">{}</script>\n",
      number, model.digits, model.first_exponent, model.text);
}

}  // namespace quorivex
