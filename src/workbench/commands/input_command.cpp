// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/atomic_file.h"
#include "base/output_lock.h"
#include "base/stop_run.h"
#include "base/text.h"
#include "workbench/check/matrix_checks.h"
#include "workbench/check/sensitivity_summary.h"
#include "workbench/commands/commands.h"
#include "workbench/commands/options.h"
#include "workbench/commands/survey_inputs.h"
#include "workbench/compose/input_text.h"

namespace quorivex {
namespace {

constexpr double kTolc = 0.02;  // no step uses it

constexpr const char* kInputHelp = R"(
MODEL is a susceptibility (SI) that holds everywhere, or a model file. Mode 1
lowers beta until the misfit is the number of data times CHIFACT; with --beta
the run has mode 2, which keeps beta.

Each of the twelve lines has a comment, and may be edited. Names are written as
they are given: start quorivex in the folder from which they lead to the files.
Files that exist are never replaced.

Examples:
  qvx input --data survey.mag --matrix survey.mtx --output survey.inp
  qvx input --data survey.mag --matrix survey.mtx --beta 20 --upper 0.3 \
            --lengths 150,150,75 --reference known.sus --output beta20.inp
)";

struct InputOptions {
  InversionParameters input{.mode = 1,
                            .par = 1.0,
                            .tolc = kTolc,
                            .obsFile = "",
                            .mtxFile = "",
                            .initialModel = "0.001",
                            .referenceModel = "0",
                            .activeCellFile = "null",
                            .lowerBounds = "0",
                            .upperBounds = "1",
                            .alphaLine = "",
                            .weightFile = "null"};
  std::optional<std::int32_t> mode;
  std::optional<double> chifact;
  std::optional<double> beta;
  std::vector<double> lengths;
  std::vector<double> alphas;
  std::string output;
};

/// "VALUE 0.001" of a number; a name as it is, which must be that of a file.
void to_entry(std::string& model) {
  if (const auto number = to_number(model)) {
    model = fmt::format("VALUE {}", *number);
  } else if (!std::filesystem::is_regular_file(model)) {
    stop_run(fmt::format(" ERROR: {} is neither a number (SI, decimal point) nor a file.", model));
  }
}

void need_file(const std::string& name) {
  if (name != "null" && !std::filesystem::is_regular_file(name)) {
    stop_run(fmt::format(" ERROR: file not found: {}", name));
  }
}

void choose_mode(const InputOptions& options, InversionParameters& input) {
  input.mode = options.mode.value_or(options.beta ? 2 : 1);
  if (input.mode == 1 && options.beta) stop_run(" ERROR: --beta belongs to --mode 2.");
  if (input.mode == 2 && options.chifact) stop_run(" ERROR: --chifact belongs to --mode 1.");
  if (input.mode == 2 && !options.beta) {
    stop_run(
        " ERROR: --mode 2 needs --beta, such as one of the table in quorivex.out of a run in mode "
        "1.");
  }
  input.par = input.mode == 1 ? options.chifact.value_or(1.0) : *options.beta;
}

/// The entries of the file, without a look into data and matrix.
InversionParameters entries_of(const InputOptions& options) {
  InversionParameters input = options.input;
  choose_mode(options, input);
  for (std::string* model :
       {&input.initialModel, &input.referenceModel, &input.lowerBounds, &input.upperBounds}) {
    to_entry(*model);
  }
  need_file(input.activeCellFile);
  need_file(input.weightFile);
  if (!options.lengths.empty())
    input.alphaLine = fmt::format("{}", fmt::join(options.lengths, " "));
  if (!options.alphas.empty()) input.alphaLine = fmt::format("{}", fmt::join(options.alphas, " "));
  return input;
}

/// Reads data and the head of the matrix, and says whether they belong together.
SensitivityFile check_pair(const InversionParameters& input) {
  const Observations data = read_data_with_deviations(input.obsFile);
  hint_at_units(data);
  if (is_other_file(input.mtxFile)) {
    stop_run(fmt::format(" ERROR: {} is not a sensitivity file.", input.mtxFile));
  }
  SensitivityFile heading = read_sensitivity_heading(input.mtxFile);
  if (heading.sens.ndata != data.ndata) {
    stop_run(fmt::format(" ERROR: {} holds {} data, but {} was made for {}.", input.obsFile,
                         data.ndata, input.mtxFile, heading.sens.ndata));
  }
  Findings findings;
  check_origin(input.mtxFile, heading, data, findings);
  return heading;
}

void run(const InputOptions& options) {
  InversionParameters input = entries_of(options);
  std::error_code none;
  if (std::filesystem::exists(std::filesystem::symlink_status(options.output, none))) {
    stop_run(fmt::format(" ERROR: {} exists already. Name another file, or remove it first.",
                         options.output));
  }
  const OutputLock lock(options.output);
  const SensitivityFile heading = check_pair(input);
  if (input.alphaLine.empty()) input.alphaLine = default_lengths(heading.ground->mesh);
  check_entries(input);
  AtomicFile file(options.output);
  file.append(input_text(input));
  file.commit();
  const std::string name = quote_if_needed(options.output);
  fmt::print("Written to {}\nNext:\n  qvx check {}\n  quorivex {}\n", options.output, name, name);
}

void add_line_options(CLI::App& app, InputOptions& o) {
  InversionParameters& p = o.input;
  const auto add = [&app](const char* name, auto& value, const char* type, const char* help) {
    return app.add_option(name, value, help)->type_name(type);
  };
  add("--mode", o.mode, "{1,2}", "1: to a target misfit; 2: beta is kept\n[1, or 2 with --beta]")
      ->check(whole_number(1, 2));
  add("--chifact", o.chifact, "C", "Target misfit per datum [1]")->check(number(1e-3, 1e3));
  add("--beta", o.beta, "B",
      "Trade-off parameter, kept; 0: that at which mode 1\n"
      "starts, usually far too large")
      ->check(number(0.0, 1e30))
      ->excludes("--chifact");
  add("--initial", p.initialModel, "MODEL", "Initial model, within the bounds")
      ->capture_default_str();
  add("--reference", p.referenceModel, "MODEL", "Reference model")->capture_default_str();
  add("--lower", p.lowerBounds, "MODEL", "Lower bound")->capture_default_str();
  add("--upper", p.upperBounds, "MODEL", "Upper bound")->capture_default_str();
  auto* const lengths = add("--lengths", o.lengths, "E,N,Z",
                            "Length scales east, north and down (m) [two core cells;\n"
                            "down half of that, at least two of the thinnest layers]")
                            ->delimiter(',')
                            ->expected(3)
                            ->check(number(0.0, kMaxLength));
  add("--alphas", o.alphas, "S,E,N,Z", "The alphas themselves, instead of length scales")
      ->delimiter(',')
      ->expected(4)
      ->check(number(0.0, 1e30))
      ->excludes(lengths);
  add("--active", p.activeCellFile, "FILE", "Active cell file [all cells below the terrain]");
  add("--weights", p.weightFile, "FILE", "File of 3-D weights [1 everywhere]");
  app.add_flag("--smooth-mod-dif", p.mrefInDerivatives,
               "The reference model enters the differences too");
}

}  // namespace

void add_input_command(CLI::App& qvx) {
  auto* app = qvx.add_subcommand("input", "Write the input file of an inversion");
  const auto o = std::make_shared<InputOptions>();
  app->add_option("--data", o->input.obsFile, "Observations file with standard deviations")
      ->type_name("FILE")
      ->required();
  app->add_option("--matrix", o->input.mtxFile, "Sensitivity file made for these observations")
      ->type_name("FILE")
      ->required();
  add_line_options(*app, *o);
  app->add_option("--output", o->output, "Input file to be written; may not exist yet")
      ->type_name("FILE")
      ->required();
  app->footer(kInputHelp);
  app->callback([o] { run(*o); });
}

}  // namespace quorivex
