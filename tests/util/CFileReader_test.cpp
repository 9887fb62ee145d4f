#include "util/CFileReader.h"

#include <gtest/gtest.h>

#include <vector>

#include "common/error.h"
#include "platform/fake/fakes.h"
#include "support/temp_folder.h"

namespace quarno {
namespace {

using namespace std::string_literals;
using Lines = std::vector<std::string>;

class CFileReaderTest : public ::testing::Test {
 protected:
  bool open(const std::string& bytes, bool unix_file = false) {
    reader_->CloseFile();
    const std::string path = folder_.put("data.txt", bytes);
    return unix_file ? reader_->OpenUnixFile(path) : reader_->OpenFile(path);
  }
  // All lines; "!" for each read that gave false before the end of the file.
  Lines lines(const std::string& bytes, bool unix_file = false) {
    const auto read = [&] { return unix_file ? reader_->ReadUnixLine() : reader_->ReadLine(); };
    EXPECT_TRUE(open(bytes, unix_file));
    Lines all;
    while (!reader_->IsEof()) all.push_back(read() ? reader_->GetLine() : "!");
    EXPECT_FALSE(read());
    EXPECT_EQ(reader_->GetLine(), "");
    return all;
  }
  std::string columns() {
    std::string all = std::to_string(reader_->ColumnCount) + ":";
    for (std::int16_t i = -1; i <= reader_->ColumnCount + 1; ++i) {
      const bool exists = i >= 0 && i <= reader_->ColumnCount;
      all += exists ? "[" + reader_->GetColumnValue(i) + "]" : reader_->GetColumnValue(i);
    }
    return all;
  }
  static std::string failure(auto&& call) try {
    call();
    return "none";
  } catch (const Error& error) {
    return std::to_string(error.number) + " " + error.source;
  }

