// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <vector>

namespace quorivex {

/// The known word that takes the fewest changes of a letter to reach (letters added, taken away,
/// replaced, or two neighbours exchanged); empty where that is more than a third of its length, or
/// more than three.
std::string nearest_word(const std::string& word, const std::vector<std::string>& known);

}  // namespace quorivex
