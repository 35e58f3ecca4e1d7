// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "workbench/model/recipe_text.h"
#include "workbench/model/selection.h"

namespace quorivex {

/// ellipsoid centre=E,N,Z axes=A,B,C azimuth=.. dip=..: A, B and C are the semi-axes. A points to
/// the azimuth (clockwise from north) and plunges by the dip; B is horizontal, to the right of it;
/// C is at right angles to both, upward where A is horizontal.
Selection select_ellipsoid(const Operation& operation, const ModelSources& sources);

/// slab centre=E,N,Z strike=.. dip=.. length=.. extent=.. thickness=..: the whole length along the
/// strike (clockwise from north), the whole extent down the dip, which is to the right of the
/// strike, and the thickness at right angles to both.
Selection select_slab(const Operation& operation, const ModelSources& sources);

}  // namespace quorivex
