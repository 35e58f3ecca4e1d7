// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>

#include <cmath>

#include "run_program.h"
#include "run_qvx.h"

namespace quorivex::test {
namespace {

std::string replace_all(std::string text, const std::string& from, const std::string& to) {
  for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
    text.replace(at, from.size(), to);
  return text;
}

constexpr const char* kMesh = "8 7 4\n-100 -75 50\n8*25\n7*25\n2*10 2*20\n";

/// Thirty data of a small survey, 15 m above the mesh; `last` replaces the line of the last one.
std::string survey(const std::string& heading = "60 15 50000\n60 15 1\n",
                   const std::string& last = "65 5 65 -7 2") {
  std::string text = heading + "30\n";
  for (int i = 0; i < 29; ++i) {
    text += fmt::format("{} {} 65 {:.2f} 2\n", -61 + 25 * (i % 6), -52 + 25 * (i / 6),
                        50.0 * std::sin(0.7 * i));
  }
  return text + last + "\n";
}

/// A folder with a run whose sensitivity file was made by qvx.
class CheckFolder : public ScratchFolder {
 public:
  CheckFolder() {
    write("mesh.txt", kMesh);
    write("obs.mag", survey());
    // Every value once in each half of the active cells.
    std::string model;
    for (int cell = 0; cell < 8 * 7 * 4; ++cell) model += cell % 2 == 0 ? "0.001\n" : "0.002\n";
    write("start.txt", model);
    input({});
    build("s.mtx", "--mesh mesh.txt");
  }

  void input(InputLines lines) const {
    lines.merge(InputLines{{1, "1"},
                           {2, "1 0"},
                           {3, "obs.mag"},
                           {4, "s.mtx"},
                           {5, "start.txt"},
                           {6, "VALUE 0"},
                           {7, "null"},
                           {8, "VALUE 0"},
                           {9, "VALUE 1"},
                           {10, "null"},
                           {11, "SMOOTH_MOD"},
                           {12, "null"}});
    std::string text;
    for (const auto& [number, line] : lines) text += line + "\n";
    write("run.inp", text);
  }
  void build(const std::string& output, const std::string& ground) const {
    const QvxRun run =
        run_qvx(*this, "sensitivity --threads 1 --data obs.mag --output " + output + " " + ground);
    ASSERT_EQ(run.status, 0) << run.err;
  }

