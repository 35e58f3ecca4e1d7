// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/input/input_file.h"

#include <fmt/format.h>

#include <optional>

#include "base/fixed_format.h"
#include "base/free_format.h"
#include "base/stop_run.h"
#include "base/text_file.h"
#include "inversion/input/program_name.h"

namespace quorivex {
namespace {

constexpr std::size_t kFieldLength = 500;
constexpr std::size_t kKeywordLength = 20;
constexpr std::size_t kNumbersLength = 10000;

/// Ends the run after a read error; `reason` is a message framed by empty lines, or nothing.
[[noreturn]] void read_error(const std::string& name, const std::string& reason = {}) {
  throw StopRun(
      fmt::format("{}ERROR reading inversion input file {}\n{}", reason, name, sample_input()),
      reason + sample_input());
}

/// The lines of the input file in their order; each function ends the run when its line is missing
/// or wrong.
class InputLines {
 public:
  InputLines(TextFile& file, const std::string& name) : file_(file), name_(name) {}

  /// The numbers of the next line that is not blank; what follows them is ignored.
  template <class... Numbers>
  void numbers(Numbers&... values) {
    do {
      next(kNumbersLength);
    } while (trim_right(line_).empty());
    if (!FreeFormat(line_).read(values...)) read_error(name_);
  }

  std::string text(std::size_t max_length = kFieldLength) {
    next(max_length);
    return strip_comment(line_);
  }

 private:
  void next(std::size_t max_length) {
    if (!file_.read_line(line_, max_length)) read_error(name_);
  }

  TextFile& file_;
  const std::string& name_;
  std::string line_;
};

}  // namespace

std::string sample_input() {
  return fmt::format(
      "\n"
      " {0} sample input file: (! must precede comments)\n"
      "\n"
      "1                  ! mode (1, 2)\n"
      "1.0  0.02          ! par, tolc\n"
      "obs.mag            ! data file\n"
      "{0}.mtx       ! mtx file\n"
      "VALUE 0.001        ! initial model\n"
      "VALUE 0.0          ! reference model\n"
      "null               ! active cell file | null\n"
      "VALUE 0.0          ! lower bounds\n"
      "VALUE 1.0          ! upper bounds\n"
      "0.0001 1. 1. 1.    ! alphaS, alphaE, alphaN, alphaZ | null\n"
      "SMOOTH_MOD | SMOOTH_MOD_DIF\n"
      "w.dat              ! 3D weighting     | null\n"
      "\n",
      kProgram);
}

std::string strip_comment(std::string text) {
  text.resize(std::min(text.find('!'), text.size()));
  text.resize(trim_right(text).size());
  return text;
}

InversionParameters read_input_file(const std::string& name) {
  std::optional<TextFile> file = TextFile::open(name);
  if (!file) file_not_found("input", name);

  InputLines lines(*file, name);
  InversionParameters input;
  lines.numbers(input.mode);
  if (input.mode != 1 && input.mode != 2) {
    read_error(name, "\nERROR: model should be 1 or 2.\n\n");
  }
  lines.numbers(input.par, input.tolc);
  input.obsFile = lines.text();
  input.mtxFile = lines.text();
  input.initialModel = lines.text();
  input.referenceModel = lines.text();
  input.activeCellFile = lines.text();
  input.lowerBounds = lines.text();
  input.upperBounds = lines.text();
  input.alphaLine = lines.text();
  const std::string keyword = lines.text(kKeywordLength);
  if (keyword != "SMOOTH_MOD" && keyword != "SMOOTH_MOD_DIF") {
    read_error(name, "\nERROR: input file should contain either SMOOTH_MOD or SMOOTH_MOD_DIF.\n\n");
  }
  input.mrefInDerivatives = keyword == "SMOOTH_MOD_DIF";
  input.weightFile = lines.text();
  return input;
}

std::optional<double> target_misfit(const InversionParameters& input, std::int32_t ndata) {
  if (input.mode != 1) return std::nullopt;
  return ndata * input.par;
}

}  // namespace quorivex
