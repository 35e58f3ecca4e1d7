// SPDX-License-Identifier: GPL-3.0-or-later
#include "mesh_io/mesh.h"

#include <fmt/format.h>

#include <limits>

#include "base/free_format.h"
#include "base/stop_run.h"
#include "base/view1.h"

namespace quorivex {
namespace {

constexpr const char* kRoutine = "mesh";

std::vector<double> node_vector(std::int32_t cells) {
  return allocate<double>(as_size(std::int64_t{cells} + 1), kRoutine);
}

std::vector<double> differences(const std::vector<double>& nodes) {
  std::vector<double> widths = allocate<double>(nodes.size() - 1, kRoutine);
  for (std::size_t i = 0; i < widths.size(); ++i) widths[i] = nodes[i + 1] - nodes[i];
  return widths;
}

std::vector<double> running_sums(double first, const std::vector<double>& widths) {
  std::vector<double> nodes = allocate<double>(widths.size() + 1, kRoutine);
  nodes[0] = first;
  for (std::size_t i = 0; i < widths.size(); ++i) nodes[i + 1] = nodes[i] + widths[i];
  return nodes;
}

[[noreturn]] void mesh_file_error(const std::string& name, const std::string& why = {}) {
  stop_run(fmt::format(" ERROR reading mesh file: {}{}", name, why));
}

}  // namespace

bool valid_counts(std::int32_t ne, std::int32_t nn, std::int32_t nz) {
  constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max();
  return ne > 0 && nn > 0 && nz > 0 && std::int64_t{ne} * nn <= kMost / nz;
}

Mesh read_mesh_file(const std::string& name) {
  std::optional<TextFile> file = TextFile::open(name);
  if (!file) file_not_found("mesh", name);
  FreeFormat values(*file);
  const auto need = [&](bool read) {
    if (!read) mesh_file_error(name);
    values.next_line();
  };
  const auto read_widths = [&](std::int32_t count) {
    std::vector<double> widths;  // grows with the values that are there, not with the count
    bool read = true;
    for (std::int32_t i = 0; i < count && read; ++i) {
      double width = 0.0;
      read = values.read(width);
      widths.push_back(width);
    }
    need(read);
    return widths;
  };

  Mesh mesh;
  need(values.read(mesh.ne, mesh.nn, mesh.nz));
  if (!valid_counts(mesh.ne, mesh.nn, mesh.nz)) {
    mesh_file_error(name,
                    fmt::format("\n The counts should be positive and give at most 2147483647 "
                                "cells; found {} {} {}.",
                                mesh.ne, mesh.nn, mesh.nz));
  }
  double west = 0.0;
  double south = 0.0;
  need(values.read(west, south, mesh.z0));
  mesh.de = read_widths(mesh.ne);
  mesh.dn = read_widths(mesh.nn);
  mesh.dz = read_widths(mesh.nz);
  mesh.easting_nodes = running_sums(west, mesh.de);
  mesh.northing_nodes = running_sums(south, mesh.dn);
  mesh.depth_nodes = running_sums(0.0, mesh.dz);
  return mesh;
}

std::optional<Mesh> read_mesh_record(RecordFile& file, std::int32_t nn, std::int32_t ne,
                                     std::int32_t nz) {
  const std::int64_t items = std::int64_t{nn} + ne + nz + 4;
  if (!file.begin() || file.left_in_record() < items * std::int64_t{sizeof(double)}) return {};
  Mesh mesh;
  mesh.nn = nn;
  mesh.ne = ne;
  mesh.nz = nz;
  mesh.northing_nodes = node_vector(nn);
  mesh.easting_nodes = node_vector(ne);
  mesh.depth_nodes = node_vector(nz);
  for (std::vector<double>* nodes :
       {&mesh.northing_nodes, &mesh.easting_nodes, &mesh.depth_nodes}) {
    if (!file.read(nodes->data(), length(*nodes))) return {};
  }
  if (!file.read(&mesh.z0, 1) || !file.finish()) return {};
  mesh.dn = differences(mesh.northing_nodes);
  mesh.de = differences(mesh.easting_nodes);
  mesh.dz = differences(mesh.depth_nodes);
  return mesh;
}

}  // namespace quorivex
