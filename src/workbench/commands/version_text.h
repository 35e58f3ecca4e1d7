// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

namespace quorivex {

/// "qvx 0.1.0 (commit 406a428)", then what the program was compiled with, in lines of 80 columns.
std::string version_text(const std::string& program);

}  // namespace quorivex
