// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "base/stop_run.h"

namespace quorivex {

/// "KEY=VALUE" or "KEY*=VALUE" of an operation.
struct Setting {
  std::string key;
  std::string value;
  bool multiplies = false;
};

/// A line of a recipe: a word, and what stands behind it. What the words mean is known to
/// operation_kinds.
struct Operation {
  std::string place;  ///< "recipe.txt, line 3" or "operation 3", for messages
  std::string text;   ///< as it was written
  std::string word;
  std::vector<Setting> settings;  ///< in their order, no key twice
};

/// Ends the command with the place of an operation, why it is wrong, and its text.
[[noreturn]] void refuse(const Operation& operation, const std::string& why);

/// Returns read(); where it stops the run, the message names the operation as well.
template <class Read>
auto read_for(const Operation& operation, Read read) {
  try {
    return read();
  } catch (const StopRun& stop) {
    std::string_view message = stop.message();
    if (message.starts_with("ERROR")) message.remove_prefix(message.find(' ') + 1);
    refuse(operation, std::string(message) + (stop.detail().empty() ? "" : "\n " + stop.detail()));
  }
}

/// Splits an operation into its words, which blanks separate; part of a word in double quotes may
/// hold blanks, and # at the beginning of a word begins a comment. Without a word nothing was
/// there.
/// @throws StopRun for what is no operation, naming the place
Operation parse_operation(std::string_view text, std::string place);

/// The operations of a file, one a line; blank lines and comments are skipped.
/// @throws StopRun naming the line that is wrong, also where there is no operation; file_not_found
std::vector<Operation> read_recipe(const std::string& name);

}  // namespace quorivex
