// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <string_view>

#include "scratch_folder.h"

namespace quorivex::fuzz {

/// The folder of this process for the files that readers open by name; TMPDIR says where. It is
/// removed when the process ends, unless by a fault.
const test::ScratchFolder& scratch();

/// A file there with these bytes.
std::string scratch_file(std::string_view bytes);

}  // namespace quorivex::fuzz
