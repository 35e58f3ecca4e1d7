// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "workbench/survey/thinning.h"

namespace quorivex {

/// The stations with one for each place, in the order of the first ones: field and standard
/// deviation are the means of those at the place, all else is the first one's.
Stations average_repeated(const Stations& stations);

}  // namespace quorivex
