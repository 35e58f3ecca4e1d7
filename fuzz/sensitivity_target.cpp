// SPDX-License-Identifier: GPL-3.0-or-later
#include "fuzz/outcome.h"
#include "fuzz/scratch.h"
#include "fuzz/targets.h"
#include "inversion/sensitivity/getpar.h"
#include "records.h"
#include "workbench/check/sensitivity_summary.h"

namespace quorivex::fuzz {

std::string sensitivity(std::string_view bytes) {
  const std::string name = scratch_file(bytes);
  return printable_outcome([&] {
    const SensitivityFile read = getpar(name);
    std::string found = describe_sensitivity(name, read);
    for (const std::string& fault : find_matrix_faults(read)) found += printable(fault);
    return found + test::record(read.sens.wtz, read.sens.norms, read.sens.gdiag);
  });
}

}  // namespace quorivex::fuzz
