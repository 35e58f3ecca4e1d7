// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/commands/options.h"

#include <fmt/format.h>

namespace quorivex {

CLI::Validator number(double min, double max) {
  return {[=](const std::string& text) -> std::string {
            double value = 0.0;
            const bool good = CLI::detail::lexical_cast(text, value);
            if (good && value >= min && value <= max) return "";  // false for NaN
            return fmt::format("should be a number from {} to {}, not {}", min, max, text);
          },
          ""};
}

}  // namespace quorivex
