// SPDX-License-Identifier: GPL-3.0-or-later
#include <cmath>

#include "run_program.h"
#include "run_qvx.h"
#include "values.h"

namespace quorivex::test {
namespace {

/// Uneven along every axis; the terrain cuts off the upper layer in the east.
class TablesFolder : public ScratchFolder {
 public:
  TablesFolder() {
    write("mesh.txt", "4 3 3\n0 100 50\n10 30 20 40\n20 30 10\n5 15 30\n");
    write("t.txt",
          "-50 50 50\n60 50 50\n61 50 45\n200 50 45\n-50 200 50\n60 200 50\n61 200 45\n"
          "200 200 45\n");
  }
};

constexpr const char* kTablesGround = "--mesh mesh.txt --topography t.txt ";

TEST(QvxModelTables, HolesGiveTheirCellsValuesByColumnAndByUnit) {
  const TablesFolder folder;
  // Vertical through the cells of column 1, row 1; a short one in a corner of column 4, row 3.
  folder.write("collar.csv", "BHID,East,North,Level\nA,5,110,50\nB,61,151,45\n");
  folder.write("parts.csv",
               "hole,from,to,rock,kappa,kmax\nA,0,4,sand,0.1,0.3\nA,4,50,ore,0.2,0.4\n"
               "B,0,1,clay,0.3,0.5\n");
  folder.write("units.csv", "unit,kappa,kmax\nore,0.7,0.8\n*,0.05,0.06\n");
  const std::string holes =
      std::string("model ") + kTablesGround +
      "--reference r.sus --upper u.sus --set 'holes collars=collar.csv intervals=parts.csv "
      "columns=elevation:Level reference=@kappa upper=@kmax";
  QvxRun run = run_qvx(folder, holes + "'");
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_NE(run.out.find("4 of 33 ground cells"), std::string::npos) << run.out;
  EXPECT_NE(run.out.find("parts.csv: 3 rows read, 0 left out"), std::string::npos) << run.out;
  std::vector<double> found = numbers(folder.read("r.sus"));
  ASSERT_EQ(found.size(), 36U);
  EXPECT_EQ(std::vector<double>(found.begin(), found.begin() + 4),
            (std::vector<double>{0.1, 0.2, 0.2, 0.0}));
  EXPECT_EQ(found[34], 0.3);  // below the layer of air

  run = run_qvx(folder, holes + " unit=rock units=units.csv depth=:20'");
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_NE(run.err.find("2 units of parts.csv are not in units.csv"), std::string::npos)
      << run.err;
  found = numbers(folder.read("u.sus"));
  EXPECT_EQ(std::vector<double>(found.begin(), found.begin() + 3),
            (std::vector<double>{0.06, 0.8, 1.0}));
}

TEST(QvxModelTables, WrongOperationsSayWhatIsExpected) {
  const TablesFolder folder;
  folder.write("v.csv", "x,y,z,k\n5,110,40,0.1\n15,120,30,0.2\n");
  for (const auto& [operation, message] :
       {std::pair{"holes collars=c.csv reference=@k", "holes needs intervals="},
        std::pair{"voxels file=v.csv method=near reference=@k", "method=near should be average or"},
        std::pair{"voxels file=v.csv reference=@kk", "should name a column 'kk', once"},
        std::pair{"voxels file=v.csv unit=k reference=@k", "unit=COLUMN and units=FILE"},
        std::pair{"voxels file=v.csv columns=depth:k reference=@k", "the kinds are easting, "},
        std::pair{"voxels file=none.csv reference=@k", "none.csv"},
        std::pair{"voxels file=v.csv method=nearest active=@k", "active would be 0.1"}}) {
    expect_refused(folder,
                   std::string("model ") + kTablesGround + "--reference r --active a --set '" +
                       operation + "'",
                   message);
  }
}

// The model of a run comes back from the files for other programs.
TEST(QvxModelTables, AnExportedModelIsReadBack) {
  const TablesFolder folder;
  folder.write("s.mag",
               "60 15 50000\n60 15 1\n6\n5 110 60 9 2\n25 110 60 5 2\n50 120 60 3 2\n"
               "80 140 60 4 2\n25 150 60 2 2\n5 155 60 1 2\n");
  const std::string ground = kTablesGround;
  ASSERT_EQ(
      run_qvx(folder, "sensitivity --threads 1 --data s.mag " + ground + "--output s.mtx").status,
      0);
  ASSERT_EQ(run_qvx(folder, "input --data s.mag --matrix s.mtx --output run.inp").status, 0);
  run_program(folder, "run.inp 1");
  const std::string last = *std::prev(result_files(folder).end());
  QvxRun run = run_qvx(folder, "export run.inp --netcdf m.nc --csv m.csv");
  ASSERT_EQ(run.status, 0) << run.err;
  const std::vector<double> model = numbers(folder.read(last));
  for (const char* source : {"m.nc", "m.nc method=nearest", "m.csv missing=empty"}) {
    run = run_qvx(folder, "model --matrix s.mtx --reference r.sus --set 'voxels file=" +
                              std::string(source) + " reference=@susceptibility'");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.out.find("33 cells have a value, 0 are less than half"), std::string::npos)
        << run.out;
    const std::vector<double> found = numbers(folder.read("r.sus"));
    ASSERT_EQ(found.size(), model.size());
    for (std::size_t cell = 0; cell < model.size(); ++cell) {
      if (model[cell] < -1.0) continue;  // air
      EXPECT_LE(std::abs(found[cell] - model[cell]), 1e-6 * std::abs(model[cell]) + 1e-12) << cell;
    }
  }
}

}  // namespace
}  // namespace quorivex::test