  /// The check ends with this status and closing line, and says these texts.
  std::string expect(int status, const std::string& closing, const std::vector<std::string>& texts,
                     const std::string& options = "") const {
    const QvxRun run = run_qvx(*this, "check run.inp --threads 1" + options);
    EXPECT_EQ(run.status, status) << run.out << run.err;
    EXPECT_EQ(run.err, "");
    EXPECT_TRUE(run.out.ends_with("\n\n" + closing + "\n")) << closing << "\n" << run.out;
    for (const std::string& text : texts)
      EXPECT_NE(run.out.find(text), std::string::npos) << text << "\n" << run.out;
    return run.out;
  }
};

std::string fact(const std::string& name, const std::string& text) {
  return fmt::format("\n  {:<24}{}", name, text);
}

double number_after(const std::string& text, const std::string& label) {
  const std::size_t at = text.find(label);
  EXPECT_NE(at, std::string::npos) << label << "\n" << text;
  return at == std::string::npos ? 0.0 : std::strtod(text.c_str() + at + label.size(), nullptr);
}

std::map<std::string, std::string> contents(const ScratchFolder& folder) {
  std::map<std::string, std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(folder.path(""))) {
    const std::string name = entry.path().filename().string();
    if (name != "out.txt" && name != "err.txt") files[name] = folder.read(name);
  }
  return files;
}

TEST(QvxCheck, AGoodRunIsFineItsFiguresAreTheRunsAndTheFolderStaysAsItWas) {
  const CheckFolder folder;
  const auto before = contents(folder);
  const std::string text = folder.expect(
      0, "fine",
      {fact("sensitivity file", "made for these stations, directions and deviations\n"),
       fact("mesh", "that of mesh.txt\n"), fact("data", "30\n"), fact("easting", "-61 to 65 m"),
       fact("initial model", "0.001 to 0.002 SI"), fact("upper bounds", "1 SI everywhere"),
       fact("inclination", "60: down, northern hemisphere"), fact("length scales", "easting 100,")},
      " --mesh mesh.txt");
  EXPECT_EQ(text.find("note:"), std::string::npos) << text;
  EXPECT_EQ(contents(folder), before);
  run_program(folder, "run.inp 1");
  const std::string log = folder.read("quorivex.log");
  const auto expect_same = [&](const char* checked, const char* logged) {
    const double value = number_after(log, logged);
    EXPECT_NEAR(number_after(text, checked), value, 1e-5 * value) << checked;
  };
  expect_same("\n  initial misfit", " initial misfit:");
  expect_same("\n  target misfit", " target data misfit:");
  expect_same("\n  beta of the first iteration", "     beta:");
  const std::set<std::string> results = result_files(folder);
  for (const char* other : {"quorivex_last.sus", "quorivex_0001.pre", "quorivex_01.sus"})
    folder.write(other, "");
  folder.expect(0, "fine",
                {fmt::format("note: {} results are of an earlier run in", results.size())});
}

// What the numbers mean counts, not how the file writes them.
TEST(QvxCheck, TheSidecarTellsObservationsThatTheMatrixWasNotMadeFor) {
  const CheckFolder folder;
  const std::string good = survey();
  const auto change = [&](const std::string& from, const std::string& to) {
    std::string text = good;
    const std::size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return text.replace(at, from.size(), to);
  };
  std::string own = replace_all(good, " 65 ", " 65 60 15 ");
  own.replace(own.find("60 15 1"), 7, "0 0 0");
  for (const std::string& same :
       {"! a comment\n\n" + good, change("-36 -52 65 ", "-3.6e1,-52.0 6.5D+1\t"),
        change("65 5 65 -7", "65 5 65 -70"), own}) {
    folder.write("obs.mag", same);
    EXPECT_EQ(folder.expect(0, "fine", {}).find("warning"), std::string::npos);
  }
  const std::string first = "-61 -52 65 0.00 2\n";
  const std::string second = good.substr(good.find(first) + first.size(), 19);
  ASSERT_EQ(second.back(), '\n') << second;
  for (const auto& [wrong, message] :
       {std::pair{change(first + second, second + first), "made for other stations:"},
        {change("65 5 65 -7", "65 5 65.1 -7"), "made for other stations:"},
        {change("65 -7 2", "65 -7 2.5"), "made for other standard deviations,"},
        {change("60 15 50000", "60 15 50001"), "made for another inducing field:"},
        {change("60 15 1\n", "60 16 1\n"), "made for other directions of the anomaly"}}) {
    folder.write("obs.mag", wrong);
    folder.expect(1, "1 warning", {message});
  }
}

TEST(QvxCheck, ASidecarOfAnotherMatrixIsToldAndAMissingOneIsANote) {
  const CheckFolder folder;
  const std::string sidecar = folder.read("s.mtx.info");
  folder.write("shifted.txt", "8 7 4\n-100 -75 50\n8*25\n7*25\n2*11 2*19\n");
  folder.build("shifted.mtx", "--mesh shifted.txt");
  folder.build("lower.mtx", "--mesh mesh.txt --elevation 45");
  folder.write("s.mtx.info", folder.read("shifted.mtx.info"));
  folder.expect(1, "1 warning", {"s.mtx.info does not belong to this sensitivity file", "mesh, "});
  folder.write("s.mtx.info", folder.read("lower.mtx.info"));
  folder.expect(1, "1 warning", {"(size, terrain, scale, diagonal differ)"});
  const QvxRun info = run_qvx(folder, "info s.mtx");
  EXPECT_NE(info.err.find("Warning: s.mtx.info does not belong to this file; size, terrain"),
            std::string::npos)
      << info.err;
  folder.input({{4, "shifted.mtx"}});
  folder.expect(1, "1 warning", {"another mesh than that of mesh.txt; they differ along elevation"},
                " --mesh mesh.txt");
  std::filesystem::remove(folder.path("shifted.mtx.info"));
  folder.expect(0, "fine", {"note: shifted.mtx.info is missing"});

  folder.input({});
  const auto without = [&](const std::string& start) {
    std::string text = sidecar;
    const std::size_t at = text.find("\n" + start);
    return text.erase(at, text.find('\n', at + 1) - at);
  };
  for (const std::string& broken :
       {std::string(), without("bytes"), without("deviations"), sidecar + "mesh 0123456789abcdef\n",
        without("mesh") + "mesh 0123456789abcde\n", without("mesh") + "mesh 0123456789abcdeg\n",
        without("bytes") + "bytes -1\n", std::string(1 << 20, 'x'), sidecar.substr(0, 400),
        std::string("\0\x01 bytes\xff\n", 10)}) {
    folder.write("s.mtx.info", broken);
    folder.expect(1, "1 warning", {"ERROR reading s.mtx.info: "});
    EXPECT_EQ(run_qvx(folder, "info s.mtx").status, 0);
  }
  folder.write("s.mtx.info", sidecar);
  const QvxRun made = run_qvx(folder, "info s.mtx");
  EXPECT_NE(made.out.find("  mesh_file            mesh.txt\n"), std::string::npos) << made.out;
}

// Each warning of the build once, however many lines it has, with all who look at its matrix; one
// about stations not a second time from the stations themselves.
TEST(QvxCheck, WarningsOfTheBuildReachEveryCommand) {
  const CheckFolder folder;
  const std::string ground = "--mesh mesh.txt --elevation 57.25";  // the top of the mesh is 50
  folder.write("obs.mag", survey("60 15 50000\n60 15 1\n", "65 5 49.9 -7 2"));
  folder.build("s.mtx", ground);
  const std::string made = "when the sensitivity file was made: ";
  const std::string cut = "the top of the mesh, 50 m, cuts off the terrain of 56 of 56 columns,";
  const std::string below =
      "1 of 30 stations lie below the ground, which is right for boreholes only: datum 30 at";
  folder.expect(1, "3 warnings",
                {"warning: " + made + cut, "warning: " + made + below,
                 "warning: " + made + "the cells' ground lies"});
  const std::string plan = run_qvx(folder, "sensitivity --plan --data obs.mag " + ground).out;
  EXPECT_NE(plan.find("  terrain cut off      56 of 56 columns, by up to 7.25 m\n"),
            std::string::npos)
      << plan;
  const QvxRun info = run_qvx(folder, "info s.mtx");
  EXPECT_EQ(info.out.find(cut), std::string::npos) << info.out;
  run_program(folder, "run.inp 1");
  const std::string report = run_qvx(folder, "report run.inp").out;
  for (const std::string& text : {cut, below}) {
    EXPECT_NE(info.err.find("Warning: when the file was made: " + text), std::string::npos);
    EXPECT_NE(report.find("Red flag: Stations or terrain. qvx sensitivity warned: " + text),
              std::string::npos)
        << report;
    EXPECT_NE(folder.read("quorivex.html").find(text), std::string::npos);
  }
  std::filesystem::remove(folder.path("s.mtx.info"));
  const std::string without = run_qvx(folder, "report run.inp").out;
  EXPECT_NE(without.find("Red flag: Stations or terrain. " + below), std::string::npos) << without;
}

TEST(QvxCheck, SaysWhatChifactAndInclinationMean) {
  const CheckFolder folder;
  for (const auto& [chifact, note] : {std::pair{"0.5", "note: chifact 0.5 fits part of the noise"},
                                      {"0.1", "note: chifact 0.1 fits"},
                                      {"2", "note: chifact 2 leaves signal in the residuals"},
                                      {"0.51", ""},
                                      {"1.99", ""}}) {
    folder.input({{2, fmt::format("{} 0.02", chifact)}});
    const std::string text = folder.expect(0, "fine", {note, fact("tolc", "0.02, read, not used")});
    EXPECT_EQ(text.find("note: chifact") == std::string::npos, std::string(note).empty());
  }
  folder.input({{1, "2"}, {2, "0 0"}});
  folder.expect(0, "fine", {"note: this beta, with which mode 1 starts, is usually far too large"});
  folder.write("obs.mag", survey("-60 15 50000\n60 15 1\n"));
  folder.expect(1, "1 warning", {fact("inclination", "-60: up, southern hemisphere")});
}

TEST(QvxCheck, TheSidecarIsFoundBesideTheTargetOfALink) {
  const CheckFolder folder;
  std::filesystem::create_directory(folder.path("store"));
  for (const char* name : {"s.mtx", "s.mtx.info"}) {
    std::filesystem::rename(folder.path(name), folder.path(std::string("store/") + name));
  }
  std::filesystem::create_symlink("store/s.mtx", folder.path("s.mtx"));
  folder.expect(0, "fine", {fact("sensitivity file", "made for these stations, directions")});
  // One beside the link counts where it is of a file of this length; a build leaves none there.
  const std::string good = folder.read("store/s.mtx.info");
  folder.write("s.mtx.info", "broken\n");
  folder.expect(0, "fine", {});
  folder.write("store/s.mtx.info", "broken\n");
  folder.expect(1, "1 warning", {"ERROR reading s.mtx.info: "});
  folder.write("s.mtx.info", good);
  folder.expect(0, "fine", {});
  folder.build("s.mtx", "--mesh mesh.txt");
  EXPECT_EQ(folder.read("store/s.mtx.info"), good);
  EXPECT_FALSE(folder.has("s.mtx.info"));
  EXPECT_TRUE(std::filesystem::is_symlink(folder.path("s.mtx")));
}

// What a run made of observations that were not the matrix's is told by all who look at it.
TEST(QvxReport, SaysThatTheObservationsAreNotThoseOfTheSensitivityFile) {
  const CheckFolder folder;
  folder.write("obs.mag", replace_all(survey(), " 65 ", " 65.5 "));
  run_program(folder, "run.inp 1");
  const QvxRun report = run_qvx(folder, "report run.inp");
  EXPECT_TRUE(report.out.starts_with("Wrong observations. ")) << report.out;
  EXPECT_NE(report.out.find("(stations differ)"), std::string::npos) << report.out;
  const QvxRun exported = run_qvx(folder, "export run.inp --csv model.csv");
  EXPECT_EQ(exported.status, 0) << exported.err;
  EXPECT_NE(exported.err.find("Warning: the sensitivity file was made for other observations"),
            std::string::npos)
      << exported.err;
  folder.write("obs.mag", survey());
  const QvxRun changed = run_qvx(folder, "report run.inp");
  EXPECT_EQ(changed.status, 1);
  EXPECT_NE(changed.err.find("The stations were changed since the run"), std::string::npos)
      << changed.err;
}

TEST(QvxCheck, WarnsOfTheUsualSlips) {
  const CheckFolder folder;
  std::filesystem::remove(folder.path("s.mtx.info"));
  const auto expect_warning = [&](const InputLines& lines, const std::string& message) {
    folder.input(lines);
    folder.expect(1, "1 warning", {"warning: " + message});
  };
  folder.write("low.txt", "224*-0.01\n");
  expect_warning({{2, "0.05 0"}}, "chifact 0.05 asks for residuals of 0.22 standard deviations");
  for (const char* below : {"-1 0", "-0 0"})
    expect_warning({{2, below}}, "chifact should be positive: with this target the run takes it");
  expect_warning({{2, "0 0"}}, "chifact should be positive: this target cannot be reached");
  expect_warning({{6, "low.txt"}}, "224 of 224 active cells of the reference model lie outside");
  expect_warning({{6, "VALUE 20"}, {9, "VALUE 100"}},
                 "224 active cells of the reference model exceed");
  folder.write("cells.txt", "220*1 2*0 2*-1\n");
  folder.write("air.txt", "221*0 -100 0 -100\n");
  folder.input({{6, "air.txt"}, {7, "cells.txt"}});
  folder.expect(1, "2 warnings",
                {fact("fixed cells", "-100 to 0 SI"), "2 fixed cells of the reference model exceed",
                 "2 of them hold -100, the mark of air",
                 "the initial misfit is more than 100 times the misfit of the zero model"});
  const auto expect_survey = [&](const std::string& text, const std::string& message,
                                 const std::string& closing = "1 warning") {
    folder.input({});
    folder.write("obs.mag", text);
    folder.expect(1, closing, {"warning: " + message});
  };
  const char* heading = "60 15 50000\n60 15 1\n";
  expect_survey(survey("60 15 5e-5\n60 15 1\n"), "the field of 5e-05 nT looks like tesla");
  expect_survey(survey("60 15 19999\n60 15 1\n"), "the field of 19999 nT is unlike the Earth's");
  expect_survey(survey(heading, "65 5 49.9 -7 2"),
                "1 of 30 stations lie below the ground, which is right for boreholes only:"
                "\n         datum 30 at easting 65.00");
  expect_survey(survey(heading, "101 5 65 -7 2"), "1 of 30 stations lie outside the mesh");
  expect_survey(survey(heading, "-101 90 0 -7 2"), "1 of 30 stations lie outside the mesh");
  expect_survey(survey(heading, "65 5 65 -7 0.095"), "1 of 30 standard deviations are below 0.1 %");
  expect_survey(survey("60 15 50000\n60 95 1\n", "65 5 65 -7 0.09"), "1 of 30 standard");
  std::string tesla = heading + std::string("30\n");
  for (int i = 0; i < 30; ++i) tesla += fmt::format("{} 0 65 {}e-9 2e-9\n", 3 * i, 7 * (i % 9));
  expect_survey(tesla, "the largest of the data is 5.6e-08 nT; they look like tesla");
  folder.write("obs.mag", replace_all(survey(), " 2\n", " 50\n"));
  expect_warning({{5, "VALUE 0.001"}}, "a model of zero everywhere would reach the target");
}

// Where the run stops, both programs say the same; the check goes on and counts.
TEST(QvxCheck, ErrorsAreTheRunsMessagesAndTheOtherChecksGoOn) {
  const CheckFolder folder;
  folder.write("few.txt", "0.1\n");
  folder.write("cut.mtx", folder.read("s.mtx").substr(0, 5000));
  folder.write("cut.mag", "60 15 50000\n60 15 1\n29\n1 2 3\n");
  folder.write("29.mag", replace_all(survey(), "30\n", "29\n"));
  for (const auto& [lines, message] :
       {std::pair{InputLines{{1, "3"}}, "ERROR: model should be 1 or 2."},
        {InputLines{{2, "1 -1"}}, "Error: tolc should be greater than 0."},
        {InputLines{{2, "1e5 0"}}, "Target misfit is too large to be meaningful."},
        {InputLines{{3, "none.mag"}}, "ERROR: data file not found: none.mag"},
        {InputLines{{3, "29.mag"}}, "ERROR: Number of data is inconsistent in obs and mtx files."},
        {InputLines{{3, "cut.mag"}}, "ERROR: Number of data is inconsistent in obs and mtx files."},
        {InputLines{{4, "cut.mtx"}}, "ERROR reading sensitivity file cut.mtx"},
        {InputLines{{4, "obs.mag"}}, "ERROR reading sensitivity file obs.mag"},
        {InputLines{{5, "few.txt"}}, "ERROR: end reached reading initial model file few.txt"},
        {InputLines{{6, "few.txt"}}, "ERROR: end reached reading reference model file few.txt"},
        {InputLines{{7, "few.txt"}}, "ERROR reading active cell file few.txt"},
        {InputLines{{8, "VALUE 1"}}, "ERROR: Upper bound should be greater than lower: 1"},
        {InputLines{{6, "VALUE 0.5"}, {8, "VALUE 0.0015"}},
         "ERROR: number of cells in initial model outside bounds: 112"},
        {InputLines{{10, "1 2"}}, "ERROR reading alpha or length scale values in input file."},
        {InputLines{{12, "few.txt"}}, "ERROR: end reached reading weight file few.txt"}}) {
    folder.input(lines);
    const auto before = contents(folder);
    folder.expect(2, "1 error", {"error: the run would stop here and say\n", message});
    EXPECT_EQ(contents(folder), before);
    EXPECT_NE(run_program(folder, "run.inp 1").find(message), std::string::npos) << message;
    for (const char* name : {"quorivex.log", "quorivex.out"})
      std::filesystem::remove(folder.path(name));
    std::filesystem::remove(folder.path("console.txt"));
  }
  folder.input({{2, "1 -1"}, {4, "none.mtx"}, {10, "1 2"}});
  folder.write("obs.mag", survey("60 15 5\n60 15 1\n"));
  folder.expect(2, "3 errors, 1 warning", {"sensitivity file not found: none.mtx", "length scale"});
  folder.input({{3, "29.mag"}, {5, "few.txt"}, {8, "VALUE 2"}, {10, "1 2"}});
  folder.expect(2, "4 errors", {"hold 29 data, the sensitivity file 30"});
  EXPECT_EQ(run_qvx(folder, "check").status, 2);
  EXPECT_EQ(run_qvx(folder, "check none.inp").status, 2);
  EXPECT_EQ(run_qvx(folder, "check run.inp --nonsense").status, 2);
  folder.input({});
  folder.write("obs.mag", survey());
  std::filesystem::create_symlink("s.mtx", folder.path("quorivex_009.pre"));
  folder.expect(2, "1 error", {"s.mtx would be overwritten by the run's quorivex_009.pre"});
}

}  // namespace
}  // namespace quorivex::test
