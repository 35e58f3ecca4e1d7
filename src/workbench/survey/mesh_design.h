// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

#include "inversion/mesh_io/mesh.h"
#include "inversion/mesh_io/observations.h"
#include "workbench/survey/station_spacing.h"
#include "workbench/terrain/terrain.h"

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

/// The terrain of a survey; metres.
struct SurveyTerrain {
  Interval mesh;           ///< its elevations on the whole mesh
  Interval survey;         ///< and below the survey
  double clearance = 0.0;  ///< median height of the stations above it
};

/// @param heights  of the stations above the terrain
SurveyTerrain survey_terrain(const Terrain& terrain, const Mesh& mesh, const Observations& stations,
                             const std::vector<double>& heights);

/// What the user asked for; the rest is chosen by `plan_mesh`.
struct MeshWishes {
  std::optional<double> cell, padding, top, first_layer, layer_growth, depth;
  double growth = 1.5;
  std::int32_t bottom_layers = 3;
};

/// Where the width of the core cells comes from.
enum class CellFrom { wish, stations, lines, extent, clearance };

/// A mesh in a few numbers. Lengths in metres.
struct MeshPlan {
  double cell = 0.0;  ///< width of the core cells
  CellFrom cell_from = CellFrom::wish;
  double padding = 0.0;      ///< at least so far beyond the core on each side
  double growth = 0.0;       ///< of the padding cells outward and of the bottom layers downward
  double top = 0.0;          ///< elevation
  double first_layer = 0.0;  ///< thickness of the thinnest layers
  double layer_growth = 0.0;
  Interval relief = {};            ///< depths below the top between which all layers are thin
  double depth = 0.0;              ///< of the layers below the top, at least
  std::int32_t bottom_layers = 0;  ///< below these
};

/// Chooses what was not asked for: core cells of a quarter of the distance between lines, though no
/// more than a twentieth of the survey's longer side, or of half the distance between stations,
/// whichever is more, and no less than half the clearance where it is known; padding as wide as the
/// survey; a first layer of half a core cell; a top just below the lowest station; a depth of half
/// the survey's shorter side, or a quarter of its longer one if that is more.
/// @throws StopRun when the cell width cannot be taken from the stations
MeshPlan plan_mesh(const SurveyShape& shape, const MeshWishes& wishes,
                   std::optional<double> clearance = {});

/// The plan under a terrain: the mesh top at its highest, up to a millimetre above, layers of equal
/// thickness through the relief below the survey, and the depth counted from its lowest. Where
/// there is relief the layers are at most a quarter of the clearance, and at least a tenth of a
/// core cell; layers that are thin for that reason grow faster below and above it. What was asked
/// for stays.
MeshPlan plan_under_terrain(MeshPlan plan, const MeshWishes& wishes, const SurveyTerrain& terrain);

/// Core cells over all stations and half a cell more, on multiples of their width; beyond them
/// padding; layers down to the planned depth and below, thin in the relief and thicker above and
/// below it. All widths are whole millimetres.
/// @throws StopRun when that gives too many cells
Mesh design_mesh(const SurveyShape& shape, const MeshPlan& plan);

/// Rounded to at most three digits, the third 0 or 5, and to a millimetre.
double round_width(double metres);

/// Widths outward from a cell of this width, each `growth` times the one before it (rounded, never
/// less than it), until they cover `distance`.
std::vector<double> growing_widths(double width, double growth, double distance);

}  // namespace quorivex
