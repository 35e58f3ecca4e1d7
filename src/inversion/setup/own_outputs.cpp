// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/setup/own_outputs.h"

#include <dirent.h>
#include <fmt/format.h>

#include <cerrno>
#include <filesystem>
#include <memory>
#include <new>
#include <string_view>
#include <utility>
#include <vector>

#include "base/stop_run.h"
#include "inversion/input/input_file.h"
#include "inversion/input/program_name.h"

namespace quorivex {
namespace {

namespace fs = std::filesystem;

/// A file that the run reads, and what messages call it.
struct InputFile {
  const char* label;
  std::string name;
};

/// "quorivex_012.sus" and the like: a model or predicted data.
bool is_of_iteration(const std::string& name) {
  const std::string_view head = kProgram;
  if (!name.starts_with(head) || name.substr(head.size(), 1) != "_") return false;
  const std::size_t dot = name.find_first_not_of("0123456789", head.size() + 1);
  return dot != std::string::npos && dot >= head.size() + 4 &&
         (name.substr(dot) == ".sus" || name.substr(dot) == ".pre");
}

/// The models and predicted data of earlier runs in a folder, which another one may replace.
std::vector<std::string> files_of_iterations(const std::string& in) {
  std::vector<std::string> names;
  // The library's own way through a folder ends the program when it gets no memory.
  const std::unique_ptr<DIR, int (*)(DIR*)> folder(::opendir(in.c_str()), ::closedir);
  if (!folder && errno == ENOMEM) throw std::bad_alloc();
  if (!folder) return names;
  while (const dirent* const entry = ::readdir(folder.get())) {
    std::string name = entry->d_name;
    if (is_of_iteration(name)) names.push_back(std::move(name));
  }
  return names;
}

void refuse(const InputFile& input, const std::string& output) {
  stop_run(fmt::format(" ERROR: {} file {} would be overwritten by the run's {}", input.label,
                       input.name, output));
}

void refuse_if_overwritten(const InputFile& input, const std::vector<std::string>& iterations) {
  std::error_code error;
  for (const char* emptied : {kLogName, kSummaryName}) {
    if (fs::equivalent(input.name, emptied, error)) refuse(input, emptied);
  }
  // These are replaced by name: another name of the same file keeps it.
  const fs::path place = fs::canonical(input.name, error);
  if (error) return;
  for (const std::string& replaced : iterations) {
    if (fs::canonical(replaced, error) == place) refuse(input, replaced);
  }
}

}  // namespace

void refuse_outputs_that_are_read(const std::string& input_name) {
  std::vector<InputFile> inputs{{"input", input_name}};
  try {
    const InversionParameters p = read_input_file(input_name);
    inputs.insert(inputs.end(), {{"data", p.obsFile},
                                 {"sensitivity", p.mtxFile},
                                 {"initial model", p.initialModel},
                                 {"reference model", p.referenceModel},
                                 {"active cells", p.activeCellFile},
                                 {"lower bounds", p.lowerBounds},
                                 {"upper bounds", p.upperBounds},
                                 {"weight", p.weightFile}});
  } catch (const StopRun&) {
  }
  const std::vector<std::string> iterations = files_of_iterations(".");
  for (const InputFile& input : inputs) refuse_if_overwritten(input, iterations);
}

std::vector<std::string> outputs_in(const std::string& folder) {
  std::vector<std::string> names = files_of_iterations(folder);
  for (const char* name : {kSummaryName, kLogName}) {
    std::error_code missing;
    if (fs::exists(fs::path(folder) / name, missing)) names.insert(names.begin(), name);
  }
  return names;
}

}  // namespace quorivex
