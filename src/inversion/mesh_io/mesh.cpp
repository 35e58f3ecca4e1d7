// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/mesh_io/mesh.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <utility>

#include "base/atomic_file.h"
#include "base/free_format.h"
#include "base/stop_run.h"
#include "base/view1.h"

namespace quorivex {
namespace {

constexpr const char* kMeshRoutine = "mesh";
constexpr std::size_t kColumns = 100;  // of a text mesh file
// Cells along an axis of one: a few characters may stand for any number of widths, "2147483647*1".
constexpr std::int32_t kMaxAxis = 1'000'000;

std::vector<double> node_vector(std::int32_t cells) {
  return allocate<double>(as_size(std::int64_t{cells} + 1), kMeshRoutine);
}

std::vector<double> differences(const std::vector<double>& nodes) {
  std::vector<double> widths = allocate<double>(nodes.size() - 1, kMeshRoutine);
  for (std::size_t i = 0; i < widths.size(); ++i) widths[i] = nodes[i + 1] - nodes[i];
  return widths;
}

std::vector<double> running_sums(double first, const std::vector<double>& widths) {
  std::vector<double> nodes = allocate<double>(widths.size() + 1, kMeshRoutine);
  nodes[0] = first;
  for (std::size_t i = 0; i < widths.size(); ++i) nodes[i + 1] = nodes[i] + widths[i];
  return nodes;
}

/// The lists of a text mesh file in their order.
class MeshLists {
 public:
  MeshLists(TextFile& file, const std::string& name) : values_(file), name_(name) {}

  /// `what` are the values.
  template <class... Values>
  void read(const char* what, Values&... values) {
    if (!values_.read(values...)) refuse(fmt::format("{} could not be read.", what));
    values_.next_line();
  }

  std::vector<double> read_widths(std::int32_t count, const char* axis) {
    std::vector<double> widths;  // grows with the values that are there, not with the count
    for (std::int32_t i = 1; i <= count; ++i) {
      double width = 0.0;
      if (!values_.read(width)) {
        refuse(fmt::format("Width {} of {} along {} could not be read.", i, count, axis));
      }
      with_alloc_label(kMeshRoutine, [&] { append_checked(widths, width); });
    }
    values_.next_line();
    return widths;
  }

  [[noreturn]] void refuse(const std::string& reason) const {
    stop_run(fmt::format(" ERROR reading mesh file: {}", name_),
             reason +
                 "\nA mesh file holds the counts ne nn nz; west, south and top of the mesh; ne "
                 "widths along easting,\nnn along northing and nz down, each list on lines of "
                 "its own.");
  }

 private:
  FreeFormat values_;
  const std::string& name_;
};

}  // namespace

bool valid_counts(std::int32_t ne, std::int32_t nn, std::int32_t nz) {
  constexpr std::int64_t kMaxCells = std::numeric_limits<std::int32_t>::max();
  return ne > 0 && nn > 0 && nz > 0 && std::int64_t{ne} * nn <= kMaxCells / nz;
}

double min_horizontal_width(const Mesh& mesh) {
  return std::min(*std::min_element(mesh.de.begin(), mesh.de.end()),
                  *std::min_element(mesh.dn.begin(), mesh.dn.end()));
}

double min_width(const Mesh& mesh) {
  return std::min(min_horizontal_width(mesh), *std::min_element(mesh.dz.begin(), mesh.dz.end()));
}

Mesh make_mesh(double west, double south, double top, std::vector<double> de,
               std::vector<double> dn, std::vector<double> dz) {
  Mesh mesh;
  mesh.ne = static_cast<std::int32_t>(de.size());
  mesh.nn = static_cast<std::int32_t>(dn.size());
  mesh.nz = static_cast<std::int32_t>(dz.size());
  mesh.easting_nodes = running_sums(west, de);
  mesh.northing_nodes = running_sums(south, dn);
  mesh.depth_nodes = running_sums(0.0, dz);
  mesh.de = std::move(de);
  mesh.dn = std::move(dn);
  mesh.dz = std::move(dz);
  mesh.z0 = top;
  return mesh;
}

Mesh read_mesh_file(const std::string& name) {
  std::optional<TextFile> file = TextFile::open(name);
  if (!file) cannot_open("mesh", name);
  MeshLists lists(*file, name);
  std::int32_t ne = 0;
  std::int32_t nn = 0;
  std::int32_t nz = 0;
  lists.read("The counts", ne, nn, nz);
  if (!valid_counts(ne, nn, nz) || std::max({ne, nn, nz}) > kMaxAxis) {
    lists.refuse(
        fmt::format("The counts should be from 1 to a million and give at most 2147483647 cells; "
                    "found {} {} {}.",
                    ne, nn, nz));
  }
  double west = 0.0;
  double south = 0.0;
  double top = 0.0;
  lists.read("West, south and top of the mesh", west, south, top);
  std::vector<double> de = lists.read_widths(ne, "easting");
  std::vector<double> dn = lists.read_widths(nn, "northing");
  std::vector<double> dz = lists.read_widths(nz, "depth");
  return make_mesh(west, south, top, std::move(de), std::move(dn), std::move(dz));
}

std::string width_list(const std::vector<double>& widths, std::size_t columns,
                       std::string_view line_end) {
  std::string text;
  std::size_t line = 0;  // characters of the last line
  for (std::size_t i = 0, end = 0; i < widths.size(); i = end) {
    end = i + 1;
    while (end < widths.size() && widths[end] == widths[i]) ++end;
    const std::string item =
        end - i > 1 ? fmt::format("{}*{}", end - i, widths[i]) : fmt::format("{}", widths[i]);
    if (i > 0) {
      const bool fits = line + 1 + item.size() <= columns;
      text += fits ? " " : line_end;
      line = fits ? line + 1 : 0;
    }
    text += item;
    line += item.size();
  }
  return text + '\n';
}

void write_mesh_file(const std::string& name, const Mesh& mesh) {
  AtomicFile file(name);
  file.append(fmt::format("{} {} {}\n{} {} {}\n", mesh.ne, mesh.nn, mesh.nz,
                          mesh.easting_nodes.front(), mesh.northing_nodes.front(), mesh.z0));
  for (const std::vector<double>* widths : {&mesh.de, &mesh.dn, &mesh.dz}) {
    file.append(width_list(*widths, kColumns));
  }
  file.commit();
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
