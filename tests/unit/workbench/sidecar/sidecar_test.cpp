// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/sidecar/sidecar.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "base/stop_run.h"
#include "change_ground.h"
#include "compressed.h"
#include "scratch_folder.h"
#include "survey.h"

namespace quorivex::test {
namespace {

const Survey& survey() {
  static const Survey made = make_survey({.ne = 5, .nn = 4, .nz = 3});
  return made;
}

Observations observations() {
  Observations data;
  data.incl = 65;
  data.decl = 12;
  data.geomag = 50000;
  data.aincl = 65;
  data.adecl = 12;
  data.x = survey().x;
  data.y = survey().y;
  data.z = survey().z;
  data.obs = survey().observed;
  data.std = survey().std;
  data.ndata = survey().ndata();
  return data;
}

/// A folder with a compressed sensitivity file and its sidecar.
class SidecarFolder : public ScratchFolder {
 public:
  SidecarFolder() {
    write("s.mtx", framed(compressed_records(survey(), 4)));
    sidecar_.bytes = static_cast<std::int64_t>(std::filesystem::file_size(matrix()));
    sidecar_.parts = matrix_parts(file());
    for (const Part& part : survey_parts(observations())) sidecar_.parts.push_back(part);
    sidecar_.info_lines = {{"data", "20"}, {"mesh_file", "my mesh.txt"}};
    write("s.mtx.info", sidecar_text(sidecar_));
  }

  std::string matrix() const { return path("s.mtx"); }
  SensitivityFile file() const { return getpar(matrix()); }
  const Sidecar& sidecar() const { return sidecar_; }

  /// The message with which the sidecar is refused when its text is this.
  std::string refusal(const std::string& text) const {
    write("s.mtx.info", text);
    try {
      read_sidecar(matrix());
    } catch (const StopRun& end) {
      return std::string(end.message());
    }
    return "";
  }

