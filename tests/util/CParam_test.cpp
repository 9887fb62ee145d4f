#include "util/CParam.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <vector>

#include "common/file_numbers.h"
#include "desktop/dbase/memory_disk.h"
#include "platform/fake/fakes.h"
#include "platform/replaced_file.h"
#include "support/outcome.h"
#include "support/temp_folder.h"

namespace quarno {
namespace {

using test::bytes_of;
namespace fs = std::filesystem;

class CParamTest : public ::testing::Test {
 protected:
  CParamTest() { param_->set_ParamFile(path_); }
  // What the member did to its arguments and gave: "TAG>value", "TAG" when nothing was found, "TAG!error".
  std::string got(std::string tag) {
    std::string value = "old", same = tag;
    const bool found = param_->GetIniString(tag, value);
    const std::string other = test::outcome([&] { return param_->GetStringIni(same); });
    if (same != tag || (other != value && !other.starts_with('!'))) return "the readers differ: " + other;
    return other.starts_with('!') ? tag + value + other : found ? tag + ">" + value : tag + value;
  }
  // The tag as it is left, and the file.
  std::string set(std::string tag, const std::string& value) {
    EXPECT_TRUE(param_->SetStringIni(tag, value).is_empty());
    return tag + "|" + bytes_of(path_);
  }
  std::size_t entries() const {
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder_.path()), {}));
  }

  test::TempFolder folder_;
  std::string path_ = folder_ / "a.ini";
  Ptr<CParam> param_ = make<CParam>();
};

TEST_F(CParamTest, LiesBesideTheLibraryAtFirst) {
  const std::pair<const char*, const char*> rows[] = {{"/opt/lib/CorvexFwk.so", "/opt/lib\\CorvexFwk.ini"},
                                                      {"/a.b/x.1.so", "/a.b\\x.1.ini"},
                                                      {"/CorvexFwk.so", "\\CorvexFwk.ini"}};
  for (const auto& [library, file] : rows) {
    platform::fake::FixedModulePath module(library);
    const platform::ScopedPort<platform::ModulePath> scope(module);
    EXPECT_EQ(make<CParam>()->ParamFile(), file);
  }
}

TEST_F(CParamTest, FindsTheFirstLineThatHoldsTheTag) {
  EXPECT_EQ(got("Port"), "Port");  // no file: the tag stays
  folder_.put(
      "a.ini",
      "  Indent=y\nTag=in the same line\rMyPort= 5\t \r\nport=6\rTAG \xC8 =1\r\nperch\xE9 \x9C=\xE0 \x80\r\n"
      "a.b[=7\r\nk=\r\nabc\r\nababac=8\r\n = v = \r\nlast=9");
  // clang-format off
  const std::pair<const char*, const char*> rows[] = {
      {"Port", "Port=>t= 5\t"},              // counted from the beginning of the line
      {"port=6", "port=6="}, {"Tag", "Tag=>dent=y\nTag=in the same line"}, {"tag è ", "tag è =>1"},
      {"PERCHÉ Œ", "PERCHÉ Œ=>à €"}, {"perche œ", "perche œ="}, {"A.B[", "A.B[=>7"}, {"a?b[", "a?b[="}, {"K", "K=>"},
      {"abac", "abac=>c=8"}, {"", "=>Indent=y\nTag=in the same line"}, {"LAST", "LAST=>9"}, {"Ж", "Ж="}, {" = v ", " = v =>"}};
  // clang-format on
  for (const auto& [tag, result] : rows) EXPECT_EQ(got(tag), result) << tag;
  folder_.put("a.ini", std::string("n\0m=1\0 2\r\n?=3", 13));
  EXPECT_EQ(got(std::string("N\0M", 3)), std::string("N\0M=>1\0 2", 9));
  EXPECT_EQ(got("Ж") + got("?"), "Ж=?=>3");  // what stands in for a character is not the character
}

TEST_F(CParamTest, WritesAndKeepsTheOldTail) {
  EXPECT_EQ(set("A", "1"), "A=|A=1");
  EXPECT_EQ(set("B", "2"), "B=|A=1\r\n\r\nB=2");
  EXPECT_EQ(set("b", ""), "b=|A=1\r\n\r\nb=\r\n");
  // clang-format off
  const std::tuple<const char*, const char*, const char*, const char*> rows[] = {
      {"A=1\r\n", "A", "5", "A=5\r\n\r\n"}, {"A=12345\r\nB=2", "A", "1", "A=1\r\nB=2\r\n=2"},
      {"\r\n", "A", "1", "\r\n\r\n\r\nA=1"}, {"x\rA=1\nA=2\r\nA=3", "a", "è€Ж", "a=\xE8\x80?\r\nA=3\r\n=3"},
      {"MyTag=5\r\nTag=6", "Tag", "7", "Tag=7\r\nTag=6\r\n"}, {"?=1", "Ж", "2", "?=1\r\n\r\n?=2"},
      {"x\r\nB=1", "\nB", "2", "x\r\nB=1\r\n\r\n\nB=2"}, {"r\r\r\nA=1", "A", "x=y\r\nz", "r\r\r\nA=x=y\r\nz\r\n"}};
  // clang-format on
  for (const auto& [before, tag, value, after] : rows) {
    folder_.put("a.ini", before);
    EXPECT_EQ(set(tag, value), std::string(tag) + "=|" + after) << before;
  }
  EXPECT_EQ(entries(), 1u);
}

