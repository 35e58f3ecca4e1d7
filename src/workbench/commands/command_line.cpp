// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/commands/command_line.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "base/nearest_word.h"
#include "base/text.h"
#include "workbench/commands/options.h"

namespace quorivex {
namespace {

std::vector<std::string> option_names(const CLI::App& command) {
  std::vector<std::string> names;
  for (const CLI::Option* option : command.get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  }
  return names;
}

bool contains(const std::vector<std::string>& words, const std::string& word) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

/// Without dashes at its beginning, also the long ones that word processors make of two.
std::string without_dashes(std::string_view word) {
  constexpr std::array<std::string_view, 3> kDashes{"-", "\u2013", "\u2014"};
  for (bool again = true; again;) {
    again = false;
    for (const std::string_view dash : kDashes) {
      if (!word.starts_with(dash)) continue;
      word.remove_prefix(dash.size());
      again = true;
    }
  }
  return std::string(word);
}

bool has_dashes(const std::string& word) { return without_dashes(word).size() < word.size(); }

/// The option that a word may stand for: "--mesh" of "-mesh=a.txt" and "mesh".
std::string as_option(const std::string& word) {
  return "--" + lower_case(without_dashes(word.substr(0, word.find('='))));
}

/// "qvx input and qvx continue", the subcommands that have this option.
std::string owners(const CLI::App& qvx, const std::string& option) {
  std::vector<std::string> names;
  for (const CLI::App* command : qvx.get_subcommands({})) {
    if (contains(option_names(*command), option)) {
      names.push_back(qvx.get_name() + " " + command->get_name());
    }
  }
  return list_of_words(names, "and");
}

/// What is wrong with an argument that no option takes; `command` is "qvx mesh".
std::string unknown_argument(const CLI::App& qvx, const CLI::App& app, const std::string& command,
                             const std::string& word) {
  const std::string option = as_option(word);
  const std::vector<std::string> known = option_names(app);
  const std::string list = fmt::format(" Run {} --help for a list.", command);
  if (!has_dashes(word)) {
    if (contains(known, option)) return fmt::format("{}: did you mean {}?{}", word, option, list);
    return fmt::format(
        "Nothing takes the argument {}: the option before it is missing, or quotes around a name\n"
        "with blanks.{}",
        word, list);
  }
  const std::string nearest = nearest_word(option, known);
  const std::string others = contains(known, option) ? "" : owners(qvx, option);
  return fmt::format("There is no option {}{}{}{}", word.substr(0, word.find('=')),
                     nearest.empty() ? "." : "; did you mean " + nearest + "?",
                     others.empty() ? "" : fmt::format(" {} belongs to {}.", option, others), list);
}

/// The first argument left over, rather one that looks like an option; empty without any.
std::string leftover(const CLI::App& app) {
  const std::vector<std::string> words = app.remaining();
  const auto option = std::find_if(words.begin(), words.end(), has_dashes);
  if (option != words.end()) return *option;
  return words.empty() ? "" : words.front();
}

/// "--data FILE", or "RUN.inp" of a positional.
std::string with_value(const CLI::Option& option) {
  return option.get_positional() ? option.get_name()
                                 : option.get_name() + " " + option.get_type_name();
}

/// "--data FILE and --output FILE": what must be there and is not.
std::string missing(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::Option* option : app.get_options()) {
    if (option->get_required() && option->count() == 0) names.push_back(with_value(*option));
  }
  return list_of_words(names, "and");
}

/// An option that took the name of the next one for its value; null without any.
const CLI::Option* without_value(const CLI::App& app) {
  const std::vector<std::string> known = option_names(app);
  for (const CLI::Option* option : app.get_options()) {
    for (const std::string& value : option->results()) {
      if (contains(known, value)) return option;
    }
  }
  return nullptr;
}

std::string needs_value(const CLI::Option& option) {
  return fmt::format("{} needs a value: {}.", option.get_name(), with_value(option));
}

/// Of an option with too few or too many values.
std::string wrong_count(const CLI::App& app, const std::string& message) {
  const std::string name = message.substr(0, message.find(':'));
  const CLI::Option* option = app.get_option_no_throw(name);
  if (option == nullptr) return message;
  const auto given = static_cast<int>(option->count());
  const int most = option->get_items_expected_max();
  if (most == 1 && given > 1) return fmt::format("{} is given {} times.", name, given);
  if (most == 1 || given == 0) return needs_value(*option);
  return fmt::format("{} needs {} values, {}, not {}.", name, most, option->get_type_name(), given);
}

}  // namespace

std::vector<std::string> arguments_of(int argc, char** argv) {
  std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
  if (words.empty() || !contains({"help", "-h", "--help"}, words.front())) return words;
  if (words.size() == 1) return {"--help"};
  return {words[1], "--help"};
}

std::string wrong_first_word(const CLI::App& qvx, const std::string& word) {
  std::vector<std::string> known = option_names(qvx);
  for (const CLI::App* command : qvx.get_subcommands({})) known.push_back(command->get_name());
  if (contains(known, word)) return "";
  const std::string& program = qvx.get_name();
  const std::string option = as_option(word);
  if (has_dashes(word) && !owners(qvx, option).empty()) {
    return fmt::format(
        "Options follow the subcommand: {0} SUBCOMMAND {1}. Run {0} --help for a list.", program,
        option);
  }
  known.emplace_back("help");
  std::string nearest = nearest_word(word, known);
  if (nearest.empty()) nearest = nearest_word(without_dashes(word), known);
  return fmt::format("There is no {} {}{} Run {} --help for a list.",
                     has_dashes(word) ? "option" : "subcommand", word.empty() ? "''" : word,
                     nearest.empty() ? "." : "; did you mean " + nearest + "?", program);
}

std::string explain_error(const CLI::App& qvx, const CLI::ParseError& error) {
  const std::vector<CLI::App*> chosen = qvx.get_subcommands();
  const CLI::App& app = chosen.empty() ? qvx : *chosen.front();
  const std::string command =
      chosen.empty() ? qvx.get_name() : qvx.get_name() + " " + app.get_name();
  const CLI::Option* greedy = without_value(app);
  const std::string word = leftover(app);
  if (greedy == nullptr && !word.empty()) return unknown_argument(qvx, app, command, word);
  std::string what = error.what();
  if (greedy != nullptr) {
    what = needs_value(*greedy);
  } else if (error.get_name() == "RequiredError" && !missing(app).empty()) {
    what = fmt::format("{} needs {}.", command, missing(app));
  } else if (error.get_name() == "ArgumentMismatch") {
    what = wrong_count(app, what);
  } else if (!what.ends_with('.') && !what.ends_with('?')) {
    what += '.';
  }
  return fmt::format("{}\nRun {} --help for all options and examples.", what, command);
}

}  // namespace quorivex