 private:
  Sidecar sidecar_;
};

TEST(Sidecar, IsReadAsItWasWrittenAndBelongsToItsMatrix) {
  const SidecarFolder folder;
  const std::optional<Sidecar> read = read_sidecar(folder.matrix());
  ASSERT_TRUE(read.has_value());
  EXPECT_EQ(read->bytes, folder.sidecar().bytes);
  EXPECT_EQ(read->parts, folder.sidecar().parts);
  ASSERT_EQ(read->info_lines.size(), 2U);
  EXPECT_EQ(read->info_lines[1].name, "mesh_file");
  EXPECT_EQ(read->info_lines[1].text, "my mesh.txt");
  EXPECT_TRUE(mismatched_matrix_parts(*read, folder.matrix(), folder.file()).empty());
  EXPECT_TRUE(differing_parts(*read, survey_parts(observations())).empty());
  EXPECT_FALSE(read_sidecar(folder.path("other.mtx")).has_value());
}

// A file name with a line feed would add a line of its own, such as a second "bytes".
TEST(Sidecar, ControlCharactersOfATextDoNotMakeLines) {
  Sidecar sidecar;
  sidecar.info_lines = {{"data_file", "a\nbytes 7\x1b[2J"}};
  EXPECT_NE(sidecar_text(sidecar).find("data_file            a?bytes 7?[2J\n"), std::string::npos);
}

// A part that has no share in its fingerprint, or one that shares in another's.
TEST(Sidecar, EachChangeOfTheMatrixIsFoundInItsOwnPart) {
  const SidecarFolder folder;
  const auto mismatched = [&](const auto& change) {
    SensitivityFile file = folder.file();
    change(file);
    return mismatched_matrix_parts(folder.sidecar(), folder.matrix(), file);
  };
  using Names = std::vector<std::string>;
  EXPECT_EQ(mismatched([](auto& f) { change_ground(f, [&](Ground& g) { g.mesh.z0 += 1.0; }); }),
            Names{"mesh"});
  EXPECT_EQ(mismatched([](auto& f) {
              change_ground(f, [&](Ground& g) { g.mesh.depth_nodes.back() += 1.0; });
            }),
            Names{"mesh"});
  EXPECT_EQ(mismatched([](auto& f) { change_ground(f, [&](Ground& g) { g.tops.tops[7] += 1; }); }),
            Names{"terrain"});
  EXPECT_EQ(mismatched([](auto& f) { f.sens.filter.low[0] += 1e-15; }), Names{"filter"});
  EXPECT_EQ(mismatched([](auto& f) { f.sens.wtz[34] *= 2.0; }), Names{"scale"});
  EXPECT_EQ(mismatched([](auto& f) { std::swap(f.sens.gdiag[0], f.sens.gdiag[1]); }),
            Names{"diagonal"});
  EXPECT_EQ(mismatched([](auto& f) { f.sens.gdiag.clear(); }), Names{});  // the heading alone
  folder.write("s.mtx", folder.read("s.mtx") + "x");
  EXPECT_EQ(mismatched([](auto&) {}), Names{"size"});
}

TEST(Sidecar, EachChangeOfTheObservationsIsFoundInItsOwnPart) {
  const SidecarFolder folder;
  const auto differing = [&](const auto& change) {
    Observations data = observations();
    change(data);
    return differing_parts(folder.sidecar(), survey_parts(data));
  };
  using Names = std::vector<std::string>;
  EXPECT_EQ(differing([](auto& d) { std::swap(d.z[3], d.z[4]), d.z[3] += 1e-9; }),
            Names{"stations"});
  EXPECT_EQ(differing([](auto& d) { d.geomag += 1.0; }), Names{"field"});
  EXPECT_EQ(differing([](auto& d) { d.adecl = 13.0; }), Names{"directions"});
  EXPECT_EQ(differing([](auto& d) { d.std[19] *= 2.0; }), Names{"deviations"});
  EXPECT_EQ(differing([](auto& d) { d.obs[0] += 100.0; }), Names{});
  Observations heavier = observations();
  heavier.std[0] *= 2.0;
  const auto mismatched = [&] {
    return matrix_origin(folder.matrix(), folder.file(), heavier).mismatched_survey_parts;
  };
  EXPECT_EQ(mismatched(), Names{});
  heavier.x[0] += 1.0;
  EXPECT_EQ(mismatched(), Names{"stations"});
}

TEST(Sidecar, RefusalsNameTheFileAndTheLine) {
  const SidecarFolder folder;
  const std::string good = folder.read("s.mtx.info");
  const auto replaced = [&](const std::string& from, const std::string& to) {
    std::string text = good;
    const std::size_t at = text.find("\n" + from) + 1;
    return text.replace(at, text.find('\n', at) - at, to);
  };
  const auto expect = [&](const std::string& text, const std::string& message) {
    const std::string refusal = folder.refusal(text);
    EXPECT_TRUE(refusal.starts_with("ERROR reading " + folder.path("s.mtx.info") + ": "))
        << refusal;
    EXPECT_NE(refusal.find(message), std::string::npos) << refusal;
  };
  expect(replaced("bytes", "! gone"), "the line \"bytes\" is missing");
  expect(replaced("deviations", "! gone"), "the line \"deviations\" is missing");
  expect(replaced("bytes", "bytes -1"), "line 4 should hold the bytes");
  expect(replaced("bytes", "bytes 12x"), "line 4 should hold the bytes");
  expect(replaced("mesh ", "mesh 0123456789abcde"), "line 5 should hold the fingerprint of a part");
  expect(replaced("mesh ", "mesh 0123456789abcdeg"),
         "line 5 should hold the fingerprint of a part");
  expect(replaced("terrain ", "mesh 0123456789abcdef"), "line 6 should hold the fingerprint");
  std::string long_text = good;
  for (int i = 0; i < 1001; ++i) long_text += "x y\n";
  expect(long_text, "too many lines");
  EXPECT_EQ(folder.refusal(good), "");
}

}  // namespace
}  // namespace quorivex::test
