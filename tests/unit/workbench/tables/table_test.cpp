// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/tables/table.h"

#include <gtest/gtest.h>

#include "base/stop_run.h"
#include "scratch_folder.h"
#include "workbench/tables/delimited_text.h"

namespace quorivex::test {
namespace {

using Numbers = std::vector<double>;
using Lines = std::vector<std::int32_t>;
using Names = std::vector<std::string>;

TableRequest request(const Names& columns, const std::string& line = "", const Names& marks = {}) {
  TableRequest wanted;
  const Names what{"easting", "northing", "field"};
  for (std::size_t c = 0; c < columns.size(); ++c)
    wanted.columns.push_back({what[c], columns[c], -1e5, 1e5});
  wanted.line_column = line;
  wanted.missing = marks;
  return wanted;
}

Table table_of(const std::string& text, const TableRequest& wanted) {
  const ScratchFolder folder;
  return read_table(folder.write("t", text), wanted);
}

std::string refusal_of(const std::string& text, const TableRequest& wanted) {
  try {
    table_of(text, wanted);
  } catch (const StopRun& stop) {
    return std::string(stop.console());
  }
  return "not refused";
}

void expect_text(const std::string& whole, const std::string& part) {
  EXPECT_NE(whole.find(part), std::string::npos) << part << "\n" << whole;
}

TEST(SurveyTable, EverySeparatorAndHeaderGivesTheSameColumns) {
  const std::vector<std::string> texts{
      "tmi,N,\"E, m\"\n5,2,1\n-6.5,4,+3\n", "\xEF\xBB\xBFtmi;N;\"E, m\"\r\n5;2;1\r\n\r\n-6.5;4;3",
      "# made by hand\ntmi\tN\tE, m\n5\t2\t1\n#between\n-65e-1\t4\t0.3d1\n",
      "  tmi  N  \"E, m\"\n\n  5 \t2 1\n-6.5    4   3\n",
      "/ XYZ EXPORT\n/ tmi N \"E, m\"\n/=== == ==\n5 2 1\n-6.5 4 3\n"};
  for (const std::string& text : texts) {
    for (const char* easting : {"E, m", "e, M", "#3", "3"}) {
      const Table table = table_of(text, request({easting, "N", "tmi"}));
      EXPECT_EQ(table.columns, (std::vector<Numbers>{{1, 3}, {2, 4}, {5, -6.5}})) << text;
      EXPECT_EQ(table.rows, 2);
      EXPECT_EQ(table.names[2], "tmi");
    }
  }
  TableRequest bars = request({"1", "2", "3"});
  bars.separator = '|';
  EXPECT_EQ(table_of("E|N|tmi\n1|2|5\n", bars).columns, (std::vector<Numbers>{{1}, {2}, {5}}));
  EXPECT_EQ(table_of("1|2|5\n", bars).columns, (std::vector<Numbers>{{1}, {2}, {5}}));
  EXPECT_EQ(split_fields("a,,\"b\"\"c\",", ','), (Names{"a", "", "b\"c", ""}));
}

TEST(SurveyTable, LinesComeFromTheirColumnOrFromRowsOfTheirOwn) {
  const std::string xyz =
      "/ X Y TMI\nLine  100\n1 1 1\n1 2 1\nTie 7\n2 1 1\nLINE: L200:1\n3 1 1\nline 100\n1 3 1\n";
  const Table rows = table_of(xyz, request({"X", "Y", "TMI"}));
  EXPECT_EQ(rows.line, (Lines{0, 0, 1, 2, 0}));
  EXPECT_EQ(rows.line_names, (Names{"line 100", "tie 7", "line L200:1"}));
  EXPECT_EQ(rows.number, (std::vector<std::int64_t>{3, 4, 6, 8, 10}));

  const std::string csv = "line,E,N,T\nB1,1,1,1\nA,2,2,2\nB1,3,3,3\n";
  const Table column = table_of(csv, request({"E", "N", "T"}, "line"));
  EXPECT_EQ(column.line, (Lines{0, 1, 0}));
  EXPECT_EQ(column.line_names, (Names{"B1", "A"}));
  EXPECT_EQ(table_of(csv, request({"E", "N", "T"})).line, (Lines{0, 0, 0}));
}

TEST(SurveyTable, MarkedRowsAreLeftOutAndCountedAllOthersAreRefused) {
  const std::string text = "E,N,T,other\n1,1,*,x\n2,2,7,*\n*,3,*,x\n4,-99999.0,4,x\n5,5,,x\n";
  const Names columns{"E", "N", "T"};
  const Table table = table_of(text, request(columns, "", {"*", "-99999", "empty"}));
  EXPECT_EQ(table.columns, (std::vector<Numbers>{{2}, {2}, {7}}));
  EXPECT_EQ(table.rows, 5);
  EXPECT_EQ(table.missing, (std::vector<std::int64_t>{1, 1, 2}));

  const std::string refused = refusal_of(text, request(columns, "", {"empty"}));
  expect_text(refused,
              "line 2: field (column 3) should be a number from -100000 to 100000, not "
              "'*'\n    1,1,*,x\n");
  expect_text(refused, "line 4: easting (column 1)");
  expect_text(refused, "line 5: northing (column 2) of -99999.0 looks like a mark");
  EXPECT_EQ(refused.find("line 6"), std::string::npos);
  const Names none{"none", "*", "empty"};
  EXPECT_EQ(table_of(text, request(columns, "", none)).columns[1], (Numbers{2, -99999}));
}

TEST(SurveyTable, FaultsNameTheirLines) {
  const Names numbers{"1", "2", "3"};
  for (const char* bad : {"1e999", "nan", "inf", "12abc", "0x10", "1.5.2", "100001", "+-3", "--3"})
    expect_text(refusal_of(std::string("1 2 3\n1 2 ") + bad + "\n", request(numbers)),
                std::string("line 2: field (column 3) should be a number from -100000 to 100000, "
                            "not '") +
                    bad);
  expect_text(refusal_of("1 2\n", request(numbers)), "should have 3 columns or more, not 2");
  std::string many = "1 2 3\n";
  for (int i = 0; i < 8; ++i) many += "1 2 x\n";
  expect_text(refusal_of(many, request(numbers)), "line 6: field");
  expect_text(refusal_of(many, request(numbers)), "\n and 3 more\n");
  expect_text(refusal_of("E,N,T\n1,2,3\n", request({"E", "N", "tmi"})),
              "line 1 should name a column 'tmi', once. It holds: 'E' 'N' 'T'");
  expect_text(refusal_of("E,N,t,T\n1,2,3,4\n", request({"E", "N", "tT"})), "'tT', once");
  expect_text(refusal_of("a,A,t\n1,2,3\n", request({"a", "A", "x"})), "'x', once");
  for (const char* empty : {"", "# only a comment\n", "E N T\n", "Line 5\n"})
    expect_text(refusal_of(empty, request({"E", "N", "T"})), "holds no row of data");
  expect_text(refusal_of(std::string(1'000'001, '1'), request(numbers)), "a million characters");
}

// One message says what the whole file has.
TEST(SurveyTable, OtherFormatsAreSaidOnceWithWhatToDo) {
  const Names names{"E", "N", "T"};
  const Names numbers{"1", "2", "3"};
  for (const char* text : {"E;N;T\n1,5;2,5;3\n", "E\tN\tT\n1\t2,25\t3\n", "E N T\n1,5 2 3\n"}) {
    const std::string refused = refusal_of(text, request(names));
    expect_text(refused, "line 2 has a decimal comma, '");
    EXPECT_EQ(refused.find("--missing"), std::string::npos);
  }
  expect_text(refusal_of("1,5 2,5 3\n", request(numbers)), "line 1 has a decimal comma, '1,5'");
  EXPECT_EQ(table_of("E;N;T;Z\n1;2;3;4,5\n", request(names)).rows, 1);  // in a column of no use
  expect_text(refusal_of(std::string("\xFF\xFE") + "E;N;T\n", request(names)), "UTF-16");
  expect_text(refusal_of("PK\x03\x04", request(names)), "save the sheet as CSV");
  TableRequest commas = request(names);
  commas.separator = ',';
  expect_text(refusal_of("E;N;T\n1;2;3\n", commas), "It has semicolons: --separator semicolon?");
  commas.columns = request(numbers).columns;
  expect_text(refusal_of("1 2 3\n", commas), "or more, not 1\n It has blanks: --separator blank?");
  expect_text(refusal_of("E,N,T\n1,2,3\n", request({"E", "n", "2"})),
              "northing and field are both taken from column 2 of");
  expect_text(refusal_of("# E N T\n1 2 3\n", request({"E", "N", "e"})), "from column 1 of");
}

TEST(SurveyTable, FiducialsAreThoseOfTheRowsThatAreUsed) {
  TableRequest wanted = request({"E", "N", "T"}, "L", {"*"});
  wanted.fiducial_column = "fid";
  const Table table = table_of("fid,L,E,N,T\n7.50,A,1,1,1\n8,A,1,1,*\n,B,2,2,2\n", wanted);
  EXPECT_EQ(table.fiducial, (Names{"7.50", ""}));
  EXPECT_EQ(table.line, (Lines{0, 1}));
}

// A row cut short may still hold all columns of use, and a shifted one holds others in their place.
TEST(SurveyTable, RowsHaveAsManyColumnsAsTheHeadingOrTheFirstRow) {
  const Names names{"E", "N", "T"};
  const Names numbers{"1", "2", "3"};
  const std::string cut = "E,N,T,flag,remark\n1,2,3,0,a\n4,5,6,0,\n7,8,9,0\n";
  expect_text(refusal_of(cut, request(names)),
              "line 4: has 4 columns, but the heading (line 1) has 5\n    7,8,9,0\n");
  expect_text(refusal_of(cut, request(numbers)),
              "line 4: has 4 columns, but the first row (line 2)");
  expect_text(refusal_of("# E N T\n1 2 3\n1 L 2 3\n", request(names)),
              "line 3: has 4 columns, but the heading (line 1) has 3");
  expect_text(refusal_of("Line no E N T\n1 2 3 4\n", request(names)), "line 2: has 4 columns, but");
  // Separators at the ends of lines, of all or of some.
  for (const char* text : {"E,N,T,\n1,2,3\n4,5,6,\n", "E,N,T\n1,2,3,\n4,5,6,,\n"})
    EXPECT_EQ(table_of(text, request(names)).columns,
              (std::vector<Numbers>{{1, 4}, {2, 5}, {3, 6}}));
}

TEST(SurveyTable, WithColumnsByNumberOnlyWordsMakeAHeading) {
  const Names numbers{"1", "2", "3"};
  const Table table = table_of("E (m) T\n1 2 3\n", request(numbers));
  EXPECT_EQ(table.heading, 1);
  EXPECT_EQ(table.names, (Names{"E", "(m)", "T"}));
  EXPECT_EQ(table_of("1 2 3\n", request(numbers)).heading, 0);
  EXPECT_EQ(table_of("Easting (m) N (m) T\n1 2 3\n", request(numbers)).names,
            (Names{"#1", "#2", "#3"}));
  for (const char* first : {"nan,inf,*", "NaN,NA,null", "-inf,1.#IND,x", "E,N,*", "E,N,5", "E,N,"})
    expect_text(refusal_of(std::string(first) + "\n1,2,3\n", request(numbers)), "line 1: ");
}

}  // namespace
}  // namespace quorivex::test
