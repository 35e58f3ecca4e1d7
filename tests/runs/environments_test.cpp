// SPDX-License-Identifier: GPL-3.0-or-later
// What surrounds a run and is not part of it: locale, settings of OpenMP, stack, standard streams,
// names of files.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "scratch_folder.h"

namespace quorivex::test {
namespace {

namespace fs = std::filesystem;

constexpr const char* kSmallMesh = "4 3 3\n0 0 100\n4*25\n3*25\n3*20\n";
constexpr const char* kSmallData =
    "65 12 50000\n65 12 1\n6\n10 10 120 5.5 1\n60 20 120 8 1\n90 30 120 3 1\n10 60 120 4 1\n"
    "60 55 120 7 1\n90 50 120 2 1\n";

/// Runs a command of the shell in the folder, where N is a name and Q and I are the programs.
void run_shell(const ScratchFolder& folder, const std::string& command, const std::string& name) {
  setenv("N", name.c_str(), 1);
  const std::string line = fmt::format(
      "export OMP_WAIT_POLICY=passive; cd '{}' && Q='{}' I='{}' && ({}) > console.txt 2>&1",
      folder.path(""), QVX_PROGRAM, QUORIVEX_PROGRAM, command);
  EXPECT_EQ(std::system(line.c_str()), 0) << folder.read("console.txt");
}

/// Everything that the programs make of a small survey whose files have that name, by extension;
/// without what holds dates.
std::map<std::string, std::string> made(const std::string& before, const std::string& name) {
  const ScratchFolder folder;
  folder.write(name + ".txt", kSmallMesh);
  folder.write(name + ".mag", kSmallData);
  folder.write(name + ".inp",
               fmt::format("2\n1e6 0\n{0}.mag\n{0}.mtx\nVALUE 0.001\nVALUE 0.0\nnull\nVALUE 0.0\n"
                           "VALUE 1.0\nnull\nSMOOTH_MOD\nnull\n",
                           name));
  run_shell(folder,
            before +
                R"(
"$Q" sensitivity --mesh "$N.txt" --data "$N.mag" --output "$N.mtx" && "$I" "$N.inp" &&
"$Q" export "./$N.inp" --vtr "$N.vtr" --csv "$N.csv" --points "$N
.vtp" --data-csv "$N.d.csv" && "$Q" report "./$N.inp" --output "$N.html" &&
"$Q" forward --matrix "$N.mtx" --data "$N.mag" --model quorivex_001.sus --output "$N.f.mag")",
            name);
  std::map<std::string, std::string> files;
  for (const auto& entry : fs::directory_iterator(folder.path(""))) {
    const std::string file = entry.path().filename().string();
    const std::string kind = file.starts_with(name) ? file.substr(name.size()) : file;
    if (kind != "quorivex.log" && kind != "quorivex.out" && kind != "console.txt") {
      files[kind] =
          kind == ".html" || kind == ".inp" || kind == ".mtx.info" ? "" : folder.read(file);
    }
  }
  return files;
}

// A number that the locale prints, a result that depends on the threads, a file that takes the
// place of a closed stream, an array on the stack.
TEST(Environments, ChangeNoResult) {
  std::vector<std::string> environments{
      "export OMP_NUM_THREADS=-1", "export OMP_NUM_THREADS=0",   "export OMP_NUM_THREADS=abc",
      "export OMP_THREAD_LIMIT=1", "export OMP_DYNAMIC=true",    "export OMP_SCHEDULE=foo",
      "export OMP_STACKSIZE=1",    "export OMP_NUM_THREADS=3,2", "export OMP_MAX_ACTIVE_LEVELS=0",
      "export OMP_PLACES={99}:5",  "export OMP_PROC_BIND=x",     "export GOMP_CPU_AFFINITY=77-99",
      "export OMP_CANCELLATION=x", "export LC_ALL=xx_YY",        "exec <&- >&- 2>&-"};
#ifndef QUORIVEX_SANITIZED
  environments.insert(environments.end(), {"export OMP_NUM_THREADS=99999999", "ulimit -s 64"});
#endif
  const ScratchFolder locales;
  const std::string decimal_comma = locales.path("de_DE.UTF-8");
  if (std::system(("localedef -i de_DE -f UTF-8 " + decimal_comma + " 2> /dev/null").c_str()) ==
      0) {
    // The C library itself keeps what LOCPATH names, when a library of netCDF makes a locale.
    environments.push_back("export ASAN_OPTIONS=detect_leaks=0 LC_ALL=de_DE.UTF-8 LOCPATH=" +
                           locales.path(""));
  }
  const auto plain = made("", "a");
  for (const std::string& environment : environments)
    EXPECT_TRUE(made(environment + ";", "a") == plain) << environment;
}

// A name taken for an option or a pattern, cut, or split at a blank.
TEST(Environments, EveryNameIsAName) {
  const auto plain = made("", "a");
  for (const std::string& name :
       {std::string("two words"), std::string("-x"), std::string("--data"),
        std::string("it's \"$(x)`y`\\ %s{}*?[a]"), std::string("Gr\u00fc\u00dfe \u6e2c\u91cf"),
        std::string(200, 'n')}) {
    EXPECT_TRUE(made("", name) == plain) << name;
  }
}

}  // namespace
}  // namespace quorivex::test
