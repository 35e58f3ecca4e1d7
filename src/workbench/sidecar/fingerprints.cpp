// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/sidecar/fingerprints.h"

#include <xxhash.h>

#include <memory>
#include <new>

namespace quorivex {
namespace {

/// The hash of several lists, each preceded by its length.
class Hash {
 public:
  Hash() : state_(XXH3_createState(), XXH3_freeState) {
    if (!state_) throw std::bad_alloc();
    XXH3_64bits_reset(state_.get());
  }

  template <class T>
  Hash& list(const std::vector<T>& values) {
    value(length(values));
    // Zero has two forms, which mean the same.
    for (const T entry : values) value(entry + T{0});
    return *this;
  }
  template <class T>
  Hash& value(T number) {
    XXH3_64bits_update(state_.get(), &number, sizeof(T));
    return *this;
  }
  std::uint64_t digest() const { return XXH3_64bits_digest(state_.get()); }

 private:
  std::unique_ptr<XXH3_state_t, decltype(&XXH3_freeState)> state_;
};

std::uint64_t of_directions(const Observations& o) {
  Hash hash;
  hash.value(length(o.x));
  for (std::size_t i = 0; i < o.x.size(); ++i) {
    hash.value(o.idir == 1 ? o.aincl : o.datum_aincl[i]);
    hash.value(o.idir == 1 ? o.adecl : o.datum_adecl[i]);
  }
  return hash.digest();
}

}  // namespace

std::vector<Part> survey_parts(const Observations& o) {
  return {{"stations", Hash().list(o.x).list(o.y).list(o.z).digest()},
          {"field", Hash().list(std::vector{o.incl, o.decl, o.geomag}).digest()},
          {"directions", of_directions(o)},
          {"deviations", Hash().list(o.std).digest()}};
}

std::vector<Part> matrix_parts(const Ground& ground, const std::vector<double>& low_pass,
                               const std::vector<double>& wtz, const std::vector<double>& gdiag) {
  const Mesh& mesh = ground.mesh;
  return {{"mesh", Hash()
                       .list(mesh.easting_nodes)
                       .list(mesh.northing_nodes)
                       .list(mesh.depth_nodes)
                       .value(mesh.z0 + 0.0)
                       .digest()},
          {"terrain", Hash().list(ground.tops.tops).digest()},
          {"filter", Hash().list(low_pass).digest()},
          {"scale", Hash().list(wtz).digest()},
          {"diagonal", Hash().list(gdiag).digest()}};
}

std::vector<Part> matrix_parts(const SensitivityFile& file) {
  return matrix_parts(*file.ground, file.sens.filter.low, file.sens.wtz, file.sens.gdiag);
}

}  // namespace quorivex
