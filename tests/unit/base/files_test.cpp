// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include "base/atomic_file.h"
#include "base/record_file.h"
#include "base/text_file.h"
#include "records.h"
#include "scratch_folder.h"

namespace quorivex::test {

TEST(TextFile, LinesLoseTheirEndAndWhatExceedsTheMaximum) {
  const ScratchFolder folder;
  auto file = TextFile::open(folder.write("text", "abc\r\nabcd\r\nabcde\r\n\nabc\rf\na\rb"));
  std::string lines;
  for (std::string line; file->read_line(line, 4);) lines += line + "|";
  EXPECT_EQ(lines, "abc|abcd|abcd||abc\r|a\rb|");
}

TEST(TextFile, AByteOrderMarkAtTheHeadIsNoTextAndOnlyThere) {
  const ScratchFolder folder;
  const std::string mark = "\xEF\xBB\xBF";
  for (const auto& [bytes, text] : std::vector<std::pair<std::string, std::string>>{
           {mark + "1\n" + mark + "2", "1|" + mark + "2|"},
           {mark + mark, mark + "|"},
           {mark, ""},
           {mark.substr(0, 2) + "x", mark.substr(0, 2) + "x|"},
           {"\xEF", "\xEF|"}}) {
    auto file = TextFile::open(folder.write("text", bytes));
    for (int reading = 1; reading <= 2; ++reading, file->rewind()) {
      std::string lines;
      for (std::string line; file->read_line(line, 100);) lines += line + "|";
      EXPECT_EQ(lines, text) << "reading " << reading;
    }
  }
}

TEST(RecordFile, SkipsTheRestOfARecordWithinAndBeyondTheBufferAndReadsNoFurther) {
  const ScratchFolder folder;
  for (const std::size_t size : {1U, 2U, 8191U, 8192U, 50000U}) {
    const std::string bytes = framed({record(std::vector<double>(size, 1.0)), record(2.0, 3.0)});
    auto file = RecordFile::open(folder.write("records", bytes));
    std::vector<double> read(3);
    EXPECT_TRUE(file->begin() && file->read(read.data(), 1) && file->finish()) << size;
    EXPECT_TRUE(file->begin() && !file->read(read.data(), 3) && file->read(read.data(), 2));
    EXPECT_EQ(read, (std::vector{2.0, 3.0, 0.0})) << size;
  }
}

TEST(AtomicFile, TheOldFileStaysUntilTheNewOneIsComplete) {
  const ScratchFolder folder;
  AtomicFile(folder.write("model", "old")).append("new");
  EXPECT_EQ(folder.read("model"), "old");
  AtomicFile file(folder.path("model"));
  file.append("new");
  file.commit();
  EXPECT_EQ(folder.read("model"), "new");
}

}  // namespace quorivex::test
