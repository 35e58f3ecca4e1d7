// SPDX-License-Identifier: GPL-3.0-or-later
#include "fuzz/targets.h"

namespace quorivex::fuzz {

std::vector<Target> all_targets() {
  return {{"finished_run", finished_run},
          {"grid", grid},
          {"holes", holes},
          {"input", input},
          {"lists", lists},
          {"mesh", mesh},
          {"netcdf", netcdf},
          {"observations", observations},
          {"points", points},
          {"recipe", recipe},
          {"run", run},
          {"sensitivity", sensitivity},
          {"sidecar", sidecar},
          {"table", table},
          {"voxels", voxels}};
}

}  // namespace quorivex::fuzz
