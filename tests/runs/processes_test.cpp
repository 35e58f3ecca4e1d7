// SPDX-License-Identifier: GPL-3.0-or-later
// Runs of qvx-mpi with several processes, against those of qvx.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "run_processes.h"

namespace quorivex::test {
namespace {

QvxRun run_processes(const ScratchFolder& folder, int processes, const std::string& arguments,
                     const std::string& before = "true") {
  return run_processes(QVX_MPI_PROGRAM, folder, processes, arguments, before);
}

/// mesh.txt, topo.txt and obs.mag: hills below the stations of a mesh without powers of two.
void write_survey(const ScratchFolder& folder, int data, const std::string& layers = "7*20") {
  folder.write("mesh.txt", "11 9 " + layers.substr(0, layers.find('*')) +
                               "\n300000 6000000 500\n11*25\n9*30\n" + layers + "\n");
  std::string points;
  for (int i = 0; i < 144; ++i) {
    const int east = 299990 + 30 * (i % 12);
    const int north = 5999990 + 30 * (i / 12);
    points += fmt::format("{} {} {:.2f}\n", east, north, 470 + 25 * std::sin(east / 70.0 + north));
  }
  folder.write("topo.txt", points);
  std::string text = fmt::format("65 12 50000\n65 12 1\n{}\n", data);
  for (int i = 0; i < data; ++i) {
    text += fmt::format("{} {} {} {} {}\n", 300009 + 19 * (i % 13), 6000003 + 21 * (i / 13),
                        530 + i % 3, i % 9, 2 + i % 4);
  }
  folder.write("obs.mag", text);
}

const std::string kBuild = "sensitivity --mesh mesh.txt --topography topo.txt --data obs.mag ";

// Rows at the wrong places; sums that follow the processes; a share of the cells left out. 3
// matters: sums of powers of two agree by luck. With 2 and 20 data some processes have none.
TEST(Processes, WriteTheFilesOfOneByteByByte) {
  for (const auto& [data, options] : {std::pair{150, "--wavelet none"},
                                      {150, "--scale depth"},
                                      {150, "--wavelet sym4 --scale sensitivity --threshold 0.001"},
                                      {20, "--error auto --scale none"},
                                      {2, "--wavelet haar --scale sensitivity"}}) {
    const ScratchFolder folder;
    write_survey(folder, data);
    ASSERT_EQ(run_qvx(folder, kBuild + options + " --output s.mtx").status, 0);
    for (int processes = 1; processes <= 4; ++processes) {
      const QvxRun run = run_processes(
          folder, processes,
          kBuild + options + " --output p.mtx --threads " + std::to_string(1 + processes % 2));
      EXPECT_EQ(run.status, 0) << run.err;
      EXPECT_TRUE(folder.read("p.mtx") == folder.read("s.mtx")) << options << processes;
      EXPECT_EQ(folder.read("p.mtx.info"), folder.read("s.mtx.info")) << options << processes;
      EXPECT_FALSE(folder.has_leftovers());
      std::filesystem::remove(folder.path("p.mtx"));
    }
  }
}

TEST(Processes, PredictTheDataOfOneByteByByte) {
  const ScratchFolder folder;
  write_survey(folder, 50);
  std::string model;
  for (int cell = 0; cell < 693; ++cell) model += fmt::format("{}\n", 0.001 * (cell % 17));
  folder.write("model.txt", model);
  ASSERT_EQ(run_qvx(folder, kBuild + "--output s.mtx").status, 0);
  for (const std::string of : {"--mesh mesh.txt --topography topo.txt", "--matrix s.mtx"}) {
    const std::string command =
        "forward --data obs.mag --model model.txt --noise-floor 1 " + of + " --output ";
    const QvxRun one = run_qvx(folder, command + "f.mag");
    for (int processes = 1; processes <= 4; ++processes) {
      const QvxRun run = run_processes(folder, processes, command + "f.mag --threads 1");
      EXPECT_EQ(run.out, one.out) << run.err;
      std::filesystem::rename(folder.path("f.mag"), folder.path(std::to_string(processes)));
    }
    run_qvx(folder, command + "f.mag");
    for (const char* processes : {"1", "2", "3", "4"})
      EXPECT_EQ(folder.read(processes), folder.read("f.mag")) << of << processes;
  }
}

TEST(Processes, PlanAsOneDoes) {
  const ScratchFolder folder;
  write_survey(folder, 50);
  const auto without_time = [](const std::string& text) {
    const std::size_t time = std::min(text.find("  time "), text.size());
    return text.substr(0, time) + text.substr(std::min(text.find('\n', time), text.size()));
  };
  const std::string plan = kBuild + "--plan --threads 1";
  const QvxRun run = run_processes(folder, 3, plan);
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(without_time(run.out), without_time(run_qvx(folder, plan).out));
}

/// All processes have ended with status 1, one message and the files that were there before.
void expect_failure(const ScratchFolder& folder, const QvxRun& run, const std::string& message) {
  EXPECT_EQ(run.status, 1) << run.err;
  EXPECT_EQ(occurrences(run.out + run.err, message), 1) << run.err;
  EXPECT_EQ(occurrences(run.out + run.err, "ERROR"), occurrences(message, "ERROR")) << run.err;
  for (const auto& entry : std::filesystem::directory_iterator(folder.path("")))
    EXPECT_FALSE(entry.path().filename().string().starts_with("p.")) << entry.path();
}

TEST(Processes, EndTogetherWhenOneOfThemFails) {
  const ScratchFolder folder;
  write_survey(folder, 150, "180*1");  // a file of 9 MB
  const std::string build = kBuild + "--wavelet none --scale none --threads 1 --output p.mtx";
  const auto with = [&](const std::string& before) {
    return run_processes(folder, 3, build, before);
  };
  expect_failure(folder, with("[ $rank != 1 ] || ulimit -f 12000"),  // of 512 bytes
                 "ERROR writing file p.mtx: File too large");
  expect_failure(folder, with("[ $rank != 2 ] || cd /"), "ERROR: data file not found: obs.mag");
  expect_failure(folder, with("[ $rank != 0 ] || rm mesh.txt"),
                 "ERROR: mesh file not found: mesh.txt");
  expect_failure(folder, run_processes(folder, 3, "sensitivity --mehs m"), "mean --mesh?");
  expect_failure(folder, run_processes(folder, 3, "mesh"), "run qvx mesh.");
}

// The second has the room for MPI itself, and not for the wavelet grid.
TEST(Processes, EndTogetherWhenOneHasNoMemory) {
  const ScratchFolder folder;
  write_survey(folder, 2, "20000*0.01");
  expect_failure(
      folder,
      run_processes(folder, 3,
                    "sensitivity --mesh mesh.txt --data obs.mag --scale none --threads 1 "
                    "--output p.mtx",
                    "[ $rank != 1 ] || ulimit -v 400000"),
      "Memory allocation error in: ");
}

TEST(Processes, LeaveNothingBehindAfterASignal) {
  const ScratchFolder folder;
  write_survey(folder, 16000, "400*0.5");
  folder.write("signal.sh",
               QUORIVEX_MPIEXEC " -n 3 '" QVX_MPI_PROGRAM "' " + kBuild +
                   "--threads 1 --output p.mtx & run=$!\n"
                   "until ls | grep -q part; do sleep 0.05; done\nsleep 0.5\nkill -TERM $run\n"
                   "wait $run\necho $? > status\n");
  const std::string command =
      "cd '" + folder.path("") + "' && timeout -k 5 60 sh signal.sh > out.txt 2>&1 < /dev/null";
  EXPECT_EQ(std::system(command.c_str()), 0);
  EXPECT_NE(folder.read("status"), "0\n");
  EXPECT_FALSE(folder.has("p.mtx") || folder.has_leftovers());
}

TEST(Processes, AreNotKnownToTheSerialPrograms) {
  for (const char* program : {QVX_PROGRAM, QUORIVEX_PROGRAM})
    EXPECT_NE(std::system(fmt::format("ldd '{}' | grep -q libmpi", program).c_str()), 0);
  EXPECT_EQ(std::system("ldd '" QVX_MPI_PROGRAM "' | grep -q libmpi"), 0);
}

}  // namespace
}  // namespace quorivex::test
