// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>

#include <limits>
#include <sstream>

#include "compressed.h"
#include "run_qvx.h"

namespace quorivex::test {
namespace {

/// A survey of 20 x 10 stations, 40 m apart, without values.
std::string locations() {
  std::string text = "65 12 50000\n65 12 1\n200\n";
  for (int i = 0; i < 200; ++i)
    text += fmt::format("{} {} {}\n", 300007 + 40 * (i % 20), 6000003 + 40 * (i / 20), 512 + i % 7);
  return text;
}

/// The text after `label` up to the end of `end`.
std::string after(const std::string& text, const std::string& label, const std::string& end) {
  const std::size_t at = text.find(label);
  EXPECT_NE(at, std::string::npos) << label << "\n" << text;
  if (at == std::string::npos) return "";
  const std::size_t begin = at + label.size();
  return text.substr(begin, text.find(end, begin) - begin);
}

TEST(QvxMesh, TheFileHoldsTheMeshThatTheConsolePromises) {
  const ScratchFolder folder;
  folder.write("my survey.loc", locations());
  const QvxRun run = run_qvx(folder, "mesh --data 'my survey.loc' --output m.txt");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err, "");
  const Mesh mesh = read_mesh_file(folder.path("m.txt"));
  EXPECT_EQ(std::count(mesh.de.begin(), mesh.de.end(), 20.0), 40);  // 760 m and 20 or more
  EXPECT_EQ(std::count(mesh.dn.begin(), mesh.dn.end(), 20.0), 20);
  EXPECT_LE(mesh.easting_nodes.front(), 300007.0 - 760.0);
  EXPECT_GE(mesh.northing_nodes.back(), 6000363.0 + 760.0);
  EXPECT_EQ(mesh.z0, 500.0);
  EXPECT_EQ(mesh.dz.front(), 10.0);
  for (const std::string& promise :
       {fmt::format("{} x {} x {} cells", mesh.ne, mesh.nn, mesh.nz),
        fmt::format("{} in all", mesh.cells()), std::string("spacing    40 m"),
        fmt::format("{} to {} m, cells of 20 to {} m", mesh.easting_nodes.front(),
                    mesh.easting_nodes.back(), mesh.de.front()),
        fmt::format("takes {:.1f} MB with a full", 4.9 + 986e-6 * double(mesh.cells())),
        std::string("qvx sensitivity --mesh m.txt --data 'my survey.loc' --output "
                    "'my survey.mtx'\n")}) {
    EXPECT_NE(run.out.find(promise), std::string::npos) << promise << "\n" << run.out;
  }
  const std::string wider = "--cell " + after(run.out, "Fewer cells: --cell ", " makes ");
  EXPECT_NE(run_qvx(folder, "mesh --data 'my survey.loc' --output w.txt " + wider)
                .out.find(after(run.out, wider + " makes ", ";") + " in all"),
            std::string::npos);
  const std::string text = folder.read("m.txt");
  for (std::size_t at = 0, end = 0; (end = text.find('\n', at)) != std::string::npos; at = end + 1)
    EXPECT_LE(end - at, 100U);
}

TEST(QvxMesh, EveryOptionArrivesInTheMesh) {
  const ScratchFolder folder;
  folder.write("s.loc", locations());
  const QvxRun run = run_qvx(folder,
                             "mesh --data s.loc --output m.txt --cell 100 --padding 500 --growth 2 "
                             "--top 600.5 --first-layer 30 --layer-growth 1 --depth 90 "
                             "--bottom-layers 2");
  EXPECT_EQ(run.status, 0);
  EXPECT_NE(run.err.find("200 of 200 stations lie below the mesh top of 600.5 m"),
            std::string::npos);
  EXPECT_EQ(folder.read("m.txt"),
            "14 10 5\n299300 5999300 600.5\n400 200 10*100 200 400\n400 200 6*100 200 400\n"
            "3*30 60 120\n");
}

TEST(QvxMesh, RefusalsSayWhatToDoAndWriteNothing) {
  const ScratchFolder folder;
  folder.write("s.loc", locations());
  folder.write("one.loc", "65 12 50000\n65 12 1\n2\n1 2 3\n1 2 3\n");
  const std::string mesh = "mesh --output m.txt --data s.loc ";
  expect_refused(folder, "mesh --output m.txt --data one.loc", "Give it in metres with --cell.");
  expect_refused(folder, "mesh --output m.txt", "qvx mesh needs --data FILE.");
  expect_refused(folder, "mesh --output m.txt --data x.loc", "data file not found: x.loc");
  expect_refused(folder, "mesh --output ./s.loc --data s.loc", "would replace a file that is read");
  expect_refused(folder, mesh + "--cell 0.0005", "--cell");
  expect_refused(folder, mesh + "--cell 0.01", "cells is too large");
  expect_refused(folder, mesh + "--cell 0.001 --padding 2000 --growth 1", "along an axis");
  expect_refused(folder, mesh + "--first-layer 0.001 --layer-growth 1 --depth 2000", "an axis");
  for (const char* value : {"0", "-5", "nan", "inf", "5m"}) {
    for (const char* option : {"--cell", "--first-layer", "--depth"})
      expect_refused(folder, mesh + option + " " + value, option);
  }
  expect_refused(folder, mesh + "--growth 0.9", "--growth: should be a number from 1 to 10");
  EXPECT_FALSE(folder.has("m.txt") || folder.has_leftovers());
  EXPECT_EQ(folder.read("s.loc"), locations());
  EXPECT_EQ(run_qvx(folder, "mesh --output m.txt --data one.loc --cell 5").status, 0);
}

const Survey& small_survey() {
  static const Survey made = make_survey({.ne = 5, .nn = 4, .nz = 3});
  return made;
}

void expect_texts(const QvxRun& run, const std::vector<std::string>& texts) {
  EXPECT_EQ(run.status, 0) << run.err;
  for (const std::string& text : texts)
    EXPECT_NE(run.out.find(text), std::string::npos) << text << "\n" << run.out;
}

TEST(QvxInfo, BothFormsInWords) {
  const ScratchFolder folder;
  folder.write("full.mtx", framed(sensitivity_records(small_survey())));
  const QvxRun full = run_qvx(folder, "info full.mtx");
  expect_texts(full, {"20 data to 35 cells", "5 x 4 x 3 cells", "60 in all",
                      "1000 to 1125 m, cells of 25 m", "300 to 225 m", "35 cells are ground, 25",
                      "full form\n  size of the file", "(wtz): 0.714286 to 0.833333"});
  EXPECT_EQ(full.err, "");

  const std::vector<std::string> records = compressed_records(small_survey(), 4);
  std::size_t bytes = 0;
  for (std::size_t row = 6; row + 1 < records.size(); ++row) bytes += records[row].size() - 4;
  folder.write("compressed.mtx", framed(records));
  const QvxRun compressed = run_qvx(folder, "info compressed.mtx");
  const double size = double(framed(records).size());
  const double uncompressed = double(folder.read("full.mtx").size()) + 32.0;  // with the filter
  expect_texts(compressed,
               {"filter of 4 coefficients\n  grid of 8 x 4 x 4 points along easting",
                fmt::format("{} coefficients,", bytes / 8),
                fmt::format("size of the file {:.1f} kB, {:.1f} % of the {:.1f} kB of", 1e-3 * size,
                            100.0 * size / uncompressed, 1e-3 * uncompressed)});
  EXPECT_EQ(compressed.err, "");
}

TEST(QvxInfo, WarnsOfWhatTheReaderAccepts) {
  const ScratchFolder folder;
  std::vector<std::string> records = compressed_records(small_survey(), 4);
  const auto expect_warning = [&](std::size_t number, const std::string& changed,
                                  const std::string& text) {
    std::vector<std::string> wrong = records;
    wrong[number - 1] = changed;
    folder.write("wrong.mtx", framed(wrong));
    const QvxRun run = run_qvx(folder, "info wrong.mtx");
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.err.find("Warning: " + text), std::string::npos) << text << "\n" << run.err;
  };
  std::vector<double> filter = orthonormal_filter(4);
  filter[1] += 2e-6;
  expect_warning(4, record(4, filter), "the wavelet filter is not orthonormal");
  const double root = std::sqrt(0.5);
  expect_warning(4, record(4, std::vector{0.5, 0.5, 0.5, 0.5}), "the wavelet filter is not");
  expect_warning(4, record(3, std::vector{root, root, 0.0}), "the wavelet filter is not");
  std::vector<double> values = small_survey().wtz;
  values[7] = 0.0;
  expect_warning(6, record(7, values),
                 "wtz should be positive: 1 of 35 values, the first is "
                 "number 8, 0.");
  values = small_survey().gdiag;
  values[3] = std::numeric_limits<double>::quiet_NaN();
  expect_warning(records.size(), record(values), "gdiag should not be negative: 1 of 35");
  expect_warning(3, record(std::vector<std::int32_t>(20, 1)), "the matrix has 35 columns, but 40");
  expect_warning(8, record(1, 1, std::numeric_limits<float>::infinity()), "1 of 20 rows hold");
  records.emplace_back("after");
  expect_warning(1, records[0], "13 bytes follow the last record");
}

