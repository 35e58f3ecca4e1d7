// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorivex {

// A coordinate reference system (CRS) is known by its code, "EPSG:32754". An empty text stands for
// one that is not known.

/// "EPSG:32754" from "EPSG:32754", "epsg:32754" or the like; nothing where the text is no such
/// code.
std::optional<std::string> crs_code(std::string_view text);

/// A code and who says so: "--crs", "survey.mag", "the terrain dem.tif".
struct CrsSource {
  std::string crs;
  std::string from;
};

/// The code of the sources that know one; empty where none does.
/// @throws StopRun naming the first two that differ
std::string common_crs(const std::vector<CrsSource>& sources);

/// "coordinate system: EPSG:32754", for comments and reports.
std::string crs_remark(const std::string& crs);

/// What a remark in the comments at the head of an observations file says; empty without one, and
/// for a file that cannot be opened. @throws StopRun for two that differ
std::string crs_of_observations(const std::string& name);

}  // namespace quorivex
