// SPDX-License-Identifier: GPL-3.0-or-later
#include "fuzz/outcome.h"
#include "fuzz/scratch.h"
#include "fuzz/targets.h"
#include "inversion/mesh_io/ground.h"
#include "records.h"

namespace quorivex::fuzz {
namespace {

std::string nodes_of(const Mesh& mesh) {
  return test::record(mesh.easting_nodes, mesh.northing_nodes, mesh.depth_nodes, mesh.z0);
}

}  // namespace

std::string mesh(std::string_view bytes) {
  const std::string name = scratch_file(bytes);
  return outcome([&] {
    const Mesh read = read_mesh_file(name);
    std::string nodes = nodes_of(read);
    write_mesh_file(name, read);
    expect(nodes_of(read_mesh_file(name)) == nodes, "a mesh that is not read as it was written");
    check_widths(read);
    return nodes;
  });
}

}  // namespace quorivex::fuzz