TEST(QvxInfo, WhatTheReaderRefusesEndsWithStatusOne) {
  const ScratchFolder folder;
  const std::string whole = framed(sensitivity_records(small_survey()));
  folder.write("cut.mtx", whole.substr(0, whole.size() - 5));
  expect_refused(folder, "info cut.mtx", "ERROR reading sensitivity file cut.mtx");
  expect_refused(folder, "info none.mtx", "sensitivity file not found: none.mtx");
  expect_refused(folder, "info", "info needs FILE");
  folder.write("survey.mag", "60 15 50000\n");
  expect_refused(folder, "info survey.mag", "survey.mag is not a sensitivity file");
}

// Bytes of a damaged file that move the cursor, ring the bell or rename the window.
TEST(Qvx, ControlCharactersOfAFileDoNotReachTheTerminal) {
  const ScratchFolder folder;
  const std::string bell = "\x1b]0;title\x07";
  folder.write("run.inp", "1\n1 0\nobs" + bell + "\nsens.mtx" + bell + "\n");
  folder.write("obs.mag", "60 15 50000\n60 15 1\n1\n1 " + bell + "\n");
  folder.write("table.csv", "X,Y" + bell + ",F,Z\n1,2,3,4\n5,6,7" + bell + ",8\n");
  folder.write("mesh.txt", "1 1 1\n0 0 " + bell);
  for (const char* command :
       {"check run.inp", "mesh --data obs.mag --output m.txt",
        "survey --table table.csv --easting 1 --northing 2 --field 3 --elevation 4 --floor 1 "
        "--inclination 60 --declination 0 --strength 50000 --output s.mag",
        "sensitivity --data obs.mag --mesh mesh.txt --output s.mtx"}) {
    const QvxRun run = run_qvx(folder, command);
    EXPECT_GT(run.status, 0) << command;
    EXPECT_EQ((run.out + run.err).find_first_of("\x1b\x07"), std::string::npos)
        << run.out << run.err;
  }
}