  test::TempFolder folder_;
  Ptr<CFileReader> reader_ = make<CFileReader>();
};

TEST_F(CFileReaderTest, LinesEndWithCrOrCrLfOrInUnixFilesWithLf) {
  // A lone LF ends no line. In a Unix file it does: an empty line reads as false, CR stays, NUL is dropped.
  // clang-format off
  const std::pair<std::string, Lines> rows[] = {
      {"a\r\nb\r\n", {"a", "b"}}, {"a\rb", {"a", "b"}}, {"a\nb\r\nc", {"a\nb", "c"}}, {"\r\r\n", {"", ""}},
      {"a\n\rb", {"a\n", "b"}}, {"\r\n\r\r\nx", {"", "", "", "x"}}, {"\r", {""}}, {"a\r\n\n\r", {"a", "\n"}},
      {"a\0b\r\0"s, {"a\0b"s, "\0"s}}, {"\n", {"\n"}}, {"a\x1A\r", {"a\x1A"}}, {"\x80 perch\xE9\r\n", {"€ perché"}},
  }, unix_rows[] = {
      {"x;y\n\nz\n", {"x;y", "!", "z"}}, {"x\r\ny", {"x\r", "y"}}, {"a\0b\n\0\n\0c"s, {"ab", "!", "c"}},
      {"\n", {"!"}}, {"\r", {"\r"}}, {"\xE8\n", {"è"}},
  };
  // clang-format on
  for (const auto& [bytes, expected] : rows) EXPECT_EQ(lines(bytes), expected);
  for (const auto& [bytes, expected] : unix_rows) EXPECT_EQ(lines(bytes, true), expected);
}

TEST_F(CFileReaderTest, LineEndsAcrossTheBlockBorder) {
  constexpr std::size_t kBlock = 32 * 1024;
  for (std::size_t length = kBlock - 2; length <= kBlock + 1; ++length) {
    const std::string first(length, 'a');
    EXPECT_TRUE(lines(first + "\r\nb\r\n") == (Lines{first, "b"})) << length;
    EXPECT_TRUE(lines(first + "\nb\n", true) == (Lines{first, "b"})) << length;
  }
}

TEST_F(CFileReaderTest, ColumnsByMode) {
  // The mode's own separator takes the place of the given one, and quotes mean nothing.
  // clang-format off
  const struct { std::int16_t mode; const char *delimiter, *line, *columns; } rows[] = {
      {0, "", "a\tb", "1:[a][b]"}, {0, "", "a,b", "0:[a,b]"}, {1, "|", "a|b,c", "1:[a|b][c]"}, {2, "", ";", "1:[][]"},
      {2, "", "a;b;;c", "3:[a][b][][c]"}, {2, "", "\"a;b\"", "1:[\"a][b\"]"}, {1, "", "\xE8,\x80", "1:[è][€]"},
  };
  // clang-format on
  for (const bool unix_file : {false, true}) {
    for (const auto& row : rows) {
      reader_->SetDataMode(row.mode, row.delimiter);
      ASSERT_TRUE(open(row.line, unix_file));
      EXPECT_TRUE(unix_file ? reader_->ReadUnixLine() : reader_->ReadLine());
      EXPECT_EQ(columns(), row.columns);
    }
  }
  for (const std::int16_t mode : std::initializer_list<std::int16_t>{3, -1}) {
    ASSERT_TRUE(open("new line\r\n"));
    reader_->SetDataMode(mode, "|");
    EXPECT_FALSE(reader_->ReadLine() || reader_->ReadUnixLine() || reader_->IsEof());
    EXPECT_EQ(reader_->GetLine(), "è,€");  // nothing was read, the line before stays
  }
}

TEST_F(CFileReaderTest, ShorterLinesAndFailedReads) {
  reader_->SetDataMode(2);
  ASSERT_TRUE(open("a;b;c\r\nd\r\n\r\ne;f"));
  for (const char* expected : {"2:[a][b][c]", "0:[d]", "-1:", "1:[e][f]"}) {
    EXPECT_TRUE(reader_->ReadLine());
    EXPECT_EQ(columns(), expected);
  }
  // At the end the line is empty, the columns stay.
  EXPECT_FALSE(reader_->ReadLine());
  EXPECT_EQ(reader_->GetLine(), "");
  EXPECT_EQ(columns(), "1:[e][f]");
  // 32768 columns are the most; one more fails and leaves the longer line before and its columns.
  ASSERT_TRUE(
      open(std::string(32767, ';') + "\r" + std::string(40000, 'x') + ";y\r" + std::string(32768, ';')));
  EXPECT_TRUE(reader_->ReadLine());
  EXPECT_EQ(reader_->ColumnCount, 32767);
  EXPECT_TRUE(reader_->ReadLine());
  EXPECT_EQ(failure([&] { reader_->ReadLine(); }), "6 ReadLine");
  EXPECT_EQ(reader_->GetLine(), "");
  EXPECT_EQ(reader_->GetColumnValue(1), "y");
}

TEST_F(CFileReaderTest, FailuresNameTheirMember) {
  EXPECT_EQ(failure([&] { reader_->GetColumnValue(0); }), "9 GetColumnValue");
  EXPECT_EQ(failure([&] { reader_->ReadLine(); }), "52 ReadLine");
  EXPECT_EQ(failure([&] { reader_->ReadUnixLine(); }), "52 ReadLine");
  std::vector<FileNumber> all(255);
  for (FileNumber& number : all) number = FileNumber::take();
  const std::string path = folder_.put("a.txt", "a");
  EXPECT_EQ(failure([&] { reader_->OpenFile(path); }), "67 OpenFile");
  EXPECT_EQ(failure([&] { reader_->OpenUnixFile(path); }), "67 OpenUnixFile");
}

TEST_F(CFileReaderTest, MissingEmptyAndOddFilesAreRefused) {
  folder_.put("empty.txt", "");
  folder_.put(".hidden", "x");
  for (const std::string& path : {folder_ / "none/none.txt", folder_ / "empty.txt", folder_.path(),
                                  folder_ / ".hidden", std::string()}) {
    EXPECT_FALSE(reader_->OpenFile(path) || reader_->OpenUnixFile(path)) << path;
  }
  EXPECT_TRUE(reader_->IsEof());
}

TEST_F(CFileReaderTest, OpeningOverAnOpenFileKeepsItsNumber) {
  ASSERT_TRUE(reader_->OpenFile(folder_.put("1.txt", "one")));
  ASSERT_TRUE(reader_->OpenFile(folder_.put("2.txt", "two")));
  EXPECT_FALSE(reader_->OpenFile(folder_ / "none"));  // and a failed one leaves the open file alone
  EXPECT_TRUE(reader_->ReadLine());
  EXPECT_EQ(reader_->GetLine(), "two");
  EXPECT_EQ(FileNumber::take().value(), 3);
  reader_->CloseFile();
  EXPECT_EQ(FileNumber::take().value(), 2);
  reader_ = nullptr;
  EXPECT_EQ(FileNumber::take().value(), 1);
}

struct ClosingDialogs : platform::fake::RecordingDialogs {
  void process_pending_events() override { reader->CloseFile(); }
  Ptr<CFileReader> reader;
};

TEST_F(CFileReaderTest, UnixReadsLetTheInterfaceWork) {
  platform::fake::RecordingDialogs dialogs;
  const platform::ScopedPort<platform::Dialogs> scope(dialogs);
  ASSERT_TRUE(open("a;b\nc\r\n", true));
  EXPECT_TRUE(reader_->ReadUnixLine());
  EXPECT_EQ(dialogs.events_processed, 4);  // once per byte, the line end included
  // The host's own event may close the very file that is being read.
  ClosingDialogs closing;
  closing.reader = reader_;
  const platform::ScopedPort<platform::Dialogs> inner(closing);
  ASSERT_TRUE(open("still here\nnext\n", true) && reader_->ReadUnixLine());
  EXPECT_EQ(reader_->GetLine(), "still here");
  EXPECT_TRUE(reader_->IsEof());
}

}  // namespace
}  // namespace quarno
