// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

#include "inversion/mesh_io/mesh.h"
#include "inversion/mesh_io/observations.h"
#include "workbench/survey/station_spacing.h"

namespace quorivex {

struct Interval {
  double min = 0.0;
  double max = 0.0;

  double width() const { return max - min; }
};

/// What a mesh is designed from. Lengths in metres.
struct SurveyShape {
  Interval easting;
  Interval northing;
  Interval elevation;
  StationSpacing stations;

  double longer() const { return std::max(easting.width(), northing.width()); }
  double shorter() const { return std::min(easting.width(), northing.width()); }
};

/// @throws StopRun when a coordinate is beyond a thousand million metres
SurveyShape survey_shape(const Observations& stations);

/// About how far apart the lines of a survey are (m), from its extents, its number of places and
/// their spacing; nothing where the stations stand evenly or on a single line.
std::optional<double> line_spacing(const SurveyShape& shape);

/// What the user asked for; the rest is chosen by `plan_mesh`.
struct MeshWishes {
  std::optional<double> cell, padding, top, first_layer, depth;
  double growth = 1.5;
  double layer_growth = 1.1;
  std::int32_t bottom_layers = 3;
};

/// A mesh in a few numbers. Lengths in metres.
struct MeshPlan {
  double cell = 0.0;         ///< width of the core cells
  double padding = 0.0;      ///< at least so far beyond the core on each side
  double growth = 0.0;       ///< of the padding cells outward and of the bottom layers downward
  double top = 0.0;          ///< elevation
  double first_layer = 0.0;  ///< thickness
  double layer_growth = 0.0;
  double depth = 0.0;              ///< of the layers below the top, at least
  std::int32_t bottom_layers = 0;  ///< below these
};

/// Chooses what was not asked for: core cells of half the station spacing; padding as wide as the
/// survey; a first layer of half a core cell; a top just below the lowest station; a depth of half
/// the survey's shorter side, or a quarter of its longer one if that is more.
/// @throws StopRun when the cell width cannot be taken from the stations
MeshPlan plan_mesh(const SurveyShape& shape, const MeshWishes& wishes);

/// The plan under a terrain with these elevations: the mesh top at its highest, up to a millimetre
/// above, and the depth counted from its lowest. What was asked for stays.
MeshPlan plan_under_terrain(MeshPlan plan, const MeshWishes& wishes, const Interval& terrain);

/// Core cells over all stations and half a cell more, on multiples of their width; beyond them
/// padding; layers down to the planned depth and below. All widths are whole millimetres.
/// @throws StopRun when that gives too many cells
Mesh design_mesh(const SurveyShape& shape, const MeshPlan& plan);

/// Rounded to at most three digits, the third 0 or 5, and to a millimetre.
double round_width(double metres);

/// Widths outward from a cell of this width, each `growth` times the one before it (rounded, never
/// less than it), until they cover `distance`.
std::vector<double> growing_widths(double width, double growth, double distance);

}  // namespace quorivex