// As root, who may read everything, they are run as nobody.
TEST(Qvx, AFileThatMayNotBeReadIsNotSaidToBeMissing) {
  const ScratchFolder folder;
  std::filesystem::permissions(folder.path(""), std::filesystem::perms::all);
  for (const char* name : {"obs.mag", "table.csv"}) {
    folder.write(name, "1\n");
    std::filesystem::permissions(folder.path(name), std::filesystem::perms::none);
  }
  const auto expect = [&](const std::string& command, const std::string& why) {
    const std::string nobody = getuid() == 0 ? "setpriv --reuid=65534 --clear-groups '" QVX_PROGRAM
                                               "' "
                                             : "'" QVX_PROGRAM "' ";
    const std::string line =
        "cd '" + folder.path("") + "' && " + nobody + command + " > out.txt 2> err.txt";
    EXPECT_NE(std::system(line.c_str()), 0);
    EXPECT_NE(folder.read("err.txt").find(why), std::string::npos) << folder.read("err.txt");
  };
  expect("mesh --data obs.mag --output m.txt", "obs.mag is there, but may not be read.");
  expect(
      "survey --table table.csv --easting 1 --northing 2 --field 3 --elevation 4 --floor 1 "
      "--inclination 60 --declination 0 --strength 50000 --output s.mag",
      "ERROR: table file: table.csv is there, but may not be read.");
}

