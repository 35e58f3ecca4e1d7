// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/forward/write_sensitivity_file.h"

#include <filesystem>
#include <optional>

#include "base/atomic_file.h"
#include "base/ranks.h"
#include "base/shared_file.h"
#include "workbench/forward/describe_build.h"

namespace quorivex {
namespace {

/// Removes what an earlier build left; through a link, sidecars may lie at two places. Folders and
/// devices of that name are not touched.
void remove_old_sidecars(const std::string& output) {
  for (const std::string& name : {sidecar_name(output), sidecar_place(output)}) {
    std::error_code error;
    const auto kind = std::filesystem::symlink_status(name, error).type();
    using Type = std::filesystem::file_type;
    if (kind == Type::regular || kind == Type::symlink) std::filesystem::remove(name, error);
  }
}

}  // namespace

BuildSummary write_sensitivity_file(const std::string& output, const Ground& ground,
                                    const Observations& observations, const ScaleRule& scale,
                                    const BuildOptions& options,
                                    const std::vector<InfoLine>& origin) {
  SharedFile file(output);
  std::optional<AtomicFile> info;  // a place that cannot be written ends the build now
  if (ranks::is_first()) info.emplace(sidecar_place(output));
  const std::vector<double> wtz = cell_scale(ground, observations, scale, ranks::Team::all);
  BuildSummary summary = build_sensitivity_file(ground, observations, wtz, options, file);
  file.complete();
  if (!info) return summary;
  Sidecar sidecar = describe_build(ground, observations, wtz, options, summary);
  sidecar.info_lines.insert(sidecar.info_lines.end(), origin.begin(), origin.end());
  info->append(sidecar_text(sidecar));
  // An end between these steps leaves a matrix without a sidecar, never one with that of another.
  remove_old_sidecars(output);
  file.commit();
  info->commit();
  return summary;
}

}  // namespace quorivex
