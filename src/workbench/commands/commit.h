// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace quorivex {

/// The commit that the program was built from, "406a428" or "406a428, changed"; empty where it is
/// not known. cmake/commit.cmake writes its definition.
extern const char* const kCommit;

}  // namespace quorivex
