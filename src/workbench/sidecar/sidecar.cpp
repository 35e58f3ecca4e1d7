// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/sidecar/sidecar.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <utility>

#include "base/fixed_format.h"
#include "base/stop_run.h"
#include "base/text_file.h"

namespace quorivex {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMaxLine = 2000;
constexpr std::size_t kMaxInfoLines = 1000;

constexpr const char* kHead =
    "! What the sensitivity file of the same name was made of, written with it by qvx "
    "sensitivity.\n"
    "! The fingerprints stand for the numbers of each part (XXH3, 64 bits). qvx check compares "
    "them\n"
    "! with what a run reads. Recompute the sensitivity file rather than change this one.\n";

const std::vector<std::string>& part_names() {
  static const std::vector<std::string> kNames = [] {
    std::vector<std::string> names;
    for (const auto& parts : {matrix_parts(Ground{}, {}, {}, {}), survey_parts({})}) {
      for (const Part& part : parts) names.push_back(part.name);
    }
    return names;
  }();
  return kNames;
}

std::string printable(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](unsigned char c) { return c < 0x20 || c == 0x7F; }, '?');
  return text;
}

template <class T>
bool read_number(std::string_view text, T& value, int base) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
  return error == std::errc() && end == text.data() + text.size();
}

/// A name and, after blanks, its text; the line begins with the name.
InfoLine split(std::string_view line) {
  const std::size_t blank = std::min(line.find(' '), line.size());
  const std::size_t text = std::min(line.find_first_not_of(' ', blank), line.size());
  return {std::string(line.substr(0, blank)), std::string(line.substr(text))};
}

struct Reader {
  const std::string& name;
  Sidecar sidecar{};
  bool has_bytes = false;

  [[noreturn]] void refuse(const std::string& why) const {
    stop_run(fmt::format(" ERROR reading {}: {}.\n Remove it, or recompute the sensitivity file.",
                         name, why));
  }

  void add(const InfoLine& line, std::int64_t number) {
    const auto check = [&](bool good, const char* expected) {
      if (!good) {
        refuse(fmt::format("line {} should hold {}; found \"{} {}\"", number, expected, line.name,
                           line.text));
      }
    };
    const bool is_part =
        std::find(part_names().begin(), part_names().end(), line.name) != part_names().end();
    if (line.name == "bytes") {
      check(!has_bytes && read_number(line.text, sidecar.bytes, 10) && sidecar.bytes >= 0,
            "the bytes of the sensitivity file, once");
      has_bytes = true;
    } else if (is_part) {
      const auto same = [&](const Part& part) { return part.name == line.name; };
      Part part{line.name, 0};
      check(std::none_of(sidecar.parts.begin(), sidecar.parts.end(), same) &&
                line.text.size() == 16 && read_number(line.text, part.fingerprint, 16),
            "the fingerprint of a part once, 16 hexadecimal digits");
      sidecar.parts.push_back(part);
    } else {
      if (sidecar.info_lines.size() == kMaxInfoLines) refuse("it has too many lines");
      sidecar.info_lines.push_back(line);
    }
  }

  void check_complete() const {
    if (!has_bytes) refuse("the line \"bytes\" is missing");
    for (const std::string& part : part_names()) {
      const auto same = [&](const Part& found) { return found.name == part; };
      if (std::none_of(sidecar.parts.begin(), sidecar.parts.end(), same)) {
        refuse(fmt::format("the line \"{}\" is missing", part));
      }
    }
  }
};

std::optional<Sidecar> read_from(const std::string& name) {
  std::optional<TextFile> file = TextFile::open(name);
  if (!file) return std::nullopt;
  Reader reader{name};
  std::string line;
  for (std::int64_t number = 1; file->read_line(line, kMaxLine); ++number) {
    line.resize(trim_right(line).size());
    line.erase(0, line.find_first_not_of(' '));
    if (!line.empty() && line.front() != '!') reader.add(split(printable(line)), number);
  }
  reader.check_complete();
  return std::move(reader.sidecar);
}

/// True when the sensitivity file has the length that this sidecar states.
bool states_length_of(const std::string& name, const std::string& sensitivity_file) {
  std::error_code error;
  const auto bytes = fs::file_size(sensitivity_file, error);
  try {
    const std::optional<Sidecar> sidecar = read_from(name);
    return sidecar && !error && bytes == static_cast<std::uintmax_t>(sidecar->bytes);
  } catch (const StopRun&) {
    return false;
  }
}

}  // namespace

