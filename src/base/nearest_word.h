// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <vector>

namespace quorivex {

/// The only known word that begins with this one, or else the one that takes the fewest changes of
/// a letter to reach (letters added, taken away, replaced, or two neighbours exchanged); empty
/// where that is more than a third of its length, or more than three. Words that are known have
/// small letters, and those of the word count as such.
std::string nearest_word(const std::string& word, const std::vector<std::string>& known);

}  // namespace quorivex
