// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/model/recipe_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <utility>

#include "base/memory.h"
#include "base/stop_run.h"
#include "base/text_faults.h"
#include "base/text_file.h"
#include "workbench/tables/row_faults.h"

namespace quorivex {
namespace {

constexpr std::size_t kMaxOperation = 10'000;  // characters
constexpr const char* kBlankCharacters = " \t\r\n\v\f";

/// The words of an operation without their quotes; a comment is left out.
std::vector<std::string> words_of(const Operation& operation) {
  std::vector<std::string> words;
  bool quoted = false;
  bool in_word = false;
  for (const char c : operation.text) {
    const bool blank = std::string_view(kBlankCharacters).find(c) != std::string_view::npos;
    if (!quoted && blank) {
      in_word = false;
      continue;
    }
    if (!in_word) {
      if (c == '#') break;
      words.emplace_back();
      in_word = true;
    }
    if (c == '"') {
      quoted = !quoted;
    } else {
      words.back() += c;
    }
  }
  if (quoted) refuse(operation, "a quote is not closed");
  return words;
}

Setting setting_of(const Operation& operation, const std::string& word) {
  const std::size_t equals = word.find('=');
  if (equals == std::string::npos) {
    refuse(operation,
           fmt::format("{} should be KEY=VALUE, without blanks around the =", excerpt(word)));
  }
  Setting setting{.key = word.substr(0, equals), .value = word.substr(equals + 1)};
  if (setting.key.ends_with('*')) {
    setting.multiplies = true;
    setting.key.pop_back();
  }
  if (setting.key.empty() || setting.value.empty()) {
    refuse(operation, fmt::format("{} should have a key before the = and a value after it, without "
                                  "blanks",
                                  excerpt(word)));
  }
  return setting;
}

}  // namespace

void refuse(const Operation& operation, const std::string& why) {
  const bool ended =
      why.ends_with('?') || why.ends_with('.') || why.find('\n') != std::string::npos;
  stop_run(fmt::format(" ERROR: {}: {}{}\n    {}", operation.place, why, ended ? "" : ".",
                       excerpt(operation.text)));
}

Operation parse_operation(std::string_view text, std::string place) {
  Operation operation{
      .place = std::move(place), .text = std::string(text), .word = {}, .settings = {}};
  if (text.size() >= kMaxOperation) {
    refuse(operation, fmt::format("an operation has less than {} characters", kMaxOperation));
  }
  const std::vector<std::string> words = words_of(operation);
  if (words.empty()) return operation;
  operation.word = words.front();
  for (auto word = words.begin() + 1; word != words.end(); ++word) {
    Setting setting = setting_of(operation, *word);
    const bool twice = std::any_of(operation.settings.begin(), operation.settings.end(),
                                   [&](const Setting& other) { return other.key == setting.key; });
    if (twice) refuse(operation, fmt::format("{} is given twice", excerpt(setting.key)));
    operation.settings.push_back(std::move(setting));
  }
  return operation;
}

std::vector<Operation> read_recipe(const std::string& name) {
  std::optional<TextFile> file = TextFile::open(name);
  if (!file) cannot_open("recipe", name);
  std::vector<Operation> operations;
  std::string line;
  for (std::int64_t number = 1; file->read_line(line, kMaxOperation); ++number) {
    if (number == 1) {
      if (const std::string format = foreign_format(line); !format.empty())
        stop_run(fmt::format(" ERROR: the recipe {} {}.", name, format));
    }
    Operation operation = parse_operation(line, fmt::format("{}, line {}", name, number));
    if (!operation.word.empty()) append_checked(operations, std::move(operation));
  }
  if (operations.empty()) {
    stop_run(fmt::format(
        " ERROR: the recipe {} holds no operation, such as\n    all reference=0.01", name));
  }
  return operations;
}

}  // namespace quorivex