std::vector<std::string> warnings_of(const Sidecar& sidecar) {
  std::vector<std::string> warnings;
  for (const InfoLine& line : sidecar.info_lines) {
    if (line.name == kWarning) warnings.push_back(line.text);
  }
  return warnings;
}

std::string info_text(const std::vector<InfoLine>& lines, std::string_view name) {
  for (const InfoLine& line : lines) {
    if (line.name == name) return line.text;
  }
  return "";
}

std::string sidecar_name(const std::string& sensitivity_file) { return sensitivity_file + ".info"; }

std::string sidecar_place(const std::string& sensitivity_file) {
  std::error_code error;
  if (!fs::is_symlink(sensitivity_file, error)) return sidecar_name(sensitivity_file);
  const fs::path target = fs::canonical(sensitivity_file, error);
  return sidecar_name(error ? sensitivity_file : target.string());
}

std::string find_sidecar(const std::string& sensitivity_file) {
  std::string next_to_name = sidecar_name(sensitivity_file);
  std::string next_to_target = sidecar_place(sensitivity_file);
  std::error_code error;
  if (!fs::exists(next_to_target, error)) return next_to_name;
  if (!fs::exists(next_to_name, error)) return next_to_target;
  if (fs::equivalent(next_to_name, next_to_target, error)) return next_to_name;
  return !states_length_of(next_to_name, sensitivity_file) &&
                 states_length_of(next_to_target, sensitivity_file)
             ? next_to_target
             : next_to_name;
}

std::string sidecar_text(const Sidecar& sidecar) {
  std::string text = kHead + fmt::format("{:<20} {}\n", "bytes", sidecar.bytes);
  for (const Part& part : sidecar.parts) {
    text += fmt::format("{:<20} {:016x}\n", part.name, part.fingerprint);
  }
  for (const InfoLine& line : sidecar.info_lines) {
    text += fmt::format("{:<20} {}\n", line.name, printable(line.text));
  }
  return text;
}

std::optional<Sidecar> read_sidecar(const std::string& sensitivity_file) {
  return read_from(find_sidecar(sensitivity_file));
}

std::vector<std::string> differing_parts(const Sidecar& sidecar, const std::vector<Part>& now) {
  std::vector<std::string> names;
  for (const Part& part : now) {
    const bool known =
        std::find(sidecar.parts.begin(), sidecar.parts.end(), part) != sidecar.parts.end();
    if (!known) names.push_back(part.name);
  }
  return names;
}

std::vector<std::string> mismatched_matrix_parts(const Sidecar& sidecar, const std::string& name,
                                                 const SensitivityFile& file) {
  std::vector<Part> parts = matrix_parts(file);
  const auto is_diagonal = [](const Part& part) { return part.name == "diagonal"; };
  if (file.sens.gdiag.empty()) std::erase_if(parts, is_diagonal);
  std::vector<std::string> names = differing_parts(sidecar, parts);
  std::error_code error;
  const auto bytes = fs::file_size(name, error);
  if (error || bytes != static_cast<std::uintmax_t>(sidecar.bytes)) {
    names.insert(names.begin(), "size");
  }
  return names;
}

std::string crs_of_matrix(const std::string& sensitivity_file) {
  try {
    const std::optional<Sidecar> sidecar = read_sidecar(sensitivity_file);
    return sidecar ? info_text(sidecar->info_lines, kCoordinateSystem) : "";
  } catch (const StopRun&) {
    return {};
  }
}

MatrixOrigin matrix_origin(const std::string& name, const SensitivityFile& heading,
                           const Observations& observations) {
  std::optional<Sidecar> sidecar;
  try {
    sidecar = read_sidecar(name);
  } catch (const StopRun&) {
    return {};
  }
  if (!sidecar || !mismatched_matrix_parts(*sidecar, name, heading).empty()) return {};
  MatrixOrigin origin{
      .mismatched_survey_parts = differing_parts(*sidecar, survey_parts(observations)),
      .warnings = warnings_of(*sidecar),
      .info_lines = std::move(sidecar->info_lines)};
  std::erase(origin.mismatched_survey_parts, "deviations");
  return origin;
}

}  // namespace quorivex