TEST_F(CParamTest, WhatIsNoNormalFile) {
  fs::create_directory(folder_ / "dir");
  ASSERT_EQ(::mkfifo((folder_ / "pipe").c_str(), 0600), 0);
  folder_.put(".hidden", "A=1");
  folder_.put("b.ini", "A=1");
  // path, Exist, what the readers give for A, the tag after a write
  const std::tuple<std::string, bool, const char*, const char*> rows[] = {
      {folder_ / "dir", false, "A", "A"},      {folder_ / "pipe", false, "A", "A"},
      {folder_ / ".hidden", false, "A", "A"},  {folder_ / "none/a.ini", false, "A", "A"},
      {"/dev/null", false, "A", "A"},          {folder_ / "*.txt", false, "A", "A"},
      {folder_ / "*.INI", true, "A!52", "A="}, {folder_.path() + "\\", true, "A!75", "A="},
      {folder_ / "B.INI", true, "A=>1", "A="}};
  for (const auto& [path, exists, read, tag] : rows) {
    SCOPED_TRACE(path);
    param_->set_ParamFile(path);
    EXPECT_EQ(param_->Exist(), exists);
    EXPECT_EQ(got("A"), read);
    std::string written = "A";
    param_->SetStringIni(written, "2");
    EXPECT_EQ(written, tag);
  }
  EXPECT_EQ(bytes_of(folder_ / ".hidden") + bytes_of(folder_ / "b.ini"), "A=1A=2\r\n");
  EXPECT_EQ(entries(), 4u);
  std::vector<FileNumber> numbers(255);
  for (FileNumber& number : numbers) number = FileNumber::take();
  EXPECT_EQ(got("A"), "A!67");
}

TEST_F(CParamTest, KeepsLinkOwnerAndMode) {
  const auto mode = [](const std::string& path) {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 ? info.st_mode & 07777 : 0;
  };
  fs::create_directory(folder_ / "d");
  folder_.put("d/real.ini", "A=1");
  ASSERT_EQ(::chmod((folder_ / "d/real.ini").c_str(), 0640), 0);
  fs::create_symlink("d/real.ini", folder_ / "link.ini");
  fs::create_symlink(folder_ / "link.ini", path_);
  EXPECT_EQ(set("A", "2"), "A=|A=2\r\n");
  EXPECT_TRUE(fs::is_symlink(path_) && fs::is_symlink(folder_ / "link.ini"));
  EXPECT_EQ(mode(folder_ / "d/real.ini"), 0640u);
  fs::remove(folder_ / "d/real.ini");
  EXPECT_EQ(set("A", "3"), "A=|A=3");  // made where the links lead
  EXPECT_TRUE(fs::is_symlink(path_) && fs::is_regular_file(fs::symlink_status(folder_ / "d/real.ini")));
  fs::create_hard_link(folder_ / "d/real.ini", folder_ / "other");  // both names keep one file
  EXPECT_EQ(set("A", "44"), "A=|A=44\r\n");
  EXPECT_EQ(bytes_of(folder_ / "other"), "A=44\r\n");
  EXPECT_EQ(set("A", "5"), "A=|A=5\r\n\r\n");
  EXPECT_EQ(std::distance(fs::directory_iterator(folder_ / "d"), {}), 1);
}

// A process that was killed left its new file; another program holds the file.
TEST_F(CParamTest, ClearsWhatWasLeftAndRespectsLocks) {
  folder_.put("a.ini", "A=1");
  folder_.put(".a.ini.new", "A=half");
  EXPECT_EQ(set("A", "2"), "A=|A=2\r\n");
  EXPECT_EQ(entries(), 1u);
  const auto error = [&] {
    return test::error_of(
        [&] { return platform::ReplacedFile(path_, std::chrono::milliseconds(5)).is_beside(); });
  };
  {
    platform::ReplacedFile other(path_);
    EXPECT_EQ(error(), 70);
  }
  EXPECT_EQ(error(), 0);
  EXPECT_EQ(entries(), 1u);  // nor does one stay that was not placed
  const auto held = platform::data_files().open(path_, platform::DataFiles::Access::read_write);
  ASSERT_TRUE(held->try_lock(platform::LockKind::shared, 0, 1));
  EXPECT_EQ(error(), 70);
  EXPECT_EQ(got("A"), "A=>2");  // reading asks for no lock
}

TEST(ReplacedFile, IsTheOldFileOrTheNewOneWhateverHappens) {
  using Failure = test::MemoryDisk::Failure;
  std::mt19937 random(7);
  int saved = 0, refused = 0;
  for (const Failure failure : {Failure::dies, Failure::full_once, Failure::full}) {
    for (int allowed = 0; allowed < 12; ++allowed) {
      test::MemoryDisk disk;
      disk.put("/none/a.ini", "old");
      disk.put("/none/.a.ini.new", "left");
      const platform::ScopedPort<platform::DataFiles> scope(disk);
      disk.allow(allowed, failure);
      const int error = test::error_of([&] {
        platform::ReplacedFile file("/none/a.ini");
        if (!file.is_beside()) throw run_time_error(RunTime::disk_full);
        file.write("new ");
        file.write("content");
        return file.place();
      });
      const std::string seen = disk.bytes("/none/a.ini");
      EXPECT_TRUE(seen == "new content" || (seen == "old" && error != 0)) << allowed << seen << error;
      if (failure == Failure::dies) disk.lose_power(random);
      const std::string kept = disk.bytes("/none/a.ini");
      EXPECT_TRUE(kept == "new content" || (kept == "old" && disk.failed())) << allowed << kept;
      (error == 0 ? saved : refused) += 1;
    }
  }
  EXPECT_TRUE(saved > 3 && refused > 6) << saved << " " << refused;
}

}  // namespace
}  // namespace quarno
