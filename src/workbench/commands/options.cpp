// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/commands/options.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <utility>

#include "base/nearest_word.h"
#include "base/stop_run.h"
#include "workbench/coordinates/crs.h"
#include "workbench/gdal/crs_definition.h"

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

CLI::Validator whole_number(std::int64_t min, std::int64_t max) {
  return {[=](const std::string& text) -> std::string {
            std::int64_t value = 0;
            const bool good = CLI::detail::lexical_cast(text, value);
            if (good && value >= min && value <= max) return "";
            return fmt::format("should be a whole number from {} to {}, not {}", min, max, text);
          },
          ""};
}

std::string list_of_words(const std::vector<std::string>& words, const std::string& conjunction) {
  std::string text;
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (i > 0) text += i + 1 == words.size() ? " " + conjunction + " " : ", ";
    text += words[i];
  }
  return text;
}

std::string in_braces(const std::vector<std::string>& words) {
  return fmt::format("{{{}}}", fmt::join(words, ","));
}

std::string not_one_of(const std::vector<std::string>& words, const std::string& word) {
  const std::string nearest = nearest_word(word, words);
  return fmt::format("should be {}, not {}{}", list_of_words(words, "or"), word,
                     nearest.empty() ? "" : "; did you mean " + nearest + "?");
}

CLI::Validator one_of(std::vector<std::string> words) {
  return {[words = std::move(words)](const std::string& text) -> std::string {
            if (std::find(words.begin(), words.end(), text) != words.end()) return "";
            return not_one_of(words, text);
          },
          ""};
}

CLI::Option* add_crs_option(CLI::App& command, std::string& crs, const std::string& without) {
  const auto check = [](std::string& text) -> std::string {
    const auto code = crs_code(text);
    if (!code) {
      return fmt::format("should be a code such as EPSG:32754 (UTM zone 54 south), not {}", text);
    }
    define_crs(*code);
    text = *code;
    return "";
  };
  return command
      .add_option("--crs", crs,
                  "Coordinate system of eastings and northings, such as\n"
                  "EPSG:32754, which the outputs pass on\n[" +
                      without + "]")
      ->type_name("EPSG:N")
      ->transform(CLI::Validator(check, ""));
}

std::string quote_if_needed(const std::string& name) {
  if (name.find_first_of(" \t'\"\\$&;()<>|*?[]#~`!") == std::string::npos) return name;
  std::string quoted = "'";
  for (const char c : name) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

}  // namespace quorivex
