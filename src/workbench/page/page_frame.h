// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "inversion/mesh_io/ground.h"
#include "workbench/page/packed_values.h"

namespace quorivex {

// What all pages have in common, whatever they show.

/// What stands for each {{name}} of a template.
using PageValues = std::map<std::string_view, std::string>;

/// The template with each {{name}} replaced; a {{name}} within a value stays as it is.
/// @throws StopRun for a name without a value
std::string fill_template(std::string_view page_template, const PageValues& values);

/// Plain text but the links, which are elements.
struct PageFrame {
  std::string command;  ///< that writes the page
  std::string kicker;   ///< above the title
  std::string title;
  std::string subtitle;
  std::string first_part;  ///< id of the first section
  std::string links;       ///< to the sections
  std::string_view scripts;
};

/// The values of page.html but "main" and "payload"; there are no "elements" yet.
PageValues frame_values(const PageFrame& frame);

/// The page whose sections are the template's.
std::string page_text(std::string_view sections, PageValues& values, const nlohmann::json& payload);

/// The text of a payload; bytes that are not UTF-8 are replaced.
std::string text_of(const nlohmann::json& json);

/// Faces of the cells and tops of the columns, as the scripts take them.
nlohmann::json mesh_payload(const Ground& ground);

/// A model as a script element that no browser runs.
std::string model_element(std::int32_t number, const PackedModel& model);

}  // namespace quorivex
