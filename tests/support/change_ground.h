// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "inversion/sensitivity/getpar.h"

namespace quorivex::test {

/// Gives a sensitivity file that was read another mesh or other column tops: change(Ground&).
template <class Change>
void change_ground(SensitivityFile& file, Change change) {
  Ground ground = *file.ground;
  change(ground);
  file.ground = share_ground(ground.mesh, ground.tops);
}

}  // namespace quorivex::test
