// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <vector>

namespace quorivex {

using TableRows = std::vector<std::vector<std::string>>;

/// A table whose first column names its rows; `kind` is its class in page.css.
std::string html_table(const char* kind, const std::string& caption,
                       const std::vector<std::string>& heading, const TableRows& rows);

}  // namespace quorivex