TEST(Qvx, HelpFitsATerminalOfEightyColumns) {
  const ScratchFolder folder;
  for (const char* command : {"", "survey", "mesh", "sensitivity", "forward", "model", "input",
                              "info", "check", "report", "continue", "export"}) {
    const QvxRun run = run_qvx(folder, std::string(command) + " --help");
    EXPECT_EQ(run.status, 0);
    std::istringstream help(run.out);
    for (std::string line; std::getline(help, line);) EXPECT_LE(line.size(), 80U) << line;
  }
}

// Two formulas for one number, or sizes of different things under one name. The sample of the plan
// holds all rows here, so that its figures are exact.
TEST(Qvx, EveryCommandStatesTheSameSizeAndMemory) {
  const ScratchFolder folder;
  folder.write("mesh.txt", "8 7 5\n300000 6000000 500\n8*25\n7*25\n5*20\n");
  std::string text = "65 12 50000\n65 12 1\n30\n";
  for (int i = 0; i < 30; ++i)
    text += fmt::format("{} {} 530 {} 2\n", 300009 + 31 * (i % 6), 6000003 + 29 * (i / 6), i % 9);
  folder.write("obs.mag", text);
  folder.write("run.inp",
               "1\n1 0\nobs.mag\ns.mtx\nVALUE 0\nVALUE 0\nnull\nVALUE 0\nVALUE 1\nnull\n"
               "SMOOTH_MOD\nnull\n");
  folder.write("model.txt", "280*0.01\n");
  std::string full;  // size of the file in full form
  for (const std::string wavelet : {"none", "daub4"}) {
    const std::string command =
        "sensitivity --mesh mesh.txt --elevation 485 --data obs.mag --wavelet " + wavelet;
    const std::string plan = run_qvx(folder, command + " --plan").out;
    const QvxRun built = run_qvx(folder, command + " --output s.mtx");
    const std::string info = run_qvx(folder, "info s.mtx").out;
    const std::string check = run_qvx(folder, "check run.inp").out;
    const std::string size = after(built.out, "  size                 ", "\n");
    EXPECT_TRUE(
        size.starts_with(fmt::format("{:.1f} kB", 1e-3 * double(folder.read("s.mtx").size()))))
        << size;
    EXPECT_EQ(after(plan, "  size                 ", "\n"), size);
    EXPECT_EQ(after(info, "  size of the file ", "\n"), size);
    EXPECT_EQ(after(check, "  size of the file ", "\n"), size);
    const std::string memory = after(built.out, "  memory               ", " for an inversion");
    EXPECT_EQ(after(plan, " to compute it, ", " for an inversion"), memory);
    EXPECT_EQ(after(info, "An inversion takes about ", " of memory"), memory);
    EXPECT_EQ(after(check, "An inversion takes about ", " of memory"), memory);
    // Almost every coefficient of so small a mesh is needed.
    EXPECT_EQ(built.err, wavelet == "none" ? ""
                                           : "Hint: compression saves hardly anything here, "
                                             "and costs time and accuracy; --wavelet none\n"
                                             "writes the full form.\n");
    if (wavelet == "none") {
      full = size;
    } else {
      EXPECT_EQ(after(size, " of the ", " of the full form"), full);
    }
    const QvxRun forward =
        run_qvx(folder, "forward --matrix s.mtx --data obs.mag --model model.txt --output f.mag");
    EXPECT_EQ(forward.status, 0) << forward.err;
    EXPECT_EQ(forward.out.find("WARNING"), std::string::npos) << forward.out;
    EXPECT_EQ(forward.err, "");
  }
}

}  // namespace
}  // namespace quorivex::test
