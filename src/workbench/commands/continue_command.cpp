// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>

#include <filesystem>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "base/atomic_file.h"
#include "base/output_lock.h"
#include "base/stop_run.h"
#include "inversion/input/conventions.h"
#include "inversion/setup/own_outputs.h"
#include "inversion/solver/next_beta.h"
#include "workbench/commands/commands.h"
#include "workbench/commands/options.h"
#include "workbench/commands/run_notes.h"
#include "workbench/compose/input_text.h"
#include "workbench/results/start_model.h"

namespace quorivex {
namespace {

namespace fs = std::filesystem;

constexpr const char* kContinueHelp = R"(
The model of the iteration is copied next to the new input file, as
NEW_initial.sus, and becomes its initial model; values that the file's digits
put beyond a bound are put on it. All other lines stay, with names of files as
they are seen from the folder of the new input file: start quorivex there. That
folder must be without results of a run, so that none are lost.

quorivex takes over nothing else of an earlier run. In mode 1 it begins with a
beta of its own, as ever, and takes about as many iterations as from another
model. In mode 2 it keeps beta (that of the run, where line 2 has 0), but does
not know the cells on bounds; with many of them it may end at once, with "Not
able to reduce the objective function".

Examples:
  qvx continue survey.inp --chifact 0.7
  qvx continue survey.inp --iteration 6 --output again/survey.inp
)";

struct ContinueOptions {
  std::string run;
  std::optional<std::int32_t> iteration;
  std::optional<double> chifact;
  std::string output;
};

bool is_there(const fs::path& name) {
  std::error_code none;
  return fs::exists(fs::symlink_status(name, none));
}

/// "survey_continued/survey.inp" in the current folder, or "survey_continued_2/..." and so on: in
/// the first folder that is not there yet.
fs::path default_output(const std::string& input_file) {
  const fs::path file = fs::path(input_file).filename();
  const std::string folder = file.stem().string() + "_continued";
  fs::path free = folder;
  for (int number = 2; is_there(free); ++number) free = fmt::format("{}_{}", folder, number);
  return free / file;
}

fs::path folder_of(const fs::path& file) {
  return file.has_parent_path() ? file.parent_path() : fs::path(".");
}

fs::path initial_model_of(const fs::path& output) {
  return output.parent_path() / (output.stem().string() + "_initial.sus");
}

void check_output(const fs::path& output) {
  if (!output.has_filename()) {
    stop_run(fmt::format(" ERROR: --output should name a file; {} is a folder.", output.string()));
  }
  for (const fs::path& file : {output, initial_model_of(output)}) {
    if (!is_there(file)) continue;
    stop_run(fmt::format(" ERROR: {} exists already. Name another input file with --output.",
                         file.string()));
  }
  const std::vector<std::string> outputs = outputs_in(folder_of(output).string());
  if (outputs.empty()) return;
  stop_run(fmt::format(
      " ERROR: {} holds results of a run ({}{}), which quorivex {} would replace.\n "
      "Name an input file in another folder with --output.",
      output.has_parent_path() ? output.parent_path().string() : "this folder", outputs.front(),
      outputs.size() > 1 ? " and others" : "", output.filename().string()));
}

/// Lines 1 and 2. @throws StopRun where the target is reached, or there is none
void set_aim(const FinishedRun& run, const FinishedIteration& from, const ContinueOptions& options,
             InversionParameters& p) {
  const SummaryRow& row = from.row;
  if (p.mode == 2) {
    if (options.chifact) {
      stop_run(fmt::format(" ERROR: --chifact belongs to mode 1, but {} has mode 2.", options.run));
    }
    if (!(p.par > 0.0)) p.par = row.beta;
    return;
  }
  p.par = options.chifact.value_or(p.par);
  const double ndata = run.observations.ndata;
  if (!target_reached(row.misfit, ndata * p.par)) return;
  stop_run(
      fmt::format(" ERROR: iteration {} has reached the target of chifact {} already: its misfit "
                  "is {:.6g}, {:.4g} per\n datum. Give a smaller --chifact, or an earlier "
                  "--iteration.",
                  row.iteration, p.par, row.misfit, row.misfit / ndata));
}

/// A name of the run's input file as it is seen from another folder.
std::string seen_from(const fs::path& folder, const FinishedRun& run, const std::string& name) {
  if (fs::path(name).is_absolute()) return name;
  const fs::path place = path_in(run, name);
  std::error_code error;
  if (!fs::is_regular_file(place, error)) {
    stop_run(fmt::format(" ERROR: file not found: {}", place.string()));
  }
  const fs::path from = fs::weakly_canonical(fs::absolute(folder));
  std::string seen =
      (fs::canonical(folder_of(place)) / place.filename()).lexically_relative(from).string();
  if (is_null(seen) || constant_of(seen)) seen.insert(0, "./");
  return seen;
}

void set_names(const FinishedRun& run, const fs::path& output, InversionParameters& p) {
  const fs::path folder = folder_of(output);
  p.obsFile = seen_from(folder, run, p.obsFile);
  p.mtxFile = seen_from(folder, run, p.mtxFile);
  for (std::string* model : {&p.referenceModel, &p.lowerBounds, &p.upperBounds}) {
    if (!constant_of(*model)) *model = seen_from(folder, run, *model);
  }
  for (std::string* file : {&p.activeCellFile, &p.weightFile}) {
    if (!is_null(*file)) *file = seen_from(folder, run, *file);
  }
  p.initialModel = initial_model_of(output).filename().string();
}

void write_model(const std::vector<double>& model, const fs::path& name) {
  constexpr std::size_t kPiece = 1U << 20U;  // bytes
  AtomicFile file(name.string());
  std::string text;
  for (const double value : model) {
    fmt::format_to(std::back_inserter(text), "{}\n", value);
    if (text.size() < kPiece) continue;
    file.append(text);
    text.clear();
  }
  file.append(text);
  file.commit();
}

void say_next(const FinishedRun& run, const FinishedIteration& from, const InversionParameters& p,
              const fs::path& output) {
  fmt::print("Written to {}\nInitial model: iteration {} of {}, {}\n", output.string(),
             from.row.iteration, run.input_file, initial_model_of(output).string());
  if (p.mode == 1) {
    fmt::print(
        "Mode 1 begins with a beta of its own again ({:.4g} in that run), so that it takes about "
        "as many\niterations as from another model.\n",
        run.iterations.front().row.beta);
  } else {
    fmt::print("Mode 2 keeps beta {}.\n", p.par);
    if (from.row.cells_on_bound > 0) {
      fmt::print(
          "{} cells are on a bound, which the run does not know when it begins: it may end at once "
          "with\n\"Not able to reduce the objective function\". Then put VALUE 0.001 or another "
          "constant into\nline 5.\n",
          from.row.cells_on_bound);
    }
  }
  const std::string name = quote_if_needed(output.filename().string());
  fmt::print("Next:\n");
  if (output.has_parent_path()) {
    fmt::print("  cd {}\n", quote_if_needed(output.parent_path().string()));
  }
  fmt::print("  qvx check {}\n  quorivex {}\n", name, name);
}

void run_continue(const ContinueOptions& options) {
  const FinishedRun run = read_finished_run(options.run);
  const FinishedIteration& from =
      options.iteration ? find_iteration(run, *options.iteration) : run.iterations.back();
  const fs::path output =
      options.output.empty() ? default_output(options.run) : fs::path(options.output);
  check_output(output);
  print_run_notes(run);
  InversionParameters parameters = run.parameters;
  set_aim(run, from, options, parameters);
  set_names(run, output, parameters);
  const std::string text = input_text(parameters);
  const std::vector<double> model = start_model(run, from);
  std::error_code error;
  fs::create_directories(folder_of(output), error);
  if (error) {
    stop_run(
        fmt::format(" ERROR making folder {}: {}", folder_of(output).string(), error.message()));
  }
  const OutputLock lock(output.string());
  write_model(model, initial_model_of(output));
  AtomicFile file(output.string());
  file.append(text);
  file.commit();
  say_next(run, from, parameters, output);
}

}  // namespace

void add_continue_command(CLI::App& qvx) {
  auto* const command =
      qvx.add_subcommand("continue", "Write the input file that goes on from an iteration");
  const auto o = std::make_shared<ContinueOptions>();
  command->add_option("RUN.inp", o->run, "Input file of the run")->required()->type_name("");
  command->add_option("--iteration", o->iteration, "Number of the iteration [the last]")
      ->type_name("N")
      ->check(whole_number(1, 100'000));
  command->add_option("--chifact", o->chifact, "Another target misfit per datum, in mode 1")
      ->type_name("C")
      ->check(number(1e-3, 1e3));
  command
      ->add_option("--output", o->output,
                   "Input file to be written; may not exist yet. Default:\n"
                   "RUN.inp in a new folder, RUN_continued")
      ->type_name("NEW.inp");
  command->footer(kContinueHelp);
  command->callback([o] { run_continue(*o); });
}

}  // namespace quorivex
